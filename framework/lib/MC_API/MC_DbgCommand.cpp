#include "MC_DbgCommand.h"

#include "MC_Manager.h"

#include "imc/IMC_Manager.h"

#include <cctype>
#include <climits>
#include <cstdlib>

namespace {

bool contains(std::string const& text, std::string const& word) {
    return text.find(word) != std::string::npos;
}

/** Reads a hexadecimal number that an int holds. Blanks and signs are no part of one. */
bool readHex(char const* digits, int& value) {
    if (!std::isxdigit(static_cast<unsigned char>(*digits))) {
        return false;
    }
    // A number that is too large for strtoul comes out as the largest there is.
    unsigned long const number = std::strtoul(digits, NULL, 16);
    if (number > INT_MAX) {
        return false;
    }
    value = static_cast<int>(number);
    return true;
}

} // namespace

MC_DbgCommand::MC_DbgCommand() : imc(IMC_Manager::instance(0xff)) {
    try {
        imc->registration(this, "MC");
        imc->registration(this, "help");
        imc->registration(this, IMC_Manager::prepExitCmd);
    } catch (...) {
        // IMC must not keep a command that was never finished.
        unregister();
        throw;
    }
}

MC_DbgCommand::~MC_DbgCommand() {
    unregister();
}

void MC_DbgCommand::unregister() {
    unregister("MC");
    unregister("help");
    unregister(IMC_Manager::prepExitCmd);
}

void MC_DbgCommand::unregister(std::string const& word) {
    try {
        imc->unregistration(this, word);
    } catch (...) {
        // One word that IMC does not know must not keep the others registered.
    }
}

void MC_DbgCommand::command(std::string const& text, int) {
    std::string::size_type const channel = text.find("MC Channel");
    std::string::size_type const dsp = text.find("MC Dsp");
    if (channel != std::string::npos) {
        commandChannel(text.substr(channel));
    } else if (dsp != std::string::npos) {
        commandDsp(text.substr(dsp));
    } else if (contains(text, IMC_Manager::prepExitCmd)) {
        commandChannel("All");
    } else {
        commandHelp();
    }
}

void MC_DbgCommand::commandHelp() {
    imc->answerCommand("key MC:\n"
                       "\tMC help : display this specific help\n"
                       "\tMC Channel All | <id>\n"
                       "\t\tAll  : display properties of all channels\n"
                       "\t\t<id> : display properties of channel(id) (ex: 0x1)\n"
                       "\tMC Dsp All | [<max>]\n"
                       "\t\tdisplay channel id associated with dsp\n"
                       "\t\tAll   : all dsp associated with channels\n"
                       "\t\t<max> : number of line to display\n");
}

void MC_DbgCommand::commandChannel(std::string const& argument) {
    std::string::size_type const prefix = argument.find("0x");
    if (contains(argument, "All")) {
        MC_Manager::instance()->getChannel("");
    } else if (prefix != std::string::npos) {
        MC_Manager::instance()->getChannel(argument.substr(prefix + 2));
    } else {
        imc->answerCommand("MC Channel : invalid argument\n");
    }
}

void MC_DbgCommand::commandDsp(std::string const& argument) {
    std::string::size_type const prefix = argument.find("0x");
    int maxDsp = 0;
    if (contains(argument, "All")) {
        imc->answerCommand(MC_Manager::instance()->getChannelSet(-1));
    } else if (prefix != std::string::npos && readHex(argument.c_str() + prefix + 2, maxDsp)) {
        imc->answerCommand(MC_Manager::instance()->getChannelSet(maxDsp));
    } else {
        imc->answerCommand("MC Dsp : invalid argument\n");
    }
}
