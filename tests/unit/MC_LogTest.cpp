#include "MC_Log.h"

#include "MC_Manager.h"

#include "imc/IMC_Manager.h"
#include "tests/support/Recording.h"
#include "tests/unit/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <type_traits>

namespace {

using namespace std::string_literals;

using recording::Kind;
using recording::platform;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_convertible<MC_Log*, DBG_Log*>::value, "a public base");
static_assert(std::has_virtual_destructor<MC_Log>::value, "");

class Log : public testing::Test {
protected:
    Log() { platform().reset(); }
    ~Log() override {
        platform().reset();
        MC_Log::desinstance();
    }
};

TEST_F(Log, PointerIsNullUntilInstanceHasRun) {
    EXPECT_EQ(pMClog, nullptr);
    MC_Log::instance();
    EXPECT_NE(pMClog, nullptr);
}

TEST_F(Log, InstanceTwiceBuildsOneLog) {
    MC_Log::instance();
    MC_Log const* const first = pMClog;
    platform().clearRecords();
    MC_Log::instance();
    EXPECT_EQ(pMClog, first);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(Log, DesinstanceTwiceIsHarmlessAndLeavesNull) {
    MC_Log::instance();
    MC_Log::desinstance();
    EXPECT_EQ(pMClog, nullptr);
    platform().clearRecords();
    MC_Log::desinstance();
    EXPECT_EQ(pMClog, nullptr);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(Log, DesinstanceWithoutALogIsHarmless) {
    MC_Log::desinstance();
    EXPECT_EQ(pMClog, nullptr);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(Log, LogCanBeBuiltAgain) {
    MC_Log::instance();
    MC_Log::desinstance();
    platform().clearRecords();
    MC_Log::instance();
    ASSERT_NE(pMClog, nullptr);
    EXPECT_THAT(platform().journal(Kind::logs), ElementsAre("log created"));
}

TEST_F(Log, BaseIsBuiltBeforeTheConsoleCommandRegisters) {
    MC_Log::instance();
    EXPECT_THAT(platform().journal(),
                ElementsAre("log created", "IMC_Manager::instance(0xff)", "registration MC",
                            "registration help", "registration PrepareExit"));
}

TEST_F(Log, ConsoleCommandUnregistersBeforeTheBaseIsDestroyed) {
    MC_Log::instance();
    platform().clearRecords();
    MC_Log::desinstance();
    EXPECT_THAT(platform().journal(), ElementsAre("unregistration MC", "unregistration help",
                                                  "unregistration PrepareExit", "log destroyed"));
    EXPECT_THAT(platform().registered(), IsEmpty());
}

TEST_F(Log, PointerIsStoredWhenTheLogIsBuiltAndClearedWhenItIsDestroyed) {
    MC_Log const* during = nullptr;
    platform().script.registration = [&](std::string const&) { during = pMClog; };
    MC_Log::instance();
    EXPECT_EQ(during, nullptr);
    MC_Log const* const log = pMClog;
    platform().script.unregistration = [&](std::string const&) { during = pMClog; };
    MC_Log::desinstance();
    EXPECT_EQ(during, log);
    EXPECT_EQ(pMClog, nullptr);
}

TEST_F(Log, ConsoleCommandIsAMemberOfTheLog) {
    MC_Log::instance();
    ASSERT_FALSE(platform().registered().empty());
    auto const* const begin = reinterpret_cast<char const*>(pMClog);
    auto const* const command =
        reinterpret_cast<char const*>(platform().registered().front().commandObserver);
    EXPECT_GE(command, begin + sizeof(DBG_Log));
    EXPECT_LE(command + sizeof(MC_DbgCommand), begin + sizeof(MC_Log));
}

TEST_F(Log, RefusedConsoleCommandLeavesNoLogAndNoRegistration) {
    for (auto const& refused : {"MC", "help", "PrepareExit"}) {
        platform().reset();
        platform().script.registration = [&](std::string const& word) {
            if (word == refused) {
                throw std::runtime_error("refused");
            }
        };
        EXPECT_THROW(MC_Log::instance(), std::runtime_error) << refused;
        EXPECT_EQ(pMClog, nullptr) << refused;
        EXPECT_THAT(platform().registered(), IsEmpty()) << refused;
        EXPECT_THAT(platform().journal(Kind::logs), ElementsAre("log created", "log destroyed"));
    }
}

TEST_F(Log, ManagerBuildsAndDestroysTheLog) {
    MC_Manager* const manager = MC_Manager::instance();
    EXPECT_NE(pMClog, nullptr);
    delete manager;
    EXPECT_EQ(pMClog, nullptr);
    EXPECT_THAT(platform().journal(Kind::logs), ElementsAre("log created", "log destroyed"));
}

TEST_F(Log, ErrorIsPrefixedAndPassesDetailFileAndLine) {
    MC_Log::instance();
    pMClog->error("MC_Manager component not found", "closeVoice", "framework/lib/MC_API/MC_Manager",
                  7);
    ASSERT_EQ(platform().logCalls().size(), 1U);
    auto const& call = platform().logCalls().front();
    EXPECT_TRUE(call.isError);
    EXPECT_EQ(call.log, pMClog);
    EXPECT_EQ(call.text, "MC - MC_Manager component not found");
    EXPECT_EQ(call.detail, "closeVoice");
    EXPECT_EQ(call.file, "framework/lib/MC_API/MC_Manager");
    EXPECT_EQ(call.line, 7);
}

TEST_F(Log, EmptyMessageGivesThePrefixAlone) {
    MC_Log::instance();
    pMClog->error("", "", "", INT_MIN);
    ASSERT_EQ(platform().errors().size(), 1U);
    EXPECT_EQ(platform().errors()[0].text, "MC - ");
    EXPECT_EQ(platform().errors()[0].detail, "");
    EXPECT_EQ(platform().errors()[0].file, "");
    EXPECT_EQ(platform().errors()[0].line, INT_MIN);
}

TEST_F(Log, TextsTravelWholeWithTheirNuls) {
    MC_Log::instance();
    pMClog->error("message\0more\0"s, "detail\0more\0"s, "file\0more"s, INT_MAX);
    pMClog->trace("text\0more\0"s, "file\0more"s, -1);
    ASSERT_EQ(platform().errors().size(), 1U);
    EXPECT_EQ(platform().errors()[0].text, "MC - message\0more\0"s);
    EXPECT_EQ(platform().errors()[0].detail, "detail\0more\0"s);
    EXPECT_EQ(platform().errors()[0].file, "file\0more"s);
    EXPECT_EQ(platform().errors()[0].line, INT_MAX);
    ASSERT_EQ(platform().traces().size(), 1U);
    EXPECT_EQ(platform().traces()[0].text, "text\0more\0"s);
}

TEST_F(Log, ErrorIsWrittenAtEveryLevel) {
    MC_Log::instance();
    for (unsigned int const level : {0U, 1U, 2U, 3U, 0xFCU, UINT_MAX}) {
        platform().setLogLevel(level);
        platform().clearRecords();
        pMClog->error("a", "b", "c", 1);
        EXPECT_EQ(platform().errors().size(), 1U) << level;
    }
}

TEST_F(Log, ErrorIsPrefixedThroughTheBaseToo) {
    MC_Log::instance();
    DBG_Log const& base = *pMClog;
    base.error("a", "b", "c", 1);
    ASSERT_EQ(platform().errors().size(), 1U);
    EXPECT_EQ(platform().errors()[0].text, "MC - a");
}

TEST_F(Log, TraceIsInheritedWithoutPrefix) {
    MC_Log::instance();
    pMClog->trace("MC - OBS - text", "file", 42);
    ASSERT_EQ(platform().logCalls().size(), 1U);
    auto const& call = platform().logCalls().front();
    EXPECT_FALSE(call.isError);
    EXPECT_EQ(call.log, pMClog);
    EXPECT_EQ(call.text, "MC - OBS - text");
    EXPECT_EQ(call.file, "file");
    EXPECT_EQ(call.line, 42);
    EXPECT_TRUE((std::is_same<decltype(&MC_Log::trace), decltype(&DBG_Log::trace)>::value));
}

TEST_F(Log, LevelIsThePlatformsLevelWord) {
    MC_Log::instance();
    platform().setLogLevel(0xFE);
    EXPECT_EQ(pMClog->level, 0xFEU);
    platform().setLogLevel(1);
    EXPECT_EQ(pMClog->level, 1U);
}

TEST_F(Log, VirtualOperationsTakeTheirSlots) {
    EXPECT_EQ(virtualSlot(&MC_Log::error), 2U);
    EXPECT_EQ(virtualSlot(&MC_Log::trace), 3U);
}

} // namespace
