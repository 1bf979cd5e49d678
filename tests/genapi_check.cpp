// genapi_check [--quiet] doc.xml...: reads each GenApi register description as
// plain XML (every top-level node with its kind, description, Min, Max, Inc,
// enumeration entries, address, length, access mode, category features) and
// as a node map of an independent GenICam implementation, and compares the
// two. Prints a line per node (unless --quiet) and a summary per document;
// exits non-zero when a document cannot be loaded or anything differs.
#include <arv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

struct Expected {
    std::string kind;  // element name: Integer, IntReg, Float, ...
    std::string name;
    std::map<std::string, std::string> fields;                  // text of the direct child elements
    std::vector<std::pair<std::string, std::string> > entries;  // EnumEntry name, Value text
    std::vector<std::string> features;                          // pFeature texts
};

// The text libxml2 handed over, released.
std::string taken(xmlChar* text) {
    const std::string s = text != NULL ? reinterpret_cast<const char*>(text) : "";
    xmlFree(text);
    return s;
}
std::string content(xmlNode* node) { return taken(xmlNodeGetContent(node)); }
std::string attribute(xmlNode* node, const char* name) {
    return taken(xmlGetProp(node, reinterpret_cast<const xmlChar*>(name)));
}

bool isElement(xmlNode* node, const char* name = NULL) {
    return node->type == XML_ELEMENT_NODE &&
           (name == NULL || std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0);
}

bool parseInteger(const std::string& text, long long& value) {
    if (text.empty()) return false;
    char* end = NULL;
    errno = 0;
    value = std::strtoll(text.c_str(), &end, 10);
    return errno == 0 && end != NULL && *end == '\0';
}

bool parseDouble(const std::string& text, double& value) {
    if (text.empty()) return false;
    char* end = NULL;
    value = g_ascii_strtod(text.c_str(), &end);
    return end != NULL && *end == '\0';
}

class Checker {
public:
    Checker(const std::string& file, bool quiet) : mFile(file), mQuiet(quiet) {}

    int run() {
        std::ifstream in(mFile.c_str(), std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "%s: cannot read\n", mFile.c_str());
            return 1;
        }
        const std::string xml((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

        if (!readExpectations(xml)) return 1;
        ArvGc* gc = arv_gc_new(NULL, xml.data(), xml.size());
        if (gc == NULL) {
            std::fprintf(stderr, "%s: the GenICam node map could not be built\n", mFile.c_str());
            return 1;
        }
        for (size_t i = 0; i < mExpected.size(); ++i) check(gc, mExpected[i]);
        g_object_unref(gc);

        std::printf("%s: %zu nodes checked (", mFile.c_str(), mExpected.size());
        bool first = true;
        for (std::map<std::string, int>::const_iterator it = mCounts.begin(); it != mCounts.end(); ++it) {
            std::printf("%s%d %s", first ? "" : ", ", it->second, it->first.c_str());
            first = false;
        }
        std::printf("; %d enumeration entries, %d category features), %d mismatches\n", mEntryCount, mFeatureCount,
                    mMismatches);
        return mMismatches == 0 ? 0 : 1;
    }

private:
    bool readExpectations(const std::string& xml) {
        xmlDoc* doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), mFile.c_str(), NULL, XML_PARSE_NONET);
        if (doc == NULL) {
            std::fprintf(stderr, "%s: not well-formed XML\n", mFile.c_str());
            return false;
        }
        xmlNode* root = xmlDocGetRootElement(doc);
        if (root == NULL || !isElement(root, "RegisterDescription")) {
            std::fprintf(stderr, "%s: no RegisterDescription root element\n", mFile.c_str());
            xmlFreeDoc(doc);
            return false;
        }
        for (xmlNode* node = root->children; node != NULL; node = node->next) {
            if (!isElement(node)) continue;
            Expected e;
            e.kind = reinterpret_cast<const char*>(node->name);
            e.name = attribute(node, "Name");
            for (xmlNode* child = node->children; child != NULL; child = child->next) {
                if (!isElement(child)) continue;
                const std::string tag = reinterpret_cast<const char*>(child->name);
                if (tag == "EnumEntry") {
                    std::string value;
                    for (xmlNode* v = child->children; v != NULL; v = v->next)
                        if (isElement(v, "Value")) value = content(v);
                    e.entries.push_back(std::make_pair(attribute(child, "Name"), value));
                } else if (tag == "pFeature") {
                    e.features.push_back(content(child));
                } else {
                    e.fields[tag] = content(child);
                }
            }
            mExpected.push_back(e);
        }
        xmlFreeDoc(doc);
        return true;
    }

    void mismatch(const Expected& e, const std::string& what) {
        ++mMismatches;
        std::printf("MISMATCH %s %s: %s\n", e.kind.c_str(), e.name.c_str(), what.c_str());
    }
    static const std::string* field(const Expected& e, const char* name) {
        std::map<std::string, std::string>::const_iterator f = e.fields.find(name);
        return f != e.fields.end() ? &f->second : NULL;
    }
    bool seenAs(const Expected& e, bool is, const char* what) {
        if (!is) mismatch(e, std::string("not seen as ") + what);
        return is;
    }

    bool noError(const Expected& e, const char* what, GError*& error) {
        if (error == NULL) return true;
        mismatch(e, std::string(what) + ": " + error->message);
        g_clear_error(&error);
        return false;
    }

    // A numeric bound of an Integer or Float node against the document's text
    // (`fallback` stands for a missing element).
    template <class Node, class T>
    void checkNumber(const Expected& e, Node* node, const char* field, T (*get)(Node*, GError**),
                     const char* fallback = "") {
        const std::string* f = Checker::field(e, field);
        const std::string text = f != NULL ? *f : std::string(fallback);
        if (text.empty()) return;
        long long integer = 0;
        double number = 0;
        if (!(std::is_integral<T>::value ? parseInteger(text, integer) : parseDouble(text, number))) {
            mismatch(e, std::string(field) + " is not a number: '" + text + "'");
            return;
        }
        GError* error = NULL;
        const T got = get(node, &error);
        if (noError(e, field, error) && (std::is_integral<T>::value ? got != T(integer) : got != T(number))) {
            std::ostringstream m;
            m.precision(17);
            m << field << " " << got << ", document says " << text;
            mismatch(e, m.str());
        }
    }

    void checkRegister(const Expected& e, ArvGcNode* node) {
        if (!seenAs(e, ARV_IS_GC_REGISTER(node), "a register")) return;
        const std::pair<const char*, guint64 (*)(ArvGcRegister*, GError**)> numbers[] = {
            {"Address", arv_gc_register_get_address}, {"Length", arv_gc_register_get_length}};
        for (const auto& n : numbers) {
            const std::string* f = field(e, n.first);
            if (f == NULL) continue;
            GError* error = NULL;
            long long expected = 0;
            const guint64 got = n.second(ARV_GC_REGISTER(node), &error);
            if (noError(e, n.first, error) && (!parseInteger(*f, expected) || got != static_cast<guint64>(expected)))
                mismatch(e, std::string(n.first) + " " + std::to_string(got) + ", document says " + *f);
        }
        const std::string* f = field(e, "AccessMode");
        if (f != NULL && !f->empty()) {
            const ArvGcAccessMode got = arv_gc_feature_node_get_actual_access_mode(ARV_GC_FEATURE_NODE(node));
            const char* name = got == ARV_GC_ACCESS_MODE_RO   ? "RO"
                               : got == ARV_GC_ACCESS_MODE_WO ? "WO"
                               : got == ARV_GC_ACCESS_MODE_RW ? "RW"
                                                              : "undefined";
            if (*f != name) mismatch(e, std::string("AccessMode ") + name + ", document says " + *f);
        }
    }

    void check(ArvGc* gc, const Expected& e) {
        ++mCounts[e.kind];
        ArvGcNode* node = e.name.empty() ? NULL : arv_gc_get_node(gc, e.name.c_str());
        if (node == NULL) return mismatch(e, e.name.empty() ? "node without a name" : "not found in the node map");
        const std::string* d = field(e, "Description");
        if (d != NULL && ARV_IS_GC_FEATURE_NODE(node)) {
            const char* got = arv_gc_feature_node_get_description(ARV_GC_FEATURE_NODE(node));
            if (got == NULL || *d != got)
                mismatch(e, std::string("Description '") + (got ? got : "(none)") + "', document says '" + *d + "'");
        }

        if (e.kind == "Integer") {
            if (!seenAs(e, ARV_IS_GC_INTEGER(node), "an integer")) return;
            checkNumber(e, ARV_GC_INTEGER(node), "Min", arv_gc_integer_get_min);
            checkNumber(e, ARV_GC_INTEGER(node), "Max", arv_gc_integer_get_max);
            checkNumber(e, ARV_GC_INTEGER(node), "Inc", arv_gc_integer_get_inc, "1");
        } else if (e.kind == "Float") {
            if (!seenAs(e, ARV_IS_GC_FLOAT(node), "a float")) return;
            checkNumber(e, ARV_GC_FLOAT(node), "Min", arv_gc_float_get_min);
            checkNumber(e, ARV_GC_FLOAT(node), "Max", arv_gc_float_get_max);
        } else if (e.kind == "Enumeration") {
            if (!seenAs(e, ARV_IS_GC_ENUMERATION(node), "an enumeration")) return;
            // The node map keeps entries in an order of its own: compared as (name, value) sets.
            std::multiset<std::pair<std::string, long long> > got, expected;
            for (const GSList* it = arv_gc_enumeration_get_entries(ARV_GC_ENUMERATION(node)); it != NULL;
                 it = it->next) {
                if (!ARV_IS_GC_ENUM_ENTRY(it->data)) continue;
                GError* error = NULL;
                const gint64 value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(it->data), &error);
                if (!noError(e, "entry value", error)) continue;
                const char* name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(it->data));
                got.insert(std::make_pair(std::string(name ? name : ""), static_cast<long long>(value)));
            }
            for (size_t i = 0; i < e.entries.size(); ++i) {
                long long value = 0;
                if (!parseInteger(e.entries[i].second, value))
                    mismatch(e, "entry " + e.entries[i].first + " has no integer value: '" + e.entries[i].second + "'");
                expected.insert(std::make_pair(e.entries[i].first, value));
            }
            if (got != expected)
                mismatch(e, std::to_string(got.size()) + " entries seen, document lists " +
                                std::to_string(expected.size()) + " (or other names or values)");
            mEntryCount += static_cast<int>(e.entries.size());
        } else if (e.kind == "IntReg" || e.kind == "FloatReg") {
            checkRegister(e, node);
        } else if (e.kind == "StringReg") {
            checkRegister(e, node);
            if (seenAs(e, ARV_IS_GC_STRING(node), "a string")) {
                GError* error = NULL;
                const gint64 max = arv_gc_string_get_max_length(ARV_GC_STRING(node), &error);
                long long expected = 0;
                const std::string* f = field(e, "Length");
                if (noError(e, "maximum length", error) && f != NULL &&
                    (!parseInteger(*f, expected) || max != expected))
                    mismatch(e, "maximum length " + std::to_string(max) + ", document says " + *f);
            }
        } else if (e.kind == "Category") {
            if (!seenAs(e, ARV_IS_GC_CATEGORY(node), "a category")) return;
            std::vector<std::string> got;
            for (const GSList* it = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); it != NULL; it = it->next)
                got.push_back(static_cast<const char*>(it->data));
            if (got != e.features)
                mismatch(e, std::to_string(got.size()) + " features seen, document lists " +
                                std::to_string(e.features.size()) + " (or in another order)");
            for (size_t i = 0; i < e.features.size(); ++i)
                if (arv_gc_get_node(gc, e.features[i].c_str()) == NULL)
                    mismatch(e, "feature " + e.features[i] + " names no node");
            mFeatureCount += static_cast<int>(e.features.size());
        } else if (e.kind == "Port") {
            seenAs(e, ARV_IS_GC_PORT(node), "a port");
        }
        if (!mQuiet) std::printf("ok %s %s\n", e.kind.c_str(), e.name.c_str());
    }

    std::string mFile;
    bool mQuiet;
    std::vector<Expected> mExpected;
    std::map<std::string, int> mCounts;
    int mEntryCount = 0;
    int mFeatureCount = 0;
    int mMismatches = 0;
};

}  // namespace

int main(int argc, char** argv) {
    bool quiet = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quiet") == 0 || std::strcmp(argv[i], "-q") == 0)
            quiet = true;
        else
            files.push_back(argv[i]);
    }
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s [--quiet] doc.xml...\n", argv[0]);
        return 2;
    }
    int failed = 0;
    for (size_t i = 0; i < files.size(); ++i)
        if (Checker(files[i], quiet).run() != 0) ++failed;
    return failed == 0 ? 0 : 1;
}
