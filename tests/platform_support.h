// Helpers shared by the tests of the simulated board platform.
#ifndef ORV_TESTS_PLATFORM_SUPPORT_H
#define ORV_TESTS_PLATFORM_SUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fg_platform.h"

namespace platformtest {

inline std::string env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

inline std::string designImagePath() { return env("ORV_DESIGN_DIR") + "/Orvindel.hap"; }
inline std::string iconPath() { return env("ORV_DESIGN_DIR") + "/OrvindelIcon.png"; }

inline std::vector<unsigned char> readFile(const std::string& path) {
    std::vector<unsigned char> out;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return out;
    unsigned char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
    std::fclose(f);
    return out;
}

inline bool writeFile(const std::string& path, const std::string& data) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
    return std::fclose(f) == 0 && ok;
}

inline fpga_design* loadText(const std::string& text) {
    return HapLoadDesignFromBuffer(text.data(), static_cast<uint32_t>(text.size()), 1);
}

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

}  // namespace platformtest

#endif
