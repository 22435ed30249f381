#include "tests/soak/Soak.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

/** Exit statuses. */
enum Status { allHeld = 0, someFailed = 1, badInput = 2 };

constexpr std::uint64_t defaultCalls = 1000000;
/** One block to warm up, and one to compare it with. */
constexpr std::uint64_t fewestCalls = 2 * soak::Soak::blockSize;

char const help[] =
    R"(Each operation, command, event and callback is compared with what it must be. After every 500
calls all are closed and everything is compared: calls, commands and events of which each must have
come to something, the platform's and the boards' own counters, the manager's list, references, and
the memory in use, which must be the same to the byte.

The same seed gives the same table on every machine.

Exit status: 0 when everything held, 1 when something did not, 2 for a bad command line.)";

struct Options {
    std::uint64_t calls = defaultCalls;
    std::optional<unsigned> seconds;
    std::uint64_t seed = 1;
    bool tableOnly = false;
    /** Empty for none. */
    std::string fault;
};

/** What may be broken on purpose. */
std::map<std::string, soak::Fault> const& faults() {
    static std::map<std::string, soak::Fault> const all = {
        {"lost-call", soak::Fault::lostCall},
        {"lost-command", soak::Fault::lostCommand},
        {"lost-event", soak::Fault::lostEvent},
        {"kept-reference", soak::Fault::keptReference},
        {"kept-memory", soak::Fault::keptMemory}};
    return all;
}

void declare(CLI::App& program, Options& options) {
    CLI::Option* const calls =
        program.add_option("--calls", options.calls, "How many calls, 1000 at least")
            ->capture_default_str()
            ->check(CLI::Range(fewestCalls, std::uint64_t{1} << 40U));
    program.add_option("--time", options.seconds, "Go on for so many seconds instead")
        ->check(CLI::Range(1U, 1000000U))
        ->excludes(calls);
    program.add_option("--seed", options.seed, "Where the random numbers start")
        ->capture_default_str();
    program.add_flag("--table", options.tableOnly,
                     "Print the table only, which is the same for the same seed and calls");
    program
        .add_option("--break", options.fault,
                    "Do one thing in a hundred wrong, to see that it is found")
        ->check(CLI::IsMember(faults()));
    program.footer(help);
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string inMebibytes(std::size_t kibibytes) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << static_cast<double>(kibibytes) / 1024 << " MiB";
    return text.str();
}

/** One line on a terminal that says how far it is. */
class Progress {
public:
    void show(std::uint64_t calls, double seconds) {
        if (!isTerminal || seconds < next) {
            return;
        }
        next = seconds + 0.5;
        std::cerr << '\r' << calls << " calls, " << static_cast<std::uint64_t>(seconds) << " s, "
                  << inMebibytes(soak::residentMemory().now) << "   " << std::flush;
        isShown = true;
    }

    void end() const {
        if (isShown) {
            std::cerr << '\r' << std::string(60, ' ') << '\r' << std::flush;
        }
    }

private:
    bool const isTerminal = isatty(STDERR_FILENO) != 0;
    bool isShown = false;
    double next = 0;
};

/** What the run took, which differs from run to run. */
struct Figures {
    double seconds = 0;
    soak::Resident warm{0, 0};
};

Figures runBlocks(soak::Soak& soak, Options const& options) {
    Figures figures;
    Progress progress;
    Clock::time_point const start = Clock::now();
    auto const isOver = [&](std::uint64_t calls) {
        bool const isCompared = calls >= fewestCalls;
        return options.seconds ? isCompared && secondsSince(start) >= *options.seconds
                               : calls >= options.calls;
    };
    std::uint64_t done = 0;
    while (!isOver(done) && soak.ledger().isSound()) {
        std::uint64_t const block = soak::Soak::blockSize;
        std::uint64_t const next = options.seconds ? block : std::min(block, options.calls - done);
        soak.runBlock(next);
        done += next;
        if (done == block) {
            figures.warm = soak::residentMemory();
        }
        progress.show(done, secondsSince(start));
    }
    progress.end();
    figures.seconds = secondsSince(start);
    return figures;
}

void printFigures(soak::Soak const& soak, Figures const& figures) {
    std::uint64_t const calls = soak.ledger()[soak::Count::callsStarted];
    soak::Resident const resident = soak::residentMemory();
    std::cout << std::fixed << std::setprecision(1) << "Time      " << figures.seconds << " s, "
              << static_cast<std::uint64_t>(static_cast<double>(calls) / figures.seconds)
              << " calls per second\n"
              << "Memory    " << inMebibytes(figures.warm.now) << " resident after the first "
              << soak::Soak::blockSize << " calls, " << inMebibytes(resident.now) << " at the end, "
              << inMebibytes(resident.peak) << " at most\n";
    if (soak.heap()) {
        std::cout << "Heap      " << soak.heap()->blocks << " blocks, " << soak.heap()->bytes
                  << " bytes whenever all calls are closed\n";
    }
}

int run(Options const& options) {
    bool const isWhole = options.fault.empty();
    soak::Soak soak(options.seed, isWhole ? soak::Fault::none : faults().at(options.fault));
    Figures const figures = runBlocks(soak, options);
    soak::Ledger const& ledger = soak.ledger();
    ledger.print(std::cout);
    if (!options.tableOnly) {
        std::cout << "Seed      " << options.seed << '\n';
        printFigures(soak, figures);
    }
    for (std::string const& finding : ledger.findings()) {
        std::cout << "FOUND " << finding << '\n';
    }
    if (!options.tableOnly && ledger.isSound()) {
        std::cout << "Every call, command and event is accounted for\n";
    }
    std::cout << std::flush;
    return ledger.isSound() && std::cout ? allHeld : someFailed;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App program("Random calls between the media channel library and DSP boards in software");
    Options options;
    declare(program, options);
    try {
        program.parse(argc, argv);
        return run(options);
    } catch (CLI::ParseError const& error) {
        return program.exit(error) == 0 ? allHeld : badInput;
    } catch (std::exception const& error) {
        std::cerr << "mc_soak: " << error.what() << '\n';
        return someFailed;
    }
}
