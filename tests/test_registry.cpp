// The parameter information registry: the shape of a slot's tree, the value
// description of every kind, closed slots and hostile arguments.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "parameterInfo.h"
#include "record_text.h"

namespace {

using orvtest::textOf;
std::string describe(const RegisterInfo* r) { return orvtest::recordText(r); }

class RegistryTest : public ::testing::Test {
protected:
    // A plain UINT parameter with an SDK name and identity.
    RegisterInfo* param(RegisterInfo* parent, const char* sdk, int id = 1, int port = 0) {
        return info.addInfoUInt(parent, "P", sdk, 0, 1, 1, 3, 1, 1, "", id, port);
    }
    Fg_ParameterInfo info;
};

TEST_F(RegistryTest, TopLevelGroupsComeNewestFirstAndAreDoublyLinked) {
    RegisterInfo* a = info.addGroupInfo(0, NULL, "A");
    RegisterInfo* b = info.addGroupInfo(0, NULL, "B");
    RegisterInfo* c = info.addGroupInfo(0, NULL, "C");
    ASSERT_TRUE(a && b && c);

    EXPECT_EQ(c, info.getRegisterInfo(0));
    EXPECT_EQ(c, info.getNextRegisterInfo(NULL, 0));
    EXPECT_EQ(b, info.getNextRegisterInfo(c, 0));
    EXPECT_EQ(a, info.getNextRegisterInfo(b, 0));
    EXPECT_EQ(nullptr, info.getNextRegisterInfo(a, 0));
    EXPECT_EQ((std::vector<RegisterInfo*>{nullptr, c, b}),
              (std::vector<RegisterInfo*>{c->previous, b->previous, a->previous}));

    for (RegisterInfo* g : {a, b, c}) {
        EXPECT_EQ(REG_FORMAT_GROUP, g->format);
        EXPECT_EQ((std::vector<int>(6, 0)), (std::vector<int>{g->depth, g->id, g->port, g->u.gReg.nrOfElements,
                                                              g->u.gReg.autoIndex, g->u.gReg.elements != nullptr}));
        EXPECT_EQ((std::vector<const char*>(3, nullptr)),
                  (std::vector<const char*>{g->parentName, g->parameterName, g->unit}));
    }
    EXPECT_STREQ("B", b->name);
}

TEST_F(RegistryTest, ChildrenSitInElementsAtTheirIndexAndAreNotLinked) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, "Line Trigger / ExSync");
    RegisterInfo* p0 = param(top, "FG_LINE_DOWNSCALE");
    RegisterInfo* g1 = info.addGroupInfo(0, top, "ExSync Output");
    RegisterInfo* p2 = info.addInfoEnum(top, "ExSync Enable", "FG_EXSYNCON", 2, 7, 1, 1, "", 8300, 0);
    ASSERT_TRUE(p0 && g1 && p2);

    EXPECT_EQ(3, top->u.gReg.nrOfElements);
    EXPECT_EQ(3, top->u.gReg.autoIndex);
    ASSERT_NE(nullptr, top->u.gReg.elements);
    EXPECT_EQ((std::vector<RegisterInfo*>{p0, g1, p2}),
              std::vector<RegisterInfo*>(top->u.gReg.elements, top->u.gReg.elements + 3));
    EXPECT_EQ((std::vector<int>{0, 1, 2}), (std::vector<int>{p0->index, g1->index, p2->index}));
    EXPECT_EQ((std::vector<const void*>(6, nullptr)),
              (std::vector<const void*>{p0->next, p0->previous, p0->parentName, g1->next, g1->previous,
                                        info.getNextRegisterInfo(p0, 0)}));
    EXPECT_EQ(top, info.getRegisterInfo(0));
    EXPECT_EQ(nullptr, top->next);
}

TEST_F(RegistryTest, RefusedAddsAttachNothing) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, "ROI");
    RegisterInfo* width = info.addInfoUInt(top, "Width", "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, 0);
    ASSERT_TRUE(width);
    const std::string widthBefore = describe(width);

    // a group under a parameter (its record is kept, but not attached), a
    // parameter without a group or an SDK name, a negative number of enum entries
    EXPECT_EQ(nullptr, info.addGroupInfo(0, width, "Nested"));
    const size_t before = info.records(0).size();
    int add = 0;
    for (RegisterInfo* r : {info.addInfoUInt(NULL, "Width", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, 0),
                            info.addInfoDouble(width, "X", "FG_X", 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoEnum(width, "X", "FG_X", 2, 3, 1, 1, "", 1, 0),
                            info.addInfoString(top, "X", NULL, NULL, 3, 1, 1, "", 1, 0),
                            info.addInfoEnum(top, "X", "FG_X", -1, 3, 1, 1, "", 1, 0)})
        EXPECT_EQ(nullptr, r) << "add " << add++;

    EXPECT_EQ(widthBefore, describe(width));
    EXPECT_EQ(before, info.records(0).size());
    EXPECT_EQ(1, top->u.gReg.nrOfElements);
    EXPECT_EQ(top, info.getRegisterInfo(0));
    RegisterInfo* height = param(top, "FG_HEIGHT");
    ASSERT_TRUE(height);
    EXPECT_EQ(1, height->index) << "no child index was taken";
}

TEST_F(RegistryTest, FinalizedSlotRefusesEveryAddButKeepsItsRecords) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, "ROI");
    RegisterInfo* width = param(top, "FG_WIDTH", 100);
    info.finalize(0);

    int add = 0;
    for (RegisterInfo* r : {info.addGroupInfo(0, NULL, "Late"), info.addGroupInfo(0, top, "Late"),
                            info.addInfoUInt(top, "H", "FG_HEIGHT", 0, 1, 1, 3, 1, 1, "", 200, 0),
                            info.addInfoInt(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoInt64(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoUInt64(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoDouble(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoIntField(top, "H", "FG_H", 4, 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoUIntField(top, "H", "FG_H", 4, 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoDoubleField(top, "H", "FG_H", 4, 0, 1, 1, 3, 1, 1, "", 1, 0),
                            info.addInfoEnum(top, "H", "FG_H", 2, 3, 1, 1, "", 1, 0),
                            info.addInfoString(top, "H", "FG_H", NULL, 3, 1, 1, "", 1, 0)})
        EXPECT_EQ(nullptr, r) << "add " << add++;

    EXPECT_EQ(top, info.getRegisterInfo(0));
    EXPECT_EQ(1, top->u.gReg.nrOfElements);
    EXPECT_EQ(width, top->u.gReg.elements[0]);
    EXPECT_EQ(2u, info.records(0).size());
    // The other slots stay open.
    RegisterInfo* other = info.addGroupInfo(1, NULL, "ROI");
    EXPECT_NE(nullptr, other);
    EXPECT_NE(nullptr, param(other, "FG_HEIGHT", 200, 1));
}

TEST_F(RegistryTest, PortsOutsideTheFourSlotsAreHarmless) {
    for (int port : {-1, 4, 100}) {
        EXPECT_EQ(nullptr, info.addGroupInfo(port, NULL, "G"));
        EXPECT_EQ(nullptr, info.getRegisterInfo(port));
        EXPECT_EQ(nullptr, info.getNextRegisterInfo(NULL, port));
        EXPECT_TRUE(info.records(port).empty());
        info.finalize(port);
    }
    RegisterInfo* top = info.addGroupInfo(3, NULL, "G");
    ASSERT_NE(nullptr, top);
    EXPECT_EQ(nullptr, param(top, "FG_WIDTH", 100, 4));
    EXPECT_EQ(nullptr, param(top, "FG_WIDTH", 100, -1));
    EXPECT_EQ(0, top->u.gReg.nrOfElements);
    // The last slot works like the others.
    EXPECT_NE(nullptr, param(top, "FG_WIDTH", 100, 3));
    EXPECT_EQ(top, info.getRegisterInfo(3));
}

TEST_F(RegistryTest, EveryKindKeepsItsValueDescriptionInItsOwnVariantWithPrivateTexts) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, "G");
    char name[] = "Width";
    char sdk[] = "FG_WIDTH";
    char unit[] = "pixel";
    RegisterInfo* u = info.addInfoUInt(top, name, sdk, 32, 16384, 16, 3, 2, 1, unit, 100, 0);
    name[0] = sdk[0] = unit[0] = 'X';  // the caller's buffers are not kept
    const double eps = 2.220446049250313e-16;
    const RegisterInfo* records[] = {
        u,
        info.addInfoInt(top, "Offset", "FG_OFFSET", -100, 100, 2, 2, 1, 1, NULL, 7, 0),
        info.addInfoUInt64(top, "FPGA DNA", "FG_SYSTEMMONITOR_FPGA_DNA", 0, 144115188075855871ULL, 0, 1, 1, 1, "",
                           200349, 0),
        info.addInfoInt64(top, "S", "FG_S64", -5, 5, 1, 1, 1, 1, "", 9, 0),
        info.addInfoDouble(top, "Period", "FG_LINEPERIODE", 0.512, 2097.144, eps, 7, 1, 1, "\xB5s", 96, 0),
        // field records start at the first element with the lower bound
        info.addInfoUIntField(top, "LUT Values", "FG_LUT_VALUE", 16, 0, 4095, 1, 7, 1, 1, "", 300001, 0),
        info.addInfoDoubleField(top, "Channel Current", "FG_SYSTEMMONITOR_CHANNEL_CURRENT", 4, -100000.0, 100000.0, 0.0,
                                1, 1, 1, "A", 200350, 0),
        info.addInfoIntField(top, "Signed", "FG_SIGNED_FIELD", 8, -8, 8, 2, 7, 1, 1, "", 5, 0),
        // string records carry a copy of the file filter
        info.addInfoString(top, "Load File", "FG_LUT_CUSTOM_FILE", "*.lut", 7, 1, 1, "", 300000, 0),
        info.addInfoString(top, "Applet Id", "FG_APPLET_ID", NULL, 1, 1, 1, "", 24010, 0),
    };
    const char* const expected[] = {
        "'Width' 'FG_WIDTH' unit 'pixel' flags 3/2/1 id 100 port 0: UINT 32..16384 step 16",
        "'Offset' 'FG_OFFSET' unit null flags 2/1/1 id 7 port 0: INT -100..100 step 2",
        "'FPGA DNA' 'FG_SYSTEMMONITOR_FPGA_DNA' unit '' flags 1/1/1 id 200349 port 0: "
        "UINT64 0..144115188075855871 step 0",
        "'S' 'FG_S64' unit '' flags 1/1/1 id 9 port 0: INT64 -5..5 step 1",
        "'Period' 'FG_LINEPERIODE' unit '\xB5s' flags 7/1/1 id 96 port 0: "
        "DOUBLE 0.51200000000000001..2097.1439999999998 step 2.2204460492503131e-16",
        "'LUT Values' 'FG_LUT_VALUE' unit '' flags 7/1/1 id 300001 port 0: UINTFIELD 0..4095 n 16 [0] = 0",
        "'Channel Current' 'FG_SYSTEMMONITOR_CHANNEL_CURRENT' unit 'A' flags 1/1/1 id 200350 port 0: "
        "DOUBLEFIELD -100000..100000 n 4 [0] = -100000",
        "'Signed' 'FG_SIGNED_FIELD' unit '' flags 7/1/1 id 5 port 0: INTFIELD -8..8 n 8 [0] = -8",
        "'Load File' 'FG_LUT_CUSTOM_FILE' unit '' flags 7/1/1 id 300000 port 0: STRING null ext '*.lut' len 0",
        "'Applet Id' 'FG_APPLET_ID' unit '' flags 1/1/1 id 24010 port 0: STRING null ext null len 0",
    };
    for (size_t i = 0; i < sizeof expected / sizeof expected[0]; ++i) EXPECT_EQ(expected[i], describe(records[i]));
    EXPECT_EQ(REG_FORMAT_INT64, records[3]->format);
    EXPECT_EQ(REG_FORMAT_UINT64, records[2]->format);
}

TEST_F(RegistryTest, EnumEntriesStartEmptyAndAreFilledOneByOne) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, "Image Trigger Input");
    RegisterInfo* e = info.addInfoEnum(top, "Source", "FG_IMGTRIGGERINSRC", 3, 7, 1, 1, "", 8113, 0);
    ASSERT_NE(nullptr, e);
    EXPECT_EQ(REG_FORMAT_ENUM, e->format);
    ASSERT_EQ(3, e->u.eReg.nrOfElements);
    auto entry = [e](int i) {
        return textOf(e->u.eReg.enumNames[i]) + " " + std::to_string(e->u.eReg.enumValues[i]) + " " +
               textOf(e->u.eReg.enumDefName[i]);
    };
    for (int i = 0; i < 3; ++i) EXPECT_EQ("null 0 null", entry(i));

    char name[] = "Software Trigger";
    EXPECT_EQ(0, info.addEnumNameValue(e, 2, name, -1, "TRGINSOFTWARE"));
    EXPECT_EQ(0, info.addEnumNameValue(e, 0, "Trigger Source 0", 0, NULL));
    name[0] = 'X';
    EXPECT_EQ("'Software Trigger' -1 'TRGINSOFTWARE'", entry(2));
    EXPECT_EQ("'Trigger Source 0' 0 null", entry(0));
    EXPECT_EQ("null 0 null", entry(1)) << "the entry never filled";
    // Filling an entry again replaces it; a missing second name drops the old one.
    EXPECT_EQ(0, info.addEnumNameValue(e, 2, "Other", 7, NULL));
    EXPECT_EQ("'Other' 7 null", entry(2));
}

TEST_F(RegistryTest, EnumEntryOutsideTheRecordOrOnAnotherKindIsRefused) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, "G");
    RegisterInfo* e = info.addInfoEnum(top, "Apply", "FG_SENDSOFTWARETRIGGER", 1, 7, 1, 1, "", 8800, 0);
    RegisterInfo* u = param(top, "FG_WIDTH", 100);
    RegisterInfo* none = info.addInfoEnum(top, "None", "FG_NONE", 0, 7, 1, 1, "", 1, 0);
    ASSERT_TRUE(e && u && none);
    const std::string uBefore = describe(u);

    int add = 0;
    for (int rc : {info.addEnumNameValue(e, 1, "X", 1, "X"), info.addEnumNameValue(e, -1, "X", 1, "X"),
                   info.addEnumNameValue(e, 0, NULL, 1, "X"), info.addEnumNameValue(NULL, 0, "X", 1, "X"),
                   info.addEnumNameValue(u, 0, "X", 1, "X"), info.addEnumNameValue(none, 0, "X", 1, "X")})
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER, rc) << "add " << add++;
    EXPECT_EQ(uBefore, describe(u));
    EXPECT_EQ(nullptr, e->u.eReg.enumNames[0]);

    EXPECT_EQ(0, info.addEnumNameValue(e, 0, "Apply", 1, "FG_APPLY"));
    EXPECT_STREQ("FG_APPLY", e->u.eReg.enumDefName[0]);
}

TEST_F(RegistryTest, MissingDisplayNameIsKeptAsNone) {
    RegisterInfo* top = info.addGroupInfo(0, NULL, NULL);
    ASSERT_NE(nullptr, top);
    EXPECT_EQ(nullptr, top->name);
    RegisterInfo* nested = info.addGroupInfo(0, top, "Inner");
    ASSERT_NE(nullptr, nested);
    EXPECT_EQ(nullptr, nested->parentName);
    RegisterInfo* p = info.addInfoUInt(nested, NULL, "FG_WIDTH", 0, 1, 1, 3, 1, 1, NULL, 100, 0);
    EXPECT_EQ("null 'FG_WIDTH' unit null flags 3/1/1 id 100 port 0: UINT 0..1 step 1", describe(p));
}

}  // namespace
