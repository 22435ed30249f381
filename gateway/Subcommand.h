#ifndef GATEWAY_SUBCOMMAND_H
#define GATEWAY_SUBCOMMAND_H

#include <functional>

namespace CLI {
class App;
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

/** `mcgw keys`. */
Subcommand addKeys(CLI::App& program);

} // namespace gateway

#endif
