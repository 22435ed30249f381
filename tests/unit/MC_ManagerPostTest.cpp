#include "tests/unit/MC_ManagerFixture.h"

#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class MC_ManagerPost : public ManagerTest {
protected:
    void post(MC_Channel const& channel, std::string const& what = "Failed to Close Voice") {
        Access::imcPost(*manager, message, what, &channel);
    }

    imc_msg message = recording::message(102, 1, 0, {3});
};

using MC_ManagerPostDeathTest = MC_ManagerPost;
using MC_ManagerPostSpecificationDeathTest = MC_ManagerPost;

TEST_F(MC_ManagerPost, HandsTheWholeMessageToImcAndLogsNothing) {
    for (std::size_t i = 0; i < imc_msg::payloadSize; ++i) {
        message.payload[i] = static_cast<std::uint8_t>(i % 251);
    }
    message.header0 = 1;
    message.header3 = 2;
    message.reserved = 0x0304;
    platform().setLogLevel(3);
    post(newChannel());
    ASSERT_EQ(platform().posted().size(), 1U);
    EXPECT_THAT(platform().posted()[0], IsRecord(record(message)));
    EXPECT_THAT(platform().journal(), ElementsAre("IMC_Manager::instance(0xff)", "post 102"));
}

TEST_F(MC_ManagerPost, FailureIsLoggedWithTheChannelAndTheCauseAndThenEndsTheProcess) {
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = recording::returning();
    post(newChannel());
    EXPECT_THAT(errors(), ElementsAre(error(withNul("Failed to Close Voice on channel(2F) "),
                                            "no route", 532)));
    EXPECT_THAT(platform().exits(), ElementsAre(0));
    EXPECT_THAT(platform().journal(Kind::posts | Kind::errors | Kind::exits),
                ElementsAre("post 102", HasSubstr("error MC - Failed"), "coreDumpExit(0)"));
}

TEST_F(MC_ManagerPost, FailureOfASubclassOfRuntimeErrorIsHandledTheSame) {
    platform().script.post = recording::throwing(std::overflow_error("too many"));
    platform().script.coreDumpExit = recording::returning();
    post(newChannel(), "What");
    EXPECT_THAT(errors(), ElementsAre(error(withNul("What on channel(2F) "), "too many", 532)));
    EXPECT_THAT(platform().exits(), ElementsAre(0));
}

TEST_F(MC_ManagerPost, FailureTextIsReadUpToItsFirstNul) {
    platform().script.post = recording::throwing(std::runtime_error(withNul("left") + "right"));
    platform().script.coreDumpExit = recording::returning();
    post(newChannel());
    ASSERT_EQ(errors().size(), 1U);
    EXPECT_EQ(errors()[0].detail, "left");
}

TEST_F(MC_ManagerPost, FailureIsLoggedAtEveryLevel) {
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = recording::returning();
    for (unsigned int const level : {0U, 1U, 2U, 3U}) {
        platform().clearRecords();
        platform().setLogLevel(level);
        post(newChannel());
        EXPECT_EQ(errors().size(), 1U) << level;
        EXPECT_THAT(traces(), IsEmpty());
    }
}

TEST_F(MC_ManagerPost, IsNotTriedAgain) {
    platform().script.post =
        recording::once(recording::throwing(std::runtime_error("only this time")));
    platform().script.coreDumpExit = recording::returning();
    post(newChannel());
    EXPECT_EQ(platform().posted().size(), 1U);
}

TEST_F(MC_ManagerPost, NeedsNoListedChannel) {
    post(newChannel());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_EQ(platform().posted().size(), 1U);
}

TEST_F(MC_ManagerPostDeathTest, FailureEndsTheProcess) {
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = reportAndAbort;
    EXPECT_DEATH(post(newChannel()),
                 AllOf(HasSubstr("error MC - Failed to Close Voice on channel(2F) <NUL> | no route "
                                 "| framework/lib/MC_API/MC_Manager:532\n"),
                       HasSubstr("exit cause 0\n")));
}

TEST_F(MC_ManagerPostSpecificationDeathTest, IntegerRunsTheUnexpectedHandler) {
    platform().script.post = recording::throwing(7);
    EXPECT_DEATH(watchingForUnexpected([this] { post(newChannel()); }), ranUnexpected());
}

TEST_F(MC_ManagerPostSpecificationDeathTest, InvalidArgumentRunsTheUnexpectedHandler) {
    platform().script.post = recording::throwing(std::invalid_argument("misuse"));
    EXPECT_DEATH(watchingForUnexpected([this] { post(newChannel()); }), ranUnexpected());
}

TEST_F(MC_ManagerPostSpecificationDeathTest, ExceptionThatIsNoRuntimeErrorRunsTheHandler) {
    platform().script.post = recording::throwing(std::exception());
    EXPECT_DEATH(watchingForUnexpected([this] { post(newChannel()); }), ranUnexpected());
}

TEST_F(MC_ManagerPostSpecificationDeathTest, RuntimeErrorFromTheExitRunsTheHandler) {
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = recording::throwing(std::runtime_error("no exit"));
    EXPECT_DEATH(watchingForUnexpected([this] { post(newChannel()); }), ranUnexpected());
}

// The commands that are posted through imcPost.

class MC_ManagerCommandPost : public ManagerTest, public testing::WithParamInterface<Command> {
protected:
    MC_ManagerCommandPost() { channel.identifier = 0xABC; }

    void call() { GetParam().call(*manager, &channel); }

    MC_Channel& channel = listedChannel();
};

using MC_ManagerCommandPostDeathTest = MC_ManagerCommandPost;
using MC_ManagerCommandPostSpecificationDeathTest = MC_ManagerCommandPost;

#define FOR_ALL_COMMANDS(fixture)                                                                  \
    INSTANTIATE_TEST_SUITE_P(Commands, fixture, testing::ValuesIn(allCommands()), NameOf())

FOR_ALL_COMMANDS(MC_ManagerCommandPost);
FOR_ALL_COMMANDS(MC_ManagerCommandPostDeathTest);
FOR_ALL_COMMANDS(MC_ManagerCommandPostSpecificationDeathTest);

TEST_P(MC_ManagerCommandPost, PostsExactlyOneMessageToTheBoardOfTheChannel) {
    channel.sid = 0x93;
    channel.dsp = 0xFE;
    call();
    EXPECT_THAT(commands(), ElementsAre(GetParam().posted));
    ASSERT_EQ(platform().posted().size(), 1U);
    EXPECT_EQ(platform().posted()[0].destinationSid, 0x93);
    EXPECT_EQ(platform().posted()[0].payload[0], 0xFE);
    EXPECT_THAT(platform().journal(Kind::instances), ElementsAre("IMC_Manager::instance(0xff)"));
}

TEST_P(MC_ManagerCommandPost, FailureIsLoggedAndWhenTheExitReturnsTheOperationGoesOn) {
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = recording::returning();
    platform().setLogLevel(3);
    EXPECT_NO_THROW(call());
    EXPECT_THAT(errors(),
                ElementsAre(error(withNul(std::string(GetParam().failure) + " on channel(ABC) "),
                                  "no route", 532)));
    EXPECT_THAT(platform().exits(), ElementsAre(0));
    EXPECT_EQ(traces().size(), 1U);
    EXPECT_EQ(platform().posted().size(), 1U);
}

TEST_P(MC_ManagerCommandPost, ChangesNothingInTheChannel) {
    for (int const state : {0, 1, 2, 3, 4, 5}) {
        channel.state = static_cast<MC_Channel::State>(state);
        channel.vad = true;
        channel.faxDetection = true;
        std::string const before = description(channel);
        call();
        EXPECT_EQ(description(channel), before);
        EXPECT_EQ(channel.state, state);
        EXPECT_TRUE(channel.vad);
        EXPECT_TRUE(channel.faxDetection);
        EXPECT_FALSE(channel.voiceOpen);
        EXPECT_FALSE(channel.faxOpen);
        EXPECT_EQ(channel.referenceCount, 1U);
        EXPECT_THAT(channels(), ElementsAre(&channel));
    }
}

TEST_P(MC_ManagerCommandPostDeathTest, FailureEndsTheProcess) {
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = reportAndAbort;
    EXPECT_DEATH(call(), AllOf(HasSubstr("error MC - " + std::string(GetParam().failure) +
                                         " on channel(ABC) <NUL> | no route | "
                                         "framework/lib/MC_API/MC_Manager:532\n"),
                               HasSubstr("exit cause 0\n")));
}

TEST_P(MC_ManagerCommandPostDeathTest, AnUnservedBoardEndsTheProcessThroughThePlatform) {
    platform().setUnserved(channel.sid);
    EXPECT_DEATH(call(), HasSubstr("coreDumpExit(0)"));
}

TEST_P(MC_ManagerCommandPostSpecificationDeathTest, PostOfAnIntegerRunsTheUnexpectedHandler) {
    platform().script.post = recording::throwing(7);
    EXPECT_DEATH(watchingForUnexpected([this] { call(); }), ranUnexpected());
}

} // namespace
