// Writes the applet's own GenApi descriptions to files, through the export
// Fg_getParameterInfoXML of boards opened with the applet on the simulated
// platform (size query, then copy), for the checks with external GenICam tools:
//   applet_port0.xml, applet_port1.xml          a board after its default values
//   applet_changed_port0.xml, ..._port1.xml     the same after writes whose
//                                               handlers narrowed ranges and
//                                               changed access flags
//   applet_dra_port0.xml                        a board with direct register
//                                               access enabled (its group is
//                                               not described)
// Usage: xml_dump_applet [output directory]
#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "fg_types.h"
#include "sdk_ids.h"
#include "sim_board.h"
#include "xml_dump_file.h"

namespace {

// Values of the enumerated parameters written below.
const uint32_t kAsyncTrigger = 2;            // line trigger mode ASYNC_TRIGGER
const uint32_t kAsyncTriggerMultiFrame = 8;  // image trigger mode ASYNC_TRIGGER_MULTIFRAME
const uint32_t kSimulatorFrameRate = 2;      // simulator speed mode FG_FRAMERATE
const uint32_t kLutTypeCustom = 0;           // LUT_TYPE_CUSTOM

bool dump(Fg_Struct* fg, int port, const std::string& path) {
    auto query = [&](char* buffer, size_t* size) { return Fg_getParameterInfoXML(fg, port, buffer, size); };
    return dumpXmlFile(query, path);
}

// A write of a 32-bit (uint32_t) or double value.
template <class T>
bool set(Fg_Struct* fg, int id, T value, int port) {
    const FgParamTypes type = std::is_same<T, double>::value ? FG_PARAM_TYPE_DOUBLE : FG_PARAM_TYPE_UINT32_T;
    const int rc = Fg_setParameterWithType(fg, id, &value, port, type);
    if (rc != 0) std::fprintf(stderr, "writing %g to %d on port %d answered %d\n", double(value), id, port, rc);
    return rc == 0;
}

Fg_Struct* openBoard(int flags) {
    Fg_Struct* fg = Fg_InitEx("Orvindel", 0, flags);
    if (fg == NULL) std::fprintf(stderr, "cannot open a board with the applet: %d\n", Fg_getLastErrorNumber(NULL));
    return fg;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string dir = argc > 1 ? std::string(argv[1]) + "/" : std::string();
    bool ok = true;

    Fg_Struct* fg = openBoard(0);
    if (fg == NULL) return 1;
    ok = dump(fg, 0, dir + "applet_port0.xml") && ok;
    ok = dump(fg, 1, dir + "applet_port1.xml") && ok;

    // Handlers rewrite records: a narrowed x-offset range, an exposure bound
    // that is not a short decimal, trigger inputs and simulator rates that
    // change between read-only and read-write, the processing parameters
    // turned read-only by a file lookup table.
    ok = set(fg, FG_WIDTH, 2048u, 1) && ok;
    ok = set(fg, FG_LINETRIGGERMODE, kAsyncTrigger, 0) && ok;
    ok = set(fg, FG_LINEPERIODE, 333.336, 1) && ok;
    ok = set(fg, FG_CAMERASIMULATOR_SELECT_MODE, kSimulatorFrameRate, 0) && ok;
    ok = set(fg, FG_LUT_TYPE, kLutTypeCustom, 1) && ok;
    ok = set(fg, FG_IMGTRIGGERMODE, kAsyncTriggerMultiFrame, 1) && ok;
    ok = dump(fg, 0, dir + "applet_changed_port0.xml") && ok;
    ok = dump(fg, 1, dir + "applet_changed_port1.xml") && ok;
    Fg_FreeGrabber(fg);

    setenv("TERVIK_ENABLE_DRA", "on", 1);
    fg = openBoard(1);
    unsetenv("TERVIK_ENABLE_DRA");
    if (fg == NULL) return 1;
    ok = dump(fg, 0, dir + "applet_dra_port0.xml") && ok;
    Fg_FreeGrabber(fg);

    return ok ? 0 : 1;
}
