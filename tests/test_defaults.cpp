// The default values written when a board is opened: the dependent state both
// ports are in afterwards, the order of the writes, and opening without
// defaults. The values themselves read back in the configuration file saved
// right after start-up (test_config), the lookup table of start-up in
// test_lookup_table.

#include "board_fixture.h"

using namespace orvtest;

namespace {

// One write as compared between the ports: name (port-0 form), type and value bits.
struct PortWrite {
    std::string name;
    int type;
    uint64_t u;
    uint64_t dbits;
    std::vector<uint64_t> field;
    bool operator==(const PortWrite& o) const {
        return name == o.name && type == o.type && u == o.u && dbits == o.dbits && field == o.field;
    }
};
std::ostream& operator<<(std::ostream& os, const PortWrite& w) {
    return os << "{" << w.name << " type " << w.type << " u " << w.u << " d-bits " << w.dbits << " field "
              << w.field.size() << "}";
}
PortWrite portWrite(const SimLogEntry& e) {
    PortWrite w;
    w.name = e.name ? e.name : "";
    if (w.name.compare(0, 17, "Device1_Process1_") == 0) w.name[15] = '0';
    w.type = e.type;
    w.u = e.u;
    std::memcpy(&w.dbits, &e.d, sizeof w.dbits);
    if (e.fieldValues) w.field.assign(e.fieldValues, e.fieldValues + e.fieldCount);
    return w;
}

}  // namespace

TEST(Defaults, DependentRangesAndSpeedModeFollowTheList) {
    Board board;
    ASSERT_TRUE(board.ok());
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE(::testing::Message() << "port " << port);
        EXPECT_EQ(15360u, uintMax(board, FG_XOFFSET, port));
        EXPECT_EQ(16384u, uintMax(board, FG_WIDTH, port));
        // Speed mode 1 (its line rate is in the configuration saved after start-up).
        for (int id : {FG_CAMERASIMULATOR_PIXEL_FREQUENCY, FG_CAMERASIMULATOR_FRAMERATE, FG_CAMERASIMULATOR_LINE_GAP})
            EXPECT_EQ(1, flagsOf(board, id, port)) << id;
        for (int id : {FG_CAMERASIMULATOR_LINERATE, FG_CAMERASIMULATOR_FRAME_GAP})
            EXPECT_EQ(7, flagsOf(board, id, port)) << id;
    }
}

// Port 0 is complete before port 1 starts, and port 1 gets the same writes.
TEST(Defaults, PortOneRepeatsPortZeroAfterIt) {
    Board board;
    ASSERT_TRUE(board.ok());
    EXPECT_EQ(0, board.lastError());
    std::vector<SimLogEntry> log = board.log();
    ASSERT_FALSE(log.empty());

    std::vector<PortWrite> port0, port1;
    for (const SimLogEntry& e : log) {
        ASSERT_LT(e.dma, 2u) << e.name;
        if (e.dma == 1)
            port1.push_back(portWrite(e));
        else {
            EXPECT_TRUE(port1.empty()) << "a port-0 write after port 1 began: " << e.name;
            port0.push_back(portWrite(e));
        }
        // A per-process design parameter is written with its own process as DMA index.
        const std::string name = e.name ? e.name : "";
        for (unsigned p = 0; p < 2; ++p) EXPECT_TRUE(name.compare(0, 17, dp(int(p), "")) != 0 || e.dma == p) << name;
    }
    EXPECT_EQ(port0, port1);

    // The list ends with the digital outputs of port 1.
    ASSERT_GE(log.size(), 2u);
    const std::vector<Write> expected = {u32w("Device1_Process2_Trigger_SetOut3_Mode", 1, 1),
                                         u32w("Device1_Process2_Trigger_SetOut7_Mode", 1, 1)};
    EXPECT_EQ(expected, writes({log[log.size() - 2], log[log.size() - 1]}));
}

TEST(Defaults, FlagBitZeroOpensWithoutWritingDefaults) {
    Board board(1);
    ASSERT_TRUE(board.ok());
    EXPECT_EQ(0, SimBoard_LogCount(board.dev()));
    EXPECT_EQ(0, board.lastError());
    // The caches keep their construction values.
    for (int port = 0; port < 2; ++port) EXPECT_EQ(3u, board.u32(FG_DIGIO_OUTPUT, port));
}

// A step whose design write fails is skipped quietly; the pass goes on with the
// remaining steps and the other port.
TEST(Defaults, FailingStepDoesNotStopThePass) {
    AppletLibrary lib;
    DirectBoard d(lib);
    auto lastError = lib.fn<decltype(&::Fg_getLastErrorNumber)>("Fg_getLastErrorNumber");
    auto get = lib.fn<decltype(&::Fg_getParameterWithType)>("Fg_getParameterWithType");
    ASSERT_TRUE(d.ok() && lastError && get) << dlerror();
    QORdevice* dev = d.dev;
    SimBoard_FailParameter(dev, "Device1_Process2_Trigger_SetOut7_Mode", 1, -4720);
    ASSERT_NE(nullptr, d.open(0));
    EXPECT_EQ(0, d.status);
    EXPECT_EQ(0, lastError(&d.fg));

    std::vector<Write> outputs;
    for (int i = 0, n = SimBoard_LogCount(dev); i < n; ++i) {
        SimLogEntry e;
        ASSERT_EQ(0, SimBoard_LogEntry(dev, i, &e));
        std::string name = e.name ? e.name : "";
        if (name.find("Trigger_SetOut") != std::string::npos) outputs.push_back({name, e.u, e.dma, e.type});
    }
    const std::vector<Write> expected = {u32w("Device1_Process2_Trigger_SetOut3_Mode", 1, 0),
                                         u32w("Device1_Process2_Trigger_SetOut3_Mode", 1, 1)};
    EXPECT_EQ(expected, outputs);
    for (unsigned port = 0; port < 2; ++port) {
        uint32_t v = 0;
        EXPECT_EQ(0, get(&d.fg, FG_DIGIO_OUTPUT, &v, port, FG_PARAM_TYPE_UINT32_T));
        EXPECT_EQ(3u, v);
    }
}
