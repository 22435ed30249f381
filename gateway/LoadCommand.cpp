#include "gateway/EndingSignals.h"
#include "gateway/Subcommand.h"
#include "gateway/Text.h"
#include "gateway/capture/CaptureTap.h"
#include "gateway/load/CycleLoad.h"
#include "gateway/load/CycleReport.h"
#include "gateway/load/LoadPlan.h"
#include "gateway/load/RecordsLoad.h"
#include "gateway/load/Responder.h"

#include "host/Workstation.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

namespace {

using Json = nlohmann::ordered_json;

char const loadHelp[] =
    R"(A cycle opens a path of a DSP channel, waits for the acknowledgement, updates and closes it, and
waits for the acknowledgement. In turns with the library, the floor plays recorded messages of such
cycles to processes that do nothing but acknowledge: library / floor says how much of what the bus
can carry is left with the library and the boards.

  mcgw load                               one board, 64 outstanding, 10 s for each
  mcgw load --boards 4 --rate 500         cycles begin 500 times a second
  mcgw load --cycles 10000 --json         as one JSON object
  mcgw load --bus ipc://DIR --sid 0x10    a board that "mcgw dsp" serves already
  mcgw load --records 32768 --svg OUT     what operations cost as the library's list grows

Boards of its own are processes on a bus of its own, and end with it. SIGINT, SIGTERM and SIGHUP end
the run early, with a report of what was done.

More: docs/load.md.

Exit status: 0 when every cycle was carried out (or all of those that had begun when a signal came),
1 when one was refused or lost, the boards went away, or a picture could not be drawn, 2 for a bad
command line.)";

/** Lines of progress: for a terminal, or as JSON objects. */
class Progress {
public:
    Progress(ReportOptions const& how, EarlyEnd& itsEnd)
        : options(how), end(itsEnd), isTerminal(isatty(STDERR_FILENO) != 0) {}

    void show(CycleProgress const& now) {
        std::uint64_t const cycles = now.library + now.floor.value_or(0);
        double const rate = std::round(perSecond(cycles));
        Json details = {{"library", now.library}, {"cycles_per_second", rate}};
        std::string text = "library " + plural(now.library, "cycle");
        if (now.floor) {
            details["floor"] = *now.floor;
            text += ", floor " + plural(*now.floor, "cycle");
        }
        write(details, text + ", " + std::to_string(std::llround(rate)) + " cycles/s");
    }
    void show(std::size_t listed) {
        write({{"listed", listed}}, std::to_string(listed) + " records listed");
    }

private:
    using Clock = std::chrono::steady_clock;

    /** Since the last line. */
    double perSecond(std::uint64_t cycles) {
        auto const now = Clock::now();
        std::chrono::duration<double> const elapsed = now - std::exchange(lastTime, now);
        std::uint64_t const more = cycles - std::exchange(lastCycles, cycles);
        return static_cast<double>(more) / elapsed.count();
    }

    void write(Json const& details, std::string const& text) {
        if (options.quiet) {
            return;
        }
        if (options.json) {
            Json object = {{"type", "progress"}};
            object.update(details);
            std::cout << object.dump() << '\n' << std::flush;
            if (!std::cout) {
                // Nobody reads the report either.
                end.ask();
            }
        } else if (isTerminal) {
            std::cerr << text << '\n';
        }
    }

    ReportOptions options;
    EarlyEnd& end;
    bool isTerminal;
    Clock::time_point lastTime = Clock::now();
    std::uint64_t lastCycles = 0;
};

template <typename Result>
void print(Result const& result, LoadOptions const& options, LoadPlan const& plan,
           EarlyEnd const& end) {
    if (options.report.json) {
        std::cout << jsonOf(result, options, plan, end).dump() << '\n' << std::flush;
    } else {
        std::cout << textOf(result, options, plan, end) << std::flush;
    }
    requireWritten(std::cout);
}

int runRecordsLoad(LoadOptions const& options, LoadPlan const& plan, EarlyEnd& end,
                   host::Tap* tap) {
    RecordsResult result;
    {
        LoadSession session(options, plan, end, tap);
        Progress progress(options.report, end);
        result = runRecords(session, options, plan, end,
                            [&](std::size_t listed) { progress.show(listed); });
    }
    print(result, options, plan, end);
    if (!options.svg.empty()) {
        drawSvg(result, options.svg);
    }
    if (!options.png.empty()) {
        drawPng(result, options.png);
    }
    return isGood(result, options, end) ? allHeld : someFailed;
}

int runCyclesLoad(LoadOptions const& options, LoadPlan const& plan, EarlyEnd& end, host::Tap* tap) {
    CycleResult result;
    {
        LoadSession session(options, plan, end, tap);
        Progress progress(options.report, end);
        result = runCycles(session, options, plan, end,
                           [&](CycleProgress const& now) { progress.show(now); });
    }
    print(result, options, plan, end);
    return isGood(result, end) ? allHeld : someFailed;
}

int runLoad(LoadOptions const& options) {
    LoadPlan const plan = planOf(options);
    // Whoever reads the report may leave; the processes still have to be ended.
    std::signal(SIGPIPE, SIG_IGN);
    host::Dispatcher& loop = host::Workstation::instance().dispatcher();
    std::unique_ptr<CaptureTap> const capture = startCapture(options.capture);
    EarlyEnd end;
    EndingSignals const signals([&] {
        if (capture) {
            capture->endWaiting();
        }
        loop.post([&end] { end.ask(); });
    });
    int const status = options.records != 0 ? runRecordsLoad(options, plan, end, capture.get())
                                            : runCyclesLoad(options, plan, end, capture.get());
    if (capture) {
        capture->end();
    }
    return status;
}

/** The part of a process of the floor. */
int respond(std::string const& bus, std::vector<unsigned> const& sids) {
    host::Dispatcher loop;
    EndingSignals const signals([&loop] { loop.stop(); });
    Responder const responder(loop, bus, std::vector<std::uint8_t>(sids.begin(), sids.end()));
    loop.run();
    return allHeld;
}

void addCycleOptions(CLI::App& load, LoadOptions& options) {
    load.add_option("--outstanding", options.outstanding, "How many cycles may be under way")
        ->check(CLI::Range(std::size_t{1}, mostOutstanding))
        ->capture_default_str();
    load.add_option("--rate", options.rate,
                    "Cycles that begin per second; 0 for as fast as possible")
        ->check(CLI::Range(0.0, 1e6))
        ->capture_default_str();
    CLI::Option* const cycles =
        load.add_option("--cycles", options.cycles, "How many cycles each of the two runs")
            ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 40));
    load.add_option("--for", options.seconds, "How long each of the two runs, in seconds")
        ->check(CLI::Range(0.1, 1e6))
        ->capture_default_str()
        ->excludes(cycles);
    load.add_flag("--floor,!--no-floor", options.hasFloor,
                  "Measure the floor too, which is the rule except on a tcp bus");
}

void addBoardOptions(CLI::App& load, LoadOptions& options) {
    load.add_option("--boards", options.boards, "How many boards to start")
        ->check(CLI::Range(1U, mostBoards))
        ->capture_default_str();
    load.add_option("--channels", options.channels, "DSP channels of each board")
        ->check(CLI::Range(1U, mostChannels))
        ->capture_default_str();
    load.add_option("--processes", options.processes,
                    "Processes that the boards, and those of the floor, are shared out to; without "
                    "it one for each board, but 4 at most")
        ->check(CLI::Range(1U, mostBoards));
    load.add_option("--as", options.ownSid, "IMC address of this process")
        ->check(CLI::Range(0U, 255U))
        ->capture_default_str();
    load.add_option("--bus", options.bus,
                    "Where boards run already, ipc://DIRECTORY or tcp://HOST:PORT");
    load.add_option("--sid", options.sids, "IMC addresses of those boards")
        ->check(CLI::Range(0U, 255U))
        ->excludes("--boards")
        ->excludes("--processes");
    load.add_option("--peer", options.peers,
                    "Of a tcp bus: another process, tcp://HOST:PORT or tcp://HOST:PORT#KEY");
    load.add_option("--keys", options.keys, "Of a tcp bus: the directory that \"mcgw keys\" made");
}

void addRecordsOptions(CLI::App& load, LoadOptions& options) {
    CLI::Option* const records =
        load.add_option("--records", options.records,
                        "Instead of cycles: open so many paths and hold them, and measure what "
                        "operations cost as the library's list grows")
            ->check(CLI::Range(1U, mostRecords));
    for (char const* const other : {"--boards", "--bus", "--sid", "--outstanding", "--rate",
                                    "--cycles", "--for", "--floor"}) {
        records->excludes(other);
    }
    load.add_option("--svg", options.svg, "Of --records: draw the costs into this file")
        ->type_name("FILE")
        ->needs(records);
    load.add_option("--png", options.png, "The same as a PNG")->type_name("FILE")->needs(records);
}

} // namespace

Subcommand addLoad(CLI::App& program) {
    auto const options = std::make_shared<LoadOptions>();
    auto const responding = std::make_shared<std::vector<unsigned>>();
    CLI::App* const load = program.add_subcommand(
        "load", "Open, update and close channels through the library, and measure it");
    addBoardOptions(*load, *options);
    addCycleOptions(*load, *options);
    addRecordsOptions(*load, *options);
    addCaptureOption(*load, options->capture, "what the library sends and takes");
    load->add_flag("--json", options->report.json, "One JSON object per line");
    load->add_flag("--quiet", options->report.quiet, "No progress");
    // Hidden: how this program starts its own processes.
    load->add_option("--respond", *responding, "")->group("")->check(CLI::Range(0U, 255U));
    load->footer(loadHelp);
    return {load, [options, responding] {
                return responding->empty() ? runLoad(*options) : respond(options->bus, *responding);
            }};
}

} // namespace gateway
