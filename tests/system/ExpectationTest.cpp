// What makes a call file fail, and how the program shows it: expected against seen.

#include "tests/system/Program.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

/** How a failure stands in the output, without the time before it. */
std::string failure(TemporaryFile const& file, unsigned line, std::string const& what,
                    std::string const& expected, std::string const& seen) {
    std::string const margin(24, ' ');
    return "FAILED     " + file.path() + (line == 0 ? "" : ":" + std::to_string(line)) + ": " +
           what + "\n" + margin + "expected  " + expected + "\n" + margin + "seen      " + seen +
           "\n";
}

std::string const open = "[[step]]\nopen = \"in\"\n";
std::string const close =
    "[[step]]\nclose = \"in\"\nexpect.callbacks = [\"ackErrorEvent channel=none\"]\n";

struct FailureCase {
    char const* name;
    /** Steps, from line 14 on. */
    std::string steps;
    unsigned line;
    std::string what;
    std::string expected;
    std::string seen;
};

void PrintTo(FailureCase const& each, std::ostream* stream) {
    *stream << each.name;
}

class FailedExpectation : public testing::TestWithParam<FailureCase> {};

TEST_P(FailedExpectation, showsExpectedAgainstSeen) {
    FailureCase const& each = GetParam();
    TemporaryFile const file("call.toml", boardAndChannel + each.steps);
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output,
                HasSubstr(failure(file, each.line, each.what, each.expected, each.seen)));
    EXPECT_THAT(run.output, HasSubstr(file.path() + ": FAILED: "));
    EXPECT_EQ(run.errors, "");
}

std::string const openIn = "openChannel in channel(1): ";
std::string const margin = "\n" + std::string(34, ' ');

std::vector<FailureCase> const failureCases = {
    {"AnotherState", open + "expect.state = \"Join\"\n" + close, 15, openIn + "state of in", "Join",
     "Voice_Open"},
    {"AnotherFlag", open + "expect.faxOpen = true\n" + close, 15, openIn + "faxOpen of in", "true",
     "false"},
    {"AnotherEndPoint", open + "expect.rtpLocal = \"10.0.0.1:5000\"\n" + close, 15,
     openIn + "rtpLocal of in", "10.0.0.1:5000", "10.0.0.1:0"},
    {"AnotherReferenceCount", open + "expect.referenceCount = 1\n" + close, 15,
     openIn + "referenceCount of in", "1", "2"},
    {"AnotherPort", open + "expect.callbacks = [\"ackEvent port=5002\"]\n" + close, 15,
     openIn + "callbacks, different from number 1 on", "ackEvent port=5002",
     "ackEvent channel=in error=0 port=5000"},
    {"CommandOutOfOrder",
     open +
         "expect.commands = [\"SetParameter DIGIT_DETECTION=0\", "
         "\"SetParameter SILENCE_COMPRESSION=0\", \"OpenVoice in\"]\n" +
         close,
     15, openIn + "commands, different from number 1 on",
     "SetParameter DIGIT_DETECTION=0" + margin + "SetParameter SILENCE_COMPRESSION=0" + margin +
         "OpenVoice in",
     "SetParameter dsp=2 SILENCE_COMPRESSION=0 to=10.0.0.1" + margin +
         "SetParameter dsp=2 DIGIT_DETECTION=0 to=10.0.0.1" + margin +
         "OpenVoice in dsp=2 codec=0 fax=UDP remote=10.0.9.1:4000 remoteRtcp=0 local=0 tick=0 "
         "param1=0 param2=0 dtmfPt=0 redundancyPt=0 to=10.0.0.1"},
    {"CommandTooMuch", open + close + "expect.commands = []\n", 17,
     "closeChannel in channel(1): commands, different from number 1 on", "nothing",
     "CloseVoice in dsp=2 to=10.0.0.1"},
    {"RefusalThatDidNotCome", open + "expect.refusal = \"no\"\n" + close, 15, openIn + "refusal",
     "no", "nothing"},
    {"RefusalThatNobodyExpected", open + "set.codec = 0\n" + "[[step]]\nclose = \"in\"\n", 15,
     "openChannel in channel(1) codec=none: refusal that nobody expected", "nothing",
     "Failed to openChannel(1)" + margin + "    Codec [none] Not Supported by Session Manager"},
    {"RefusalWithAnotherText",
     open + "set.codec = 0\nexpect.refusalContains = \"framing\"\n" + "[[step]]\nclose = \"in\"\n",
     15, "openChannel in channel(1) codec=none: refusal", "a text that contains \"framing\"",
     "Failed to openChannel(1)" + margin + "    Codec [none] Not Supported by Session Manager"},
    {"ErrorEventThatNobodyExpected", open + "[[step]]\nclose = \"in\"\n", 17,
     "closeChannel in channel(1): error callbacks that nobody expected", "nothing",
     "ackErrorEvent channel=none"},
    {"AcknowledgedErrorThatNobodyExpected",
     "[[step]]\nfailNext = \"in\"\nerror = 77\n" + open +
         "[[step]]\nfailNext = \"in\"\nerror = \"none\"\n[[step]]\nclose = \"in\"\n" +
         "expect.reports = \"not open\"\nexpect.callbacks = [\"ackErrorEvent\"]\n",
     18, openIn + "error callbacks that nobody expected", "nothing",
     "ackEvent channel=in error=77 port=0"},
    {"ReportOfABoard",
     open + open + "expect.callbacks = [\"ackEvent error=2\"]\n" + close +
         "[[step]]\nclose = \"in\"\n",
     17, openIn + "reports of the boards", "nothing",
     "refused: already open (voice): OpenVoice in dsp=2 codec=0 fax=UDP remote=10.0.9.1:4000 "
     "remoteRtcp=0 local=0 tick=0 param1=0 param2=0 dtmfPt=0 redundancyPt=0"},
    {"ErrorInTheLog",
     open + "set.direction = 0\nexpect.refusalContains = \"invalid\"\n" +
         "[[step]]\nclose = \"in\"\n",
     15, "openChannel in channel(1) direction=none: errors in the log", "nothing",
     "MC - Failed to Check Silence Suppression mode on channel(1): Direction none invalid"},
    {"TraceThatDidNotCome", open + "expect.traces = \"Open Voice\"\n" + close, 15,
     openIn + "traces", "a trace that contains \"Open Voice\"", "nothing"},
    {"AnotherAnswer", "[[step]]\nconsole = \"MC Dsp 8\"\nexpect.answer = \"eight\"\n", 15,
     "console MC Dsp 8: answer", "eight", "MC Dsp : invalid argument"},
    {"AnswerWithoutAPiece", "[[step]]\nconsole = \"MC Dsp 8\"\nexpect.answerContains = \"eight\"\n",
     15, "console MC Dsp 8: answer", "a text that contains \"eight\"", "MC Dsp : invalid argument"},
    {"ChannelLeftOpen", open, 0, "end of the file: listed channels", "in closed",
     "in in state Voice_Open, still listed 1 time"},
    {"ChannelListedAfterARefusal", open + "set.codec = 0\nexpect.refusalContains = \"Codec\"\n", 0,
     "end of the file: listed channels", "in closed", "in in state Idle, still listed 1 time"},
};

INSTANTIATE_TEST_SUITE_P(Program, FailedExpectation, testing::ValuesIn(failureCases),
                         [](testing::TestParamInfo<FailureCase> const& tested) {
                             return std::string(tested.param.name);
                         });

} // namespace
