// The GenApi description of a port: node templates per kind, the whole
// document of a synthetic registry, the category tree and the filters.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "ParameterInfoBuilderXML.h"
#include "xml_test_support.h"

namespace {

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(XmlStringFilter, EscapesTheFiveSpecialCharactersAndPassesEveryOtherByte) {
    const std::string cases[][2] = {{"Delay->ExSync", "Delay-&gt;ExSync"},
                                    {"a&b<c>\"d'e", "a&amp;b&lt;c&gt;&quot;d&apos;e"},
                                    {"&amp;", "&amp;amp;"} /* not idempotent */,
                                    {"</Description><x>", "&lt;/Description&gt;&lt;x&gt;"},
                                    {"", ""},
                                    {"5 \xB5s", "5 \xB5s"} /* Latin-1 */,
                                    {"5 \xC2\xB5s", "5 \xC2\xB5s"},
                                    {std::string("a\tb\nc\rd\x01", 8), std::string("a\tb\nc\rd\x01", 8)},
                                    {std::string("a\0&", 3), std::string("a\0&amp;", 7)}};
    for (const auto& c : cases) EXPECT_EQ(c[1], xmlStringFilter(c[0])) << c[0];
}

TEST(XmlNameFilter, KeepsLettersAndAfterTheFirstPositionDigitsAndUnderscoresOnly) {
    const std::string cases[][2] = {// (group names such as "Shaft Encoder A/B Filter" are in the category tree below)
                                    {"FG_WIDTH", "FG_WIDTH"},
                                    {"_x1", "x1"},
                                    {"1a2", "a2"},
                                    {"__a", "_a"} /* only the very first position is special */,
                                    {"9A b9", "Ab9"},
                                    {"", ""},
                                    {"&<>\"' /", ""},
                                    {"\xB5s", "s"},
                                    {"\xC2\xB5\xC3s", "s"},
                                    {"&amp;<lt>x", "ampltx"},
                                    {std::string("a\0b", 3), "ab"}};
    for (const auto& c : cases) EXPECT_EQ(c[1], xmlNameFilter(c[0])) << c[0];
}

TEST(CategoryTree, ChildrenAndFeaturesKeepOrderAndAreFoundByExactName) {
    Category root("Root", nullptr);
    Category* roi = new Category("ROI", &root);
    Category* again = new Category("ROI", &root);  // a second category of the same name
    ASSERT_EQ(2, root.getChildCount());
    EXPECT_EQ(again, root.getChild(1));
    EXPECT_EQ(nullptr, root.getChild(2));
    EXPECT_EQ(nullptr, root.getChild(-1));
    EXPECT_EQ(roi, root.getChild("ROI"));  // first match
    EXPECT_FALSE(root.hasChild("roi"));
    EXPECT_EQ(nullptr, root.getChild("Root"));

    roi->addFeature("FG_WIDTH");
    roi->addFeature("FG_HEIGHT");
    roi->addFeature("FG_WIDTH");
    EXPECT_EQ((std::vector<std::string>{"FG_WIDTH", "FG_HEIGHT", "FG_WIDTH", "", ""}),
              (std::vector<std::string>{roi->getFeature(0), roi->getFeature(1), roi->getFeature(2), roi->getFeature(3),
                                        roi->getFeature(-1)}));
    EXPECT_TRUE(roi->hasFeature("FG_HEIGHT"));
    EXPECT_FALSE(roi->hasFeature("fg_height"));
}

class NodeTemplate : public ::testing::Test {
protected:
    std::string write(const RegisterInfo* reg) {
        EXPECT_NE(nullptr, reg);
        if (reg == nullptr) return std::string();
        std::ostringstream oss;
        ParameterInfoGeneratorXML generator(oss);
        EXPECT_TRUE(generator.generate(*reg));
        return oss.str();
    }

    void SetUp() override { group = info.addGroupInfo(0, nullptr, "G"); }

    Fg_ParameterInfo info;
    RegisterInfo* group = nullptr;
};

TEST_F(NodeTemplate, UnsignedBoundsAboveTheSignedRangeStayUnsignedAndStepZeroHasNoIncrement) {
    EXPECT_EQ(intNodes("FG_BIG", "Big", 7, "RO", "2147483648", "4294967295", ""),
              write(info.addInfoUInt(group, "Big", "FG_BIG", 2147483648u, 4294967295u, 0, 1, 1, 1, "", 7, 0)));
}

TEST_F(NodeTemplate, SignedIntegerWithoutAddressAndWithoutAccess) {
    std::string expected = intNodes("FG_GAIN_OFFSET", "Gain Offset", 0, "", "-100", "-2", "2");
    expected.erase(expected.find("<Address>0</Address>\n"), 21);
    EXPECT_EQ(expected, write(info.addInfoInt(group, "Gain Offset", "FG_GAIN_OFFSET", -100, -2, 2, 4, 1, 1, "", 0, 0)));
}

TEST_F(NodeTemplate, AccessModeFollowsTheLowTwoBits) {
    const struct {
        int flags;
        const char* mode;
    } cases[] = {{0, ""}, {1, "RO"}, {2, "WO"}, {3, "RW"}, {4, ""}, {5, "RO"}, {6, "WO"}, {7, "RW"}, {-1, "RW"}};
    for (const auto& c : cases) {
        RegisterInfo* r = info.addInfoString(group, "S", "FG_S", nullptr, c.flags, 1, 1, "", 1, 0);
        const std::string expected = std::string("<AccessMode>") + c.mode + "</AccessMode>\n";
        EXPECT_NE(std::string::npos, write(r).find(expected)) << "flags " << c.flags;
    }
}

// (short bounds such as 0.1, 0.0078125 and 10000000 are in the synthetic document)
TEST_F(NodeTemplate, FloatBoundsWithTwelveSignificantDigits) {
    const struct {
        double value;
        const char* text;
    } cases[] = {{-1000.0, "-1000"},
                 {1.0 / 3.0, "0.333333333333"},
                 {123456789012345.0, "1.23456789012e+14"},
                 {2.220446049250313e-16, "2.22044604925e-16"}};
    for (const auto& c : cases) {
        const std::string xml = write(info.addInfoDouble(group, "F", "FG_F", c.value, 1.0, 0.0, 3, 1, 1, "", 5, 0));
        EXPECT_NE(std::string::npos, xml.find(std::string("<Min>") + c.text + "</Min>")) << xml;
    }
}

TEST_F(NodeTemplate, EnumerationEntriesSortedByValueWithSdkNamesOnly) {
    RegisterInfo* e = info.addInfoEnum(group, "Mode", "FG_IMGTRIGGERMODE", 7, 3, 1, 1, "", 8104, 0);
    info.addEnumNameValue(e, 0, "Free Run", 0, "FREE_RUN");
    info.addEnumNameValue(e, 1, "Async External Trigger", 2, "ASYNC_TRIGGER");
    info.addEnumNameValue(e, 2, "Async Multi Buffer External Trigger", 8, "ASYNC_TRIGGER_MULTIFRAME");
    info.addEnumNameValue(e, 3, "No constant name", 3, nullptr);         // left out
    info.addEnumNameValue(e, 4, "Software", -1, "A<&>\"'");              // escaped
    info.addEnumNameValue(e, 5, "Same value, later entry", 2, "LATER");  // replaces ASYNC_TRIGGER
    // entry 6 never filled: no constant name, left out
    EXPECT_EQ(
        enumNodes("FG_IMGTRIGGERMODE", "Mode", 8104, "RW",
                  {{"A&lt;&amp;&gt;&quot;&apos;", -1}, {"FREE_RUN", 0}, {"LATER", 2}, {"ASYNC_TRIGGER_MULTIFRAME", 8}}),
        write(e));
    // an enumeration without entries has no entry lists to read
    EXPECT_EQ(std::string::npos,
              write(info.addInfoEnum(group, "Empty", "FG_EMPTY", 0, 1, 1, 1, "", 0, 0)).find("<EnumEntry"));
}

TEST_F(NodeTemplate, DescriptionOnlyForANonEmptyDisplayNameAndEscaped) {
    EXPECT_FALSE(has(write(info.addInfoString(group, "", "FG_A", nullptr, 1, 1, 1, "", 1, 0)), "<Description>"));
    EXPECT_FALSE(has(write(info.addInfoString(group, nullptr, "FG_B", nullptr, 1, 1, 1, "", 1, 0)), "<Description>"));
    // Escaped; bytes above 127 reach the document as they are.
    EXPECT_TRUE(has(write(info.addInfoUInt(group, "5 \xB5s & more", "FG_C", 0, 1, 1, 3, 1, 1, "", 1, 0)),
                    "<Description>5 \xB5s &amp; more</Description>\n"));
    // A hostile SDK name cannot break out of its attribute.
    EXPECT_TRUE(has(write(info.addInfoUInt(group, "X", "A\"B'<C>", 0, 1, 1, 3, 1, 1, "", 1, 0)),
                    "<Integer Name='A&quot;B&apos;&lt;C&gt;'>\n"));
}

TEST_F(NodeTemplate, KindsWithoutTemplateWriteNothing) {
    std::vector<RegisterInfo*> others = {
        info.addInfoUInt64(group, "DNA", "FG_DNA", 0, 1, 0, 1, 1, 1, "", 1, 0),
        info.addInfoInt64(group, "S64", "FG_S64", 0, 1, 0, 1, 1, 1, "", 1, 0),
        info.addInfoUIntField(group, "LUT", "FG_LUT_VALUE", 4, 0, 1, 1, 7, 1, 1, "", 1, 0),
        info.addInfoIntField(group, "IF", "FG_IF", 4, 0, 1, 1, 7, 1, 1, "", 1, 0),
        info.addInfoDoubleField(group, "DF", "FG_DF", 4, 0, 1, 1, 7, 1, 1, "", 1, 0),
        info.addGroupInfo(0, group, "Nested")};
    for (RegisterInfo* r : others) {
        ASSERT_NE(nullptr, r);
        std::ostringstream oss;
        ParameterInfoGeneratorXML generator(oss);
        EXPECT_FALSE(generator.generate(*r));
        EXPECT_EQ("", oss.str());
    }
}

const std::string kEmptyDocument = documentHeader() + category("Root", {}) + kDocumentEnd;

class Document : public ::testing::Test {
protected:
    std::string build(int port) {
        ParameterInfoBuilderXML builder(wrapper.registry(), wrapper, port);
        return builder.build();
    }

    XmlTestWrapper wrapper;
};

TEST_F(Document, EverySlotIsDescribedOnItsOwnAndAlikeOnEveryBuild) {
    buildSyntheticRegistry(wrapper.registry(), 1);
    ParameterInfoBuilderXML builder(wrapper.registry(), wrapper, 1);
    EXPECT_EQ(syntheticDocument(), builder.build());
    EXPECT_EQ(syntheticDocument(), builder.build());
    EXPECT_EQ(4, builder.rootCategory()->getChildCount());
    for (int port : {0, 3, -1, 4}) EXPECT_EQ(kEmptyDocument, build(port)) << port;
    // only empty groups give the bare document
    RegisterInfo* a = wrapper.registry().addGroupInfo(0, nullptr, "ROI");
    wrapper.registry().addGroupInfo(0, a, "Inner");
    wrapper.registry().addGroupInfo(0, nullptr, "Overflow");
    EXPECT_EQ(kEmptyDocument, build(0));
}

TEST_F(Document, ModelNameIsEscapedAndMayBeMissing) {
    wrapper.setModel("A&B \"x\"");
    std::string xml = build(0);
    EXPECT_NE(std::string::npos, xml.find("\nModelName=\"A&amp;B &quot;x&quot;\"\nVendorName=\"Tervik\"\n"));
    wrapper.setModel(nullptr);
    xml = build(0);
    EXPECT_NE(std::string::npos, xml.find("\nModelName=\"\"\n"));
}

TEST_F(Document, RecordsChangedByHandlersShowInTheNextBuild) {
    Fg_ParameterInfo& info = wrapper.registry();
    RegisterInfo* roi = info.addGroupInfo(0, nullptr, "ROI");
    RegisterInfo* x = info.addInfoUInt(roi, "XOffset", "FG_XOFFSET", 0, 16352, 16, 3, 2, 1, "pixel", 300, 0);
    std::string xml = build(0);
    EXPECT_TRUE(has(xml, "<Max>16352</Max>") && has(xml, "<AccessMode>RW</AccessMode>")) << xml;

    x->u.uiReg.to = 14336;
    x->accessFlags = 1;
    xml = build(0);
    EXPECT_TRUE(has(xml, "<Max>14336</Max>") && has(xml, "<AccessMode>RO</AccessMode>") && !has(xml, "16352")) << xml;

    x->visibilityFlags = 0;  // invisible: neither node nor feature
    xml = build(0);
    EXPECT_TRUE(!has(xml, "FG_XOFFSET") && !has(xml, "<Category Name='ROI'")) << xml;
}

TEST_F(Document, CategoriesAreFlatNamedAfterTheDirectGroupInOrderOfFirstUse) {
    Fg_ParameterInfo& info = wrapper.registry();
    RegisterInfo* lt = info.addGroupInfo(0, nullptr, "Line Trigger / ExSync");
    RegisterInfo* input = info.addGroupInfo(0, lt, "Line Trigger Input");
    RegisterInfo* ds = info.addGroupInfo(0, input, "Downscale");
    info.addInfoUInt(ds, "Downscale", "FG_LINE_DOWNSCALE", 1, 255, 1, 3, 1, 1, "", 24040, 0);
    info.addInfoUInt(ds, "Phase", "FG_LINE_DOWNSCALEINIT", 1, 255, 1, 3, 1, 1, "", 24050, 0);
    info.addInfoEnum(input, "Source A", "FG_LINETRIGGERINSRC", 0, 7, 1, 1, "", 8112, 0);
    RegisterInfo* shaft = info.addGroupInfo(0, lt, "Shaft Encoder A/B Filter");
    info.addInfoEnum(shaft, "Enable", "FG_SHAFTENCODERON", 0, 7, 1, 1, "", 9110, 0);
    info.addInfoEnum(lt, "Line Trigger Mode", "FG_LINETRIGGERMODE", 0, 3, 1, 1, "", 8102, 0);
    RegisterInfo* dio = info.addGroupInfo(0, nullptr, "Digital I/O");
    info.addInfoUInt(dio, "Digital Output", "FG_DIGIO_OUTPUT", 0, 3, 1, 7, 1, 1, "", 14020, 0);
    // A second group of an existing category name files into that category.
    RegisterInfo* dio2 = info.addGroupInfo(0, lt, "Digital IO");
    info.addInfoUInt(dio2, "Digital Input", "FG_DIGIO_INPUT", 0, 255, 1, 1, 1, 1, "", 14010, 0);
    // Group names without any letter file into Root.
    RegisterInfo* odd = info.addGroupInfo(0, nullptr, "/ - /");
    info.addInfoUInt(odd, "Odd", "FG_ODD", 0, 1, 1, 1, 1, 1, "", 1, 0);

    ParameterInfoBuilderXML builder(info, wrapper, 0);
    const std::string xml = builder.build();
    EXPECT_EQ(category("Root", {"DigitalIO", "Downscale", "LineTriggerInput", "ShaftEncoderABFilter",
                                "LineTriggerExSync", "FG_ODD"}) +
                  category("DigitalIO", {"FG_DIGIO_OUTPUT", "FG_DIGIO_INPUT"}) +
                  category("Downscale", {"FG_LINE_DOWNSCALE", "FG_LINE_DOWNSCALEINIT"}) +
                  category("LineTriggerInput", {"FG_LINETRIGGERINSRC"}) +
                  category("ShaftEncoderABFilter", {"FG_SHAFTENCODERON"}) +
                  category("LineTriggerExSync", {"FG_LINETRIGGERMODE"}) + kDocumentEnd,
              xml.substr(xml.find("<Category Name='Root'")));
    Category* root = builder.rootCategory();
    ASSERT_EQ(5, root->getChildCount());
    for (int i = 0; i < root->getChildCount(); ++i) EXPECT_EQ(0, root->getChild(i)->getChildCount());
}

TEST_F(Document, DirectRegisterAccessParametersAreLeftOutAtAnyLevel) {
    Fg_ParameterInfo& info = wrapper.registry();
    RegisterInfo* dra = info.addGroupInfo(0, nullptr, "Direct Register Access");
    info.addInfoUInt(dra, "R1", "DRA_R1", 0, 255, 1, 3, 1, 1, "", 1000001, 0);
    // A group of that name further down is left out too; a group below it is not.
    RegisterInfo* top = info.addGroupInfo(0, nullptr, "Debug");
    RegisterInfo* inner = info.addGroupInfo(0, top, "Direct Register Access");
    info.addInfoUInt(inner, "R2", "DRA_R2", 0, 255, 1, 3, 1, 1, "", 1000002, 0);
    RegisterInfo* deeper = info.addGroupInfo(0, inner, "Deeper");
    info.addInfoUInt(deeper, "R3", "DRA_R3", 0, 255, 1, 3, 1, 1, "", 1000003, 0);
    const std::string xml = build(0);
    EXPECT_TRUE(!has(xml, "DRA_R1") && !has(xml, "DRA_R2") && has(xml, "<Integer Name='DRA_R3'>") &&
                has(xml, "<Category Name='Deeper'  >\n<pFeature>DRA_R3</pFeature>\n"))
        << xml;
}

TEST_F(Document, MalformedTreesAreWalkedSafely) {
    Fg_ParameterInfo& info = wrapper.registry();
    RegisterInfo* a = info.addGroupInfo(0, nullptr, "A");
    RegisterInfo* b = info.addGroupInfo(0, nullptr, "B");
    RegisterInfo* w = info.addInfoUInt(a, "W", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, 0);
    RegisterInfo* h = info.addInfoUInt(b, "H", "FG_HEIGHT", 0, 1, 1, 3, 1, 1, "", 200, 0);
    // A list that loops back, a hole in a child list, a group that contains
    // itself and a parameter without names.
    RegisterInfo* savedNext = a->next;
    a->next = b;
    b->u.gReg.elements[0] = nullptr;
    RegisterInfo* self = info.addGroupInfo(0, a, "Self");
    self->u.gReg.elements = static_cast<RegisterInfo**>(malloc(sizeof(RegisterInfo*)));
    self->u.gReg.elements[0] = self;
    self->u.gReg.nrOfElements = 1;
    self->u.gReg.autoIndex = 1;
    w->parameterName = nullptr;
    const std::string xml = build(0);
    EXPECT_TRUE(has(xml, "<Integer Name=''>") && !has(xml, "FG_HEIGHT") && has(xml, "</RegisterDescription>\n")) << xml;
    a->next = savedNext;
    b->u.gReg.elements[0] = h;
}

}  // namespace
