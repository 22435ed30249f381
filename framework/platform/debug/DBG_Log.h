#ifndef DBG_LOG_H
#define DBG_LOG_H

#include <string>

/**
 * A log channel of the board. Modules derive their own log from it.
 *
 * Slot order of the virtual operations: destructor, error, trace. All are defined by the platform
 * and called on the thread of the module that logs. None reports a failure of its own.
 */
class DBG_Log {
public:
    /** Refers `level` to the platform's level word. */
    DBG_Log();
    virtual ~DBG_Log();

    /**
     * Writes an error, whatever the level.
     * @param message what failed
     * @param detail the cause; may be empty
     * @param file source name of the module that logs
     * @param line number of the call in that source
     *
     * A NUL character inside a text belongs to the text.
     */
    virtual void error(std::string const& message, std::string const& detail,
                       std::string const& file, int line) const;

    /** Writes a trace. The caller has tested the level. Arguments as for `error`. */
    virtual void trace(std::string const& text, std::string const& file, int line) const;

    DBG_Log(DBG_Log const&) = delete;
    DBG_Log& operator=(DBG_Log const&) = delete;

    /**
     * The platform's level word, which may change at any time. The two low bits are the trace
     * level: 2 and above shows operations and events, 3 also the individual DSP commands.
     */
    unsigned int const& level;
};

#endif
