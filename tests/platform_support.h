// Helpers shared by the tests of the simulated board platform.
#ifndef ORV_TESTS_PLATFORM_SUPPORT_H
#define ORV_TESTS_PLATFORM_SUPPORT_H

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fg_platform.h"
#include "sim_board.h"

namespace platformtest {

inline std::string env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

inline std::string designImagePath() { return env("ORV_DESIGN_DIR") + "/Orvindel.hap"; }
inline std::string iconPath() { return env("ORV_DESIGN_DIR") + "/OrvindelIcon.png"; }

inline std::vector<unsigned char> readFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

inline bool writeFile(const std::string& path, const std::string& data) {
    std::ofstream f(path, std::ios::binary);
    return static_cast<bool>(f.write(data.data(), static_cast<std::streamsize>(data.size())).flush());
}

inline fpga_design* loadText(const std::string& text) {
    return HapLoadDesignFromBuffer(text.data(), static_cast<uint32_t>(text.size()), 1);
}
inline fpga_design* loadImage() { return HapLoadHapFileWithType(designImagePath().c_str(), HAP_FILE_TYPE_DEFAULT, 1); }

struct DesignDeleter {
    void operator()(fpga_design* d) const { HapUnloadHapFile(d); }
};
using Design = std::unique_ptr<fpga_design, DesignDeleter>;

// A small design with every kind of parameter, sparse events and registers.
inline std::string smallDesign() {
    return "TERVIK-HAP 1\n"
           "design Small\n"
           "param Device1_Process0_Block_Width U32 1 RW 1024\n"
           "param Device1_Process1_Block_Width U32 1 RW 2048\n"
           "param Device1_Process0_Block_Enable_Value U32 1 RW 1\n"
           "param Device1_Process0_Block_Big U64 1 RW 0x1FFFFFFFFF\n"
           "param Device1_Process0_Block_Period DOUBLE 1 RW 12.5\n"
           "param Device1_Process0_Status_Level U32 1 RO 7\n"
           "param Device1_Process0_Status_Temperature DOUBLE 1 RO 51.25\n"
           "param Device1_Process0_Props_Name TEXT 1 RO hello small world\n"
           "param Device1_Process0_Props_Note TEXT 1 RW\n"
           "param Device1_Process0_Table_Values UFIELD 8 RW 1,2,3\n"
           "param Device1_Process0_Table_Currents DFIELD 4 RO 0.5,0.25,0.125,1.5\n"
           "param Device1_Process2_Io_Out U32 1 RW\n"
           "param Loose U32 1 RW 3\n"
           "event 0 1 Device1_Process0_Overflow_Overflow\n"
           "event 5 1 Device1_Process1_Overflow_Overflow\n"
           "event 2 0 Device1_Process0_Other_Event\n"
           "register 3 Narrow 8 2\n"
           "register 10 Wide 40 2\n"
           "register 11 Readonly 16 0\n"
           "end\n";
}

// A simulated device with a host board initialised from a design (the design
// is owned; `fg` is null when the initialisation failed).
struct Board {
    explicit Board(fpga_design* d, unsigned index = 0) : dev(SimBoard_CreateDevice(index)), design(d) {
        if (design != nullptr) fg = Fg_InitHandleSlaveAware("Board.hap", dev, design, 0);
    }
    explicit Board(const std::string& designText) : Board(loadText(designText)) {}
    ~Board() {
        if (fg != nullptr) Fg_FreeGrabber(fg);
        SimBoard_DestroyDevice(dev);
        HapUnloadHapFile(design);
    }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;
    QORdevice* dev;
    fpga_design* design;
    Fg_Struct* fg = nullptr;
};

// Typed access with the type selector taken from the value's C++ type.
inline FgParamTypes typeOf(const int32_t*) { return FG_PARAM_TYPE_INT32_T; }
inline FgParamTypes typeOf(const uint32_t*) { return FG_PARAM_TYPE_UINT32_T; }
inline FgParamTypes typeOf(const int64_t*) { return FG_PARAM_TYPE_INT64_T; }
inline FgParamTypes typeOf(const uint64_t*) { return FG_PARAM_TYPE_UINT64_T; }
inline FgParamTypes typeOf(const double*) { return FG_PARAM_TYPE_DOUBLE; }
inline FgParamTypes typeOf(const FieldParameterAccess*) { return FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS; }
inline FgParamTypes typeOf(const FieldParameterInt*) { return FG_PARAM_TYPE_STRUCT_FIELDPARAMINT; }

template <typename T>
int setValue(Fg_Struct* fg, int id, const T& v, unsigned dma = 0) {
    return Fg_setParameterWithType(fg, id, &v, dma, typeOf(&v));
}
template <typename T>
int getValue(Fg_Struct* fg, int id, T& v, unsigned dma = 0) {
    return Fg_getParameterWithType(fg, id, &v, dma, typeOf(&v));
}

inline FieldParameterAccess fieldAccess(FgParamTypes vtype, unsigned index, unsigned count, void* elements) {
    FieldParameterAccess a{};
    a.vtype = vtype, a.index = index, a.count = count, a.ptr = elements;
    return a;
}

// One entry of the write log as "name dma type value [first element: elements]".
inline std::string describe(const SimLogEntry& e) {
    std::ostringstream o;
    o << (e.name ? e.name : "?") << " dma" << e.dma << " ";
    switch (e.type) {
    case FG_PARAM_TYPE_DOUBLE: o << "DOUBLE " << e.d; break;
    case FG_PARAM_TYPE_CHAR_PTR: o << "TEXT '" << (e.text ? e.text : "?") << "'"; break;
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS: o << "ACCESS"; break;
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: o << "ELEMENT " << e.u; break;
    default: o << "type" << e.type << " " << e.u;
    }
    if (e.fieldCount > 0 && e.fieldValues != nullptr) {
        o << " [" << e.fieldIndex << ":";
        for (unsigned i = 0; i < e.fieldCount; ++i) o << " " << e.fieldValues[i];
        o << "]";
    }
    return o.str();
}

// The write log of a device, each entry described.
inline std::vector<std::string> writeLog(QORdevice* dev) {
    std::vector<std::string> out;
    SimLogEntry e;
    for (int i = 0; SimBoard_LogEntry(dev, i, &e) == 0; ++i) out.push_back(describe(e));
    return out;
}

}  // namespace platformtest

#endif
