#include "MC_DbgCommand.h"

#include "tests/support/Recording.h"
#include "tests/unit/ScriptedManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <stdexcept>

// The console command alone: what it asks the manager for.

namespace {

using namespace std::string_literals;

using recording::Kind;
using recording::platform;
using testing::ElementsAre;
using testing::IsEmpty;

char const channelRefusal[] = "MC Channel : invalid argument\n";
char const dspRefusal[] = "MC Dsp : invalid argument\n";

class DbgCommandDispatch : public testing::Test {
protected:
    DbgCommandDispatch() {
        platform().reset();
        command = std::make_unique<MC_DbgCommand>();
        auto& script = scriptedManager();
        script = ScriptedManager{};
        script.instance = [this] { ++instances; };
        script.getChannel = [this](std::string const& identifier) {
            asked.push_back("getChannel(" + identifier + ")");
        };
        script.getChannelSet = [this](int maxDsp) {
            asked.push_back("getChannelSet(" + std::to_string(maxDsp) + ")");
            return "overview\0more\0"s;
        };
        platform().clearRecords();
    }
    ~DbgCommandDispatch() override {
        scriptedManager() = ScriptedManager{};
        platform().reset();
    }

    /** The line asks the manager for this and nothing else. */
    void expectAsked(std::string const& line, std::string const& expected) {
        asked.clear();
        instances = 0;
        platform().clearRecords();
        command->command(line, 0);
        EXPECT_THAT(asked, ElementsAre(expected)) << line;
        EXPECT_EQ(instances, 1) << line;
        if (expected.find("getChannelSet") == 0) {
            EXPECT_THAT(platform().answers(), ElementsAre("overview\0more\0"s)) << line;
        } else {
            EXPECT_THAT(platform().answers(), IsEmpty()) << line;
        }
    }

    /** The line is answered so, and the manager is not even asked for. */
    void expectAnswered(std::string const& line, std::string const& expected) {
        asked.clear();
        instances = 0;
        platform().clearRecords();
        command->command(line, 0);
        EXPECT_THAT(platform().answers(), ElementsAre(expected)) << line;
        EXPECT_THAT(asked, IsEmpty()) << line;
        EXPECT_EQ(instances, 0) << line;
    }

    std::unique_ptr<MC_DbgCommand> command;
    std::vector<std::string> asked;
    int instances = 0;
};

TEST_F(DbgCommandDispatch, AllChannels) {
    expectAsked("MC Channel All", "getChannel()");
    expectAsked("MC ChannelAll", "getChannel()");
    expectAsked("MC Channel 7 All", "getChannel()");
    expectAsked("  MC Channel  xAllx", "getChannel()");
}

TEST_F(DbgCommandDispatch, AllWinsOverAnIdentifier) {
    expectAsked("MC Channel 0x7 All", "getChannel()");
    expectAsked("MC Channel All 0x7", "getChannel()");
}

TEST_F(DbgCommandDispatch, IdentifierIsEverythingBehindTheFirstPrefixAsItIs) {
    expectAsked("MC Channel 0x7", "getChannel(7)");
    expectAsked("MC Channel 0x1A", "getChannel(1A)");
    expectAsked("MC Channel 0x1a", "getChannel(1a)");
    expectAsked("MC Channel 0x007", "getChannel(007)");
    expectAsked("MC Channel 0x7 ", "getChannel(7 )");
    expectAsked("MC Channel 0x 7", "getChannel( 7)");
    expectAsked("MC Channel 0xXYZ", "getChannel(XYZ)");
    expectAsked("MC Channel 0x1 0x2", "getChannel(1 0x2)");
    expectAsked("MC Channel0x7\n", "getChannel(7\n)");
    expectAsked("MC Channel 0x7\0more"s, "getChannel(7\0more)"s);
}

TEST_F(DbgCommandDispatch, PrefixWithNothingBehindItIsTheEmptyIdentifier) {
    expectAsked("MC Channel 0x", "getChannel()");
}

TEST_F(DbgCommandDispatch, ChannelWithoutAllOrPrefixIsInvalid) {
    for (auto const& line : {"MC Channel", "MC Channel 7", "MC Channel all", "MC Channel ALL",
                             "MC Channel 0X7", "MC Channel x7", "MC Channel 0 x7"}) {
        expectAnswered(line, channelRefusal);
    }
}

TEST_F(DbgCommandDispatch, OnlyTheLineFromTheWordsOnCounts) {
    expectAnswered("All 0x7 MC Channel", channelRefusal);
    expectAsked("0x7 MC Channel 0x8", "getChannel(8)");
    expectAsked("All MC Channel 0x8", "getChannel(8)");
    expectAnswered("All 0x7 MC Dsp", dspRefusal);
    expectAsked("0x7 MC Dsp 0x8", "getChannelSet(8)");
    expectAsked("All MC Dsp 0x8", "getChannelSet(8)");
}

TEST_F(DbgCommandDispatch, AllDsps) {
    expectAsked("MC Dsp All", "getChannelSet(-1)");
    expectAsked("MC DspAll", "getChannelSet(-1)");
    expectAsked("MC Dsp 0x7 All", "getChannelSet(-1)");
    expectAsked("MC Dsp All 0x7", "getChannelSet(-1)");
}

TEST_F(DbgCommandDispatch, DspLimitIsHexadecimalOfAnyCase) {
    expectAsked("MC Dsp 0x0", "getChannelSet(0)");
    expectAsked("MC Dsp 0x1", "getChannelSet(1)");
    expectAsked("MC Dsp 0x7", "getChannelSet(7)");
    expectAsked("MC Dsp 0x10", "getChannelSet(16)");
    expectAsked("MC Dsp 0x1A", "getChannelSet(26)");
    expectAsked("MC Dsp 0x1a", "getChannelSet(26)");
    expectAsked("MC Dsp 0xFf", "getChannelSet(255)");
    expectAsked("MC Dsp 0x00002", "getChannelSet(2)");
    expectAsked("MC Dsp0x3", "getChannelSet(3)");
}

TEST_F(DbgCommandDispatch, DspLimitEndsBeforeTheFirstOtherCharacter) {
    expectAsked("MC Dsp 0x2 ", "getChannelSet(2)");
    expectAsked("MC Dsp 0x2G", "getChannelSet(2)");
    expectAsked("MC Dsp 0x2-1", "getChannelSet(2)");
    expectAsked("MC Dsp 0x2 0x3", "getChannelSet(2)");
    expectAsked("MC Dsp 0x2\n", "getChannelSet(2)");
}

TEST_F(DbgCommandDispatch, LargestDspLimitIsTheLargestInt) {
    expectAsked("MC Dsp 0x7FFFFFFF", "getChannelSet(2147483647)");
    expectAsked("MC Dsp 0x7ffffffe", "getChannelSet(2147483646)");
}

TEST_F(DbgCommandDispatch, DspLimitThatNoIntHoldsIsInvalid) {
    for (auto const& line : {"MC Dsp 0x80000000", "MC Dsp 0xFFFFFFFF", "MC Dsp 0x100000000",
                             "MC Dsp 0x100000001", "MC Dsp 0xFFFFFFFFFFFFFFFF",
                             "MC Dsp 0x10000000000000001", "MC Dsp 0xFFFFFFFFFFFFFFFFFFFFFFFFF"}) {
        expectAnswered(line, dspRefusal);
    }
}

TEST_F(DbgCommandDispatch, DspPrefixWithNothingBlanksOrASignBehindItIsInvalid) {
    for (auto const& line : {"MC Dsp 0x", "MC Dsp 0x ", "MC Dsp 0x 10", "MC Dsp 0x\t10",
                             "MC Dsp 0x-1", "MC Dsp 0x+1", "MC Dsp 0x -1"}) {
        expectAnswered(line, dspRefusal);
    }
}

TEST_F(DbgCommandDispatch, DspLimitThatIsNoNumberIsInvalid) {
    for (auto const& line : {"MC Dsp 0xZZ", "MC Dsp 0xG", "MC Dsp 0x.1", "MC Dsp 0x(1)"}) {
        expectAnswered(line, dspRefusal);
    }
}

TEST_F(DbgCommandDispatch, DspWithoutAllOrPrefixIsInvalid) {
    for (auto const& line : {"MC Dsp", "MC Dsp 8", "MC Dsp all", "MC Dsp 0X8", "MC Dsp -1"}) {
        expectAnswered(line, dspRefusal);
    }
}

TEST_F(DbgCommandDispatch, LineWithBothIsTreatedAsChannelInEitherOrder) {
    expectAsked("MC Channel 0x7 MC Dsp 0x8", "getChannel(7 MC Dsp 0x8)");
    expectAsked("MC Dsp 0x8 MC Channel 0x7", "getChannel(7)");
    expectAsked("MC Dsp All MC Channel 0x7", "getChannel(7)");
    expectAnswered("MC Dsp All MC Channel", channelRefusal);
}

TEST_F(DbgCommandDispatch, PrepareExitListsAllChannels) {
    expectAsked("PrepareExit", "getChannel()");
    expectAsked("the board: PrepareExit now", "getChannel()");
}

TEST_F(DbgCommandDispatch, ChannelAndDspWinOverPrepareExit) {
    expectAsked("PrepareExit MC Channel 0x7", "getChannel(7)");
    expectAsked("PrepareExit MC Dsp 0x7", "getChannelSet(7)");
    expectAnswered("MC Dsp PrepareExit", dspRefusal);
    expectAnswered("MC Channel PrepareExit", channelRefusal);
}

TEST_F(DbgCommandDispatch, AnythingElseIsAnsweredWithTheHelp) {
    std::string const help =
        "key MC:\n\tMC help : display this specific help\n\tMC Channel All | <id>\n\t\tAll  : "
        "display properties of all channels\n\t\t<id> : display properties of channel(id) (ex: "
        "0x1)\n\tMC Dsp All | [<max>]\n\t\tdisplay channel id associated with dsp\n\t\tAll   : all "
        "dsp associated with channels\n\t\t<max> : number of line to display\n";
    for (auto const& line : {"MC", "MC help", "help", "", "MC All", "MC 0x7", "MC channel All",
                             "MC dsp All", "MC  Channel All", "MCChannel All", "Channel All",
                             "Dsp All", "mc Channel All", "PrepareExi", "prepareexit", "unknown"}) {
        expectAnswered(line, help);
    }
}

TEST_F(DbgCommandDispatch, NumberOfTheConsoleIsNotUsed) {
    for (int const console : {INT_MIN, -1, 0, 1, 255, INT_MAX}) {
        asked.clear();
        command->command("MC Channel 0x7", console);
        EXPECT_THAT(asked, ElementsAre("getChannel(7)")) << console;
    }
}

TEST_F(DbgCommandDispatch, ImcIsAskedForByTheConstructorAlone) {
    command->command("MC", 0);
    command->command("MC Dsp 0x1", 0);
    EXPECT_EQ(platform().answers().size(), 2U);
    command.reset();
    EXPECT_THAT(platform().instanceQuestions(), IsEmpty());
    command = std::make_unique<MC_DbgCommand>();
    EXPECT_THAT(platform().instanceQuestions(), ElementsAre(0xFF));
}

TEST_F(DbgCommandDispatch, ManagerIsAskedForEachTime) {
    command->command("MC Channel All", 0);
    command->command("MC Dsp All", 0);
    EXPECT_EQ(instances, 2);
}

TEST_F(DbgCommandDispatch, CommandCatchesNothing) {
    scriptedManager().getChannel = [](std::string const&) { throw std::runtime_error("no"); };
    EXPECT_THROW(command->command("MC Channel All", 0), std::runtime_error);
    platform().script.answerCommand = recording::throwing(7);
    EXPECT_THROW(command->command("MC help", 0), int);
}

TEST_F(DbgCommandDispatch, NothingIsLogged) {
    platform().setLogLevel(3);
    for (auto const& line : {"MC", "MC Channel 7", "MC Channel All", "MC Dsp 7", "MC Dsp 0x7"}) {
        command->command(line, 0);
    }
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

} // namespace
