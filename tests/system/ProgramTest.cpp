// The program as a whole: exit statuses, options, the two kinds of output.

#include "tests/system/Program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::string example(std::string const& name) {
    return std::string(EXAMPLES_DIRECTORY) + "/" + name;
}

/** A call that holds all it expects. */
std::string const goodCall = boardAndChannel + R"([[step]]
note = "Up."
open = "in"
expect.callbacks = ["ackEvent channel=in error=0 port=5000"]
expect.state = "Voice_Open"
[[step]]
close = "in"
expect.callbacks = ["ackErrorEvent channel=none"]
)";

std::string const fatalCall = boardAndChannel + R"([[step]]
update = "in"
[[step]]
wait = 0
)";

std::vector<json> jsonLines(std::string const& output) {
    std::vector<json> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(json::parse(line));
    }
    return lines;
}

std::vector<json> ofType(std::vector<json> const& lines, std::string const& type) {
    std::vector<json> chosen;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(chosen),
                 [&type](json const& line) { return line.at("type") == type; });
    return chosen;
}

std::vector<std::string> textsOf(std::vector<json> const& lines, std::string const& type) {
    std::vector<std::string> texts;
    for (json const& line : ofType(lines, type)) {
        texts.push_back(line.at("text").get<std::string>());
    }
    return texts;
}

TEST(Program, showsEachOperationCommandEventAndCallback) {
    TemporaryFile const file("call.toml", goodCall);
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, StartsWith(file.path() + "\n\n  Up.\n"));
    std::string const time = "\n +[0-9]+\\.[0-9] ms  ";
    EXPECT_THAT(run.output, ContainsRegex(time + "operation  openChannel in channel\\(1\\)\n"));
    EXPECT_THAT(run.output,
                ContainsRegex(time + "command    SetParameter dsp=2 DIGIT_DETECTION=0 to=10"));
    EXPECT_THAT(run.output,
                ContainsRegex(time + "event      OpenVoiceAck in dsp=2 error=0 port=5000 from=10"));
    EXPECT_THAT(run.output,
                ContainsRegex(time + "callback   ackEvent channel=in error=0 port=5000\n"));
    EXPECT_THAT(run.output,
                HasSubstr("\n\n" + file.path() +
                          ": passed: 2 steps, 3 expectations held, 0 failures; 4 commands, 2 "
                          "events, 2 callbacks, 0 refusals\n"));
}

TEST(Program, severalFilesHaveATotal) {
    TemporaryFile const good("good.toml", goodCall);
    TemporaryFile const bad("bad.toml", boardAndChannel + "[[step]]\nopen = \"in\"\n");
    ProgramRun const run = runProgram({"call", "--quiet", bad.path(), good.path()});
    EXPECT_EQ(run.status, 1) << "one failed, though not the last one";
    EXPECT_THAT(run.output, HasSubstr("\n" + good.path() + ": passed: 2 steps"));
    EXPECT_THAT(run.output,
                HasSubstr("\n2 files, 1 failed: FAILED: 3 steps, 3 expectations held, "
                          "1 failure; 7 commands, 3 events, 3 callbacks, 0 refusals\n"));
}

TEST(Program, aFileDoesNotSeeWhatTheFileBeforeLeft) {
    TemporaryFile const first("first.toml", "leaveOpen = true\n[configuration]\nfax_proto = "
                                            "\"tcp\"\nrtptick_request = 7\n" +
                                                boardAndChannel +
                                                "[[step]]\nopen = \"in\"\n"
                                                "expect.commands = [\"SetParameter\", "
                                                "\"SetParameter\", \"OpenVoice in fax=TCP tick=7\"]"
                                                "\n[[step]]\nlogLevel = 3\n");
    TemporaryFile const second("second.toml",
                               goodCall + "[[step]]\nopen = \"in\"\n"
                                          "expect.commands = [\"SetParameter\", \"SetParameter\", "
                                          "\"OpenVoice in fax=UDP tick=0\"]\n"
                                          "[[step]]\nconsole = \"MC Dsp All\"\n"
                                          "expect.answerContains = \"Total = 1\"\n"
                                          "[[step]]\nclose = \"in\"\n"
                                          "expect.callbacks = [\"ackErrorEvent channel=none\"]\n");
    ProgramRun const run = runProgram({"call", first.path(), second.path()});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_THAT(run.output, Not(HasSubstr("  trace  ")));
}

TEST(Program, channelsMayStayOpenWhenTheFileSaysSo) {
    TemporaryFile const file("call.toml",
                             "leaveOpen = true\n" + boardAndChannel + "[[step]]\nopen = \"in\"\n");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST(Program, endsWithItsOwnStatusWhenTheLibraryEndsTheProcess) {
    TemporaryFile const file("call.toml", fatalCall);
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.output, HasSubstr("error      MC - MC_Manager component not found: "
                                      "updateChannel\n"));
    EXPECT_THAT(run.output, HasSubstr("FAILED     " + file.path() +
                                      ":15: updateChannel in channel(1): the library ended the "
                                      "process\n"));
    EXPECT_THAT(run.output, HasSubstr(file.path() + ": FAILED: 0 of 2 steps"));
}

TEST(Program, aBoardThatNobodyServesEndsTheProcessToo) {
    // The channel names no board, so that its commands go to the default address.
    TemporaryFile const file("call.toml", boardAndChannel +
                                              "[[channel]]\nname = \"lost\"\ndirection = \"in\"\n"
                                              "codec = 1\n[[step]]\nopen = \"lost\"\n");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.output, ContainsRegex("error      MC - Failed to set SILENCE_COMPRESSION on "
                                          "channel\\(2\\): .*0xFA"));
}

TEST(Program, anAcknowledgementThatTakesTooLongFailsInsteadOfHanging) {
    std::string slow = goodCall;
    slow.insert(slow.find("sid = 0x10"), "ackDelay = 3600000\n");
    TemporaryFile const file("call.toml", "deadline = 20\n" + slow);
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output,
                HasSubstr("openChannel in channel(1): not in time\n" + std::string(24, ' ') +
                          "expected  everything that was waited for, within 20 ms\n" +
                          std::string(24, ' ') +
                          "seen      3 commands, 0 events, 0 callbacks, 1 acknowledgement still "
                          "to come\n"));
}

TEST(Program, theNextStepNeedNotWaitForTheAcknowledgement) {
    std::string slow = boardAndChannel;
    slow.insert(slow.find("sid = 0x10"), "ackDelay = 1000\n");
    TemporaryFile const file("call.toml", slow + R"([[step]]
open = "in"
settle = false
expect.commands = ["SetParameter", "SetParameter", "OpenVoice in"]
[[step]]
close = "in"
# Neither the opening nor the closing is acknowledged before the channel has left the list.
expect.events = ["OpenVoiceAck in", "CloseVoiceAck in"]
expect.callbacks = ["ackErrorEvent channel=none", "ackErrorEvent channel=none"]
)");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST(Program, anAlertReachesNobody) {
    TemporaryFile const file("call.toml", boardAndChannel + R"([[step]]
alert = "in"
value = 0xFFFFFFFF
expect.events = ["Alert in dsp=2 value=4294967295"]
expect.callbacks = []
)");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST(Program, anEventOfAnUnknownChannelIsIgnored) {
    TemporaryFile const file("call.toml", boardAndChannel + R"toml([[step]]
logLevel = 3
[[step]]
dtmf = "in"
digit = 1
expect.callbacks = []
expect.traces = ["EVT : Dtmf event ignored (Unable to found 'in channel' with dsp(2)"]
)toml");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST(Program, anEventOfADspChannelThatTheBoardDoesNotHaveCannotBeRaised) {
    std::string small = boardAndChannel;
    small.insert(small.find("sid = 0x10"), "channels = 2\n");
    TemporaryFile const file("call.toml", small + "[[step]]\nfaxTone = \"in\"\n");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("faxTone in: the step could not be done: the board has no "
                                      "DSP channel 2: it has 2, numbered from 0\n"));
}

TEST(Program, aJoinWithABoardThatNobodyServesIsRefused) {
    TemporaryFile const file("call.toml", boardAndChannel + R"([[step]]
open = "in"
[[step]]
# A board that is not known takes the local one's address, and the library's default is served by
# nobody.
join = "in"
set.mediaGateway = "10.0.0.77"
set.joinIp = "10.0.0.1"
expect.refusalContains = "Failed to unjoinChannel({in})\n\tnobody serves IMC address"
[[step]]
close = "in"
set.mediaGateway = "10.0.0.1"
expect.callbacks = ["ackErrorEvent channel=none"]
)");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST(Program, theLogLevelShowsTraces) {
    TemporaryFile const file("call.toml", goodCall);
    EXPECT_THAT(runProgram({"call", file.path(), "--log-level", "1"}).output,
                Not(HasSubstr("  trace  ")));
    EXPECT_THAT(runProgram({"call", file.path(), "--log-level", "2"}).output,
                AllOf(HasSubstr("trace      MC - OBS - OpenMC_Channel 1\n"),
                      Not(HasSubstr("Open Voice channel"))));
    EXPECT_THAT(runProgram({"call", file.path(), "--log-level", "3"}).output,
                HasSubstr("trace      MC - OBS - Open Voice channel(1) Codec=0"));
}

TEST(Program, quietShowsOnlyFailuresAndSummaries) {
    TemporaryFile const good("good.toml", goodCall);
    ProgramRun const run = runProgram({"call", "--quiet", good.path()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, good.path() + ": passed: 2 steps, 3 expectations held, 0 failures; 4 "
                                        "commands, 2 events, 2 callbacks, 0 refusals\n");
}

TEST(Program, jsonHoldsWhatHappened) {
    TemporaryFile const file("call.toml", goodCall);
    ProgramRun const run = runProgram({"call", "--json", file.path()});
    EXPECT_EQ(run.status, 0);
    std::vector<json> const lines = jsonLines(run.output);
    EXPECT_THAT(textsOf(lines, "operation"),
                ElementsAre("openChannel in channel(1)", "closeChannel in channel(1)"));
    EXPECT_THAT(textsOf(lines, "callback"),
                ElementsAre("ackEvent channel=in error=0 port=5000", "ackErrorEvent channel=none"));
    EXPECT_THAT(textsOf(lines, "note"), ElementsAre("Up."));
    std::vector<json> const commands = ofType(lines, "command");
    ASSERT_EQ(commands.size(), 4U);
    EXPECT_EQ(commands[0].at("name"), "SetParameter");
    EXPECT_EQ(commands[0].at("fields"),
              json({{"dsp", 2}, {"SILENCE_COMPRESSION", 0}, {"to", "10.0.0.1"}}));
    EXPECT_TRUE(commands[0].at("time_ms").is_number());
    EXPECT_EQ(commands[3].at("name"), "CloseVoice in");
    EXPECT_EQ(ofType(lines, "event").at(0).at("fields").at("port"), 5000);
    EXPECT_THAT(ofType(lines, "failure"), IsEmpty());
    json const& summary = lines.back();
    EXPECT_EQ(summary, json({{"type", "summary"},
                             {"files", 1},
                             {"files_failed", 0},
                             {"files_not_run", 0},
                             {"passed", true},
                             {"steps", 2},
                             {"steps_done", 2},
                             {"expectations_held", 3},
                             {"failures", 0},
                             {"commands", 4},
                             {"events", 2},
                             {"callbacks", 2},
                             {"refusals", 0}}));
}

TEST(Program, jsonHoldsFailures) {
    TemporaryFile const file("call.toml", boardAndChannel + "[[step]]\nopen = \"in\"\n"
                                                            "expect.state = \"Join\"\n");
    ProgramRun const run = runProgram({"call", "--json", "--quiet", file.path()});
    EXPECT_EQ(run.status, 1);
    std::vector<json> const lines = jsonLines(run.output);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].at("type"), "failure");
    EXPECT_EQ(lines[0].at("file"), file.path());
    EXPECT_EQ(lines[0].at("line"), 15);
    EXPECT_EQ(lines[0].at("operation"), "openChannel in channel(1)");
    EXPECT_EQ(lines[0].at("what"), "state of in");
    EXPECT_EQ(lines[0].at("expected"), json({"Join"}));
    EXPECT_EQ(lines[0].at("seen"), json({"Voice_Open"}));
    EXPECT_EQ(lines[1].at("what"), "listed channels");
    EXPECT_EQ(lines[2].at("type"), "file_summary");
    EXPECT_EQ(lines[2].at("passed"), false);
    EXPECT_EQ(lines[3].at("files_failed"), 1);
}

TEST(Program, jsonOfAFatalEndIsComplete) {
    TemporaryFile const file("call.toml", fatalCall);
    ProgramRun const run = runProgram({"call", "--json", file.path()});
    EXPECT_EQ(run.status, 3);
    std::vector<json> const lines = jsonLines(run.output);
    EXPECT_EQ(ofType(lines, "failure").at(0).at("what"), "the library ended the process");
    EXPECT_EQ(lines.back().at("type"), "summary");
    EXPECT_EQ(lines.back().at("passed"), false);
    EXPECT_EQ(lines.back().at("steps_done"), 0);
}

TEST(Program, jsonHoldsAnErrorAsNumberAndName) {
    TemporaryFile const file("call.toml", boardAndChannel + R"toml([[step]]
failNext = "in"
error = "noPortLeft"
[[step]]
open = "in"
expect.events = "OpenVoiceAck in error=5(no port left)"
expect.callbacks = "ackEvent error=5"
[[step]]
close = "in"
expect.reports = "not open"
expect.callbacks = "ackErrorEvent"
)toml");
    ProgramRun const run = runProgram({"call", "--json", file.path()});
    EXPECT_EQ(run.status, 0) << run.output;
    std::vector<json> const lines = jsonLines(run.output);
    EXPECT_EQ(ofType(lines, "event").at(0).at("fields"), json({{"dsp", 2},
                                                               {"error", 5},
                                                               {"errorName", "no port left"},
                                                               {"port", 0},
                                                               {"from", "10.0.0.1"}}));
    EXPECT_EQ(ofType(lines, "callback").at(0).at("fields"),
              json({{"channel", "in"}, {"error", 5}, {"port", 0}}));
}

TEST(Program, filesBehindAFatalEndAreNamedAndCounted) {
    TemporaryFile const good("good.toml", goodCall);
    TemporaryFile const fatal("fatal.toml", fatalCall);
    TemporaryFile const rest("rest.toml", goodCall);
    ProgramRun const run =
        runProgram({"call", "--quiet", good.path(), fatal.path(), rest.path(), good.path()});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.output,
                HasSubstr("\n" + rest.path() + ": NOT RUN: 0 of 2 steps\n" + good.path() +
                          ": NOT RUN: 0 of 2 steps\n"
                          "4 files, 1 failed, 2 not run: FAILED: 2 of 8 steps, "));
    EXPECT_THAT(run.output, HasSubstr("the library ended the process\n" + std::string(24, ' ') +
                                      "seen      MC - MC_Manager component not found: "
                                      "updateChannel\n"))
        << "the cause is shown although the log is not";

    ProgramRun const machine = runProgram({"call", "--json", fatal.path(), rest.path()});
    EXPECT_EQ(machine.status, 3);
    std::vector<json> const lines = jsonLines(machine.output);
    EXPECT_EQ(
        ofType(lines, "file_not_run"),
        std::vector<json>{json({{"type", "file_not_run"}, {"file", rest.path()}, {"steps", 2}})});
    EXPECT_EQ(lines.back().at("files"), 2);
    EXPECT_EQ(lines.back().at("files_failed"), 1);
    EXPECT_EQ(lines.back().at("files_not_run"), 1);
    EXPECT_EQ(lines.back().at("steps"), 4);
    EXPECT_EQ(lines.back().at("passed"), false);
}

TEST(Program, timesNeverGoBackwards) {
    TemporaryFile const first("first.toml", "[configuration]\nfax_proto = \"tcp\"\n" + goodCall);
    ProgramRun const run = runProgram({"call", "--json", "--log-level", "3", first.path()});
    double last = 0;
    bool isBeforeTheFirstStep = true;
    for (json const& line : jsonLines(run.output)) {
        if (line.count("time_ms") == 0) {
            continue;
        }
        isBeforeTheFirstStep =
            isBeforeTheFirstStep && line.at("type") != "note" && line.at("type") != "operation";
        double const time = line.at("time_ms").get<double>();
        EXPECT_GE(time, last) << line;
        if (isBeforeTheFirstStep) {
            EXPECT_EQ(time, 0.0) << line;
        }
        last = time;
    }
    EXPECT_FALSE(isBeforeTheFirstStep);
}

TEST(Program, aChannelWhoseBoardIsNoneOfTheFileFails) {
    std::string lost = boardAndChannel;
    std::string const gateway = "mediaGateway = \"10.0.0.1\"";
    lost.replace(lost.find(gateway), gateway.size(), "mediaGateway = \"10.0.0.9\"");
    TemporaryFile const file("call.toml", lost + "[[step]]\nwait = 0\n");
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output,
                HasSubstr("FAILED     " + file.path() + ": channel in: unknown board\n"));
    TemporaryFile const standIn("call.toml",
                                "[configuration]\nvoicelan = \"10.0.0.1\"\n" + lost +
                                    "[[step]]\nwait = 0\nexpect.channel.in.sid = 16\n");
    EXPECT_EQ(runProgram({"call", standIn.path()}).status, 0) << "voicelan stands in";
}

TEST(Program, aStepThatGivesAnUnknownBoardFailsUnlessItExpectsARefusal) {
    std::string const lost = "leaveOpen = true\n" + boardAndChannel +
                             "[[step]]\nopen = \"in\"\nset.direction = 0\n"
                             "set.mediaGateway = \"10.0.0.9\"\nexpect.errors = \"invalid\"\n";
    TemporaryFile const silent("call.toml", lost);
    ProgramRun const run = runProgram({"call", silent.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output,
                ContainsRegex(":16: openChannel in channel\\(1\\) .*: unknown board\n"));
    TemporaryFile const expected("call.toml", lost + "expect.refusalContains = \"invalid\"\n");
    ProgramRun const held = runProgram({"call", expected.path()});
    EXPECT_EQ(held.status, 0) << held.output;
}

TEST(Program, aConsoleLineThatNobodyTakesFailsUnlessAnAnswerIsExpected) {
    std::string const typed = boardAndChannel + "[[step]]\nconsole = \"MD Dsp All\"\n";
    TemporaryFile const silent("call.toml", typed);
    ProgramRun const run = runProgram({"call", silent.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output,
                HasSubstr(":15: console MD Dsp All: console command that nobody takes\n" +
                          std::string(24, ' ') +
                          "seen      Unknown command \"MD\", try \"help\"\n"));
    TemporaryFile const expected("call.toml", typed + "expect.answerContains = \"Unknown\"\n");
    EXPECT_EQ(runProgram({"call", expected.path()}).status, 0);
}

std::string const openWithTick = boardAndChannel +
                                 "[[step]]\nopen = \"in\"\nexpect.commands = [\"SetParameter\", "
                                 "\"SetParameter\", \"OpenVoice in fax=TCP tick=7\"]\n"
                                 "[[step]]\nclose = \"in\"\n"
                                 "expect.callbacks = [\"ackErrorEvent channel=none\"]\n";

TEST(Program, eachFileStartsWithTheConfigurationFile) {
    TemporaryFile const config("gateway.toml", "[current.gw_priv]\nfax_proto = \"tcp\"\n"
                                               "[current.gateway]\nrtptick_request = 7\n");
    TemporaryFile const file("call.toml", openWithTick);
    ProgramRun const run =
        runProgram({"call", "--config", config.path(), file.path(), file.path()});
    EXPECT_EQ(run.status, 0) << run.output << run.errors;
    EXPECT_EQ(runProgram({"call", file.path()}).status, 1) << "without it the defaults hold";
}

TEST(Program, theCallFileComesOnTopOfTheConfigurationFile) {
    TemporaryFile const config("gateway.toml", "[current.gw_priv]\nfax_proto = \"tcp\"\n"
                                               "[current.gateway]\nrtptick_request = 6\n");
    TemporaryFile const file("call.toml", "[configuration]\nrtptick_request = 7\n" + openWithTick);
    ProgramRun const run = runProgram({"call", "--config", config.path(), file.path()});
    EXPECT_EQ(run.status, 0) << run.output << run.errors;
}

TEST(Program, aConfigurationFileInErrorIsNamedWithItsLine) {
    TemporaryFile const config("gateway.toml", "[current.gateway]\nrtptick_request = 256\n");
    TemporaryFile const file("call.toml", goodCall);
    ProgramRun const run = runProgram({"call", "--config", config.path(), file.path()});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, StartsWith(config.path() + ":2:"));
    EXPECT_EQ(run.output, "");
    ProgramRun const missing = runProgram({"call", "--config", "no-such.toml", file.path()});
    EXPECT_EQ(missing.status, 2);
    EXPECT_THAT(missing.errors, StartsWith("no-such.toml: can't be read"));
}

TEST(Program, aLevelGivenHidesABadOneOfTheEnvironment) {
    TemporaryFile const file("call.toml", goodCall);
    ASSERT_EQ(setenv("MC_LOG_LEVEL", "high", 1), 0);
    ProgramRun const given = runProgram({"call", "--log-level", "0", file.path()});
    ProgramRun const bad = runProgram({"call", file.path()});
    unsetenv("MC_LOG_LEVEL");
    EXPECT_EQ(given.errors, "");
    EXPECT_THAT(bad.errors, HasSubstr("MC_LOG_LEVEL is \"high\""));
    EXPECT_EQ(bad.status, 0) << "and is no fault of the call";
}

TEST(Program, jsonOfEveryExampleParses) {
    for (char const* const name : {"console.toml", "refusals.toml", "silence-suppression.toml"}) {
        ProgramRun const run = runProgram({"call", "--json", "--log-level", "3", example(name)});
        EXPECT_EQ(run.status, 0) << run.output;
        EXPECT_EQ(jsonLines(run.output).back().at("type"), "summary");
    }
}

TEST(Program, helpDescribesTheCallFile) {
    ProgramRun const run = runProgram({"call", "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output,
                AllOf(HasSubstr("--log-level"), HasSubstr("--config"), HasSubstr("--json"),
                      HasSubstr("--quiet"), HasSubstr("[[step]]"), HasSubstr("examples/calls"),
                      HasSubstr("docs/call-files.md"), HasSubstr("Exit status")));
    EXPECT_EQ(run.errors, "");
}

TEST(Program, theCallFileOfTheHelpRuns) {
    std::string const help = runProgram({"call", "--help"}).output;
    auto const begin = help.find("  [[board]]");
    auto const end = help.find("Examples: ");
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    TemporaryFile const file("help.toml", help.substr(begin, end - begin));
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.output << run.errors;
}

TEST(Documentation, itsCallFilesRun) {
    std::ifstream page(CALL_FILES_PAGE);
    std::string const text{std::istreambuf_iterator<char>(page), std::istreambuf_iterator<char>()};
    std::string const fence = "```";
    std::size_t blocks = 0;
    for (auto at = text.find(fence + "toml\n"); at != std::string::npos;
         at = text.find(fence + "toml\n", at + 1)) {
        auto const begin = text.find('\n', at) + 1;
        TemporaryFile const file("page.toml", text.substr(begin, text.find(fence, begin) - begin));
        ProgramRun const run = runProgram({"call", file.path()});
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
        ++blocks;
    }
    EXPECT_GE(blocks, 1U);
}

TEST(Program, helpListsTheSubcommands) {
    ProgramRun const run = runProgram({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, ContainsRegex("call +Place the calls"));
}

struct BadCommandLine {
    char const* name;
    std::vector<std::string> arguments;
    char const* error;
};

void PrintTo(BadCommandLine const& each, std::ostream* stream) {
    *stream << each.name;
}

class CommandLine : public testing::TestWithParam<BadCommandLine> {};

TEST_P(CommandLine, isRefused) {
    ProgramRun const run = runProgram(GetParam().arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, HasSubstr(GetParam().error));
    EXPECT_EQ(run.output, "");
}

INSTANTIATE_TEST_SUITE_P(
    Bad, CommandLine,
    testing::Values(BadCommandLine{"NoSubcommand", {}, "A subcommand is required"},
                    BadCommandLine{"UnknownSubcommand", {"dial"}, "dial"},
                    BadCommandLine{"NoFile", {"call"}, "FILE is required"},
                    BadCommandLine{"UnknownOption", {"call", "--loud", "x"}, "--loud"},
                    BadCommandLine{"LogLevelTooHigh",
                                   {"call", "--log-level", "4", "x"},
                                   "--log-level: Value 4 not in range 0 to 3"},
                    BadCommandLine{
                        "LogLevelIsNoNumber", {"call", "--log-level", "high", "x"}, "--log-level"}),
    [](testing::TestParamInfo<BadCommandLine> const& tested) {
        return std::string(tested.param.name);
    });

} // namespace
