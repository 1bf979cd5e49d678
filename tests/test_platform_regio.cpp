// The register I/O runtime on a simulated device.

#include <gtest/gtest.h>

#include "platform_support.h"
#include "sim_board.h"

using namespace platformtest;

namespace {

class Registers : public ::testing::Test {
protected:
    void SetUp() override {
        dev_ = SimBoard_CreateDevice(0);
        design_ = loadText(smallDesign());
        ASSERT_NE(nullptr, design_);
        fg_ = Fg_InitHandleSlaveAware("Small.hap", dev_, design_, 0);
        ASSERT_NE(nullptr, fg_);
    }
    void TearDown() override {
        Fg_FreeGrabber(fg_);
        SimBoard_DestroyDevice(dev_);
        HapUnloadHapFile(design_);
    }
    QORdevice* dev_ = nullptr;
    fpga_design* design_ = nullptr;
    Fg_Struct* fg_ = nullptr;
};

}  // namespace

TEST_F(Registers, ValuesAreStoredAsWrittenWithoutMasking) {
    // register 3 is 8 bits wide, 10 is 40 bits wide
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 0x1FFF));
    uint64_t v = 0;
    EXPECT_EQ(0, TervikRegisterRead(dev_, 3, &v));
    EXPECT_EQ(0x1FFFu, v);
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 10, 0xFFFFFFFFFFFFFFFFull));
    EXPECT_EQ(0, TervikRegisterRead(dev_, 10, &v));
    EXPECT_EQ(0xFFFFFFFFFFFFFFFFull, v);
    EXPECT_EQ(0, SimBoard_GetRegister(dev_, 3, &v));
    EXPECT_EQ(0x1FFFu, v);
}

TEST_F(Registers, ReadOnlyRegistersStillTakeWrites) {
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 11, 5));
    uint64_t v = 0;
    EXPECT_EQ(0, TervikRegisterRead(dev_, 11, &v));
    EXPECT_EQ(5u, v);
}

TEST_F(Registers, TheLastWriteIsRecorded) {
    int reg = 0;
    uint64_t v = 0;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_LastRegisterWrite(dev_, &reg, &v));
    EXPECT_EQ(0, SimBoard_RegisterWriteCount(dev_));
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 10, 0x123456789Aull));
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 0x1FFF));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, TervikRegisterWrite(dev_, 4, 1));  // unknown: not recorded
    EXPECT_EQ(2, SimBoard_RegisterWriteCount(dev_));
    EXPECT_EQ(0, SimBoard_LastRegisterWrite(dev_, &reg, &v));
    EXPECT_EQ(3, reg);
    EXPECT_EQ(0x1FFFu, v);
    // a board-side change is not a write of the applet
    EXPECT_EQ(0, SimBoard_SetRegister(dev_, 10, 7));
    EXPECT_EQ(2, SimBoard_RegisterWriteCount(dev_));
    EXPECT_EQ(0, TervikRegisterRead(dev_, 10, &v));
    EXPECT_EQ(7u, v);
}

TEST_F(Registers, UnknownRegistersAndMissingBoardsFail) {
    uint64_t v = 42;
    for (int reg : {0, 1, 2, 4, -3, 1000000}) {
        EXPECT_LT(TervikRegisterWrite(dev_, reg, 1), 0) << reg;
        EXPECT_LT(TervikRegisterRead(dev_, reg, &v), 0) << reg;
    }
    EXPECT_EQ(42u, v);
    EXPECT_LT(TervikRegisterWrite(nullptr, 3, 1), 0);
    EXPECT_LT(TervikRegisterRead(nullptr, 3, &v), 0);
    EXPECT_LT(TervikRegisterRead(dev_, 3, nullptr), 0);
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_SetRegister(dev_, 4, 1));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_GetRegister(dev_, 4, &v));
}

TEST_F(Registers, InjectedFailuresAffectReadsAndWritesUntilCleared) {
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 1));
    SimBoard_FailRegisters(dev_, -901);
    EXPECT_EQ(-901, TervikRegisterWrite(dev_, 3, 2));
    uint64_t v = 99;
    EXPECT_EQ(-901, TervikRegisterRead(dev_, 3, &v));
    EXPECT_EQ(99u, v);
    EXPECT_EQ(1, SimBoard_RegisterWriteCount(dev_));
    SimBoard_FailRegisters(dev_, 0);
    EXPECT_EQ(0, TervikRegisterRead(dev_, 3, &v));
    EXPECT_EQ(1u, v) << "the failed write changed nothing";
    SimBoard_FailRegisters(dev_, -902);
    SimBoard_ClearFaults(dev_);
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 2));
}

TEST(RegistersWithoutDesign, ADeviceWithoutBoardHasNoRegisters) {
    QORdevice* dev = SimBoard_CreateDevice(3);
    uint64_t v = 0;
    EXPECT_LT(TervikRegisterWrite(dev, 1, 1), 0);
    EXPECT_LT(TervikRegisterRead(dev, 1, &v), 0);
    SimBoard_DestroyDevice(dev);
}

TEST(RegistersOfTheGeneratedDesign, EveryRegisterIsReachableByItsNumber) {
    fpga_design* design = HapLoadHapFileWithType(designImagePath().c_str(), HAP_FILE_TYPE_DEFAULT, 1);
    ASSERT_NE(nullptr, design);
    QORdevice* dev = SimBoard_CreateDevice(0);
    Fg_Struct* fg = Fg_InitHandleSlaveAware("Orvindel.hap", dev, design, 0);
    ASSERT_NE(nullptr, fg);
    for (int pos = 1; pos <= HapGetNrOfRegister(design); ++pos) {
        int number = HapGetRegisterByName(design, HapGetRegisterName(design, pos));
        EXPECT_EQ(0, TervikRegisterWrite(dev, number, 0x100u + static_cast<unsigned>(pos))) << number;
        uint64_t v = 0;
        EXPECT_EQ(0, TervikRegisterRead(dev, number, &v));
        EXPECT_EQ(0x100u + static_cast<unsigned>(pos), v);
    }
    Fg_FreeGrabber(fg);
    SimBoard_DestroyDevice(dev);
    HapUnloadHapFile(design);
}
