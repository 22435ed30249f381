// The operator's console as operators and scripts use it, attached to a program that stands for a
// session.

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/system/Child.h"
#include "tests/system/Program.h"
#include "tests/system/Screen.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <regex>
#include <sstream>

namespace {

using shell::contentOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;
using Json = nlohmann::json;

std::string dspList(int count) {
    std::string text =
        "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tDSP list with its MC_CHANNEL:\n\n\n";
    for (int i = 0; i < count; ++i) {
        text += "Dsp " + std::to_string(i) + "\n\tMC_Channel in: " + (i == 2 ? "1" : "-") +
                "\n\tMC_Channel out: -\n";
    }
    return text;
}

std::string const channelList = R"(

		MC MANAGER
		----------
		MC_CHANNEL list:

MC_Channel 1
	Voice in on Ip(10.0.0.1) dsp(2) board(0x10) [G.711 A-law (/ms) vad(Off)]
send ced Off
send no signal T38_SIG_NIL
	State : Voice_Open
	RTP  : -:0 <-> 10.0.9.1:4000
	RTCP : -:0 <-> -:0
	RTP Dtmf PT: 0x0 = 0
	RTP Redundancy PT: 0x0 = 0

Total = 1
)";

std::string const helpText = R"(key MC:
	MC help : display this specific help
	MC Channel All | <id>
		All  : display properties of all channels
		<id> : display properties of channel(id) (ex: 0x1)
	MC Dsp All | [<max>]
		display channel id associated with dsp
		All   : all dsp associated with channels
		<max> : number of line to display
)";

std::string const leftAlone = "mcgw: the session went away\n";

class Consoles : public testing::Test {
protected:
    Consoles() : site({CONTROL_SITE, socket}, Child::Where::inPipes) { site.awaitText("ready\n"); }

    std::vector<std::string> command(std::vector<std::string> const& more = {}) const {
        std::vector<std::string> words = {MCGW_PROGRAM, "console", "--control", socket};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    std::unique_ptr<Child> piped(std::vector<std::string> const& more = {}) const {
        return std::make_unique<Child>(command(more), Child::Where::inPipes);
    }
    std::unique_ptr<Child> typed(std::string const& input,
                                 std::vector<std::string> const& more = {}) const {
        auto console = piped(more);
        console->write(input);
        console->closeInput();
        return console;
    }
    ProgramRun run(std::vector<std::string> const& lines) const {
        std::vector<std::string> arguments = {"console", "--control", socket};
        for (std::string const& line : lines) {
            arguments.insert(arguments.end(), {"-c", line});
        }
        return runProgram(arguments);
    }

    TemporaryDirectory directory;
    std::string const socket = directory.path() + "/session-01.control";
    Child site;
};

/* In a pipe */

TEST_F(Consoles, AnOperatorsLinesAreAnsweredAsOnTheBoard) {
    auto const console =
        typed("MC Channel All\nMC Dsp 0x10\nhelp\nMC Dsp 8\nMC Dsp All\nMC\nwhat\n");
    EXPECT_EQ(console->end(), 0);
    EXPECT_EQ(console->errors(), "");
    EXPECT_EQ(console->output(), channelList + dspList(16) + helpText +
                                     "MC Dsp : invalid argument\n" + dspList(3) + "Total = 1\n\n" +
                                     helpText + "Unknown command \"what\", try \"help\"\n");
}

TEST_F(Consoles, LinesOfTheCommandLineNeedNoInput) {
    ProgramRun const console = run({"MC Dsp 8", "", "help"});
    EXPECT_EQ(console.output, "MC Dsp : invalid argument\n" + helpText);
    EXPECT_EQ(console.errors, "");
    EXPECT_EQ(console.status, 0);
}

TEST_F(Consoles, TheLastLineNeedsNoEnd) {
    auto const console = typed("\n  \nMC Dsp 8");
    EXPECT_EQ(console->end(), 0);
    EXPECT_EQ(console->output(), "MC Dsp : invalid argument\n");
}

TEST_F(Consoles, LinesMayEndAsElsewhere) {
    auto const console = typed("MC Dsp 8\r\n\r\nhelp\r\nsession fail a\r\nquit\r\n");
    EXPECT_EQ(console->end(), 1);
    EXPECT_EQ(console->output(), "MC Dsp : invalid argument\n" + helpText);
}

TEST_F(Consoles, ALineThatIsTooLongIsAnErrorAndTheNextOneSent) {
    auto const console = typed(std::string(3 << 20, 'x') + "\nMC Dsp 8\n");
    EXPECT_EQ(console->end(), 1);
    EXPECT_EQ(console->output(), "MC Dsp : invalid argument\n");
    EXPECT_EQ(console->errors(),
              "error: the line is too long: expected at most 1048576 characters\n");
}

TEST_F(Consoles, AStreamThatIsClosedIsNotTheSessions) {
    std::string const console = std::string(MCGW_PROGRAM) + " console --control " + socket;
    Child withoutInput({"/bin/sh", "-c", console + " <&-"}, Child::Where::inPipes);
    EXPECT_EQ(withoutInput.end(), 0);
    Child withoutOutput({"/bin/sh", "-c", console + " -c help >&-"}, Child::Where::inPipes);
    EXPECT_EQ(withoutOutput.end(), 1);
    EXPECT_EQ(withoutOutput.errors(), "mcgw: the answers can't be written\n");
}

TEST_F(Consoles, NothingIsSentAfterQuit) {
    for (std::string const word : {"quit", "exit"}) {
        auto const console = typed("MC Dsp 8\n " + word + " \nMC Dsp 8\n");
        EXPECT_EQ(console->end(), 0);
        EXPECT_EQ(console->output(), "MC Dsp : invalid argument\n");
    }
}

TEST_F(Consoles, AnErrorIsToldAndTheNextLineSent) {
    auto const console = typed("session fail no channel \"x\"\nMC Dsp 8\n");
    EXPECT_EQ(console->end(), 1);
    EXPECT_EQ(console->output(), "MC Dsp : invalid argument\n");
    EXPECT_EQ(console->errors(), "error: no channel \"x\"\n");
}

TEST_F(Consoles, JsonIsWhatTheSessionSends) {
    auto const console = typed("MC Dsp 8\nsession fail a\n", {"--json"});
    EXPECT_EQ(console->end(), 1);
    EXPECT_EQ(console->errors(), "");
    EXPECT_EQ(console->output(), "{\"id\":1,\"answer\":\"MC Dsp : invalid argument\\n\"}\n"
                                 "{\"id\":1,\"end\":true}\n"
                                 "{\"id\":2,\"end\":true,\"error\":\"a\"}\n");
}

TEST_F(Consoles, EachHasItsOwnAnswers) {
    std::string ofOne;
    std::string ofOther;
    std::string expectedOfOne;
    std::string expectedOfOther;
    for (int i = 0; i < 200; ++i) {
        ofOne += "session fail one " + std::to_string(i) + "\n";
        expectedOfOne += "error: one " + std::to_string(i) + "\n";
        ofOther += "session fail other " + std::to_string(i) + "\n";
        expectedOfOther += "error: other " + std::to_string(i) + "\n";
    }
    auto const one = typed(ofOne);
    auto const other = typed(ofOther);
    EXPECT_EQ(one->end(), 1);
    EXPECT_EQ(other->end(), 1);
    EXPECT_EQ(one->errors(), expectedOfOne);
    EXPECT_EQ(other->errors(), expectedOfOther);
}

TEST_F(Consoles, ThoseThatWatchAreTold) {
    auto const watches = piped();
    watches->write("session watch on\nMC Dsp 8\n");
    watches->awaitText("MC Dsp : invalid argument\n");
    EXPECT_EQ(run({"session tell board 0x10 is lost"}).status, 0);
    watches->awaitText("* note: board 0x10 is lost\n");
    watches->closeInput();
    EXPECT_EQ(watches->end(), 0);
}

TEST_F(Consoles, ASessionThatDiesIsMissedWhileAnAnswerIsDue) {
    auto const console = piped();
    console->write("MC Dsp 8\nsession silent\n");
    console->awaitText("MC Dsp : invalid argument\n");
    site.signal(SIGKILL);
    EXPECT_EQ(console->end(), 1);
    EXPECT_EQ(console->errors(), leftAlone);
}

TEST_F(Consoles, ASessionThatDiesIsMissedWhileNothingIsTyped) {
    auto const console = piped();
    console->write("MC Dsp 8\n");
    console->awaitText("MC Dsp : invalid argument\n");
    site.signal(SIGKILL);
    EXPECT_EQ(console->end(), 1);
    EXPECT_EQ(console->errors(), leftAlone);
}

TEST_F(Consoles, ASessionThatEndsEndsWhatIsOpen) {
    auto const console = piped();
    console->write("MC Dsp 8\nsession silent\n");
    console->awaitText("MC Dsp : invalid argument\n");
    EXPECT_EQ(run({"session end"}).status, 0);
    EXPECT_EQ(console->end(), 1);
    EXPECT_THAT(console->errors(), EndsWith(leftAlone));
    EXPECT_EQ(site.end(), 0);
}

TEST_F(Consoles, ASessionThatWasAskedToEndIsNotMissed) {
    auto const console = piped();
    console->write("session end\n");
    EXPECT_EQ(console->end(), 0);
    EXPECT_EQ(console->errors(), "");
    EXPECT_EQ(site.end(), 0);
    ProgramRun const late = run({"help"});
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(late.errors, "mcgw: no session at " + socket + ": start one with mcgw session\n");
}

/* Call files */

/** Of two runs, times differ, and the order of what comes from different sides at a time. */
std::vector<std::string> comparable(std::string const& report) {
    std::istringstream stream(std::regex_replace(report, std::regex(" *[0-9.]+ ms  "), "# ms  "));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

class CallsOfConsoles : public Consoles {
protected:
    /** What `mcgw call` writes as text, and a console that gets it as entries. */
    void expectSame(std::string const& callFile, int status) {
        ProgramRun const asJson = runProgram({"call", "--json", callFile});
        ProgramRun const asText = runProgram({"call", callFile});
        ASSERT_EQ(asJson.status, status) << asJson.errors;
        TemporaryFile const entries("entries", asJson.output);
        ProgramRun const console = run({"call " + entries.path()});
        EXPECT_EQ(console.status, status);
        EXPECT_EQ(console.errors, "");
        EXPECT_EQ(comparable(console.output), comparable(asText.output));
    }
};

TEST_F(CallsOfConsoles, AreShownAsTheCommandShowsThem) {
    std::size_t count = 0;
    for (auto const& entry : std::filesystem::directory_iterator(EXAMPLES_DIRECTORY)) {
        expectSame(entry.path().string(), 0);
        ++count;
    }
    EXPECT_GT(count, 0U);
}

TEST_F(CallsOfConsoles, WithFailuresAreShownAsTheCommandShowsThem) {
    TemporaryFile const file("failing.toml", boardAndChannel + R"([[step]]
note = "nothing is expected that comes"
open = "in"
expect.callbacks = []
expect.state = "Close"

[[step]]
console = "MC Dsp All"

[[step]]
close = "in"
expect.callbacks = ["ackEvent channel=in error=0"]
)");
    expectSame(file.path(), 1);
}

TEST_F(CallsOfConsoles, NeedAFile) {
    ProgramRun const console = run({"call", "call /none/call.toml"});
    EXPECT_EQ(console.status, 1);
    EXPECT_EQ(console.errors, "error: call: expected a call file: call FILE\n"
                              "error: can't read /none/call.toml: No such file or directory\n");
}

TEST_F(CallsOfConsoles, MayHaveBlanksInTheirNames) {
    TemporaryFile const file("a call.toml", "no entry");
    ProgramRun const console = run({"call " + file.path()});
    EXPECT_EQ(console.status, 1);
    EXPECT_EQ(console.errors, "error: " + file.path() + ": expected a JSON object on each line\n");
}

/* Bad command lines */

TEST(ConsoleCommand, BadCommandLinesAreRefused) {
    std::vector<std::vector<std::string>> const bad = {{"--what"},
                                                       {"-c"},
                                                       {"line"},
                                                       {"--control", "a", "--bus", "ipc://b"},
                                                       {"--sid", "256"},
                                                       {"--control", "a", "--sid", "1"},
                                                       {"--sid", "x"},
                                                       {"--bus", "nothing"},
                                                       {"--bus", "ipc://"},
                                                       {"--control", ""}};
    for (std::vector<std::string> arguments : bad) {
        arguments.insert(arguments.begin(), "console");
        ProgramRun const run = runProgram(arguments);
        EXPECT_EQ(run.status, 2) << arguments[1];
        EXPECT_NE(run.errors, "") << arguments[1];
    }
}

TEST(ConsoleCommand, WithoutASessionItSaysSo) {
    TemporaryDirectory const directory;
    ProgramRun const run =
        runProgram({"console", "--bus", "ipc://" + directory.path(), "--sid", "0x21"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "mcgw: no session at " + directory.path() +
                              "/session-21.control: start one with mcgw session\n");
}

TEST(ConsoleCommand, HelpTellsWhatTheManualTells) {
    ProgramRun const run = runProgram({"console", "--help"});
    EXPECT_EQ(run.status, 0);
    std::string const page = contentOf(CONSOLE_PAGE);
    for (std::string const option : {"--control", "--bus", "--sid", "-c", "--json"}) {
        EXPECT_THAT(run.output, HasSubstr(option));
        EXPECT_THAT(page, HasSubstr("`" + option));
    }
}

/* At a terminal */

std::string const tab = "\t";
std::string const arrowUp = "\x1b[A";
std::string const arrowLeft = "\x1b[D";
std::string const ctrlC = "\x03";
std::string const ctrlD = "\x04";

class Terminals : public Consoles {
protected:
    std::unique_ptr<Child> attached() const {
        auto console = std::make_unique<Child>(
            command(), Child::Where::atTerminal,
            std::map<std::string, std::string>{
                {"TERM", "vt100"},
                {"LC_ALL", "C.UTF-8"},
                {"LSAN_OPTIONS", "print_suppressions=0:suppressions=" KNOWN_LEAKS},
                {"XDG_STATE_HOME", directory.path() + "/state"}});
        awaitPrompt(*console, "mcgw> ");
        return console;
    }
    static void awaitPrompt(Child& console, std::string const& line) {
        console.await(
            [&line](std::string const& written) { return Screen(written).beforeCursor() == line; });
    }
    /** Types it, and waits until it is done and the next line may come. */
    static void type(Child& console, std::string const& line, std::string const& lastOfAnswer) {
        console.write(line + "\r");
        console.await([&lastOfAnswer](std::string const& written) {
            auto const lines = Screen(written).lines();
            return lines.size() > 1 && lines.back() == "mcgw>" &&
                   lines[lines.size() - 2] == lastOfAnswer;
        });
    }
    static std::vector<std::string> shown(Child& console) {
        return Screen(console.output()).lines();
    }
    static void leave(Child& console) {
        console.write(ctrlD);
        EXPECT_EQ(console.end(), 0);
    }
    std::string const invalid = "MC Dsp : invalid argument";
};

TEST_F(Terminals, LinesAreTypedAndAnswered) {
    auto const console = attached();
    type(*console, "MC Dsp 8", invalid);
    type(*console, "session fail nothing", "error: nothing");
    type(*console, "MC Channel All", "Total = 1");
    auto const lines = shown(*console);
    ASSERT_GT(lines.size(), 4U);
    EXPECT_THAT(
        std::vector<std::string>(lines.begin(), lines.begin() + 4),
        ElementsAre("mcgw> MC Dsp 8", invalid, "mcgw> session fail nothing", "error: nothing"));
    leave(*console);
}

TEST_F(Terminals, TabCompletesAndTellsTheChoices) {
    auto const console = attached();
    console->write("M" + tab);
    awaitPrompt(*console, "mcgw> MC ");
    console->write(tab);
    awaitPrompt(*console, "mcgw> MC ");
    console->awaitText("Channel  Dsp  help");
    console->write("D" + tab);
    awaitPrompt(*console, "mcgw> MC Dsp ");
    type(*console, "8", invalid);
    EXPECT_THAT(shown(*console),
                ElementsAre("Channel  Dsp  help", "mcgw> MC Dsp 8", invalid, "mcgw>"));
    console->write("session close " + tab);
    awaitPrompt(*console, "mcgw> session close caller-");
    console->write("o" + tab);
    awaitPrompt(*console, "mcgw> session close caller-out ");
    console->write(ctrlC);
    awaitPrompt(*console, "mcgw> ");
    leave(*console);
}

TEST_F(Terminals, TabCompletesTheNameOfACallFile) {
    TemporaryFile const file("only.toml", "");
    std::string const path = file.path().substr(0, file.path().rfind('/'));
    auto const console = attached();
    console->write("call " + path + "/on" + tab);
    awaitPrompt(*console, "mcgw> call " + file.path() + " ");
    console->write(ctrlC);
    leave(*console);
}

TEST_F(Terminals, LinesOfBeforeComeBack) {
    auto console = attached();
    type(*console, "MC Dsp 8", invalid);
    type(*console, "session fail nothing", "error: nothing");
    console->write(arrowUp);
    awaitPrompt(*console, "mcgw> session fail nothing");
    console->write(arrowUp);
    awaitPrompt(*console, "mcgw> MC Dsp 8");
    type(*console, "", invalid);
    leave(*console);
    std::string const history = directory.path() + "/state/mcgw/history";
    EXPECT_EQ(contentOf(history), "MC Dsp 8\nsession fail nothing\nMC Dsp 8\n");
    struct stat found {};
    ASSERT_EQ(stat(history.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
    console = attached();
    console->write(arrowUp + arrowUp);
    awaitPrompt(*console, "mcgw> session fail nothing");
    console->write(ctrlC);
    leave(*console);
}

TEST_F(Terminals, CtrlCClearsTheLineWhereverTheCursorIs) {
    auto const console = attached();
    console->write("MC Channel All" + arrowLeft + arrowLeft + arrowLeft);
    awaitPrompt(*console, "mcgw> MC Channel ");
    console->write(ctrlC);
    awaitPrompt(*console, "mcgw> ");
    EXPECT_THAT(shown(*console), ElementsAre("mcgw>"));
    type(*console, "MC Dsp 8", invalid);
    leave(*console);
}

TEST_F(Terminals, CtrlDAndQuitLeave) {
    leave(*attached());
    auto const console = attached();
    console->write("quit\r");
    EXPECT_EQ(console->end(), 0);
}

TEST_F(Terminals, WhatIsToldStandsAboveTheLine) {
    auto const console = attached();
    console->write("session watch on\rMC Ds" + arrowLeft);
    awaitPrompt(*console, "mcgw> MC D");
    EXPECT_EQ(run({"MC Dsp 8", "session tell board 0x10 is lost"}).status, 0);
    console->awaitText("is lost");
    awaitPrompt(*console, "mcgw> MC D");
    EXPECT_THAT(shown(*console),
                ElementsAre("mcgw> session watch on", "* note: board 0x10 is lost", "mcgw> MC Ds"));
    console->write("\x05p 8");
    awaitPrompt(*console, "mcgw> MC Dsp 8");
    type(*console, "", invalid);
    leave(*console);
}

TEST_F(Terminals, WhatIsToldLeavesALineOfSeveralRowsWhole) {
    auto const console = attached();
    std::string const text(150, 'x');
    console->write("session watch on\rsession fail " + text);
    std::string const row1 = "mcgw> session fail " + text.substr(0, 61);
    std::string const row2 = text.substr(61, 80);
    std::string const row3 = text.substr(141);
    awaitPrompt(*console, row3);
    EXPECT_EQ(run({"session tell later"}).status, 0);
    console->awaitText("* note: later");
    awaitPrompt(*console, row3);
    EXPECT_THAT(shown(*console),
                ElementsAre("mcgw> session watch on", "* note: later", row1, row2, row3));
    console->write("\r");
    console->awaitText("error: " + text);
    leave(*console);
}

TEST_F(Terminals, ASessionThatDiesEndsTheConsole) {
    auto const console = attached();
    termios const before = console->settings();
    console->write("MC Dsp");
    awaitPrompt(*console, "mcgw> MC Dsp");
    site.signal(SIGKILL);
    EXPECT_EQ(console->end(), 1);
    console->awaitText("mcgw: the session went away");
    EXPECT_NE(before.c_lflag & ICANON, ICANON);
    EXPECT_EQ(console->settings().c_lflag & (ICANON | ECHO), ICANON | ECHO);
}

TEST_F(Terminals, WhatIsTypedAheadIsTakenInItsOrder) {
    auto const console = attached();
    console->write("session fail one\rsession fail two\r" + ctrlD);
    EXPECT_EQ(console->end(), 0);
    EXPECT_EQ(contentOf(directory.path() + "/state/mcgw/history"),
              "session fail one\nsession fail two\n");
}

TEST_F(Terminals, LeavingLeavesTheTerminalAsItWas) {
    auto const console = attached();
    leave(*console);
    EXPECT_EQ(console->settings().c_lflag & (ICANON | ECHO), ICANON | ECHO);
}

TEST_F(Terminals, ASignalLeavesTheTerminalAsItWas) {
    for (int const signal : {SIGTERM, SIGHUP}) {
        auto const console = attached();
        console->write("MC Dsp");
        awaitPrompt(*console, "mcgw> MC Dsp");
        console->signal(signal);
        EXPECT_EQ(console->end(), 0);
        EXPECT_EQ(console->settings().c_lflag & (ICANON | ECHO), ICANON | ECHO);
    }
}

TEST_F(Terminals, SeveralConsolesEachHaveTheirOwnAnswers) {
    auto const one = attached();
    auto const other = attached();
    type(*one, "session fail one", "error: one");
    type(*other, "session fail other", "error: other");
    type(*one, "MC Dsp 8", invalid);
    EXPECT_THAT(shown(*one), ElementsAre("mcgw> session fail one", "error: one", "mcgw> MC Dsp 8",
                                         invalid, "mcgw>"));
    EXPECT_THAT(shown(*other), ElementsAre("mcgw> session fail other", "error: other", "mcgw>"));
    leave(*one);
    leave(*other);
}

} // namespace
