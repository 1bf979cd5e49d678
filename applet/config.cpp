// The port sections of a camera configuration file: what is saved for each
// port and how a load restores it. The keys, their kinds, where each saved
// value comes from and what a load does with it are in port_cache.def.
#include <cstring>
#include <string>

#include "AppletWrapper.h"
#include "Fg_ConfigFileParser.h"

namespace {

// A text value passes through a zero-filled buffer of this size on save and
// load, so a text keeps at most 1023 characters.
const size_t kTextBufferSize = 1024;

// ---- value kinds: how a value is written and read back ----

struct ConfigKind_U32 {
    typedef uint32_t Value;
    // Unsigned values are written in their signed form (4294967295 as -1) and
    // read back to the same 32-bit pattern.
    template <class T>
    static void write(Fg_ConfigFileParser& parser, const char* key, T value) {
        parser.writeConfigFileIntKey(key, static_cast<int>(value));
    }
    static bool read(Fg_ConfigFileParser& parser, int port, const char* key, Value& out) {
        int v = 0;
        if (parser.parseIntKeySection(port, key, &v) != 0) return false;
        out = static_cast<uint32_t>(v);
        return true;
    }
    static Value arg(const Value& v) { return v; }
};

struct ConfigKind_DOUBLE {
    typedef double Value;
    static void write(Fg_ConfigFileParser& parser, const char* key, double value) {
        parser.writeConfigFileDoubleKey(key, value);
    }
    static bool read(Fg_ConfigFileParser& parser, int port, const char* key, Value& out) {
        double v = 0.0;
        if (parser.parseDoubleKeySection(port, key, &v) != 0) return false;
        out = v;
        return true;
    }
    static Value arg(const Value& v) { return v; }
};

struct ConfigKind_TEXT {
    typedef std::string Value;
    static void write(Fg_ConfigFileParser& parser, const char* key, const std::string& value) {
        char buffer[kTextBufferSize];
        std::memset(buffer, 0, sizeof buffer);
        std::strncpy(buffer, value.c_str(), kTextBufferSize - 1);
        parser.writeConfigFile(key, buffer);
    }
    static bool read(Fg_ConfigFileParser& parser, int port, const char* key, Value& out) {
        char buffer[kTextBufferSize];
        std::memset(buffer, 0, sizeof buffer);
        if (parser.parseKeySection(port, key, buffer) != 0) return false;
        buffer[kTextBufferSize - 1] = '\0';
        out = buffer;
        return true;
    }
    static const char* arg(const Value& v) { return v.c_str(); }
};

// ---- saved values that are not the cached value ----
// Each raises the int code of a failing design read or rate computation; the
// key is then left out of the file. The simulator's values are what its model
// reports (camera_simulator.h).

uint32_t savedValue_FG_CAMERASIMULATOR_WIDTH(FgQorWrapperImpl& applet, int port) {
    return CamSim(applet, port).width();
}

uint32_t savedValue_FG_CAMERASIMULATOR_LINE_GAP(FgQorWrapperImpl& applet, int port) {
    return CamSim(applet, port).lineGap();
}

uint32_t savedValue_FG_CAMERASIMULATOR_FRAME_GAP(FgQorWrapperImpl& applet, int port) {
    return CamSim(applet, port).frameGap();
}

double savedValue_FG_CAMERASIMULATOR_PIXEL_FREQUENCY(FgQorWrapperImpl& applet, int port) {
    return CamSim(applet, port).pixelFrequencyOrFullSpeed();
}

double savedValue_FG_CAMERASIMULATOR_LINERATE(FgQorWrapperImpl& applet, int port) {
    CamSim sim(applet, port);
    return sim.lineRate(sim.mode());
}

double savedValue_FG_CAMERASIMULATOR_FRAMERATE(FgQorWrapperImpl& applet, int port) {
    CamSim sim(applet, port);
    return sim.frameRate(sim.mode());
}

uint32_t savedValue_FG_CAMERASIMULATOR_ACTIVE(FgQorWrapperImpl& applet, int port) {
    return CamSim(applet, port).activeClocks();
}

uint32_t savedValue_FG_CAMERASIMULATOR_PASSIVE(FgQorWrapperImpl& applet, int port) {
    return CamSim(applet, port).passiveClocks();
}

// The compensation count moves with the belt: saved as the design holds it.
uint32_t savedValue_FG_SHAFTENCODER_COMPENSATION_COUNT(FgQorWrapperImpl& applet, int port) {
    return applet.readU32(port, DP_Trigger_Trigger_EncoderCompensationCount);
}

uint32_t savedValue_FG_DIGIO_INPUT(FgQorWrapperImpl& applet, int port) {
    uint32_t value = 0;
    applet.designRead(applet.qorShared(DS_Trigger_InputStatus_Status), &value, port, FG_PARAM_TYPE_UINT32_T);
    return value;
}

// Runs one handler of the second load pass: a value the handler rejects or
// fails to write is dropped and the load goes on.
template <class Apply>
void applyQuietly(Apply&& apply) {
    try {
        apply();
    } catch (int) {
    }
}

}  // namespace

#define ORV_SAVE(NAME, KIND, VALUE)                     \
    try {                                               \
        ConfigKind_##KIND::write(parser, #NAME, VALUE); \
    } catch (int) {                                     \
    }
#define ORV_SAVE_CACHED(NAME, KIND) ORV_SAVE(NAME, KIND, ps.cache_##NAME)
#define ORV_SAVE_LIVE(NAME, KIND) ORV_SAVE(NAME, KIND, savedValue_##NAME(*this, port))
#define ORV_SAVE_SPECIAL(NAME, KIND) ORV_SAVE(NAME, KIND, savedValue_##NAME(*this, port))
#define ORV_SAVE_NONE(NAME, KIND)

void FgQorWrapperImpl::saveConfig(Fg_ConfigFileParser& parser) {
    for (int port = 0; port < kPortCount; ++port) {
        PortState& ps = port_[port];
        parser.writeConfigFileByPort(port);
#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) ORV_SAVE_##SAVED(NAME, TYPE)
#define PORT_CACHE_TEXT(NAME, SAVED, ON_LOAD) ORV_SAVE_##SAVED(NAME, TEXT)
#define PORT_FILE_KEY(NAME, TYPE, SAVED) ORV_SAVE_##SAVED(NAME, TYPE)
#include "port_cache.def"
    }
}

// First pass: applied and cached-only keys are stored as cached values.
#define ORV_LOAD_CACHE(NAME, KIND)                                              \
    {                                                                           \
        ConfigKind_##KIND::Value value = ConfigKind_##KIND::Value();            \
        if (!ConfigKind_##KIND::read(parser, port, #NAME, value)) return false; \
        ps.cache_##NAME = value;                                                \
    }
#define ORV_LOAD_CACHE_APPLIED(NAME, KIND) ORV_LOAD_CACHE(NAME, KIND)
#define ORV_LOAD_CACHE_CACHED_ONLY(NAME, KIND) ORV_LOAD_CACHE(NAME, KIND)
#define ORV_LOAD_CACHE_NOT_READ(NAME, KIND)
#define ORV_LOAD_CACHE_NONE(NAME, KIND)

// Second pass: applied keys are read again and handed to their handler.
#define ORV_LOAD_APPLY_APPLIED(NAME, KIND)                                             \
    {                                                                                  \
        ConfigKind_##KIND::Value value = ConfigKind_##KIND::Value();                   \
        if (!ConfigKind_##KIND::read(parser, port, #NAME, value)) return false;        \
        applyQuietly([&] { set_##NAME(port, ConfigKind_##KIND::arg(value), false); }); \
    }
#define ORV_LOAD_APPLY_CACHED_ONLY(NAME, KIND)
#define ORV_LOAD_APPLY_NOT_READ(NAME, KIND)
#define ORV_LOAD_APPLY_NONE(NAME, KIND)

bool FgQorWrapperImpl::loadConfig(Fg_ConfigFileParser& parser) {
    for (int port = 0; port < kPortCount; ++port) {
        PortState& ps = port_[port];
        // Every cached value of the port is in place before any handler runs,
        // so handlers that consult other cached values see the file's values.
#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) ORV_LOAD_CACHE_##ON_LOAD(NAME, TYPE)
#define PORT_CACHE_TEXT(NAME, SAVED, ON_LOAD) ORV_LOAD_CACHE_##ON_LOAD(NAME, TEXT)
#include "port_cache.def"

#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) ORV_LOAD_APPLY_##ON_LOAD(NAME, TYPE)
#define PORT_CACHE_TEXT(NAME, SAVED, ON_LOAD) ORV_LOAD_APPLY_##ON_LOAD(NAME, TEXT)
#include "port_cache.def"
    }
    return true;
}
