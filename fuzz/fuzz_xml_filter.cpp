// The two text filters of the GenApi description on arbitrary bytes.
//
// xmlStringFilter: the result holds none of the five special characters
// unescaped, every ampersand starts one of the five references, and undoing
// the references gives the input back byte for byte.
// xmlNameFilter: the result consists of ASCII letters, digits and
// underscores only, is a subsequence of the input, keeps every ASCII letter
// of the input, and starts with a letter whenever the input does.
#include <cstdint>
#include <cstring>
#include <string>

#include "ParameterInfoBuilderXML.h"
#include "fuzz_support.h"

namespace {

struct Reference {
    const char* text;
    char c;
};
const Reference kReferences[] = {{"&quot;", '"'}, {"&amp;", '&'}, {"&apos;", '\''}, {"&lt;", '<'}, {"&gt;", '>'}};

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

void checkStringFilter(const std::string& in) {
    const std::string out = xmlStringFilter(in);
    std::string undone;
    for (size_t i = 0; i < out.size();) {
        const char c = out[i];
        ORV_FUZZ_CHECK(c != '"' && c != '\'' && c != '<' && c != '>', "unescaped special character at %zu", i);
        if (c != '&') {
            undone += c;
            ++i;
            continue;
        }
        bool known = false;
        for (const Reference& r : kReferences) {
            const size_t n = std::strlen(r.text);
            if (out.compare(i, n, r.text) == 0) {
                undone += r.c;
                i += n;
                known = true;
                break;
            }
        }
        ORV_FUZZ_CHECK(known, "ampersand at %zu starts no reference", i);
    }
    ORV_FUZZ_CHECK(undone == in, "undoing the references does not give the input back (%zu vs %zu bytes)",
                   undone.size(), in.size());
}

void checkNameFilter(const std::string& in) {
    const std::string out = xmlNameFilter(in);
    size_t letters = 0, j = 0;
    for (char c : in)
        if (isLetter(c)) ++letters;
    size_t outLetters = 0;
    for (size_t i = 0; i < out.size(); ++i) {
        const char c = out[i];
        ORV_FUZZ_CHECK(isLetter(c) || isDigit(c) || c == '_', "character %d kept at %zu", int(c), i);
        if (isLetter(c)) ++outLetters;
        // Subsequence of the input.
        while (j < in.size() && in[j] != c) ++j;
        ORV_FUZZ_CHECK(j < in.size(), "output character %zu is not taken from the input in order", i);
        ++j;
    }
    ORV_FUZZ_CHECK(outLetters == letters, "%zu of %zu letters kept", outLetters, letters);
    if (!in.empty() && isLetter(in[0])) ORV_FUZZ_CHECK(!out.empty() && out[0] == in[0], "first letter lost");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string in(reinterpret_cast<const char*>(data), size);
    checkStringFilter(in);
    checkNameFilter(in);
    // Filters applied to each other's results: a name filtered once is a
    // fixed point of the string filter (it has no special characters).
    const std::string name = xmlNameFilter(in);
    ORV_FUZZ_CHECK(xmlStringFilter(name) == name, "a filtered name changed in the string filter");
    return 0;
}
