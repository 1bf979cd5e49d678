// Lookup-table files with arbitrary contents, read as every table kind: the
// single integer table (with the applet's section "[gray]" and with a section
// of the input's choosing), the three-channel integer table, the single and
// three-channel knee tables, and the key and entry lookups on their own.
//
// Properties beyond "no crash, no leak, no undefined behaviour":
//  - a table read successfully has entries exactly when it has a count, and
//    never more than the reader's limit;
//  - an integer table read successfully, written back and read again gives
//    the same descriptor and entries (for tables of a sensible size), and so
//    do the three channels of a colour file;
//  - a knee table written and read again gives each value as its twelve
//    decimals give it (where the entry line fits the reader's 255 characters);
//  - a key lookup stores at most 255 characters plus the end mark.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "Fg_LutFileParser.h"
#include "fuzz_support.h"

namespace {

const unsigned kRoundTripLimit = 4096;
const unsigned kKneeLimit = 8192;
const unsigned char kUntouched = 0xE7;

void checkTable(const LookupTable& t, const char* what) {
    ORV_FUZZ_CHECK(t.nrOfElements <= Fg_LutFileParser::MaxElements, "%s: %u entries", what, t.nrOfElements);
    ORV_FUZZ_CHECK((t.lut != nullptr) == (t.nrOfElements > 0), "%s: entries %p for a count of %u", what,
                   static_cast<void*>(t.lut), t.nrOfElements);
}

void roundTrip(const LookupTable& t) {
    if (t.nrOfElements > kRoundTripLimit) return;
    const std::string copy = orvfuzz::scratchPath("copy.lut");
    Fg_LutFileParser writer;
    ORV_FUZZ_CHECK(writer.saveLutToFile(copy.c_str(), &t) == 0, "writing a table read back failed");
    LookupTable again;
    std::memset(&again, 0, sizeof again);
    Fg_LutFileParser reader;
    ORV_FUZZ_CHECK(reader.getLutFromFile(copy.c_str(), &again, "[gray]") == 0, "reading the written table failed");
    ORV_FUZZ_CHECK(again.id == t.id && again.nrOfElements == t.nrOfElements && again.format == t.format &&
                       again.number == t.number,
                   "descriptor changed in the round trip: id %u/%u count %u/%u format %u/%u number %u/%u", t.id,
                   again.id, t.nrOfElements, again.nrOfElements, t.format, again.format, t.number, again.number);
    for (unsigned i = 0; i < t.nrOfElements; ++i)
        ORV_FUZZ_CHECK(again.lut[i] == t.lut[i], "entry %u changed in the round trip: %u -> %u", i, t.lut[i],
                       again.lut[i]);
    Fg_LutFileParser::releaseLut(&again);
}

bool sameTable(const LookupTable& a, const LookupTable& b) {
    if (a.id != b.id || a.nrOfElements != b.nrOfElements || a.format != b.format || a.number != b.number) return false;
    for (unsigned i = 0; i < a.nrOfElements; ++i)
        if (a.lut[i] != b.lut[i]) return false;
    return true;
}

void roundTripChannels(const LookupTable* rgb) {
    for (int c = 0; c < 3; ++c)
        if (rgb[c].nrOfElements > kRoundTripLimit) return;
    const std::string copy = orvfuzz::scratchPath("copy3.lut");
    ORV_FUZZ_CHECK(Fg_LutFileParser().saveLutToFile(copy.c_str(), &rgb[0], &rgb[1], &rgb[2]) == 0,
                   "writing three channels read back failed");
    LookupTable again[3];
    std::memset(again, 0, sizeof again);
    ORV_FUZZ_CHECK(Fg_LutFileParser().getLutFromFile(copy.c_str(), &again[0], &again[1], &again[2]) == 0,
                   "reading the written channels failed");
    for (int c = 0; c < 3; ++c) {
        ORV_FUZZ_CHECK(sameTable(rgb[c], again[c]), "channel %d changed in the round trip", c);
        Fg_LutFileParser::releaseLut(&again[c]);
    }
}

// The value an entry line "i,%0.12lf;" gives back, or false when the line
// is longer than the reader's pieces.
bool expectedKnee(unsigned index, double v, double* out) {
    char line[512];
    const int n = std::snprintf(line, sizeof line, "%u,%0.12lf;\n", index, v);
    if (n < 0 || n > 255) return false;
    *out = std::strtod(std::strchr(line, ',') + 1, nullptr);
    return true;
}

void roundTripKnee(const KneeLookupTable& t) {
    const std::string copy = orvfuzz::scratchPath("knee.lut");
    ORV_FUZZ_CHECK(Fg_LutFileParser().saveLutToFile(copy.c_str(), &t, "[gray]") == 0, "writing a knee table failed");
    KneeLookupTable again;
    std::memset(&again, 0, sizeof again);
    again.nrOfElements = t.nrOfElements;
    ORV_FUZZ_CHECK(Fg_LutFileParser().getLutFromFile(copy.c_str(), &again, "[gray]") == 0,
                   "reading the written knee table failed");
    for (unsigned i = 0; i < t.nrOfElements; ++i) {
        double want = 0;
        if (!expectedKnee(i, t.value[i], &want)) break;  // the lines after a long one are out of step
        const double got = again.value[i];
        ORV_FUZZ_CHECK(got == want || (std::isnan(got) && std::isnan(want)), "knee entry %u: %.17g read as %.17g", i,
                       want, got);
    }
    Fg_LutFileParser::releaseLut(&again);
}

void integerTables(const std::string& path, const std::string& section) {
    Fg_LutFileParser parser;
    LookupTable gray;
    std::memset(&gray, 0, sizeof gray);
    if (parser.getLutFromFile(path.c_str(), &gray, "[gray]") == 0) {
        checkTable(gray, "[gray]");
        roundTrip(gray);
    }
    Fg_LutFileParser::releaseLut(&gray);

    LookupTable own;
    std::memset(&own, 0, sizeof own);
    if (parser.getLutFromFile(path.c_str(), &own, section.c_str()) == 0) checkTable(own, "own section");
    Fg_LutFileParser::releaseLut(&own);

    LookupTable rgb[3];
    std::memset(rgb, 0, sizeof rgb);
    if (parser.getLutFromFile(path.c_str(), &rgb[0], &rgb[1], &rgb[2]) == 0) {
        for (const LookupTable& t : rgb) checkTable(t, "three channels");
        roundTripChannels(rgb);
    }
    for (LookupTable& t : rgb) Fg_LutFileParser::releaseLut(&t);
}

void kneeTables(const std::string& path, const std::string& section, unsigned count) {
    Fg_LutFileParser parser;
    KneeLookupTable knee;
    std::memset(&knee, 0, sizeof knee);
    knee.nrOfElements = count;
    if (parser.getLutFromFile(path.c_str(), &knee, section.c_str()) == 0) {
        ORV_FUZZ_CHECK((knee.value != nullptr) == (count > 0), "knee table entries do not match its count");
        if (count <= kRoundTripLimit) roundTripKnee(knee);
    }
    Fg_LutFileParser::releaseLut(&knee);

    KneeLookupTable rgb[3];
    std::memset(rgb, 0, sizeof rgb);
    for (KneeLookupTable& t : rgb) t.nrOfElements = count;
    parser.getLutFromFile(path.c_str(), &rgb[0], &rgb[1], &rgb[2]);
    for (KneeLookupTable& t : rgb) Fg_LutFileParser::releaseLut(&t);
}

void lookups(const std::string& path, const std::string& key, const std::string& section, unsigned count) {
    Fg_LutFileParser parser;
    if (!parser.setOpenFile(path.c_str(), true)) return;
    char value[1024];
    std::memset(value, kUntouched, sizeof value);
    parser.parseKeyFromLine(key.c_str(), value, "='");
    ORV_FUZZ_CHECK(std::memchr(value, '\0', 256) != nullptr, "key value without end mark within 256 bytes");
    for (size_t i = 256; i < sizeof value; ++i)
        ORV_FUZZ_CHECK(static_cast<unsigned char>(value[i]) == kUntouched, "key lookup wrote past 256 bytes");
    int i = 0;
    double d = 0;
    parser.parseIntKey(key.c_str(), &i, "=");
    parser.parseDoubleKey(key.c_str(), &d, ",;");
    std::vector<int> ints(count);
    std::vector<double> doubles(count);
    parser.parseIntInt(ints.data(), static_cast<int>(count), ",", section.c_str());
    parser.parseIntDouble(doubles.data(), static_cast<int>(count), ";", section.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const std::string section = in.ConsumeRandomLengthString(40);
    const std::string key = in.ConsumeRandomLengthString(40);
    const unsigned count = in.ConsumeIntegralInRange<unsigned>(0, kKneeLimit);
    // The file is the whole input, so that the section and key chosen above
    // also occur in it.
    const std::string path = orvfuzz::scratchPath("input.lut");
    orvfuzz::writeFile(path, data, size);

    integerTables(path, section);
    kneeTables(path, section, count);
    lookups(path, key, section, count);
    return 0;
}
