// Digital I/O, frame-buffer status, board monitor and applet identity, seen
// through the typed parameter access of an opened board and the simulated
// board's design values and write log.

#include "board_fixture.h"

using namespace orvtest;

namespace {

const char kOut3[] = "Device1_Process2_Trigger_SetOut3_Mode";
const char kOut7[] = "Device1_Process2_Trigger_SetOut7_Mode";
const char kInputStatus[] = "Device1_Process2_Trigger_InputStatus_Status";

class IoStatus : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(board.ok());
        board.clearLog();
    }
    void TearDown() override {
        if (board.ok()) SimBoard_ClearFaults(board.dev());
    }

    std::string designText(const char* name) {
        char buf[512];
        std::memset(buf, 0, sizeof buf);
        EXPECT_EQ(0, SimBoard_GetValue(board.dev(), name, FG_PARAM_TYPE_CHAR_PTR, buf)) << name;
        return buf;
    }
    // The buffer-status design values of one port.
    void setBuffer(int port, uint32_t overflow, uint32_t fill0, uint32_t fill1) {
        board.setDesignU32(dp(port, "Overflow_OverflowOccurred").c_str(), overflow);
        board.setDesignU32(dp(port, "Buffer_0_DRAM_A_0_FillLevel").c_str(), fill0);
        board.setDesignU32(dp(port, "Buffer_0_DRAM_A_1_FillLevel").c_str(), fill1);
    }

    Board board;
};

// Both bits go to the shared outputs with the port as DMA index; each port
// remembers its own value while the outputs show the last write; values above
// three change nothing.
TEST_F(IoStatus, DigitalOutputWritesBothBitsToTheSharedOutputsWithThePortAsDma) {
    for (int port = 0; port < 2; ++port) {
        for (uint32_t v = 0; v <= 3; ++v) {
            std::vector<Write> expected = {u32w(kOut3, v & 1, port), u32w(kOut7, (v >> 1) & 1, port)};
            EXPECT_EQ(expected, writesOf(board, FG_DIGIO_OUTPUT, v, port));
            EXPECT_EQ(v, board.u32(FG_DIGIO_OUTPUT, port));
        }
    }
    ASSERT_EQ(0, board.set(FG_DIGIO_OUTPUT, 1, 0));
    ASSERT_EQ(0, board.set(FG_DIGIO_OUTPUT, 2, 1));
    EXPECT_EQ(1u, board.u32(FG_DIGIO_OUTPUT, 0));
    EXPECT_EQ(2u, board.u32(FG_DIGIO_OUTPUT, 1));
    EXPECT_EQ(0u, board.designU32(kOut3));
    EXPECT_EQ(1u, board.designU32(kOut7));
    for (uint32_t bad : {4u, 7u, 0x80000000u, 0xFFFFFFFFu})
        for (int port = 0; port < 2; ++port) expectRejected(board, FG_DIGIO_OUTPUT, bad, port);
}

TEST_F(IoStatus, DigitalInputIsReadLiveOnBothPorts) {
    for (uint32_t v : {0u, 0x5Au, 0xFFu}) {
        board.setDesignU32(kInputStatus, v);
        EXPECT_EQ(v, board.u32(FG_DIGIO_INPUT, 0));
        EXPECT_EQ(v, board.u32(FG_DIGIO_INPUT, 1));
    }
    SimBoard_FailParameter(board.dev(), kInputStatus, 0, -4714);
    uint32_t v = 0;
    EXPECT_EQ(-4714, board.get(FG_DIGIO_INPUT, &v, 1));
    EXPECT_EQ(-4714, board.lastError());
}

struct BufferCase {
    uint32_t overflow, fill0, fill1;
    uint32_t fillLevel, extended;
};

TEST_F(IoStatus, FillLevelAndStatusWordFollowTheBufferOfEachPort) {
    const BufferCase cases[] = {
        {1, 0, 0, 100, 0xE1}, {1, 30, 10, 100, 0xE1}, {0, 30, 10, 30, 0x41}, {0, 10, 30, 30, 0x41},
        {0, 0, 0, 0, 0x01},   {0, 24, 0, 24, 0x01},   {0, 25, 0, 25, 0x41},  {0, 0, 49, 49, 0x41},
        {0, 50, 0, 50, 0x81}, {0, 74, 74, 74, 0x81},  {0, 75, 0, 75, 0xC1},  {0, 0, 100, 100, 0xC1},
    };
    for (int port = 0; port < 2; ++port) {
        const int other = 1 - port;
        for (const BufferCase& c : cases) {
            setBuffer(port, c.overflow, c.fill0, c.fill1);
            // The other port's buffer is in a different state and must not show through.
            setBuffer(other, c.overflow ^ 1u, 60, 5);
            SCOPED_TRACE(::testing::Message()
                         << "port " << port << " overflow " << c.overflow << " fill " << c.fill0 << "/" << c.fill1);
            EXPECT_EQ(c.overflow, board.u32(FG_OVERFLOW, port));
            EXPECT_EQ(c.fillLevel, board.u32(FG_FILLLEVEL, port));
            EXPECT_EQ(c.extended, board.u32(FG_CAMSTATUS_EXTENDED, port));
            EXPECT_EQ(1u, board.u32(FG_CAMSTATUS, port));
        }
    }
    EXPECT_TRUE(board.log().empty()) << "status reads write nothing";
}

TEST_F(IoStatus, OverflowMakesTheBufferFullWithoutReadingTheBanks) {
    setBuffer(0, 1, 3, 4);
    SimBoard_FailParameter(board.dev(), dp(0, "Buffer_0_DRAM_A_1_FillLevel").c_str(), 0, -4715);
    EXPECT_EQ(100u, board.u32(FG_FILLLEVEL, 0));
    EXPECT_EQ(0xE1u, board.u32(FG_CAMSTATUS_EXTENDED, 0));

    board.setDesignU32(dp(0, "Overflow_OverflowOccurred").c_str(), 0);
    uint32_t v = 0;
    EXPECT_EQ(-4715, board.get(FG_FILLLEVEL, &v, 0));
    EXPECT_EQ(-4715, board.get(FG_CAMSTATUS_EXTENDED, &v, 0));
    EXPECT_EQ(-4715, board.get(FG_CAMSTATUS, &v, 0));
    EXPECT_EQ(-4715, board.lastError());
    // Port 1 reads its own banks.
    setBuffer(1, 0, 40, 20);
    EXPECT_EQ(40u, board.u32(FG_FILLLEVEL, 1));
    // A failing overflow read fails every status of the port, and only of it.
    SimBoard_ClearFaults(board.dev());
    SimBoard_FailParameter(board.dev(), dp(1, "Overflow_OverflowOccurred").c_str(), 0, -4716);
    for (int id : {FG_OVERFLOW, FG_FILLLEVEL, FG_CAMSTATUS_EXTENDED, FG_CAMSTATUS})
        EXPECT_EQ(-4716, board.get(id, &v, 1)) << id;
    setBuffer(0, 0, 30, 10);
    EXPECT_EQ(0x41u, board.u32(FG_CAMSTATUS_EXTENDED, 0));
}

TEST_F(IoStatus, DmaStatusIsTheHostsOwn) {
    EXPECT_EQ(0u, board.u32(FG_DMASTATUS, 0));
    EXPECT_EQ(0u, board.u32(FG_DMASTATUS, 1));
    ASSERT_EQ(0, Fg_AcquireEx(board.fg(), 1, 0, 0, nullptr));
    EXPECT_EQ(0u, board.u32(FG_DMASTATUS, 0));
    EXPECT_EQ(1u, board.u32(FG_DMASTATUS, 1));
    ASSERT_EQ(0, Fg_stopAcquireEx(board.fg(), 1, nullptr, 0));
    EXPECT_EQ(0u, board.u32(FG_DMASTATUS, 1));
}

TEST_F(IoStatus, IdentityTextsAndTheirReadFailure) {
    const std::string uid = designText("Device1_Process0_AppletProperties_AppletUid");
    const std::string built = designText("Device1_Process0_AppletProperties_BuildTime");
    EXPECT_FALSE(uid.empty());
    EXPECT_FALSE(built.empty());
    for (int port = 0; port < 2; ++port) {
        EXPECT_EQ(uid, board.text(FG_APPLET_ID, port));
        EXPECT_EQ(built, board.text(FG_APPLET_BUILD_TIME, port));
        EXPECT_EQ("Orvindel.hap", board.text(FG_HAP_FILE, port));
    }
    // The design file name is copied with its terminator and nothing beyond.
    char buf[32];
    std::memset(buf, 'x', sizeof buf);
    ASSERT_EQ(0, Fg_getParameterWithType(board.fg(), FG_HAP_FILE, buf, 1, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(0, std::memcmp(buf, "Orvindel.hap", 13));
    EXPECT_EQ('x', buf[13]) << "nothing beyond the terminating zero is written";
    // A failing read of one text does not fail the others.
    SimBoard_FailParameter(board.dev(), "Device1_Process0_AppletProperties_BuildTime", 0, -4717);
    char text[256] = {0};
    EXPECT_EQ(-4717, Fg_getParameterWithType(board.fg(), FG_APPLET_BUILD_TIME, text, 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(0, Fg_getParameterWithType(board.fg(), FG_APPLET_ID, text, 0, FG_PARAM_TYPE_CHAR_PTR));
}

TEST_F(IoStatus, ReadOnlyParametersRefuseWritesAndConstantsKeepTheirValue) {
    const std::pair<int, uint32_t> constants[] = {{FG_APPLET_VERSION, 3}, {FG_APPLET_REVISION, 0},
                                                  {FG_PIXELDEPTH, 12},    {FG_LUT_IMPLEMENTATION_TYPE, 0},
                                                  {FG_LUT_IN_BITS, 12},   {FG_LUT_OUT_BITS, 12}};
    const int readOnly[] = {FG_DIGIO_INPUT,
                            FG_OVERFLOW,
                            FG_FILLLEVEL,
                            FG_CAMSTATUS,
                            FG_CAMSTATUS_EXTENDED,
                            FG_DMASTATUS,
                            FG_TRANSFER_LEN,
                            FG_NR_OF_DMAS,
                            FG_APPLET_ID,
                            FG_SYSTEMMONITOR_FPGA_TEMPERATURE,
                            FG_SYSTEMMONITOR_FPGA_DNA,
                            FG_SYSTEMMONITOR_CHANNEL_CURRENT,
                            FG_SYSTEMMONITOR_CHANNEL_VOLTAGE};
    for (int port = 0; port < 2; ++port) {
        for (const auto& c : constants) {
            expectRejected(board, c.first, c.second + 1, port, FG_ERR_NOT_AVAILABLE);
            EXPECT_EQ(c.second, board.u32(c.first, port)) << c.first;
            EXPECT_EQ(0, board.lastError()) << "a successful read clears the error store";
        }
        for (int id : readOnly) {
            EXPECT_EQ(FG_ERR_NOT_AVAILABLE, board.set(id, 1, port)) << id;
            EXPECT_EQ(FG_ERR_NOT_AVAILABLE, board.lastError()) << id;
        }
    }
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, board.setText(FG_APPLET_ID, "x", 0));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, board.setText(FG_HAP_FILE, "x", 1));
    EXPECT_TRUE(board.log().empty());
}

TEST_F(IoStatus, MonitorValuesAreHandedThroughUnscaled) {
    struct Monitor {
        int id;
        const char* design;
        double value;
    };
    const Monitor monitors[] = {
        {FG_SYSTEMMONITOR_FPGA_TEMPERATURE, "Device1_Process0_BoardStatus_FpgaTemperature", 47.3125},
        {FG_SYSTEMMONITOR_FPGA_VCC_INT, "Device1_Process0_BoardStatus_FpgaVccInt", 0.998046875},
        {FG_SYSTEMMONITOR_FPGA_VCC_AUX, "Device1_Process0_BoardStatus_FpgaVccAux", 1.7998046875},
        {FG_SYSTEMMONITOR_BOARD_POWER, "Device1_Process0_BoardStatus_BoardPower", 12.1},
        {FG_SYSTEMMONITOR_CXP_CHIP_TEMPERATURE, "Device1_Process0_BoardStatus_CxpChipTemperature", 51.75},
        {FG_SYSTEMMONITOR_RAM_CHIP_TEMPERATURE, "Device1_Process0_BoardStatus_RamChipTemperature", -3.5},
        {FG_SYSTEMMONITOR_CXP_POWER_REGULATOR_TEMPERATURE, "Device1_Process0_BoardStatus_CxpPowerRegulatorTemperature",
         66.6},
        {FG_SYSTEMMONITOR_POWER_REGULATOR_TEMPERATURE, "Device1_Process0_BoardStatus_PowerRegulatorTemperature",
         70.0625},
    };
    for (const Monitor& m : monitors)
        ASSERT_EQ(0, SimBoard_SetValue(board.dev(), m.design, FG_PARAM_TYPE_DOUBLE, &m.value)) << m.design;
    for (int port = 0; port < 2; ++port)
        for (const Monitor& m : monitors) EXPECT_EQ(m.value, board.dbl(m.id, port)) << m.design;

    const uint64_t dnaValue = 0x0123456789ABCDEFull;
    ASSERT_EQ(
        0, SimBoard_SetValue(board.dev(), "Device1_Process0_BoardStatus_FpgaDNA", FG_PARAM_TYPE_UINT64_T, &dnaValue));
    for (int port = 0; port < 2; ++port) {
        uint64_t dna = 0;
        EXPECT_EQ(0,
                  Fg_getParameterWithType(board.fg(), FG_SYSTEMMONITOR_FPGA_DNA, &dna, port, FG_PARAM_TYPE_UINT64_T));
        EXPECT_EQ(0x0123456789ABCDEFull, dna);
    }
    SimBoard_FailParameter(board.dev(), "Device1_Process0_BoardStatus_BoardPower", 0, -4718);
    double d = 0;
    EXPECT_EQ(-4718, board.getD(FG_SYSTEMMONITOR_BOARD_POWER, &d, 1));
    EXPECT_EQ(-4718, board.lastError());
    EXPECT_EQ(0, board.getD(FG_SYSTEMMONITOR_FPGA_TEMPERATURE, &d, 1));
    EXPECT_EQ(0, board.lastError());
}

class ChannelFields : public IoStatus, public ::testing::WithParamInterface<int> {
protected:
    const char* design() const {
        return GetParam() == FG_SYSTEMMONITOR_CHANNEL_CURRENT ? "Device1_Process0_BoardStatus_ChannelCurrent"
                                                              : "Device1_Process0_BoardStatus_ChannelVoltage";
    }
    int readElement(unsigned index, double* out, int port) {
        FieldParameterDouble e;
        e.value = -1.0;
        e.index = index;
        int r = Fg_getParameterWithType(board.fg(), GetParam(), &e, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE);
        *out = e.value;
        return r;
    }
    int readAccess(unsigned index, unsigned count, double* out, int port) {
        FieldParameterAccess a = fieldAccess(FG_PARAM_TYPE_DOUBLE, index, count, out);
        return Fg_getParameterWithType(board.fg(), GetParam(), &a, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
    }
    const double values[4] = {0.25, 1.5, 2.75, 12.125};
};

// Access records must stay inside the four channels; single elements (the
// rows of one element) are read through element records as well.
TEST_P(ChannelFields, ReadsMustStayInsideTheFourChannels) {
    for (unsigned i = 0; i < 4; ++i) ASSERT_EQ(0, SimBoard_SetFieldElement(board.dev(), design(), i, values[i]));
    typedef std::vector<std::pair<unsigned, unsigned>> Ranges;  // index, count
    const Ranges inside = {{0, 4}, {2, 2}, {0, 1}, {1, 1}, {2, 1}, {3, 1}};
    const Ranges outside = {{2, 3}, {0, 5},           {4, 0},           {4, 1},           {5, 1},
                            {1, 4}, {0x80000000u, 1}, {0xFFFFFFFFu, 1}, {0xFFFFFFFFu, 2}, {1, 0xFFFFFFFFu}};
    for (int port = 0; port < 2; ++port) {
        for (const bool ok : {true, false}) {
            for (const auto& r : ok ? inside : outside) {
                SCOPED_TRACE(::testing::Message() << r.first << "+" << r.second << " port " << port);
                double out[8];
                for (double& d : out) d = -99.0;
                EXPECT_EQ(ok ? 0 : FG_ERR_INVALID_PARAMETER, readAccess(r.first, r.second, out, port));
                for (unsigned k = 0; ok && k < r.second; ++k) EXPECT_EQ(values[r.first + k], out[k]);
                EXPECT_EQ(-99.0, out[ok ? r.second : 0]) << "nothing written beyond the request";
                if (r.second != 1) continue;
                double v = 0;
                EXPECT_EQ(ok ? 0 : FG_ERR_INVALID_PARAMETER, readElement(r.first, &v, port));
                EXPECT_EQ(ok ? 0 : FG_ERR_INVALID_PARAMETER, board.lastError());
                EXPECT_TRUE(!ok || values[r.first] == v) << v;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Monitor, ChannelFields,
                         ::testing::Values(int(FG_SYSTEMMONITOR_CHANNEL_CURRENT),
                                           int(FG_SYSTEMMONITOR_CHANNEL_VOLTAGE)));

}  // namespace
