#include "gateway/Subcommand.h"

#include <CLI/CLI.hpp>

namespace gateway {

void addCaptureOption(CLI::App& command, std::string& path, std::string const& messages) {
    command
        .add_option("--capture", path,
                    "Record " + messages + " in this pcapng file, for Wireshark and mcgw msc")
        ->type_name("FILE.pcapng");
}

} // namespace gateway
