#include "gateway/CallFileError.h"
#include "gateway/Subcommand.h"

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <stdexcept>
#include <vector>

namespace {

using gateway::Subcommand;

/** All subcommands that this build has. */
std::vector<Subcommand> addAll(CLI::App& program) {
    return {
        gateway::addCall(program),    gateway::addMsc(program),
#ifdef MC_HAS_BUS
        gateway::addDsp(program),     gateway::addKeys(program),    gateway::addConsole(program),
        gateway::addCapture(program), gateway::addInject(program),  gateway::addReplay(program),
        gateway::addLoad(program),    gateway::addSession(program),
#endif
    };
}

int runChosen(std::vector<Subcommand> const& subcommands) {
    for (Subcommand const& each : subcommands) {
        if (each.app->parsed()) {
            return each.run();
        }
    }
    throw CLI::RequiredError::Subcommand(1);
}

/**
 * Of standard input, output and error, one that is closed would be the number of the next socket,
 * which then got what is printed. What is put there instead can't be written, and is at its end.
 */
void occupyStandardStreams() {
    int number = 0;
    do {
        number = open("/dev/null", O_RDONLY);
    } while (number >= 0 && number <= STDERR_FILENO);
    if (number >= 0) {
        close(number);
    }
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardStreams();
    CLI::App program("The media gateway's Session Manager on a workstation");
    std::vector<Subcommand> const subcommands = addAll(program);
    try {
        program.parse(argc, argv);
        return runChosen(subcommands);
    } catch (CLI::ParseError const& error) {
        return program.exit(error) == 0 ? gateway::allHeld : gateway::badInput;
    } catch (gateway::CallFileError const& error) {
        std::cerr << error.what() << '\n';
        return gateway::badInput;
    } catch (std::invalid_argument const& error) {
        std::cerr << "mcgw: " << error.what() << '\n';
        return gateway::badInput;
    } catch (std::exception const& error) {
        std::cerr << "mcgw: " << error.what() << '\n';
        return gateway::someFailed;
    }
}
