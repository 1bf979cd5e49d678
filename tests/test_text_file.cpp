// The file helper under the configuration and table parsers: the in-memory
// search against a line reader working on the file itself, the inputs that are
// refused without being opened, and how a save replaces a file.

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <random>
#include <vector>

#include "Fg_LutFileParser.h"
#include "Fg_TextFile.h"
#include "support_files.h"

namespace {

using Cursor = Fg_TextFileReader::Cursor;

// What a line reader with a 256-byte buffer (fgets) sees of a file: each
// piece's end offset and its text up to the first NUL.
struct LinePiece {
    long end;
    std::string text;
};
std::vector<LinePiece> linePieces(const std::string& path) {
    std::vector<LinePiece> pieces;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    char buf[256];
    while (f != nullptr && std::fgets(buf, sizeof buf, f) != nullptr) pieces.push_back({std::ftell(f), buf});
    if (f != nullptr) std::fclose(f);
    return pieces;
}

// Random text from the parts that make the hard cases: keys and sections
// at, inside and across piece limits, NULs, carriage returns, long lines.
std::string randomText(std::mt19937& rng) {
    static const std::string kParts[] = {"[Port A]", "FG_W=1;", "\n", "\r\n", std::string(1, '\0'), "x", "A]\n"};
    std::string text;
    const int n = static_cast<int>(rng() % 40);
    for (int i = 0; i < n; ++i) {
        if (rng() % 4 == 0)
            text += std::string(1 + rng() % 300, 'x');
        else
            text += kParts[rng() % (sizeof kParts / sizeof kParts[0])];
    }
    return text;
}

using TextFile = supporttest::ScratchDir;

mode_t modeOf(const std::string& p) {
    struct stat st;
    return ::stat(p.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

}  // namespace

TEST_F(TextFile, SearchSeesThePiecesALineReaderSees) {
    std::mt19937 rng(20240611);
    const char* const needles[] = {"[Port A]", "FG_W=", "x\n", "A]\nF", "", "x[Port"};
    for (int trial = 0; trial < 400; ++trial) {
        const std::string p = write("t.txt", randomText(rng));
        const std::vector<LinePiece> expected = linePieces(p);
        Fg_TextFileReader reader;
        ASSERT_TRUE(reader.load(p.c_str()));
        char buf[256];
        Cursor c;
        size_t i = 0;
        for (; reader.nextPiece(c, buf); ++i) {
            ASSERT_LT(i, expected.size());
            EXPECT_EQ(expected[i].text, buf) << "trial " << trial << " piece " << i;
            EXPECT_EQ(size_t(expected[i].end), c.pos) << "trial " << trial << " piece " << i;
        }
        EXPECT_EQ(expected.size(), i);
        for (const char* needle : needles) {
            for (bool atStart : {false, true}) {
                std::vector<size_t> want, got;
                for (size_t k = 0; k < expected.size(); ++k) {
                    const std::string& t = expected[k].text;
                    if (atStart ? t.compare(0, std::strlen(needle), needle) == 0 : t.find(needle) != std::string::npos)
                        want.push_back(size_t(expected[k].end));
                }
                // Twice from the top: the second search is answered from memory.
                for (int pass = 0; pass < 2; ++pass) {
                    got.clear();
                    for (Cursor at;
                         atStart ? reader.findPieceStartingWith(at, needle) : reader.findPieceContaining(at, needle);) {
                        reader.nextPiece(at, buf);
                        got.push_back(at.pos);
                    }
                    EXPECT_EQ(want, got) << "trial " << trial << " needle '" << needle << "' at start " << atStart;
                }
            }
        }
    }
}

TEST_F(TextFile, OnlyRegularFilesWithinTheBoundAreRead) {
    ASSERT_EQ(0, mkfifo(path("fifo").c_str(), 0600));
    ASSERT_EQ(0, mkdir(path("dir").c_str(), 0700));
    const std::string big = write("big", ""), bound = write("bound", "");
    ASSERT_EQ(0, truncate(big.c_str(), off_t(Fg_TextFileReader::MaxFileSize) + 1));  // sparse
    ASSERT_EQ(0, truncate(bound.c_str(), off_t(Fg_TextFileReader::MaxFileSize)));
    for (const std::string& p : {path("fifo"), path("dir"), std::string("/dev/zero"), path("missing"), big}) {
        Fg_TextFileReader reader;
        EXPECT_FALSE(Fg_TextFileReader::readable(p.c_str())) << p;
        EXPECT_FALSE(reader.load(p.c_str())) << p;
        EXPECT_FALSE(reader.loaded()) << p;
    }
    EXPECT_TRUE(Fg_TextFileReader::readable(bound.c_str()));
    EXPECT_FALSE(Fg_TextFileReader::readable(nullptr));
    Fg_TextFileReader reader;
    EXPECT_TRUE(reader.load(write("empty", "").c_str()));
    Cursor c;
    char buf[256];
    EXPECT_FALSE(reader.nextPiece(c, buf));
}

TEST_F(TextFile, SaveKeepsPermissionsFollowsLinksAndWritesDevicesDirectly) {
    auto save = [](const std::string& p, const char* text) {
        Fg_SafeFileWriter w;
        if (!w.open(p.c_str())) return false;
        std::fputs(text, w.stream());
        return w.commit();
    };
    const std::string old = write("old", "old\n");
    ASSERT_EQ(0, chmod(old.c_str(), 0640));
    ASSERT_TRUE(save(old, "new\n"));
    EXPECT_EQ("new\n", read(old));
    EXPECT_EQ(0640u, modeOf(old));

    const mode_t mask = umask(022);
    umask(mask);
    ASSERT_TRUE(save(path("fresh"), "fresh\n"));
    EXPECT_EQ(0666u & ~mask, modeOf(path("fresh")));

    // Through a relative link, and through a link to a file not there yet.
    ASSERT_EQ(0, symlink("old", path("link").c_str()));
    ASSERT_EQ(0, symlink("later", path("dangling").c_str()));
    ASSERT_TRUE(save(path("link"), "linked\n"));
    ASSERT_TRUE(save(path("dangling"), "later\n"));
    struct stat st;
    ASSERT_EQ(0, lstat(path("link").c_str(), &st));
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ("linked\n", read(old));
    EXPECT_EQ("later\n", read(path("later")));

    // A save given up leaves the file and nothing beside it.
    {
        Fg_SafeFileWriter w;
        ASSERT_TRUE(w.open(old.c_str()));
        std::fputs("never\n", w.stream());
    }
    EXPECT_EQ("linked\n", read(old));
    EXPECT_EQ(5, orvtest::entriesIn(m_dir)) << "old, fresh, link, dangling, later";

    // A device takes the bytes directly; a directory cannot be written.
    EXPECT_TRUE(save("/dev/null", "x\n"));
    Fg_SafeFileWriter w;
    EXPECT_FALSE(w.open(m_dir));
    EXPECT_FALSE(w.open(nullptr));
}

// Children save two tables in turn and are killed at random moments, spread
// over about three saves (wider if need be): the file holds one table or the
// other, complete, every time. On a memory file system where there is one,
// so that a save costs its writes and not the disk's sync.
TEST_F(TextFile, SaveKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
    std::vector<unsigned> a, b;
    for (unsigned i = 0; i < 300; ++i) a.push_back(i), b.push_back(4095 - i);
    const std::string textA = orvtest::lutFileText(a), textB = orvtest::lutFileText(b);
    char shm[] = "/dev/shm/orv-killXXXXXX";
    const bool inMemory = mkdtemp(shm) != nullptr;
    const std::string p = inMemory ? std::string(shm) + "/killed.lut" : path("killed.lut");
    LookupTable tableA = {a.data(), 3, unsigned(a.size()), 0, 0}, tableB = {b.data(), 3, unsigned(b.size()), 0, 0};
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i) ASSERT_EQ(0, Fg_LutFileParser().saveLutToFile(p.c_str(), &tableA));
    const long saveMicros = long(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count() / 3);
    std::mt19937 rng(7);
    int sawA = 0, sawB = 0;
    long window = 3 * saveMicros + 1000;
    for (int trial = 0; trial < 300; ++trial) {
        // A loaded machine can make the children slower than the measured
        // save: while one outcome has not shown, the moments spread wider.
        if (trial % 50 == 49 && (sawA == 0 || sawB == 0)) window *= 2;
        int ready[2];
        ASSERT_EQ(0, pipe(ready));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            Fg_LutFileParser parser;
            if (::write(ready[1], "r", 1) != 1) _exit(1);
            for (;;) {
                parser.saveLutToFile(p.c_str(), &tableB);
                parser.saveLutToFile(p.c_str(), &tableA);
            }
        }
        // The moment counts from the child's first save, not from the fork.
        char r = 0;
        ASSERT_EQ(1, ::read(ready[0], &r, 1));
        close(ready[0]);
        close(ready[1]);
        usleep(useconds_t(rng() % window));
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        const std::string now = read(p);
        ASSERT_TRUE(now == textA || now == textB) << "trial " << trial << ": " << now.size() << " bytes";
        (now == textA ? sawA : sawB)++;
    }
    if (inMemory) std::system(("rm -rf " + std::string(shm)).c_str());
    // Both outcomes occur, so the kills did land inside the loop.
    EXPECT_GT(sawA, 0);
    EXPECT_GT(sawB, 0);
    std::printf("300 saves killed within %ld us (a save: %ld us%s): %d times the first table, %d the second\n", window,
                saveMicros, inMemory ? " in /dev/shm" : "", sawA, sawB);
}
