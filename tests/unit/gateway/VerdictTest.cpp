#include "gateway/Verdict.h"

#include <gmock/gmock.h>

namespace {

using gateway::Observed;
using gateway::parseMessage;
using gateway::Step;
using gateway::Verdict;
using testing::ElementsAre;
using testing::IsEmpty;

class JudgedStep : public testing::Test {
protected:
    Step step;
    Observed seen;

    Verdict judge() const {
        return gateway::judge(step, seen, {channels, [](std::size_t) -> MC_Channel const& {
                                               throw std::logic_error("no record here");
                                           }});
    }

private:
    std::vector<gateway::ChannelEntry> channels;
};

TEST_F(JudgedStep, holdsWhenNothingIsExpectedAndNothingIsWrong) {
    seen.commands = {parseMessage("Unjoin dsp=1")};
    seen.events = {parseMessage("FaxTone dsp=1")};
    seen.callbacks = {parseMessage("ackEvent channel=in error=0 port=5000"),
                      parseMessage("dtmfEvent channel=in digit=1 duration=80ms")};
    seen.traces = {"MC - OBS - Open"};
    seen.answer = "text";
    EXPECT_THAT(judge().failures, IsEmpty());
    EXPECT_EQ(judge().held, 0U);
}

TEST_F(JudgedStep, anUnknownBoardFailsUnlessARefusalIsExpected) {
    seen.unknownBoards = 2;
    ASSERT_EQ(judge().failures.size(), 1U);
    EXPECT_EQ(judge().failures[0].what, "unknown board");
    EXPECT_THAT(judge().failures[0].seen, ElementsAre("imc.unknown_board: 2"));
    seen.refusal = "no";
    step.expect.refusal = "no";
    EXPECT_THAT(judge().failures, IsEmpty());
}

TEST_F(JudgedStep, anUnknownConsoleCommandFailsUnlessAnAnswerIsExpected) {
    seen.unknownCommands = 1;
    seen.answer = "Unknown";
    ASSERT_EQ(judge().failures.size(), 1U);
    EXPECT_TRUE(judge().failures[0].isOnlySeen);
    EXPECT_THAT(judge().failures[0].seen, ElementsAre("Unknown"));
    step.expect.answer = "Unknown";
    EXPECT_THAT(judge().failures, IsEmpty());
}

TEST_F(JudgedStep, countsWhatHolds) {
    step.expect.commands = {parseMessage("Unjoin")};
    step.expect.answer = "text";
    step.expect.answerContains = {"te", "xt"};
    step.expect.errors = {"one", "two"};
    seen.commands = {parseMessage("Unjoin dsp=1")};
    seen.answer = "text";
    seen.errors = {"number one", "number two"};
    EXPECT_THAT(judge().failures, IsEmpty());
    EXPECT_EQ(judge().held, 6U);
}

TEST_F(JudgedStep, aLongerOrShorterListFails) {
    step.expect.commands = {parseMessage("Unjoin"), parseMessage("CloseVoice in")};
    seen.commands = {parseMessage("Unjoin dsp=1")};
    ASSERT_EQ(judge().failures.size(), 1U);
    EXPECT_EQ(judge().failures[0].what, "commands, different from number 2 on");
    EXPECT_THAT(judge().failures[0].expected, ElementsAre("Unjoin", "CloseVoice in"));
    EXPECT_THAT(judge().failures[0].seen, ElementsAre("Unjoin dsp=1"));
    step.expect.commands = std::vector<gateway::Message>();
    EXPECT_EQ(judge().failures[0].what, "commands, different from number 1 on");
    EXPECT_THAT(judge().failures[0].expected, IsEmpty());
}

TEST_F(JudgedStep, errorsOfTheLogHaveToBeExpectedOneByOne) {
    seen.errors = {"number one", "number two"};
    step.expect.errors = {"two", "one"};
    EXPECT_EQ(judge().failures.size(), 1U) << "in another order";
    step.expect.errors = {"one"};
    EXPECT_EQ(judge().failures.size(), 1U) << "one too much";
    step.expect.errors = {"one", "two", "three"};
    EXPECT_EQ(judge().failures.size(), 1U) << "one missing";
    step.expect.errors = {};
    EXPECT_EQ(judge().failures.size(), 1U) << "nobody expected them";
}

TEST_F(JudgedStep, reportsOfABoardHaveToBeExpected) {
    seen.reports = {"refused: wrong length"};
    EXPECT_EQ(judge().failures.size(), 1U);
    step.expect.reports = {"wrong length"};
    EXPECT_THAT(judge().failures, IsEmpty());
}

TEST_F(JudgedStep, tracesMayHaveOthersBetweenThem) {
    seen.traces = {"a", "b", "c"};
    step.expect.traces = {"a", "c"};
    EXPECT_THAT(judge().failures, IsEmpty());
    step.expect.traces = {"c", "a"};
    EXPECT_EQ(judge().failures.size(), 1U);
    step.expect.traces = {"a", "a"};
    EXPECT_EQ(judge().failures.size(), 1U) << "one trace does not count twice";
}

TEST_F(JudgedStep, errorCallbacksFailUnlessCallbacksAreExpected) {
    for (char const* const callback : {"ackErrorEvent channel=none", "ackEvent error=1 port=0"}) {
        step.expect.callbacks.reset();
        seen.callbacks = {parseMessage(callback)};
        EXPECT_EQ(judge().failures.size(), 1U) << callback;
        step.expect.callbacks = seen.callbacks;
        EXPECT_THAT(judge().failures, IsEmpty()) << callback;
    }
}

TEST_F(JudgedStep, aRefusalIsComparedWholeOrInPieces) {
    seen.refusal = "Failed to openChannel(1)";
    EXPECT_EQ(judge().failures.size(), 1U) << "nobody expected it";
    step.expect.refusal = "Failed to openChannel(1)";
    EXPECT_THAT(judge().failures, IsEmpty());
    step.expect.refusal = "Failed to openChannel";
    EXPECT_EQ(judge().failures.size(), 1U);
    step.expect.refusal.reset();
    step.expect.refusalContains = {"openChannel", "(1)"};
    EXPECT_THAT(judge().failures, IsEmpty());
    step.expect.refusalContains = {"closeChannel", "(1)"};
    EXPECT_EQ(judge().failures.size(), 1U);
    seen.refusal.reset();
    EXPECT_EQ(judge().failures.size(), 2U) << "it did not come";
}

TEST_F(JudgedStep, isCompleteWhenAsMuchHasComeAsIsExpected) {
    EXPECT_TRUE(gateway::isComplete(step, seen));
    step.expect.callbacks = {parseMessage("ackEvent")};
    EXPECT_FALSE(gateway::isComplete(step, seen));
    seen.callbacks = {parseMessage("dtmfEvent")};
    EXPECT_TRUE(gateway::isComplete(step, seen)) << "waiting longer would not mend it";
    step.action = gateway::ConsoleAction{"help"};
    EXPECT_FALSE(gateway::isComplete(step, seen));
    seen.answers = 1;
    EXPECT_TRUE(gateway::isComplete(step, seen));
}

} // namespace
