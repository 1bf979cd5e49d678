// The parameter information registry: the shape of a slot's tree, the value
// description of every kind, closed slots and hostile arguments.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "parameterInfo.h"

namespace {

class RegistryTest : public ::testing::Test {
protected:
    Fg_ParameterInfo info;
};

// ---- tree shape ------------------------------------------------------------

TEST_F(RegistryTest, TopLevelGroupsComeNewestFirstAndAreDoublyLinked)
{
    RegisterInfo* a = info.addGroupInfo(0, NULL, "A");
    RegisterInfo* b = info.addGroupInfo(0, NULL, "B");
    RegisterInfo* c = info.addGroupInfo(0, NULL, "C");
    ASSERT_TRUE(a && b && c);

    EXPECT_EQ(c, info.getRegisterInfo(0));
    EXPECT_EQ(c, info.getNextRegisterInfo(NULL, 0));
    EXPECT_EQ(b, info.getNextRegisterInfo(c, 0));
    EXPECT_EQ(a, info.getNextRegisterInfo(b, 0));
    EXPECT_EQ(nullptr, info.getNextRegisterInfo(a, 0));

    EXPECT_EQ(nullptr, c->previous);
    EXPECT_EQ(c, b->previous);
    EXPECT_EQ(b, a->previous);

    for (RegisterInfo* g : {a, b, c}) {
        EXPECT_EQ(REG_FORMAT_GROUP, g->format);
        EXPECT_EQ(0, g->depth);
        EXPECT_EQ(nullptr, g->parentName);
        EXPECT_EQ(nullptr, g->parameterName);
        EXPECT_EQ(nullptr, g->unit);
        EXPECT_EQ(0, g->id);
        EXPECT_EQ(0, g->port);
        EXPECT_EQ(0, g->u.gReg.nrOfElements);
        EXPECT_EQ(nullptr, g->u.gReg.elements);
        EXPECT_EQ(0, g->u.gReg.autoIndex);
    }
    EXPECT_STREQ("B", b->name);
}

TEST_F(RegistryTest, SlotsAreIndependent)
{
    RegisterInfo* g0 = info.addGroupInfo(0, NULL, "ROI");
    RegisterInfo* g1 = info.addGroupInfo(1, NULL, "ROI");
    RegisterInfo* w0 = info.addInfoUInt(g0, "Width", "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, 0);
    RegisterInfo* w1 = info.addInfoUInt(g1, "Width", "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, 1);
    ASSERT_TRUE(w0 && w1);
    EXPECT_NE(w0, w1);
    EXPECT_EQ(g0, info.getRegisterInfo(0));
    EXPECT_EQ(g1, info.getRegisterInfo(1));
    EXPECT_EQ(nullptr, info.getRegisterInfo(2));
    EXPECT_EQ(nullptr, g0->next);
    EXPECT_EQ(1, w1->port);

    // A handler narrowing one port's range leaves the other port alone.
    w0->u.uiReg.to = 14336;
    w0->accessFlags = 1;
    EXPECT_EQ(16384u, w1->u.uiReg.to);
    EXPECT_EQ(3, w1->accessFlags);

    ASSERT_EQ(2u, info.records(0).size());
    EXPECT_EQ(g0, info.records(0)[0]);
    EXPECT_EQ(w0, info.records(0)[1]);
    EXPECT_EQ(2u, info.records(1).size());
    EXPECT_TRUE(info.records(2).empty());
}

TEST_F(RegistryTest, ChildrenSitInElementsAtTheirIndex)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "Line Trigger / ExSync");
    RegisterInfo* p0 = info.addInfoUInt(top, "Downscale", "FG_LINE_DOWNSCALE", 1, 255, 1, 3, 1, 1, "", 24040, 0);
    RegisterInfo* g1 = info.addGroupInfo(0, top, "ExSync Output");
    RegisterInfo* p2 = info.addInfoEnum(top, "ExSync Enable", "FG_EXSYNCON", 2, 7, 1, 1, "", 8300, 0);
    ASSERT_TRUE(p0 && g1 && p2);

    EXPECT_EQ(3, top->u.gReg.nrOfElements);
    EXPECT_EQ(3, top->u.gReg.autoIndex);
    ASSERT_NE(nullptr, top->u.gReg.elements);
    EXPECT_EQ(p0, top->u.gReg.elements[0]);
    EXPECT_EQ(g1, top->u.gReg.elements[1]);
    EXPECT_EQ(p2, top->u.gReg.elements[2]);
    EXPECT_EQ(0, p0->index);
    EXPECT_EQ(1, g1->index);
    EXPECT_EQ(2, p2->index);

    // Children are not linked into the top-level list.
    EXPECT_EQ(nullptr, p0->next);
    EXPECT_EQ(nullptr, g1->next);
    EXPECT_EQ(nullptr, g1->previous);
    EXPECT_EQ(nullptr, info.getNextRegisterInfo(p0, 0));
    EXPECT_EQ(top, info.getRegisterInfo(0));
    EXPECT_EQ(nullptr, top->next);
}

TEST_F(RegistryTest, NestedGroupsKnowTheirDepthAndParentName)
{
    RegisterInfo* top = info.addGroupInfo(1, NULL, "Image Trigger / Flash");
    RegisterInfo* input = info.addGroupInfo(1, top, "Image Trigger Input");
    RegisterInfo* flash = info.addGroupInfo(1, input, "Flash");
    ASSERT_TRUE(top && input && flash);

    EXPECT_EQ(1, input->depth);
    EXPECT_EQ(2, flash->depth);
    ASSERT_NE(nullptr, input->parentName);
    EXPECT_STREQ("Image Trigger / Flash", input->parentName);
    EXPECT_NE(top->name, input->parentName);  // a copy of its own
    EXPECT_STREQ("Image Trigger Input", flash->parentName);
    EXPECT_EQ(1, flash->port);
    EXPECT_EQ(input, top->u.gReg.elements[0]);
    EXPECT_EQ(flash, input->u.gReg.elements[0]);
    // Only the outer group is at the top level.
    EXPECT_EQ(top, info.getRegisterInfo(1));
    EXPECT_EQ(nullptr, top->next);
}

TEST_F(RegistryTest, GroupUnderAParameterIsRefusedAndNothingIsAttached)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "ROI");
    RegisterInfo* width = info.addInfoUInt(top, "Width", "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, 0);
    ASSERT_TRUE(width);

    EXPECT_EQ(nullptr, info.addGroupInfo(0, width, "Nested"));
    // The parameter's value description is untouched and the group still
    // counts one child; the next child takes index 1.
    EXPECT_EQ(32u, width->u.uiReg.from);
    EXPECT_EQ(16384u, width->u.uiReg.to);
    EXPECT_EQ(16u, width->u.uiReg.steps);
    EXPECT_EQ(1, top->u.gReg.nrOfElements);
    EXPECT_EQ(top, info.getRegisterInfo(0));
    RegisterInfo* height = info.addInfoUInt(top, "Height", "FG_HEIGHT", 8, 65535, 1, 3, 2, 1, "pixel", 200, 0);
    ASSERT_TRUE(height);
    EXPECT_EQ(1, height->index);
}

TEST_F(RegistryTest, ParameterNeedsAGroupAsParentAndAnSdkName)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "ROI");
    RegisterInfo* width = info.addInfoUInt(top, "Width", "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, 0);
    const size_t before = info.records(0).size();

    EXPECT_EQ(nullptr, info.addInfoUInt(NULL, "Width", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, 0));
    EXPECT_EQ(nullptr, info.addInfoDouble(width, "X", "FG_X", 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoEnum(width, "X", "FG_X", 2, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoString(top, "X", NULL, NULL, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoEnum(top, "X", "FG_X", -1, 3, 1, 1, "", 1, 0));

    EXPECT_EQ(before, info.records(0).size());
    EXPECT_EQ(1, top->u.gReg.nrOfElements);
    EXPECT_EQ(16384u, width->u.uiReg.to);
}

TEST_F(RegistryTest, FinalizedSlotRefusesEveryAddButKeepsItsRecords)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "ROI");
    RegisterInfo* width = info.addInfoUInt(top, "Width", "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, 0);
    info.finalize(0);

    EXPECT_EQ(nullptr, info.addGroupInfo(0, NULL, "Late"));
    EXPECT_EQ(nullptr, info.addGroupInfo(0, top, "Late"));
    EXPECT_EQ(nullptr, info.addInfoUInt(top, "H", "FG_HEIGHT", 0, 1, 1, 3, 1, 1, "", 200, 0));
    EXPECT_EQ(nullptr, info.addInfoInt(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoInt64(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoUInt64(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoDouble(top, "H", "FG_H", 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoIntField(top, "H", "FG_H", 4, 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoUIntField(top, "H", "FG_H", 4, 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoDoubleField(top, "H", "FG_H", 4, 0, 1, 1, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoEnum(top, "H", "FG_H", 2, 3, 1, 1, "", 1, 0));
    EXPECT_EQ(nullptr, info.addInfoString(top, "H", "FG_H", NULL, 3, 1, 1, "", 1, 0));

    EXPECT_EQ(top, info.getRegisterInfo(0));
    EXPECT_EQ(1, top->u.gReg.nrOfElements);
    EXPECT_EQ(width, top->u.gReg.elements[0]);
    EXPECT_EQ(2u, info.records(0).size());

    // The other slots stay open.
    RegisterInfo* other = info.addGroupInfo(1, NULL, "ROI");
    EXPECT_NE(nullptr, other);
    EXPECT_NE(nullptr, info.addInfoUInt(other, "H", "FG_HEIGHT", 0, 1, 1, 3, 1, 1, "", 200, 1));
}

TEST_F(RegistryTest, PortsOutsideTheFourSlotsAreHarmless)
{
    for (int port : {-1, 4, 100}) {
        EXPECT_EQ(nullptr, info.addGroupInfo(port, NULL, "G"));
        EXPECT_EQ(nullptr, info.getRegisterInfo(port));
        EXPECT_EQ(nullptr, info.getNextRegisterInfo(NULL, port));
        EXPECT_TRUE(info.records(port).empty());
        info.finalize(port);
    }
    RegisterInfo* top = info.addGroupInfo(3, NULL, "G");
    ASSERT_NE(nullptr, top);
    EXPECT_EQ(nullptr, info.addInfoUInt(top, "W", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, 4));
    EXPECT_EQ(nullptr, info.addInfoUInt(top, "W", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, -1));
    EXPECT_EQ(0, top->u.gReg.nrOfElements);
    // The last slot works like the others.
    EXPECT_NE(nullptr, info.addInfoUInt(top, "W", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, 3));
    EXPECT_EQ(top, info.getRegisterInfo(3));
}

// ---- value descriptions ----------------------------------------------------

TEST_F(RegistryTest, ScalarParametersKeepRangeFlagsIdentityAndPrivateTexts)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "G");
    char name[] = "Width";
    char sdk[] = "FG_WIDTH";
    char unit[] = "pixel";
    RegisterInfo* u = info.addInfoUInt(top, name, sdk, 32, 16384, 16, 3, 2, 1, unit, 100, 0);
    ASSERT_NE(nullptr, u);
    name[0] = sdk[0] = unit[0] = 'X';  // the caller's buffers are not kept
    EXPECT_STREQ("Width", u->name);
    EXPECT_STREQ("FG_WIDTH", u->parameterName);
    EXPECT_STREQ("pixel", u->unit);
    EXPECT_EQ(REG_FORMAT_UINT, u->format);
    EXPECT_EQ(32u, u->u.uiReg.from);
    EXPECT_EQ(16384u, u->u.uiReg.to);
    EXPECT_EQ(16u, u->u.uiReg.steps);
    EXPECT_EQ(3, u->accessFlags);
    EXPECT_EQ(2, u->rangeFlags);
    EXPECT_EQ(1, u->visibilityFlags);
    EXPECT_EQ(100, u->id);
    EXPECT_EQ(0, u->port);
    EXPECT_EQ(nullptr, u->parentName);
    EXPECT_EQ(nullptr, u->next);
    EXPECT_EQ(nullptr, u->previous);

    RegisterInfo* timeout =
        info.addInfoUInt(top, "Timeout", "FG_TIMEOUT", 2, 2147483646u, 1, 7, 1, 1, "seconds", 600, 0);
    EXPECT_EQ(2147483646u, timeout->u.uiReg.to);

    RegisterInfo* i = info.addInfoInt(top, "Offset", "FG_OFFSET", -100, 100, 2, 2, 1, 1, NULL, 7, 0);
    ASSERT_NE(nullptr, i);
    EXPECT_EQ(REG_FORMAT_INT, i->format);
    EXPECT_EQ(-100, i->u.iReg.from);
    EXPECT_EQ(100, i->u.iReg.to);
    EXPECT_EQ(2, i->u.iReg.steps);
    EXPECT_EQ(nullptr, i->unit);  // no unit given: none

    RegisterInfo* dna = info.addInfoUInt64(top, "FPGA DNA", "FG_SYSTEMMONITOR_FPGA_DNA", 0, 144115188075855871ULL,
                                           0, 1, 1, 1, "", 200349, 0);
    ASSERT_NE(nullptr, dna);
    EXPECT_EQ(REG_FORMAT_UINT64, dna->format);
    EXPECT_EQ(144115188075855871ULL, dna->u.iReg64.to);
    ASSERT_NE(nullptr, dna->unit);
    EXPECT_STREQ("", dna->unit);  // an empty unit stays an empty text

    RegisterInfo* s64 = info.addInfoInt64(top, "S", "FG_S64", -5, 5, 1, 1, 1, 1, "", 9, 0);
    ASSERT_NE(nullptr, s64);
    EXPECT_EQ(REG_FORMAT_INT64, s64->format);
    EXPECT_EQ(-5, static_cast<int64_t>(s64->u.iReg64.from));
    EXPECT_EQ(5u, s64->u.iReg64.to);

    const double eps = 2.220446049250313e-16;
    RegisterInfo* d = info.addInfoDouble(top, "Period", "FG_LINEPERIODE", 0.512, 2097.144, eps, 7, 1, 1,
                                         "\xB5s", 96, 0);
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(REG_FORMAT_DOUBLE, d->format);
    EXPECT_EQ(0.512, d->u.dReg.from);
    EXPECT_EQ(2097.144, d->u.dReg.to);
    EXPECT_EQ(eps, d->u.dReg.steps);
    EXPECT_EQ(0, std::memcmp(d->unit, "\xB5s", 3));  // Latin-1 bytes kept as they are
}

TEST_F(RegistryTest, FieldRecordsStartAtTheFirstElementWithTheLowerBound)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "Lookup Table");
    RegisterInfo* lut = info.addInfoUIntField(top, "LUT Values", "FG_LUT_VALUE", 16, 0, 4095, 1, 7, 1, 1, "",
                                              300001, 0);
    ASSERT_NE(nullptr, lut);
    EXPECT_EQ(REG_FORMAT_UINTFIELD, lut->format);
    EXPECT_EQ(0u, lut->u.uifReg.from);
    EXPECT_EQ(4095u, lut->u.uifReg.to);
    EXPECT_EQ(16, lut->u.uifReg.nrOfElements);
    EXPECT_EQ(0, lut->u.uifReg.index);
    EXPECT_EQ(0u, lut->u.uifReg.value);

    RegisterInfo* cur = info.addInfoDoubleField(top, "Channel Current", "FG_SYSTEMMONITOR_CHANNEL_CURRENT", 4,
                                                -100000.0, 100000.0, 0.0, 1, 1, 1, "A", 200350, 0);
    ASSERT_NE(nullptr, cur);
    EXPECT_EQ(REG_FORMAT_DOUBLEFIELD, cur->format);
    EXPECT_EQ(-100000.0, cur->u.dfReg.from);
    EXPECT_EQ(100000.0, cur->u.dfReg.to);
    EXPECT_EQ(4, cur->u.dfReg.nrOfElements);
    EXPECT_EQ(0, cur->u.dfReg.index);
    EXPECT_EQ(-100000.0, cur->u.dfReg.value);

    RegisterInfo* sf = info.addInfoIntField(top, "Signed", "FG_SIGNED_FIELD", 8, -8, 8, 2, 7, 1, 1, "", 5, 0);
    ASSERT_NE(nullptr, sf);
    EXPECT_EQ(REG_FORMAT_INTFIELD, sf->format);
    EXPECT_EQ(-8, sf->u.ifReg.from);
    EXPECT_EQ(8, sf->u.ifReg.to);
    EXPECT_EQ(8, sf->u.ifReg.nrOfElements);
    EXPECT_EQ(0, sf->u.ifReg.index);
    EXPECT_EQ(-8, sf->u.ifReg.value);
}

TEST_F(RegistryTest, StringRecordsCarryACopyOfTheFileFilter)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "Lookup Table");
    RegisterInfo* load = info.addInfoString(top, "Load File", "FG_LUT_CUSTOM_FILE", "*.lut", 7, 1, 1, "", 300000, 0);
    RegisterInfo* id = info.addInfoString(top, "Applet Id", "FG_APPLET_ID", NULL, 1, 1, 1, "", 24010, 0);
    ASSERT_TRUE(load && id);
    EXPECT_EQ(REG_FORMAT_STRING, load->format);
    EXPECT_STREQ("*.lut", load->u.sReg.FileExtension);
    EXPECT_EQ(nullptr, load->u.sReg.string);
    EXPECT_EQ(0, load->u.sReg.strLen);
    EXPECT_EQ(nullptr, id->u.sReg.FileExtension);
}

TEST_F(RegistryTest, EnumEntriesStartEmptyAndAreFilledOneByOne)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "Image Trigger Input");
    RegisterInfo* e = info.addInfoEnum(top, "Source", "FG_IMGTRIGGERINSRC", 3, 7, 1, 1, "", 8113, 0);
    ASSERT_NE(nullptr, e);
    EXPECT_EQ(REG_FORMAT_ENUM, e->format);
    ASSERT_EQ(3, e->u.eReg.nrOfElements);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(nullptr, e->u.eReg.enumNames[i]);
        EXPECT_EQ(nullptr, e->u.eReg.enumDefName[i]);
        EXPECT_EQ(0, e->u.eReg.enumValues[i]);
    }

    char name[] = "Software Trigger";
    EXPECT_EQ(0, info.addEnumNameValue(e, 2, name, -1, "TRGINSOFTWARE"));
    EXPECT_EQ(0, info.addEnumNameValue(e, 0, "Trigger Source 0", 0, NULL));
    name[0] = 'X';
    EXPECT_STREQ("Software Trigger", e->u.eReg.enumNames[2]);
    EXPECT_EQ(-1, e->u.eReg.enumValues[2]);
    EXPECT_STREQ("TRGINSOFTWARE", e->u.eReg.enumDefName[2]);
    EXPECT_STREQ("Trigger Source 0", e->u.eReg.enumNames[0]);
    EXPECT_EQ(nullptr, e->u.eReg.enumDefName[0]);
    // The entry never filled keeps no name and value 0.
    EXPECT_EQ(nullptr, e->u.eReg.enumNames[1]);
    EXPECT_EQ(0, e->u.eReg.enumValues[1]);

    // Filling an entry again replaces it; a missing second name drops the old one.
    EXPECT_EQ(0, info.addEnumNameValue(e, 2, "Other", 7, NULL));
    EXPECT_STREQ("Other", e->u.eReg.enumNames[2]);
    EXPECT_EQ(7, e->u.eReg.enumValues[2]);
    EXPECT_EQ(nullptr, e->u.eReg.enumDefName[2]);
}

TEST_F(RegistryTest, EnumEntryOutsideTheRecordOrOnAnotherKindIsRefused)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, "G");
    RegisterInfo* e = info.addInfoEnum(top, "Apply", "FG_SENDSOFTWARETRIGGER", 1, 7, 1, 1, "", 8800, 0);
    RegisterInfo* u = info.addInfoUInt(top, "W", "FG_WIDTH", 0, 1, 1, 3, 1, 1, "", 100, 0);
    RegisterInfo* none = info.addInfoEnum(top, "None", "FG_NONE", 0, 7, 1, 1, "", 1, 0);
    ASSERT_TRUE(e && u && none);

    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info.addEnumNameValue(e, 1, "X", 1, "X"));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info.addEnumNameValue(e, -1, "X", 1, "X"));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info.addEnumNameValue(e, 0, NULL, 1, "X"));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info.addEnumNameValue(NULL, 0, "X", 1, "X"));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info.addEnumNameValue(u, 0, "X", 1, "X"));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info.addEnumNameValue(none, 0, "X", 1, "X"));
    EXPECT_EQ(0u, u->u.uiReg.from);
    EXPECT_EQ(nullptr, e->u.eReg.enumNames[0]);

    EXPECT_EQ(0, info.addEnumNameValue(e, 0, "Apply", 1, "FG_APPLY"));
    EXPECT_STREQ("FG_APPLY", e->u.eReg.enumDefName[0]);
}

TEST_F(RegistryTest, MissingDisplayNameIsKeptAsNone)
{
    RegisterInfo* top = info.addGroupInfo(0, NULL, NULL);
    ASSERT_NE(nullptr, top);
    EXPECT_EQ(nullptr, top->name);
    RegisterInfo* nested = info.addGroupInfo(0, top, "Inner");
    ASSERT_NE(nullptr, nested);
    EXPECT_EQ(nullptr, nested->parentName);
    RegisterInfo* p = info.addInfoUInt(nested, NULL, "FG_WIDTH", 0, 1, 1, 3, 1, 1, NULL, 100, 0);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(nullptr, p->name);
}

TEST_F(RegistryTest, ManyChildrenGrowTheElementArrayInOrder)
{
    RegisterInfo* top = info.addGroupInfo(2, NULL, "Direct Register Access");
    std::vector<RegisterInfo*> made;
    for (int i = 0; i < 300; ++i) {
        const std::string n = "DRA_Reg" + std::to_string(i);
        made.push_back(info.addInfoUInt(top, n.c_str(), n.c_str(), 0, 255, 1, 3, 1, 1, "", 1000001 + i, 2));
    }
    ASSERT_EQ(300, top->u.gReg.nrOfElements);
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(made[i], top->u.gReg.elements[i]);
        EXPECT_EQ(i, made[i]->index);
    }
    EXPECT_EQ(301u, info.records(2).size());
}

}  // namespace
