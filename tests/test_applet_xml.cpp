// The applet's own GenApi descriptions through the export on boards opened with
// the applet: the catalogue and its categories in document order, every node
// against the port's registry record, handler changes in the next document,
// the direct register access group left out, the export's size protocol.

#include <map>

#include "applet_xml_support.h"
#include "board_fixture.h"

namespace {

using orvtest::Board;
using orvxml::Element;

// Enumeration values written below.
const uint32_t kGrabberControlled = 1;  // FG_LINETRIGGERMODE
const uint32_t kAsyncTrigger = 2;       // FG_LINETRIGGERMODE

bool isFeatureTag(const std::string& t) {
    return t == "Integer" || t == "Float" || t == "Enumeration" || t == "StringReg";
}

// A port's document, read as XML.
struct PortDocument {
    std::string text;
    Element root;
};

::testing::AssertionResult readDocument(Fg_Struct* fg, int port, PortDocument& doc) {
    int rc = 0;
    doc.text = orvxml::documentOf(fg, port, rc);
    if (rc != 0 || doc.text.empty())
        return ::testing::AssertionFailure() << "no document for port " << port << " (answer " << rc << ")";
    doc.root = Element();
    orvxml::XmlReader reader(doc.text);
    if (!reader.parse(doc.root))
        return ::testing::AssertionFailure() << "document of port " << port << " is not XML: " << reader.error();
    return ::testing::AssertionSuccess();
}

// The names of the feature nodes in document order.
std::vector<std::string> featureNames(const Element& root) {
    std::vector<std::string> order;
    for (const Element& e : root.children)
        if (isFeatureTag(e.tag)) order.push_back(e.attr("Name"));
    return order;
}

// The feature node (Integer, Float, Enumeration, StringReg) of a parameter.
const Element* feature(const Element& root, const std::string& name) {
    for (const Element& e : root.children)
        if (isFeatureTag(e.tag) && e.attr("Name") == name) return &e;
    return nullptr;
}

// The register node of a parameter: "<name>_Reg", a string register under its own name.
const Element* registerOf(const Element& root, const std::string& name) {
    for (const Element& e : root.children) {
        if ((e.tag == "IntReg" || e.tag == "FloatReg") && e.attr("Name") == name + "_Reg") return &e;
        if (e.tag == "StringReg" && e.attr("Name") == name) return &e;
    }
    return nullptr;
}

std::string accessMode(const Element& root, const std::string& name) {
    const Element* r = registerOf(root, name);
    return r ? r->childText("AccessMode") : std::string("(no register)");
}

std::string maxOf(const Element& root, const std::string& name) {
    const Element* f = feature(root, name);
    return f ? f->childText("Max") : std::string("(no feature)");
}

std::vector<std::pair<long long, std::string>> entriesOf(const Element& node) {
    std::vector<std::pair<long long, std::string>> out;
    for (const Element& e : node.children)
        if (e.tag == "EnumEntry")
            out.push_back(std::make_pair(std::atoll(e.childText("Value").c_str()), e.attr("Name")));
    return out;
}

// Every node of the document against the port's records as the host sees them.
void expectNodesMatchRecords(Fg_Struct* fg, int port, const Element& root) {
    const std::vector<orvxml::DescribedRecord> records = orvxml::portParameters(fg, port);
    EXPECT_EQ(88u, records.size()) << "described records of port " << port;
    EXPECT_EQ(records.size(), featureNames(root).size());

    for (const orvxml::DescribedRecord& d : records) {
        const RegisterInfo& r = *d.record;
        const std::string name = r.parameterName;
        SCOPED_TRACE(name + " on port " + std::to_string(port));
        EXPECT_EQ(port, r.port);
        const Element* f = feature(root, name);
        const Element* reg = registerOf(root, name);
        if (!f || !reg) {
            ADD_FAILURE() << "no feature or register node";
            continue;
        }
        if (r.name && *r.name)
            EXPECT_EQ(r.name, f->childText("Description"));
        else
            EXPECT_EQ(nullptr, f->child("Description"));
        EXPECT_EQ(std::to_string(r.id), reg->childText("Address"));
        EXPECT_EQ(orvxml::accessModeOf(r.accessFlags), reg->childText("AccessMode"));

        // (the constant parts of each kind's nodes are checked on the builder's own documents)
        switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_INT: {
            const bool isSigned = r.format == REG_FORMAT_INT;
            EXPECT_EQ("Integer", f->tag);
            EXPECT_EQ(isSigned ? std::to_string(r.u.iReg.from) : std::to_string(r.u.uiReg.from), f->childText("Min"));
            EXPECT_EQ(isSigned ? std::to_string(r.u.iReg.to) : std::to_string(r.u.uiReg.to), f->childText("Max"));
            EXPECT_EQ(r.u.uiReg.steps == 0 ? std::string("(none)")
                      : isSigned           ? std::to_string(r.u.iReg.steps)
                                           : std::to_string(r.u.uiReg.steps),
                      f->childText("Inc"));
            break;
        }
        case REG_FORMAT_DOUBLE:
            EXPECT_EQ("Float", f->tag);
            EXPECT_EQ(orvxml::asWritten(r.u.dReg.from), std::strtod(f->childText("Min").c_str(), nullptr));
            EXPECT_EQ(orvxml::asWritten(r.u.dReg.to), std::strtod(f->childText("Max").c_str(), nullptr));
            break;
        case REG_FORMAT_ENUM:
            EXPECT_EQ("Enumeration", f->tag);
            EXPECT_EQ(orvxml::describedEntries(r), entriesOf(*f));
            break;
        case REG_FORMAT_STRING: EXPECT_EQ(f, reg); break;
        default: ADD_FAILURE() << "record of kind " << r.format << " described";
        }
    }
}

TEST(AppletDocument, EachPortDescribesTheCatalogueInGroupOrder) {
    Board b;
    ASSERT_TRUE(b.ok());
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE("port " + std::to_string(port));
        PortDocument doc;
        ASSERT_TRUE(readDocument(b.fg(), port, doc));

        // (the fixed header and end are checked on the builder's own documents)
        const Element& root = doc.root;
        EXPECT_EQ("Orvindel", root.attr("ModelName"));
        EXPECT_EQ("Tervik", root.attr("VendorName"));

        // The parameters group by group, newest top-level group first.
        EXPECT_EQ(orvxml::catalogueFeatures(), featureNames(root));
        std::map<std::string, int> kinds;
        for (const Element& e : root.children) ++kinds[e.tag];
        const std::map<std::string, int> expectedKinds = {{"Integer", 32},  {"IntReg", 64},   {"Enumeration", 32},
                                                          {"Float", 19},    {"FloatReg", 19}, {"StringReg", 5},
                                                          {"Category", 22}, {"Port", 1}};
        EXPECT_EQ(expectedKinds, kinds);
        for (const std::string& skipped : orvxml::undescribedParameters())
            EXPECT_EQ(std::string::npos, doc.text.find(skipped)) << skipped;

        // The flat category tree: "Root" lists the 21 categories, which list the 88 features.
        std::vector<const Element*> categories;
        for (const Element& e : root.children)
            if (e.tag == "Category") categories.push_back(&e);
        ASSERT_EQ(22u, categories.size());
        EXPECT_EQ("Standard", categories[0]->attr("NameSpace"));
        EXPECT_EQ("Root", categories[0]->attr("Name"));
        std::vector<std::string> rootFeatures, expectedRoot;
        for (const Element& f : categories[0]->children) rootFeatures.push_back(f.text);
        for (const orvxml::CategoryFeatures& c : orvxml::catalogueCategories()) expectedRoot.push_back(c.category);
        EXPECT_EQ(expectedRoot, rootFeatures);
        for (size_t i = 1; i < categories.size(); ++i) {
            const orvxml::CategoryFeatures& expected = orvxml::catalogueCategories()[i - 1];
            EXPECT_EQ(expected.category, categories[i]->attr("Name"));
            std::vector<std::string> got, want(expected.features.begin(), expected.features.end());
            for (const Element& f : categories[i]->children) {
                EXPECT_EQ("pFeature", f.tag);
                got.push_back(f.text);
            }
            EXPECT_EQ(want, got) << expected.category;
        }

        // Units and display names are Latin-1 in the records; only ASCII
        // reaches the document, which declares utf-8.
        for (size_t i = 0; i < doc.text.size(); ++i)
            ASSERT_LT(static_cast<unsigned char>(doc.text[i]), 0x80u) << "byte " << i;
    }
}

TEST(AppletDocument, NextDocumentShowsRangesAndAccessChangedByHandlers) {
    Board b;
    ASSERT_TRUE(b.ok());
    PortDocument doc0, doc1;
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    EXPECT_EQ(doc0.text, doc1.text);  // the same catalogue and defaults on both ports

    // The width narrows the x-offset range and the x-offset the width range
    // (the final check below holds the other port's document to its records).
    ASSERT_EQ(0, b.set(FG_WIDTH, 2048, 1));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    EXPECT_EQ("14336", maxOf(doc1.root, "FG_XOFFSET"));
    ASSERT_EQ(0, b.set(FG_XOFFSET, 1024, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    EXPECT_EQ("15360", maxOf(doc0.root, "FG_WIDTH"));

    // The line trigger mode makes the trigger inputs writable or read-only.
    const char* const external[] = {"FG_LINETRIGGERINSRC", "FG_LINETRIGGERINPOLARITY", "FG_LINETRIGGERDEBOUNCING",
                                    "FG_LINE_DOWNSCALE",   "FG_LINE_DOWNSCALEINIT",    "FG_SHAFTENCODERON"};
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, kAsyncTrigger, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    for (const char* name : external) EXPECT_EQ("RW", accessMode(doc0.root, name)) << name;
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, kGrabberControlled, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    for (const char* name : external) EXPECT_EQ("RO", accessMode(doc0.root, name)) << name;

    // After all of it, every node shows its port's record (boards opened
    // without default values: DirectRegisterAccessGroupIsNotDescribed).
    for (int port = 0; port < 2; ++port) {
        PortDocument doc;
        ASSERT_TRUE(readDocument(b.fg(), port, doc));
        expectNodesMatchRecords(b.fg(), port, doc.root);
    }
}

TEST(AppletDocument, DirectRegisterAccessGroupIsNotDescribed) {
    orvtest::ScopedEnv dra("TERVIK_ENABLE_DRA", "on");
    Board b(1);
    ASSERT_TRUE(b.ok());
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE("port " + std::to_string(port));
        const RegisterInfo* newest = Fg_getParameterInfo(b.fg(), port);
        ASSERT_NE(nullptr, newest);
        ASSERT_STREQ("Direct Register Access", newest->name);
        ASSERT_GT(newest->u.gReg.nrOfElements, 0);
        EXPECT_EQ(92u + newest->u.gReg.nrOfElements, orvxml::portParameters(b.fg(), port, false).size());

        PortDocument doc;
        ASSERT_TRUE(readDocument(b.fg(), port, doc));
        EXPECT_EQ(orvxml::catalogueFeatures(), featureNames(doc.root));
        EXPECT_EQ(std::string::npos, doc.text.find("DRA_"));
        EXPECT_EQ(std::string::npos, doc.text.find("DirectRegisterAccess"));
        expectNodesMatchRecords(b.fg(), port, doc.root);
    }
}

TEST(AppletDocumentExport, SizeQueryThenCopy) {
    Board b;
    ASSERT_TRUE(b.ok());
    const int port = 1;  // the protocol is the same for every port
    size_t size = 7;
    ASSERT_EQ(0, Fg_getParameterInfoXML(b.fg(), port, nullptr, &size));
    EXPECT_EQ(0, b.lastError());
    ASSERT_GT(size, 1000u);
    const size_t length = size - 1;

    // Room for exactly the text and its zero, more room, one byte short, none:
    // the text and the size become the text's, nothing is written behind it;
    // too small leaves size and buffer untouched.
    std::string copied;
    for (size_t room : {size, size + 100, length, size_t(0)}) {
        SCOPED_TRACE("room " + std::to_string(room));
        const bool fits = room >= size;
        std::vector<char> buffer(room + 1, '#');
        size_t capacity = room;
        EXPECT_EQ(fits ? 0 : FG_ERR_BUFFER_TOO_SMALL, Fg_getParameterInfoXML(b.fg(), port, buffer.data(), &capacity));
        EXPECT_EQ(fits ? 0 : FG_ERR_BUFFER_TOO_SMALL, b.lastError());
        EXPECT_EQ(fits ? size : room, capacity);
        if (!fits) {
            EXPECT_EQ(std::string(room + 1, '#'), std::string(buffer.data(), buffer.size()));
            continue;
        }
        EXPECT_EQ(length, std::strlen(buffer.data()));
        EXPECT_EQ(0, std::strncmp(buffer.data(), "<?xml", 5));
        EXPECT_EQ('#', buffer[size]);
        if (copied.empty()) copied = buffer.data();
        EXPECT_EQ(copied, buffer.data());
    }
    // A success after a failure clears the error store.
    size_t capacity = 0;
    EXPECT_EQ(0, Fg_getParameterInfoXML(b.fg(), port, nullptr, &capacity));
    EXPECT_EQ(size, capacity);
    EXPECT_EQ(0, b.lastError());
}

TEST(AppletDocumentExport, PortsWithoutRecordsAndBadArguments) {
    Board b;
    ASSERT_TRUE(b.ok());
    for (int port : {2, 3, 4, -1, 1000, -2147483647 - 1}) {
        size_t size = 55;
        EXPECT_EQ(FG_ERR_NO_DESCRIPTION, Fg_getParameterInfoXML(b.fg(), port, nullptr, &size)) << port;
        EXPECT_EQ(55u, size);
        EXPECT_EQ(FG_ERR_NO_DESCRIPTION, b.lastError());
        char c = '#';
        size = 1;
        EXPECT_EQ(FG_ERR_NO_DESCRIPTION, Fg_getParameterInfoXML(b.fg(), port, &c, &size)) << port;
        EXPECT_EQ('#', c);
        size = 0;  // a buffer without room is refused before the port is looked at
        EXPECT_EQ(FG_ERR_BUFFER_TOO_SMALL, Fg_getParameterInfoXML(b.fg(), port, &c, &size)) << port;
    }
    char c = '#';
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterInfoXML(b.fg(), 0, nullptr, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterInfoXML(b.fg(), 0, &c, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, b.lastError());
    EXPECT_EQ('#', c);
}

}  // namespace
