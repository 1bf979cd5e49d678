// Fault sweep: every writable parameter of both ports, every accepted test
// value (from the published parameter list and registry records), every host
// call the write makes, made to fail in turn. Board B makes each write without
// faults (the number of host calls, the state after it); board A makes it with
// its k-th host call failing, then again without a fault.
//
// After the failed write A reports the host's code (also in its error store),
// keeps the parameter's previous value, shows every other readable value and
// registry field as before or as after a successful write, and made only a
// prefix of the successful design writes. A failure the handler absorbs loses
// no design write. After the repeated write A equals B in every read-back,
// registry record and design value.
#include <gtest/gtest.h>

#include <sstream>

#include <unistd.h>

#include "board_fixture.h"
#include "board_snapshot.h"

using namespace orvtest;

namespace {

const int kFault = -7391;  // a code no layer of the applet produces itself

struct TestValue {
    FgParamTypes type;
    uint32_t u;
    double d;
    std::string text;
    // Field writes: an access record over `elements`, or one element record.
    unsigned index;
    std::vector<uint32_t> elements;
    TestValue(FgParamTypes t = FG_PARAM_TYPE_UINT32_T, uint32_t u = 0, double d = 0, std::string text = "",
              unsigned index = 0, std::vector<uint32_t> elements = {})
        : type(t), u(u), d(d), text(std::move(text)), index(index), elements(std::move(elements)) {}

    std::string describe() const {
        std::ostringstream o;
        o.precision(17);
        const uint32_t first = elements.empty() ? 0u : elements[0];
        switch (type) {
        case FG_PARAM_TYPE_DOUBLE: o << d; break;
        case FG_PARAM_TYPE_CHAR_PTR: o << "'" << text << "'"; break;
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS:
            o << "access[" << index << " +" << elements.size() << "] = " << first << "..";
            break;
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: o << "element[" << index << "] = " << first; break;
        default: o << u;
        }
        return o.str();
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
            std::string value;
            if (e.fieldCount > 0 && e.fieldValues != nullptr) {
                for (unsigned i = 0; i < e.fieldCount; ++i) {
                    const std::string v = std::to_string(e.fieldValues[i]);
                    values[name + "[" + std::to_string(e.fieldIndex + i) + "]"] = v;
                    value += v + ",";
                }
            } else {
                char buf[40];
                std::snprintf(buf, sizeof buf, "%a", e.d);
                value = e.type == FG_PARAM_TYPE_DOUBLE     ? buf
                        : e.type == FG_PARAM_TYPE_CHAR_PTR ? std::string(e.text ? e.text : "")
                                                           : std::to_string(e.u);
                values[name] = value;
            }
            entries.push_back(name + " type " + std::to_string(int(e.type)) + " = " + value);
        }
        b.clearLog();
        return entries;
    }
};

std::vector<TestValue> testValues(const RegisterInfo* r, const std::string& lutFile) {
    std::vector<TestValue> out;
    if (r == nullptr) return out;
    switch (r->format) {
    case REG_FORMAT_UINT: {
        const uint32_t from = r->u.uiReg.from, to = r->u.uiReg.to;
        const uint32_t steps = r->u.uiReg.steps ? r->u.uiReg.steps : 1;
        std::set<uint32_t> picks{from};
        if (to >= from) picks.insert({from + (to - from) / steps / 2 * steps, from + (to - from) / steps * steps});
        for (uint32_t v : picks) out.push_back({FG_PARAM_TYPE_UINT32_T, v});
        break;
    }
    case REG_FORMAT_ENUM:
        for (int i = 0; i < r->u.eReg.nrOfElements && r->u.eReg.enumValues; ++i)
            out.push_back({FG_PARAM_TYPE_UINT32_T, static_cast<uint32_t>(r->u.eReg.enumValues[i])});
        break;
    case REG_FORMAT_DOUBLE:
        for (double v : {r->u.dReg.from, (r->u.dReg.from + r->u.dReg.to) / 2, r->u.dReg.to})
            out.push_back({FG_PARAM_TYPE_DOUBLE, 0, v});
        break;
    case REG_FORMAT_STRING:
        out.push_back({FG_PARAM_TYPE_CHAR_PTR});
        out.push_back({FG_PARAM_TYPE_CHAR_PTR, 0, 0, lutFile});
        break;
    case REG_FORMAT_UINTFIELD: {
        // the whole field, a part from the middle, the last element alone
        const unsigned n = static_cast<unsigned>(r->u.uifReg.nrOfElements);
        if (n == 0) break;
        std::vector<uint32_t> part;
        for (unsigned i = 0; i < 16 && n / 2 + i < n; ++i)
            part.push_back(r->u.uifReg.from + (i * 37u) % (r->u.uifReg.to - r->u.uifReg.from + 1u));
        out.push_back({FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, 0, 0, "", 0, std::vector<uint32_t>(n, r->u.uifReg.to)});
        out.push_back({FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, 0, 0, "", n / 2, part});
        out.push_back({FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, 0, 0, "", n - 1, {r->u.uifReg.to / 2}});
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
    // A failed simulator write puts back only its cached value; the working
    // values, design writes and records already rewritten stay, so the port's
    // simulator read-backs and records may show an intermediate state (the
    // restore itself is checked with the simulator's own tests).
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
        // Every other value and record as before the write or as after a successful one.
        const auto expectBeforeOrAfter = [&](const Snapshot& got, const Snapshot& was, const Snapshot& done) {
            for (const auto& kv : got) {
                if (intermediateAllowed(kv.first)) continue;
                const auto w = was.find(kv.first), d = done.find(kv.first);
                EXPECT_TRUE((w != was.end() && w->second == kv.second) || (d != done.end() && d->second == kv.second))
                    << kv.first << " is " << show(kv.second) << ", before "
                    << (w != was.end() ? show(w->second) : "<none>") << ", after "
                    << (d != done.end() ? show(d->second) : "<none>");
            }
        };
        expectBeforeOrAfter(readA, before, after);
        expectBeforeOrAfter(registry(a), regBefore, regAfter);

        // A second write of the same value brings A to B's state.
        EXPECT_EQ(0, writeValue(a, p.id, port, v)) << "second write";
        expectInStep("after the second write");
        if (HasFailure()) return;

        // Both boards back to the value before, for the next k.
        const TestValue back = fromReadBack(b.record(port, p.id), before.at(own));
        EXPECT_EQ(writeValue(b, p.id, port, back), writeValue(a, p.id, port, back)) << "mirrored write back";
        stateA.drain(a);
        stateB.drain(b);
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
            // refuse a write of the value read back as read-only (access
            // flags follow modes). Without test values: neither.
            const bool registered = r != nullptr && (r->accessFlags & 2) != 0;
            const TestValue probe = values.empty() ? TestValue() : fromReadBack(r, readBack(b, p.id, port));
            const int rb = writeValue(b, p.id, port, probe);
            EXPECT_EQ(rb, writeValue(a, p.id, port, probe)) << p.name;
            stateA.drain(a);
            stateB.drain(b);
            EXPECT_TRUE(!registered || rb != FG_ERR_NOT_AVAILABLE)
                << p.name << " port " << port << " registered writable";
            EXPECT_TRUE(!values.empty() || rb == FG_ERR_NOT_AVAILABLE)
                << p.name << " port " << port << " has no test values";
            if (values.empty() || (!registered && rb == FG_ERR_NOT_AVAILABLE)) {
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
    EXPECT_GT(counts.parameters, 100);
    EXPECT_GT(counts.faultPoints, counts.accepted);
}

}  // namespace
