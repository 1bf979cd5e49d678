// The register I/O runtime on a simulated device.

#include <gtest/gtest.h>

#include "platform_support.h"

using namespace platformtest;

namespace {

// Register 3 is 8 bits wide, 10 is 40 bits wide, 11 is read-only.
class Registers : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(nullptr, b_.fg); }
    uint64_t read(int reg) {
        uint64_t v = 0xDEAD;
        EXPECT_EQ(0, TervikRegisterRead(dev_, reg, &v)) << reg;
        return v;
    }
    Board b_{smallDesign()};
    QORdevice* const dev_ = b_.dev;
};

}  // namespace

TEST_F(Registers, ValuesAreStoredAsWrittenWithoutMaskingAlsoInReadOnlyRegisters) {
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 0x1FFF));
    EXPECT_EQ(0x1FFFu, read(3));
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 10, 0xFFFFFFFFFFFFFFFFull));
    EXPECT_EQ(0xFFFFFFFFFFFFFFFFull, read(10));
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 11, 5));
    EXPECT_EQ(5u, read(11));
    uint64_t v = 0;
    EXPECT_EQ(0, SimBoard_GetRegister(dev_, 3, &v));
    EXPECT_EQ(0x1FFFu, v);
    EXPECT_EQ(0, SimBoard_SetRegister(dev_, 10, 7));  // a board-side change
    EXPECT_EQ(7u, read(10));
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
    // a device without a board has no registers
    QORdevice* bare = SimBoard_CreateDevice(3);
    EXPECT_LT(TervikRegisterWrite(bare, 1, 1), 0);
    EXPECT_LT(TervikRegisterRead(bare, 1, &v), 0);
    SimBoard_DestroyDevice(bare);
}

TEST_F(Registers, InjectedFailuresAffectReadsAndWritesUntilCleared) {
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 1));
    SimBoard_FailRegisters(dev_, -901);
    EXPECT_EQ(-901, TervikRegisterWrite(dev_, 3, 2));
    uint64_t v = 99;
    EXPECT_EQ(-901, TervikRegisterRead(dev_, 3, &v));
    EXPECT_EQ(99u, v);
    SimBoard_FailRegisters(dev_, 0);
    EXPECT_EQ(1u, read(3)) << "the failed write changed nothing";
    SimBoard_FailRegisters(dev_, -902);
    SimBoard_ClearFaults(dev_);
    EXPECT_EQ(0, TervikRegisterWrite(dev_, 3, 2));
}

TEST(RegistersOfTheGeneratedDesign, EveryRegisterIsReachableByItsNumber) {
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
