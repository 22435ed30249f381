#include "host/debug/Log.h"

#include "Fixture.h"

#include "address/IPAddress.h"
#include "debug/DBG_Log.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <stdexcept>

namespace {

using host::printable;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Log : public HostTest {
protected:
    /** What standard error shows of the call. */
    template <class Call>
    std::string shown(Call call) {
        workstation.setLogSink(nullptr);
        testing::internal::CaptureStderr();
        call();
        return testing::internal::GetCapturedStderr();
    }

    /** The level after a start with this value of MC_LOG_LEVEL. */
    unsigned int levelFrom(char const* value) {
        setenv("MC_LOG_LEVEL", value, 1);
        workstation.reset();
        unsetenv("MC_LOG_LEVEL");
        return workstation.logLevel();
    }

    DBG_Log log;
};

TEST_F(Log, AnErrorShowsTimeLevelSourceLineTextAndDetail) {
    EXPECT_THAT(shown([&] { log.error("it failed", "disk full", "a/b", 7); }),
                MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+[.][0-9]+ error a/b:7: it "
                             "failed : disk full\n"));
}

TEST_F(Log, ATraceShowsTimeLevelSourceLineAndText) {
    EXPECT_THAT(shown([&] { log.trace("opened {}", "a/b", 1082); }),
                MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+[.][0-9]+ trace a/b:1082: "
                             "opened [{][}]\n"));
}

TEST_F(Log, AnErrorIsWrittenAtEveryLevelAndATraceIsTheCallersDecision) {
    workstation.setLogLevel(0);
    log.error("e", "", "f", 1);
    log.trace("t", "f", 2);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].isError);
    EXPECT_FALSE(lines[1].isError);
}

TEST_F(Log, TheSinkGetsEveryPartWithItsNulCharacters) {
    std::string const text("m\0", 2);
    std::string const detail("\0d", 2);
    log.error(text, detail, "f", 12);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, text);
    EXPECT_EQ(lines[0].detail, detail);
    EXPECT_EQ(lines[0].file, "f");
    EXPECT_EQ(lines[0].line, 12);
}

TEST_F(Log, ASinkThatThrowsIsCountedAndTheLineIsPrinted) {
    workstation.setLogSink(
        [](host::Workstation::LogLine const&) { throw std::runtime_error("full"); });
    testing::internal::CaptureStderr();
    log.error("it failed", "", "a/b", 7);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("a/b:7: it failed\n"));
    EXPECT_EQ(counted("log.line_lost"), 1U);
}

TEST_F(Log, ASinkMayLogAndReplaceItself) {
    workstation.setLogSink([this](host::Workstation::LogLine const&) {
        workstation.setLogSink(
            [this](host::Workstation::LogLine const& line) { lines.push_back(line); });
        log.error("second", "", "f", 2);
    });
    log.error("first", "", "f", 1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "second");
}

TEST_F(Log, NulCharactersAreDroppedInPrintingOnly) {
    EXPECT_EQ(printable({true, std::string("a\0b\0", 4), std::string("c\0", 2), "f", 1}),
              "f:1: ab : c");
}

TEST_F(Log, AnEmptyDetailAndAnEmptySourceAreLeftOut) {
    EXPECT_EQ(printable({true, "a", "", "f", 1}), "f:1: a");
    EXPECT_EQ(printable({true, "a", "b", "", 0}), "a : b");
}

TEST_F(Log, TheLinesOfALongTextAreIndentedAndLineEndsAtItsEndDropped) {
    EXPECT_EQ(printable({false, std::string("a\n\tb\nc\n\0", 8), "", "f", 1}),
              "f:1: a\n    \tb\n    c");
}

TEST_F(Log, ADetailStandsOnTheLineOfATextThatEndsWithALineEnd) {
    EXPECT_EQ(printable({true, std::string("on channel(1) \n\0", 16),
                         std::string("Direction none invalid\n\0", 24), "f", 1}),
              "f:1: on channel(1) : Direction none invalid");
    EXPECT_EQ(printable({true, "a\n", std::string("\n\0", 2), "f", 1}), "f:1: a");
}

TEST_F(Log, EveryLogRefersToTheLevelThatIsSet) {
    workstation.setLogLevel(3);
    EXPECT_EQ(log.level, 3U);
    DBG_Log const other;
    EXPECT_EQ(&other.level, &log.level);
    workstation.setLogLevel(0xFFFFFFFEU);
    EXPECT_EQ(log.level, 0xFFFFFFFEU);
    EXPECT_EQ(workstation.logLevel(), 0xFFFFFFFEU);
}

TEST_F(Log, OnlyTheTwoLowBitsOfTheLevelWordAreTheTraceLevel) {
    auto const tracesAt = [this](unsigned int level) {
        workstation.setLogLevel(level);
        lines.clear();
        imc().getSid(12, IPAddress("10.0.0.1"));
        return !lines.empty();
    };
    EXPECT_TRUE(tracesAt(3));
    EXPECT_TRUE(tracesAt(0xFFFFFFFEU));
    EXPECT_FALSE(tracesAt(77));
    EXPECT_FALSE(tracesAt(4));
}

TEST_F(Log, TheEnvironmentSetsTheLevel) {
    EXPECT_EQ(levelFrom("0"), 0U);
    EXPECT_EQ(levelFrom("1"), 1U);
    EXPECT_EQ(levelFrom("2"), 2U);
    EXPECT_EQ(levelFrom("3"), 3U);
    EXPECT_EQ(log.level, 3U);
    EXPECT_EQ(levelFrom(""), 0U);
    EXPECT_EQ(counted("environment.bad_value"), 0U);
}

TEST_F(Log, ABadLevelOfTheEnvironmentIsReportedOnceAndIgnored) {
    for (char const* const bad : {"4", "-1", "01", "3 ", "high"}) {
        std::string const text = shown([&] { EXPECT_EQ(levelFrom(bad), 0U); });
        EXPECT_THAT(text, HasSubstr("error host/debug/Log:"));
        EXPECT_THAT(text, HasSubstr("MC_LOG_LEVEL is \"" + std::string(bad) +
                                    "\", not a number from 0 to 3\n"));
        EXPECT_EQ(text.find("MC_LOG_LEVEL"), text.rfind("MC_LOG_LEVEL"));
        EXPECT_EQ(counted("environment.bad_value"), 1U);
        EXPECT_EQ(shown([&] { EXPECT_EQ(levelFrom(bad), 0U); }), "");
        EXPECT_EQ(counted("environment.bad_value"), 1U);
    }
    EXPECT_THAT(shown([&] { log.trace("x", "f", 1); }), Not(HasSubstr("MC_LOG_LEVEL")));
}

} // namespace
