#ifndef GATEWAY_SUBCOMMAND_H
#define GATEWAY_SUBCOMMAND_H

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace host {
struct BusOptions;
}

namespace gateway {

/** Exit statuses of the program; exitStatusOfFatal stands with the runner. */
enum Status { allHeld = 0, someFailed = 1, badInput = 2 };

/** A part of the program, in a file of its own. */
struct Subcommand {
    CLI::App* app;
    /**
     * @return a Status
     * @throw std::invalid_argument for a bad command line
     */
    std::function<int()> run;
};

/** `mcgw call`. */
Subcommand addCall(CLI::App& program);

/** `mcgw msc`. */
Subcommand addMsc(CLI::App& program);

/** `mcgw dsp`. */
Subcommand addDsp(CLI::App& program);

/** `mcgw load`. */
Subcommand addLoad(CLI::App& program);

/** `mcgw keys`. */
Subcommand addKeys(CLI::App& program);

/** `mcgw capture`. */
Subcommand addCapture(CLI::App& program);

/** `mcgw inject`. */
Subcommand addInject(CLI::App& program);

/** `mcgw replay`. */
Subcommand addReplay(CLI::App& program);

/**
 * The options of every subcommand that joins the bus: --bus, --peer, --keys, --name.
 * @param options with the name that is the default; gets the address that is; outlives the
 * program's parsing
 */
void addBusOptions(CLI::App& command, host::BusOptions& options);

/**
 * The option --capture.
 * @param path empty unless it is given; outlives the program's parsing
 * @param messages what is recorded, such as "every message"
 */
void addCaptureOption(CLI::App& command, std::string& path, std::string const& messages);

/** `mcgw console`. */
Subcommand addConsole(CLI::App& program);

/** `mcgw session`. */
Subcommand addSession(CLI::App& program);

} // namespace gateway

#endif
