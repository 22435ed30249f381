#include "debug/DBG_Log.h"
#include "debug/DBG_Output.h"
#include "tests/contract/PlatformUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

namespace {

using contract::platform;
using testing::SizeIs;

class Log : public contract::ContractTest {};

TEST_F(Log, AnErrorIsWrittenWhateverTheLevel) {
    DBG_Log const log;
    for (unsigned int level = 0; level < 4; ++level) {
        platform().setLogLevel(level);
        log.error("message", "detail", "file", static_cast<int>(level));
    }
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(4));
    for (int level = 0; level < 4; ++level) {
        auto const& line = lines[static_cast<std::size_t>(level)];
        EXPECT_TRUE(line.isError);
        EXPECT_EQ(line.text, "message");
        EXPECT_EQ(line.detail, "detail");
        EXPECT_EQ(line.file, "file");
        EXPECT_EQ(line.line, level);
    }
}

TEST_F(Log, ATraceIsWritten) {
    DBG_Log const log;
    platform().setLogLevel(3);
    log.trace("text", "file", 471);
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_FALSE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "text");
    EXPECT_EQ(lines[0].file, "file");
    EXPECT_EQ(lines[0].line, 471);
}

TEST_F(Log, NulCharactersBelongToTheTexts) {
    DBG_Log const log;
    platform().setLogLevel(3);
    std::string const text("one\0two\0", 8);
    std::string const detail("three\0", 6);
    log.error(text, detail, "file", 1);
    log.trace(text, "file", 2);
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].text, text);
    EXPECT_EQ(lines[0].detail, detail);
    EXPECT_EQ(lines[1].text, text);
}

TEST_F(Log, EmptyTextsAreWrittenToo) {
    DBG_Log const log;
    log.error("", "", "", 0);
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "");
    EXPECT_EQ(lines[0].detail, "");
}

TEST_F(Log, LinesKeepTheOrderOfTheCalls) {
    DBG_Log const one;
    DBG_Log const other;
    platform().setLogLevel(3);
    one.trace("1", "file", 1);
    other.error("2", "", "file", 2);
    one.trace("3", "file", 3);
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0].text, "1");
    EXPECT_EQ(lines[1].text, "2");
    EXPECT_EQ(lines[2].text, "3");
}

TEST_F(Log, AnExistingLogSeesANewLevel) {
    DBG_Log const log;
    for (unsigned int level : {0U, 1U, 2U, 3U, 0U}) {
        platform().setLogLevel(level);
        EXPECT_EQ(log.level & 3U, level);
    }
}

TEST_F(Log, AllLogsReferToOneLevelWord) {
    platform().setLogLevel(2);
    DBG_Log const one;
    DBG_Log const other;
    EXPECT_EQ(&one.level, &other.level);
    EXPECT_EQ(other.level & 3U, 2U);
}

class ModuleLog : public DBG_Log {
public:
    explicit ModuleLog(bool& flag) : isDestroyed(flag) {}
    ~ModuleLog() override { isDestroyed = true; }

    void error(std::string const& message, std::string const& detail, std::string const& file,
               int line) const override {
        DBG_Log::error("module: " + message, detail, file, line);
    }

private:
    bool& isDestroyed;
};

TEST_F(Log, AModuleMayDeriveItsOwnLog) {
    bool isDestroyed = false;
    {
        std::unique_ptr<DBG_Log> const log = std::make_unique<ModuleLog>(isDestroyed);
        log->error("message", "detail", "file", 7);
    }
    EXPECT_TRUE(isDestroyed);
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "module: message");
}

class NameTables : public contract::ContractTest {};

TEST_F(NameTables, EveryDirectionHasAName) {
    ASSERT_GT(DBG_Output::directionToStrMAX, VCOM_DIRECTION_OUT);
    std::set<std::string> names;
    for (int direction = 0; direction < DBG_Output::directionToStrMAX; ++direction) {
        names.insert(DBG_Output::directionToStr[direction]);
    }
    EXPECT_EQ(names.count(""), 0U);
    EXPECT_EQ(names.size(), static_cast<std::size_t>(DBG_Output::directionToStrMAX));
}

TEST_F(NameTables, EveryCodecHasAName) {
    ASSERT_GT(DBG_Output::codecToStrMAX, 0);
    for (int codec = 0; codec < DBG_Output::codecToStrMAX; ++codec) {
        EXPECT_FALSE(DBG_Output::codecToStr[codec].empty()) << codec;
    }
}

TEST_F(NameTables, EveryFramingHasOneNameAndTheTableEnds) {
    std::multiset<int> framings;
    std::size_t const longestTable = 1000;
    std::size_t entry = 0;
    for (; entry < longestTable && !DBG_Output::framingToStr[entry].name.empty(); ++entry) {
        framings.insert(DBG_Output::framingToStr[entry].framing);
    }
    ASSERT_LT(entry, longestTable);
    for (int framing = VCOM_FRAMING_10; framing <= VCOM_FRAMING_150; framing += 10) {
        EXPECT_EQ(framings.count(framing), 1U) << framing;
    }
}

} // namespace
