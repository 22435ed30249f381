// What a call file without error means. Its errors are tested with the program.

#include "gateway/CallFile.h"

#include <gmock/gmock.h>

namespace {

using gateway::CallFile;
using gateway::Milliseconds;
using gateway::parseCallFile;
using gateway::Step;
using testing::ElementsAre;
using testing::IsEmpty;

std::string const start = R"([[board]]
ip = "10.0.0.1"
sid = 0x10
[[channel]]
name = "in"
[[channel]]
name = "out"
)";

Step stepOf(std::string const& lines) {
    return parseCallFile(start + "[[step]]\n" + lines, "call.toml").steps.at(0);
}

template <typename Action>
Action actionOf(std::string const& lines) {
    return std::get<Action>(stepOf(lines).action);
}

TEST(CallFile, hasDefaults) {
    CallFile const file = parseCallFile(start + "[[step]]\nwait = 5\n", "call.toml");
    EXPECT_EQ(file.path, "call.toml");
    EXPECT_EQ(file.title, "");
    EXPECT_EQ(file.deadline, Milliseconds(3000));
    EXPECT_FALSE(file.leaveOpen);
    EXPECT_FALSE(file.isConfigured);
    ASSERT_EQ(file.boards.size(), 1U);
    EXPECT_EQ(file.boards[0].channels, 256U);
    EXPECT_EQ(file.boards[0].firstPort, 5000);
    EXPECT_EQ(file.boards[0].ackDelay, Milliseconds(1));
    ASSERT_EQ(file.channels.size(), 2U);
    EXPECT_THAT(file.channels[0].fields, IsEmpty());
    Step const& step = file.steps.at(0);
    EXPECT_EQ(step.note, "");
    EXPECT_TRUE(step.settle);
    EXPECT_FALSE(step.channel.has_value());
    EXPECT_FALSE(step.expect.commands.has_value()) << "not looked at";
    EXPECT_FALSE(step.expect.isRefusal());
}

TEST(CallFile, refusesAKeyOfManyParts) {
    std::string key = "a";
    for (int part = 1; part < 200000; ++part) {
        key += ".a";
    }
    try {
        parseCallFile("\n" + key + " = 1\n", "call.toml");
        FAIL() << "nothing was thrown";
    } catch (gateway::CallFileError const& error) {
        EXPECT_STREQ(error.what(),
                     "call.toml:2:33: a key has more than 16 parts: expected a shorter one");
    }
}

TEST(CallFile, holdsWhatWasWritten) {
    CallFile const file = parseCallFile(R"(title = "T"
deadline = 7
leaveOpen = true
[configuration]
fax_proto = "udp"
rtptick_request = 255
noteworthyValue5 = 1
voicelan = "10.0.0.9"
[[board]]
ip = "10.0.0.1"
sid = 0xFF
channels = 3
firstPort = 6000
ackDelay = 0
[[channel]]
name = "in"
codec = 3
direction = "in"
[[step]]
wait = 5
)",
                                        "call.toml");
    EXPECT_EQ(file.title, "T");
    EXPECT_EQ(file.deadline, Milliseconds(7));
    EXPECT_TRUE(file.leaveOpen);
    EXPECT_TRUE(file.isConfigured);
    EXPECT_EQ(file.configuration.faxProto, "udp");
    EXPECT_EQ(file.configuration.rtptickRequest, 255);
    EXPECT_EQ(file.configuration.noteworthyValue5, 1);
    EXPECT_EQ(file.configuration.voicelan, "10.0.0.9");
    EXPECT_EQ(file.boards[0].ip, "10.0.0.1");
    EXPECT_EQ(file.boards[0].sid, 0xFF);
    EXPECT_EQ(file.boards[0].channels, 3U);
    EXPECT_EQ(file.boards[0].firstPort, 6000);
    EXPECT_EQ(file.boards[0].ackDelay, Milliseconds(0));
    ASSERT_EQ(file.channels[0].fields.size(), 2U);
    EXPECT_EQ(file.channels[0].fields[0].field->name, "direction");
    EXPECT_EQ(std::get<std::int64_t>(file.channels[0].fields[0].value), 1);
    EXPECT_EQ(file.channels[0].fields[1].field->name, "codec");
    EXPECT_EQ(std::get<std::int64_t>(file.channels[0].fields[1].value), 3);
}

TEST(CallFile, operationsNameTheirChannelAndWhatChanges) {
    using Operation = gateway::ChannelAction::Operation;
    std::vector<std::pair<std::string, Operation>> const operations = {
        {"open", Operation::open},   {"update", Operation::update},
        {"join", Operation::join},   {"activateFax", Operation::activateFax},
        {"close", Operation::close}, {"unjoin", Operation::unjoin}};
    for (auto const& [verb, operation] : operations) {
        Step const step = stepOf(verb + " = \"out\"\nset.vad = true\n");
        EXPECT_EQ(step.verb, verb);
        EXPECT_EQ(step.channel, 1U);
        EXPECT_EQ(step.position.line, 9U);
        auto const& action = std::get<gateway::ChannelAction>(step.action);
        EXPECT_EQ(action.operation, operation);
        ASSERT_EQ(action.set.size(), 1U);
        EXPECT_EQ(action.set[0].field->name, "vad");
    }
}

TEST(CallFile, eventsOfABoard) {
    auto const dtmf = actionOf<gateway::DtmfAction>("dtmf = \"in\"\ndigit = 11\nduration = 9\n");
    EXPECT_EQ(dtmf.digit, 11);
    EXPECT_EQ(dtmf.duration, 9);
    EXPECT_EQ(actionOf<gateway::DtmfAction>("dtmf = \"in\"\ndigit = 1\n").duration, 80);
    EXPECT_EQ(stepOf("faxTone = \"out\"\n").channel, 1U);
    EXPECT_EQ(actionOf<gateway::AlertAction>("alert = \"in\"\nvalue = 0xFFFFFFFF\n").value,
              0xFFFFFFFFU);
    EXPECT_EQ(actionOf<gateway::FailNextAction>("failNext = \"in\"\nerror = \"notOpen\"\n").error,
              dsp::Error::notOpen);
    EXPECT_EQ(
        actionOf<gateway::FailNextAction>("failNext = \"in\"\nerror = \"noPortLeft\"\n").error,
        dsp::Error::noPortLeft);
}

TEST(CallFile, otherActions) {
    auto const change =
        actionOf<gateway::ConfigureAction>("configure.fax_proto = \"tcp\"\n"
                                           "configure.remove = [\"rtptick_request\"]\n")
            .change;
    EXPECT_EQ(change.faxProto, "tcp");
    EXPECT_THAT(change.remove, ElementsAre("rtptick_request"));
    EXPECT_EQ(actionOf<gateway::ConsoleAction>("console = \"MC {in}\"\n").line, "MC {in}");
    EXPECT_EQ(actionOf<gateway::WaitAction>("wait = 12\n").time, Milliseconds(12));
    EXPECT_EQ(actionOf<gateway::LogLevelAction>("logLevel = 3\n").level, 3U);
}

TEST(CallFile, expectations) {
    Step const step = stepOf(R"(open = "in"
note = "N"
settle = false
expect.refusal = "R {in}"
expect.refusalContains = "part"
expect.commands = []
expect.events = "FaxTone dsp=1"
expect.callbacks = ["ackEvent channel=out", "ackErrorEvent channel=none"]
expect.reports = ["a", "b"]
expect.errors = "c"
expect.traces = "d"
expect.state = "Join"
expect.channel.out.rtpLocal = "10.0.0.1:9"
)");
    EXPECT_EQ(step.note, "N");
    EXPECT_FALSE(step.settle);
    EXPECT_EQ(step.expect.refusal, "R {in}");
    EXPECT_THAT(step.expect.refusalContains, ElementsAre("part"));
    ASSERT_TRUE(step.expect.commands.has_value()) << "none is expected";
    EXPECT_THAT(*step.expect.commands, IsEmpty());
    EXPECT_EQ(step.expect.events->at(0).text(), "FaxTone dsp=1");
    EXPECT_EQ(step.expect.callbacks->at(1).text(), "ackErrorEvent channel=none");
    EXPECT_THAT(step.expect.reports, ElementsAre("a", "b"));
    EXPECT_THAT(step.expect.errors, ElementsAre("c"));
    EXPECT_THAT(step.expect.traces, ElementsAre("d"));
    ASSERT_EQ(step.expect.fields.size(), 2U);
    EXPECT_EQ(step.expect.fields[0].channel, 0U);
    EXPECT_EQ(step.expect.fields[0].setting.field->name, "state");
    EXPECT_EQ(step.expect.fields[1].channel, 1U);
    EXPECT_EQ(std::get<std::string>(step.expect.fields[1].setting.value), "10.0.0.1:9");
}

TEST(CallFile, expectedAnswers) {
    Step const step = stepOf("console = \"help\"\nexpect.answer = \"\"\n"
                             "expect.answerContains = [\"a\"]\n");
    EXPECT_EQ(step.expect.answer, "") << "an empty answer is expected, not none";
    EXPECT_THAT(step.expect.answerContains, ElementsAre("a"));
}

} // namespace
