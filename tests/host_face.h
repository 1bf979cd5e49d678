// The host face fixture of the simulated host runtime tests: a device with a
// board initialised from the small design, and typed access helpers on it.
#ifndef HOST_FACE_H
#define HOST_FACE_H

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

namespace hostface {

using namespace platformtest;

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

}  // namespace hostface

#endif
