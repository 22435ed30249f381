// Captures: recorded by the program, and drawn by it.

#include "tests/support/CaptureBytes.h"
#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/system/Program.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

using shell::contentOf;

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::size_t count(std::string const& text, std::string const& what) {
    std::size_t times = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++times;
    }
    return times;
}

/** A call, and the same call by a channel whose board nobody serves, which ends the process. */
std::string const goodSteps = R"([[step]]
open = "in"
expect.callbacks = ["ackEvent channel=in error=0 port=5000"]
[[step]]
close = "in"
expect.callbacks = ["ackErrorEvent channel=none"]
)";
std::string const lostCall = boardAndChannel + R"([[channel]]
name = "lost"
direction = "in"
codec = 1
)" + goodSteps + "[[step]]\nopen = \"lost\"\n";

class CaptureOfCall : public testing::Test {
protected:
    ProgramRun record(std::string const& call) {
        TemporaryFile const file("call.toml", call);
        return runProgram({"call", "--quiet", "--capture", path, file.path()});
    }

    ProgramRun draw(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"msc", "--ascii", path});
        return runProgram(options);
    }

    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/call.pcapng";
};

TEST_F(CaptureOfCall, holdsEveryMessageInItsOrder) {
    ASSERT_EQ(record(boardAndChannel + goodSteps).status, 0);
    ProgramRun const chart = draw();
    EXPECT_EQ(chart.status, 0);
    EXPECT_EQ(chart.errors, "");
    std::string::size_type at = 0;
    for (char const* const each :
         {"|  Session Manager  |", "0x01", "0x10", "0.0 ", "|- SetParameter dsp=2 SILENCE",
          "|- SetParameter dsp=2 DIGIT", "|- OpenVoice in dsp=2 codec=0(G.711 A-law)",
          "|<-- OpenVoiceAck in dsp=2 port=5000 (after ", "|- CloseVoice in dsp=2 --",
          "|<-- CloseVoiceAck in dsp=2 (after ", "======="}) {
        at = chart.output.find(each, at);
        ASSERT_NE(at, std::string::npos) << each << '\n' << chart.output;
    }
    EXPECT_EQ(count(chart.output, "->|"), 4U);
    EXPECT_EQ(count(chart.output, "|<-"), 2U);
}

TEST_F(CaptureOfCall, holdsAllCallFilesOneAfterTheOther) {
    TemporaryFile const file("call.toml", boardAndChannel + goodSteps);
    ASSERT_EQ(runProgram({"call", "--capture", path, file.path(), file.path()}).status, 0);
    EXPECT_EQ(count(draw().output, "- OpenVoice in"), 2U);
}

TEST_F(CaptureOfCall, outlivesTheProcessAndHoldsWhatWasRefused) {
    ASSERT_EQ(record(lostCall).status, 3);
    ProgramRun const chart = draw();
    EXPECT_EQ(chart.status, 0) << chart.errors;
    EXPECT_THAT(chart.output, ContainsRegex("SetParameter dsp=0 .*\\*\\|"));
    EXPECT_THAT(chart.output, HasSubstr("! refused: nobody serves IMC address 0xFA"));
}

TEST_F(CaptureOfCall, growsRecordByRecordAndOutlivesAKilledProcess) {
    TemporaryFile const file("call.toml", boardAndChannel + goodSteps + "[[step]]\nwait = 60000\n");
    // Six messages are there while the program waits; then it is killed.
    std::string const script =
        std::string(MCGW_EMULATOR) + " " MCGW_PROGRAM " call --quiet --capture " + path + " " +
        file.path() + " & n=0; until [ \"$(wc -c 2>/dev/null <" + path +
        " || echo 0)\" -ge 6300 ] || [ $n -ge 600 ]; do sleep 0.1; n=$((n + 1)); done; "
        "kill -KILL $!; wait $! 2>/dev/null; [ $? -eq 137 ]";
    ASSERT_EQ(std::system(script.c_str()), 0);
    ProgramRun const chart = draw();
    EXPECT_EQ(chart.status, 0) << chart.errors;
    EXPECT_THAT(chart.output, HasSubstr("CloseVoiceAck in"));
}

TEST_F(CaptureOfCall, replacesACaptureButNoOtherFile) {
    ASSERT_EQ(record(lostCall).status, 3);
    ASSERT_EQ(record(boardAndChannel + goodSteps).status, 0);
    EXPECT_THAT(draw().output, Not(HasSubstr("refused")));
    std::ofstream(path) << "mine";
    ProgramRun const run = record(boardAndChannel + goodSteps);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "mcgw: capture " + path +
                              ": exists and is no capture: it is not "
                              "overwritten\n");
    EXPECT_EQ(contentOf(path), "mine");
}

TEST_F(CaptureOfCall, isNotTouchedWhenACallFileIsBad) {
    ASSERT_EQ(record(boardAndChannel + goodSteps).status, 0);
    std::string const before = contentOf(path);
    EXPECT_EQ(record("nonsense").status, 2);
    EXPECT_EQ(contentOf(path), before);
}

TEST_F(CaptureOfCall, goesThroughANamedPipe) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = contentOf(path); });
    EXPECT_EQ(record(boardAndChannel + goodSteps).status, 0);
    reader.join();
    EXPECT_THAT(received, StartsWith("\x0A\x0D\x0D\x0A"));
    EXPECT_GT(received.size(), 6U * 1036U);
}

TEST_F(CaptureOfCall, mayFailWithoutTheCall) {
    // The reader of a pipe leaves at once.
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::thread reader([&] { std::ifstream(path).get(); });
    TemporaryFile const file("call.toml", boardAndChannel + "[[step]]\nwait = 300\n" + goodSteps);
    ProgramRun const run = runProgram({"call", "--quiet", "--capture", path, file.path()});
    reader.join();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("passed: 3 steps"));
    EXPECT_EQ(run.errors, "mcgw: capture " + path + ": Broken pipe; 6 messages not recorded\n");
}

class ChartOfFile : public testing::Test {
protected:
    ChartOfFile() {
        bytes.section().interface();
        bytes.packet(bytesOfMessage(commandTo(0x10, 102, "\x03")), 1000)
            .packet(bytesOfMessage(acknowledgementFrom(0x10, 102, 3)), 3500);
    }

    ProgramRun draw(std::string const& content, std::vector<std::string> options = {}) {
        std::ofstream(path, std::ios::binary) << content;
        options.insert(options.begin(), {"msc", path});
        return runProgram(options);
    }

    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/call.pcapng";
    CaptureBytes bytes;
};

TEST_F(ChartOfFile, fitsTheWidthThatIsAskedFor) {
    EXPECT_EQ(draw(bytes.text(), {"--ascii", "--width", "72"}).output,
              R"(            +-------------------+                  +-------------------+
            |  Session Manager  |                  |       Board       |
            |       0x01        |                  |       0x10        |
        ms  +---------+---------+                  +---------+---------+
       0.0            |- CloseVoice in dsp=3 --------------->|
       2.5            |<-- CloseVoiceAck in dsp=3 -----------|
                      |    (after 2.5 ms)                    |
                   =======                                =======
)");
}

TEST_F(ChartOfFile, isAsciiWhereTheLocaleIsNotUtf8) {
    char const* const before = std::getenv("LC_ALL");
    std::string const saved = before == nullptr ? "" : before;
    setenv("LC_ALL", "C", 1);
    std::string const plain = draw(bytes.text()).output;
    setenv("LC_ALL", "C.UTF-8", 1);
    std::string const boxes = draw(bytes.text()).output;
    std::string const forced = draw(bytes.text(), {"--ascii"}).output;
    setenv("LC_ALL", saved.c_str(), 1);
    EXPECT_THAT(plain, AllOf(HasSubstr("+-----"), Not(HasSubstr("─"))));
    EXPECT_THAT(boxes, AllOf(HasSubstr("┌─"), HasSubstr("▶│"), Not(HasSubstr("+---"))));
    EXPECT_EQ(forced, plain);
}

TEST_F(ChartOfFile, choosesMessages) {
    bytes.packet(bytesOfMessage(commandTo(0x11, 125, "\x04")), 4000);
    EXPECT_THAT(draw(bytes.text(), {"--dsp", "4"}).output,
                AllOf(HasSubstr("Unjoin dsp=4"), Not(HasSubstr("CloseVoice"))));
    EXPECT_THAT(draw(bytes.text(), {"--sid", "0x10"}).output,
                AllOf(Not(HasSubstr("Unjoin")), HasSubstr("CloseVoiceAck")));
    ProgramRun const none = draw(bytes.text(), {"--dsp", "9"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "");
    EXPECT_EQ(none.errors, "mcgw: " + path + ": no such message among 3 records\n");
}

TEST_F(ChartOfFile, allFieldsShowsEveryField) {
    EXPECT_THAT(draw(bytes.text()).output, Not(HasSubstr("error=0")));
    EXPECT_THAT(draw(bytes.text(), {"--all-fields"}).output, HasSubstr("error=0 port=0"));
}

TEST_F(ChartOfFile, isDrawnUpToADamage) {
    std::string const content = bytes.text();
    ProgramRun const run = draw(content.substr(0, content.size() - 1), {"--ascii"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, AllOf(HasSubstr("- CloseVoice in"), Not(HasSubstr("Ack"))));
    EXPECT_EQ(run.errors,
              "mcgw: " + path + ": record 2 is cut short: 1067 of 1068 bytes are there\n");
}

TEST_F(ChartOfFile, namesWhatItLeavesOut) {
    bytes.interface("", 1).packet("ethernet", 0, 1);
    ProgramRun const run = draw(bytes.text());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "mcgw: " + path +
                              ": left out: 1 record without a time or of another "
                              "link type than USER0\n");
}

TEST_F(ChartOfFile, isRefusedForAFileThatIsNoCapture) {
    ProgramRun const run = draw("[[board]]\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "mcgw: " + path + ": no pcapng file\n");
    ProgramRun const missing = runProgram({"msc", directory.path() + "/none"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_THAT(missing.errors, EndsWith("/none: No such file or directory\n"));
}

TEST(Msc, helpTellsWhatToDo) {
    ProgramRun const run = runProgram({"msc", "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, AllOf(HasSubstr("--dsp"), HasSubstr("--sid"), HasSubstr("--svg"),
                                  HasSubstr("--png"), HasSubstr("--ascii"), HasSubstr("--width"),
                                  HasSubstr("--all-fields"), HasSubstr("docs/captures.md"),
                                  HasSubstr("Exit status")));
    EXPECT_THAT(runProgram({"--help"}).output, ContainsRegex("msc +Draw a capture"));
    EXPECT_THAT(runProgram({"call", "--help"}).output, HasSubstr("--capture"));
}

TEST(Msc, refusesBadCommandLines) {
    for (std::vector<std::string> const& each : {std::vector<std::string>{"msc"},
                                                 {"msc", "x", "--dsp", "256"},
                                                 {"msc", "x", "--sid", "nine"},
                                                 {"msc", "x", "--width", "10"},
                                                 {"msc", "x", "--loud"}}) {
        ProgramRun const run = runProgram(each);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_NE(run.errors, "");
    }
}

} // namespace
