// Each kind of error in a call file, as the program reports it: file, line, column, and what was
// expected there.

#include "tests/system/Program.h"

#include <gmock/gmock.h>

namespace {

struct ErrorCase {
    char const* name;
    std::string content;
    /** "LINE:COLUMN: text"; the text may go on. */
    std::string error;
};

void PrintTo(ErrorCase const& each, std::ostream* stream) {
    *stream << each.name;
}

std::string const board = "[[board]]\nip = \"10.0.0.1\"\nsid = 0x10\n";
std::string const wait = "[[step]]\nwait = 0\n";

/** Line 13 onwards, below the board and the channel. */
std::string step(std::string const& lines) {
    return boardAndChannel + "[[step]]\n" + lines;
}

std::string channel(std::string const& lines) {
    return board + "[[channel]]\nname = \"in\"\n" + lines + wait;
}

class CallFileError : public testing::TestWithParam<ErrorCase> {};

TEST_P(CallFileError, namesFileLineColumnAndWhatWasExpected) {
    TemporaryFile const file("call.toml", GetParam().content);
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, testing::StartsWith(file.path() + ":" + GetParam().error));
    EXPECT_EQ(run.output, "") << "nothing was placed";
}

std::vector<ErrorCase> const errorCases = {
    {"NotToml", "[[board]]\nip = \n", "2:6: Error while parsing key-value pair: expected value"},
    {"DuplicateKey", "title = \"a\"\ntitle = \"b\"\n",
     "2:9: Error while parsing key-value pair: cannot redefine"},
    {"UnknownKeyOfFile", "titel = \"x\"\n" + board + wait,
     "1:1: unknown key \"titel\" in a call file: expected one of title, deadline, leaveOpen, "
     "configuration, board, channel, step\n"},
    {"NoBoard", wait, "1:1: no board: expected at least one [[board]]\n"},
    {"NoStep", board, "1:1: nothing happens: expected at least one [[step]]\n"},
    {"BoardIsNoTable", "board = 3\n", "1:9: board is 3: expected tables that begin with [[board]]"},
    {"StepsAreNoTables", "step = [1]\n" + board,
     "1:9: step is 1: expected tables that begin with [[step]]"},
    {"DeadlineIsText", "deadline = \"soon\"\n" + board + wait,
     "1:12: deadline is \"soon\": expected a number from 0 to 3600000\n"},
    {"DeadlineTooLong", "deadline = 3600001\n" + board + wait,
     "1:12: deadline is 3600001: expected a number from 0 to 3600000\n"},
    {"LeaveOpenIsNumber", "leaveOpen = 1\n" + board + wait,
     "1:13: leaveOpen is 1: expected true or false\n"},
    {"TitleIsNumber", "title = 1.5\n" + board + wait,
     "1:9: title is a number with a fraction: expected a text in quotation marks\n"},

    {"BoardWithoutSid", "[[board]]\nip = \"10.0.0.1\"\n", "1:1: \"sid\" is missing in a board\n"},
    {"BoardIpIsNone", "[[board]]\nip = \"board\"\nsid = 2\n",
     "2:6: ip is \"board\": expected an IPv4 address such as \"10.0.0.1\"\n"},
    {"BoardSidTooLarge", "[[board]]\nip = \"10.0.0.1\"\nsid = 256\n",
     "3:7: sid is 256: expected a number from 0 to 255\n"},
    {"BoardSidOfSessionManager", "[[board]]\nip = \"10.0.0.1\"\nsid = 1\n",
     "3:7: sid 1 is the Session Manager's own: expected another number\n"},
    {"BoardSidTwice", board + "[[board]]\nip = \"10.0.0.2\"\nsid = 0x10\n",
     "6:7: another board has the same sid: expected one of its own\n"},
    {"BoardIpTwice", board + "[[board]]\nip = \"10.0.0.1\"\nsid = 0x11\n",
     "5:6: another board has the same ip: expected one of its own\n"},
    {"UnknownKeyOfBoard", board + "delay = 3\n" + wait,
     "4:1: unknown key \"delay\" in a board: expected one of ip, sid, channels, firstPort, "
     "ackDelay\n"},

    {"ConfigurationIsNumber", "configuration = 3\n" + board,
     "1:17: configuration is 3: expected a table\n"},
    {"UnknownKeyOfConfiguration", "[configuration]\nfaxProto = \"udp\"\n" + board,
     "2:1: unknown key \"faxProto\" in the configuration: expected one of fax_proto, "
     "rtptick_request, noteworthyValue5, voicelan\n"},
    {"FaxProtoTooLong", "[configuration]\nfax_proto = \"" + std::string(64, 'x') + "\"\n" + board,
     "2:13: fax_proto is too long: expected at most 63 characters\n"},
    {"FaxProtoWithNul", "[configuration]\nfax_proto = \"udp\\u0000\"\n" + board,
     "2:13: fax_proto holds a NUL character: expected a text without one\n"},
    {"VoicelanWithNul", "[configuration]\nvoicelan = \"10.0.0.1\\u0000\"\n" + board,
     "2:12: voicelan holds a NUL character: expected a text without one\n"},
    {"ChangeWithNul", step("configure.fax_proto = \"\\u0000\"\n"),
     "15:23: fax_proto holds a NUL character: expected a text without one\n"},
    {"FirstPortWithoutAPortBehindIt",
     "[[board]]\nip = \"10.0.0.1\"\nsid = 2\nfirstPort = 65535\n" + wait,
     "4:13: firstPort is 65535: expected a number from 1 to 65534\n"},
    {"VoicelanIsNoAddress", "[configuration]\nvoicelan = \"eth0\"\n" + board,
     "2:12: voicelan is \"eth0\": expected an IPv4 address"},

    {"ChannelWithoutName", board + "[[channel]]\ndsp = 1\n" + wait,
     "4:1: \"name\" is missing in a channel\n"},
    {"ChannelNameWithBlank", board + "[[channel]]\nname = \"a b\"\n" + wait,
     "5:8: name is \"a b\": expected letters, digits, - and _ only, and not \"none\"\n"},
    {"ChannelNameNone", board + "[[channel]]\nname = \"none\"\n" + wait, "5:8: name is \"none\""},
    {"ChannelNameTwice", channel("[[channel]]\nname = \"in\"\n"),
     "7:8: another channel is called \"in\": expected a name of its own\n"},
    {"UnknownCodec", channel("codec = \"G.722\"\n"),
     "6:9: codec is \"G.722\": expected one of \"none\", \"G.711 A-law\", \"G.711 mu-law\", "
     "\"G.723.1\", \"G.729\", \"G.729A\", or its number\n"},
    {"UnknownDirection", channel("direction = \"both\"\n"),
     "6:13: direction is \"both\": expected one of \"none\", \"in\", \"out\", or its number\n"},
    {"UnknownFaxTransport", channel("faxTransport = \"sctp\"\n"),
     "6:16: faxTransport is \"sctp\": expected one of \"none\", \"udp\", \"tcp\", or its number\n"},
    {"UnknownSignal", channel("sendNoSignal = 256\n"),
     "6:16: sendNoSignal is 256: expected one of \"none\", \"no-signal\", \"cng\", or a number "
     "from 0 to 255\n"},
    {"DspTooLarge", channel("dsp = 256\n"), "6:7: dsp is 256: expected a number from 0 to 255\n"},
    {"FlagIsNumber", channel("vad = 1\n"), "6:7: vad is 1: expected true or false\n"},
    {"NumberIsFlag", channel("channelMode = true\n"),
     "6:15: channelMode is true: expected a number from -2147483648 to 2147483647\n"},
    {"EndPointWithoutPort", channel("rtpRemote = \"10.0.9.1\"\n"),
     "6:13: rtpRemote is \"10.0.9.1\": expected an address and a port such as \"10.0.0.1:4000\", "
     "or \"-:0\" for none\n"},
    {"EndPointPortTooLarge", channel("rtpRemote = \"10.0.9.1:65536\"\n"),
     "6:13: rtpRemote is \"10.0.9.1:65536\""},
    {"EndPointPortIsNoNumber", channel("rtpRemote = \"10.0.9.1:+80\"\n"),
     "6:13: rtpRemote is \"10.0.9.1:+80\""},
    {"EndPointAddressIsNone", channel("rtpRemote = \"10.0.9:80\"\n"),
     "6:13: rtpRemote is \"10.0.9:80\""},
    {"MediaGatewayIsMissing", channel("mediaGateway = \"-\"\n"),
     "6:16: mediaGateway is \"-\": expected an IPv4 address such as \"10.0.0.1\"\n"},
    {"FieldThatTheLibraryKeeps", channel("state = \"Idle\"\n"),
     "6:9: state is kept by the library: expected only below \"expect\"\n"},
    {"UnknownField", channel("rtpremote = \"10.0.9.1:4000\"\n"),
     "6:1: unknown key \"rtpremote\" in a channel: expected one of name, channelMode, "},

    {"MisspeltAction", step("opne = \"in\"\n"),
     "15:1: unknown key \"opne\" in a step: expected one of open, update, activateFax, join, "
     "unjoin, close, dtmf, faxTone, alert, failNext, configure, console, wait, logLevel\n"},
    {"NothingButANote", step("note = \"x\"\n"),
     "14:1: nothing to do in a step: expected one of open, update, "},
    {"MisspeltActionBesideAnExpectation", step("expect.callbacks = []\ncolse = \"in\"\n"),
     "16:1: unknown key \"colse\" in a step: expected one of open, "},
    {"TwoThingsToDo", step("open = \"in\"\nclose = \"in\"\n"),
     "16:9: a step does one thing, here \"open\": expected \"close\" in a step of its own\n"},
    {"UnknownChannel", step("open = \"out\"\n"),
     "15:8: unknown channel \"out\": expected one of in\n"},
    {"UnknownChannelOfNone", board + "[[step]]\nopen = \"out\"\n",
     "5:8: unknown channel \"out\": expected one of the channels, of which the file describes "
     "none\n"},
    {"KeyOfAnotherStep", step("open = \"in\"\ndigit = 5\n"),
     "16:1: unknown key \"digit\" in a step: expected one of open, set, note, settle, expect\n"},
    {"DtmfWithoutDigit", step("dtmf = \"in\"\n"), "14:1: \"digit\" is missing in a step\n"},
    {"AlertWithoutValue", step("alert = \"in\"\n"), "14:1: \"value\" is missing in a step\n"},
    {"FailNextWithoutError", step("failNext = \"in\"\n"),
     "14:1: \"error\" is missing in a step: expected one of \"none\", \"noSuchChannel\", "},
    {"FailNextWithUnknownError", step("failNext = \"in\"\nerror = \"busy\"\n"),
     "16:9: error is \"busy\": expected one of \"none\", \"noSuchChannel\", \"alreadyOpen\", "
     "\"notOpen\", \"badParameter\", \"noPortLeft\", or a number from 0 to 255\n"},
    {"SetIsText", step("update = \"in\"\nset = \"vad\"\n"),
     "16:7: set is \"vad\": expected a table\n"},
    {"SetOfUnknownField", step("update = \"in\"\nset.VAD = true\n"),
     "16:5: unknown key \"VAD\" in the fields that a step sets: expected one of channelMode, "},
    {"RemoveOfUnknownSetting", step("configure.remove = [\"voicelan\"]\n"),
     "15:21: \"voicelan\" can't be removed: expected one of fax_proto, rtptick_request, "
     "noteworthyValue5\n"},
    {"LogLevelTooHigh", step("logLevel = 4\n"),
     "15:12: logLevel is 4: expected a number from 0 to 3\n"},
    {"ConsoleLineIsNumber", step("console = 5\n"),
     "15:11: console is 5: expected a text in quotation marks\n"},
    {"ConsoleOfUnknownChannel", step("console = \"MC Channel 0x{out}\"\n"),
     "15:11: unknown channel \"out\" in braces: expected one of in\n"},
    {"SettleIsText", step("wait = 0\nsettle = \"no\"\n"),
     "16:10: settle is \"no\": expected true or false\n"},

    {"ExpectIsText", step("open = \"in\"\nexpect = \"ack\"\n"),
     "16:10: expect is \"ack\": expected a table\n"},
    {"UnknownExpectation", step("open = \"in\"\nexpect.ack = 1\n"),
     "16:8: unknown key \"ack\" in the expectation of \"open\": expected one of refusal, "
     "refusalContains, commands, events, callbacks, reports, errors, traces, "},
    {"RefusalOfNoOperation", step("wait = 0\nexpect.refusal = \"x\"\n"),
     "16:8: unknown key \"refusal\" in the expectation of \"wait\": expected one of commands, "
     "events, callbacks, reports, errors, traces, channel\n"},
    {"StateOfNoChannel", step("wait = 0\nexpect.state = \"Idle\"\n"),
     "16:8: unknown key \"state\" in the expectation of \"wait\""},
    {"AnswerToNoConsole", step("open = \"in\"\nexpect.answer = \"x\"\n"),
     "16:8: unknown key \"answer\" in the expectation of \"open\""},
    {"UnknownState", step("open = \"in\"\nexpect.state = \"Open\"\n"),
     "16:16: state is \"Open\": expected one of \"Idle\", \"Voice_Open\", \"Fax_Detected\", "
     "\"Fax_Open\", \"Close\", \"Join\", or its number\n"},
    {"UnknownExpectedChannel", step("wait = 0\nexpect.channel.out.vad = true\n"),
     "16:16: unknown key \"out\" in the channels of an expectation: expected one of in\n"},
    {"UnknownExpectedField", step("wait = 0\nexpect.channel.in.vat = true\n"),
     "16:19: unknown key \"vat\" in an expected channel: expected one of referenceCount, state, "},
    {"CommandsAreNoTexts", step("open = \"in\"\nexpect.commands = [\"Join\",\n  5]\n"),
     "17:3: commands is 5: expected a text in quotation marks, or an array of such texts\n"},
    {"UnknownCommand", step("open = \"in\"\nexpect.commands = [\n  \"OpenVoice\"]\n"),
     "17:3: unknown name \"OpenVoice\": expected one of OpenVoice in, OpenVoice out, "},
    {"UnknownFieldOfCommand", step("open = \"in\"\nexpect.commands = \"OpenVoice in codek=0\"\n"),
     "16:19: unknown field \"codek\" of OpenVoice in: expected one of dsp, codec, fax, "},
    {"FieldOfCommandWithoutValue",
     step("open = \"in\"\nexpect.commands = \"OpenVoice in codec=\"\n"),
     "16:19: field \"codec\" of OpenVoice in has no value: expected codec=VALUE\n"},
    {"UnknownEvent", step("open = \"in\"\nexpect.events = [\"ackEvent\"]\n"),
     "16:18: unknown name \"ackEvent\": expected one of OpenVoiceAck in, "},
    {"UnknownCallback", step("open = \"in\"\nexpect.callbacks = [\"alertEvent\"]\n"),
     "16:21: unknown name \"alertEvent\": expected one of ackEvent, ackErrorEvent, dtmfEvent, "
     "faxToneEvent\n"},
    {"CallbackOfUnknownChannel",
     step("open = \"in\"\nexpect.callbacks = [\"ackEvent channel=out\"]\n"),
     "16:21: unknown channel \"out\": expected one of none, in\n"},
    {"PlaceholderOfUnknownChannel", step("open = \"in\"\nexpect.refusal = \"({out})\"\n"),
     "16:18: unknown channel \"out\" in braces: expected one of in\n"},
    {"EmptyPiece", step("open = \"in\"\nexpect.refusalContains = \"\"\n"),
     "16:26: refusalContains is empty: expected a piece of the text\n"},
};

INSTANTIATE_TEST_SUITE_P(CallFile, CallFileError, testing::ValuesIn(errorCases),
                         [](testing::TestParamInfo<ErrorCase> const& tested) {
                             return std::string(tested.param.name);
                         });

TEST(CallFileErrors, aFileThatDoesNotExist) {
    ProgramRun const run = runProgram({"call", "no-such-call.toml"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "no-such-call.toml: can't be read: No such file or directory\n");
    EXPECT_EQ(run.output, "");
}

TEST(CallFileErrors, aDirectory) {
    ProgramRun const run = runProgram({"call", "/"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "/: can't be read: it is a directory, expected a call file\n");
}

TEST(CallFileErrors, aFileThatIsTooLarge) {
    TemporaryFile const file("call.toml", boardAndChannel + wait + "#" + std::string(1 << 20, 'x'));
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors,
              file.path() + ": can't be read: it is larger than 1 MiB, expected a call file\n");
    EXPECT_EQ(run.output, "");
}

TEST(CallFileErrors, aFileOfTheLargestSize) {
    std::string const call = boardAndChannel + wait + "#";
    TemporaryFile const file("call.toml", call + std::string((1 << 20) - call.size(), 'x'));
    ProgramRun const run = runProgram({"call", file.path()});
    EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(CallFileErrors, aFileThatNeverEnds) {
    ProgramRun const run = runProgram({"call", "/dev/zero"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, testing::StartsWith("/dev/zero: can't be read: it is larger than"));
}

TEST(CallFileErrors, noCallIsPlacedWhenOneOfSeveralFilesIsInError) {
    TemporaryFile const good("good.toml", boardAndChannel + wait);
    TemporaryFile const bad("bad.toml", "x = 1\n");
    ProgramRun const run = runProgram({"call", good.path(), bad.path()});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
}

} // namespace
