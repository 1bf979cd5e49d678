// genapi_check: loads GenApi register descriptions with an independent GenICam
// implementation and checks that it sees every node of the document with the
// values the document states.
//
//   genapi_check [--quiet] doc.xml...
//
// Each document is read twice: once as plain XML (the expectations: every
// top-level node with its kind, description, Min, Max, Inc, enumeration
// entries, address, length, access mode and category features) and once as a
// GenICam node map. Every expectation is compared with what the node map
// answers. Prints one line per checked node (unless --quiet) and a summary per
// document; exits non-zero when a document cannot be loaded or anything
// differs.
#include <arv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
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

std::string content(xmlNode* node) {
    xmlChar* text = xmlNodeGetContent(node);
    std::string s = text != NULL ? reinterpret_cast<const char*>(text) : "";
    xmlFree(text);
    return s;
}

std::string attribute(xmlNode* node, const char* name) {
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    std::string s = value != NULL ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return s;
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

        if (!readExpectations(xml)) {
            // Say what the node map makes of a document that is not XML: a
            // recovering parser may still build a partial one.
            ArvGc* partial = arv_gc_new(NULL, xml.data(), xml.size());
            std::fprintf(
                stderr, "%s: %s\n", mFile.c_str(),
                partial != NULL ? "a node map was built anyway (its content is not checked)" : "no node map was built");
            if (partial != NULL) g_object_unref(partial);
            return 1;
        }

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

    bool noError(const Expected& e, const char* what, GError*& error) {
        if (error == NULL) return true;
        mismatch(e, std::string(what) + ": " + error->message);
        g_clear_error(&error);
        return false;
    }

    void checkInteger(const Expected& e, ArvGcNode* node, const char* field, gint64 (*get)(ArvGcInteger*, GError**),
                      const char* fallback) {
        std::map<std::string, std::string>::const_iterator f = e.fields.find(field);
        const std::string text = f != e.fields.end() ? f->second : std::string(fallback ? fallback : "");
        if (text.empty()) return;
        long long expected = 0;
        if (!parseInteger(text, expected)) {
            mismatch(e, std::string(field) + " is not an integer: '" + text + "'");
            return;
        }
        GError* error = NULL;
        const gint64 got = get(ARV_GC_INTEGER(node), &error);
        if (!noError(e, field, error)) return;
        if (got != expected) {
            std::ostringstream m;
            m << field << " " << got << ", document says " << expected;
            mismatch(e, m.str());
        }
    }

    void checkFloat(const Expected& e, ArvGcNode* node, const char* field, double (*get)(ArvGcFloat*, GError**)) {
        std::map<std::string, std::string>::const_iterator f = e.fields.find(field);
        if (f == e.fields.end()) return;
        double expected = 0;
        if (!parseDouble(f->second, expected)) {
            mismatch(e, std::string(field) + " is not a number: '" + f->second + "'");
            return;
        }
        GError* error = NULL;
        const double got = get(ARV_GC_FLOAT(node), &error);
        if (!noError(e, field, error)) return;
        if (got != expected) {
            std::ostringstream m;
            m.precision(17);
            m << field << " " << got << ", document says " << f->second;
            mismatch(e, m.str());
        }
    }

    void checkRegister(const Expected& e, ArvGcNode* node) {
        if (!ARV_IS_GC_REGISTER(node)) {
            mismatch(e, "not seen as a register");
            return;
        }
        const std::pair<const char*, guint64 (*)(ArvGcRegister*, GError**)> numbers[] = {
            {"Address", arv_gc_register_get_address}, {"Length", arv_gc_register_get_length}};
        for (const auto& n : numbers) {
            std::map<std::string, std::string>::const_iterator f = e.fields.find(n.first);
            if (f == e.fields.end()) continue;
            GError* error = NULL;
            long long expected = 0;
            const guint64 got = n.second(ARV_GC_REGISTER(node), &error);
            if (noError(e, n.first, error) &&
                (!parseInteger(f->second, expected) || got != static_cast<guint64>(expected)))
                mismatch(e, std::string(n.first) + " " + std::to_string(got) + ", document says " + f->second);
        }
        std::map<std::string, std::string>::const_iterator f = e.fields.find("AccessMode");
        if (f != e.fields.end() && !f->second.empty()) {
            const ArvGcAccessMode got = arv_gc_feature_node_get_actual_access_mode(ARV_GC_FEATURE_NODE(node));
            const char* name = got == ARV_GC_ACCESS_MODE_RO   ? "RO"
                               : got == ARV_GC_ACCESS_MODE_WO ? "WO"
                               : got == ARV_GC_ACCESS_MODE_RW ? "RW"
                                                              : "undefined";
            if (f->second != name) mismatch(e, std::string("AccessMode ") + name + ", document says " + f->second);
        }
    }

    void check(ArvGc* gc, const Expected& e) {
        ++mCounts[e.kind];
        if (e.name.empty()) {
            mismatch(e, "node without a name");
            return;
        }
        ArvGcNode* node = arv_gc_get_node(gc, e.name.c_str());
        if (node == NULL) {
            mismatch(e, "not found in the node map");
            return;
        }
        std::map<std::string, std::string>::const_iterator d = e.fields.find("Description");
        if (d != e.fields.end() && ARV_IS_GC_FEATURE_NODE(node)) {
            const char* got = arv_gc_feature_node_get_description(ARV_GC_FEATURE_NODE(node));
            if (got == NULL || d->second != got)
                mismatch(
                    e, std::string("Description '") + (got ? got : "(none)") + "', document says '" + d->second + "'");
        }

        if (e.kind == "Integer") {
            if (!ARV_IS_GC_INTEGER(node)) {
                mismatch(e, "not seen as an integer");
                return;
            }
            checkInteger(e, node, "Min", arv_gc_integer_get_min, NULL);
            checkInteger(e, node, "Max", arv_gc_integer_get_max, NULL);
            checkInteger(e, node, "Inc", arv_gc_integer_get_inc, "1");
        } else if (e.kind == "Float") {
            if (!ARV_IS_GC_FLOAT(node)) {
                mismatch(e, "not seen as a float");
                return;
            }
            checkFloat(e, node, "Min", arv_gc_float_get_min);
            checkFloat(e, node, "Max", arv_gc_float_get_max);
        } else if (e.kind == "Enumeration") {
            if (!ARV_IS_GC_ENUMERATION(node)) {
                mismatch(e, "not seen as an enumeration");
                return;
            }
            std::vector<std::pair<std::string, long long> > got;
            for (const GSList* it = arv_gc_enumeration_get_entries(ARV_GC_ENUMERATION(node)); it != NULL;
                 it = it->next) {
                if (!ARV_IS_GC_ENUM_ENTRY(it->data)) continue;
                GError* error = NULL;
                const gint64 value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(it->data), &error);
                if (!noError(e, "entry value", error)) continue;
                const char* name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(it->data));
                got.push_back(std::make_pair(std::string(name ? name : ""), static_cast<long long>(value)));
            }
            // The node map keeps entries in an order of its own; compare them
            // as sets of (name, value).
            std::vector<std::pair<std::string, long long> > expected;
            for (size_t i = 0; i < e.entries.size(); ++i) {
                long long value = 0;
                if (!parseInteger(e.entries[i].second, value))
                    mismatch(e, "entry " + e.entries[i].first + " has no integer value: '" + e.entries[i].second + "'");
                expected.push_back(std::make_pair(e.entries[i].first, value));
            }
            std::sort(expected.begin(), expected.end());
            std::sort(got.begin(), got.end());
            if (got != expected)
                mismatch(e, std::to_string(got.size()) + " entries seen, document lists " +
                                std::to_string(expected.size()) + " (or other names or values)");
            mEntryCount += static_cast<int>(e.entries.size());
        } else if (e.kind == "IntReg" || e.kind == "FloatReg") {
            checkRegister(e, node);
        } else if (e.kind == "StringReg") {
            checkRegister(e, node);
            if (!ARV_IS_GC_STRING(node)) {
                mismatch(e, "not seen as a string");
            } else {
                GError* error = NULL;
                const gint64 max = arv_gc_string_get_max_length(ARV_GC_STRING(node), &error);
                if (noError(e, "maximum length", error)) {
                    long long expected = 0;
                    std::map<std::string, std::string>::const_iterator f = e.fields.find("Length");
                    if (f != e.fields.end() && (!parseInteger(f->second, expected) || max != expected))
                        mismatch(e, "maximum length " + std::to_string(max) + ", document says " + f->second);
                }
            }
        } else if (e.kind == "Category") {
            if (!ARV_IS_GC_CATEGORY(node)) {
                mismatch(e, "not seen as a category");
                return;
            }
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
            if (!ARV_IS_GC_PORT(node)) mismatch(e, "not seen as a port");
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
