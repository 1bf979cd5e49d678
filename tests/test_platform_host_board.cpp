// The host face of the simulated host runtime, continued: the description
// tree, events, acquisition and shading, the lifetime of handles, and the
// register I/O runtime on the same simulated device.

#include <gtest/gtest.h>

#include "host_face.h"

using namespace hostface;
using namespace platformtest;
using checktable::expectAll;
using checktable::expectNull;

// ---- description tree ------------------------------------------------------------------------

namespace {
std::vector<RegisterInfo*> leavesOf(RegisterInfo* firstGroup) {
    std::vector<RegisterInfo*> leaves;
    for (RegisterInfo* g = firstGroup; g != nullptr; g = g->next)
        leaves.insert(leaves.end(), g->u.gReg.elements, g->u.gReg.elements + g->u.gReg.nrOfElements);
    return leaves;
}
}  // namespace

TEST_F(HostFace, DescriptionTreeOfAPort) {
    RegisterInfo* root = Fg_getParameterInfo(fg_, 0);
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(root, Fg_getParameterInfo(fg_, 0)) << "built once, stays valid";
    RegisterInfo* prev = nullptr;
    int groups = 0;
    for (RegisterInfo* g = root; g != nullptr; prev = g, g = g->next, ++groups) {
        EXPECT_EQ(REG_FORMAT_GROUP, g->format);
        EXPECT_EQ(0, g->depth);
        EXPECT_EQ(prev, g->previous);
        EXPECT_GT(g->u.gReg.nrOfElements, 0);
        for (int i = 0; i < g->u.gReg.nrOfElements; ++i) {
            EXPECT_EQ(1, g->u.gReg.elements[i]->depth);
            EXPECT_STREQ(g->name, g->u.gReg.elements[i]->parentName);
        }
    }
    EXPECT_GE(groups, 2);
    std::map<std::string, const RegisterInfo*> leaves;
    for (RegisterInfo* r : leavesOf(root)) {
        ASSERT_NE(nullptr, r->parameterName);
        leaves[r->parameterName] = r;
        EXPECT_EQ(id(r->parameterName), r->id) << r->parameterName;
        EXPECT_EQ(0, r->port);
        EXPECT_NE(REG_FORMAT_GROUP, r->format);
    }
    // shared and loose parameters belong to every port, the other process to port 1
    for (const char* n : {kWidth0, kEnable, kBig, kPeriod, kLevel, kName, kOut, "Loose"})
        ASSERT_TRUE(leaves.count(n)) << n;
    EXPECT_FALSE(leaves.count(kWidth1));
    // format and access as the design declares them (RW 7, RO 1)
    const std::tuple<const char*, REG_FORMAT, int> kinds[] = {
        {kWidth0, REG_FORMAT_UINT, 7},   {kEnable, REG_FORMAT_ENUM, 7}, {kBig, REG_FORMAT_UINT64, 7},
        {kPeriod, REG_FORMAT_DOUBLE, 7}, {kLevel, REG_FORMAT_UINT, 1},  {kName, REG_FORMAT_STRING, 1}};
    for (const auto& k : kinds) {
        EXPECT_EQ(std::get<1>(k), leaves[std::get<0>(k)]->format) << std::get<0>(k);
        EXPECT_EQ(std::get<2>(k), leaves[std::get<0>(k)]->accessFlags) << std::get<0>(k);
    }
    EXPECT_EQ(1024u, leaves[kWidth0]->u.uiReg.value);
    ASSERT_EQ(2, leaves[kEnable]->u.eReg.nrOfElements);
    EXPECT_STREQ("On", leaves[kEnable]->u.eReg.enumNames[1]);
    EXPECT_EQ(1, leaves[kEnable]->u.eReg.enumValues[1]);
    EXPECT_STREQ("hello small world", leaves[kName]->u.sReg.string);

    RegisterInfo* port1 = Fg_getParameterInfo(fg_, 1);
    ASSERT_NE(nullptr, port1);
    bool hasWidth1 = false;
    for (RegisterInfo* r : leavesOf(port1)) {
        hasWidth1 |= std::string(r->parameterName) == kWidth1;
        EXPECT_EQ(1, r->port);
    }
    EXPECT_TRUE(hasWidth1);
    expectNull({Fg_getParameterInfo(fg_, 2), Fg_getParameterInfo(fg_, -1)});
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(fg_));
}

// ---- events, acquisition and shading --------------------------------------------------------

TEST_F(HostFace, EventsByNameAndMask) {
    EXPECT_EQ(uint64_t{1} << 5, Fg_getEventMask(fg_, "Device1_Process1_Overflow_Overflow"));
    EXPECT_EQ(uint64_t{1}, Fg_getEventMask(fg_, "Device1_Process0_Overflow_Overflow"));
    EXPECT_EQ(0u, Fg_getEventMask(fg_, "nope"));
    EXPECT_EQ(0u, Fg_getEventMask(fg_, nullptr));
    EXPECT_STREQ("Device1_Process0_Other_Event", Fg_getEventName(fg_, uint64_t{1} << 2));
    for (uint64_t mask : {uint64_t{0}, uint64_t{3}, uint64_t{1} << 3}) EXPECT_EQ(nullptr, Fg_getEventName(fg_, mask));
}

TEST_F(HostFace, AcquisitionCountsFramesAndCalls) {
    EXPECT_EQ(0, Fg_AcquireEx(fg_, 1, 3, 0, nullptr));
    EXPECT_EQ(1u, hostU32(FG_HOST_DMASTATUS, 1));
    EXPECT_EQ(0u, hostU32(FG_HOST_DMASTATUS, 0));
    EXPECT_EQ(1, Fg_getLastPicNumberEx(fg_, 1, nullptr));
    EXPECT_GT(hostU32(FG_HOST_TRANSFER_LEN, 1), 0u);
    EXPECT_EQ(3, Fg_getLastPicNumberBlockingEx(fg_, 3, 1, 1000, nullptr));
    EXPECT_EQ(0u, hostU32(FG_HOST_DMASTATUS, 1)) << "a finite acquisition ends after its last frame";
    EXPECT_EQ(3, Fg_getLastPicNumberEx(fg_, 1, nullptr));
    EXPECT_EQ(SIM_ERR_TIMEOUT, Fg_getLastPicNumberBlockingEx(fg_, 4, 1, 10, nullptr));
    EXPECT_EQ(3, Fg_getStatusEx(fg_, 0, 0, 1, nullptr));

    EXPECT_EQ(0, Fg_Acquire(fg_, 0, -1));  // endless
    for (int i = 1; i <= 5; ++i) EXPECT_EQ(i, Fg_getLastPicNumberEx(fg_, 0, nullptr));
    EXPECT_EQ(0, Fg_stopAcquireEx(fg_, 0, nullptr, 0));
    EXPECT_EQ(0u, hostU32(FG_HOST_DMASTATUS, 0));
    EXPECT_EQ(5, Fg_getLastPicNumberEx(fg_, 0, nullptr)) << "no frames after the stop";
    EXPECT_EQ(0, Fg_stopAcquire(fg_, 0));
    EXPECT_EQ(0, Fg_getAppletId(fg_, "Orvindel"));

    expectAll(FG_ERR_INVALID_PARAMETER,
              {Fg_AcquireEx(fg_, 2, 1, 0, nullptr), Fg_getLastErrorNumber(fg_), Fg_stopAcquireEx(fg_, -1, nullptr, 0),
               Fg_getLastPicNumberEx(fg_, 7, nullptr), Fg_getLastPicNumberBlockingEx(fg_, 1, 7, 1, nullptr),
               Fg_getStatusEx(fg_, 0, 0, 9, nullptr)});

    SimAcquisitionCounters c;
    SimBoard_GetAcquisitionCounters(dev_, &c);
    // acquire, stop, last picture number, status and applet id calls; running per DMA
    EXPECT_EQ((std::vector<int>{3, 3, 12, 2, 1, 0, 0}),
              (std::vector<int>{c.acquireCalls, c.stopCalls, c.lastPicNumberCalls, c.statusCalls, c.appletIdCalls,
                                c.running[0], c.running[1]}));
}

TEST_F(HostFace, ShadingAndConfigurationAreNotSupported) {
    EXPECT_EQ(nullptr, Fg_AllocShading(fg_, 0, 0));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Fg_getLastErrorNumber(fg_));
    for (int rc :
         {Fg_FreeShading(fg_, nullptr), Shad_SetSubValueLine(fg_, nullptr, 0, 0, 1.0f),
          Shad_SetMultValueLine(fg_, nullptr, 0, 0, 1.0f), Shad_SetFixedPatternNoiseLine(fg_, nullptr, 0, 0, 1),
          Shad_GetMaxLine(fg_, nullptr), Shad_GetAccess(fg_, nullptr), Shad_FreeAccess(fg_, nullptr),
          Shad_WriteActLine(fg_, nullptr, 0), Fg_saveConfig(fg_, "x.mcf"), Fg_loadConfig(fg_, "x.mcf")})
        EXPECT_EQ(FG_ERR_NOT_SUPPORTED, rc);
}

// ---- lifetime -----------------------------------------------------------------------------

TEST_F(HostFace, ReinitialisingADeviceStartsFromTheDesignAgain) {
    EXPECT_EQ(0, set(kWidth0, 77u));
    EXPECT_EQ(0, Fg_FreeGrabber(fg_));
    fg_ = Fg_InitHandleSlaveAware("again", dev_, design_, 0);
    ASSERT_NE(nullptr, fg_);
    EXPECT_EQ(1024u, u32(kWidth0));
    EXPECT_EQ(std::vector<std::string>{"Device1_Process0_Block_Width dma0 type2 77"}, writeLog(dev_))
        << "earlier log entries stay readable";
}

TEST(HostLifetime, HandleOutlivingItsDeviceIsRefusedAndStillFreed) {
    QORdevice* dev = SimBoard_CreateDevice(0);
    Design design(loadText(smallDesign()));
    Fg_Struct* fg = Fg_InitHandleSlaveAware("x", dev, design.get(), 0);
    ASSERT_NE(nullptr, fg);
    SimBoard_DestroyDevice(dev);
    uint32_t v = 0;
    expectAll(FG_ERR_INVALID_BOARD, {getValue(fg, FG_HOST_NR_OF_DMAS, v), Fg_getLastErrorNumber(fg)});
    EXPECT_EQ(nullptr, SimBoard_DeviceOfHostHandle(fg));
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
}

TEST_F(HostFace, ConcurrentCallsOnOneBoardAreSerialised) {
    const int before = SimBoard_HostCallCount(dev_);
    const int w0 = id(kWidth0), w1 = id(kWidth1);
    auto worker = [this](int pid, unsigned dma) {
        for (uint32_t i = 0; i < 2000; ++i) {
            uint32_t v = i;
            EXPECT_EQ(0, setValue(fg_, pid, v, dma));
            EXPECT_EQ(0, getValue(fg_, pid, v, dma));
            Fg_getLastPicNumberEx(fg_, static_cast<int>(dma), nullptr);
        }
    };
    std::thread a(worker, w0, 0u), b(worker, w1, 1u);
    a.join();
    b.join();
    EXPECT_EQ(before + 2 + 12000, SimBoard_HostCallCount(dev_));
    EXPECT_EQ(4000, SimBoard_LogCount(dev_));
    EXPECT_EQ(1999u, u32(kWidth0));
    EXPECT_EQ(1999u, u32(kWidth1, 1));
}

// ---- register I/O ----------------------------------------------------------------------

TEST_F(HostFace, RegisterValuesAreStoredAsWrittenWithoutMaskingAlsoInReadOnlyRegisters) {
    for (const auto& w :
         {std::make_pair(3, uint64_t{0x1FFF}), std::make_pair(10, ~uint64_t{0}), std::make_pair(11, uint64_t{5})}) {
        EXPECT_EQ(0, TervikRegisterWrite(dev_, w.first, w.second));
        EXPECT_EQ(w.second, reg(w.first));
    }
    uint64_t v = 0;
    EXPECT_EQ(0, SimBoard_GetRegister(dev_, 3, &v));
    EXPECT_EQ(0x1FFFu, v);
    EXPECT_EQ(0, SimBoard_SetRegister(dev_, 10, 7));  // a board-side change
    EXPECT_EQ(7u, reg(10));
}

TEST_F(HostFace, UnknownRegistersAndRegistersOfMissingBoardsFail) {
    uint64_t v = 42;
    for (int number : {0, 1, 2, 4, -3, 1000000}) {
        EXPECT_LT(TervikRegisterWrite(dev_, number, 1), 0) << number;
        EXPECT_LT(TervikRegisterRead(dev_, number, &v), 0) << number;
    }
    EXPECT_EQ(42u, v);
    expectAll(FG_ERR_INVALID_PARAMETER, {SimBoard_SetRegister(dev_, 4, 1), SimBoard_GetRegister(dev_, 4, &v)});
    QORdevice* bare = SimBoard_CreateDevice(3);  // a device without a board has no registers
    for (int rc :
         {TervikRegisterWrite(nullptr, 3, 1), TervikRegisterRead(nullptr, 3, &v), TervikRegisterRead(dev_, 3, nullptr),
          TervikRegisterWrite(bare, 1, 1), TervikRegisterRead(bare, 1, &v)})
        EXPECT_LT(rc, 0);
    SimBoard_DestroyDevice(bare);
}

TEST_F(HostFace, InjectedRegisterFailuresAffectReadsAndWritesUntilCleared) {
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 1));
    SimBoard_FailRegisters(dev_, -901);
    uint64_t v = 99;
    expectAll(-901, {TervikRegisterWrite(dev_, 3, 2), TervikRegisterRead(dev_, 3, &v)});
    EXPECT_EQ(99u, v);
    SimBoard_FailRegisters(dev_, 0);
    EXPECT_EQ(1u, reg(3)) << "the failed write changed nothing";
    SimBoard_FailRegisters(dev_, -902);
    SimBoard_ClearFaults(dev_);
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 2));
}

TEST(HostRegisters, EveryRegisterOfTheGeneratedDesignIsReachableByItsNumber) {
    Board b(loadImage());
    ASSERT_NE(nullptr, b.fg);
    for (int pos = 1; pos <= HapGetNrOfRegister(b.design); ++pos) {
        const int number = HapGetRegisterByName(b.design, HapGetRegisterName(b.design, pos));
        const uint64_t value = 0x100u + static_cast<unsigned>(pos);
        EXPECT_EQ(0, TervikRegisterWrite(b.dev, number, value)) << number;
        uint64_t v = 0;
        EXPECT_EQ(0, TervikRegisterRead(b.dev, number, &v));
        EXPECT_EQ(value, v);
    }
}
