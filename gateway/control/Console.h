#ifndef GATEWAY_CONTROL_CONSOLE_H
#define GATEWAY_CONTROL_CONSOLE_H

#include "gateway/control/ControlClient.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace gateway {

/** Where a console shows things: whole lines. */
struct ConsoleOutput {
    std::function<void(std::string const&)> show{};
    std::function<void(std::string const&)> complain{};
};

/** What an operator's console makes of lines and of what a session sends. */
class Console {
public:
    /** @param session stays valid as long as the console */
    Console(ControlClient& session, bool json, ConsoleOutput output);

    /** An operator typed the line. @return false when the operator wants to leave */
    bool typed(std::string const& line);

    /** The same of one that may have been too long. */
    bool typed(LineReader::Line const& line);

    /** Shows the messages that were read. */
    void takeMessages();

    /** The end of a request is still to come. */
    bool isWaiting() const { return !open.empty(); }

    /** A line was answered with an error, or an expectation of a call failed. */
    bool hasFailed() const { return isFailed; }

    /** The session went away, and no operator asked it to here. Says so. */
    bool isLeftAlone();

    /** The names of the session's channels; none when it does not tell them soon. */
    std::vector<std::string> recordNames();

private:
    using Json = ControlClient::Json;

    void sendCall(std::string const& path);
    void take(Json const& message);
    void takeEnd(Json const& message);
    void complain(std::string const& error);

    ControlClient& client;
    bool const isJson;
    ConsoleOutput const output;
    /** The lines whose end is to come, by their request. */
    std::map<std::uint64_t, std::string> open;
    /** Messages that came while others were waited for. */
    std::deque<Json> postponed;
    bool isFailed = false;
    bool isEndAsked = false;
};

} // namespace gateway

#endif
