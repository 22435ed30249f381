#include "gateway/BoardProcess.h"
#include "gateway/EndingSignals.h"
#include "gateway/FaultRule.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"
#include "gateway/capture/CaptureTap.h"

#include "host/bus/BusAddress.h"
#include "host/imc/Dispatcher.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace gateway {

namespace {

std::string helpText() {
    return std::string(R"(Ends with SIGINT, SIGTERM or SIGHUP, and prints what was counted.

)") + faultRuleHelp +
           R"(

More: docs/bus.md.

Exit status: 0 when it was ended by a signal, 1 when the bus can't be joined, a board's address is
served already, other processes turn out to keep all of them, or the capture could not be written to
its end, 2 for a bad command line.)";
}

struct DspOptions {
    BoardProcessOptions process;
    std::vector<unsigned> sids{0x10};
    unsigned ackDelay = 0;
    std::vector<std::string> faults;
    /** Where to record the messages; empty for nowhere. */
    std::string capture;
    ReportOptions report;
};

int run(DspOptions const& options) {
    BoardProcessOptions process = options.process;
    process.sids.assign(options.sids.begin(), options.sids.end());
    process.ackDelay = std::chrono::milliseconds(options.ackDelay);
    for (std::string const& text : options.faults) {
        process.faults.push_back(parseFaultRule(text));
    }
    // Before a capture that is there already is replaced for nothing.
    host::parseBusAddress(process.bus.url);
    std::unique_ptr<CaptureTap> const capture = startCapture(options.capture);
    process.watcher = capture.get();
    host::Dispatcher loop;
    EndingSignals const signals([&] {
        if (capture) {
            capture->endWaiting();
        }
        loop.stop();
    });
    Report report(std::cout, options.report);
    report.startClock();
    BoardProcess boards(loop, report, process);
    loop.run();
    bool const isLost = boards.hasLostAll();
    boards.end();
    if (capture) {
        capture->end();
    }
    requireWritten(std::cout);
    return isLost ? someFailed : allHeld;
}

} // namespace

Subcommand addDsp(CLI::App& program) {
    auto const options = std::make_shared<DspOptions>();
    options->process.bus.name = "mcgw dsp";
    CLI::App* const dsp =
        program.add_subcommand("dsp", "Serve DSP boards in software, as a process on the bus");
    addBusOptions(*dsp, options->process.bus);
    // There is no positional, so that several may follow one --peer.
    dsp->get_option("--peer")->allow_extra_args();
    dsp->add_option("--sid", options->sids, "IMC addresses of the boards, one board for each")
        ->check(CLI::Range(0U, 255U))
        ->capture_default_str();
    dsp->add_option("--channels", options->process.channels, "DSP channels of each board")
        ->check(CLI::Range(1U, 256U))
        ->capture_default_str();
    dsp->add_option("--ack-delay", options->ackDelay, "How long a board takes to acknowledge, ms")
        ->check(CLI::Range(0U, 3600000U))
        ->capture_default_str();
    dsp->add_option("--fault", options->faults, "What goes wrong, by rule; see below");
    addCaptureOption(*dsp, options->capture, "every message that the boards take and send");
    dsp->add_flag("--json", options->report.json, "One JSON object per line");
    dsp->add_flag("--quiet", options->report.quiet, "What was counted only");
    dsp->footer(helpText());
    return {dsp, [options] { return run(*options); }};
}

} // namespace gateway
