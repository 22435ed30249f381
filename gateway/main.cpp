#include "gateway/CallFile.h"
#include "gateway/CallRunner.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"

#include "host/Workstation.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using gateway::allHeld;
using gateway::badInput;
using gateway::someFailed;

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

Exit status: 0 when every expectation held, 1 when one failed, 2 for a bad command line or an
error in a call file or in the configuration file, 3 when the library ended the process.)";

struct CallOptions {
    std::vector<std::string> files;
    /** The gateway's configuration file; empty for none. */
    std::string config;
    std::optional<unsigned> logLevel;
    gateway::ReportOptions report;
};

CLI::App* addCall(CLI::App& program, CallOptions& options) {
    CLI::App* const call =
        program.add_subcommand("call", "Place the calls that call files describe, and check what "
                                       "is expected of them");
    call->add_option("FILE", options.files, "Call files")->required();
    call->add_option("--log-level", options.logLevel,
                     "Level of the library's log: 2 shows operations and events, 3 also commands")
        ->check(CLI::Range(0U, 3U));
    call->add_option("--config", options.config,
                     "The gateway's configuration file (TOML); a call file's [configuration] comes "
                     "on top of it");
    call->add_flag("--json", options.report.json, "One JSON object per line");
    call->add_flag("--quiet", options.report.quiet, "Failures and summaries only");
    call->footer(callHelp);
    return call;
}

/** Each file starts with the configuration file as it then is. */
void loadConfiguration(std::string const& path) {
    if (path.empty()) {
        return;
    }
    try {
        host::Workstation::instance().loadConfiguration(path);
    } catch (std::runtime_error const& error) {
        throw gateway::CallFileError(error.what());
    }
}

int runCalls(CallOptions const& options) {
    if (options.logLevel) {
        // Nobody asks for the level of the environment, so that nobody has to hear what is bad
        // there.
        unsetenv("MC_LOG_LEVEL");
    }
    std::vector<gateway::CallFile> files;
    for (std::string const& path : options.files) {
        files.push_back(gateway::readCallFile(path));
    }
    gateway::Report report(std::cout, options.report);
    for (gateway::CallFile const& file : files) {
        report.expectFile(file.path, file.steps.size());
    }
    bool isAllHeld = true;
    for (gateway::CallFile const& file : files) {
        try {
            loadConfiguration(options.config);
        } catch (gateway::CallFileError const&) {
            if (&file != &files.front()) {
                report.end();
            }
            throw;
        }
        gateway::CallRunner runner(file, report, options.logLevel);
        isAllHeld = runner.run().failed == 0 && isAllHeld;
    }
    report.end();
    if (!std::cout) {
        throw std::runtime_error("the report can't be written");
    }
    return isAllHeld ? allHeld : someFailed;
}

/** All subcommands but `call`, as far as this build has them. */
std::vector<gateway::Subcommand> addOthers(CLI::App& program) {
#ifdef MC_HAS_BUS
    return {gateway::addDsp(program), gateway::addKeys(program)};
#else
    static_cast<void>(program);
    return {};
#endif
}

int runOther(gateway::Subcommand const& subcommand) {
    try {
        return subcommand.run();
    } catch (std::invalid_argument const& error) {
        std::cerr << "mcgw: " << error.what() << '\n';
        return badInput;
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App program("The media gateway's Session Manager on a workstation");
    CallOptions options;
    addCall(program, options);
    std::vector<gateway::Subcommand> const others = addOthers(program);
    try {
        program.parse(argc, argv);
        if (program.get_subcommands().empty()) {
            throw CLI::RequiredError::Subcommand(1);
        }
        for (gateway::Subcommand const& other : others) {
            if (other.app->parsed()) {
                return runOther(other);
            }
        }
        return runCalls(options);
    } catch (CLI::ParseError const& error) {
        return program.exit(error) == 0 ? allHeld : badInput;
    } catch (gateway::CallFileError const& error) {
        std::cerr << error.what() << '\n';
        return badInput;
    } catch (std::exception const& error) {
        std::cerr << "mcgw: " << error.what() << '\n';
        return someFailed;
    }
}
