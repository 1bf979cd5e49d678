// Test helpers: a board opened with the Orvindel applet on the simulated
// platform, seen as an application sees it (through the host runtime's
// application side), plus direct access to the applet library's exports.
#ifndef ORV_TESTS_BOARD_FIXTURE_H
#define ORV_TESTS_BOARD_FIXTURE_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
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
    int setD(int id, double v, int port = 0) {
        return Fg_setParameterWithType(fg_, id, &v, port, FG_PARAM_TYPE_DOUBLE);
    }
    int setText(int id, const char* v, int port = 0) {
        return Fg_setParameterWithType(fg_, id, v, port, FG_PARAM_TYPE_CHAR_PTR);
    }
    int get(int id, uint32_t* v, int port = 0) {
        return Fg_getParameterWithType(fg_, id, v, port, FG_PARAM_TYPE_UINT32_T);
    }
    int getD(int id, double* v, int port = 0) {
        return Fg_getParameterWithType(fg_, id, v, port, FG_PARAM_TYPE_DOUBLE);
    }
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
inline Write u32w(const std::string& name, uint64_t v, unsigned dma) { return {name, v, dma, FG_PARAM_TYPE_UINT32_T}; }
// "Device1_Process<port>_" + rest
inline std::string dp(int port, const char* rest) {
    return std::string("Device1_Process") + char('0' + port) + "_" + rest;
}

// ---- checks shared by the handler tests ----

inline bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// The design writes of a write that must be accepted.
inline std::vector<Write> writesOf(Board& b, int id, uint32_t v, int port = 0) {
    b.clearLog();
    EXPECT_EQ(0, b.set(id, v, port)) << "parameter " << id << " = " << v << " port " << port;
    return writes(b.log());
}
inline std::vector<Write> writesOfD(Board& b, int id, double v, int port = 0) {
    b.clearLog();
    EXPECT_EQ(0, b.setD(id, v, port)) << "parameter " << id << " = " << v << " port " << port;
    return writes(b.log());
}

// A refused write: `code` comes back and is in the error store, nothing reaches
// the design, and the parameter reads as before (a double bit for bit).
inline void expectRejected(Board& b, int id, uint32_t v, int port = 0, int code = FG_ERR_VALUE_OUT_OF_RANGE) {
    uint32_t before = 0xA5A5A5A5u, after = 0xA5A5A5A5u;
    const int readBefore = b.get(id, &before, port);
    b.clearLog();
    EXPECT_EQ(code, b.set(id, v, port)) << "parameter " << id << " = " << v << " port " << port;
    EXPECT_EQ(code, b.lastError()) << "parameter " << id << " = " << v;
    EXPECT_TRUE(b.log().empty()) << "parameter " << id << " = " << v << " wrote to the design";
    EXPECT_EQ(readBefore, b.get(id, &after, port));
    EXPECT_EQ(before, after) << "parameter " << id << " = " << v << " changed the value";
}
inline void expectRejectedD(Board& b, int id, double v, int port = 0, int code = FG_ERR_VALUE_OUT_OF_RANGE) {
    double before = -1.25, after = -1.25;
    const int readBefore = b.getD(id, &before, port);
    b.clearLog();
    EXPECT_EQ(code, b.setD(id, v, port)) << "parameter " << id << " = " << v << " port " << port;
    EXPECT_EQ(code, b.lastError()) << "parameter " << id << " = " << v;
    EXPECT_TRUE(b.log().empty()) << "parameter " << id << " = " << v << " wrote to the design";
    EXPECT_EQ(readBefore, b.getD(id, &after, port));
    EXPECT_TRUE(sameBits(before, after)) << "parameter " << id << " = " << v << " changed " << before << " to "
                                         << after;
}

// A double write that must be accepted: one write of `design` on the port's DMA
// with the value bit for bit, which also reads back bit for bit.
inline void expectDoubleWrite(Board& b, int id, double v, const std::string& design, int port) {
    b.clearLog();
    ASSERT_EQ(0, b.setD(id, v, port)) << "parameter " << id << " = " << v << " port " << port;
    const std::vector<SimLogEntry> log = b.log();
    ASSERT_EQ(1u, log.size()) << design;
    EXPECT_EQ(design, log[0].name ? log[0].name : "");
    EXPECT_EQ(FG_PARAM_TYPE_DOUBLE, log[0].type);
    EXPECT_EQ(unsigned(port), log[0].dma);
    EXPECT_TRUE(sameBits(v, log[0].d)) << log[0].d << " written, " << v << " expected";
    EXPECT_TRUE(sameBits(v, b.dbl(id, port))) << v;
}

// Makes the k-th host call of a write fail with `fault`, for setters whose host
// calls are all design writes: the fault comes back and is in the error store,
// only the k-1 writes before it reached the design, and the parameter reads as
// before.
inline void expectFailingCall(Board& b, int k, int id, uint32_t v, int port, int fault) {
    uint32_t before = 0xA5A5A5A5u, after = 0xA5A5A5A5u;
    const int readBefore = b.get(id, &before, port);
    b.clearLog();
    SimBoard_FailNthHostCall(b.dev(), k, fault);
    EXPECT_EQ(fault, b.set(id, v, port)) << "parameter " << id << " = " << v << " port " << port << " call " << k;
    SimBoard_ClearFaults(b.dev());
    EXPECT_EQ(fault, b.lastError());
    EXPECT_EQ(size_t(k - 1), b.log().size()) << "writes before the failing call stay made, none follows";
    EXPECT_EQ(readBefore, b.get(id, &after, port));
    EXPECT_EQ(before, after) << "parameter " << id << " = " << v << " call " << k;
}

// Tables checked on both ports. `design` names are given after the process prefix.
// Accepted values of a parameter in the order set, each becoming one write of its
// design parameter on the port's DMA with the value paired with it.
struct SingleWrite {
    int id;
    const char* design;
    std::vector<std::pair<uint32_t, uint64_t>> writes;
};
inline void expectSingleWrites(Board& b, std::initializer_list<SingleWrite> cases) {
    for (int port = 0; port < 2; ++port)
        for (const SingleWrite& c : cases)
            for (const std::pair<uint32_t, uint64_t>& w : c.writes) {
                SCOPED_TRACE("parameter " + std::to_string(c.id) + " = " + std::to_string(w.first) + " port " +
                             std::to_string(port));
                EXPECT_EQ(std::vector<Write>{u32w(dp(port, c.design), w.second, port)},
                          writesOf(b, c.id, w.first, port));
                EXPECT_EQ(w.first, b.u32(c.id, port));
            }
}

// Values refused with -6000 once `accepted` is set.
struct Rejects {
    int id;
    uint32_t accepted;
    std::vector<uint32_t> rejected;
};
inline void expectRejects(Board& b, std::initializer_list<Rejects> cases) {
    for (int port = 0; port < 2; ++port)
        for (const Rejects& c : cases) {
            ASSERT_EQ(0, b.set(c.id, c.accepted, port)) << "parameter " << c.id << " port " << port;
            EXPECT_EQ(c.accepted, b.u32(c.id, port)) << "parameter " << c.id << " port " << port;
            for (uint32_t bad : c.rejected) expectRejected(b, c.id, bad, port);
        }
}

// The access flags and the upper bounds of a record the host holds.
inline int flagsOf(Board& b, int id, int port = 0) {
    RegisterInfo* r = b.record(port, id);
    EXPECT_NE(nullptr, r) << "no record of " << id << " on port " << port;
    return r ? r->accessFlags : -1;
}
inline unsigned uintMax(Board& b, int id, int port = 0) {
    RegisterInfo* r = b.record(port, id);
    EXPECT_TRUE(r && r->format == REG_FORMAT_UINT) << "no integer record of " << id << " on port " << port;
    return r ? r->u.uiReg.to : 0xDEADBEEF;
}
inline double doubleMax(Board& b, int id, int port = 0) {
    RegisterInfo* r = b.record(port, id);
    EXPECT_TRUE(r && r->format == REG_FORMAT_DOUBLE) << "no double record of " << id << " on port " << port;
    return r ? r->u.dReg.to : -1.0;
}

// A field access record over `count` elements of type `vtype` from `index`.
inline FieldParameterAccess fieldAccess(FgParamTypes vtype, unsigned index, unsigned count, void* elements) {
    FieldParameterAccess a;
    std::memset(&a, 0, sizeof a);
    a.vtype = vtype;
    a.index = index;
    a.count = count;
    a.ptr = elements;
    return a;
}

// An environment variable set for the life of the object, then removed.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
    ~ScopedEnv() { unsetenv(name_); }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* name_;
};

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

// The applet started as the host runtime starts it: its own Std_entry on a
// simulated device of the test's; released (Fg_FreeGrabber) and the device
// destroyed at the end of the scope.
struct DirectBoard {
    explicit DirectBoard(const AppletLibrary& lib, unsigned index = 0)
        : stdEntry(lib.fn<decltype(&::Std_entry)>("Std_entry")),
          freeGrabber(lib.fn<decltype(&::Fg_FreeGrabber)>("Fg_FreeGrabber")),
          dev(SimBoard_CreateDevice(index)) {}
    ~DirectBoard() {
        if (fg.Master) freeGrabber(&fg);
        SimBoard_DestroyDevice(dev);
    }
    DirectBoard(const DirectBoard&) = delete;
    DirectBoard& operator=(const DirectBoard&) = delete;
    bool ok() const { return stdEntry && freeGrabber && dev; }
    // Std_entry with `flags`; the status it answers is kept in `status`.
    Fg_Master* open(int flags = 1) {
        status = 12345;
        return fg.Master = stdEntry(dev, &status, flags);
    }

    decltype(&::Std_entry) stdEntry;
    decltype(&::Fg_FreeGrabber) freeGrabber;
    QORdevice* dev;
    Fg_Struct fg{nullptr};
    int status = 0;
};

}  // namespace orvtest

#endif
