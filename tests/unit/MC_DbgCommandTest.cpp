#include "MC_DbgCommand.h"

#include "MC_Channel.h"
#include "MC_Log.h"
#include "MC_Manager.h"

#include "imc/IMC_Manager.h"
#include "tests/support/Recording.h"
#include "tests/unit/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <type_traits>

namespace {

using namespace std::string_literals;

using recording::Kind;
using recording::platform;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_convertible<MC_DbgCommand*, IMC_CommandObserver*>::value, "a public base");

std::string const help = "key MC:\n"
                         "\tMC help : display this specific help\n"
                         "\tMC Channel All | <id>\n"
                         "\t\tAll  : display properties of all channels\n"
                         "\t\t<id> : display properties of channel(id) (ex: 0x1)\n"
                         "\tMC Dsp All | [<max>]\n"
                         "\t\tdisplay channel id associated with dsp\n"
                         "\t\tAll   : all dsp associated with channels\n"
                         "\t\t<max> : number of line to display\n";

std::string const channelHeader = "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tMC_CHANNEL list:\n\n";
std::string const dspHeader =
    "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tDSP list with its MC_CHANNEL:\n\n\n";

/** The registered console command, with the manager's channels behind it. */
class DbgCommand : public testing::Test {
protected:
    DbgCommand() {
        platform().reset();
        platform().setBoard("10.0.0.1", 0x21);
        MC_Log::instance();
    }
    ~DbgCommand() override {
        platform().reset();
        delete MC_Manager::instance();
    }

    MC_Channel* open(std::uint32_t identifier, std::uint8_t dsp,
                     VCOM_Direction direction = VCOM_DIRECTION_IN) {
        IPAddress const board("10.0.0.1");
        MC_Manager* const manager = MC_Manager::instance();
        channels.emplace_back(manager->factory());
        MC_Channel* const channel = channels.back().get();
        channel->identifier = identifier;
        channel->dsp = dsp;
        channel->direction = direction;
        channel->codec = 1;
        channel->minFraming = VCOM_FRAMING_20;
        channel->maxFraming = VCOM_FRAMING_20;
        manager->setMediaGateway(channel, &board);
        manager->openChannel(channel);
        platform().clearRecords();
        return channel;
    }

    static std::vector<std::string> type(std::string const& line) {
        return platform().typeCommand(line);
    }

    // The manager's list holds references of its own, but is gone before the channels are.
    std::vector<std::unique_ptr<MC_Channel>> channels;
};

TEST_F(DbgCommand, WordsAreRegisteredInTheirOrder) {
    EXPECT_THAT(platform().journal(Kind::registrations | Kind::instances),
                ElementsAre("IMC_Manager::instance(0xff)", "registration MC", "registration help",
                            "registration PrepareExit"));
    ASSERT_EQ(platform().registered().size(), 3U);
    for (auto const& registration : platform().registered()) {
        EXPECT_NE(dynamic_cast<MC_DbgCommand*>(registration.commandObserver), nullptr);
    }
}

TEST_F(DbgCommand, CommandTakesItsSlot) {
    EXPECT_EQ(virtualSlot(&MC_DbgCommand::command), 2U);
}

TEST_F(DbgCommand, McAloneAnswersTheHelp) {
    EXPECT_THAT(type("MC"), ElementsAre(help));
}

TEST_F(DbgCommand, HelpAnswersTheHelp) {
    EXPECT_THAT(type("help"), ElementsAre(help));
    EXPECT_THAT(type("MC help"), ElementsAre(help));
    EXPECT_THAT(type("MC anything"), ElementsAre(help));
}

TEST_F(DbgCommand, ChannelAllWithoutChannelsAnswersHeaderEmptyAndTotal0) {
    EXPECT_THAT(type("MC Channel All"),
                ElementsAre(channelHeader + "\t\tIt is empty.\nTotal = 0\n\0"s));
}

TEST_F(DbgCommand, ChannelAllAnswersEachDescriptionThenTheTotal) {
    std::string const first = *open(1, 3);
    std::string const second = *open(2, 3, VCOM_DIRECTION_OUT);
    ASSERT_EQ(first.back(), '\0');
    EXPECT_THAT(type("MC Channel All"),
                ElementsAre(channelHeader + first + "\n", second + "\n", "Total = 2\n\0"s));
}

TEST_F(DbgCommand, Channel0x7AnswersItsDescriptionThenANulAlone) {
    open(6, 1);
    std::string const description = *open(7, 2);
    open(8, 3);
    EXPECT_THAT(type("MC Channel 0x7"), ElementsAre(channelHeader + description + "\n", "\0"s));
}

TEST_F(DbgCommand, Channel7WithoutPrefixIsAnInvalidArgument) {
    open(7, 2);
    EXPECT_THAT(type("MC Channel 7"), ElementsAre("MC Channel : invalid argument\n"));
}

TEST_F(DbgCommand, Channel0x1AIsFoundAndInLowerCaseIsNot) {
    std::string const description = *open(26, 2);
    EXPECT_THAT(type("MC Channel 0x1A"), ElementsAre(channelHeader + description + "\n", "\0"s));
    EXPECT_THAT(type("MC Channel 0x1a"),
                ElementsAre(channelHeader + "No Channel(1a) in Channel set.\n\0"s));
}

TEST_F(DbgCommand, IdentifierIsNotTrimmed) {
    open(7, 2);
    EXPECT_THAT(type("MC Channel 0x7 "),
                ElementsAre(channelHeader + "No Channel(7 ) in Channel set.\n\0"s));
    EXPECT_THAT(type("MC Channel 0x07"),
                ElementsAre(channelHeader + "No Channel(07) in Channel set.\n\0"s));
}

TEST_F(DbgCommand, Dsp0x2AnswersTheLinesOfDsps0And1Only) {
    open(0x1A, 1);
    open(0x1B, 1, VCOM_DIRECTION_OUT);
    open(0x1C, 2);
    EXPECT_THAT(type("MC Dsp 0x2"),
                ElementsAre(dspHeader + "Dsp 0\n\tMC_Channel in: -\n\tMC_Channel out: -\n"
                                        "Dsp 1\n\tMC_Channel in: 1A\n\tMC_Channel out: 1B\n\0"s));
}

TEST_F(DbgCommand, Dsp0x0AnswersTheHeaderAlone) {
    open(0x1A, 0);
    EXPECT_THAT(type("MC Dsp 0x0"), ElementsAre(dspHeader + "\0"s));
}

TEST_F(DbgCommand, Dsp0x10Shows16Dsps) {
    auto const answers = type("MC Dsp 0x10");
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_NE(answers[0].find("Dsp 15\n"), std::string::npos);
    EXPECT_EQ(answers[0].find("Dsp 16\n"), std::string::npos);
    EXPECT_EQ(answers[0].find("Total"), std::string::npos);
}

TEST_F(DbgCommand, DspAllShowsEveryDspUpToTheHighestInUseWithTheTotal) {
    open(0x1A, 2);
    EXPECT_THAT(type("MC Dsp All"),
                ElementsAre(dspHeader + "Dsp 0\n\tMC_Channel in: -\n\tMC_Channel out: -\n"
                                        "Dsp 1\n\tMC_Channel in: -\n\tMC_Channel out: -\n"
                                        "Dsp 2\n\tMC_Channel in: 1A\n\tMC_Channel out: -\n"
                                        "Total = 1\n\n\0"s));
}

TEST_F(DbgCommand, Dsp0xZZIsAnInvalidArgument) {
    EXPECT_THAT(type("MC Dsp 0xZZ"), ElementsAre("MC Dsp : invalid argument\n"));
}

TEST_F(DbgCommand, DspNumberThatAnIntDoesNotHoldIsAnInvalidArgument) {
    for (auto const* number : {"0x80000000", "0xFFFFFFFF", "0x123456789ABCDEF01"}) {
        EXPECT_THAT(type(std::string("MC Dsp ") + number),
                    ElementsAre("MC Dsp : invalid argument\n"))
            << number;
    }
}

TEST_F(DbgCommand, DspInDecimalIsAnInvalidArgument) {
    EXPECT_THAT(type("MC Dsp 8"), ElementsAre("MC Dsp : invalid argument\n"));
}

TEST_F(DbgCommand, LineWithBothIsTreatedAsChannel) {
    EXPECT_THAT(type("MC Dsp All MC Channel All"),
                ElementsAre(channelHeader + "\t\tIt is empty.\nTotal = 0\n\0"s));
}

TEST_F(DbgCommand, PrepareExitProducesTheFullListing) {
    std::string const first = *open(1, 3);
    std::string const second = *open(2, 4);
    EXPECT_THAT(type("PrepareExit"),
                ElementsAre(channelHeader + first + "\n", second + "\n", "Total = 2\n\0"s));
}

TEST_F(DbgCommand, CommandBeforeTheManagerBuildsIt) {
    platform().clearRecords();
    type("MC help");
    type("MC Channel 7");
    type("MC Dsp 8");
    EXPECT_THAT(platform().journal(Kind::registrations), IsEmpty());
    type("MC Dsp All");
    EXPECT_EQ(platform().journal(Kind::registrations).size(), 14U);
    EXPECT_EQ(platform().journal(Kind::registrations).front(), "registration 600");
}

/** Console commands that come and go. */
class DbgCommandRegistration : public testing::Test {
protected:
    DbgCommandRegistration() {
        platform().reset();
        command = std::make_unique<MC_DbgCommand>();
        platform().clearRecords();
    }
    ~DbgCommandRegistration() override {
        // What a refused unregistration left registered is gone.
        platform().reset();
    }

    static std::vector<std::string> wordsRegistered() {
        std::vector<std::string> words;
        for (auto const& registration : platform().registered()) {
            words.push_back(registration.word);
        }
        return words;
    }

    std::unique_ptr<MC_DbgCommand> command;
};

TEST_F(DbgCommandRegistration, DestructionUnregistersTheSameWordsInTheirOrder) {
    command.reset();
    EXPECT_THAT(platform().journal(), ElementsAre("unregistration MC", "unregistration help",
                                                  "unregistration PrepareExit"));
    EXPECT_THAT(wordsRegistered(), IsEmpty());
}

TEST_F(DbgCommandRegistration, RefusedUnregistrationOfAWordDoesNotKeepTheOthersRegistered) {
    for (auto const* refused : {"MC", "help", "PrepareExit"}) {
        platform().reset();
        command = std::make_unique<MC_DbgCommand>();
        platform().clearRecords();
        platform().script.unregistration = [&](std::string const& word) {
            if (word == refused) {
                throw std::runtime_error("refused");
            }
        };
        EXPECT_NO_THROW(command.reset());
        EXPECT_THAT(platform().journal(), ElementsAre("unregistration MC", "unregistration help",
                                                      "unregistration PrepareExit"));
        EXPECT_THAT(wordsRegistered(), ElementsAre(refused));
    }
}

TEST_F(DbgCommandRegistration, RefusedUnregistrationOfAllWordsDoesNotEscape) {
    platform().script.unregistration = recording::throwing(std::runtime_error("refused"));
    EXPECT_NO_THROW(command.reset());
    EXPECT_EQ(platform().journal().size(), 3U);
}

TEST_F(DbgCommandRegistration, ExceptionOfAnyTypeFromUnregistrationDoesNotEscape) {
    platform().script.unregistration = recording::throwing(7);
    EXPECT_NO_THROW(command.reset());
    EXPECT_EQ(platform().journal().size(), 3U);
}

TEST_F(DbgCommandRegistration, RefusedRegistrationLeavesNothingRegistered) {
    command.reset();
    for (auto const* refused : {"MC", "help", "PrepareExit"}) {
        platform().script.registration = [&](std::string const& word) {
            if (word == refused) {
                throw std::runtime_error("refused");
            }
        };
        EXPECT_THROW(MC_DbgCommand(), std::runtime_error);
        EXPECT_THAT(wordsRegistered(), IsEmpty()) << refused;
    }
}

} // namespace
