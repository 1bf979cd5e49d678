// Configuration and table files on a board, tried as a hostile user would:
// saves onto a full file system and onto a device that refuses every write
// fail and leave the existing file as it was; a device, a FIFO or a directory
// given as a file to read is refused at once (a hang ends in the test's time
// limit).
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "board_fixture.h"
#include "test_files.h"

namespace {

using orvtest::Board;
using orvtest::readFile;

const uint32_t kUserFile = 0;  // FG_LUT_TYPE: table from a file

// A small tmpfs of its own (mounting needs root; otherwise the test is skipped).
class FullFileSystem : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(mkdir(kDir, 0755) == 0 || errno == EEXIST);
        if (geteuid() != 0) GTEST_SKIP() << "mounting a small tmpfs needs root: full file system not tried";
        if (mount("tmpfs", kDir, "tmpfs", 0, "size=256k") != 0)
            GTEST_SKIP() << "cannot mount a tmpfs (" << std::strerror(errno) << "): full file system not tried";
        mounted_ = true;
    }
    void TearDown() override {
        if (mounted_) umount2(kDir, MNT_DETACH);
        rmdir(kDir);
    }
    // Takes every free block.
    static void fill() {
        const int fd = open((std::string(kDir) + "/filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_GE(fd, 0);
        const std::string block(4096, 'f');
        for (int i = 0; i < 1000 && write(fd, block.data(), block.size()) > 0; ++i) continue;
        while (write(fd, "f", 1) > 0) continue;
        close(fd);
    }
    static constexpr const char* kDir = "small_fs";
    bool mounted_ = false;
};

}  // namespace

TEST_F(FullFileSystem, SavesFailWith5001AndLeaveTheFilesAsTheyWere) {
    Board b;
    ASSERT_TRUE(b.ok());
    const std::string config = std::string(kDir) + "/board.mcf", table = std::string(kDir) + "/table.lut";
    ASSERT_EQ(0, Fg_saveConfig(b.fg(), config.c_str()));
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, table.c_str(), 0));
    const std::string goodConfig = readFile(config), goodTable = readFile(table);
    ASSERT_GT(goodTable.size(), 4096u * 4);
    fill();

    ASSERT_EQ(0, b.set(FG_WIDTH, 2048, 0));
    EXPECT_EQ(FG_ERR_FILE_ACCESS, Fg_saveConfig(b.fg(), config.c_str()));
    EXPECT_EQ(FG_ERR_FILE_ACCESS, b.lastError());
    EXPECT_EQ(goodConfig, readFile(config));
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "", 1));
    EXPECT_EQ(FG_ERR_FILE_ACCESS, b.setText(FG_LUT_SAVE_FILE, table.c_str(), 1));
    EXPECT_EQ("", b.text(FG_LUT_SAVE_FILE, 1));
    EXPECT_EQ(goodTable, readFile(table));

    // Nothing is left beside them, and with room again the saves work.
    unlink((std::string(kDir) + "/filler").c_str());
    EXPECT_EQ(2, orvtest::entriesIn(kDir));
    EXPECT_EQ(0, Fg_saveConfig(b.fg(), config.c_str()));
    EXPECT_NE(std::string::npos, readFile(config).find("\nFG_WIDTH=2048;\n"));
}

TEST(DeviceThatRefusesWrites, SavesFailWith5001) {
    Board b;
    ASSERT_TRUE(b.ok());
    unlink("full.mcf");
    ASSERT_EQ(0, symlink("/dev/full", "full.mcf"));  // the configuration type is in the name
    EXPECT_EQ(FG_ERR_FILE_ACCESS, Fg_saveConfig(b.fg(), "full.mcf"));
    struct stat st;
    ASSERT_EQ(0, lstat("full.mcf", &st));
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "kept.lut", 0));
    EXPECT_EQ(FG_ERR_FILE_ACCESS, b.setText(FG_LUT_SAVE_FILE, "/dev/full", 0));
    EXPECT_EQ("kept.lut", b.text(FG_LUT_SAVE_FILE, 0));
}

TEST(InputsThatAreNotFiles, AreAnsweredAsFilesThatDoNotExist) {
    Board b;
    ASSERT_TRUE(b.ok());
    ASSERT_EQ(0, std::system("rm -rf zero.mcf fifo.mcf dir.mcf && ln -s /dev/zero zero.mcf && mkfifo fifo.mcf && "
                             "mkdir dir.mcf"));
    for (const char* name : {"zero.mcf", "fifo.mcf", "dir.mcf"}) {
        EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, Fg_loadConfig(b.fg(), name)) << name;
        EXPECT_EQ(FG_ERR_CONFIG_LOAD, b.lastError()) << name;
    }
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 0));
    for (const char* name : {"/dev/zero", "fifo.mcf", "dir.mcf"}) {
        EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, b.setText(FG_LUT_CUSTOM_FILE, name, 0)) << name;
        EXPECT_EQ("", b.text(FG_LUT_CUSTOM_FILE, 0)) << name;
    }

    // A configuration naming them as its tables loads; the tables are not read.
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 1));
    ASSERT_EQ(0, Fg_saveConfig(b.fg(), "named.mcf"));
    std::string text = readFile("named.mcf");
    const std::string empty = "FG_LUT_CUSTOM_FILE='';";
    const size_t first = text.find(empty), second = text.find(empty, first + 1);
    ASSERT_NE(std::string::npos, second);
    text.replace(second, empty.size(), "FG_LUT_CUSTOM_FILE='fifo.mcf';");
    text.replace(first, empty.size(), "FG_LUT_CUSTOM_FILE='/dev/zero';");
    ASSERT_TRUE(orvtest::writeFile("named.mcf", text));
    EXPECT_EQ(0, Fg_loadConfig(b.fg(), "named.mcf"));
    EXPECT_EQ(0, b.lastError());
}
