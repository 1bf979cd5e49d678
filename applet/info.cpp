// The applet information query: fixed answers about the applet that the host
// runtime asks without an applet object (name, texts, topology, the embedded
// design image and icon, enumeration constants by name).
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "AppletHap.h"
#include "AppletWrapper.h"
#include "fg_applet.h"

namespace {

const char kAppletName[] = "Orvindel";
const char kVersion[] = "3.0.2.4";
const char kVersionDetail[] = "3.0.2.4.20170809.082732";
const char kCategory[] = "Maravel:Line";
const char kTags[] = "class=standard,family=acquisition,type=dual,sensortype=line,color=gray,interface=cxp,lag=2";
const char kDescription[] =
    "Acquisition Applet with support of Velox technology, 12 bit image processing and lookup table for two "
    "CoaXPress grayscale line scan cameras with 2 ports and supported transfer speed of CXP-1 (1.250 Gbps) to "
    "CXP-6 (6.250 Gbps).";

// Identity texts of the design and of its bitstream.
const char* const c_HAP_UID = "d27e4a90-1c5b-4e38-2a6d-91f3b0c7e825";
const char* const c_BITSTREAM_UID = "3f1c9d20-7b4e-4a61-8d2f-5e0a7c6b9d14";

const int kPorts = 2;
const int kCameras = 2;
const int kDmas = 2;
const int kProcesses = 2;
const int kVersionCode = 0x30000;
const int kBoardType = 0xA57;

// Output data type of each DMA channel.
const DmaDataType datatypes[3] = {DMA_DATATYPE_GRAY8, DMA_DATATYPE_GRAY8, DMA_DATATYPE_UNDEFINED};

static_assert(sizeof(AppletInfos) == sizeof(int), "the question code is passed as an int");

// Ordered by std::less<>, so that a name is looked up as the caller's text,
// without building a string of it for each query.
typedef std::map<std::string, int, std::less<>> ConstantMap;

// Every SDK constant name of the enumeration tables with its value. A name
// that several tables share (the trigger sources, the asynchronous trigger
// modes) carries the same value in each and is kept once. Built on the first
// question for a constant; the initialisation of a function-local static runs
// exactly once even when several threads ask first at the same time.
const ConstantMap& constantsByName() {
    static const ConstantMap map_enum_name_enum_value = [] {
        ConstantMap names;
        for (int t = 0; t < kAllEnumTableCount; ++t) {
            const EnumTable* table = kAllEnumTables[t];
            if (table == nullptr) continue;
            for (int i = 0; i < table->count; ++i) {
                const EnumField& field = table->fields[i];
                if (field.defName == nullptr) continue;
                names.insert(std::make_pair(std::string(field.defName), static_cast<int>(field.value)));
            }
        }
        return names;
    }();
    return map_enum_name_enum_value;
}

// Index arguments compare as unsigned, so negative ones are out of range.
bool below(int index, unsigned limit) { return static_cast<unsigned>(index) < limit; }

void putU32(void* out, uint32_t v) {
    if (out) std::memcpy(out, &v, sizeof v);
}

template <class T>
void putPointer(void* out, T* p) {
    if (out) std::memcpy(out, &p, sizeof p);
}

int answerPointer(const void** out, const void* p) {
    if (out) *out = p;
    return 0;
}

}  // namespace

extern "C" FG_APPLET_EXPORT int Info(const AppletInfos cmd, const int arg1, const int arg2, void* vptr,
                                     const void** vptrptr) {
    // The host may ask questions this applet does not know; take the code as
    // the plain number it is rather than as a value of the enumeration.
    int code;
    std::memcpy(&code, &cmd, sizeof code);
    switch (code) {
    case GET_ISCAM_COLOR:
    case GET_IS_SMART_APPLET: return 0;
    case GET_PNG_ICON: putU32(vptr, appletIconSize); return answerPointer(vptrptr, appletIcon);
    case GET_EMBEDDED_HAP: putU32(vptr, rawHapSize); return answerPointer(vptrptr, rawHap);
    case GET_HAP_ID: return answerPointer(vptrptr, c_HAP_UID);
    case GET_BITSTREAM_ID: return answerPointer(vptrptr, c_BITSTREAM_UID);
    case GET_IS_ADVANCED_ACQUISITION_APPLET: return 1;
    case GET_NR_OF_PORTS: return kPorts;
    case GET_NR_OF_CAMS: return kCameras;
    case GET_NR_OF_DMAS: return kDmas;
    case GET_VERSION: return kVersionCode;
    case GET_HAP_NAME: return 0;
    case GET_BOARD_TYPE: return kBoardType;
    case GET_PX_TYPE:
    case GET_IS_CUSTOM:
    case GET_IS_AREA:
    case GET_IS_MEDIUM:
    case GET_IS_FULL: return 0;
    case GET_INFO_DESCRIPTION: return answerPointer(vptrptr, kDescription);
    case GET_INFO_CATEGORY: return answerPointer(vptrptr, kCategory);
    case GET_INFO_TAGS: return answerPointer(vptrptr, kTags);
    case GET_INFO_DEVICE_HANDLE: putPointer(vptr, FgQorWrapper::accessDeviceHandle(nullptr)); return 0;
    case GET_INFO_DESIGN_HANDLE: putPointer(vptr, FgQorWrapper::accessDesignHandle(nullptr)); return 0;
    case GET_INFO_FRIENDLY_NAME: return answerPointer(vptrptr, kAppletName);
    case GET_INFO_VERSIONSTRING: return answerPointer(vptrptr, kVersion);
    case GET_INFO_VERSIONSTRING_DETAIL: return answerPointer(vptrptr, kVersionDetail);
    case GET_INFO_RESOLVE_ENUM: {
        if (vptr == nullptr) return FG_ERR_INVALID_PARAMETER;
        const ConstantMap& constants = constantsByName();
        ConstantMap::const_iterator found = constants.find(static_cast<const char*>(vptr));
        return found == constants.end() ? int(FG_ERR_INVALID_PARAMETER) : found->second;
    }
    case GET_INFO_NR_OF_PROCESSES: return kProcesses;
    case GET_INFO_NR_OF_PROCESS_CHANNELS:
    case GET_INFO_NR_OF_PROCESS_CAMERAS: return below(arg1, kProcesses) ? 1 : int(FG_ERR_INVALID_PARAMETER);
    case GET_INFO_PROCESS_CHANNEL_DMA:
    case GET_INFO_PROCESS_CAMERA_PORT:
        // One channel and one camera per process, on the DMA and port of the same number.
        return below(arg1, kProcesses) && below(arg2, 1) ? arg1 : int(FG_ERR_INVALID_PARAMETER);
    case GET_INFO_DMA_DIRECTION: return below(arg1, kDmas) ? 1 : int(FG_ERR_INVALID_PARAMETER);
    case GET_INFO_DMA_DATATYPE: return below(arg1, kDmas) ? int(datatypes[arg1]) : int(FG_ERR_INVALID_PARAMETER);
    }
    return FG_ERR_NOT_SUPPORTED;
}
