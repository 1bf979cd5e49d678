// The host face of the simulated host runtime: what an applet sees on the host
// board handle it gets from Fg_InitHandleSlaveAware; and the register I/O
// runtime on the same simulated device.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <thread>
#include <tuple>

#include "check_table.h"
#include "hap_internal.h"
#include "platform_support.h"

using namespace platformtest;
using checktable::expectAll;
using checktable::expectNull;

namespace {

const char* const kWidth0 = "Device1_Process0_Block_Width";
const char* const kWidth1 = "Device1_Process1_Block_Width";
const char* const kEnable = "Device1_Process0_Block_Enable_Value";
const char* const kBig = "Device1_Process0_Block_Big";
const char* const kPeriod = "Device1_Process0_Block_Period";
const char* const kLevel = "Device1_Process0_Status_Level";
const char* const kTemperature = "Device1_Process0_Status_Temperature";
const char* const kName = "Device1_Process0_Props_Name";
const char* const kNote = "Device1_Process0_Props_Note";
const char* const kValues = "Device1_Process0_Table_Values";
const char* const kCurrents = "Device1_Process0_Table_Currents";
const char* const kOut = "Device1_Process2_Io_Out";
const FgParamTypes kAccess = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;

// A device with a board initialised from the small design.
class HostFace : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(nullptr, fg_); }

    int id(const char* name) { return Fg_getParameterIdByName(fg_, name); }
    template <typename T>
    int set(const char* name, const T& v, unsigned dma = 0) {
        return setValue(fg_, id(name), v, dma);
    }
    template <typename T>
    int get(const char* name, T& v, unsigned dma = 0) {
        return getValue(fg_, id(name), v, dma);
    }
    std::string text(const char* name) {
        char buf[300];
        std::memset(buf, 'x', sizeof buf);
        const int rc = Fg_getParameterWithType(fg_, id(name), buf, 0, FG_PARAM_TYPE_CHAR_PTR);
        if (rc != 0) return "rc " + std::to_string(rc);
        EXPECT_EQ('x', buf[std::strlen(buf) + 1]) << "the text is copied with its NUL and no more";
        return buf;
    }
    int setText(const char* name, const char* text) {
        return Fg_setParameterWithType(fg_, id(name), text, 0, FG_PARAM_TYPE_CHAR_PTR);
    }
    // A read in the type T: the value as text, or the failure code.
    template <typename T>
    std::string as(const char* name, unsigned dma = 0) {
        T v{};
        const int rc = get(name, v, dma);
        std::ostringstream out;
        out << v;
        return rc == 0 ? out.str() : "rc " + std::to_string(rc);
    }
    uint32_t u32(const char* name, unsigned dma = 0) { return hostU32(id(name), dma); }
    uint32_t hostU32(int hostId, unsigned dma = 0) {
        uint32_t v = 0xDEADBEEF;
        EXPECT_EQ(0, getValue(fg_, hostId, v, dma)) << hostId;
        return v;
    }

    // Register 3 is 8 bits wide, 10 is 40 bits wide, 11 is read-only.
    uint64_t reg(int number) {
        uint64_t v = 0xDEAD;
        EXPECT_EQ(0, TervikRegisterRead(dev_, number, &v)) << number;
        return v;
    }

    Board b_{smallDesign()};
    Fg_Struct*& fg_ = b_.fg;
    QORdevice* const dev_ = b_.dev;
    fpga_design* const design_ = b_.design;
};

}  // namespace

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
