#ifndef GATEWAY_CONTROL_CONTROLSERVER_H
#define GATEWAY_CONTROL_CONTROLSERVER_H

#include "host/bus/LockFile.h"
#include "host/imc/Dispatcher.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace gateway {

/**
 * What a console wants, and where the answers go; kept as long as answers are to come. One that is
 * given up without an end is ended with an error that says so. Used on the loop's thread.
 */
class ControlExchange {
public:
    virtual ~ControlExchange() = default;

    /** @param text any bytes; what is no UTF-8 reaches the console as U+FFFD */
    virtual void answer(std::string const& text) = 0;

    /** An entry of a call's report, as `mcgw call --json` writes it. */
    virtual void report(nlohmann::ordered_json const& entry) = 0;

    /**
     * Nothing more comes: what follows, a second end included, goes nowhere.
     * @param error empty when there is none
     * @param status exit status, of a call
     */
    virtual void end(std::string const& error = "", std::optional<int> status = {}) = 0;

    /** The console left, or the end was said; answers go nowhere. */
    virtual bool isGone() const = 0;
};

/** A line that an operator typed, or a call file. */
struct ControlRequest {
    /** Number of the console, 1 for the first one; never given again. */
    int console = 0;
    /** Of a line. */
    std::string line{};
    /** Text of a call file. */
    std::string call{};
    /** How the report names the call file. */
    std::string name{};
    bool isCall = false;
};

class ControlSockets;
class ControlState;

/**
 * The control socket of a session: consoles attach to it. A thread of its own serves the sockets,
 * so that a console that is slow, or talks nonsense, never holds up the loop; requests are handed
 * over as tasks of the loop.
 */
class ControlServer {
public:
    using Json = nlohmann::ordered_json;
    /** Called on the loop's thread; may destroy the server. */
    using Handler = std::function<void(ControlRequest const&, std::shared_ptr<ControlExchange>)>;

    /** Consoles at a time; one more is refused with a line that says so. */
    static constexpr std::size_t mostConsoles = 64;
    /**
     * What may wait for a console that does not read, beside its longest answer; with more it
     * loses its connection at the next thing that is said to it.
     */
    static constexpr std::size_t mostWaiting = std::size_t{4} * 1024 * 1024;
    /** Requests of a console without their end; with so many no more is read from it. */
    static constexpr std::size_t mostOpen = 64;

    /**
     * Makes the socket; its directory too when that is missing, but not those above it.
     * @param greeting what a console reads of the session: its members "name" and "pid" name the
     *        holder to whoever wants the same path
     * @throw std::invalid_argument when the path can't be a socket's: too long, something else is
     *        there, or others than this user may change its directory
     * @throw std::runtime_error when a living session holds the path, or the system refuses
     */
    ControlServer(host::Dispatcher& loop, std::string const& path, Json const& greeting,
                  Handler handler);
    /**
     * Ends what is open with an error. Waits up to half a second for consoles to read what waits
     * for them. On the loop's thread, or when no loop runs.
     */
    ~ControlServer();
    ControlServer(ControlServer const&) = delete;
    ControlServer& operator=(ControlServer const&) = delete;

    /** Whether the console is told what happens; it isn't at first. */
    void watch(int console, bool on);

    /** Sends it to all consoles that watch. From any thread. */
    void tell(Json const& what);

    std::string const& path() const { return socketPath; }

    /** How many consoles are attached. */
    std::size_t consoles() const;

    /** What went wrong so far, by cause; each cause once, as soon as it has occurred. */
    std::map<std::string, std::uint64_t> counters() const;

private:
    std::string socketPath;
    std::optional<host::LockFile> lock;
    std::shared_ptr<ControlState> state;
    std::unique_ptr<ControlSockets> sockets;
    std::thread server;
};

/**
 * The control socket of the session with this IMC address: in the directory of an ipc bus, and for
 * a tcp bus in that of this user's own.
 * @param busUrl empty for this user's bus on this machine
 * @throw std::invalid_argument when it is no address of a bus
 */
std::string defaultControlPath(std::string const& busUrl, unsigned char sid);

} // namespace gateway

#endif
