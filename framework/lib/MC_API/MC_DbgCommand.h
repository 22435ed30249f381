#ifndef MC_DBGCOMMAND_H
#define MC_DBGCOMMAND_H

#include "imc/IMC_CommandObserver.h"

#include <string>

class IMC_Manager;

/**
 * The console command "MC": shows an operator the channels and the DSPs that carry them. Answers
 * the console's "help" too, and lists all channels when the process is about to exit.
 *
 * Registered with IMC from its construction to its destruction.
 */
class MC_DbgCommand : public IMC_CommandObserver {
public:
    /** @throw std::runtime_error when IMC refuses the registration */
    MC_DbgCommand();
    ~MC_DbgCommand() override;

    MC_DbgCommand(MC_DbgCommand const&) = delete;
    MC_DbgCommand& operator=(MC_DbgCommand const&) = delete;

    /**
     * Answers a command line through IMC_Manager::answerCommand. Builds the manager when there is
     * none yet.
     */
    void command(std::string const& text, int console) override;

private:
    void commandHelp();
    void commandChannel(std::string const& argument);
    void commandDsp(std::string const& argument);
    void unregister();
    void unregister(std::string const& word);

    IMC_Manager* imc;
};

#endif
