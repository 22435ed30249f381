#include "gateway/Subcommand.h"

#include "host/bus/BusKeys.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

namespace gateway {

namespace {

char const keysHelp[] =
    R"(DIR/secret.key   the secret key; stays here, for its owner's eyes only
DIR/public.key   the public key; copy it to each peer, as its DIR/peers/NAME.pub
DIR/peers/       the public keys of the peers that may talk to this machine

Exit status: 0 when the keys were made, 1 when they can't be; keys that exist are never replaced.)";

int run(std::string const& directory) {
    std::string const key = host::BusKeys::make(directory);
    std::cout << "public key: " << key << '\n'
              << "copy " << directory << "/public.key to each peer, as peers/NAME.pub of its keys, "
              << "and its own to " << directory << "/peers/NAME.pub\n";
    return allHeld;
}

} // namespace

Subcommand addKeys(CLI::App& program) {
    auto const directory = std::make_shared<std::string>();
    CLI::App* const keys =
        program.add_subcommand("keys", "Make a pair of keys for a bus between machines");
    keys->add_option("DIR", *directory, "Directory of the keys")->required();
    keys->footer(keysHelp);
    return {keys, [directory] { return run(*directory); }};
}

} // namespace gateway
