#include "gateway/EndingSignals.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"
#include "gateway/capture/BusCapture.h"

#include "host/bus/BusAddress.h"
#include "host/imc/Dispatcher.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace gateway {

namespace {

char const captureHelp[] =
    R"(Ends with SIGINT, SIGTERM or SIGHUP, after --count messages or --for seconds, or when nobody
reads the pipe any more. Records messages in the order in which they were sent, each with the time
of its sender, and says where some are missing.

  mcgw capture field.pcapng
  mcgw capture - | wireshark -k -i -

What is printed goes to standard error when FILE is "-".

More: docs/captures.md.

Exit status: 0 when the capture ended in one of these ways, 1 when the bus can't be joined or the
file can't be written to its end, 2 for a bad command line or a file that can't be begun.)";

struct CaptureOptions {
    std::string file;
    BusCaptureOptions capture;
    std::optional<unsigned> seconds;
    unsigned hold = 100;
    ReportOptions report;
};

std::unique_ptr<CaptureWriter> startWriter(std::string const& path) {
    try {
        return std::make_unique<CaptureWriter>(path);
    } catch (std::runtime_error const& error) {
        throw std::invalid_argument(error.what());
    }
}

int run(CaptureOptions const& options) {
    BusCaptureOptions capture = options.capture;
    capture.hold = std::chrono::milliseconds(options.hold);
    // Before a capture that is there already is replaced for nothing.
    host::parseBusAddress(capture.bus.url);
    // Whoever reads a pipe may leave, which ends the capture.
    std::signal(SIGPIPE, SIG_IGN);
    // Before the signals: a pipe may have to wait for its reader, which a signal is to end.
    auto const writer = startWriter(options.file);
    host::Dispatcher loop;
    std::unique_ptr<BusCapture> capturing;
    EndingSignals const signals([&] {
        writer->endWaiting();
        loop.post([&] { capturing->finish(); });
    });
    std::ostream& out = options.file == "-" ? std::cerr : std::cout;
    Report report(out, options.report);
    report.startClock();
    capturing = std::make_unique<BusCapture>(loop, report, *writer, capture);
    if (options.seconds) {
        loop.postAfter(std::chrono::seconds(*options.seconds), [&] { capturing->finish(); });
    }
    loop.run();
    std::string const fault = capturing->end();
    if (capturing->hasLostReader()) {
        std::cerr << "mcgw: nobody reads " << options.file << " any more: the capture ended\n";
    }
    if (!fault.empty()) {
        throw std::runtime_error(fault);
    }
    requireWritten(out);
    return allHeld;
}

} // namespace

Subcommand addCapture(CLI::App& program) {
    auto const options = std::make_shared<CaptureOptions>();
    options->capture.bus.name = "mcgw capture";
    CLI::App* const capture =
        program.add_subcommand("capture", "Record what the processes of the bus send");
    capture
        ->add_option("FILE.pcapng", options->file,
                     "Where to record; - for standard output, may be a named pipe")
        ->required();
    addBusOptions(*capture, options->capture.bus);
    capture->add_option("--count", options->capture.count, "End after so many messages")
        ->check(CLI::PositiveNumber);
    capture->add_option("--for", options->seconds, "End after so many seconds")
        ->check(CLI::Range(1U, 31536000U));
    capture
        ->add_option("--hold", options->hold,
                     "How long a message waits for earlier ones of other senders, ms")
        ->check(CLI::Range(0U, 60000U))
        ->capture_default_str();
    capture->add_flag("--json", options->report.json, "One JSON object per line");
    capture->add_flag("--quiet", options->report.quiet, "The summary only");
    capture->footer(captureHelp);
    return {capture, [options] { return run(*options); }};
}

} // namespace gateway
