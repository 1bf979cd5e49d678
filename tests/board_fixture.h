// Test helpers: a board opened with the Orvindel applet on the simulated
// platform, seen as an application sees it (through the host runtime's
// application side), plus direct access to the applet library's exports.
#ifndef ORV_TESTS_BOARD_FIXTURE_H
#define ORV_TESTS_BOARD_FIXTURE_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "fg_applet.h"
#include "fg_types.h"
#include "sdk_ids.h"
#include "sim_board.h"

namespace orvtest {

// A board opened with Fg_InitEx; closed (Fg_FreeGrabber) at the end of the scope.
class Board {
public:
    explicit Board(int flags = 0) {
        fg_ = Fg_InitEx("Orvindel", 0, flags);
        if (fg_) dev_ = SimBoard_DeviceOf(fg_);
    }
    ~Board() {
        if (fg_) Fg_FreeGrabber(fg_);
    }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    bool ok() const { return fg_ != nullptr && dev_ != nullptr; }
    Fg_Struct* fg() const { return fg_; }
    QORdevice* dev() const { return dev_; }

    // ---- typed access through the exports ----
    int set(int id, uint32_t v, int port = 0) {
        return Fg_setParameterWithType(fg_, id, &v, port, FG_PARAM_TYPE_UINT32_T);
    }
    int setD(int id, double v, int port = 0) { return Fg_setParameterWithType(fg_, id, &v, port, FG_PARAM_TYPE_DOUBLE); }
    int setText(int id, const char* v, int port = 0) {
        return Fg_setParameterWithType(fg_, id, v, port, FG_PARAM_TYPE_CHAR_PTR);
    }
    int get(int id, uint32_t* v, int port = 0) { return Fg_getParameterWithType(fg_, id, v, port, FG_PARAM_TYPE_UINT32_T); }
    int getD(int id, double* v, int port = 0) { return Fg_getParameterWithType(fg_, id, v, port, FG_PARAM_TYPE_DOUBLE); }
    // Reads that must succeed.
    uint32_t u32(int id, int port = 0) {
        uint32_t v = 0xDEADBEEF;
        EXPECT_EQ(0, get(id, &v, port)) << "reading " << id << " on port " << port;
        return v;
    }
    double dbl(int id, int port = 0) {
        double v = -12345.678;
        EXPECT_EQ(0, getD(id, &v, port)) << "reading " << id << " on port " << port;
        return v;
    }
    std::string text(int id, int port = 0) {
        char buf[1024];
        std::memset(buf, 0, sizeof buf);
        EXPECT_EQ(0, Fg_getParameterWithType(fg_, id, buf, port, FG_PARAM_TYPE_CHAR_PTR));
        return buf;
    }
    int lastError() { return Fg_getLastErrorNumber(fg_); }

    // ---- the registry as the host sees it ----
    // The record of an SDK identity on a port, found by walking the port's tree.
    RegisterInfo* record(int port, int id) {
        for (RegisterInfo* g = Fg_getParameterInfo(fg_, port); g; g = g->next) {
            if (RegisterInfo* r = find(g, id)) return r;
        }
        return nullptr;
    }

    // ---- the simulated board ----
    std::vector<SimLogEntry> log() {
        std::vector<SimLogEntry> out;
        int n = SimBoard_LogCount(dev_);
        for (int i = 0; i < n; ++i) {
            SimLogEntry e;
            if (SimBoard_LogEntry(dev_, i, &e) == 0) out.push_back(e);
        }
        return out;
    }
    void clearLog() { SimBoard_LogClear(dev_); }
    uint32_t designU32(const char* name) {
        uint32_t v = 0xDEADBEEF;
        EXPECT_EQ(0, SimBoard_GetValue(dev_, name, FG_PARAM_TYPE_UINT32_T, &v)) << name;
        return v;
    }
    double designDouble(const char* name) {
        double v = -12345.678;
        EXPECT_EQ(0, SimBoard_GetValue(dev_, name, FG_PARAM_TYPE_DOUBLE, &v)) << name;
        return v;
    }
    void setDesignU32(const char* name, uint32_t v) {
        EXPECT_EQ(0, SimBoard_SetValue(dev_, name, FG_PARAM_TYPE_UINT32_T, &v)) << name;
    }

private:
    static RegisterInfo* find(RegisterInfo* r, int id) {
        if (!r) return nullptr;
        if (r->format != REG_FORMAT_GROUP) return r->id == id ? r : nullptr;
        for (int i = 0; i < r->u.gReg.nrOfElements; ++i)
            if (RegisterInfo* f = find(r->u.gReg.elements[i], id)) return f;
        return nullptr;
    }

    Fg_Struct* fg_ = nullptr;
    QORdevice* dev_ = nullptr;
};

// One logged design write, in a form that compares and prints well.
struct Write {
    std::string name;
    uint64_t value;
    unsigned dma;
    int type;
    bool operator==(const Write& o) const {
        return name == o.name && value == o.value && dma == o.dma && type == o.type;
    }
};
inline std::ostream& operator<<(std::ostream& os, const Write& w) {
    return os << "{" << w.name << " = " << w.value << " dma " << w.dma << " type " << w.type << "}";
}
// The integer design writes of a log (doubles as their value truncated; use
// the raw log for those).
inline std::vector<Write> writes(const std::vector<SimLogEntry>& log) {
    std::vector<Write> out;
    for (const SimLogEntry& e : log) out.push_back({e.name ? e.name : "", e.u, e.dma, e.type});
    return out;
}
inline Write u32w(const std::string& name, uint64_t v, unsigned dma) {
    return {name, v, dma, FG_PARAM_TYPE_UINT32_T};
}
// "Device1_Process<port>_" + rest
inline std::string dp(int port, const char* rest) {
    return std::string("Device1_Process") + char('0' + port) + "_" + rest;
}

// The applet library opened directly, for the exports themselves (NULL boards,
// Std_entry on a device of the test's own).
class AppletLibrary {
public:
    AppletLibrary() { handle_ = dlopen("libOrvindel.so", RTLD_NOW | RTLD_LOCAL); }
    ~AppletLibrary() {
        if (handle_) dlclose(handle_);
    }
    bool ok() const { return handle_ != nullptr; }
    template <class F>
    F fn(const char* name) const {
        return reinterpret_cast<F>(dlsym(handle_, name));
    }
    void* handle() const { return handle_; }

private:
    void* handle_ = nullptr;
};

}  // namespace orvtest

#endif
