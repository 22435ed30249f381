// `mcgw load`: that it counts what it does, and leaves nothing behind. How fast it is, is not
// tested.

#include "tests/system/Background.h"
#include "tests/system/Program.h"

#include "dsp/Events.h"
#include "gateway/capture/CaptureReader.h"
#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <thread>

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

/** Processes whose parent is this one. */
std::vector<pid_t> childrenOf(pid_t parent) {
    std::vector<pid_t> children;
    for (auto const& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream status(entry.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line == "PPid:\t" + std::to_string(parent)) {
                children.push_back(std::stoi(entry.path().filename()));
            }
        }
    }
    return children;
}

/** A process that ended and is nobody's any more is still there until it is reaped. */
bool isRunning(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("State:", 0) == 0) {
            return line.find('Z') == std::string::npos;
        }
    }
    return false;
}

bool awaitEnd(std::vector<pid_t> const& processes) {
    auto const limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    auto const isOver = [&] { return std::none_of(processes.begin(), processes.end(), isRunning); };
    while (!isOver() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return isOver();
}

/** The bus of each run lies in a directory of the test. */
class Load : public testing::Test {
protected:
    Load() {
        char const* const set = std::getenv("XDG_RUNTIME_DIR");
        before = set == nullptr ? "" : set;
        setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
    }
    ~Load() override {
        if (before.empty()) {
            unsetenv("XDG_RUNTIME_DIR");
        } else {
            setenv("XDG_RUNTIME_DIR", before.c_str(), 1);
        }
    }

    bool isNothingLeft() const { return std::filesystem::is_empty(directory.path()); }

    static Json lastLine(std::string const& output) {
        std::istringstream stream(output);
        std::string last;
        for (std::string line; std::getline(stream, line);) {
            last = line;
        }
        return Json::parse(last);
    }

    static void expectSide(Json const& side, unsigned cycles) {
        EXPECT_EQ(side.at("completed"), cycles);
        for (char const* const none : {"refused", "lost", "abandoned", "unexpected_acks"}) {
            EXPECT_EQ(side.at(none), 0) << none;
        }
        EXPECT_GT(side.at("cycles_per_second"), 0);
        for (auto const& [name, latency] : side.at("latency_us").items()) {
            EXPECT_EQ(latency.at("count"), cycles) << name;
            EXPECT_LE(latency.at("p50"), latency.at("p99_9")) << name;
            EXPECT_LE(latency.at("p99_9"), latency.at("max")) << name;
            EXPECT_GT(latency.at("max"), 0) << name;
        }
        for (Json const& process : side.at("cpu")) {
            EXPECT_GT(process.at("us_per_cycle"), 0) << process;
        }
    }

    TemporaryDirectory directory;

private:
    std::string before;
};

TEST_F(Load, EveryCycleIsAccountedForAndAFloorStandsBesideIt) {
    ProgramRun const run =
        runProgram({"load", "--cycles", "200", "--outstanding", "16", "--channels", "16",
                    "--boards", "3", "--processes", "2", "--json", "--quiet"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    Json const load = Json::parse(run.output);
    EXPECT_EQ(load.at("type"), "load");
    EXPECT_TRUE(load.at("good"));
    expectSide(load.at("library"), 200);
    expectSide(load.at("floor"), 200);
    EXPECT_EQ(load.at("library").at("ack_events"), 200);
    EXPECT_EQ(load.at("library").at("ack_error_events"), 200);
    EXPECT_THAT(load.at("library").at("cpu"), SizeIs(3));
    EXPECT_THAT(load.at("floor").at("cpu"), SizeIs(3));
    EXPECT_EQ(load.at("commands"), Json({{"in", 8}, {"out", 10}}));
    for (char const* const ratio : {"ratio", "ratio_median", "cpu_ratio"}) {
        EXPECT_GT(load.at(ratio), 0) << ratio;
    }
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(Load, WhatTheLibrarySendsAndTakesIsRecorded) {
    std::string const path = directory.path() + "/load.pcapng";
    ProgramRun const run = runProgram({"load", "--cycles", "5", "--capture", path});
    EXPECT_EQ(run.status, 0) << run.errors;
    std::map<std::string, unsigned> counts;
    for (auto const& record : gateway::readCapture(path).records) {
        imc_msg const message = gateway::messageOf(record);
        EXPECT_TRUE(message.sourceSid == 0x01 || message.destinationSid == 0x01);
        ++counts[dsp::describe(message).substr(0, 9)];
    }
    // The cycles that the floor is made of are among them: one of each direction.
    EXPECT_EQ(counts["OpenVoice"], 2 * (5U + 2U));
    EXPECT_EQ(counts["CloseVoic"], 2 * (5U + 2U));
}

TEST_F(Load, APersonReadsTables) {
    ProgramRun const run = runProgram({"load", "--cycles", "20", "--outstanding", "4"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, StartsWith("1 board of 256 DSP channels in 1 process, 4 outstanding"));
    for (char const* const part : {"\nlibrary            20 ", "\nfloor              20 ",
                                   "\nlibrary / floor: ", "\nlatency, us", "ack of close",
                                   "\nCPU time per cycle, us\n", "responder"}) {
        EXPECT_THAT(run.output, HasSubstr(part));
    }
}

TEST_F(Load, ARateIsKeptWithoutAFloor) {
    ProgramRun const run =
        runProgram({"load", "--cycles", "50", "--rate", "200", "--no-floor", "--json", "--quiet"});
    EXPECT_EQ(run.status, 0) << run.errors;
    Json const load = lastLine(run.output);
    expectSide(load.at("library"), 50);
    EXPECT_EQ(load.count("floor"), 0U);
    EXPECT_EQ(load.count("ratio"), 0U);
    // Never faster than it was asked for: 49 pauses lie between 50 beginnings.
    EXPECT_GE(load.at("library").at("seconds"), 49.0 / 200);
}

TEST_F(Load, ALowRateIsKeptThroughTheTurns) {
    ProgramRun const byTime =
        runProgram({"load", "--for", "2", "--rate", "1", "--json", "--quiet"});
    EXPECT_EQ(byTime.status, 0) << byTime.errors;
    ProgramRun const byCycles =
        runProgram({"load", "--cycles", "4", "--rate", "4", "--json", "--quiet"});
    EXPECT_EQ(byCycles.status, 0) << byCycles.errors;
    for (char const* const side : {"library", "floor"}) {
        EXPECT_EQ(lastLine(byTime.output).at(side).at("completed"), 2) << side;
        expectSide(lastLine(byCycles.output).at(side), 4);
        EXPECT_GE(lastLine(byCycles.output).at(side).at("seconds"), 1.0) << side;
    }
}

TEST_F(Load, BoardsThatRunAlreadyAreUsed) {
    std::string const bus = "ipc://" + directory.path() + "/bus";
    BackgroundProgram board({"dsp", "--bus", bus, "--sid", "0x10", "0x11", "--quiet"});
    ProgramRun const run = runProgram({"load", "--bus", bus, "--sid", "0x10", "0x11", "--cycles",
                                       "50", "--outstanding", "8", "--json", "--quiet"});
    EXPECT_EQ(run.status, 0) << run.errors;
    Json const load = lastLine(run.output);
    expectSide(load.at("library"), 50);
    expectSide(load.at("floor"), 50);
    EXPECT_EQ(load.at("library").at("cpu").at(1).at("pid"), board.pid());
    board.signal(SIGTERM);
    EXPECT_EQ(board.end(), 0);
}

TEST_F(Load, LostAcknowledgementsAreCountedAndEndNothing) {
    std::string const bus = "ipc://" + directory.path() + "/bus";
    BackgroundProgram board(
        {"dsp", "--bus", bus, "--quiet", "--fault", "drop:ack:after=10:count=3"});
    ProgramRun const run = runProgram({"load", "--bus", bus, "--sid", "0x10", "--cycles", "100",
                                       "--outstanding", "8", "--no-floor", "--json", "--quiet"});
    EXPECT_EQ(run.status, 1) << run.errors;
    Json const load = lastLine(run.output);
    EXPECT_FALSE(load.at("good"));
    EXPECT_EQ(load.at("library").at("lost"), 3);
    EXPECT_EQ(load.at("library").at("completed"), 97);
}

TEST_F(Load, RefusalsAreCounted) {
    std::string const bus = "ipc://" + directory.path() + "/bus";
    BackgroundProgram board({"dsp", "--bus", bus, "--quiet", "--fault", "error:open=5:count=4"});
    ProgramRun const run = runProgram({"load", "--bus", bus, "--sid", "0x10", "--cycles", "30",
                                       "--outstanding", "8", "--no-floor", "--json", "--quiet"});
    EXPECT_EQ(run.status, 1) << run.errors;
    EXPECT_EQ(lastLine(run.output).at("library").at("refused"), 4);
    EXPECT_EQ(lastLine(run.output).at("library").at("completed"), 26);
}

TEST_F(Load, ABoardThatDiesEndsTheRunWithAReport) {
    std::string const bus = "ipc://" + directory.path() + "/bus";
    auto board = std::make_unique<BackgroundProgram>(std::vector<std::string>{"dsp", "--bus", bus});
    board->await("serving");
    BackgroundProgram load(
        {"load", "--bus", bus, "--sid", "0x10", "--for", "1000", "--rate", "200", "--no-floor"});
    load.await("progress");
    board->signal(SIGKILL);
    EXPECT_EQ(load.end(), 1) << load.errors();
    ASSERT_THAT(load.lines("load"), SizeIs(1));
    EXPECT_FALSE(load.lines("load").front().at("good"));
    EXPECT_THAT(load.lines("load").front().at("given_up").get<std::string>(), HasSubstr("gone"));
    board->end();
}

TEST_F(Load, TheTimeOfAProcessThatIsGoneIsNotKnown) {
    std::string const bus = "ipc://" + directory.path() + "/bus";
    auto board = std::make_unique<BackgroundProgram>(std::vector<std::string>{"dsp", "--bus", bus});
    board->await("serving");
    BackgroundProgram load(
        {"load", "--bus", bus, "--sid", "0x10", "--for", "1000", "--rate", "200", "--no-floor"});
    load.await("progress");
    // Halted, it is not missed before it was waited for and its number is nobody's any more.
    kill(load.pid(), SIGSTOP);
    board->signal(SIGKILL);
    board->end();
    kill(load.pid(), SIGCONT);
    EXPECT_EQ(load.end(), 1) << load.errors();
    ASSERT_THAT(load.lines("load"), SizeIs(1));
    Json const cpu = load.lines("load").front().at("library").at("cpu");
    ASSERT_THAT(cpu, SizeIs(2));
    EXPECT_GT(cpu.at(0).at("us_per_cycle"), 0);
    EXPECT_TRUE(cpu.at(1).at("us_per_cycle").is_null()) << cpu;
}

TEST_F(Load, ASignalWhileBoardsAreWaitedForEndsItWithoutACycle) {
    std::string const bus = directory.path() + "/bus";
    BackgroundProgram load({"load", "--bus", "ipc://" + bus, "--sid", "0x10"});
    // It joins the bus after it has taken charge of its signals.
    while (!std::filesystem::exists(bus)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    load.signal(SIGINT);
    EXPECT_EQ(load.end(), 0) << load.errors();
    ASSERT_THAT(load.lines("load"), SizeIs(1));
    EXPECT_TRUE(load.lines("load").front().at("interrupted"));
    EXPECT_EQ(load.lines("load").front().at("library").at("completed"), 0);
}

TEST_F(Load, AReaderThatLeavesEndsTheRun) {
    std::string const command = std::string("{ ") + MCGW_PROGRAM +
                                " load --for 1000 --json; echo $? >" + directory.path() +
                                "/status; } | head -n 1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(shell::contentOf(directory.path() + "/status"), "1\n");
    std::filesystem::remove(directory.path() + "/status");
    EXPECT_TRUE(isNothingLeft());
}

class LoadSignals : public Load, public testing::WithParamInterface<int> {};

TEST_P(LoadSignals, EndItWithAReportAndLeaveNothingBehind) {
    BackgroundProgram load({"load", "--for", "1000", "--boards", "2"});
    load.await("progress");
    std::vector<pid_t> const children = childrenOf(load.pid());
    EXPECT_THAT(children, SizeIs(4));
    load.signal(GetParam());
    EXPECT_EQ(load.end(), 0) << load.errors();
    ASSERT_THAT(load.lines("load"), SizeIs(1));
    Json const result = load.lines("load").front();
    EXPECT_TRUE(result.at("interrupted"));
    EXPECT_TRUE(result.at("good"));
    EXPECT_GT(result.at("library").at("completed"), 0);
    EXPECT_TRUE(awaitEnd(children));
    EXPECT_TRUE(isNothingLeft());
}

INSTANTIATE_TEST_SUITE_P(Each, LoadSignals, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Load, ItsProcessesEndWithItAlsoWhenItIsKilled) {
    BackgroundProgram load({"load", "--for", "1000", "--boards", "2"});
    load.await("progress");
    std::vector<pid_t> const children = childrenOf(load.pid());
    EXPECT_THAT(children, SizeIs(4));
    load.signal(SIGKILL);
    EXPECT_EQ(load.end(), -SIGKILL);
    EXPECT_TRUE(awaitEnd(children));
}

TEST_F(Load, RecordsAreHeldMeasuredAndClosed) {
    std::string const svg = directory.path() + "/costs.svg";
    ProgramRun const run =
        runProgram({"load", "--records", "512", "--json", "--quiet", "--svg", svg});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    Json const records = Json::parse(run.output);
    EXPECT_EQ(records.at("type"), "records");
    EXPECT_TRUE(records.at("good"));
    std::vector<unsigned> steps;
    for (Json const& row : records.at("median_us")) {
        steps.push_back(row.at("listed"));
        for (char const* const cost :
             {"open", "update", "close", "open_acknowledged", "close_acknowledged"}) {
            EXPECT_GT(row.at(cost), 0) << cost;
        }
    }
    EXPECT_THAT(steps, testing::ElementsAre(64, 128, 256, 512));
    // 200 records are closed and opened again at each step.
    EXPECT_EQ(records.at("opened"), 512 + 4 * 200);
    EXPECT_EQ(records.at("closed"), 512 + 4 * 200);
    EXPECT_GT(records.at("resident_bytes_after"), 0);
    EXPECT_THAT(shell::contentOf(svg), HasSubstr("records listed"));
    std::filesystem::remove(svg);
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(Load, RecordsAreShownAsATableAndAChart) {
    ProgramRun const run = runProgram({"load", "--records", "70", "--channels", "8"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output,
                StartsWith("70 records, on 5 boards of 8 DSP channels in 4 processes\n"));
    EXPECT_THAT(run.output, HasSubstr("\n  records          open        update         close"));
    EXPECT_THAT(run.output, HasSubstr("o open  u update  c close"));
}

TEST_F(Load, APictureThatCanNotBeDrawnIsAFailure) {
    ProgramRun const run = runProgram({"load", "--records", "64", "--channels", "32", "--quiet",
                                       "--png", directory.path() + "/none/costs.png"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("gnuplot did not draw the picture"));
}

TEST_F(Load, WithoutGnuplotItSaysWhatToInstall) {
    char const* const set = std::getenv("PATH");
    ASSERT_NE(set, nullptr);
    std::string const path = set;
    setenv("PATH", directory.path().c_str(), 1);
    ProgramRun const run = runProgram({"load", "--records", "64", "--channels", "32", "--quiet",
                                       "--svg", directory.path() + "/costs.svg"});
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("package gnuplot-nox (apt-get install gnuplot-nox)"));
    EXPECT_THAT(run.output, HasSubstr("64 records"));
}

TEST_F(Load, BoardsThatAreNotThereAreNotWaitedForForEver) {
    ProgramRun const run = runProgram(
        {"load", "--bus", "ipc://" + directory.path() + "/bus", "--sid", "0x10", "--quiet"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("not all boards are on ipc://"));
}

struct BadLine {
    std::vector<std::string> arguments;
    std::string error;
};

class LoadLine : public Load, public testing::WithParamInterface<BadLine> {};

TEST_P(LoadLine, IsRefused) {
    std::vector<std::string> arguments = {"load"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    ProgramRun const run = runProgram(arguments);
    EXPECT_EQ(run.status, 2) << run.output;
    EXPECT_THAT(run.errors, HasSubstr(GetParam().error));
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(isNothingLeft());
}

INSTANTIATE_TEST_SUITE_P(
    Bad, LoadLine,
    testing::Values(BadLine{{"--outstanding", "257"}, "--outstanding"},
                    BadLine{{"--outstanding", "0"}, "--outstanding"},
                    BadLine{{"--outstanding", "64", "--channels", "8"}, "16 paths only"},
                    BadLine{{"--boards", "65"}, "--boards"},
                    BadLine{{"--boards", "2", "--processes", "3"}, "fewer boards"},
                    BadLine{{"--channels", "257"}, "--channels"},
                    BadLine{{"--cycles", "10", "--for", "1"}, "excludes"},
                    BadLine{{"--for", "0"}, "--for"}, BadLine{{"--rate", "-1"}, "--rate"},
                    BadLine{{"--bus", "ipc:///tmp/nowhere"}, "--bus and --sid belong together"},
                    BadLine{{"--sid", "0x10"}, "--bus and --sid belong together"},
                    BadLine{{"--bus", "ipc:///tmp/nowhere", "--sid", "0x10", "0x10"},
                            "one board's only"},
                    BadLine{{"--bus", "nowhere", "--sid", "0x10"}, "nowhere"},
                    BadLine{{"--records", "32769"}, "--records"},
                    BadLine{{"--records", "300", "--channels", "2"}, "--records 300"},
                    BadLine{{"--records", "64", "--cycles", "10"}, "excludes"},
                    BadLine{{"--svg", "x.svg"}, "--records"},
                    BadLine{{"--nonsense"}, "--nonsense"}));

} // namespace
