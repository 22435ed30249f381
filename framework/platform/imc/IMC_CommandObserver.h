#ifndef IMC_COMMANDOBSERVER_H
#define IMC_COMMANDOBSERVER_H

#include <string>

/**
 * Receiver of an operator's console commands. Its client derives from it and registers an object
 * with IMC_Manager::registration; the client keeps the object and unregisters it before its end.
 *
 * The destructor is defined by the platform.
 */
class IMC_CommandObserver {
public:
    virtual ~IMC_CommandObserver();

    /**
     * An operator typed a command whose word this observer is registered for. Called by the
     * platform on the thread that delivers IMC messages. Answers go back with
     * IMC_Manager::answerCommand during the call.
     * @param text the whole command line, the word included
     * @param console the platform's number of the console that asked
     */
    virtual void command(std::string const& text, int console) = 0;
};

#endif
