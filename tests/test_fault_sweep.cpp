// Fault sweep: every writable parameter of both ports, every accepted test
// value, every host call the write makes, made to fail in turn.
//
// Two boards are driven in lock step: board B performs each write without
// faults (it tells how many host calls the write makes and what the board
// looks like afterwards), board A performs the same write with its k-th host
// call failing, then repeats the write without a fault. The parameter list,
// the kinds and the test values come from what the applet publishes (the
// parameter enumeration and the registry records), not from a list kept here.
//
// After a failed write A must report the host's code (also in its error
// store), keep the parameter's previous value, show every other readable
// value and every registry field either as before the write or as after a
// successful one, and have made no design write beyond a prefix of the
// successful sequence. A failure the handler absorbs (a range it cannot
// recompute) must lose no design write. After the repeated write A must equal
// B in every readable value, every registry record and every design value
// written so far.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "board_fixture.h"
#include "board_snapshot.h"

using namespace orvtest;

namespace {

const int kFault = -7391;  // a code no layer of the applet produces itself

// ---- a value to write, in the form the dispatch takes for the record kind ----

struct TestValue {
    FgParamTypes type = FG_PARAM_TYPE_UINT32_T;
    uint32_t u = 0;
    double d = 0;
    std::string text;
    // Field writes: an access record over `elements`, or one element record.
    bool elementRecord = false;
    unsigned index = 0;
    std::vector<uint32_t> elements;

    std::string describe() const {
        char buf[128];
        switch (type) {
        case FG_PARAM_TYPE_DOUBLE: std::snprintf(buf, sizeof buf, "%.17g", d); return buf;
        case FG_PARAM_TYPE_CHAR_PTR: return "'" + text + "'";
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS:
            std::snprintf(buf, sizeof buf, "access[%u +%zu] = %u..", index, elements.size(),
                          elements.empty() ? 0u : elements[0]);
            return buf;
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT:
            std::snprintf(buf, sizeof buf, "element[%u] = %u", index, elements.empty() ? 0u : elements[0]);
            return buf;
        default: std::snprintf(buf, sizeof buf, "%" PRIu32, u); return buf;
        }
    }
};

int writeValue(Board& b, int id, int port, const TestValue& v) {
    switch (v.type) {
    case FG_PARAM_TYPE_DOUBLE: return Fg_setParameterWithType(b.fg(), id, &v.d, port, v.type);
    case FG_PARAM_TYPE_CHAR_PTR: return Fg_setParameterWithType(b.fg(), id, v.text.c_str(), port, v.type);
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS: {
        std::vector<uint32_t> copy(v.elements);
        FieldParameterAccess a = fieldAccess(FG_PARAM_TYPE_UINT32_T, v.index, unsigned(copy.size()), copy.data());
        return Fg_setParameterWithType(b.fg(), id, &a, port, v.type);
    }
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: {
        FieldParameterInt e;
        e.value = v.elements.empty() ? 0 : v.elements[0];
        e.index = v.index;
        return Fg_setParameterWithType(b.fg(), id, &e, port, v.type);
    }
    default: return Fg_setParameterWithType(b.fg(), id, &v.u, port, v.type);
    }
}

// ---- the design state, as written ----

// Every design write since the board was opened lands here ("name@dma" or
// "name@dma[i]" -> value), so two boards that saw the same writes compare
// equal and a missing or extra write shows.
struct DesignState {
    Snapshot values;

    // Moves the board's log into the state; returns the entries for checks.
    std::vector<std::string> drain(Board& b) {
        std::vector<std::string> entries;
        for (const SimLogEntry& e : b.log()) {
            const std::string name = std::string(e.name ? e.name : "?") + "@" + std::to_string(e.dma);
            std::string line = name + " type " + std::to_string(int(e.type)) + " = ";
            if (e.fieldCount > 0 && e.fieldValues != nullptr) {
                for (unsigned i = 0; i < e.fieldCount; ++i) {
                    const std::string v = std::to_string(e.fieldValues[i]);
                    values[name + "[" + std::to_string(e.fieldIndex + i) + "]"] = v;
                    line += v + ",";
                }
            } else if (e.type == FG_PARAM_TYPE_DOUBLE) {
                char buf[40];
                std::snprintf(buf, sizeof buf, "%a", e.d);
                values[name] = buf;
                line += buf;
            } else if (e.type == FG_PARAM_TYPE_CHAR_PTR) {
                values[name] = e.text ? e.text : "";
                line += "'" + values[name] + "'";
            } else {
                values[name] = std::to_string(e.u);
                line += values[name];
            }
            entries.push_back(line);
        }
        b.clearLog();
        return entries;
    }
};

// ---- test values from a record ----

std::vector<TestValue> testValues(const RegisterInfo* r, const std::string& lutFile) {
    std::vector<TestValue> out;
    if (r == nullptr) return out;
    switch (r->format) {
    case REG_FORMAT_UINT: {
        const uint32_t from = r->u.uiReg.from, to = r->u.uiReg.to;
        const uint32_t steps = r->u.uiReg.steps ? r->u.uiReg.steps : 1;
        std::set<uint32_t> picks;
        picks.insert(from);
        if (to >= from) {
            picks.insert(from + (to - from) / steps / 2 * steps);
            picks.insert(from + (to - from) / steps * steps);
        }
        for (uint32_t v : picks) {
            TestValue t;
            t.u = v;
            out.push_back(t);
        }
        break;
    }
    case REG_FORMAT_ENUM:
        for (int i = 0; i < r->u.eReg.nrOfElements && r->u.eReg.enumValues; ++i) {
            TestValue t;
            t.u = static_cast<uint32_t>(r->u.eReg.enumValues[i]);
            out.push_back(t);
        }
        break;
    case REG_FORMAT_DOUBLE: {
        const double picks[3] = {r->u.dReg.from, (r->u.dReg.from + r->u.dReg.to) / 2, r->u.dReg.to};
        for (double v : picks) {
            TestValue t;
            t.type = FG_PARAM_TYPE_DOUBLE;
            t.d = v;
            out.push_back(t);
        }
        break;
    }
    case REG_FORMAT_STRING: {
        TestValue empty;
        empty.type = FG_PARAM_TYPE_CHAR_PTR;
        out.push_back(empty);
        TestValue file = empty;
        file.text = lutFile;
        out.push_back(file);
        break;
    }
    case REG_FORMAT_UINTFIELD: {
        const unsigned n = static_cast<unsigned>(r->u.uifReg.nrOfElements);
        if (n == 0) break;
        TestValue whole;
        whole.type = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
        whole.elements.assign(n, r->u.uifReg.to);
        out.push_back(whole);
        TestValue part;
        part.type = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
        part.index = n / 2;
        for (unsigned i = 0; i < 16 && part.index + i < n; ++i)
            part.elements.push_back(r->u.uifReg.from + (i * 37u) % (r->u.uifReg.to - r->u.uifReg.from + 1u));
        out.push_back(part);
        TestValue element;
        element.type = FG_PARAM_TYPE_STRUCT_FIELDPARAMINT;
        element.index = n - 1;
        element.elements.assign(1, r->u.uifReg.to / 2);
        out.push_back(element);
        break;
    }
    default: break;
    }
    return out;
}

// The value a parameter reads back, as a value to write again.
TestValue fromReadBack(const RegisterInfo* r, const std::string& raw) {
    TestValue t;
    const std::string bytes = raw.substr(raw.find(':') + 1);
    switch (r ? int(r->format) : int(REG_FORMAT_UINT)) {
    case REG_FORMAT_DOUBLE:
        t.type = FG_PARAM_TYPE_DOUBLE;
        std::memcpy(&t.d, bytes.data(), sizeof t.d);
        break;
    case REG_FORMAT_STRING:
        t.type = FG_PARAM_TYPE_CHAR_PTR;
        t.text = bytes;
        break;
    case REG_FORMAT_UINTFIELD:
        t.type = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
        t.elements.resize(bytes.size() / sizeof(uint32_t));
        std::memcpy(t.elements.data(), bytes.data(), t.elements.size() * sizeof(uint32_t));
        break;
    default: std::memcpy(&t.u, bytes.data(), sizeof t.u); break;
    }
    return t;
}

// A lookup-table file of the format the applet reads: a valid custom file.
void writeLutFile(const std::string& name) {
    std::FILE* f = std::fopen(name.c_str(), "w");
    ASSERT_NE(nullptr, f) << name;
    std::fputs("# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=4096;\nformat=0;\nnumber=0;\n", f);
    for (int i = 0; i < 4096; ++i) std::fprintf(f, "%d,%d;\n", i, 4095 - i);
    std::fclose(f);
}

struct Counts {
    int parameters = 0;   // (parameter, port) pairs swept
    int accepted = 0;     // test values accepted by the board
    int refused = 0;      // test values the board refused in its state at the time
    int faultPoints = 0;  // (write, k) pairs checked
    int failed = 0;       // ... of which the write reported the fault
    int absorbed = 0;     // ... of which the handler absorbed the fault
};

class FaultSweep : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(a.ok());
        ASSERT_TRUE(b.ok());
        stateA.drain(a);
        stateB.drain(b);
        params = exportedParameters(b);
        ASSERT_FALSE(params.empty());
        char cwd[1024];
        ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
        lutFile = std::string(cwd) + "/fault_sweep.lut";
        writeLutFile(lutFile);
    }
    void TearDown() override {
        SimBoard_ClearFaults(a.dev());
        SimBoard_ClearFaults(b.dev());
        std::remove(lutFile.c_str());
    }

    // The two boards show the same thing (the invariant between steps).
    void expectInStep(const char* when) {
        const Snapshot ra = readAll(a, params), rb = readAll(b, params);
        EXPECT_TRUE(ra == rb) << when << ": read-backs differ (want B, got A):" << differences(rb, ra);
        const Snapshot ga = registry(a), gb = registry(b);
        EXPECT_TRUE(ga == gb) << when << ": registry differs (want B, got A):" << differences(gb, ga);
        stateA.drain(a);
        stateB.drain(b);
        EXPECT_TRUE(stateA.values == stateB.values)
            << when << ": design values differ (want B, got A):" << differences(stateB.values, stateA.values);
    }

    // The same write on both boards, no fault.
    void both(int id, int port, const TestValue& v) {
        const int rb = writeValue(b, id, port, v);
        const int ra = writeValue(a, id, port, v);
        EXPECT_EQ(rb, ra) << "mirrored write of " << id << " port " << port;
        stateA.drain(a);
        stateB.drain(b);
    }

    void sweep(const Parameter& p, int port, const TestValue& v);

    Board a, b;
    DesignState stateA, stateB;
    std::vector<Parameter> params;
    std::string lutFile;
    Counts counts;
};

// One test value of one parameter: for each host call k the write makes, the
// write on A with call k failing, then the write again without a fault.
void FaultSweep::sweep(const Parameter& p, int port, const TestValue& v) {
    const std::string what = p.name + " port " + std::to_string(port) + " = " + v.describe();
    const std::string own = std::to_string(port) + "/" + p.name;
    // When a simulator write fails after caching, only its cached value is
    // put back: the working values (widths and gaps in use), the design
    // parameters already written and the ranges and access flags already
    // rewritten stay. The simulator getters compute from those, so after such
    // a failure the simulator's read-backs and records of the port may show
    // an intermediate state; only the repeated write is held to B's state.
    const std::string simulator = "FG_CAMERASIMULATOR_";
    const bool simulatorWrite = p.name.compare(0, simulator.size(), simulator) == 0;
    const std::string simulatorKeys = std::to_string(port) + "/" + simulator;
    auto intermediateAllowed = [&](const std::string& key) {
        return simulatorWrite && key.compare(0, simulatorKeys.size(), simulatorKeys) == 0;
    };
    const bool ownReadBackKept = !simulatorWrite;

    for (int k = 1;; ++k) {
        // Reference: the write on B, counting its host calls.
        const Snapshot before = readAll(b, params);
        const Snapshot regBefore = registry(b);
        stateB.drain(b);
        const int callsBefore = SimBoard_HostCallCount(b.dev());
        const int rb = writeValue(b, p.id, port, v);
        const int calls = SimBoard_HostCallCount(b.dev()) - callsBefore;
        const std::vector<std::string> logB = stateB.drain(b);
        if (rb != 0) {
            // Not accepted in this state: A must refuse it the same way.
            ++counts.refused;
            EXPECT_EQ(rb, writeValue(a, p.id, port, v)) << what;
            stateA.drain(a);
            return;
        }
        if (k == 1) ++counts.accepted;
        if (k > calls) {
            // Every call has had its turn: bring A to B's state and stop.
            EXPECT_EQ(0, writeValue(a, p.id, port, v)) << what;
            expectInStep(what.c_str());
            return;
        }
        const Snapshot after = readAll(b, params);
        const Snapshot regAfter = registry(b);

        // The write on A with host call k failing.
        SCOPED_TRACE(what + ", host call " + std::to_string(k) + " of " + std::to_string(calls) + " failing");
        ++counts.faultPoints;
        SimBoard_FailNthHostCall(a.dev(), k, kFault);
        const int ra = writeValue(a, p.id, port, v);
        SimBoard_ClearFaults(a.dev());
        const int stored = a.lastError();
        const std::vector<std::string> logA = stateA.drain(a);
        EXPECT_EQ(ra, stored) << "error store";

        const Snapshot readA = readAll(a, params);
        if (ra == kFault) {
            ++counts.failed;
            // Only a prefix of the successful sequence reached the design.
            EXPECT_LT(logA.size(), logB.size() + 1);
            for (size_t i = 0; i < logA.size() && i < logB.size(); ++i)
                EXPECT_EQ(logB[i], logA[i]) << "design write " << i;
            if (ownReadBackKept) {
                EXPECT_EQ(show(before.at(own)), show(readA.at(own))) << "cached value not put back";
            }
        } else if (ra == 0) {
            // The handler absorbed the failure: no design write may be lost.
            ++counts.absorbed;
            EXPECT_EQ(logB, logA) << "a design write failed silently";
            EXPECT_EQ(show(after.at(own)), show(readA.at(own)));
        } else {
            ADD_FAILURE() << "unexpected code " << ra;
        }
        for (const auto& kv : readA) {
            if (intermediateAllowed(kv.first)) continue;
            const std::string& was = before.at(kv.first);
            const std::string& done = after.at(kv.first);
            EXPECT_TRUE(kv.second == was || kv.second == done)
                << kv.first << " reads " << show(kv.second) << ", before " << show(was) << ", after " << show(done);
        }
        for (const auto& kv : registry(a)) {
            if (intermediateAllowed(kv.first)) continue;
            const auto w = regBefore.find(kv.first), d = regAfter.find(kv.first);
            const bool asBefore = w != regBefore.end() && w->second == kv.second;
            const bool asAfter = d != regAfter.end() && d->second == kv.second;
            EXPECT_TRUE(asBefore || asAfter)
                << kv.first << " is " << kv.second << ", before " << (w != regBefore.end() ? w->second : "<none>")
                << ", after " << (d != regAfter.end() ? d->second : "<none>");
        }

        // A second write of the same value brings A to B's state.
        EXPECT_EQ(0, writeValue(a, p.id, port, v)) << "second write";
        expectInStep("after the second write");
        if (HasFailure()) return;

        // Both boards back to the value before, for the next k.
        both(p.id, port, fromReadBack(b.record(port, p.id), before.at(own)));
    }
}

TEST_F(FaultSweep, EveryHostCallOfEveryWriteOfBothPorts) {
    // The boards start in step.
    expectInStep("start");
    ASSERT_FALSE(HasFailure());

    int refusedAsReadOnly = 0;
    for (int port = 0; port < 2; ++port) {
        for (const Parameter& p : params) {
            const RegisterInfo* r = b.record(port, p.id);
            const std::vector<TestValue> values = testValues(r, lutFile);
            // Writable: the registry says so now, or the applet does not
            // refuse a write as read-only (access flags follow modes).
            bool writable = r != nullptr && (r->accessFlags & 2) != 0;
            if (!values.empty()) {
                const TestValue probe = fromReadBack(r, readBack(b, p.id, port));
                const int rb = writeValue(b, p.id, port, probe);
                const int ra = writeValue(a, p.id, port, probe);
                EXPECT_EQ(rb, ra) << p.name;
                stateA.drain(a);
                stateB.drain(b);
                if (writable) {
                    EXPECT_NE(FG_ERR_NOT_AVAILABLE, rb) << p.name << " is registered writable";
                }
                writable = writable || rb != FG_ERR_NOT_AVAILABLE;
            } else {
                TestValue any;
                EXPECT_TRUE(!writable) << p.name << " registered writable but has no test values";
                if (writeValue(b, p.id, port, any) != FG_ERR_NOT_AVAILABLE) {
                    ADD_FAILURE() << p.name << " port " << port << " takes writes but has no record";
                }
                writeValue(a, p.id, port, any);
                stateA.drain(a);
                stateB.drain(b);
                ++refusedAsReadOnly;
                continue;
            }
            if (!writable) {
                ++refusedAsReadOnly;
                continue;
            }
            ++counts.parameters;
            for (const TestValue& v : values) {
                sweep(p, port, v);
                ASSERT_FALSE(HasFailure()) << "stopping at the first failing parameter";
            }
        }
    }
    expectInStep("end");

    std::printf(
        "fault sweep: %d writable (parameter, port) pairs, %d read-only; %d test values accepted, %d refused "
        "in the state at the time; %d fault points checked (%d reported the host failure, %d absorbed by "
        "the handler)\n",
        counts.parameters, refusedAsReadOnly, counts.accepted, counts.refused, counts.faultPoints, counts.failed,
        counts.absorbed);
    RecordProperty("fault_points", counts.faultPoints);
    RecordProperty("writable_parameters", counts.parameters);
    EXPECT_GT(counts.parameters, 100);
    EXPECT_GT(counts.faultPoints, counts.accepted);
}

}  // namespace
