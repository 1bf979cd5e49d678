// The host face of the simulated host runtime: what an applet sees on the host
// board handle it gets from Fg_InitHandleSlaveAware.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hap_internal.h"
#include "platform_support.h"
#include "sim_board.h"

using namespace platformtest;

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

// A device with a board initialised from a design.
class HostFace : public ::testing::Test {
protected:
    void SetUp() override { open(smallDesign()); }
    void TearDown() override { close(); }

    void open(const std::string& designText) {
        dev_ = SimBoard_CreateDevice(0);
        ASSERT_NE(nullptr, dev_);
        design_ = loadText(designText);
        ASSERT_NE(nullptr, design_);
        fg_ = Fg_InitHandleSlaveAware("Small.hap", dev_, design_, 0);
        ASSERT_NE(nullptr, fg_);
    }
    void close() {
        if (fg_) Fg_FreeGrabber(fg_);
        fg_ = nullptr;
        SimBoard_DestroyDevice(dev_);
        dev_ = nullptr;
        HapUnloadHapFile(design_);
        design_ = nullptr;
    }

    int id(const char* name) { return Fg_getParameterIdByName(fg_, name); }
    int setU32(const char* name, uint32_t v, unsigned dma = 0) {
        return Fg_setParameterWithType(fg_, id(name), &v, dma, FG_PARAM_TYPE_UINT32_T);
    }
    uint32_t getU32(const char* name, unsigned dma = 0) {
        uint32_t v = 0xDEADBEEF;
        EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(name), &v, dma, FG_PARAM_TYPE_UINT32_T)) << name;
        return v;
    }
    uint32_t hostU32(int hostId, unsigned dma = 0) {
        uint32_t v = 0xDEADBEEF;
        EXPECT_EQ(0, Fg_getParameterWithType(fg_, hostId, &v, dma, FG_PARAM_TYPE_UINT32_T)) << hostId;
        return v;
    }
    std::vector<SimLogEntry> log() {
        std::vector<SimLogEntry> out;
        for (int i = 0; i < SimBoard_LogCount(dev_); ++i) {
            SimLogEntry e;
            EXPECT_EQ(0, SimBoard_LogEntry(dev_, i, &e));
            out.push_back(e);
        }
        return out;
    }

    QORdevice* dev_ = nullptr;
    fpga_design* design_ = nullptr;
    Fg_Struct* fg_ = nullptr;
};

const int kHostIds[] = {FG_HOST_TIMEOUT,     FG_HOST_APC_STOP_TIMEOUT, FG_HOST_NR_OF_DMAS,
                        FG_HOST_NR_OF_CAMS,  FG_HOST_NR_OF_PROCESSES,  FG_HOST_DMA_PORT,
                        FG_HOST_CAM_PORT,    FG_HOST_TRANSFER_LEN,     FG_HOST_DMASTATUS};

}  // namespace

// ---- board initialisation -------------------------------------------------------

TEST(HostInit, RefusesMissingDeviceOrDesign) {
    fpga_design* design = loadText(smallDesign());
    ASSERT_NE(nullptr, design);
    EXPECT_EQ(nullptr, Fg_InitHandleSlaveAware("x", nullptr, design, 0));
    EXPECT_LT(Fg_getLastErrorNumber(nullptr), 0);
    QORdevice* dev = SimBoard_CreateDevice(1);
    EXPECT_EQ(nullptr, Fg_InitHandleSlaveAware("x", dev, nullptr, 0));
    EXPECT_LT(Fg_getLastErrorNumber(nullptr), 0);
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(dev));
    Fg_Struct* fg = Fg_InitHandle("x", dev, design);
    ASSERT_NE(nullptr, fg);
    EXPECT_EQ(fg, SimBoard_HostHandleOf(dev));
    EXPECT_EQ(dev, SimBoard_DeviceOfHostHandle(fg));
    EXPECT_EQ(nullptr, fg->Master);
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(dev));
    SimBoard_DestroyDevice(dev);
    HapUnloadHapFile(design);
}

TEST(HostInit, InjectedInitialisationFailure) {
    fpga_design* design = loadText(smallDesign());
    QORdevice* dev = SimBoard_CreateDevice(0);
    SimBoard_FailInit(dev, -321);
    EXPECT_EQ(nullptr, Fg_InitHandleSlaveAware("x", dev, design, 0));
    EXPECT_EQ(-321, Fg_getLastErrorNumber(nullptr));
    SimBoard_FailInit(dev, 0);
    Fg_Struct* fg = Fg_InitHandleSlaveAware("x", dev, design, 0);
    EXPECT_NE(nullptr, fg);
    Fg_FreeGrabber(fg);
    SimBoard_DestroyDevice(dev);
    HapUnloadHapFile(design);
}

// ---- identities -----------------------------------------------------------------------

TEST_F(HostFace, DesignParametersGetDistinctIdentitiesApartFromHostOnes) {
    std::set<int> ids;
    for (int i = 0; i < HapGetNrOfParameter(design_); ++i) {
        const char* name = HapGetParameter(design_, i)->name;
        int v = id(name);
        EXPECT_GT(v, 0) << name;
        EXPECT_EQ(v, SimBoard_ParameterId(dev_, name));
        for (int h : kHostIds) EXPECT_NE(h, v);
        EXPECT_GE(v, 1000000) << "identities stay clear of the SDK numbering";
        ids.insert(v);
    }
    EXPECT_EQ(static_cast<size_t>(HapGetNrOfParameter(design_)), ids.size());
    EXPECT_EQ(HapGetNrOfParameter(design_), Fg_getNrOfParameter(fg_));
    EXPECT_STREQ(kWidth0, Fg_getParameterName(fg_, 0));
    EXPECT_EQ(id(kWidth0), Fg_getParameterId(fg_, 0));
    EXPECT_EQ(nullptr, Fg_getParameterName(fg_, 13));
    EXPECT_LT(Fg_getParameterId(fg_, -1), 0);
}

TEST_F(HostFace, UnknownNamesAnswerZero) {
    EXPECT_EQ(0, id("Device1_Process0_No_Such"));
    EXPECT_EQ(0, id(""));
    EXPECT_EQ(0, id(nullptr));
    EXPECT_EQ(0, id("device1_process0_block_width"));
    EXPECT_EQ(0, SimBoard_ParameterId(dev_, "nope"));
    EXPECT_EQ(FG_HOST_TIMEOUT, id("FG_TIMEOUT"));
    EXPECT_EQ(FG_HOST_DMASTATUS, id("FG_DMASTATUS"));
}

TEST(HostIdentities, EveryDesignParameterOfTheGeneratedImageResolves) {
    fpga_design* design = HapLoadHapFileWithType(designImagePath().c_str(), HAP_FILE_TYPE_DEFAULT, 1);
    ASSERT_NE(nullptr, design);
    QORdevice* dev = SimBoard_CreateDevice(0);
    Fg_Struct* fg = Fg_InitHandleSlaveAware("Orvindel.hap", dev, design, 0);
    ASSERT_NE(nullptr, fg);
    std::set<int> ids;
    auto check = [&](const std::string& name) {
        int v = Fg_getParameterIdByName(fg, name.c_str());
        EXPECT_GT(v, 0) << name;
        ids.insert(v);
    };
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS) \
    check("Device1_Process0_" #NAME);                \
    check("Device1_Process1_" #NAME);
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS) check("Device1_Process0_" #NAME);
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS) check("Device1_Process2_" #NAME);
#include "design_params.def"
    EXPECT_EQ(154u, ids.size());
    EXPECT_EQ(154, SimBoard_HostCallCount(dev));

    // live values read in the types the applet uses
    double t = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg, Fg_getParameterIdByName(fg, "Device1_Process0_BoardStatus_FpgaTemperature"),
                                         &t, 1, FG_PARAM_TYPE_DOUBLE));
    EXPECT_GT(t, 40.0);
    uint64_t dna = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg, Fg_getParameterIdByName(fg, "Device1_Process0_BoardStatus_FpgaDNA"), &dna,
                                         0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_GE(dna, uint64_t{1} << 56);
    double currents[4] = {0, 0, 0, 0};
    FieldParameterAccess a{};
    a.vtype = FG_PARAM_TYPE_DOUBLE;
    a.index = 0;
    a.count = 4;
    a.p_double = currents;
    EXPECT_EQ(0, Fg_getParameterWithType(fg, Fg_getParameterIdByName(fg, "Device1_Process0_BoardStatus_ChannelCurrent"),
                                         &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    for (double c : currents) EXPECT_GT(c, 0.0);
    char uid[256] = {0};
    EXPECT_EQ(0, Fg_getParameterWithType(fg, Fg_getParameterIdByName(fg, "Device1_Process0_AppletProperties_AppletUid"),
                                         uid, 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_STREQ("d27e4a90-1c5b-4e38-2a6d-91f3b0c7e825", uid);

    // the whole lookup table in one access record
    std::vector<uint32_t> lut(4096);
    for (uint32_t i = 0; i < 4096; ++i) lut[i] = 4095 - i;
    FieldParameterAccess w{};
    w.vtype = FG_PARAM_TYPE_UINT32_T;
    w.index = 0;
    w.count = 4096;
    w.p_uint32_t = lut.data();
    const int lutId = Fg_getParameterIdByName(fg, "Device1_Process1_LookupTable_LookupTable_LUTcontent");
    EXPECT_EQ(0, Fg_setParameterWithType(fg, lutId, &w, 1, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    double e = 0;
    EXPECT_EQ(0, SimBoard_GetFieldElement(dev, "Device1_Process1_LookupTable_LookupTable_LUTcontent", 4095, &e));
    EXPECT_EQ(0.0, e);
    EXPECT_EQ(0, SimBoard_GetFieldElement(dev, "Device1_Process1_LookupTable_LookupTable_LUTcontent", 1, &e));
    EXPECT_EQ(4094.0, e);
    EXPECT_EQ(0, SimBoard_GetFieldElement(dev, "Device1_Process0_LookupTable_LookupTable_LUTcontent", 1, &e));
    EXPECT_EQ(0.0, e) << "the other process's table is separate";

    Fg_FreeGrabber(fg);
    SimBoard_DestroyDevice(dev);
    HapUnloadHapFile(design);
}

// ---- typed writes and reads ------------------------------------------------------------

TEST_F(HostFace, UnsignedParameterConvertsBetweenTypes) {
    EXPECT_EQ(1024u, getU32(kWidth0));
    EXPECT_EQ(2048u, getU32(kWidth1));
    EXPECT_EQ(0, setU32(kWidth0, 4000));
    uint64_t u64 = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), &u64, 0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ(4000u, u64);
    double d = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), &d, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(4000.0, d);
    int32_t i32 = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), &i32, 0, FG_PARAM_TYPE_INT32_T));
    EXPECT_EQ(4000, i32);
    size_t sz = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), &sz, 0, FG_PARAM_TYPE_SIZE_T));
    EXPECT_EQ(4000u, sz);

    double in = 2047.6;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kWidth0), &in, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(2048u, getU32(kWidth0));
    int64_t i64 = 77;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kWidth0), &i64, 0, FG_PARAM_TYPE_INT64_T));
    EXPECT_EQ(77u, getU32(kWidth0));

    // values that do not fit are refused and change nothing
    int32_t negative = -1;
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, Fg_setParameterWithType(fg_, id(kWidth0), &negative, 0, FG_PARAM_TYPE_INT32_T));
    uint64_t tooBig = uint64_t{1} << 32;
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, Fg_setParameterWithType(fg_, id(kWidth0), &tooBig, 0, FG_PARAM_TYPE_UINT64_T));
    double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, Fg_setParameterWithType(fg_, id(kWidth0), &nan, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(77u, getU32(kWidth0));
    // a value type the parameter has no use for
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, id(kWidth0), "12", 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER,
              Fg_setParameterWithType(fg_, id(kWidth0), &i64, 0, static_cast<FgParamTypes>(99)));
}

TEST_F(HostFace, ReadsWriteExactlyTheSizeOfTheType) {
    unsigned char buf[16];
    std::memset(buf, 0xAB, sizeof buf);
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), buf, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0xAB, buf[4]);
    uint32_t v;
    std::memcpy(&v, buf, 4);
    EXPECT_EQ(1024u, v);
    std::memset(buf, 0xAB, sizeof buf);
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kWidth0), buf, 0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ(0xAB, buf[8]);
    uint64_t w;
    std::memcpy(&w, buf, 8);
    EXPECT_EQ(1024u, w);
    std::memset(buf, 0xAB, sizeof buf);
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, FG_HOST_NR_OF_DMAS, buf, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0xAB, buf[4]);
    std::memset(buf, 0xAB, sizeof buf);
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, FG_HOST_NR_OF_DMAS, buf, 0, FG_PARAM_TYPE_INT64_T));
    EXPECT_EQ(0xAB, buf[8]);
    int64_t s;
    std::memcpy(&s, buf, 8);
    EXPECT_EQ(2, s);
}

TEST_F(HostFace, WideAndDoubleParameters) {
    uint64_t big = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kBig), &big, 0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ(0x1FFFFFFFFFull, big);
    uint32_t small = 0;
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, Fg_getParameterWithType(fg_, id(kBig), &small, 0, FG_PARAM_TYPE_UINT32_T));
    uint64_t huge = ~uint64_t{0};
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kBig), &huge, 0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kBig), &big, 0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ(huge, big);

    double period = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kPeriod), &period, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(12.5, period);
    EXPECT_EQ(13u, getU32(kPeriod)) << "doubles are rounded to the nearest integer";
    EXPECT_EQ(0, setU32(kPeriod, 7));
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kPeriod), &period, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(7.0, period);
    double exact = 0.112;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kPeriod), &exact, 1, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kPeriod), &period, 1, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(exact, period);
}

TEST_F(HostFace, TextParameters) {
    char buf[300];
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kName), buf, 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_STREQ("hello small world", buf);
    EXPECT_EQ('x', buf[18]) << "the text is copied with its NUL and no more";
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kNote), "a note", 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kNote), buf, 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_STREQ("a note", buf);
    uint32_t v = 0;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, id(kNote), &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, id(kNote), &v, 0, FG_PARAM_TYPE_UINT32_T));
    std::string longText(256, 'L');
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, Fg_setParameterWithType(fg_, id(kNote), longText.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR));
    longText.pop_back();
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kNote), longText.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kNote), buf, 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(longText, std::string(buf));
}

TEST_F(HostFace, AutoAndUntypedAccessUseTheParametersOwnType) {
    uint32_t w = 640;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kWidth0), &w, 0, FG_PARAM_TYPE_AUTO));
    EXPECT_EQ(640u, getU32(kWidth0));
    double p = 3.25;
    EXPECT_EQ(0, Fg_setParameter(fg_, id(kPeriod), &p, 0));
    double back = 0;
    EXPECT_EQ(0, Fg_getParameter(fg_, id(kPeriod), &back, 0));
    EXPECT_EQ(3.25, back);
    uint32_t out = 0;
    EXPECT_EQ(0, Fg_getParameter(fg_, id(kWidth0), &out, 0));
    EXPECT_EQ(640u, out);
    EXPECT_EQ(0, Fg_getParameter(fg_, FG_HOST_NR_OF_CAMS, &out, 0));
    EXPECT_EQ(2u, out);
}

// ---- field parameters ------------------------------------------------------------------

TEST_F(HostFace, FieldAccessRecordsWriteAndReadRanges) {
    uint32_t in[3] = {10, 20, 30};
    FieldParameterAccess a{};
    a.vtype = FG_PARAM_TYPE_UINT32_T;
    a.index = 2;
    a.count = 3;
    a.p_uint32_t = in;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kValues), &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));

    uint64_t out[8];
    std::memset(out, 0xFF, sizeof out);
    FieldParameterAccess r{};
    r.vtype = FG_PARAM_TYPE_UINT64_T;
    r.index = 0;
    r.count = 8;
    r.p_uint64_t = out;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kValues), &r, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    const uint64_t expected[8] = {1, 2, 10, 20, 30, 0, 0, 0};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(expected[i], out[i]) << i;

    // the element type FIELDPARAMINT is a 32-bit element, doubles are rounded
    uint32_t one[1] = {99};
    a.vtype = FG_PARAM_TYPE_STRUCT_FIELDPARAMINT;
    a.index = 7;
    a.count = 1;
    a.p_uint32_t = one;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kValues), &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    double dbl[2] = {5.4, 6.6};
    a.vtype = FG_PARAM_TYPE_DOUBLE;
    a.index = 5;
    a.count = 2;
    a.p_double = dbl;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kValues), &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    FieldParameterInt e{0, 7};
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kValues), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    EXPECT_EQ(99u, e.value);
    e.index = 6;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kValues), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    EXPECT_EQ(7u, e.value);
}

TEST_F(HostFace, FieldBoundsAndRecordsAreChecked) {
    uint32_t in[9] = {0};
    FieldParameterAccess a{};
    a.vtype = FG_PARAM_TYPE_UINT32_T;
    a.p_uint32_t = in;
    const int values = id(kValues);
    const FgParamTypes acc = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
    a.index = 8, a.count = 1;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &a, 0, acc));
    a.index = 6, a.count = 3;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &a, 0, acc));
    a.index = 0, a.count = 9;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, values, &a, 0, acc));
    a.index = 0xFFFFFFFFu, a.count = 2;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &a, 0, acc));
    a.index = 6, a.count = 2;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, values, &a, 0, acc));
    a.index = 3, a.count = 0;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, values, &a, 0, acc)) << "an empty range is a no-op";
    a.count = 1;
    a.p_uint32_t = nullptr;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &a, 0, acc));
    a.p_uint32_t = in;
    a.vtype = FG_PARAM_TYPE_CHAR_PTR;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &a, 0, acc));
    int32_t neg[1] = {-5};
    a.vtype = FG_PARAM_TYPE_INT32_T;
    a.p_int32_t = neg;
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, Fg_setParameterWithType(fg_, values, &a, 0, acc));

    FieldParameterInt e{5, 8};
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    e.index = 7;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, values, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    // a field is not a single value, and a single value is not a field
    uint32_t plain = 1;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, values, &plain, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, id(kWidth0), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, id(kWidth0), &a, 0, acc));
}

TEST_F(HostFace, DoubleFieldsReadByElementAndRange) {
    FieldParameterDouble e{0.0, 3};
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kCurrents), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE));
    EXPECT_EQ(1.5, e.value);
    e.index = 4;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER,
              Fg_getParameterWithType(fg_, id(kCurrents), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE));
    double out[3] = {0, 0, 0};
    FieldParameterAccess a{};
    a.vtype = FG_PARAM_TYPE_DOUBLE;
    a.index = 2;
    a.count = 2;
    a.p_double = out;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kCurrents), &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    EXPECT_EQ(0.125, out[0]);
    EXPECT_EQ(1.5, out[1]);
    a.count = 3;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER,
              Fg_getParameterWithType(fg_, id(kCurrents), &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    EXPECT_EQ(0, SimBoard_SetFieldElement(dev_, kCurrents, 0, 2.75));
    e.index = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, id(kCurrents), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE));
    EXPECT_EQ(2.75, e.value);
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_SetFieldElement(dev_, kCurrents, 4, 1.0));
    double v = 0;
    EXPECT_EQ(0, SimBoard_GetFieldElement(dev_, kValues, 1, &v));
    EXPECT_EQ(2.0, v);
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_GetFieldElement(dev_, kWidth0, 0, &v));
}

// ---- refusals ------------------------------------------------------------------------

TEST_F(HostFace, ReadOnlyDesignParametersRefuseWritesButTheBoardCanSetThem) {
    uint32_t v = 9;
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, setU32(kLevel, 9));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_getLastErrorNumber(fg_));
    double t = 80.0;
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_setParameterWithType(fg_, id(kTemperature), &t, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_setParameterWithType(fg_, id(kName), "x", 0, FG_PARAM_TYPE_CHAR_PTR));
    EXPECT_EQ(7u, getU32(kLevel));
    EXPECT_EQ(0, SimBoard_LogCount(dev_));

    EXPECT_EQ(0, SimBoard_SetValue(dev_, kLevel, FG_PARAM_TYPE_UINT32_T, &v));
    EXPECT_EQ(9u, getU32(kLevel));
    EXPECT_EQ(0, SimBoard_SetValue(dev_, kTemperature, FG_PARAM_TYPE_DOUBLE, &t));
    double back = 0;
    EXPECT_EQ(0, SimBoard_GetValue(dev_, kTemperature, FG_PARAM_TYPE_DOUBLE, &back));
    EXPECT_EQ(80.0, back);
    EXPECT_EQ(0, SimBoard_SetValue(dev_, kName, FG_PARAM_TYPE_CHAR_PTR, "renamed"));
    char buf[256];
    EXPECT_EQ(0, SimBoard_GetValue(dev_, kName, FG_PARAM_TYPE_CHAR_PTR, buf));
    EXPECT_STREQ("renamed", buf);
    EXPECT_EQ(0, SimBoard_LogCount(dev_)) << "board-side changes are not logged";
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_SetValue(dev_, "nope", FG_PARAM_TYPE_UINT32_T, &v));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_SetValue(dev_, kValues, FG_PARAM_TYPE_UINT32_T, &v));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_GetValue(dev_, kLevel, FG_PARAM_TYPE_UINT32_T, nullptr));
}

TEST_F(HostFace, NullValuesAndUnknownIdentitiesAreRefused) {
    uint32_t v = 1;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, id(kWidth0), nullptr, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, id(kWidth0), nullptr, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(fg_));
    for (int bad : {0, -1, 100, 1047000, 1048576 + 13, 2000000}) {
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, bad, &v, 0, FG_PARAM_TYPE_UINT32_T)) << bad;
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, bad, &v, 0, FG_PARAM_TYPE_UINT32_T)) << bad;
    }
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, FG_HOST_TIMEOUT, nullptr, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0, SimBoard_LogCount(dev_));
}

TEST(HostHandles, CallsWithoutAHostBoardAreRefused) {
    uint32_t v = 0;
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_setParameterWithType(nullptr, 1048576, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_getParameterWithType(nullptr, 1048576, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_FreeGrabber(nullptr));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_AcquireEx(nullptr, 0, 1, 0, nullptr));
    EXPECT_EQ(nullptr, Fg_getParameterInfo(nullptr, 0));
    EXPECT_EQ(0u, Fg_getEventMask(nullptr, "x"));
    // a board structure that is not one of the runtime's handles
    struct {
        Fg_Struct pub;
        uint32_t tag;
        uint32_t pad[8];
    } foreign{};
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_setParameterWithType(&foreign.pub, 1048576, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_getLastErrorNumber(&foreign.pub));
    EXPECT_EQ(nullptr, Fg_getParameterName(&foreign.pub, 0));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_FreeGrabber(&foreign.pub));
    // and a device that is not one
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(nullptr));
    EXPECT_EQ(0, SimBoard_LogCount(nullptr));
    EXPECT_EQ(0, SimBoard_HostCallCount(nullptr));
    SimBoard_FailNthHostCall(nullptr, 1, -1);
    SimBoard_DestroyDevice(nullptr);
}

// ---- the write log ----------------------------------------------------------------------

TEST_F(HostFace, SuccessfulWritesAreLoggedInOrder) {
    EXPECT_EQ(0, setU32(kWidth1, 512, 1));
    double p = 42.5;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kPeriod), &p, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, setU32(kLevel, 1));  // refused: not logged
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kNote), "logged text", 0, FG_PARAM_TYPE_CHAR_PTR));
    uint32_t t = 5000;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, FG_HOST_TIMEOUT, &t, 1, FG_PARAM_TYPE_UINT32_T));
    uint32_t elems[2] = {11, 12};
    FieldParameterAccess a{};
    a.vtype = FG_PARAM_TYPE_UINT32_T;
    a.index = 4;
    a.count = 2;
    a.p_uint32_t = elems;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kValues), &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    FieldParameterInt e{13, 6};
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, id(kValues), &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    // the caller's storage may change afterwards; the log keeps its own copy
    elems[0] = 0;

    std::vector<SimLogEntry> l = log();
    ASSERT_EQ(6u, l.size());
    EXPECT_EQ(id(kWidth1), l[0].id);
    EXPECT_STREQ(kWidth1, l[0].name);
    EXPECT_EQ(1u, l[0].dma);
    EXPECT_EQ(FG_PARAM_TYPE_UINT32_T, l[0].type);
    EXPECT_EQ(512u, l[0].u);
    EXPECT_STREQ(kPeriod, l[1].name);
    EXPECT_EQ(FG_PARAM_TYPE_DOUBLE, l[1].type);
    EXPECT_EQ(42.5, l[1].d);
    EXPECT_STREQ(kNote, l[2].name);
    EXPECT_STREQ("logged text", l[2].text);
    EXPECT_EQ(FG_HOST_TIMEOUT, l[3].id);
    EXPECT_STREQ("FG_TIMEOUT", l[3].name);
    EXPECT_EQ(1u, l[3].dma);
    EXPECT_EQ(5000u, l[3].u);
    EXPECT_STREQ(kValues, l[4].name);
    EXPECT_EQ(FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, l[4].type);
    EXPECT_EQ(4u, l[4].fieldIndex);
    ASSERT_EQ(2u, l[4].fieldCount);
    EXPECT_EQ(11u, l[4].fieldValues[0]);
    EXPECT_EQ(12u, l[4].fieldValues[1]);
    EXPECT_EQ(FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, l[5].type);
    EXPECT_EQ(13u, l[5].u);
    EXPECT_EQ(6u, l[5].fieldIndex);
    EXPECT_EQ(1u, l[5].fieldCount);
    EXPECT_EQ(13u, l[5].fieldValues[0]);

    SimLogEntry out;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_LogEntry(dev_, 6, &out));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_LogEntry(dev_, -1, &out));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_LogEntry(dev_, 0, nullptr));
    SimBoard_LogClear(dev_);
    EXPECT_EQ(0, SimBoard_LogCount(dev_));
    EXPECT_EQ(0, setU32(kOut, 1, 1));
    EXPECT_EQ(1, SimBoard_LogCount(dev_));
}

TEST_F(HostFace, ManyWritesAreAllKept) {
    for (uint32_t i = 0; i < 40000; ++i) ASSERT_EQ(0, setU32(kWidth0, i));
    ASSERT_EQ(40000, SimBoard_LogCount(dev_));
    SimLogEntry first, last;
    ASSERT_EQ(0, SimBoard_LogEntry(dev_, 0, &first));
    ASSERT_EQ(0, SimBoard_LogEntry(dev_, 39999, &last));
    EXPECT_EQ(0u, first.u);
    EXPECT_EQ(39999u, last.u);
    EXPECT_STREQ(kWidth0, first.name);
}

// ---- host-level parameters ---------------------------------------------------------------

TEST_F(HostFace, HostLevelParametersAnswerPerDma) {
    for (unsigned dma = 0; dma < 2; ++dma) {
        EXPECT_EQ(2u, hostU32(FG_HOST_NR_OF_DMAS, dma));
        EXPECT_EQ(2u, hostU32(FG_HOST_NR_OF_CAMS, dma));
        EXPECT_EQ(2u, hostU32(FG_HOST_NR_OF_PROCESSES, dma));
        EXPECT_EQ(dma, hostU32(FG_HOST_DMA_PORT, dma));
        EXPECT_EQ(dma, hostU32(FG_HOST_CAM_PORT, dma));
        EXPECT_EQ(0u, hostU32(FG_HOST_TRANSFER_LEN, dma));
        EXPECT_EQ(0u, hostU32(FG_HOST_DMASTATUS, dma));
        EXPECT_EQ(1000000u, hostU32(FG_HOST_TIMEOUT, dma));
    }
    double d = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, FG_HOST_NR_OF_DMAS, &d, 0, FG_PARAM_TYPE_DOUBLE));
    EXPECT_EQ(2.0, d);
    size_t sz = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, FG_HOST_CAM_PORT, &sz, 1, FG_PARAM_TYPE_SIZE_T));
    EXPECT_EQ(1u, sz);
    uint32_t v = 0;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, FG_HOST_DMA_PORT, &v, 2, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getParameterWithType(fg_, FG_HOST_NR_OF_DMAS, &v, 0, FG_PARAM_TYPE_CHAR_PTR));

    uint32_t t = 30;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, FG_HOST_TIMEOUT, &t, 1, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(30u, hostU32(FG_HOST_TIMEOUT, 1));
    EXPECT_EQ(1000000u, hostU32(FG_HOST_TIMEOUT, 0));
    uint64_t s = 9;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, FG_HOST_APC_STOP_TIMEOUT, &s, 0, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ(9u, hostU32(FG_HOST_APC_STOP_TIMEOUT, 0));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_setParameterWithType(fg_, FG_HOST_TIMEOUT, &t, 2, FG_PARAM_TYPE_UINT32_T));
    for (int ro : {FG_HOST_NR_OF_DMAS, FG_HOST_NR_OF_CAMS, FG_HOST_NR_OF_PROCESSES, FG_HOST_DMA_PORT, FG_HOST_CAM_PORT,
                   FG_HOST_TRANSFER_LEN, FG_HOST_DMASTATUS}) {
        EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_setParameterWithType(fg_, ro, &t, 0, FG_PARAM_TYPE_UINT32_T)) << ro;
    }
    std::vector<SimLogEntry> l = log();
    ASSERT_EQ(2u, l.size());
    EXPECT_STREQ("FG_TIMEOUT", l[0].name);
    EXPECT_STREQ("FG_APC_STOP_TIMEOUT", l[1].name);
    EXPECT_EQ(FG_PARAM_TYPE_UINT64_T, l[1].type);
}

// ---- fault injection ----------------------------------------------------------------------

TEST_F(HostFace, TheNthHostCallFailsAndOnlyThatOne) {
    const int before = SimBoard_HostCallCount(dev_);
    const int wid = id(kWidth0);  // one call
    uint32_t v = 100;
    SimBoard_FailNthHostCall(dev_, 3, -777);
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, wid, &v, 0, FG_PARAM_TYPE_UINT32_T));
    v = 200;
    EXPECT_EQ(0, Fg_setParameterWithType(fg_, wid, &v, 0, FG_PARAM_TYPE_UINT32_T));
    v = 300;
    EXPECT_EQ(-777, Fg_setParameterWithType(fg_, wid, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(-777, Fg_getLastErrorNumber(fg_));
    uint32_t back = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, wid, &back, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(200u, back) << "the failed call changed nothing";
    EXPECT_EQ(2, SimBoard_LogCount(dev_));
    EXPECT_EQ(before + 6, SimBoard_HostCallCount(dev_));

    // any kind of call can be the failing one, also a read or a look-up
    SimBoard_FailNthHostCall(dev_, 1, -778);
    EXPECT_EQ(-778, Fg_getParameterWithType(fg_, wid, &back, 0, FG_PARAM_TYPE_UINT32_T));
    SimBoard_FailNthHostCall(dev_, 1, -779);
    EXPECT_EQ(-779, Fg_getParameterIdByName(fg_, kWidth0));
    SimBoard_FailNthHostCall(dev_, 1, -780);
    EXPECT_EQ(nullptr, Fg_getParameterInfo(fg_, 0));
    EXPECT_EQ(-780, Fg_getLastErrorNumber(fg_));
    SimBoard_FailNthHostCall(dev_, 2, -781);
    SimBoard_ClearFaults(dev_);
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, wid, &back, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0, Fg_getParameterWithType(fg_, wid, &back, 0, FG_PARAM_TYPE_UINT32_T));
}

TEST_F(HostFace, ANamedParameterFailsItsWritesOrReads) {
    SimBoard_FailParameter(dev_, kWidth0, 1, -555);
    EXPECT_EQ(-555, setU32(kWidth0, 1));
    EXPECT_EQ(-555, Fg_getLastErrorNumber(fg_));
    EXPECT_EQ(1024u, getU32(kWidth0)) << "reads still work";
    EXPECT_EQ(0, setU32(kWidth1, 1, 1)) << "other parameters still work";
    SimBoard_FailParameter(dev_, kWidth0, 0, -556);
    uint32_t v = 0;
    EXPECT_EQ(-556, Fg_getParameterWithType(fg_, id(kWidth0), &v, 0, FG_PARAM_TYPE_UINT32_T));
    SimBoard_FailParameter(dev_, kWidth0, 1, 0);
    EXPECT_EQ(0, setU32(kWidth0, 5));
    EXPECT_EQ(-556, Fg_getParameterWithType(fg_, id(kWidth0), &v, 0, FG_PARAM_TYPE_UINT32_T));
    SimBoard_ClearFaults(dev_);
    EXPECT_EQ(5u, getU32(kWidth0));
    SimBoard_FailParameter(dev_, "no such parameter", 1, -1);  // harmless
    SimBoard_FailParameter(dev_, nullptr, 1, -1);
}

TEST(HostFaults, FaultsSetBeforeTheBoardIsInitialisedApply) {
    QORdevice* dev = SimBoard_CreateDevice(0);
    fpga_design* design = loadText(smallDesign());
    SimBoard_FailParameter(dev, kWidth0, 1, -601);
    SimBoard_FailNthHostCall(dev, 2, -602);
    Fg_Struct* fg = Fg_InitHandleSlaveAware("x", dev, design, 0);
    ASSERT_NE(nullptr, fg);
    const int wid = Fg_getParameterIdByName(fg, kWidth0);  // call 1
    EXPECT_GT(wid, 0);
    EXPECT_EQ(-602, Fg_getParameterIdByName(fg, kWidth1));  // call 2
    uint32_t v = 1;
    EXPECT_EQ(-601, Fg_setParameterWithType(fg, wid, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
    SimBoard_DestroyDevice(dev);
    HapUnloadHapFile(design);
}

// ---- last error ------------------------------------------------------------------------

TEST_F(HostFace, LastErrorIsKeptPerBoardUntilTheNextFailure) {
    EXPECT_EQ(0, Fg_getLastErrorNumber(fg_));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, setU32(kLevel, 1));
    EXPECT_EQ(0, setU32(kWidth0, 1));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_getLastErrorNumber(fg_)) << "success does not reset it";

    QORdevice* other = SimBoard_CreateDevice(1);
    Fg_Struct* otherFg = Fg_InitHandleSlaveAware("x", other, design_, 0);
    ASSERT_NE(nullptr, otherFg);
    EXPECT_EQ(0, Fg_getLastErrorNumber(otherFg));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_AcquireEx(otherFg, 5, 1, 0, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(otherFg));
    EXPECT_EQ(FG_ERR_NOT_AVAILABLE, Fg_getLastErrorNumber(fg_));
    Fg_FreeGrabber(otherFg);
    SimBoard_DestroyDevice(other);
}

// ---- description tree ------------------------------------------------------------------------

namespace {
void collect(RegisterInfo* group, std::vector<RegisterInfo*>& leaves) {
    for (int i = 0; i < group->u.gReg.nrOfElements; ++i) leaves.push_back(group->u.gReg.elements[i]);
}
}  // namespace

TEST_F(HostFace, DescriptionTreeOfAPort) {
    RegisterInfo* root = Fg_getParameterInfo(fg_, 0);
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(root, Fg_getParameterInfo(fg_, 0)) << "built once, stays valid";
    std::vector<RegisterInfo*> leaves;
    RegisterInfo* prev = nullptr;
    int groups = 0;
    for (RegisterInfo* g = root; g != nullptr; g = g->next) {
        EXPECT_EQ(REG_FORMAT_GROUP, g->format);
        EXPECT_EQ(0, g->depth);
        EXPECT_EQ(prev, g->previous);
        EXPECT_GT(g->u.gReg.nrOfElements, 0);
        for (int i = 0; i < g->u.gReg.nrOfElements; ++i) {
            EXPECT_EQ(1, g->u.gReg.elements[i]->depth);
            EXPECT_STREQ(g->name, g->u.gReg.elements[i]->parentName);
        }
        collect(g, leaves);
        prev = g;
        ++groups;
    }
    EXPECT_GE(groups, 2);
    std::set<std::string> names;
    for (RegisterInfo* r : leaves) {
        ASSERT_NE(nullptr, r->parameterName);
        names.insert(r->parameterName);
        EXPECT_EQ(Fg_getParameterIdByName(fg_, r->parameterName), r->id) << r->parameterName;
        EXPECT_EQ(0, r->port);
        EXPECT_NE(REG_FORMAT_GROUP, r->format);
    }
    EXPECT_TRUE(names.count(kWidth0));
    EXPECT_FALSE(names.count(kWidth1)) << "the other process belongs to port 1";
    EXPECT_TRUE(names.count(kOut)) << "shared parameters belong to every port";
    EXPECT_TRUE(names.count("Loose"));
    for (RegisterInfo* r : leaves) {
        std::string n = r->parameterName;
        if (n == kWidth0) {
            EXPECT_EQ(REG_FORMAT_UINT, r->format);
            EXPECT_EQ(7, r->accessFlags);
            EXPECT_EQ(1024u, r->u.uiReg.value);
        }
        if (n == kEnable) {
            EXPECT_EQ(REG_FORMAT_ENUM, r->format);
            ASSERT_EQ(2, r->u.eReg.nrOfElements);
            EXPECT_STREQ("On", r->u.eReg.enumNames[1]);
            EXPECT_EQ(1, r->u.eReg.enumValues[1]);
        }
        if (n == kBig) {
            EXPECT_EQ(REG_FORMAT_UINT64, r->format);
        }
        if (n == kPeriod) {
            EXPECT_EQ(REG_FORMAT_DOUBLE, r->format);
        }
        if (n == kLevel) {
            EXPECT_EQ(1, r->accessFlags);
        }
        if (n == kName) {
            EXPECT_EQ(REG_FORMAT_STRING, r->format);
            EXPECT_STREQ("hello small world", r->u.sReg.string);
        }
    }
    RegisterInfo* port1 = Fg_getParameterInfo(fg_, 1);
    ASSERT_NE(nullptr, port1);
    std::vector<RegisterInfo*> leaves1;
    for (RegisterInfo* g = port1; g; g = g->next) collect(g, leaves1);
    bool hasWidth1 = false;
    for (RegisterInfo* r : leaves1) {
        hasWidth1 |= std::string(r->parameterName) == kWidth1;
        EXPECT_EQ(1, r->port);
    }
    EXPECT_TRUE(hasWidth1);
    EXPECT_EQ(nullptr, Fg_getParameterInfo(fg_, 2));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(fg_));
    EXPECT_EQ(nullptr, Fg_getParameterInfo(fg_, -1));
}

TEST(HostDescription, GeneratedDesignShowsTheUsualFormats) {
    fpga_design* design = HapLoadHapFileWithType(designImagePath().c_str(), HAP_FILE_TYPE_DEFAULT, 1);
    ASSERT_NE(nullptr, design);
    QORdevice* dev = SimBoard_CreateDevice(0);
    Fg_Struct* fg = Fg_InitHandleSlaveAware("Orvindel.hap", dev, design, 0);
    ASSERT_NE(nullptr, fg);
    std::set<int> formats;
    for (RegisterInfo* g = Fg_getParameterInfo(fg, 0); g; g = g->next)
        for (int i = 0; i < g->u.gReg.nrOfElements; ++i) formats.insert(g->u.gReg.elements[i]->format);
    for (int f : {REG_FORMAT_UINT, REG_FORMAT_ENUM, REG_FORMAT_DOUBLE, REG_FORMAT_UINT64}) EXPECT_TRUE(formats.count(f)) << f;
    Fg_FreeGrabber(fg);
    SimBoard_DestroyDevice(dev);
    HapUnloadHapFile(design);
}

// ---- events -------------------------------------------------------------------------------

TEST_F(HostFace, EventsByNameAndMask) {
    EXPECT_EQ(uint64_t{1} << 5, Fg_getEventMask(fg_, "Device1_Process1_Overflow_Overflow"));
    EXPECT_EQ(uint64_t{1}, Fg_getEventMask(fg_, "Device1_Process0_Overflow_Overflow"));
    EXPECT_EQ(0u, Fg_getEventMask(fg_, "nope"));
    EXPECT_EQ(0u, Fg_getEventMask(fg_, nullptr));
    EXPECT_STREQ("Device1_Process0_Other_Event", Fg_getEventName(fg_, uint64_t{1} << 2));
    EXPECT_EQ(nullptr, Fg_getEventName(fg_, 0));
    EXPECT_EQ(nullptr, Fg_getEventName(fg_, 3));
    EXPECT_EQ(nullptr, Fg_getEventName(fg_, uint64_t{1} << 3));
}

// ---- acquisition and shading ----------------------------------------------------------------------

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

    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_AcquireEx(fg_, 2, 1, 0, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(fg_));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_stopAcquireEx(fg_, -1, nullptr, 0));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastPicNumberEx(fg_, 7, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastPicNumberBlockingEx(fg_, 1, 7, 1, nullptr));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getStatusEx(fg_, 0, 0, 9, nullptr));

    SimAcquisitionCounters c;
    SimBoard_GetAcquisitionCounters(dev_, &c);
    EXPECT_EQ(3, c.acquireCalls);
    EXPECT_EQ(3, c.stopCalls);
    EXPECT_EQ(12, c.lastPicNumberCalls);
    EXPECT_EQ(2, c.statusCalls);
    EXPECT_EQ(1, c.appletIdCalls);
    EXPECT_EQ(0, c.running[0]);
    EXPECT_EQ(0, c.running[1]);
}

TEST_F(HostFace, ShadingIsNotSupported) {
    EXPECT_EQ(nullptr, Fg_AllocShading(fg_, 0, 0));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Fg_getLastErrorNumber(fg_));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Fg_FreeShading(fg_, nullptr));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_SetSubValueLine(fg_, nullptr, 0, 0, 1.0f));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_SetMultValueLine(fg_, nullptr, 0, 0, 1.0f));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_SetFixedPatternNoiseLine(fg_, nullptr, 0, 0, 1));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_GetMaxLine(fg_, nullptr));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_GetAccess(fg_, nullptr));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_FreeAccess(fg_, nullptr));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Shad_WriteActLine(fg_, nullptr, 0));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Fg_saveConfig(fg_, "x.mcf"));
    EXPECT_EQ(FG_ERR_NOT_SUPPORTED, Fg_loadConfig(fg_, "x.mcf"));
}

// ---- lifetime -----------------------------------------------------------------------------

TEST_F(HostFace, EveryHostCallIsCounted) {
    const int before = SimBoard_HostCallCount(dev_);
    uint32_t v = 0;
    Fg_getParameterWithType(fg_, FG_HOST_NR_OF_DMAS, &v, 0, FG_PARAM_TYPE_UINT32_T);
    Fg_setParameterWithType(fg_, 0, &v, 0, FG_PARAM_TYPE_UINT32_T);  // refused, still a call
    Fg_getLastErrorNumber(fg_);
    Fg_getParameterInfo(fg_, 0);
    Fg_getLastPicNumberEx(fg_, 0, nullptr);
    Fg_FreeShading(fg_, nullptr);
    EXPECT_EQ(before + 6, SimBoard_HostCallCount(dev_));
}

TEST_F(HostFace, ReinitialisingADeviceStartsFromTheDesignAgain) {
    EXPECT_EQ(0, setU32(kWidth0, 77));
    EXPECT_EQ(0, Fg_FreeGrabber(fg_));
    fg_ = Fg_InitHandleSlaveAware("again", dev_, design_, 0);
    ASSERT_NE(nullptr, fg_);
    EXPECT_EQ(1024u, getU32(kWidth0));
    std::vector<SimLogEntry> l = log();
    ASSERT_EQ(1u, l.size());
    EXPECT_STREQ(kWidth0, l[0].name) << "earlier log entries stay readable";
}

TEST(HostLifetime, HandleOutlivingItsDeviceIsRefusedAndStillFreed) {
    QORdevice* dev = SimBoard_CreateDevice(0);
    fpga_design* design = loadText(smallDesign());
    Fg_Struct* fg = Fg_InitHandleSlaveAware("x", dev, design, 0);
    ASSERT_NE(nullptr, fg);
    SimBoard_DestroyDevice(dev);
    uint32_t v = 0;
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_getParameterWithType(fg, FG_HOST_NR_OF_DMAS, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_getLastErrorNumber(fg));
    EXPECT_EQ(nullptr, SimBoard_DeviceOfHostHandle(fg));
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
    HapUnloadHapFile(design);
}

TEST_F(HostFace, ConcurrentCallsOnOneBoardAreSerialised) {
    const int before = SimBoard_HostCallCount(dev_);
    const int w0 = id(kWidth0), w1 = id(kWidth1);
    auto worker = [this](int pid, unsigned dma) {
        for (uint32_t i = 0; i < 2000; ++i) {
            uint32_t v = i;
            EXPECT_EQ(0, Fg_setParameterWithType(fg_, pid, &v, dma, FG_PARAM_TYPE_UINT32_T));
            EXPECT_EQ(0, Fg_getParameterWithType(fg_, pid, &v, dma, FG_PARAM_TYPE_UINT32_T));
            Fg_getLastPicNumberEx(fg_, static_cast<int>(dma), nullptr);
        }
    };
    std::thread a(worker, w0, 0u), b(worker, w1, 1u);
    a.join();
    b.join();
    EXPECT_EQ(before + 2 + 12000, SimBoard_HostCallCount(dev_));
    EXPECT_EQ(4000, SimBoard_LogCount(dev_));
    EXPECT_EQ(1999u, getU32(kWidth0));
    EXPECT_EQ(1999u, getU32(kWidth1, 1));
}
