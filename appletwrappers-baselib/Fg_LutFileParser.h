#ifndef FG_LUTFILEPARSER_H
#define FG_LUTFILEPARSER_H

#include <cstdio>

#include "Fg_TextFile.h"

/** Integer lookup table as exchanged with ".lut" files. */
struct LookupTable {
    unsigned int* lut; /* nrOfElements entries */
    unsigned int id;
    unsigned int nrOfElements;
    unsigned int format;
    unsigned char number;
};

/** Floating-point (knee) lookup table. */
struct KneeLookupTable {
    double* value;  /* nrOfElements entries */
    void* reserved; /* not touched */
    unsigned int id;
    unsigned int nrOfElements;
    unsigned int format;
    unsigned char number;
};

/**
 * Writer and reader of lookup-table files.
 *
 * Written forms (line feeds only):
 *  - integer table: "# Lut data file v1.1", three empty lines, "[gray]", an
 *    empty line, "id=..;", "nrOfElements=..;", "format=..;", "number=..;",
 *    then one "i,value;" line per entry;
 *  - three-channel integer table: the same per "[red]", "[green]", "[blue]",
 *    one empty line before each section and after each section line;
 *  - knee tables: "# KneeLut data file v1.0" / "v1.1" headings, entries
 *    "i,value;" with twelve decimals, no key lines;
 *  - matrix: the caller's header, "nrOfElements=n;", entries.
 *
 * Reading is lenient: lines are read in pieces of at most 255 characters,
 * keys are found by substring on the first line naming them (also in
 * three-channel files, where the first section's keys apply to all), and
 * entry c is the first line after the section line, and after entry c - 1,
 * that contains "c," anywhere. Missing keys and entries read as 0; only a
 * file that cannot be opened or created, or a save whose writes failed, is an
 * error (-1). A file is read into memory once per read (only a regular file
 * of at most 64 MiB: a device, a FIFO or a directory counts as a file that
 * does not exist), and the lookups search that copy.
 *
 * A save goes to a temporary file that replaces the target only when every
 * write succeeded (Fg_SafeFileWriter): a failed or interrupted save leaves
 * the old file as it was. The table writers finish their save themselves; a
 * save begun with setSaveFile is finished when the parser closes it (another
 * setSaveFile or setOpenFile, or the destructor).
 *
 * Entry arrays allocated by the readers are made with new[]; release them
 * with releaseLut() (or delete[]). A reader releases the array a table
 * already points to before it reads, so a table must not point at memory
 * the reader may not free.
 */
class Fg_LutFileParser {
public:
    /** Largest table the readers allocate (a larger count fails with -1). */
    static const unsigned int MaxElements = 1u << 24;

    Fg_LutFileParser();
    ~Fg_LutFileParser();

    bool checkFileType(const char* name);
    bool checkFileExist(const char* name);
    bool setOpenFile(const char* name, bool readOnly);
    bool setSaveFile(const char* name);

    // -- writing (every write is flushed) --
    void writeLutFileHeader(const char* text);
    void writeLutFileValue(const char* key, const char* value, const char* separator);
    void writeIntKey(const char* key, int value, const char* separator);
    void writeDoubleKey(const char* key, double value, const char* separator);
    void writeIntInt(int index, int value, const char* separator);
    void writeIntDouble(int index, double value, const char* separator);

    // -- reading --
    /** out (at least 256 characters) receives the value or "Error"; 0 or -1. */
    int parseKeyFromLine(const char* key, char* out, const char* separators);
    int parseIntKey(const char* key, int* out, const char* separators);
    int parseDoubleKey(const char* key, double* out, const char* separators);
    int getIntValue(const char* text, int* value);
    int getDoubleValue(const char* text, double* value);
    int parseIntInt(int* values, int n, const char* separator, const char* section);
    int parseIntDouble(double* values, int n, const char* separator, const char* section);

    // -- tables --
    int getLutFromFile(const char* name, LookupTable* table, const char* section);
    int getLutFromFile(const char* name, LookupTable* red, LookupTable* green, LookupTable* blue);
    int getLutFromFile(const char* name, KneeLookupTable* table, const char* section);
    int getLutFromFile(const char* name, KneeLookupTable* red, KneeLookupTable* green, KneeLookupTable* blue);
    int saveLutToFile(const char* name, const LookupTable* table);
    int saveLutToFile(const char* name, const LookupTable* red, const LookupTable* green, const LookupTable* blue);
    int saveLutToFile(const char* name, const KneeLookupTable* table, const char* section);
    int saveLutToFile(const char* name, const KneeLookupTable* red, const KneeLookupTable* green,
                      const KneeLookupTable* blue);
    int saveMatrixToFile(const char* name, const char* header, const int* values, int n);
    /** Not supported: always -1. */
    int getMatrixFromFile(const char* name, int* values, int n);

    static void releaseLut(LookupTable* table);
    static void releaseLut(KneeLookupTable* table);

private:
    Fg_LutFileParser(const Fg_LutFileParser&);
    Fg_LutFileParser& operator=(const Fg_LutFileParser&);

    void closeFile();
    void flush();
    // Ends the save under way: true when the file holds every byte written.
    bool finishSave();
    std::FILE* out() const { return mSave.stream(); }
    // The piece after the first one containing the section; false if none.
    bool findSection(const char* section, Fg_TextFileReader::Cursor& at) const;
    bool nextEntryText(Fg_TextFileReader::Cursor& at, int index, const char* separator, char* text) const;
    void writeKeys(const LookupTable& table);
    void writeEntries(const LookupTable& table);
    void writeEntries(const KneeLookupTable& table);
    // A table's part of a file: keys and entries, or entries only for a knee table.
    void writeBody(const LookupTable& table);
    void writeBody(const KneeLookupTable& table);
    // The three-channel files: the heading, then per channel a blank line,
    // its section line, a blank line and its body.
    template <class Table>
    int saveChannels(const char* name, const char* heading, const Table* red, const Table* green, const Table* blue);

    Fg_TextFileReader mText;  // the file opened for reading
    Fg_SafeFileWriter mSave;  // the file being saved
};

#endif
