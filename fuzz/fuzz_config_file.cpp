// Camera configuration files with arbitrary contents: every lookup of the
// parser (header keys, port-section keys as text, integer, unsigned 64-bit
// and double, sections that do not exist, missing keys), the number
// conversions on arbitrary text, and Fg_loadConfig of the file on a board
// (then Fg_saveConfig for every other input).
//
// Properties beyond "no crash, no leak, no undefined behaviour":
//  - a text lookup never stores more than 255 characters plus the end mark;
//  - a numeric lookup that fails leaves its target untouched;
//  - Fg_loadConfig answers 0, -5000 or -2076, and the error store then holds
//    0 or -5000.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "Fg_ConfigFileParser.h"
#include "fuzz_support.h"

namespace {

// The keys of a port section: the rows of port_cache.def that are in the file.
#define ORV_KEY_NONE(NAME)
#define ORV_KEY_CACHED(NAME) #NAME,
#define ORV_KEY_LIVE(NAME) #NAME,
#define ORV_KEY_SPECIAL(NAME) #NAME,
const char* const kPortKeys[] = {
#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) ORV_KEY_##SAVED(NAME)
#define PORT_CACHE_TEXT(NAME, SAVED, ON_LOAD) ORV_KEY_##SAVED(NAME)
#define PORT_FILE_KEY(NAME, TYPE, SAVED) ORV_KEY_##SAVED(NAME)
#include "port_cache.def"
};
const char* const kHeaderKeys[] = {"Hersteller",        "Typ",          "Version", "LoadAppletId", "AktivePort",
                                   "ConfigFileVersion", "Kamerasektion"};

const int kValueLimit = Fg_ConfigFileParser::ValueBufferSize;
const unsigned char kUntouched = 0xE7;

// A value buffer with room beyond what a lookup may store, to see overruns.
struct ValueBuffer {
    char bytes[4 * kValueLimit];
    ValueBuffer() { std::memset(bytes, kUntouched, sizeof bytes); }
    void check(const char* what) const {
        const void* end = std::memchr(bytes, '\0', kValueLimit);
        ORV_FUZZ_CHECK(end != nullptr, "%s stored a value without end mark within %d bytes", what, kValueLimit);
        for (int i = kValueLimit; i < int(sizeof bytes); ++i)
            ORV_FUZZ_CHECK(static_cast<unsigned char>(bytes[i]) == kUntouched, "%s wrote past %d bytes", what,
                           kValueLimit);
    }
};

Fg_Struct* board() {
    static Fg_Struct* fg = orvfuzz::openBoard(false, false);
    return fg;
}

void lookups(Fg_ConfigFileParser& parser, FuzzedDataProvider& in) {
    for (const char* key : kHeaderKeys) {
        ValueBuffer v;
        parser.parseKeyFromLine(key, v.bytes);
        v.check("parseKeyFromLine");
    }
    int headerInt = 0x5A5A5A5A;
    if (parser.parseIntKeyFromHeader("AktivePort", &headerInt) != 0)
        ORV_FUZZ_CHECK(headerInt == 0x5A5A5A5A, "failed header lookup changed its target");

    // A key of the input's own choosing, in the header and in a section.
    const std::string ownKey = in.ConsumeRandomLengthString(300);
    {
        ValueBuffer v;
        parser.parseKeyFromLine(ownKey.c_str(), v.bytes);
        v.check("parseKeyFromLine(own key)");
        ValueBuffer w;
        parser.parseKey(ownKey.c_str(), ownKey.c_str(), w.bytes);
        w.check("parseKey(own section)");
    }

    const int ports[] = {0, 1, 2, -1};
    for (size_t k = 0; k < sizeof kPortKeys / sizeof kPortKeys[0]; ++k) {
        const char* key = kPortKeys[k];
        const int port = ports[in.ConsumeIntegralInRange<int>(0, 3)];
        switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: {
            ValueBuffer v;
            parser.parseKeySection(port, key, v.bytes);
            v.check("parseKeySection");
            break;
        }
        case 1: {
            int value = 0x5A5A5A5A;
            if (parser.parseIntKeySection(port, key, &value) != 0)
                ORV_FUZZ_CHECK(value == 0x5A5A5A5A, "failed integer lookup of %s changed its target", key);
            break;
        }
        case 2: {
            uint64_t value = 0x5A5A5A5A5A5A5A5Aull;
            if (parser.parseUInt64KeySection(port, key, &value) != 0)
                ORV_FUZZ_CHECK(value == 0x5A5A5A5A5A5A5A5Aull, "failed 64-bit lookup of %s changed its target", key);
            break;
        }
        default: {
            double value = -0.125;
            if (parser.parseDoubleKeySection(port, key, &value) != 0)
                ORV_FUZZ_CHECK(value == -0.125, "failed double lookup of %s changed its target", key);
            break;
        }
        }
    }
    // No key at all.
    int unused = 0;
    ORV_FUZZ_CHECK(parser.parseIntKeySection(0, nullptr, &unused) == -1, "lookup without key");
    ValueBuffer v;
    ORV_FUZZ_CHECK(parser.parseKeySection(1, nullptr, v.bytes) == -1, "text lookup without key");
}

void conversions(Fg_ConfigFileParser& parser, const std::string& text) {
    int i = 0;
    uint64_t u = 0;
    double d = 0;
    parser.getIntValue(text.c_str(), &i);
    parser.getUInt64Value(text.c_str(), &u);
    parser.getDoubleValue(text.c_str(), &d);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    board();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The first bytes steer the lookups; the file is the whole input, with
    // file names in it kept inside the working directory.
    FuzzedDataProvider in(data, size);
    std::string contents(reinterpret_cast<const char*>(data), size);
    orvfuzz::confine(contents);
    const std::string path = orvfuzz::scratchPath("input.mcf");
    orvfuzz::writeFile(path, contents.data(), contents.size());

    {
        Fg_ConfigFileParser parser(nullptr, path.c_str(), true);
        ORV_FUZZ_CHECK(parser.isOpen(), "the parser did not open %s", path.c_str());
        lookups(parser, in);
        conversions(parser, contents.substr(0, 512));
    }

    Fg_Struct* fg = board();
    const int rc = Fg_loadConfig(fg, path.c_str());
    const int stored = Fg_getLastErrorNumber(fg);
    ORV_FUZZ_CHECK(rc == 0 || rc == FG_ERR_CONFIG_LOAD, "Fg_loadConfig answered %d", rc);
    ORV_FUZZ_CHECK(stored == (rc == 0 ? 0 : FG_ERR_CONFIG_LOAD), "error store %d after load result %d", stored, rc);

    // Saving whatever state the file left must work (every input of odd
    // length saves: a condition every mutation can flip).
    if (size % 2 == 1) {
        const std::string saved = orvfuzz::scratchPath("saved.mcf");
        ORV_FUZZ_CHECK(Fg_saveConfig(fg, saved.c_str()) == 0, "save after load failed");
    }
    return 0;
}
