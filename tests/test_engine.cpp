// The parameter engine: names and identities, events, the typed dispatch,
// the debug access paths and the catalogue records.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <tuple>

#include "board_fixture.h"
#include "check_table.h"

using namespace orvtest;
using checktable::expectAll;

namespace {

// A board opened on a design written by the test (as the external design file
// "Orvindel.hap" in the test's working directory), optionally with direct
// register access switched on.
class CustomDesignBoard {
public:
    CustomDesignBoard(const std::string& manifest, bool dra) {
        {
            std::ofstream f("Orvindel.hap", std::ios::binary);
            f << "TERVIK-HAP 1\n" << manifest << "end\n";
        }
        {
            ScopedEnv force("__TERVIK_FORCE_EXTERNAL_HAP", "1");
            ScopedEnv enable("TERVIK_ENABLE_DRA", dra ? "yes" : "no");
            fg_ = Fg_InitEx("Orvindel", 0, 1);
        }
        unlink("Orvindel.hap");
        if (fg_) dev_ = SimBoard_DeviceOf(fg_);
    }
    ~CustomDesignBoard() {
        if (fg_) Fg_FreeGrabber(fg_);
    }
    Fg_Struct* fg() const { return fg_; }
    QORdevice* dev() const { return dev_; }

private:
    Fg_Struct* fg_ = nullptr;
    QORdevice* dev_ = nullptr;
};

// A board opened directly on the applet's own design.
class OpenBoard : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }
    Board b{1};
};
using Names = OpenBoard;
using Events = OpenBoard;
using Dispatch = OpenBoard;
using Catalogue = OpenBoard;

const char kRegisters[] =
    "register 1 A 8 2\n"
    "register 2 B 16 0\n"
    "register 3 C 40 2\n";

}  // namespace

// ---- names and identities ----

TEST_F(Names, NinetyNineParametersInTableOrderFoundByTheirExactName) {
    EXPECT_EQ(99, Fg_getNrOfParameter(b.fg()));
    EXPECT_STREQ("FG_PIXELFORMAT", Fg_getParameterName(b.fg(), 0));
    EXPECT_STREQ("FG_DIGIO_INPUT", Fg_getParameterName(b.fg(), 98));
    EXPECT_EQ(0, b.lastError());
    // Every name maps back to the identity its index gives.
    for (int i = 0; i < 99; ++i) {
        const char* name = Fg_getParameterName(b.fg(), i);
        ASSERT_NE(nullptr, name);
        EXPECT_EQ(Fg_getParameterId(b.fg(), i), Fg_getParameterIdByName(b.fg(), name)) << name;
    }
    // Indices past the table and names that are not exactly a parameter's.
    EXPECT_EQ(nullptr, Fg_getParameterName(b.fg(), 99));
    EXPECT_EQ(-2070, b.lastError());
    EXPECT_EQ(nullptr, Fg_getParameterName(b.fg(), -1));
    EXPECT_EQ(100, Fg_getParameterId(b.fg(), 31));
    EXPECT_EQ(0, b.lastError()) << "a success clears the error store";
    EXPECT_EQ(96, Fg_getParameterIdByName(b.fg(), "FG_LINEPERIODE"));
    expectAll(-2070,
              {Fg_getParameterId(b.fg(), 99), Fg_getParameterIdByName(b.fg(), "fg_lineperiode"),
               Fg_getParameterIdByName(b.fg(), ""), Fg_getParameterIdByName(b.fg(), "FG_LINEPERIODE "), b.lastError()});
}

TEST(RegisterNames, DirectRegisterAccessAddsThemAfterTheSdkNamesOnlyWhenSwitchedOn) {
    {
        CustomDesignBoard b(kRegisters, true);
        ASSERT_NE(nullptr, b.fg());
        EXPECT_EQ(102, Fg_getNrOfParameter(b.fg()));
        for (int i = 0; i < 3; ++i) EXPECT_EQ(std::string("DRA_") + char('A' + i), Fg_getParameterName(b.fg(), 99 + i));
        EXPECT_EQ(1000003, Fg_getParameterIdByName(b.fg(), "DRA_C"));
        EXPECT_EQ(1000001, Fg_getParameterId(b.fg(), 99));
    }
    CustomDesignBoard hidden(kRegisters, false);
    ASSERT_NE(nullptr, hidden.fg());
    EXPECT_EQ(99, Fg_getNrOfParameter(hidden.fg()));
    // Identities of the register range reach the table and are unknown there.
    uint32_t v = 1;
    expectAll(-2070, {Fg_getParameterIdByName(hidden.fg(), "DRA_A"),
                      Fg_setParameterWithType(hidden.fg(), 1000001, &v, 0, FG_PARAM_TYPE_UINT32_T)});
}

// ---- events ----

TEST_F(Events, OverflowAliasesLeadToTheDesignEventsMasks) {
    const uint64_t cam0 = Fg_getEventMask(b.fg(), "FG_OVERFLOW_CAM0"),
                   cam1 = Fg_getEventMask(b.fg(), "FG_OVERFLOW_CAM1");
    for (int p = 0; p < 2; ++p) {
        const uint64_t mask = p ? cam1 : cam0;
        EXPECT_EQ(mask, Fg_getEventMask(b.fg(), dp(p, "Overflow_Overflow").c_str()));
        EXPECT_TRUE(mask != 0 && (mask & (mask - 1)) == 0) << "exactly one bit, port " << p;
    }
    EXPECT_EQ(0, b.lastError());
    // Process 0's mask names its design event (it is of kind 1); process 1's the alias.
    EXPECT_STREQ("Device1_Process0_Overflow_Overflow", Fg_getEventName(b.fg(), cam0));
    EXPECT_STREQ("FG_OVERFLOW_CAM1", Fg_getEventName(b.fg(), cam1));
    EXPECT_EQ(nullptr, Fg_getEventName(b.fg(), 0));
    EXPECT_EQ(-2070, b.lastError());
    EXPECT_EQ(nullptr, Fg_getEventName(b.fg(), cam0 | cam1));
    EXPECT_EQ(0u, Fg_getEventMask(b.fg(), "NoSuchEvent"));
    EXPECT_EQ(-2070, b.lastError());
}

TEST(DesignEvents, MaskIsFixedByTheEventsIndexAndEventsAfterAGapAreNotCounted) {
    const struct {
        const char* design;
        std::vector<std::pair<const char*, uint64_t>> masks;  // events of other kinds are not mapped
    } designs[] = {
        {"event 0 1 E0\nevent 1 0 E1\nevent 2 1 Device1_Process1_Overflow_Overflow\nevent 3 1 E3\n"
         "event 4 1 Device1_Process0_Overflow_Overflow\nevent 5 1 E5\n",
         {{"E0", 1}, {"E1", 0}, {"E3", 8}, {"E5", 32}, {"FG_OVERFLOW_CAM0", 16}, {"FG_OVERFLOW_CAM1", 4}}},
        {"event 0 1 E0\nevent 1 1 E1\nevent 2 1 E2\nevent 5 1 E5\n", {{"E2", 4}, {"E5", 0}, {"FG_OVERFLOW_CAM0", 0}}}};
    for (const auto& d : designs) {
        SCOPED_TRACE(d.design);
        CustomDesignBoard b(d.design, false);
        ASSERT_NE(nullptr, b.fg());
        for (const auto& m : d.masks) EXPECT_EQ(m.second, Fg_getEventMask(b.fg(), m.first)) << m.first;
        if (d.masks.size() > 3) {
            EXPECT_STREQ("FG_OVERFLOW_CAM1", Fg_getEventName(b.fg(), 4));
            EXPECT_STREQ("Device1_Process0_Overflow_Overflow", Fg_getEventName(b.fg(), 16));
        }
    }
}

// ---- the typed dispatch ----

TEST_F(Dispatch, UnknownPortIdentityAndNullValue) {
    uint32_t v = 1024;
    EXPECT_EQ(-2070, Fg_setParameterWithType(b.fg(), FG_WIDTH, &v, 2, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(-2070, b.lastError());
    const FgParamTypes u = FG_PARAM_TYPE_UINT32_T;
    expectAll(
        -2070,
        {Fg_getParameterWithType(b.fg(), FG_WIDTH, &v, 2, u), Fg_setParameterWithType(b.fg(), 12345, &v, 0, u),
         Fg_getParameterWithType(b.fg(), 12345, &v, 1, u), Fg_setParameterWithType(b.fg(), FG_WIDTH, nullptr, 0, u),
         Fg_getParameterWithType(b.fg(), FG_WIDTH, nullptr, 0, u), b.lastError()});
}

TEST_F(Dispatch, HostLevelRowsAreReadFromTheHostInTheCallersType) {
    EXPECT_EQ((std::vector<uint32_t>{2, 2, 2, 1, 0}),
              (std::vector<uint32_t>{b.u32(FG_NR_OF_DMAS, 0), b.u32(FG_NR_OF_CAMS, 1), b.u32(FG_NR_OF_PROCESSES, 0),
                                     b.u32(FG_DMA_PORT, 1), b.u32(FG_CAM_PORT, 0)}));
    // A 64-bit read clears all 8 bytes before the host (or a 32-bit parameter) writes its answer.
    for (const auto& row : {std::make_pair(FG_NR_OF_DMAS, 2u), std::make_pair(FG_APPLET_VERSION, 3u)}) {
        uint64_t wide = ~uint64_t(0);
        EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), row.first, &wide, 0, FG_PARAM_TYPE_UINT64_T));
        EXPECT_EQ(row.second, wide) << row.first;
    }
    // A host failure is the result and stays in the error store.
    SimBoard_FailNthHostCall(b.dev(), 1, -3333);
    uint32_t v = 0;
    EXPECT_EQ(-3333, Fg_getParameterWithType(b.fg(), FG_TRANSFER_LEN, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(-3333, b.lastError());
    EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), FG_TRANSFER_LEN, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0, b.lastError());
}

TEST_F(Dispatch, DescriptionQueryOnBothPorts) {
    for (int port = 0; port < 2; ++port) {
        char buf[1024] = "FG_WIDTH";
        EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), 24114, buf, port, FG_PARAM_TYPE_CHAR_PTR));
        EXPECT_STREQ("Image width of the acquisition ROI.", buf);
        std::strcpy(buf, "FG_SHAFTENCODER_COMPENSATION_ENABLE");
        EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), 24114, buf, port, FG_PARAM_TYPE_CHAR_PTR));
        EXPECT_EQ(880u, std::strlen(buf)) << "the longest description";
        std::strcpy(buf, "FG_NO_SUCH_NAME");
        EXPECT_EQ(-2070, Fg_getParameterWithType(b.fg(), 24114, buf, port, FG_PARAM_TYPE_CHAR_PTR));
        EXPECT_EQ(-12, Fg_setParameterWithType(b.fg(), 24114, buf, port, FG_PARAM_TYPE_CHAR_PTR));
    }
}

TEST_F(Dispatch, DirectQorAccessForwardsToTheHostsOwnIdentities) {
    const std::string name = dp(1, "Trigger_Trigger_ImgTrgDelay");
    int hostId = SimBoard_ParameterId(b.dev(), name.c_str());
    ASSERT_GT(hostId, 0);
    uint32_t v = 4321;
    EXPECT_EQ(0, Fg_setParameterWithType(b.fg(), 2000000 + hostId, &v, 1, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(4321u, b.designU32(name.c_str()));
    uint32_t back = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), 2000000 + hostId, &back, 1, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(4321u, back);
    // An identity the host does not know gives the host's error.
    EXPECT_NE(0, Fg_getParameterWithType(b.fg(), 2000000 + 999999, &back, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_NE(0, b.lastError());
}

// ---- direct register access ----

TEST(DirectRegisters, WritesAndReadsGoThroughTheRegisterRuntimeUnmasked) {
    CustomDesignBoard b(kRegisters, true);
    ASSERT_NE(nullptr, b.fg());
    uint32_t v = 0x1FFF;
    EXPECT_EQ(0, Fg_setParameterWithType(b.fg(), 1000001, &v, 0, FG_PARAM_TYPE_UINT32_T));
    uint64_t reg = 0;
    EXPECT_EQ(0, SimBoard_GetRegister(b.dev(), 1, &reg));
    EXPECT_EQ(0x1FFFu, reg) << "no masking to the register's 8 bits";

    // A 40-bit register is read as 8 bytes, a 16-bit one as 4 (nothing past them).
    ASSERT_EQ(0, SimBoard_SetRegister(b.dev(), 3, 0x12345678ABull));
    ASSERT_EQ(0, SimBoard_SetRegister(b.dev(), 2, 0xFFFFFFFF0000BEEFull));
    const std::tuple<int, FgParamTypes, size_t, uint64_t> reads[] = {
        {1000003, FG_PARAM_TYPE_UINT64_T, 8, 0x12345678ABull}, {1000002, FG_PARAM_TYPE_UINT32_T, 4, 0xBEEF}};
    for (const auto& r : reads) {
        unsigned char buf[12];
        std::memset(buf, 0xCC, sizeof buf);
        EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), std::get<0>(r), buf, 0, std::get<1>(r)));
        uint64_t got = 0;
        std::memcpy(&got, buf, std::get<2>(r));
        EXPECT_EQ(std::get<3>(r), got) << std::get<0>(r);
        EXPECT_EQ(0xCC, buf[std::get<2>(r)]) << std::get<0>(r);
    }
    uint32_t narrow;

    // A read-only register is still written through its identity.
    v = 5;
    EXPECT_EQ(0, Fg_setParameterWithType(b.fg(), 1000002, &v, 0, FG_PARAM_TYPE_UINT32_T));
    // Failures of the register runtime are the result.
    SimBoard_FailRegisters(b.dev(), -99);
    EXPECT_EQ(-99, Fg_getParameterWithType(b.fg(), 1000001, &narrow, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(-99, Fg_getLastErrorNumber(b.fg()));
}

TEST(DirectRegisters, RecordsUnderTheirOwnGroupOnEachPort) {
    CustomDesignBoard b(kRegisters, true);
    ASSERT_NE(nullptr, b.fg());
    for (int port = 0; port < 2; ++port) {
        RegisterInfo* g = Fg_getParameterInfo(b.fg(), port);
        ASSERT_NE(nullptr, g);
        EXPECT_STREQ("Direct Register Access", g->name) << "the newest top-level group comes first";
        ASSERT_EQ(3, g->u.gReg.nrOfElements);
        RegisterInfo* a = g->u.gReg.elements[0];
        EXPECT_STREQ("A (8)", a->name);
        EXPECT_STREQ("DRA_A", a->parameterName);
        EXPECT_EQ(REG_FORMAT_UINT, a->format);
        EXPECT_EQ(255u, a->u.uiReg.to);
        EXPECT_EQ(7, a->accessFlags);
        EXPECT_EQ(1000001, a->id);
        EXPECT_EQ(port, a->port);
        RegisterInfo* rb = g->u.gReg.elements[1];
        EXPECT_EQ(1, rb->accessFlags) << "direction 0 registers are read-only";
        RegisterInfo* c = g->u.gReg.elements[2];
        EXPECT_EQ(REG_FORMAT_UINT64, c->format);
        EXPECT_EQ((uint64_t(1) << 40) - 1, c->u.iReg64.to);
        EXPECT_EQ(nullptr, c->unit);
    }
}

// ---- the catalogue ----

TEST_F(Catalogue, EveryPortHoldsTheSameNinetyTwoRecordsInThirteenGroups) {
    std::set<std::string> names[2];
    for (int port = 0; port < 2; ++port) {
        std::function<void(RegisterInfo*)> walk = [&](RegisterInfo* r) {
            if (r->format == REG_FORMAT_GROUP) {
                for (int i = 0; i < r->u.gReg.nrOfElements; ++i) {
                    EXPECT_EQ(i, r->u.gReg.elements[i]->index);
                    walk(r->u.gReg.elements[i]);
                }
            } else {
                names[port].insert(r->parameterName);
                EXPECT_EQ(port, r->port);
                EXPECT_EQ(1, r->visibilityFlags);
                EXPECT_EQ(Fg_getParameterIdByName(b.fg(), r->parameterName), r->id) << r->parameterName;
            }
        };
        int groups = 0;
        for (RegisterInfo* g = Fg_getParameterInfo(b.fg(), port); g; g = g->next, ++groups) {
            EXPECT_EQ(port, g->port);
            walk(g);
        }
        EXPECT_EQ(13, groups);
        EXPECT_STREQ("Miscellaneous", Fg_getParameterInfo(b.fg(), port)->name) << "the newest group comes first";
        EXPECT_EQ(92u, names[port].size());
    }
    EXPECT_EQ(names[0], names[1]);
    EXPECT_EQ(nullptr, Fg_getParameterInfo(b.fg(), 2));
    // Distinct objects per port: changing one leaves the other.
    ASSERT_TRUE(b.record(0, FG_WIDTH) && b.record(1, FG_WIDTH));
    EXPECT_NE(b.record(0, FG_WIDTH), b.record(1, FG_WIDTH));
}

TEST_F(Catalogue, LineTriggerGroupShape) {
    RegisterInfo* g = Fg_getParameterInfo(b.fg(), 1);
    while (g && std::strcmp(g->name, "Line Trigger / ExSync") != 0) g = g->next;
    ASSERT_NE(nullptr, g);
    ASSERT_EQ(5, g->u.gReg.nrOfElements);
    std::vector<std::string> names;
    for (int i = 0; i < 5; ++i) names.push_back(g->u.gReg.elements[i]->name);
    EXPECT_EQ((std::vector<std::string>{"Line Trigger Input", "Shaft Encoder A/B Filter", "ExSync Output",
                                        "Line Trigger Mode", "ExSync Enable"}),
              names);
    RegisterInfo* input = g->u.gReg.elements[0];
    EXPECT_EQ(REG_FORMAT_GROUP, input->format);
    EXPECT_EQ(1, input->depth);
    EXPECT_STREQ("Line Trigger / ExSync", input->parentName);
    RegisterInfo* downscale = input->u.gReg.elements[0];
    EXPECT_STREQ("Downscale", downscale->name);
    EXPECT_EQ(2, downscale->depth);
    EXPECT_EQ(2, downscale->u.gReg.nrOfElements);
}

TEST_F(Catalogue, SampleRecordsFieldByField) {
    // name (none: not checked), unit (none: null), format, access flags (-1: not checked)
    const std::tuple<int, const char*, const char*, int, int> heads[] = {
        {FG_LINETRIGGERDEBOUNCING, "Debouncing Time", "\xB5s" /* Latin-1 micro sign */, REG_FORMAT_DOUBLE, 7},
        {FG_SYSTEMMONITOR_FPGA_TEMPERATURE, "FGPA Temperature", "Celsius", -1, 1},
        {FG_SYSTEMMONITOR_FPGA_VCC_AUX, "FGPA Vcc Aux", "-", -1, -1},
        {FG_IMGTRIGGERINSRC, nullptr, "", REG_FORMAT_ENUM, -1},
        {FG_TIMEOUT, nullptr, "seconds", -1, -1},
        {FG_SYSTEMMONITOR_FPGA_DNA, nullptr, "-", REG_FORMAT_UINT64, -1},
        {FG_LUT_VALUE, nullptr, "-", REG_FORMAT_UINTFIELD, -1},
        {FG_SYSTEMMONITOR_CHANNEL_CURRENT, nullptr, "-", REG_FORMAT_DOUBLEFIELD, -1},
        {FG_LUT_CUSTOM_FILE, nullptr, "-", REG_FORMAT_STRING, -1}};
    for (int port = 0; port < 2; ++port) {
        for (const auto& h : heads) {
            const RegisterInfo* r = b.record(port, std::get<0>(h));
            ASSERT_NE(nullptr, r) << std::get<0>(h);
            // an entry not checked expects what the record holds
            const char *name = std::get<1>(h), *unit = std::get<2>(h);
            EXPECT_STREQ(name ? name : r->name, r->name);
            EXPECT_STREQ(std::string("-") == unit ? r->unit : unit, r->unit) << std::get<0>(h);
            EXPECT_EQ(std::get<3>(h) < 0 ? int(r->format) : std::get<3>(h), int(r->format)) << std::get<0>(h);
            EXPECT_EQ(std::get<4>(h) < 0 ? r->accessFlags : std::get<4>(h), r->accessFlags) << std::get<0>(h);
        }
        RegisterInfo* r = b.record(port, FG_LINETRIGGERDEBOUNCING);
        EXPECT_EQ((std::vector<double>{0.008, 30.0, 1}),
                  (std::vector<double>{r->u.dReg.from, r->u.dReg.to, double(r->rangeFlags)}));

        r = b.record(port, FG_IMGTRIGGERINSRC);
        ASSERT_EQ(9, r->u.eReg.nrOfElements);
        EXPECT_STREQ("Software Trigger", r->u.eReg.enumNames[8]);
        EXPECT_EQ(-1, r->u.eReg.enumValues[8]);
        EXPECT_STREQ("TRGINSOFTWARE", r->u.eReg.enumDefName[8]);

        ASSERT_EQ(1, b.record(port, FG_SENDSOFTWARETRIGGER)->u.eReg.nrOfElements);
        const std::tuple<int, const char*, int> firstEntries[] = {{FG_SENDSOFTWARETRIGGER, "Apply", 1},
                                                                  {FG_LINETRIGGERINPOLARITY, "Low Active", 1},
                                                                  {FG_EXSYNCPOLARITY, "Low Active", 0}};
        for (const auto& e : firstEntries) {
            r = b.record(port, std::get<0>(e));
            EXPECT_STREQ(std::get<1>(e), r->u.eReg.enumNames[0]) << std::get<0>(e);
            EXPECT_EQ(std::get<2>(e), r->u.eReg.enumValues[0]) << std::get<0>(e);
        }
        r = b.record(port, FG_TIMEOUT);
        EXPECT_EQ((std::vector<uint32_t>{2, 2147483646}), (std::vector<uint32_t>{r->u.uiReg.from, r->u.uiReg.to}));
        EXPECT_EQ(144115188075855871ull, b.record(port, FG_SYSTEMMONITOR_FPGA_DNA)->u.iReg64.to);
        r = b.record(port, FG_LUT_VALUE);
        EXPECT_EQ(
            (std::vector<int64_t>{4096, 4095, 0, 0}),
            (std::vector<int64_t>{r->u.uifReg.nrOfElements, r->u.uifReg.to, r->u.uifReg.value, r->u.uifReg.index}));
        r = b.record(port, FG_SYSTEMMONITOR_CHANNEL_CURRENT);
        EXPECT_EQ((std::vector<double>{4, -100000.0, -100000.0}),
                  (std::vector<double>{double(r->u.dfReg.nrOfElements), r->u.dfReg.from, r->u.dfReg.value}));
        EXPECT_STREQ("*.lut", b.record(port, FG_LUT_CUSTOM_FILE)->u.sReg.FileExtension);
        EXPECT_EQ(nullptr, b.record(port, FG_APPLET_ID)->u.sReg.FileExtension);
        EXPECT_EQ(0x1p-52, b.record(port, FG_PROCESSING_GAIN)->u.dReg.steps);

        r = b.record(port, FG_CAMERASIMULATOR_PIXEL_FREQUENCY);
        EXPECT_EQ(1500.0, r->u.dReg.to) << "narrowed at start-up";
        EXPECT_EQ(2, r->rangeFlags);
    }
}
