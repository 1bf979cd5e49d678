// The dormant log and the one-number error store.

#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "Fg_Error.h"
#include "support_files.h"

using supporttest::CapturedLog;

TEST(ErrorStore, KeepsTheLastNumber) {
    Fg_Error store;
    EXPECT_EQ(0, store.getErrorNumberBuffer());
    EXPECT_EQ(-2070, store.setErr(-2070));
    EXPECT_EQ(-2070, store.getErrorNumberBuffer());
    EXPECT_EQ(-2130, store.setErrLevel2(-6000, "detail"));
    EXPECT_EQ(-2130, store.setErrLevel2(0, nullptr));
    EXPECT_EQ(-2070, store.getErrorNumberBuffer());
    EXPECT_EQ(0, store.setErr(0));
    EXPECT_EQ(0, store.getErrorNumberBuffer());
}

class DormantLog : public supporttest::ScratchDir {};

TEST_F(DormantLog, NamedLogCreatesNoFileAndWritesNothing) {
    const std::string name = path("applet.log");
    {
        Fg_Log log(name.c_str());
        EXPECT_FALSE(log.isOpen());
        log.OpenLogFile(name.c_str());
        EXPECT_FALSE(log.isOpen());
        log.WriteWelcome();
        log.Func("Fg_ConfigFileParser::setSaveFile");
        log.Info("text");
        log.Info("text", 3);
        log.Error("text");
        log.ErrorInt("a", "b", 1);
        log.ErrorDouble("a", "b", 0.5);
        log.UsrDbg("%s %d", "x", 2);
        log.CloseLogFile();
        log.CloseLogFile();
    }
    EXPECT_NE(0, access(name.c_str(), F_OK));
    // a closed log ignores null texts
    Fg_Log log;
    log.Error(nullptr);
    log.ErrorInt(nullptr, nullptr, 0);
    log.ErrorDouble(nullptr, nullptr, 0.0);
    log.UsrDbg(nullptr);
    EXPECT_FALSE(log.isOpen());
}

TEST(LogFormats, ReportLinesWithDoublesOfTwelveSignificantDigits) {
    CapturedLog log;
    log.Func("Fg_ConfigFileParser::parseKey");
    log.Info("Config File exist");
    log.Info("count", -5);
    log.Error("Config File is Invalid");
    log.ErrorInt("set", "FG_WIDTH", -7080);
    for (double d : {0.1, 1.0 / 3.0, 10240.0, 1e-05}) log.ErrorDouble("a", "b", d);
    EXPECT_EQ(
        "korvaneIV::Info >> count >> -5;\n"
        "korvaneIV::Error >> Config File is Invalid;\n"
        "korvaneIV::Error >> set >> FG_WIDTH >> -7080;\n"
        "korvaneIV::Error >> a >> b >> 0.1;\n"
        "korvaneIV::Error >> a >> b >> 0.333333333333;\n"
        "korvaneIV::Error >> a >> b >> 10240;\n"
        "korvaneIV::Error >> a >> b >> 1e-05;\n",
        log.text());
}

TEST(LogFormats, UserDebugTextIsWrittenAsGiven) {
    CapturedLog log;
    log.UsrDbg("value %d", 7);
    log.UsrDbg("|%s", "next");
    EXPECT_EQ("value 7|next", log.text());
}

TEST(LogFormats, WelcomeBlock) {
    CapturedLog log;
    log.WriteWelcome();
    const std::string text = log.text();
    const std::string rule(73, '-');
    const std::string contents = "Contents: Log details for korvane Dll\n";
    // rule, banner, contents, timestamp, rule: five lines.
    ASSERT_EQ(0u, text.find(rule + "\n"));
    const std::size_t banner = rule.size() + 1;
    const std::size_t contentsAt = text.find('\n', banner) + 1;
    EXPECT_GT(contentsAt, banner + 1);
    EXPECT_EQ(contentsAt, text.find(contents));
    const std::size_t stamp = contentsAt + contents.size();
    const std::size_t last = text.find('\n', stamp) + 1;
    EXPECT_EQ(last, text.size() - rule.size() - 1);
    EXPECT_EQ(rule + "\n", text.substr(last));
    EXPECT_EQ(24u, last - stamp - 1);  // "Www Mmm dd hh:mm:ss yyyy"
}
