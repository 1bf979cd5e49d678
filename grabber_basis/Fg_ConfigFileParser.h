#ifndef FG_CONFIGFILEPARSER_H
#define FG_CONFIGFILEPARSER_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "Fg_TextFile.h"

class Fg_Log;

/**
 * Writer and reader of camera configuration files (".mcf").
 *
 * Layout as written (line feeds only):
 *
 *     [Kamerasektion]
 *
 *     ConfigFileVersion=2.0;
 *     Hersteller='...';
 *     ...
 *
 *     [Port A]
 *     FG_WIDTH=1024;
 *     ...
 *
 * Key lines are "key=value;" for numbers and "key='text';" for texts.
 * Integers are written "%d", unsigned 64-bit values "%llu", doubles "%.*g"
 * with 12 significant digits; numbers follow the process locale.
 *
 * Reading works on pieces of at most 255 characters (a longer line is read
 * as several pieces). Value buffers handed to the lookups must hold at least
 * 256 characters; no lookup stores more. A file opened for reading is read
 * into memory once (only a regular file of at most 64 MiB: anything else
 * counts as a file that does not exist), and every lookup searches that copy.
 *
 * Saving goes to a temporary file that replaces the target only when the
 * save is finished and every write succeeded (Fg_SafeFileWriter): an
 * interrupted or failed save leaves the old file as it was. The destructor
 * finishes a save still open. Steps and failures are reported to the
 * optional log.
 */
class Fg_ConfigFileParser {
public:
    /** Size a value buffer must have for the text lookups. */
    static const int ValueBufferSize = 256;

    /**
     * Opens fileName ("r" when readOnly, else "r+") if it has the
     * configuration type and exists; otherwise no file is open.
     */
    Fg_ConfigFileParser(Fg_Log* log, const char* fileName, bool readOnly);
    virtual ~Fg_ConfigFileParser();

    /** True when the name contains ".mcf" anywhere. */
    bool checkFileType(const char* fileName);
    /** True when the file is a regular file that can be opened for reading. */
    bool checkFileExist(const char* path);
    /**
     * Begins saving to the file (finishing a save already open); false when
     * it cannot be written. The content replaces the file at finishSave().
     */
    bool setSaveFile(const char* path);
    /** Ends the save; true when the file now holds everything written. */
    bool finishSave();
    /** Ends the save and leaves the file as it was. */
    void discardSave();
    bool isOpen() const { return mText.loaded() || mSave.isOpen(); }

    // -- writing (every write is flushed) --
    void writeConfigFileHeader();
    void writeConfigFile(const char* key, const char* text);
    void writeConfigFileValue(const char* key, const char* value);
    void writeConfigFileIntKey(const char* key, int value);
    void writeConfigFileUInt64Key(const char* key, std::uint64_t value);
    void writeConfigFileDoubleKey(const char* key, double value);
    void writeConfigFileByPort(int port);
    void writeConfigFilePortA();
    void writeConfigFilePortB();

    // -- reading: 0 on success --
    /** First line containing key; its second piece split at '=' and '\''. -8000 if none. */
    int parseKeyFromLine(const char* key, char* value);
    /** Key line after the line containing section; -8000 (value "Error") if none. */
    int parseKey(const char* section, const char* key, char* value);
    /** Numeric lookups: -1 when the key was not found (target untouched). */
    int parseIntKey(const char* section, const char* key, int* value);
    int parseUInt64Key(const char* section, const char* key, std::uint64_t* value);
    int parseDoubleKey(const char* section, const char* key, double* value);
    int parseIntKeyFromHeader(const char* key, int* value);

    /** "[Port A]" for port 0, "[Port B]" for port 1, ... */
    std::string getPortString(int port);
    int parseKeySection(int port, const char* key, char* value);
    int parseIntKeySection(int port, const char* key, int* value);
    int parseUInt64KeySection(int port, const char* key, std::uint64_t* value);
    int parseDoubleKeySection(int port, const char* key, double* value);

    /** Conversions: strtol rules (clamped to 32 bits), "%llu" rules, strtod rules. */
    int getIntValue(const char* text, int* value);
    int getUInt64Value(const char* text, std::uint64_t* value);
    int getDoubleValue(const char* text, double* value);

    static const char ConfigFileVersionText[];

private:
    Fg_ConfigFileParser(const Fg_ConfigFileParser&);
    Fg_ConfigFileParser& operator=(const Fg_ConfigFileParser&);

    void trace(const char* text);
    void info(const char* text);
    void error(const char* text);
    void flush();
    // The stream being written, or null.
    std::FILE* out() const { return mSave.stream(); }

    Fg_TextFileReader mText;  // the file read, when one is open for reading
    Fg_SafeFileWriter mSave;  // the file being saved
    Fg_Log* mFg_Log;
};

#endif
