// The applet's own GenApi descriptions, fetched through the export
// Fg_getParameterInfoXML on boards opened with the applet: the catalogue in
// document order with its categories, every node against the port's registry
// record, the catalogue's particular values, records rewritten by handlers
// showing in the next document, the direct register access group left out,
// and the size protocol of the export.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "applet_xml_support.h"
#include "board_fixture.h"

namespace {

using orvtest::Board;
using orvxml::Element;

// Enumeration values written below.
const uint32_t kGrabberControlled = 1;  // FG_LINETRIGGERMODE
const uint32_t kAsyncTrigger = 2;       // FG_LINETRIGGERMODE
const uint32_t kSimPixelFrequency = 0;  // FG_CAMERASIMULATOR_SELECT_MODE
const uint32_t kSimFrameRate = 2;       // FG_CAMERASIMULATOR_SELECT_MODE
const uint32_t kLutCustom = 0;          // FG_LUT_TYPE
const uint32_t kLutProcessing = 3;      // FG_LUT_TYPE

const char* const kGenApiNamespace = "http://www.genicam.org/GenApi/Version_1_0";

bool isFeatureTag(const std::string& t)
{
    return t == "Integer" || t == "Float" || t == "Enumeration" || t == "StringReg";
}

// A port's document, read as XML.
struct PortDocument {
    std::string text;
    Element root;
};

::testing::AssertionResult readDocument(Fg_Struct* fg, int port, PortDocument& doc)
{
    int rc = 0;
    doc.text = orvxml::documentOf(fg, port, &rc);
    if (rc != 0 || doc.text.empty())
        return ::testing::AssertionFailure() << "no document for port " << port << " (answer " << rc << ")";
    doc.root = Element();
    orvxml::XmlReader reader(doc.text);
    if (!reader.parse(doc.root))
        return ::testing::AssertionFailure() << "document of port " << port << " is not XML: " << reader.error();
    return ::testing::AssertionSuccess();
}

// The feature node (Integer, Float, Enumeration, StringReg) of a parameter.
const Element* feature(const Element& root, const std::string& name)
{
    for (const Element& e : root.children)
        if (isFeatureTag(e.tag) && e.attr("Name") == name) return &e;
    return nullptr;
}

// The register node of a parameter: "<name>_Reg", a string register under its own name.
const Element* registerOf(const Element& root, const std::string& name)
{
    for (const Element& e : root.children) {
        if ((e.tag == "IntReg" || e.tag == "FloatReg") && e.attr("Name") == name + "_Reg") return &e;
        if (e.tag == "StringReg" && e.attr("Name") == name) return &e;
    }
    return nullptr;
}

std::string accessMode(const Element& root, const std::string& name)
{
    const Element* r = registerOf(root, name);
    return r ? r->childText("AccessMode") : std::string("(no register)");
}

std::string maxOf(const Element& root, const std::string& name)
{
    const Element* f = feature(root, name);
    return f ? f->childText("Max") : std::string("(no feature)");
}

std::vector<std::pair<long long, std::string>> entriesOf(const Element& node)
{
    std::vector<std::pair<long long, std::string>> out;
    for (const Element& e : node.children)
        if (e.tag == "EnumEntry") out.push_back(std::make_pair(std::atoll(e.childText("Value").c_str()), e.attr("Name")));
    return out;
}

// Every node of the document against the port's records as the host sees them.
void expectNodesMatchRecords(Fg_Struct* fg, int port, const Element& root)
{
    const std::vector<orvxml::DescribedRecord> records = orvxml::portParameters(fg, port);
    EXPECT_EQ(88u, records.size()) << "described records of port " << port;
    int features = 0;
    for (const Element& e : root.children) features += isFeatureTag(e.tag);
    EXPECT_EQ(static_cast<int>(records.size()), features);

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
            EXPECT_EQ(0, f->count("Description"));
        EXPECT_EQ(std::to_string(r.id), reg->childText("Address"));
        EXPECT_EQ(orvxml::accessModeOf(r.accessFlags), reg->childText("AccessMode"));
        EXPECT_EQ("DevicePort", reg->childText("pPort"));

        switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_INT: {
            const bool isSigned = r.format == REG_FORMAT_INT;
            EXPECT_EQ("Integer", f->tag);
            EXPECT_EQ("IntReg", reg->tag);
            EXPECT_EQ("4", reg->childText("Length"));
            EXPECT_EQ("Signed", reg->childText("Sign"));
            EXPECT_EQ(name + "_Reg", f->childText("pValue"));
            EXPECT_EQ(isSigned ? std::to_string(r.u.iReg.from) : std::to_string(r.u.uiReg.from), f->childText("Min"));
            EXPECT_EQ(isSigned ? std::to_string(r.u.iReg.to) : std::to_string(r.u.uiReg.to), f->childText("Max"));
            const unsigned steps = r.u.uiReg.steps;
            EXPECT_EQ(steps == 0 ? std::string("(none)")
                                 : isSigned ? std::to_string(r.u.iReg.steps) : std::to_string(steps),
                      f->childText("Inc"));
            break;
        }
        case REG_FORMAT_DOUBLE:
            EXPECT_EQ("Float", f->tag);
            EXPECT_EQ("FloatReg", reg->tag);
            EXPECT_EQ("8", reg->childText("Length"));
            EXPECT_EQ(name + "_Reg", f->childText("pValue"));
            EXPECT_EQ(orvxml::asWritten(r.u.dReg.from), std::strtod(f->childText("Min").c_str(), nullptr));
            EXPECT_EQ(orvxml::asWritten(r.u.dReg.to), std::strtod(f->childText("Max").c_str(), nullptr));
            EXPECT_EQ(0, f->count("Inc"));
            break;
        case REG_FORMAT_ENUM:
            EXPECT_EQ("Enumeration", f->tag);
            EXPECT_EQ("IntReg", reg->tag);
            EXPECT_EQ("4", reg->childText("Length"));
            EXPECT_EQ("Unsigned", reg->childText("Sign"));
            EXPECT_EQ(name + "_Reg", f->childText("pValue"));
            EXPECT_EQ(orvxml::describedEntries(r), entriesOf(*f));
            break;
        case REG_FORMAT_STRING:
            EXPECT_EQ(f, reg);
            EXPECT_EQ("4096", reg->childText("Length"));
            break;
        default:
            ADD_FAILURE() << "record of kind " << r.format << " described";
        }
    }
}

// ---- the catalogue in the document -------------------------------------------

TEST(AppletDocument, EachPortDescribesTheCatalogueInGroupOrder)
{
    Board b;
    ASSERT_TRUE(b.ok());
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE("port " + std::to_string(port));
        PortDocument doc;
        ASSERT_TRUE(readDocument(b.fg(), port, doc));

        EXPECT_EQ(0u, doc.text.find("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<RegisterDescription\n"));
        const std::string closing = "<Port Name=\"DevicePort\"></Port>\n</RegisterDescription>\n";
        ASSERT_GT(doc.text.size(), closing.size());
        EXPECT_EQ(closing, doc.text.substr(doc.text.size() - closing.size()));
        const Element& root = doc.root;
        EXPECT_EQ("RegisterDescription", root.tag);
        EXPECT_EQ("Orvindel", root.attr("ModelName"));
        EXPECT_EQ("Tervik", root.attr("VendorName"));
        EXPECT_EQ("1", root.attr("SchemaMajorVersion"));
        EXPECT_EQ("0", root.attr("SchemaMinorVersion"));
        EXPECT_EQ(kGenApiNamespace, root.attr("xmlns"));

        // The parameters group by group, newest top-level group first.
        std::vector<std::string> order;
        std::map<std::string, int> kinds;
        for (const Element& e : root.children) {
            ++kinds[e.tag];
            if (isFeatureTag(e.tag)) order.push_back(e.attr("Name"));
        }
        EXPECT_EQ(orvxml::catalogueFeatures(), order);
        ASSERT_EQ(88u, order.size());
        EXPECT_EQ("FG_TIMEOUT", order.front());                 // "Miscellaneous"
        EXPECT_EQ("FG_CXP_TRIGGER_PACKET_MODE", order.back());  // "CoaXPress"
        const std::map<std::string, int> expectedKinds = {
            {"Integer", 32}, {"IntReg", 64},   {"Enumeration", 32}, {"Float", 19},
            {"FloatReg", 19}, {"StringReg", 5}, {"Category", 22},    {"Port", 1}};
        EXPECT_EQ(expectedKinds, kinds);
        for (const std::string& skipped : orvxml::undescribedParameters())
            EXPECT_EQ(std::string::npos, doc.text.find(skipped)) << skipped;

        // Integer, float and enumeration features read a register of their own.
        for (const std::string& name : order) {
            const Element* f = feature(root, name);
            ASSERT_NE(nullptr, f);
            if (f->tag == "StringReg") continue;
            EXPECT_EQ(name + "_Reg", f->childText("pValue")) << name;
            EXPECT_NE(nullptr, registerOf(root, name)) << name;
        }

        // The flat category tree: "Root" lists the 21 categories, which list the 88 features.
        std::vector<const Element*> categories;
        for (const Element& e : root.children)
            if (e.tag == "Category") categories.push_back(&e);
        ASSERT_EQ(22u, categories.size());
        EXPECT_EQ("Root", categories[0]->attr("Name"));
        EXPECT_EQ("Standard", categories[0]->attr("NameSpace"));
        std::vector<std::string> rootFeatures, expectedRoot;
        for (const Element& f : categories[0]->children) rootFeatures.push_back(f.text);
        for (const orvxml::CategoryFeatures& c : orvxml::catalogueCategories()) expectedRoot.push_back(c.category);
        EXPECT_EQ(expectedRoot, rootFeatures);
        size_t listed = 0;
        for (size_t i = 1; i < categories.size(); ++i) {
            const orvxml::CategoryFeatures& expected = orvxml::catalogueCategories()[i - 1];
            EXPECT_EQ(expected.category, categories[i]->attr("Name"));
            std::vector<std::string> got, want(expected.features.begin(), expected.features.end());
            for (const Element& f : categories[i]->children) {
                EXPECT_EQ("pFeature", f.tag);
                got.push_back(f.text);
            }
            EXPECT_EQ(want, got) << expected.category;
            listed += got.size();
        }
        EXPECT_EQ(88u, listed);
        EXPECT_EQ("Port", root.children.back().tag);
        EXPECT_EQ("DevicePort", root.children.back().attr("Name"));

        // Units and display names are Latin-1 in the records; only ASCII
        // reaches the document, which declares utf-8.
        for (size_t i = 0; i < doc.text.size(); ++i)
            ASSERT_LT(static_cast<unsigned char>(doc.text[i]), 0x80u) << "byte " << i;
    }
}

TEST(AppletDocument, EveryNodeCarriesTheRecordOfItsPort)
{
    for (int flags : {0, 1}) {  // with and without the default values written
        SCOPED_TRACE("opened with flags " + std::to_string(flags));
        Board b(flags);
        ASSERT_TRUE(b.ok());
        for (int port = 0; port < 2; ++port) {
            PortDocument doc;
            ASSERT_TRUE(readDocument(b.fg(), port, doc));
            expectNodesMatchRecords(b.fg(), port, doc.root);
        }
    }
}

TEST(AppletDocument, CatalogueValuesAsRegistered)
{
    Board b(1);  // no default values: the records as the catalogue registered them
    ASSERT_TRUE(b.ok());
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE("port " + std::to_string(port));
        PortDocument doc;
        ASSERT_TRUE(readDocument(b.fg(), port, doc));
        const Element& root = doc.root;

        EXPECT_NE(std::string::npos, doc.text.find("<Description>Delay-&gt;ExSync</Description>\n"));
        EXPECT_NE(std::string::npos, doc.text.find("<Description>Flash Delay-&gt;Image Trigger</Description>\n"));
        EXPECT_EQ("Delay->ExSync", feature(root, "FG_LINETRIGGERDELAY")->childText("Description"));

        const Element* width = feature(root, "FG_WIDTH");
        ASSERT_NE(nullptr, width);
        EXPECT_NE(std::string::npos,
                  doc.text.find("<Min>32</Min>\n<Max>16384</Max>\n<Inc>16</Inc>\n</Integer>\n\r"));
        EXPECT_EQ("16", width->childText("Inc"));
        EXPECT_EQ("16", feature(root, "FG_XOFFSET")->childText("Inc"));
        // Exactly the integers registered with steps 0 have no increment.
        std::set<std::string> withoutInc;
        for (const Element& e : root.children)
            if (e.tag == "Integer" && !e.child("Inc")) withoutInc.insert(e.attr("Name"));
        const std::set<std::string> stepsZero = {"FG_APPLET_VERSION", "FG_APPLET_REVISION", "FG_DMASTATUS",
                                                 "FG_LUT_IN_BITS", "FG_LUT_OUT_BITS"};
        EXPECT_EQ(stepsZero, withoutInc);
        EXPECT_EQ(std::string::npos, doc.text.find("<Inc>0</Inc>"));

        EXPECT_EQ("10000000", maxOf(root, "FG_CAMERASIMULATOR_LINERATE"));
        EXPECT_EQ("0.1", feature(root, "FG_CAMERASIMULATOR_LINERATE")->childText("Min"));
        EXPECT_EQ("10000000", maxOf(root, "FG_CAMERASIMULATOR_FRAMERATE"));
        EXPECT_EQ("0.512", feature(root, "FG_LINEPERIODE")->childText("Min"));
        EXPECT_EQ("2097.144", maxOf(root, "FG_LINEPERIODE"));
        EXPECT_EQ("1048.568", maxOf(root, "FG_LINETRIGGERDELAY"));
        EXPECT_EQ("0.0078125", feature(root, "FG_SYSTEMMONITOR_FPGA_TEMPERATURE")->childText("Min"));
        EXPECT_EQ("-1000", feature(root, "FG_PROCESSING_GAMMA")->childText("Min"));
        EXPECT_EQ("2147483646", maxOf(root, "FG_TIMEOUT"));
        EXPECT_EQ("16777216", maxOf(root, "FG_YOFFSET"));

        typedef std::vector<std::pair<long long, std::string>> Entries;
        EXPECT_EQ((Entries{{1, "GRABBER_CONTROLLED"}, {2, "ASYNC_TRIGGER"}, {5, "ASYNC_GATED"},
                           {6, "GRABBER_CONTROLLED_GATED"}}),
                  entriesOf(*feature(root, "FG_LINETRIGGERMODE")));
        const Entries sources = entriesOf(*feature(root, "FG_IMGTRIGGERINSRC"));
        ASSERT_EQ(9u, sources.size());
        EXPECT_EQ(std::make_pair(-1LL, std::string("TRGINSOFTWARE")), sources[0]);
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(std::make_pair(static_cast<long long>(i), "TRGINSRC_" + std::to_string(i)), sources[i + 1]);
        EXPECT_EQ((Entries{{1, "FG_APPLY"}}), entriesOf(*feature(root, "FG_SENDSOFTWARETRIGGER")));
        EXPECT_EQ((Entries{{1, "FG_GRAY16"}, {3, "FG_GRAY"}, {21, "FG_GRAY10"}, {22, "FG_GRAY12"}}),
                  entriesOf(*feature(root, "FG_FORMAT")));
        EXPECT_EQ((Entries{{0, "HIGH_ON_ZERO_HIGH"}, {1, "HIGH_ON_ZERO_LOW"}}),
                  entriesOf(*feature(root, "FG_LINETRIGGERINPOLARITY")));
        EXPECT_EQ((Entries{{0, "FG_LOW"}, {1, "FG_HIGH"}}), entriesOf(*feature(root, "FG_EXSYNCPOLARITY")));
        EXPECT_EQ((Entries{{257, "Mono8"}, {258, "Mono10"}, {259, "Mono12"}}),
                  entriesOf(*feature(root, "FG_PIXELFORMAT")));

        EXPECT_EQ("RW", accessMode(root, "FG_LINETRIGGERMODE"));  // registered 3
        EXPECT_EQ("RW", accessMode(root, "FG_WIDTH"));
        EXPECT_EQ("RO", accessMode(root, "FG_IMGTRIGGER_IS_BUSY"));
        EXPECT_EQ("RO", accessMode(root, "FG_DIGIO_INPUT"));
        EXPECT_EQ("RO", accessMode(root, "FG_APPLET_ID"));
        EXPECT_EQ("RW", accessMode(root, "FG_LUT_SAVE_FILE"));
        EXPECT_EQ("100", registerOf(root, "FG_WIDTH")->childText("Address"));
        EXPECT_EQ("24108", registerOf(root, "FG_HAP_FILE")->childText("Address"));
        EXPECT_EQ("HAP file", feature(root, "FG_HAP_FILE")->childText("Description"));
        EXPECT_EQ("FGPA Temperature", feature(root, "FG_SYSTEMMONITOR_FPGA_TEMPERATURE")->childText("Description"));
    }
}

// ---- records rewritten by handlers --------------------------------------------

TEST(AppletDocument, NextDocumentShowsRangesAndAccessChangedByHandlers)
{
    Board b;
    ASSERT_TRUE(b.ok());
    PortDocument before0, before1, doc0, doc1;
    ASSERT_TRUE(readDocument(b.fg(), 0, before0));
    ASSERT_TRUE(readDocument(b.fg(), 1, before1));
    EXPECT_EQ(before0.text, before1.text);  // the same catalogue and defaults on both ports

    // The width narrows the x-offset range of its own port only.
    ASSERT_EQ(0, b.set(FG_WIDTH, 2048, 1));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    EXPECT_EQ("14336", maxOf(doc1.root, "FG_XOFFSET"));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    EXPECT_EQ(before0.text, doc0.text);
    ASSERT_EQ(0, b.set(FG_XOFFSET, 1024, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    EXPECT_EQ("15360", maxOf(doc0.root, "FG_WIDTH"));
    EXPECT_EQ(maxOf(before1.root, "FG_WIDTH"), maxOf(doc1.root, "FG_WIDTH"));

    // A refused value changes no record.
    ASSERT_EQ(0, b.set(FG_WIDTH, 4096, 1));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    const std::string accepted = doc1.text;
    EXPECT_EQ(FG_ERR_NOT_MULTIPLE_OF_16, b.set(FG_WIDTH, 2050, 1));
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.set(FG_WIDTH, 16, 1));
    EXPECT_EQ(accepted, orvxml::documentOf(b.fg(), 1));

    // The line trigger mode makes the trigger inputs writable or read-only.
    const char* const external[] = {"FG_LINETRIGGERINSRC", "FG_LINETRIGGERINPOLARITY", "FG_LINETRIGGERDEBOUNCING",
                                    "FG_LINE_DOWNSCALE", "FG_LINE_DOWNSCALEINIT", "FG_SHAFTENCODERON"};
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, kAsyncTrigger, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    for (const char* name : external) EXPECT_EQ("RW", accessMode(doc0.root, name)) << name;
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, kGrabberControlled, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    for (const char* name : external) EXPECT_EQ("RO", accessMode(doc0.root, name)) << name;
    EXPECT_EQ("RW", accessMode(doc0.root, "FG_LINETRIGGERMODE"));

    // The simulator's speed mode selects the writable rate.
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, kSimFrameRate, 1));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    EXPECT_EQ("RO", accessMode(doc1.root, "FG_CAMERASIMULATOR_PIXEL_FREQUENCY"));
    EXPECT_EQ("RO", accessMode(doc1.root, "FG_CAMERASIMULATOR_LINERATE"));
    EXPECT_EQ("RW", accessMode(doc1.root, "FG_CAMERASIMULATOR_FRAMERATE"));
    EXPECT_EQ("RO", accessMode(doc1.root, "FG_CAMERASIMULATOR_LINE_GAP"));
    EXPECT_EQ("RO", accessMode(doc1.root, "FG_CAMERASIMULATOR_FRAME_GAP"));
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, kSimPixelFrequency, 1));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    EXPECT_EQ("RW", accessMode(doc1.root, "FG_CAMERASIMULATOR_PIXEL_FREQUENCY"));
    EXPECT_EQ("RO", accessMode(doc1.root, "FG_CAMERASIMULATOR_LINERATE"));
    EXPECT_EQ("RO", accessMode(doc1.root, "FG_CAMERASIMULATOR_FRAMERATE"));
    EXPECT_EQ("RW", accessMode(doc1.root, "FG_CAMERASIMULATOR_LINE_GAP"));
    EXPECT_EQ("RW", accessMode(doc1.root, "FG_CAMERASIMULATOR_FRAME_GAP"));

    // A lookup table from a file makes the processing parameters read-only.
    const char* const processing[] = {"FG_PROCESSING_GAIN", "FG_PROCESSING_GAMMA", "FG_PROCESSING_OFFSET",
                                      "FG_PROCESSING_INVERT"};
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kLutCustom, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    EXPECT_EQ("RW", accessMode(doc0.root, "FG_LUT_CUSTOM_FILE"));
    for (const char* name : processing) EXPECT_EQ("RO", accessMode(doc0.root, name)) << name;
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kLutProcessing, 0));
    ASSERT_TRUE(readDocument(b.fg(), 0, doc0));
    EXPECT_EQ("RO", accessMode(doc0.root, "FG_LUT_CUSTOM_FILE"));
    for (const char* name : processing) EXPECT_EQ("RW", accessMode(doc0.root, name)) << name;

    // A double bound that is no short decimal: the exposure maximum follows the period.
    ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 333.336, 1));
    ASSERT_TRUE(readDocument(b.fg(), 1, doc1));
    EXPECT_NE(maxOf(before1.root, "FG_LINEEXPOSURE"), maxOf(doc1.root, "FG_LINEEXPOSURE"));

    // After all of it, every node still shows its record.
    for (int port = 0; port < 2; ++port) {
        PortDocument doc;
        ASSERT_TRUE(readDocument(b.fg(), port, doc));
        expectNodesMatchRecords(b.fg(), port, doc.root);
    }
}

TEST(AppletDocument, RecordsChangedThroughTheHostsPointerShowToo)
{
    Board b(1);
    ASSERT_TRUE(b.ok());
    RegisterInfo* height = b.record(1, FG_HEIGHT);
    RegisterInfo* rate = b.record(1, FG_CAMERASIMULATOR_LINERATE);
    ASSERT_NE(nullptr, height);
    ASSERT_NE(nullptr, rate);
    height->u.uiReg.to = 4000000000u;  // above the signed range: still unsigned decimal
    height->u.uiReg.steps = 0;
    height->accessFlags = 2;
    rate->u.dReg.to = 1.0 / 3.0;
    PortDocument doc;
    ASSERT_TRUE(readDocument(b.fg(), 1, doc));
    EXPECT_EQ("4000000000", maxOf(doc.root, "FG_HEIGHT"));
    EXPECT_EQ(0, feature(doc.root, "FG_HEIGHT")->count("Inc"));
    EXPECT_EQ("WO", accessMode(doc.root, "FG_HEIGHT"));
    EXPECT_EQ("0.333333333333", maxOf(doc.root, "FG_CAMERASIMULATOR_LINERATE"));
    expectNodesMatchRecords(b.fg(), 1, doc.root);
    PortDocument other;
    ASSERT_TRUE(readDocument(b.fg(), 0, other));
    EXPECT_EQ("65535", maxOf(other.root, "FG_HEIGHT"));
}

// ---- direct register access --------------------------------------------------

TEST(AppletDocument, DirectRegisterAccessGroupIsNotDescribed)
{
    setenv("TERVIK_ENABLE_DRA", "on", 1);
    Board b(1);
    unsetenv("TERVIK_ENABLE_DRA");
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
        std::vector<std::string> order;
        for (const Element& e : doc.root.children)
            if (isFeatureTag(e.tag)) order.push_back(e.attr("Name"));
        EXPECT_EQ(orvxml::catalogueFeatures(), order);
        EXPECT_EQ(std::string::npos, doc.text.find("DRA_"));
        EXPECT_EQ(std::string::npos, doc.text.find("DirectRegisterAccess"));
        expectNodesMatchRecords(b.fg(), port, doc.root);
    }
}

// ---- the export's size protocol ------------------------------------------------

TEST(AppletDocumentExport, SizeQueryThenCopy)
{
    Board b;
    ASSERT_TRUE(b.ok());
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE("port " + std::to_string(port));
        size_t size = 7;
        ASSERT_EQ(0, Fg_getParameterInfoXML(b.fg(), port, nullptr, &size));
        EXPECT_EQ(0, b.lastError());
        ASSERT_GT(size, 1000u);
        const size_t length = size - 1;

        // Room for exactly the text and its terminating zero.
        std::vector<char> exact(size, '#');
        size_t capacity = exact.size();
        ASSERT_EQ(0, Fg_getParameterInfoXML(b.fg(), port, exact.data(), &capacity));
        EXPECT_EQ(size, capacity);
        EXPECT_EQ('\0', exact[length]);
        EXPECT_EQ(length, std::strlen(exact.data()));
        EXPECT_EQ(0, std::strncmp(exact.data(), "<?xml", 5));

        // More room: the same text, the size becomes the text's, nothing written behind it.
        std::vector<char> large(size + 100, '#');
        capacity = large.size();
        ASSERT_EQ(0, Fg_getParameterInfoXML(b.fg(), port, large.data(), &capacity));
        EXPECT_EQ(size, capacity);
        EXPECT_EQ(0, std::memcmp(exact.data(), large.data(), size));
        EXPECT_EQ('#', large[size]);

        // One byte short: too small, size and buffer untouched.
        std::vector<char> small(length, '#');
        capacity = small.size();
        EXPECT_EQ(FG_ERR_BUFFER_TOO_SMALL, Fg_getParameterInfoXML(b.fg(), port, small.data(), &capacity));
        EXPECT_EQ(length, capacity);
        EXPECT_EQ(FG_ERR_BUFFER_TOO_SMALL, b.lastError());
        EXPECT_EQ(std::string(length, '#'), std::string(small.data(), small.size()));
        capacity = 0;
        EXPECT_EQ(FG_ERR_BUFFER_TOO_SMALL, Fg_getParameterInfoXML(b.fg(), port, small.data(), &capacity));
        EXPECT_EQ(0u, capacity);

        // A success after a failure clears the error store.
        capacity = 0;
        EXPECT_EQ(0, Fg_getParameterInfoXML(b.fg(), port, nullptr, &capacity));
        EXPECT_EQ(size, capacity);
        EXPECT_EQ(0, b.lastError());
    }
}

TEST(AppletDocumentExport, PortsWithoutRecordsAndBadArguments)
{
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
    }
    char c = '#';
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterInfoXML(b.fg(), 0, nullptr, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterInfoXML(b.fg(), 0, &c, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, b.lastError());
    EXPECT_EQ('#', c);

    // The applet's own export without a board.
    typedef int (*XmlExport)(Fg_Struct*, int, char*, size_t*);
    XmlExport own = reinterpret_cast<XmlExport>(dlsym(SimBoard_AppletLibraryOf(b.fg()), "Fg_getParameterInfoXML"));
    ASSERT_NE(nullptr, own);
    size_t size = 3;
    EXPECT_EQ(FG_ERR_INVALID_BOARD, own(nullptr, 0, nullptr, &size));
    EXPECT_EQ(3u, size);
}

}  // namespace
