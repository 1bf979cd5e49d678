#include "Fg_ConfigFileParser.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "Fg_Log.h"

namespace {

const int kNotFound = -8000;
const char kNotFoundText[] = "Error";
const char kHeaderSection[] = "[Kamerasektion]\n";
const char kFileType[] = ".mcf";

// Lines are read in pieces of at most this many characters.
const int kPieceLength = 255;

// Characters that delimit a value on a key line.
const char kValueDelimiters[] = "=;'";
// Characters that split a header line.
const char kHeaderDelimiters[] = "='";

bool isLineEnd(char c) { return c == '\r' || c == '\n'; }

void storeNotFound(char* value) {
    if (value != nullptr) std::strcpy(value, kNotFoundText);
}

// The value of a key line, from the text right after the key: leading
// delimiters are skipped, the value ends before the next delimiter or the
// line end. Never stores more than the piece holds.
void extractValue(const char* rest, char* value) {
    while (*rest != '\0' && std::strchr(kValueDelimiters, *rest) != nullptr) ++rest;
    std::size_t n = 0;
    while (rest[n] != '\0' && !isLineEnd(rest[n]) && std::strchr(kValueDelimiters, rest[n]) == nullptr) ++n;
    std::memcpy(value, rest, n);
    value[n] = '\0';
}

// The second piece of a line split at the given delimiters (runs of
// delimiters count as one split; a line end ends the piece). False when the
// line has no second piece.
bool secondPiece(const char* line, const char* delimiters, char* value) {
    const char* p = line;
    p += std::strspn(p, delimiters);   // leading delimiters
    p += std::strcspn(p, delimiters);  // first piece
    p += std::strspn(p, delimiters);   // delimiters between
    std::size_t n = 0;
    while (p[n] != '\0' && !isLineEnd(p[n]) && std::strchr(delimiters, p[n]) == nullptr) ++n;
    if (n == 0) return false;
    std::memcpy(value, p, n);
    value[n] = '\0';
    return true;
}

}  // namespace

const char Fg_ConfigFileParser::ConfigFileVersionText[] = "\nConfigFileVersion=2.0;\n";

Fg_ConfigFileParser::Fg_ConfigFileParser(Fg_Log* log, const char* fileName, bool readOnly) : mFg_Log(log) {
    trace("Fg_ConfigFileParser::Fg_ConfigFileParser(char * filename)");
    if (fileName != nullptr && checkFileType(fileName) && checkFileExist(fileName)) mText.load(fileName, !readOnly);
}

Fg_ConfigFileParser::~Fg_ConfigFileParser() {
    trace("Fg_ConfigFileParser::~Fg_ConfigFileParser()");
    finishSave();
}

void Fg_ConfigFileParser::trace(const char* text) {
    if (mFg_Log != nullptr) mFg_Log->Func(text);
}

void Fg_ConfigFileParser::info(const char* text) {
    if (mFg_Log != nullptr) mFg_Log->Info(text);
}

void Fg_ConfigFileParser::error(const char* text) {
    if (mFg_Log != nullptr) mFg_Log->Error(text);
}

void Fg_ConfigFileParser::flush() {
    if (out() != nullptr) std::fflush(out());
}

// ---------------------------------------------------------------- files --

bool Fg_ConfigFileParser::checkFileType(const char* fileName) {
    trace("Fg_ConfigFileParser::checkFileType");
    if (fileName == nullptr) return false;
    if (std::strstr(fileName, kFileType) != nullptr) {
        trace("File type ok");
        return true;
    }
    trace("File type not ok");
    return false;
}

bool Fg_ConfigFileParser::checkFileExist(const char* path) {
    trace("Fg_ConfigFileParser::checkFileExist");
    if (Fg_TextFileReader::readable(path)) {
        info("Config File exist");
        return true;
    }
    info("Config File don't exist");
    return false;
}

bool Fg_ConfigFileParser::setSaveFile(const char* path) {
    trace("Fg_ConfigFileParser::setSaveFile");
    if (!checkFileType(path)) {
        error("Config File is Invalid");
        return false;
    }
    finishSave();
    mText.clear();
    if (!mSave.open(path)) {
        error("Config File: fopen failed");
        return false;
    }
    info("Config File is valid");
    return true;
}

bool Fg_ConfigFileParser::finishSave() { return mSave.isOpen() && mSave.commit(); }

void Fg_ConfigFileParser::discardSave() { mSave.discard(); }

// -------------------------------------------------------------- writing --

void Fg_ConfigFileParser::writeConfigFileHeader() {
    trace("Fg_ConfigFileParser::writeConfigFileHeader");
    if (out() == nullptr) return;
    std::fputs(kHeaderSection, out());
    std::fputs(ConfigFileVersionText, out());
    flush();
}

void Fg_ConfigFileParser::writeConfigFile(const char* key, const char* text) {
    trace("Fg_ConfigFileParser::writeConfigFile");
    if (out() == nullptr || key == nullptr) return;
    std::fprintf(out(), "%s='%s';\n", key, text != nullptr ? text : "");
    flush();
}

void Fg_ConfigFileParser::writeConfigFileValue(const char* key, const char* value) {
    trace("Fg_ConfigFileParser::writeConfigFileValue");
    if (out() == nullptr || key == nullptr) return;
    std::fprintf(out(), "%s=%s;\n", key, value != nullptr ? value : "");
    flush();
}

void Fg_ConfigFileParser::writeConfigFileIntKey(const char* key, int value) {
    trace("Fg_ConfigFileParser::writeConfigFileIntKey");
    char text[32];
    std::snprintf(text, sizeof text, "%d", value);
    writeConfigFileValue(key, text);
}

void Fg_ConfigFileParser::writeConfigFileUInt64Key(const char* key, std::uint64_t value) {
    trace("Fg_ConfigFileParser::writeConfigFileUInt64Key");
    char text[32];
    std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(value));
    writeConfigFileValue(key, text);
}

void Fg_ConfigFileParser::writeConfigFileDoubleKey(const char* key, double value) {
    trace("Fg_ConfigFileParser::wrtiteConfigFileDoubleKey");
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", 12, value);
    writeConfigFileValue(key, text);
}

void Fg_ConfigFileParser::writeConfigFileByPort(int port) {
    if (out() == nullptr) return;
    std::fputs("\n", out());
    std::fputs(getPortString(port).c_str(), out());
    std::fputs("\n", out());
    flush();
}

void Fg_ConfigFileParser::writeConfigFilePortA() { writeConfigFileByPort(0); }

void Fg_ConfigFileParser::writeConfigFilePortB() { writeConfigFileByPort(1); }

// -------------------------------------------------------------- reading --

int Fg_ConfigFileParser::parseKeyFromLine(const char* key, char* value) {
    trace("Fg_ConfigFileParser::parseKeyFromLine");
    if (value == nullptr) return kNotFound;
    Fg_TextFileReader::Cursor at;
    char piece[kPieceLength + 1];
    // The first line naming the key decides; without a value it is not found.
    if (key != nullptr && mText.findPieceContaining(at, key) && mText.nextPiece(at, piece) &&
        secondPiece(piece, kHeaderDelimiters, value))
        return 0;
    storeNotFound(value);
    return kNotFound;
}

int Fg_ConfigFileParser::parseKey(const char* section, const char* key, char* value) {
    trace("Fg_ConfigFileParser::parseKey");
    if (value == nullptr) return kNotFound;
    if (section == nullptr || key == nullptr) {
        storeNotFound(value);
        return kNotFound;
    }
    Fg_TextFileReader::Cursor at;
    char piece[kPieceLength + 1];
    // The search runs on past the next section line: a key missing from its
    // own section is taken from a later one.
    const std::string line = std::string(key) + '=';
    if (mText.findPieceContaining(at, section) && mText.nextPiece(at, piece) &&
        mText.findPieceStartingWith(at, line.c_str()) && mText.nextPiece(at, piece)) {
        extractValue(piece + line.size() - 1, value);
        return 0;
    }
    storeNotFound(value);
    return kNotFound;
}

int Fg_ConfigFileParser::parseIntKey(const char* section, const char* key, int* value) {
    trace("Fg_ConfigFileParser::parseIntKey");
    char text[ValueBufferSize];
    parseKey(section, key, text);
    if (std::strstr(text, kNotFoundText) != nullptr || value == nullptr) return -1;
    getIntValue(text, value);
    return 0;
}

int Fg_ConfigFileParser::parseUInt64Key(const char* section, const char* key, std::uint64_t* value) {
    trace("Fg_ConfigFileParser::parseIntKey");
    char text[ValueBufferSize];
    parseKey(section, key, text);
    if (std::strstr(text, kNotFoundText) != nullptr || value == nullptr) return -1;
    getUInt64Value(text, value);
    return 0;
}

int Fg_ConfigFileParser::parseDoubleKey(const char* section, const char* key, double* value) {
    trace("Fg_ConfigFileParser::parseDoubleKey");
    char text[ValueBufferSize];
    parseKey(section, key, text);
    if (std::strstr(text, kNotFoundText) != nullptr || value == nullptr) return -1;
    getDoubleValue(text, value);
    return 0;
}

int Fg_ConfigFileParser::parseIntKeyFromHeader(const char* key, int* value) {
    trace("Fg_ConfigFileParser::parseIntKeyFromHeader");
    return parseIntKey(kHeaderSection, key, value);
}

std::string Fg_ConfigFileParser::getPortString(int port) {
    const char letter = (port >= 0 && port < 26) ? static_cast<char>('A' + port) : '?';
    return std::string("[Port ") + letter + "]";
}

int Fg_ConfigFileParser::parseKeySection(int port, const char* key, char* value) {
    if (key == nullptr) return -1;
    return parseKey(getPortString(port).c_str(), key, value);
}

int Fg_ConfigFileParser::parseIntKeySection(int port, const char* key, int* value) {
    if (key == nullptr) return -1;
    return parseIntKey(getPortString(port).c_str(), key, value);
}

int Fg_ConfigFileParser::parseUInt64KeySection(int port, const char* key, std::uint64_t* value) {
    if (key == nullptr) return -1;
    return parseUInt64Key(getPortString(port).c_str(), key, value);
}

int Fg_ConfigFileParser::parseDoubleKeySection(int port, const char* key, double* value) {
    if (key == nullptr) return -1;
    return parseDoubleKey(getPortString(port).c_str(), key, value);
}

// ----------------------------------------------------------- conversion --

int Fg_ConfigFileParser::getIntValue(const char* text, int* value) {
    trace("Fg_ConfigFileParser::getIntValue");
    if (text == nullptr || value == nullptr) return -1;
    // strtol rules as on the 32-bit target: out-of-range text saturates.
    long long v = std::strtoll(text, nullptr, 10);
    if (v > INT_MAX)
        v = INT_MAX;
    else if (v < INT_MIN)
        v = INT_MIN;
    *value = static_cast<int>(v);
    return 0;
}

int Fg_ConfigFileParser::getUInt64Value(const char* text, std::uint64_t* value) {
    trace("Fg_ConfigFileParser::getIntValue");
    if (text == nullptr || value == nullptr) return -1;
    // "%llu" rules: blanks and a sign may lead, at least one digit must
    // follow, otherwise the target stays as it was.
    char* end = nullptr;
    const unsigned long long v = std::strtoull(text, &end, 10);
    if (end != text) *value = static_cast<std::uint64_t>(v);
    return 0;
}

int Fg_ConfigFileParser::getDoubleValue(const char* text, double* value) {
    trace("Fg_ConfigFileParser::getDoubleValue");
    if (text == nullptr || value == nullptr) return -1;
    *value = std::strtod(text, nullptr);
    return 0;
}
