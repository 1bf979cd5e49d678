// The host face of the simulated host runtime: what an applet sees on the host
// board handle it gets from Fg_InitHandleSlaveAware; and the register I/O
// runtime on the same simulated device.

#include <gtest/gtest.h>

#include "host_face.h"

using namespace hostface;
using namespace platformtest;
using checktable::expectAll;
using checktable::expectNull;

// ---- board initialisation and identities ---------------------------------------------

TEST(HostInit, RefusesMissingDeviceOrDesignAndInjectedFailures) {
    Design design(loadText(smallDesign()));
    ASSERT_NE(nullptr, design);
    EXPECT_EQ(nullptr, Fg_InitHandleSlaveAware("x", nullptr, design.get(), 0));
    EXPECT_LT(Fg_getLastErrorNumber(nullptr), 0);
    QORdevice* dev = SimBoard_CreateDevice(1);
    EXPECT_EQ(nullptr, Fg_InitHandleSlaveAware("x", dev, nullptr, 0));
    EXPECT_LT(Fg_getLastErrorNumber(nullptr), 0);
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(dev));
    SimBoard_FailInit(dev, -321);
    EXPECT_EQ(nullptr, Fg_InitHandleSlaveAware("x", dev, design.get(), 0));
    EXPECT_EQ(-321, Fg_getLastErrorNumber(nullptr));
    SimBoard_FailInit(dev, 0);
    Fg_Struct* fg = Fg_InitHandle("x", dev, design.get());
    ASSERT_NE(nullptr, fg);
    EXPECT_EQ(fg, SimBoard_HostHandleOf(dev));
    EXPECT_EQ(dev, SimBoard_DeviceOfHostHandle(fg));
    EXPECT_EQ(nullptr, fg->Master);
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(dev));
    SimBoard_DestroyDevice(dev);
}

TEST_F(HostFace, DesignParametersGetDistinctIdentitiesClearOfHostAndSdkNumbers) {
    std::set<int> ids;
    for (int i = 0; i < HapGetNrOfParameter(design_); ++i) {
        const char* name = HapGetParameter(design_, i)->name;
        EXPECT_GE(id(name), 1000000) << name;
        EXPECT_EQ(id(name), SimBoard_ParameterId(dev_, name));
        ids.insert(id(name));
    }
    EXPECT_EQ(static_cast<size_t>(HapGetNrOfParameter(design_)), ids.size());
    EXPECT_EQ(HapGetNrOfParameter(design_), Fg_getNrOfParameter(fg_));
    EXPECT_STREQ(kWidth0, Fg_getParameterName(fg_, 0));
    EXPECT_EQ(id(kWidth0), Fg_getParameterId(fg_, 0));
    EXPECT_EQ(nullptr, Fg_getParameterName(fg_, 13));
    EXPECT_LT(Fg_getParameterId(fg_, -1), 0);
    // unknown names answer 0; host-level parameters go by their SDK names
    for (const char* unknown :
         {"Device1_Process0_No_Such", "", static_cast<const char*>(nullptr), "device1_process0_block_width"})
        EXPECT_EQ(0, id(unknown));
    EXPECT_EQ(0, SimBoard_ParameterId(dev_, "nope"));
    EXPECT_EQ(FG_HOST_TIMEOUT, id("FG_TIMEOUT"));
    EXPECT_EQ(FG_HOST_DMASTATUS, id("FG_DMASTATUS"));
}

// ---- typed writes and reads ------------------------------------------------------------

TEST_F(HostFace, UnsignedParameterConvertsBetweenTypes) {
    EXPECT_EQ(1024u, u32(kWidth0));
    EXPECT_EQ(2048u, u32(kWidth1));
    EXPECT_EQ(0, set(kWidth0, 4000u));
    for (const std::string& v : {as<uint64_t>(kWidth0), as<double>(kWidth0), as<int32_t>(kWidth0)})
        EXPECT_EQ("4000", v);
    size_t sz = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), &sz, 0, FG_PARAM_TYPE_SIZE_T));
    EXPECT_EQ(4000u, sz);

    EXPECT_EQ(0, set(kWidth0, 2047.6));
    EXPECT_EQ(2048u, u32(kWidth0));
    EXPECT_EQ(0, set(kWidth0, int64_t{77}));
    EXPECT_EQ(77u, u32(kWidth0));

    // values that do not fit are refused and change nothing; value types the parameter has no use for
    expectAll(FG_ERR_VALUE_OUT_OF_RANGE, {set(kWidth0, int32_t{-1}), set(kWidth0, uint64_t{1} << 32),
                                          set(kWidth0, std::numeric_limits<double>::quiet_NaN())});
    EXPECT_EQ(77u, u32(kWidth0));
    expectAll(
        FG_ERR_INVALID_PARAMETER,
        {setText(kWidth0, "12"), Fg_setParameterWithType(fg_, id(kWidth0), &sz, 0, static_cast<FgParamTypes>(99))});
}

TEST_F(HostFace, ReadsWriteExactlyTheSizeOfTheType) {
    const struct {
        int pid;
        FgParamTypes type;
        size_t size;
        uint64_t value;
    } cases[] = {{id(kWidth0), FG_PARAM_TYPE_UINT32_T, 4, 1024},
                 {id(kWidth0), FG_PARAM_TYPE_UINT64_T, 8, 1024},
                 {FG_HOST_NR_OF_DMAS, FG_PARAM_TYPE_UINT32_T, 4, 2},
                 {FG_HOST_NR_OF_DMAS, FG_PARAM_TYPE_INT64_T, 8, 2}};
    for (const auto& c : cases) {
        unsigned char buf[16];
        std::memset(buf, 0xAB, sizeof buf);
        EXPECT_EQ(0, Fg_getParameterWithType(fg_, c.pid, buf, 0, c.type));
        EXPECT_EQ(0xAB, buf[c.size]) << c.pid << " " << c.type;
        uint64_t v = 0;
        std::memcpy(&v, buf, c.size);
        EXPECT_EQ(c.value, v) << c.pid << " " << c.type;
    }
}

TEST_F(HostFace, WideAndDoubleParameters) {
    EXPECT_EQ("137438953471", as<uint64_t>(kBig));  // 0x1FFFFFFFFF
    EXPECT_EQ("rc -6000", as<uint32_t>(kBig));
    EXPECT_EQ(0, set(kBig, ~uint64_t{0}));
    EXPECT_EQ("18446744073709551615", as<uint64_t>(kBig));

    EXPECT_EQ("12.5", as<double>(kPeriod));
    EXPECT_EQ(13u, u32(kPeriod)) << "doubles are rounded to the nearest integer";
    EXPECT_EQ(0, set(kPeriod, 7u));
    EXPECT_EQ("7", as<double>(kPeriod));
    double period = 0;
    EXPECT_EQ(0, set(kPeriod, 0.112, 1));
    EXPECT_EQ(0, get(kPeriod, period, 1));
    EXPECT_EQ(0.112, period);
}

TEST_F(HostFace, TextParameters) {
    EXPECT_EQ("hello small world", text(kName));
    EXPECT_EQ(0, setText(kNote, "a note"));
    EXPECT_EQ("a note", text(kNote));
    uint32_t v = 0;
    expectAll(FG_ERR_INVALID_PARAMETER, {get(kNote, v), set(kNote, v)});
    std::string longText(256, 'L');
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, setText(kNote, longText.c_str()));
    longText.pop_back();
    EXPECT_EQ(0, setText(kNote, longText.c_str()));
    EXPECT_EQ(longText, text(kNote));
}

TEST_F(HostFace, AutoAndUntypedAccessUseTheParametersOwnType) {
    uint32_t w = 640;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kWidth0), &w, 0, FG_PARAM_TYPE_AUTO));
    EXPECT_EQ(640u, u32(kWidth0));
    double p = 3.25, back = 0;
    EXPECT_EQ(0, Fg_setParameter(fg_, id(kPeriod), &p, 0));
    EXPECT_EQ(0, Fg_getParameter(fg_, id(kPeriod), &back, 0));
    EXPECT_EQ(3.25, back);
    for (const auto& want : {std::make_pair(id(kWidth0), 640u), std::make_pair(int(FG_HOST_NR_OF_CAMS), 2u)}) {
        uint32_t out = 0;
        EXPECT_EQ(0, Fg_getParameter(fg_, want.first, &out, 0));
        EXPECT_EQ(want.second, out) << want.first;
    }
}

// ---- field parameters ------------------------------------------------------------------

TEST_F(HostFace, FieldAccessRecordsWriteAndReadRanges) {
    uint32_t in[3] = {10, 20, 30};
    EXPECT_EQ(0, set(kValues, fieldAccess(FG_PARAM_TYPE_UINT32_T, 2, 3, in)));
    uint64_t out[8];
    std::memset(out, 0xFF, sizeof out);
    FieldParameterAccess r = fieldAccess(FG_PARAM_TYPE_UINT64_T, 0, 8, out);
    EXPECT_EQ(0, get(kValues, r));
    const uint64_t expected[8] = {1, 2, 10, 20, 30, 0, 0, 0};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(expected[i], out[i]) << i;

    // the element type FIELDPARAMINT is a 32-bit element, doubles are rounded
    uint32_t one[1] = {99};
    EXPECT_EQ(0, set(kValues, fieldAccess(FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, 7, 1, one)));
    double dbl[2] = {5.4, 6.6};
    EXPECT_EQ(0, set(kValues, fieldAccess(FG_PARAM_TYPE_DOUBLE, 5, 2, dbl)));
    FieldParameterInt e{0, 7};
    for (FieldParameterInt want : {FieldParameterInt{99, 7}, FieldParameterInt{7, 6}}) {
        e.index = want.index;
        EXPECT_EQ(0, get(kValues, e));
        EXPECT_EQ(want.value, e.value) << want.index;
    }
}

TEST_F(HostFace, FieldBoundsAndRecordsAreChecked) {
    uint32_t in[9] = {0};
    int32_t neg[1] = {-5};
    const struct {
        FgParamTypes vtype;
        unsigned index, count;
        void* elements;
        int expected;
    } writes[] = {{FG_PARAM_TYPE_UINT32_T, 8, 1, in, FG_ERR_INVALID_PARAMETER},
                  {FG_PARAM_TYPE_UINT32_T, 6, 3, in, FG_ERR_INVALID_PARAMETER},
                  {FG_PARAM_TYPE_UINT32_T, 0xFFFFFFFFu, 2, in, FG_ERR_INVALID_PARAMETER},
                  {FG_PARAM_TYPE_UINT32_T, 6, 2, in, 0},
                  {FG_PARAM_TYPE_UINT32_T, 3, 0, in, 0},  // an empty range is a no-op
                  {FG_PARAM_TYPE_UINT32_T, 3, 1, nullptr, FG_ERR_INVALID_PARAMETER},
                  {FG_PARAM_TYPE_CHAR_PTR, 3, 1, in, FG_ERR_INVALID_PARAMETER},
                  {FG_PARAM_TYPE_INT32_T, 3, 1, neg, FG_ERR_VALUE_OUT_OF_RANGE}};
    for (const auto& w : writes)
        EXPECT_EQ(w.expected, set(kValues, fieldAccess(w.vtype, w.index, w.count, w.elements)))
            << w.vtype << " " << w.index << "+" << w.count;
    FieldParameterAccess all = fieldAccess(FG_PARAM_TYPE_UINT32_T, 0, 9, in);

    // a field is not a single value, and a single value is not a field
    expectAll(FG_ERR_INVALID_PARAMETER, {get(kValues, all), set(kValues, FieldParameterInt{5, 8}), set(kValues, 1u),
                                         set(kWidth0, FieldParameterInt{5, 7}), get(kWidth0, all)});
    EXPECT_EQ(0, set(kValues, FieldParameterInt{5, 7}));
}

// ---- refusals ------------------------------------------------------------------------

TEST_F(HostFace, ReadOnlyDesignParametersRefuseWritesButTheBoardCanSetThem) {
    expectAll(FG_ERR_NOT_AVAILABLE,
              {set(kLevel, 9u), Fg_getLastErrorNumber(fg_), set(kTemperature, 80.0), setText(kName, "x")});
    EXPECT_EQ(7u, u32(kLevel));
    EXPECT_EQ(0, SimBoard_LogCount(dev_));

    uint32_t v = 9;
    double t = 80.0, back = 0;
    char buf[256];
    EXPECT_EQ(0, SimBoard_SetValue(dev_, kLevel, FG_PARAM_TYPE_UINT32_T, &v));
    EXPECT_EQ(9u, u32(kLevel));
    EXPECT_EQ(0, SimBoard_SetValue(dev_, kTemperature, FG_PARAM_TYPE_DOUBLE, &t));
    EXPECT_EQ(0, SimBoard_GetValue(dev_, kTemperature, FG_PARAM_TYPE_DOUBLE, &back));
    EXPECT_EQ(80.0, back);
    EXPECT_EQ(0, SimBoard_SetValue(dev_, kName, FG_PARAM_TYPE_CHAR_PTR, "renamed"));
    EXPECT_EQ(0, SimBoard_GetValue(dev_, kName, FG_PARAM_TYPE_CHAR_PTR, buf));
    EXPECT_STREQ("renamed", buf);
    EXPECT_EQ(0, SimBoard_LogCount(dev_)) << "board-side changes are not logged";
    expectAll(FG_ERR_INVALID_PARAMETER, {SimBoard_SetValue(dev_, "nope", FG_PARAM_TYPE_UINT32_T, &v),
                                         SimBoard_SetValue(dev_, kValues, FG_PARAM_TYPE_UINT32_T, &v),
                                         SimBoard_GetValue(dev_, kLevel, FG_PARAM_TYPE_UINT32_T, nullptr)});
}

TEST_F(HostFace, NullValuesAndUnknownIdentitiesAreRefused) {
    uint32_t v = 1;
    const FgParamTypes u = FG_PARAM_TYPE_UINT32_T;
    expectAll(FG_ERR_INVALID_PARAMETER,
              {Fg_setParameterWithType(fg_, id(kWidth0), nullptr, 0, u),
               Fg_getParameterWithType(fg_, id(kWidth0), nullptr, 0, u), Fg_getLastErrorNumber(fg_),
               Fg_setParameterWithType(fg_, FG_HOST_TIMEOUT, nullptr, 0, u)});
    for (int bad : {0, -1, 100, 1047000, 1048576 + 13, 2000000})
        expectAll(FG_ERR_INVALID_PARAMETER, {setValue(fg_, bad, v), getValue(fg_, bad, v)});
    EXPECT_EQ(0, SimBoard_LogCount(dev_));
}

TEST(HostHandles, CallsWithoutAHostBoardAreRefused) {
    uint32_t v = 0;
    expectAll(FG_ERR_INVALID_BOARD, {setValue(nullptr, 1048576, v), getValue(nullptr, 1048576, v),
                                     Fg_FreeGrabber(nullptr), Fg_AcquireEx(nullptr, 0, 1, 0, nullptr)});
    EXPECT_EQ(nullptr, Fg_getParameterInfo(nullptr, 0));
    EXPECT_EQ(0u, Fg_getEventMask(nullptr, "x"));
    // a board structure that is not one of the runtime's handles
    struct {
        Fg_Struct pub;
        uint32_t tag;
        uint32_t pad[8];
    } foreign{};
    EXPECT_EQ(nullptr, Fg_getParameterName(&foreign.pub, 0));
    expectAll(FG_ERR_INVALID_BOARD,
              {setValue(&foreign.pub, 1048576, v), Fg_getLastErrorNumber(&foreign.pub), Fg_FreeGrabber(&foreign.pub)});
    // and a device that is not one
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(nullptr));
    expectAll(0, {SimBoard_LogCount(nullptr), SimBoard_HostCallCount(nullptr)});
    SimBoard_FailNthHostCall(nullptr, 1, -1);
    SimBoard_DestroyDevice(nullptr);
}

// ---- the write log ----------------------------------------------------------------------

TEST_F(HostFace, SuccessfulWritesAreLoggedInOrder) {
    EXPECT_EQ(0, set(kWidth1, 512u, 1));
    EXPECT_EQ(0, set(kPeriod, 42.5));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, set(kLevel, 1u));  // refused: not logged
    EXPECT_EQ(0, setText(kNote, "logged text"));
    EXPECT_EQ(0, setValue(fg_, FG_HOST_TIMEOUT, 5000u, 1));
    uint32_t elems[2] = {11, 12};
    EXPECT_EQ(0, set(kValues, fieldAccess(FG_PARAM_TYPE_UINT32_T, 4, 2, elems)));
    EXPECT_EQ(0, set(kValues, FieldParameterInt{13, 6}));
    elems[0] = 0;  // the caller's storage may change afterwards; the log keeps its own copy

    // (type2 is UINT32_T)
    EXPECT_EQ((std::vector<std::string>{
                  "Device1_Process1_Block_Width dma1 type2 512", "Device1_Process0_Block_Period dma0 DOUBLE 42.5",
                  "Device1_Process0_Props_Note dma0 TEXT 'logged text'", "FG_TIMEOUT dma1 type2 5000",
                  "Device1_Process0_Table_Values dma0 ACCESS [4: 11 12]",
                  "Device1_Process0_Table_Values dma0 ELEMENT 13 [6: 13]"}),
              writeLog(dev_));
    SimLogEntry out;
    ASSERT_EQ(0, SimBoard_LogEntry(dev_, 0, &out));
    EXPECT_EQ(id(kWidth1), out.id);
    ASSERT_EQ(0, SimBoard_LogEntry(dev_, 3, &out));
    EXPECT_EQ(FG_HOST_TIMEOUT, out.id);

    expectAll(FG_ERR_INVALID_PARAMETER, {SimBoard_LogEntry(dev_, 6, &out), SimBoard_LogEntry(dev_, -1, &out),
                                         SimBoard_LogEntry(dev_, 0, nullptr)});
    SimBoard_LogClear(dev_);
    EXPECT_EQ(0, SimBoard_LogCount(dev_));
    EXPECT_EQ(0, set(kOut, 1u, 1));
    EXPECT_EQ(1, SimBoard_LogCount(dev_));
}

// ---- host-level parameters ---------------------------------------------------------------

TEST_F(HostFace, HostLevelParametersAnswerPerDma) {
    // read-only, then the writable timeout
    const int ids[] = {FG_HOST_NR_OF_DMAS, FG_HOST_NR_OF_CAMS,   FG_HOST_NR_OF_PROCESSES, FG_HOST_DMA_PORT,
                       FG_HOST_CAM_PORT,   FG_HOST_TRANSFER_LEN, FG_HOST_DMASTATUS,       FG_HOST_TIMEOUT};
    for (unsigned dma = 0; dma < 2; ++dma) {
        std::vector<uint32_t> got;
        for (int h : ids) got.push_back(hostU32(h, dma));
        EXPECT_EQ((std::vector<uint32_t>{2, 2, 2, dma, dma, 0, 0, 1000000}), got) << dma;
    }
    double d = 0;
    EXPECT_EQ(0, getValue(fg_, FG_HOST_NR_OF_DMAS, d));
    EXPECT_EQ(2.0, d);
    size_t sz = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, FG_HOST_CAM_PORT, &sz, 1, FG_PARAM_TYPE_SIZE_T));
    EXPECT_EQ(1u, sz);
    uint32_t v = 0;
    expectAll(FG_ERR_INVALID_PARAMETER,
              {getValue(fg_, FG_HOST_DMA_PORT, v, 2),
               Fg_getParameterWithType(fg_, FG_HOST_NR_OF_DMAS, &v, 0, FG_PARAM_TYPE_CHAR_PTR),
               setValue(fg_, FG_HOST_TIMEOUT, 30u, 2)});

    EXPECT_EQ(0, setValue(fg_, FG_HOST_TIMEOUT, 30u, 1));
    EXPECT_EQ(30u, hostU32(FG_HOST_TIMEOUT, 1));
    EXPECT_EQ(1000000u, hostU32(FG_HOST_TIMEOUT, 0));
    EXPECT_EQ(0, setValue(fg_, FG_HOST_APC_STOP_TIMEOUT, uint64_t{9}));
    EXPECT_EQ(9u, hostU32(FG_HOST_APC_STOP_TIMEOUT, 0));
    for (int i = 0; i < 7; ++i) EXPECT_EQ(FG_ERR_NOT_AVAILABLE, setValue(fg_, ids[i], 30u)) << ids[i];
    EXPECT_EQ((std::vector<std::string>{"FG_TIMEOUT dma1 type2 30", "FG_APC_STOP_TIMEOUT dma0 type4 9"}),
              writeLog(dev_));
}

// ---- fault injection and the last error ----------------------------------------------------

TEST_F(HostFace, TheNthHostCallFailsAndOnlyThatOne) {
    const int before = SimBoard_HostCallCount(dev_);
    const int wid = id(kWidth0);  // one call
    SimBoard_FailNthHostCall(dev_, 3, -777);
    EXPECT_EQ((std::vector<int>{0, 0, -777, -777}),
              (std::vector<int>{setValue(fg_, wid, 100u), setValue(fg_, wid, 200u), setValue(fg_, wid, 300u),
                                Fg_getLastErrorNumber(fg_)}));
    EXPECT_EQ(200u, hostU32(wid)) << "the failed call changed nothing";
    EXPECT_EQ(2, SimBoard_LogCount(dev_));
    EXPECT_EQ(before + 6, SimBoard_HostCallCount(dev_));

    // any kind of call can be the failing one, also a look-up
    uint32_t back = 0;
    SimBoard_FailNthHostCall(dev_, 1, -779);
    EXPECT_EQ(-779, id(kWidth0));
    SimBoard_FailNthHostCall(dev_, 2, -781);
    SimBoard_ClearFaults(dev_);
    expectAll(0, {getValue(fg_, wid, back), getValue(fg_, wid, back)});
}

TEST_F(HostFace, ANamedParameterFailsItsWritesOrReads) {
    SimBoard_FailParameter(dev_, kWidth0, 1, -555);
    expectAll(-555, {set(kWidth0, 1u), Fg_getLastErrorNumber(fg_)});
    EXPECT_EQ(1024u, u32(kWidth0)) << "reads still work";
    EXPECT_EQ(0, set(kWidth1, 1u, 1)) << "other parameters still work";
    SimBoard_FailParameter(dev_, kWidth0, 0, -556);
    uint32_t v = 0;
    EXPECT_EQ(-556, get(kWidth0, v));
    SimBoard_FailParameter(dev_, kWidth0, 1, 0);
    EXPECT_EQ(0, set(kWidth0, 5u));
    EXPECT_EQ(-556, get(kWidth0, v));
    SimBoard_ClearFaults(dev_);
    EXPECT_EQ(5u, u32(kWidth0));
    SimBoard_FailParameter(dev_, "no such parameter", 1, -1);  // harmless
    SimBoard_FailParameter(dev_, nullptr, 1, -1);
}

TEST(HostFaults, FaultsSetBeforeTheBoardIsInitialisedApply) {
    QORdevice* dev = SimBoard_CreateDevice(0);
    Design design(loadText(smallDesign()));
    SimBoard_FailParameter(dev, kWidth0, 1, -601);
    SimBoard_FailNthHostCall(dev, 2, -602);
    Fg_Struct* fg = Fg_InitHandleSlaveAware("x", dev, design.get(), 0);
    ASSERT_NE(nullptr, fg);
    const int wid = Fg_getParameterIdByName(fg, kWidth0);  // call 1
    EXPECT_GT(wid, 0);
    EXPECT_EQ(-602, Fg_getParameterIdByName(fg, kWidth1));  // call 2
    EXPECT_EQ(-601, setValue(fg, wid, 1u));
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
    SimBoard_DestroyDevice(dev);
}

TEST_F(HostFace, LastErrorIsKeptPerBoardUntilTheNextFailure) {
    EXPECT_EQ(0, Fg_getLastErrorNumber(fg_));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, set(kLevel, 1u));
    EXPECT_EQ(0, set(kWidth0, 1u));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_getLastErrorNumber(fg_)) << "success does not reset it";

    Board other(loadText(smallDesign()), 1);
    ASSERT_NE(nullptr, other.fg);
    EXPECT_EQ(0, Fg_getLastErrorNumber(other.fg));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_AcquireEx(other.fg, 5, 1, 0, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(other.fg));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_getLastErrorNumber(fg_));
}
