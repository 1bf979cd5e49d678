// The dormant log and the one-number error store.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>

#include "Fg_Error.h"
#include "Fg_Log.h"

namespace {

// A log directed to an anonymous temporary stream, to see the line formats
// an open log would write.
class CapturedLog : public Fg_Log {
public:
    CapturedLog() : m_stream(std::tmpfile()) { attachStream(m_stream); }
    std::string text()
    {
        std::fflush(m_stream);
        std::rewind(m_stream);
        std::string s;
        int c;
        while ((c = std::fgetc(m_stream)) != EOF)
            s.push_back(static_cast<char>(c));
        return s;
    }

private:
    std::FILE* m_stream;
};

void writeEverything(Fg_Log& log)
{
    log.WriteWelcome();
    log.Func("Fg_ConfigFileParser::setSaveFile");
    log.Info("text");
    log.Info("text", 3);
    log.Error("text");
    log.ErrorInt("a", "b", 1);
    log.ErrorDouble("a", "b", 0.5);
    log.UsrDbg("%s %d", "x", 2);
}

} // namespace

TEST(ErrorStore, KeepsTheLastNumber)
{
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

TEST(DormantLog, NamedLogCreatesNoFileAndWritesNothing)
{
    char dir[] = "orvlogXXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    const std::string name = std::string(dir) + "/applet.log";
    {
        Fg_Log log(name.c_str());
        EXPECT_FALSE(log.isOpen());
        log.OpenLogFile(name.c_str());
        EXPECT_FALSE(log.isOpen());
        writeEverything(log);
        log.CloseLogFile();
        log.CloseLogFile();
    }
    EXPECT_NE(0, access(name.c_str(), F_OK));
    rmdir(dir);
}

TEST(DormantLog, ClosedLogIgnoresNullTexts)
{
    Fg_Log log;
    log.Error(nullptr);
    log.ErrorInt(nullptr, nullptr, 0);
    log.ErrorDouble(nullptr, nullptr, 0.0);
    log.UsrDbg(nullptr);
    EXPECT_FALSE(log.isOpen());
}

TEST(LogFormats, ReportLines)
{
    CapturedLog log;
    log.Func("Fg_ConfigFileParser::parseKey");
    log.Info("Config File exist");
    log.Info("count", -5);
    log.Error("Config File is Invalid");
    log.ErrorInt("set", "FG_WIDTH", -7080);
    EXPECT_EQ("korvaneIV::Info >> count >> -5;\n"
              "korvaneIV::Error >> Config File is Invalid;\n"
              "korvaneIV::Error >> set >> FG_WIDTH >> -7080;\n",
              log.text());
}

TEST(LogFormats, DoublesUseTwelveSignificantDigits)
{
    CapturedLog log;
    log.ErrorDouble("a", "b", 0.1);
    log.ErrorDouble("a", "b", 1.0 / 3.0);
    log.ErrorDouble("a", "b", 10240.0);
    log.ErrorDouble("a", "b", 1e-05);
    EXPECT_EQ("korvaneIV::Error >> a >> b >> 0.1;\n"
              "korvaneIV::Error >> a >> b >> 0.333333333333;\n"
              "korvaneIV::Error >> a >> b >> 10240;\n"
              "korvaneIV::Error >> a >> b >> 1e-05;\n",
              log.text());
}

TEST(LogFormats, UserDebugTextIsWrittenAsGiven)
{
    CapturedLog log;
    log.UsrDbg("value %d", 7);
    log.UsrDbg("|%s", "next");
    EXPECT_EQ("value 7|next", log.text());
}

TEST(LogFormats, WelcomeBlock)
{
    CapturedLog log;
    log.WriteWelcome();
    const std::string text = log.text();
    const std::string rule(73, '-');
    // rule, banner, contents, timestamp, rule: five lines.
    ASSERT_EQ(0u, text.find(rule + "\n"));
    const std::size_t banner = rule.size() + 1;
    const std::size_t contents = text.find('\n', banner) + 1;
    EXPECT_GT(contents, banner + 1);
    EXPECT_EQ(contents, text.find("Contents: Log details for korvane Dll\n"));
    const std::size_t stamp = contents + std::string("Contents: Log details for korvane Dll\n").size();
    const std::size_t last = text.find('\n', stamp) + 1;
    EXPECT_EQ(last, text.size() - rule.size() - 1);
    EXPECT_EQ(rule + "\n", text.substr(last));
    EXPECT_EQ(24u, last - stamp - 1);  // "Www Mmm dd hh:mm:ss yyyy"
}
