#ifndef GATEWAY_CONTROL_COMPLETION_H
#define GATEWAY_CONTROL_COMPLETION_H

#include <functional>
#include <string>
#include <vector>

namespace gateway {

/** What Tab makes of a line. */
struct Completion {
    /** What all that may stand there have in common beyond what is typed. */
    std::string insertion{};
    /** What may stand there, where that are several and nothing can be inserted. */
    std::vector<std::string> choices{};
};

/**
 * @param typed the line up to the cursor
 * @param names gives the names of the session's records; called where one is due
 */
Completion complete(std::string const& typed,
                    std::function<std::vector<std::string>()> const& names);

} // namespace gateway

#endif
