#ifndef FG_TEXTFILE_H
#define FG_TEXTFILE_H

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

/**
 * The files of the board-runtime helpers (configuration and lookup-table
 * files), read and written in one place.
 *
 * Reading: only a regular file of at most MaxFileSize bytes is read; a
 * device, a FIFO, a directory or a larger file is answered like a file that
 * cannot be opened, without blocking (the file is looked at before it is
 * opened). The file is read into memory once and searched there.
 *
 * The lookups see the text as a line reader with a 256-byte buffer sees it
 * (fgets): as pieces that end after a line feed or after 255 bytes, each
 * taken as a C string (a NUL ends what a lookup sees of its piece).
 */
class Fg_TextFileReader {
public:
    /** Largest file read; far above any real configuration or table file. */
    static const std::size_t MaxFileSize = std::size_t(64) << 20;
    /** Longest piece of a line. */
    static const std::size_t PieceLength = 255;

    /** A piece: where it begins and where its line begins. */
    struct Cursor {
        std::size_t pos = 0;
        std::size_t lineStart = 0;
    };

    Fg_TextFileReader() : mLoaded(false) {}

    /**
     * True when path names (through links) a regular file of at most
     * MaxFileSize bytes that can be opened for reading, and for writing too
     * when forWriting. Nothing but a regular file is ever opened.
     */
    static bool readable(const char* path, bool forWriting = false);
    /** Reads the whole file; false (nothing loaded) when readable() is false or reading fails. */
    bool load(const char* path, bool forWriting = false);
    void clear();
    bool loaded() const { return mLoaded; }

    /** Copies the piece at c into out (PieceLength + 1 bytes) and moves c to the next; false at the end. */
    bool nextPiece(Cursor& c, char* out) const;
    /** Moves c to the first piece at or after it whose text contains needle; false when none does. */
    bool findPieceContaining(Cursor& c, const char* needle) const;
    /** Moves c to the first piece at or after it whose text begins with prefix; false when none does. */
    bool findPieceStartingWith(Cursor& c, const char* prefix) const;

private:
    // The first piece at or after c in which an occurrence of the needle
    // (length n) lies within the piece's text; `atStart`: only at its start.
    bool find(Cursor& c, const char* needle, std::size_t n, bool atStart) const;
    std::size_t pieceEnd(const Cursor& c) const;

    std::string mText;
    bool mLoaded;
    // Searches from the top, remembered: a load asks for the same sections
    // again and again.
    mutable std::vector<std::pair<std::string, Cursor> > mFromTop;
};

/**
 * Saving that never leaves a partial file: the content goes to a temporary
 * file beside the target, which replaces the target (rename) only when every
 * write, the sync and the close succeeded. The replaced file's owner and
 * permission bits are kept; a symbolic link is written through to its
 * target. A target that is not a regular file (a device, a FIFO) is written
 * directly, and so is an existing file whose directory does not let a file
 * be made beside it. Write errors are detected in every case.
 */
class Fg_SafeFileWriter {
public:
    Fg_SafeFileWriter() : mStream(nullptr) {}
    /** Throws away an unfinished save. */
    ~Fg_SafeFileWriter() { discard(); }

    /** Begins a save; false (nothing changed) when the target cannot be written as fopen(path, "w") could not. */
    bool open(const char* path);
    std::FILE* stream() const { return mStream; }
    bool isOpen() const { return mStream != nullptr; }
    /** Ends the save; true when the target now holds every byte written. */
    bool commit();
    /** Ends the save without replacing the target. */
    void discard();

private:
    Fg_SafeFileWriter(const Fg_SafeFileWriter&);
    Fg_SafeFileWriter& operator=(const Fg_SafeFileWriter&);

    std::FILE* mStream;
    std::string mTarget;     // the file replaced at the end
    std::string mTemporary;  // empty when writing directly
};

#endif
