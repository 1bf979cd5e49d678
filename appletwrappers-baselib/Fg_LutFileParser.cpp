#include "Fg_LutFileParser.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Lines are read in pieces of at most this many characters.
const int kPieceLength = 255;
const int kTextSize = kPieceLength + 1;

const char kNotFoundText[] = "Error";
const char kKeySeparators[] = "='";
const char kKeySeparator[] = "=";
const char kEntrySeparator[] = ",";

const char kLutHeading[] = "# Lut data file v1.1";
const char kKneeHeadingSingle[] = "# KneeLut data file v1.0\n\n";
const char kKneeHeadingTriple[] = "# KneeLut data file v1.1";
const char kBlank[] = "\n\n";

const char* text(const char* s) { return s != nullptr ? s : ""; }

bool isLineEnd(char c) { return c == '\r' || c == '\n'; }

// The value of a line: the text after its first separator character up to
// the next separator character or the line end. False when there is none.
bool valueAfterSeparator(const char* line, const char* separators, char* value) {
    const std::size_t first = std::strcspn(line, separators);
    if (line[first] == '\0') return false;
    const char* p = line + first + 1;
    std::size_t n = 0;
    while (p[n] != '\0' && !isLineEnd(p[n]) && std::strchr(separators, p[n]) == nullptr) ++n;
    if (n == 0) return false;
    std::memcpy(value, p, n);
    value[n] = '\0';
    return true;
}

int toInt(const char* s) {
    // Decimal conversion; out-of-range text saturates at the 32-bit limits.
    long long v = std::strtoll(s, nullptr, 10);
    if (v > INT_MAX)
        v = INT_MAX;
    else if (v < INT_MIN)
        v = INT_MIN;
    return static_cast<int>(v);
}

}  // namespace

Fg_LutFileParser::Fg_LutFileParser() {}

Fg_LutFileParser::~Fg_LutFileParser() { closeFile(); }

void Fg_LutFileParser::closeFile() {
    finishSave();
    mText.clear();
}

bool Fg_LutFileParser::finishSave() { return mSave.isOpen() && mSave.commit(); }

void Fg_LutFileParser::flush() {
    if (out() != nullptr) std::fflush(out());
}

void Fg_LutFileParser::releaseLut(LookupTable* table) {
    if (table != nullptr) {
        delete[] table->lut;
        table->lut = nullptr;
    }
}

void Fg_LutFileParser::releaseLut(KneeLookupTable* table) {
    if (table != nullptr) {
        delete[] table->value;
        table->value = nullptr;
    }
}

// ---------------------------------------------------------------- files --

bool Fg_LutFileParser::checkFileType(const char* /*name*/) {
    // Any name will do; the extension is the application's business.
    return true;
}

bool Fg_LutFileParser::checkFileExist(const char* name) { return Fg_TextFileReader::readable(name); }

bool Fg_LutFileParser::setOpenFile(const char* name, bool readOnly) {
    if (!checkFileType(name) || !checkFileExist(name)) return false;
    closeFile();
    return mText.load(name, !readOnly);
}

bool Fg_LutFileParser::setSaveFile(const char* name) {
    if (name == nullptr) return false;
    closeFile();
    return mSave.open(name);
}

// -------------------------------------------------------------- writing --

void Fg_LutFileParser::writeLutFileHeader(const char* s) {
    if (out() == nullptr) return;
    std::fputs(text(s), out());
    flush();
}

void Fg_LutFileParser::writeLutFileValue(const char* key, const char* value, const char* separator) {
    if (out() == nullptr) return;
    std::fprintf(out(), "%s%s%s;\n", text(key), text(separator), text(value));
    flush();
}

void Fg_LutFileParser::writeIntKey(const char* key, int value, const char* separator) {
    char number[32];
    std::snprintf(number, sizeof number, "%d", value);
    writeLutFileValue(key, number, separator);
}

void Fg_LutFileParser::writeDoubleKey(const char* key, double value, const char* separator) {
    char number[32];
    std::snprintf(number, sizeof number, "%.*g", 12, value);
    writeLutFileValue(key, number, separator);
}

void Fg_LutFileParser::writeIntInt(int index, int value, const char* separator) {
    if (out() == nullptr) return;
    std::fprintf(out(), "%d%s%d;\n", index, text(separator), value);
    flush();
}

void Fg_LutFileParser::writeIntDouble(int index, double value, const char* separator) {
    if (out() == nullptr) return;
    std::fprintf(out(), "%d%s%0.12lf;\n", index, text(separator), value);
    flush();
}

void Fg_LutFileParser::writeKeys(const LookupTable& table) {
    writeIntKey("id", static_cast<int>(table.id), kKeySeparator);
    writeIntKey("nrOfElements", static_cast<int>(table.nrOfElements), kKeySeparator);
    writeIntKey("format", static_cast<int>(table.format), kKeySeparator);
    writeIntKey("number", static_cast<int>(table.number), kKeySeparator);
}

void Fg_LutFileParser::writeEntries(const LookupTable& table) {
    for (unsigned int i = 0; i < table.nrOfElements; ++i)
        writeIntInt(static_cast<int>(i), static_cast<int>(table.lut[i]), kEntrySeparator);
}

void Fg_LutFileParser::writeEntries(const KneeLookupTable& table) {
    for (unsigned int i = 0; i < table.nrOfElements; ++i)
        writeIntDouble(static_cast<int>(i), table.value[i], kEntrySeparator);
}

namespace {

bool writable(const LookupTable* t) { return t != nullptr && (t->lut != nullptr || t->nrOfElements == 0); }

bool writable(const KneeLookupTable* t) { return t != nullptr && (t->value != nullptr || t->nrOfElements == 0); }

// The three channels of a colour file, each from its section; stops at the
// first channel that cannot be read.
template <class Table>
int readChannels(Fg_LutFileParser& parser, const char* name, Table* red, Table* green, Table* blue) {
    int result = parser.getLutFromFile(name, red, "[red]");
    if (result == 0) result = parser.getLutFromFile(name, green, "[green]");
    if (result == 0) result = parser.getLutFromFile(name, blue, "[blue]");
    return result;
}

}  // namespace

int Fg_LutFileParser::saveLutToFile(const char* name, const LookupTable* table) {
    if (!writable(table) || !setSaveFile(name)) return -1;
    writeLutFileHeader("# Lut data file v1.1\n\n");
    writeLutFileHeader(kBlank);
    writeLutFileHeader("[gray]");
    writeLutFileHeader(kBlank);
    writeBody(*table);
    return finishSave() ? 0 : -1;
}

void Fg_LutFileParser::writeBody(const LookupTable& table) {
    writeKeys(table);
    writeEntries(table);
}

void Fg_LutFileParser::writeBody(const KneeLookupTable& table) { writeEntries(table); }

template <class Table>
int Fg_LutFileParser::saveChannels(const char* name, const char* heading, const Table* red, const Table* green,
                                   const Table* blue) {
    if (!writable(red) || !writable(green) || !writable(blue) || !setSaveFile(name)) return -1;
    const char* sections[3] = {"[red]", "[green]", "[blue]"};
    const Table* tables[3] = {red, green, blue};
    writeLutFileHeader(heading);
    for (int c = 0; c < 3; ++c) {
        writeLutFileHeader(kBlank);
        writeLutFileHeader(sections[c]);
        writeLutFileHeader(kBlank);
        writeBody(*tables[c]);
    }
    return finishSave() ? 0 : -1;
}

int Fg_LutFileParser::saveLutToFile(const char* name, const LookupTable* red, const LookupTable* green,
                                    const LookupTable* blue) {
    return saveChannels(name, kLutHeading, red, green, blue);
}

int Fg_LutFileParser::saveLutToFile(const char* name, const KneeLookupTable* table, const char* section) {
    if (!writable(table) || !setSaveFile(name)) return -1;
    writeLutFileHeader(kKneeHeadingSingle);
    writeLutFileHeader(section);
    writeLutFileHeader(kBlank);
    writeEntries(*table);
    return finishSave() ? 0 : -1;
}

int Fg_LutFileParser::saveLutToFile(const char* name, const KneeLookupTable* red, const KneeLookupTable* green,
                                    const KneeLookupTable* blue) {
    return saveChannels(name, kKneeHeadingTriple, red, green, blue);
}

int Fg_LutFileParser::saveMatrixToFile(const char* name, const char* header, const int* values, int n) {
    if ((values == nullptr && n > 0) || !setSaveFile(name)) return -1;
    writeLutFileHeader(header);
    writeIntKey("nrOfElements", n, kKeySeparator);
    for (int i = 0; i < n; ++i) writeIntInt(i, values[i], kEntrySeparator);
    return finishSave() ? 0 : -1;
}

int Fg_LutFileParser::getMatrixFromFile(const char* /*name*/, int* /*values*/, int /*n*/) { return -1; }

// -------------------------------------------------------------- reading --

int Fg_LutFileParser::parseKeyFromLine(const char* key, char* out, const char* separators) {
    if (out == nullptr) return -1;
    std::strcpy(out, kNotFoundText);
    if (key == nullptr || separators == nullptr) return -1;
    Fg_TextFileReader::Cursor at;
    char piece[kTextSize];
    if (!mText.findPieceContaining(at, key) || !mText.nextPiece(at, piece)) return -1;
    // The first line naming the key decides; without a value after its
    // separator the key counts as missing.
    if (!valueAfterSeparator(piece, separators, out)) {
        std::strcpy(out, kNotFoundText);
        return -1;
    }
    return 0;
}

int Fg_LutFileParser::parseIntKey(const char* key, int* out, const char* separators) {
    char value[kTextSize];
    parseKeyFromLine(key, value, separators);
    if (std::strstr(value, kNotFoundText) != nullptr || out == nullptr) return -1;
    getIntValue(value, out);
    return 0;
}

int Fg_LutFileParser::parseDoubleKey(const char* key, double* out, const char* separators) {
    char value[kTextSize];
    parseKeyFromLine(key, value, separators);
    if (std::strstr(value, kNotFoundText) != nullptr || out == nullptr) return -1;
    getDoubleValue(value, out);
    return 0;
}

int Fg_LutFileParser::getIntValue(const char* s, int* value) {
    if (s == nullptr || value == nullptr) return -1;
    *value = toInt(s);
    return 0;
}

int Fg_LutFileParser::getDoubleValue(const char* s, double* value) {
    if (s == nullptr || value == nullptr) return -1;
    *value = std::strtod(s, nullptr);
    return 0;
}

bool Fg_LutFileParser::findSection(const char* section, Fg_TextFileReader::Cursor& at) const {
    char piece[kTextSize];
    at = Fg_TextFileReader::Cursor();
    return mText.findPieceContaining(at, section) && mText.nextPiece(at, piece);
}

// Moves forward to the next line that contains index followed by the
// separator and has a value; false at the end of the file.
bool Fg_LutFileParser::nextEntryText(Fg_TextFileReader::Cursor& at, int index, const char* separator,
                                     char* value) const {
    char needle[48];
    std::snprintf(needle, sizeof needle, "%d", index);
    std::strncat(needle, separator, sizeof needle - std::strlen(needle) - 1);
    char piece[kTextSize];
    while (mText.findPieceContaining(at, needle) && mText.nextPiece(at, piece)) {
        if (valueAfterSeparator(piece, separator, value)) return true;
    }
    return false;
}

int Fg_LutFileParser::parseIntInt(int* values, int n, const char* separator, const char* section) {
    Fg_TextFileReader::Cursor at;
    if (values == nullptr || n <= 0 || separator == nullptr || *separator == '\0' || section == nullptr ||
        !findSection(section, at))
        return 0;
    char value[kTextSize];
    for (int c = 0; c < n && nextEntryText(at, c, separator, value); ++c) values[c] = toInt(value);
    return 0;
}

int Fg_LutFileParser::parseIntDouble(double* values, int n, const char* separator, const char* section) {
    Fg_TextFileReader::Cursor at;
    if (values == nullptr || n <= 0 || separator == nullptr || *separator == '\0' || section == nullptr ||
        !findSection(section, at))
        return 0;
    char value[kTextSize];
    for (int c = 0; c < n && nextEntryText(at, c, separator, value); ++c) values[c] = std::strtod(value, nullptr);
    return 0;
}

// --------------------------------------------------------------- tables --

int Fg_LutFileParser::getLutFromFile(const char* name, LookupTable* table, const char* section) {
    if (table == nullptr) return -1;
    releaseLut(table);
    if (!checkFileType(name) || !checkFileExist(name) || !setOpenFile(name, true)) return -1;

    int id = 0, count = 0, format = 0, number = 0;
    parseIntKey("id", &id, kKeySeparators);
    parseIntKey("nrOfElements", &count, kKeySeparators);
    parseIntKey("format", &format, kKeySeparators);
    parseIntKey("number", &number, kKeySeparators);
    table->id = static_cast<unsigned int>(id);
    table->nrOfElements = static_cast<unsigned int>(count);
    table->format = static_cast<unsigned int>(format);
    table->number = static_cast<unsigned char>(number);

    if (table->nrOfElements > MaxElements) return -1;
    if (table->nrOfElements > 0) {
        table->lut = new (std::nothrow) unsigned int[table->nrOfElements]();
        if (table->lut == nullptr) return -1;
        parseIntInt(reinterpret_cast<int*>(table->lut), static_cast<int>(table->nrOfElements), kEntrySeparator,
                    section);
    }
    return 0;
}

int Fg_LutFileParser::getLutFromFile(const char* name, LookupTable* red, LookupTable* green, LookupTable* blue) {
    return readChannels(*this, name, red, green, blue);
}

int Fg_LutFileParser::getLutFromFile(const char* name, KneeLookupTable* table, const char* section) {
    if (table == nullptr) return -1;
    releaseLut(table);
    if (!checkFileType(name) || !checkFileExist(name) || !setOpenFile(name, true)) return -1;
    // The entry count is the caller's; knee files carry no keys.
    if (table->nrOfElements > MaxElements) return -1;
    if (table->nrOfElements > 0) {
        table->value = new (std::nothrow) double[table->nrOfElements]();
        if (table->value == nullptr) return -1;
        parseIntDouble(table->value, static_cast<int>(table->nrOfElements), kEntrySeparator, section);
    }
    return 0;
}

int Fg_LutFileParser::getLutFromFile(const char* name, KneeLookupTable* red, KneeLookupTable* green,
                                     KneeLookupTable* blue) {
    return readChannels(*this, name, red, green, blue);
}
