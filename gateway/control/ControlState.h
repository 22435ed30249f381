#ifndef GATEWAY_CONTROL_CONTROLSTATE_H
#define GATEWAY_CONTROL_CONTROLSTATE_H

#include "gateway/control/ControlServer.h"

#include "host/bus/Wakeup.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace gateway {

/** What can go wrong at a control socket without ending it. */
enum class ControlFault : std::size_t {
    /** A line that is no request. */
    badRequest,
    /** A connection that was not taken: too many, or another user's. */
    consoleRefused,
    /** A console that did not read lost its connection. */
    consoleSlow,
    /** The session failed at a request in a way that it did not foresee. */
    requestFailed,
    /** The system refused an operation of the server's thread, which went on. */
    systemFault
};

constexpr std::size_t controlFaults = static_cast<std::size_t>(ControlFault::systemFault) + 1;

/** A console that is attached, as the loop and the server's thread see it: under the mutex. */
struct AttachedConsole {
    int number = 0;
    /** Lines that wait; the first so many bytes of them are sent. */
    std::string waiting{};
    std::size_t sent = 0;
    /** Of what was said at once, the longest: it may wait beside all else. */
    std::size_t longest = 0;
    bool watches = false;
    /** Nothing goes to it any more; its connection is about to be closed. */
    bool isGone = false;
    /** Requests without their end: how the console calls them, by our own number. */
    std::map<std::uint64_t, ControlServer::Json> open{};
};

/**
 * What the loop and the server's thread share. Whoever holds it may use it when the server is gone:
 * then nothing happens.
 */
class ControlState : public std::enable_shared_from_this<ControlState> {
public:
    using Json = ControlServer::Json;
    using Console = std::shared_ptr<AttachedConsole>;

    ControlState(host::Dispatcher& dispatcher, Json const& session, ControlServer::Handler toDo);

    /** @name Of the server's thread */
    /// @{
    /** A new console, with the greeting on its way; null when there are too many. */
    Console attach();
    /** Its connection is closed. */
    void detach(AttachedConsole& console);
    /** Hands a line of the console to the loop, or answers it when it is no request. */
    void take(Console const& console, std::string const& line);
    /** Answers what is no request, and has no number to be answered by. */
    void refuse(AttachedConsole& console, std::string const& error);
    /// @}

    /** @name Of exchanges: a request that was ended, or whose console left, says nothing more */
    /// @{
    /** Each value in a line of its own, and all of them or none. */
    void send(AttachedConsole& console, std::uint64_t request, char const* key,
              std::vector<Json> const& values);
    void end(AttachedConsole& console, std::uint64_t request, Json const& more);
    bool isOpen(AttachedConsole const& console, std::uint64_t request);
    /// @}

    void watch(int console, bool on);
    void tell(Json const& what);
    /** Ends every open request; nothing is handed to the loop any more. */
    void close();
    std::size_t consoles();

    void count(ControlFault fault);
    std::map<std::string, std::uint64_t> counters();

    std::mutex mutex;
    host::Wakeup wakeup;
    /** Under the mutex. */
    bool isClosed = false;

private:
    void append(AttachedConsole& console, std::string const& lines);
    void appendRefusal(AttachedConsole& console, std::string const& error);
    void appendEnd(AttachedConsole& console, Json const& id, Json const& more);
    void hand(Console const& console, Json const& object);
    void call(ControlRequest const& request, std::shared_ptr<ControlExchange> const& exchange);

    host::Dispatcher& loop;
    Json greeting;
    /** @name Under the mutex */
    /// @{
    std::shared_ptr<ControlServer::Handler const> handler;
    std::map<int, Console> attached;
    std::array<std::uint64_t, controlFaults> faults{};
    int lastConsole = 0;
    std::uint64_t lastRequest = 0;
    /// @}
};

} // namespace gateway

#endif
