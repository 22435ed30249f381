#include "gateway/CallFile.h"
#include "gateway/CallRunner.h"
#include "gateway/LocalSite.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"
#include "gateway/capture/CaptureTap.h"

#include "host/Workstation.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

namespace {

char const callHelp[] =
    R"(A call file is TOML: boards, channels, and steps with what is expected of each.

  [[board]]
  ip = "10.0.0.1"
  sid = 0x10

  [[channel]]
  name = "caller-in"
  mediaGateway = "10.0.0.1"
  direction = "in"
  codec = "G.711 A-law"
  rtpRemote = "10.0.9.1:4000"

  [[step]]
  open = "caller-in"
  expect.callbacks = ["ackEvent channel=caller-in error=0"]
  expect.state = "Voice_Open"

  [[step]]
  close = "caller-in"
  expect.callbacks = ["ackErrorEvent channel=none"]

Examples: examples/calls/. All keys: docs/call-files.md.

Exit status: 0 when every expectation held, 1 when one failed or the capture could not be written
to its end, 2 for a bad command line or an error in a call file or in the configuration file, 3 when
the library ended the process.)";

struct CallOptions {
    std::vector<std::string> files;
    /** The gateway's configuration file; empty for none. */
    std::string config;
    /** Where to record the messages; empty for nowhere. */
    std::string capture;
    std::optional<unsigned> logLevel;
    ReportOptions report;
};

/** Each file starts with the configuration file as it then is. */
void loadConfiguration(std::string const& path) {
    if (path.empty()) {
        return;
    }
    try {
        host::Workstation::instance().loadConfiguration(path);
    } catch (std::runtime_error const& error) {
        throw CallFileError(error.what());
    }
}

int runCalls(CallOptions const& options) {
    if (options.logLevel) {
        // Nobody asks for the level of the environment, so that nobody has to hear what is bad
        // there.
        unsetenv("MC_LOG_LEVEL");
    }
    std::vector<CallFile> files;
    for (std::string const& path : options.files) {
        files.push_back(readCallFile(path));
    }
    Report report(std::cout, options.report);
    for (CallFile const& file : files) {
        report.expectFile(file.path, file.steps.size());
    }
    std::unique_ptr<CaptureTap> const capture = startCapture(options.capture);
    bool isAllHeld = true;
    for (CallFile const& file : files) {
        try {
            loadConfiguration(options.config);
        } catch (CallFileError const&) {
            if (&file != &files.front()) {
                report.end();
            }
            throw;
        }
        CallRunner runner(std::make_unique<LocalSite>(), file, report, options.logLevel);
        // Each file has a transport of its own.
        host::Workstation::instance().transport().setTap(capture.get());
        isAllHeld = runner.run().failed == 0 && isAllHeld;
    }
    report.end();
    if (capture) {
        capture->end();
    }
    requireWritten(std::cout);
    return isAllHeld ? allHeld : someFailed;
}

} // namespace

Subcommand addCall(CLI::App& program) {
    auto const options = std::make_shared<CallOptions>();
    CLI::App* const call =
        program.add_subcommand("call", "Place the calls that call files describe, and check what "
                                       "is expected of them");
    call->add_option("FILE", options->files, "Call files")->required();
    call->add_option("--log-level", options->logLevel,
                     "Level of the library's log: 2 shows operations and events, 3 also commands")
        ->check(CLI::Range(0U, 3U));
    call->add_option("--config", options->config,
                     "The gateway's configuration file (TOML); a call file's [configuration] comes "
                     "on top of it");
    addCaptureOption(*call, options->capture, "every message");
    call->add_flag("--json", options->report.json, "One JSON object per line");
    call->add_flag("--quiet", options->report.quiet, "Failures and summaries only");
    call->footer(callHelp);
    return {call, [options] { return runCalls(*options); }};
}

} // namespace gateway
