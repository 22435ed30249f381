#include "gateway/Subcommand.h"

#include "host/bus/Bus.h"
#include "host/bus/BusAddress.h"

#include <CLI/CLI.hpp>

namespace gateway {

void addBusOptions(CLI::App& command, host::BusOptions& options) {
    options.url = host::defaultBusUrl();
    command.add_option(
        "--bus", options.url,
        "Where the bus is: ipc://DIRECTORY, which is the default, or tcp://HOST:PORT");
    // One for each --peer: what follows may be a positional.
    command
        .add_option("--peer", options.peers,
                    "Of a tcp bus: another process, tcp://HOST:PORT or tcp://HOST:PORT#KEY")
        ->allow_extra_args(false);
    command.add_option("--keys", options.keys,
                       "Of a tcp bus: the directory that \"mcgw keys\" made");
    command.add_option("--name", options.name, "What others see of this process")
        ->capture_default_str();
}

} // namespace gateway
