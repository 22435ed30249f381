#ifndef MC_LOG_H
#define MC_LOG_H

#include "MC_DbgCommand.h"

#include "debug/DBG_Log.h"

#include <string>

/**
 * The library's log: marks every error with "MC - ". It carries the console command, which
 * therefore exists as long as the log does. Created and destroyed with the manager.
 */
class MC_Log : public DBG_Log {
public:
    /** Creates the log when there is none; reach it through pMClog. */
    static void instance();

    /** Destroys the log when there is one. Whoever logs afterwards is in error. */
    static void desinstance();

    ~MC_Log() override;

    /**
     * @param message what failed; written behind the prefix
     * @param detail the cause: the text of an exception, or the operation that called
     * @param file source name of the module that logs
     * @param line fixed number of the call
     */
    void error(std::string const& message, std::string const& detail, std::string const& file,
               int line) const override;

private:
    MC_Log();

    MC_DbgCommand dbgCommand;
};

/** The one log; null until MC_Log::instance has run. */
extern MC_Log* pMClog;

#endif
