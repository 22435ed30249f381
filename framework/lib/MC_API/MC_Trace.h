#ifndef MC_TRACE_H
#define MC_TRACE_H

#include "MC_Log.h"
#include "MC_Text.h"

#include <cstddef>
#include <string>

/** What a trace shows; it is written when the log's level exceeds the number. */
enum MC_TraceKind : unsigned int {
    MC_TRACE_OPERATIONS = 1, ///< operations of the client, and events
    MC_TRACE_COMMANDS = 2    ///< the individual DSP commands
};

/**
 * Whether traces of this kind are written. Ask before a text is built. Nothing is written without a
 * log, which is the last thing that the manager's construction creates.
 */
inline bool MC_traces(MC_TraceKind kind) {
    return pMClog != NULL && (pMClog->level & 3U) > kind;
}

/** Closes a text and writes it as a trace, with the prefix of this library's traces. */
void MC_trace(MC_Text& text, char const* source, int line);

/**
 * Writes an error, whatever the level. Nothing while there is no log: an event may come as soon as
 * its observer is registered, and an error in it must not end the process.
 */
void MC_error(std::string const& text, std::string const& detail, char const* source, int line);

#endif
