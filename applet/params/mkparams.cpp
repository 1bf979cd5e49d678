// Writes orvindel_params.h, the public C header of the applet's parameters:
// the identity of every SDK parameter and the value of every enumeration
// constant, from the same tables the applet is built from.
//     mkparams OUTPUT
#include <cstdio>
#include <map>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: mkparams OUTPUT\n");
        return 2;
    }
    std::string text =
        "/* The Orvindel applet's parameters: the identity of every SDK parameter\n"
        " * (the same on both ports; the port is the DMA index of an access) and the\n"
        " * value of every enumeration constant. Generated from the applet's tables\n"
        " * when it was built; do not edit. */\n"
        "#ifndef ORVINDEL_PARAMS_H\n#define ORVINDEL_PARAMS_H\n\n/* SDK parameter identities */\n";
    char line[160];
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC)            \
    std::snprintf(line, sizeof line, "#define %-40s %d\n", #NAME, ID); \
    text += line;
#include "sdk_params.def"

    // A constant may appear in several tables (On/Off, ...) with one value.
    text += "\n/* Enumeration constants */\n";
    std::map<std::string, unsigned long> seen;
    const char* table = "";
    bool clash = false;
#define ENUM_TABLE(NAME) table = #NAME;
#define ENUM_ENTRY(DISPLAY, VALUE, CONSTANT)                                                                           \
    {                                                                                                                  \
        auto it = seen.find(#CONSTANT);                                                                                \
        if (it == seen.end()) {                                                                                        \
            seen.emplace(#CONSTANT, VALUE);                                                                            \
            std::snprintf(line, sizeof line, "#define %-40s %luu\n", #CONSTANT, (unsigned long)VALUE);                 \
            text += line;                                                                                              \
        } else if (it->second != (unsigned long)VALUE) {                                                               \
            std::fprintf(stderr, "mkparams: %s of %s is %lu, elsewhere %lu\n", #CONSTANT, table, (unsigned long)VALUE, \
                         it->second);                                                                                  \
            clash = true;                                                                                              \
        }                                                                                                              \
    }
#define ENUM_TABLE_END()
#include "enums.def"
    (void)table;
    if (clash) return 1;
    text += "\n#endif /* ORVINDEL_PARAMS_H */\n";

    std::FILE* f = std::fopen(argv[1], "wb");
    if (f == nullptr || std::fwrite(text.data(), 1, text.size(), f) != text.size() || std::fclose(f) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
