// Several threads on two boards at once (also under ThreadSanitizer): typed
// writes on both ports, typed reads of every parameter, the error store,
// parameter enumeration, forwarded acquisition calls, description requests,
// configuration saves and the information query.
//
// Only typed reads and writes take the board's parameter lock; description
// requests and configuration saves read records that write handlers rewrite,
// so an application keeps them apart from writes of the same board, as the
// threads here do with a lock of their own. Loops are bounded by counts.
// Afterwards each board reads back the last value each writer had accepted and
// holds its own values in the design.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "board_snapshot.h"

using namespace orvtest;

namespace {

typedef int (*InfoFn)(const AppletInfos, const int, const int, void*, const void**);

// Boards, and rounds of each kind of thread.
const int kBoards = 2, kWriterRounds = 150, kReaderRounds = 10, kDescriptionRounds = 6;
const int kAcquisitionRounds = 400, kEnumerationRounds = 20, kInfoRounds = 400;

// One write a writer thread makes. Values differ per board where the range
// allows, so that a write landing on the wrong board shows.
struct Write {
    int id;
    bool isDouble;
    std::vector<double> values[kBoards];
};

const std::vector<Write>& writes() {
    static const std::vector<Write> w = {
        {FG_WIDTH, false, {{1024, 2048, 4096}, {1536, 3072, 512}}},
        {FG_XOFFSET, false, {{0, 16, 32}, {48, 64, 80}}},
        {FG_HEIGHT, false, {{1024, 512}, {768, 256}}},
        {FG_YOFFSET, false, {{0, 10}, {20, 30}}},
        {FG_LINETRIGGERMODE, false, {{1, 2, 5, 6}, {6, 5, 2, 1}}},
        {FG_LINEPERIODE, true, {{200.0, 100.0}, {150.0, 300.0}}},
        {FG_LINEEXPOSURE, true, {{19.0, 50.0}, {20.0, 40.0}}},
        {FG_IMGTRIGGERMODE, false, {{0, 2, 8}, {8, 5, 0}}},
        {FG_IMGTRIGGER_ASYNC_HEIGHT, false, {{1024, 2000}, {3000, 4000}}},
        {FG_LUT_TYPE, false, {{3, 0}, {0, 3}}},
        {FG_PROCESSING_GAIN, true, {{1.0, 2.0}, {1.5, 0.5}}},
        {FG_PROCESSING_GAMMA, true, {{1.0, 0.5}, {2.0, 1.2}}},
        {FG_CAMERASIMULATOR_SELECT_MODE, false, {{1, 0, 2}, {2, 1, 0}}},
        {FG_CAMERASIMULATOR_PATTERN_OFFSET, false, {{1, 2}, {3, 4}}},
        {FG_EXSYNCON, false, {{0, 1}, {1, 0}}},
        {FG_STROBEPULSEDELAY, false, {{5, 6}, {7, 8}}},
        {FG_TIMEOUT, false, {{1000, 2000}, {3000, 4000}}},
    };
    return w;
}
int typedWrite(Board& b, const Write& w, double v, int port) {
    return w.isDouble ? b.setD(w.id, v, port) : b.set(w.id, static_cast<uint32_t>(v), port);
}

// A read of any exported parameter in the form its record describes: its answer.
int typedRead(Board& b, int id, int port) { return std::atoi(readBack(b, id, port).c_str()); }

// Everything the threads of one board share.
struct BoardRun {
    Board* board = nullptr;
    int index = 0;
    std::vector<int> readable;  // identities that read without error when quiet
    std::shared_mutex descriptionVsWrites;
    // Last accepted value per (port, index in writes()), and counters of outcomes.
    std::map<std::pair<int, size_t>, double> lastAccepted;
    std::mutex lastAcceptedLock;
    std::atomic<int> failures{0};
    std::atomic<int> accepted{0};
    std::atomic<int> refused{0};
    std::string failureText;
    std::mutex failureLock;

    void fail(const std::string& what) {
        failures++;
        std::lock_guard<std::mutex> g(failureLock);
        if (failureText.size() < 2000) failureText += what + "\n";
    }
};

void writer(BoardRun& run, int port) {
    const std::vector<Write>& list = writes();
    for (int round = 0; round < kWriterRounds; ++round) {
        for (size_t i = 0; i < list.size(); ++i) {
            const Write& w = list[i];
            const std::vector<double>& values = w.values[run.index];
            const double v = values[(round + i + port) % values.size()];
            std::shared_lock<std::shared_mutex> g(run.descriptionVsWrites);
            const int rc = typedWrite(*run.board, w, v, port);
            if (rc == 0) {
                std::lock_guard<std::mutex> l(run.lastAcceptedLock);
                run.lastAccepted[std::make_pair(port, i)] = v;
                run.accepted++;
            } else if (rc == FG_ERR_VALUE_OUT_OF_RANGE) {
                run.refused++;  // e.g. an exposure above a shorter period, a simulator geometry the rate does not allow
            } else {
                run.fail("write " + std::to_string(w.id) + " port " + std::to_string(port) + " = " + std::to_string(v) +
                         ": " + std::to_string(rc));
            }
        }
        // Single table entries between the rounds.
        FieldParameterInt e;
        e.index = static_cast<unsigned>(round * 7 + port);
        e.value = static_cast<uint32_t>(round);
        std::shared_lock<std::shared_mutex> g(run.descriptionVsWrites);
        const int rc =
            Fg_setParameterWithType(run.board->fg(), FG_LUT_VALUE, &e, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
        if (rc != 0) run.fail("table entry: " + std::to_string(rc));
    }
}

void reader(BoardRun& run) {
    for (int round = 0; round < kReaderRounds; ++round)
        for (int port = 0; port < 2; ++port)
            for (int id : run.readable) {
                const int rc = typedRead(*run.board, id, port);
                if (rc != 0)
                    run.fail("read " + std::to_string(id) + " port " + std::to_string(port) + ": " +
                             std::to_string(rc));
            }
}

void errorStoreAndEnumeration(BoardRun& run) {
    Fg_Struct* fg = run.board->fg();
    for (int round = 0; round < kEnumerationRounds; ++round) {
        const int n = Fg_getNrOfParameter(fg);
        if (n <= 0) run.fail("parameter count " + std::to_string(n));
        for (int i = 0; i < n; ++i) {
            const char* name = Fg_getParameterName(fg, i);
            const int id = Fg_getParameterId(fg, i);
            if (name == nullptr || Fg_getParameterIdByName(fg, name) != id)
                run.fail("enumeration " + std::to_string(i));
            (void)Fg_getLastErrorNumber(fg);
        }
        if (Fg_getParameterIdByName(fg, "NO_SUCH_PARAMETER") >= 0) run.fail("unknown name found");
    }
}

void acquisition(BoardRun& run) {
    Fg_Struct* fg = run.board->fg();
    for (int port = 0; port < 2; ++port) {
        if (Fg_AcquireEx(fg, port, 0, 0, nullptr) != 0) run.fail("acquire");
        frameindex_t last = 0;
        for (int i = 0; i < kAcquisitionRounds; ++i) {
            const frameindex_t n = Fg_getLastPicNumberEx(fg, port, nullptr);
            if (n <= last) run.fail("frame count did not advance");
            last = n;
            (void)Fg_getStatusEx(fg, 0, 0, port, nullptr);
            (void)Fg_getLastErrorNumber(fg);
        }
        if (Fg_stopAcquireEx(fg, port, nullptr, 0) != 0) run.fail("stop");
    }
}

void descriptionAndSave(BoardRun& run) {
    Fg_Struct* fg = run.board->fg();
    const std::string file = "concurrency_board" + std::to_string(run.index) + ".mcf";
    for (int round = 0; round < kDescriptionRounds; ++round) {
        std::unique_lock<std::shared_mutex> g(run.descriptionVsWrites);
        for (int port = 0; port < 2; ++port) {
            size_t size = 0;
            if (Fg_getParameterInfoXML(fg, port, nullptr, &size) != 0 || size < 100) {
                run.fail("description size");
                continue;
            }
            std::vector<char> doc(size);
            if (Fg_getParameterInfoXML(fg, port, doc.data(), &size) != 0 ||
                std::strstr(doc.data(), "</RegisterDescription>") == nullptr)
                run.fail("description");
        }
        if (Fg_saveConfig(fg, file.c_str()) != 0) run.fail("save");
    }
}

void infoQueries(InfoFn info, std::atomic<int>& failures) {
    static const char* const names[] = {"FG_ON", "FG_OFF", "GRABBER_CONTROLLED", "ASYNC_TRIGGER", "FG_APPLY"};
    for (int i = 0; i < kInfoRounds; ++i) {
        if (info(GET_NR_OF_PORTS, 0, 0, nullptr, nullptr) != 2) failures++;
        const void* text = nullptr;
        if (info(GET_INFO_FRIENDLY_NAME, 0, 0, nullptr, &text) != 0 || text == nullptr) failures++;
        if (info(GET_INFO_RESOLVE_ENUM, 0, 0, const_cast<char*>(names[i % 5]), nullptr) < 0) failures++;
        void* device = nullptr;
        if (info(GET_INFO_DEVICE_HANDLE, 0, 0, &device, nullptr) != 0 || device == nullptr) failures++;
        if (info(GET_INFO_DMA_DATATYPE, i % 2, 0, nullptr, nullptr) < 0) failures++;
    }
}

class Concurrency : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(library.ok());
        info = library.fn<InfoFn>("Info");
        ASSERT_NE(nullptr, info);
        for (int i = 0; i < kBoards; ++i) {
            ASSERT_TRUE(boards[i].ok());
            runs[i].board = &boards[i];
            runs[i].index = i;
            Fg_Struct* fg = boards[i].fg();
            const int n = Fg_getNrOfParameter(fg);
            for (int k = 0; k < n; ++k) {
                const int id = Fg_getParameterId(fg, k);
                if (typedRead(boards[i], id, 0) == 0 && typedRead(boards[i], id, 1) == 0)
                    runs[i].readable.push_back(id);
            }
            ASSERT_GT(runs[i].readable.size(), 80u);
        }
    }

    Board boards[kBoards];
    AppletLibrary library;
    InfoFn info = nullptr;
    BoardRun runs[kBoards];
};

TEST_F(Concurrency, TwoBoardsManyThreadsStayConsistentAndIndependent) {
    std::atomic<int> infoFailures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kBoards; ++i) {
        threads.emplace_back(writer, std::ref(runs[i]), 0);
        threads.emplace_back(writer, std::ref(runs[i]), 1);
        for (void (*f)(BoardRun&) : {reader, errorStoreAndEnumeration, acquisition, descriptionAndSave})
            threads.emplace_back(f, std::ref(runs[i]));
    }
    threads.emplace_back(infoQueries, info, std::ref(infoFailures));
    for (std::thread& t : threads) t.join();

    EXPECT_EQ(0, infoFailures.load());
    for (int i = 0; i < kBoards; ++i) {
        BoardRun& run = runs[i];
        SCOPED_TRACE("board " + std::to_string(i));
        EXPECT_EQ(0, run.failures.load()) << run.failureText;
        std::printf("board %d: %d writes accepted, %d refused as out of range\n", i, run.accepted.load(),
                    run.refused.load());
        EXPECT_GT(run.accepted.load(), kWriterRounds * 2 * int(writes().size()) / 2);

        // Each board reads back the last value its writers had accepted.
        for (const auto& kv : run.lastAccepted) {
            const int port = kv.first.first, id = writes()[kv.first.second].id;
            const double got = writes()[kv.first.second].isDouble ? run.board->dbl(id, port) : run.board->u32(id, port);
            EXPECT_EQ(kv.second, got) << "parameter " << id << " port " << port;
        }
        // ... and its design holds its own width (the first write), not the other board's.
        for (int port = 0; port < 2; ++port) {
            const auto width = run.lastAccepted.find(std::make_pair(port, size_t(0)));
            ASSERT_NE(run.lastAccepted.end(), width);
            EXPECT_EQ(static_cast<uint32_t>(width->second),
                      run.board->designU32(dp(port, "Buffer_0_DRAM_A_0_XLength").c_str()));
        }
    }

    // The error stores are the boards' own.
    ASSERT_EQ(FG_ERR_NOT_MULTIPLE_OF_16, boards[0].set(FG_WIDTH, 1000, 0));
    EXPECT_EQ(FG_ERR_NOT_MULTIPLE_OF_16, boards[0].lastError());
    EXPECT_EQ(0, boards[1].lastError());
    ASSERT_EQ(0, boards[1].set(FG_WIDTH, 1024, 1));
    EXPECT_EQ(FG_ERR_NOT_MULTIPLE_OF_16, boards[0].lastError());

    // The saved files load back on their boards.
    for (int i = 0; i < kBoards; ++i) {
        const std::string file = "concurrency_board" + std::to_string(i) + ".mcf";
        EXPECT_EQ(0, Fg_loadConfig(boards[i].fg(), file.c_str())) << file;
        std::remove(file.c_str());
    }
}

}  // namespace
