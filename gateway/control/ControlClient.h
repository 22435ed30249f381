#ifndef GATEWAY_CONTROL_CONTROLCLIENT_H
#define GATEWAY_CONTROL_CONTROLCLIENT_H

#include "gateway/control/Framing.h"
#include "gateway/control/Socket.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace gateway {

/** A console's side of a control socket. Of one thread. */
class ControlClient {
public:
    using Json = nlohmann::ordered_json;

    /** @throw std::runtime_error when no session is there, or it does not take this console */
    explicit ControlClient(std::string const& path);

    /** What the session says of itself. */
    Json const& session() const { return greeting; }

    /** Sends a line that an operator typed. @return the number of the request */
    std::uint64_t type(std::string const& line);

    /** Sends a call file, as text. @return the number of the request */
    std::uint64_t call(std::string const& text, std::string const& name);

    /** @name For a loop that waits for more than the session */
    /// @{
    int descriptor() const { return connection.get(); }
    /** The events of poll() after which exchange() has something to do. */
    short wanted() const;
    /** Sends and reads what is possible without waiting. */
    void exchange();
    /// @}

    /** The next message that was read: replies, and what is told. Does not wait. */
    std::optional<Json> next();

    /** The same, waiting for it. @return nothing when the limit passed or the session went away */
    std::optional<Json> await(std::chrono::milliseconds limit);

    /** The session went away; messages that were read before may be left. */
    bool hasEnded() const { return isEnded; }

private:
    void greet(std::string const& path);
    std::uint64_t send(Json request);
    void write();
    void read();

    OwnedSocket connection;
    Json greeting;
    LineReader reader;
    std::string waiting;
    std::uint64_t lastRequest = 0;
    bool isEnded = false;
};

} // namespace gateway

#endif
