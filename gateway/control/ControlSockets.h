#ifndef GATEWAY_CONTROL_CONTROLSOCKETS_H
#define GATEWAY_CONTROL_CONTROLSOCKETS_H

#include "gateway/control/ControlState.h"
#include "gateway/control/Framing.h"
#include "gateway/control/Socket.h"

#include <poll.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/** The sockets of a control server, and what its thread does with them. */
class ControlSockets {
public:
    /**
     * Listens at the path, which nobody else uses. Its file is its owner's alone.
     * @throw std::runtime_error when the system refuses
     */
    ControlSockets(std::shared_ptr<ControlState> shared, std::string const& path);

    /** Until the state is closed, and what waits is sent, or half a second has passed. */
    void serve();

private:
    struct Connection {
        Connection(int number, ControlState::Console attached)
            : socket(number), console(std::move(attached)) {}

        OwnedSocket socket;
        ControlState::Console console;
        LineReader reader;
        /** Nothing more is read. */
        bool isInputEnded = false;
        /** And all that was read is taken. */
        bool isDrained = false;
    };
    using Connections = std::vector<std::unique_ptr<Connection>>;

    std::vector<pollfd> watched();
    short wanted(Connection& connection);
    int patience() const;
    void accept();
    void welcome(int number);
    void serve(Connection& connection, short events);
    void read(Connection& connection);
    void takeLines(Connection& connection);
    void takeEnd(Connection& connection);
    void write(Connection& connection);
    void leave(Connection& connection);
    void dropGone();
    bool isFinished();

    std::shared_ptr<ControlState> state;
    OwnedSocket listener;
    Connections connections;
    /** The system refused a connection: others are not looked for in the next moment. */
    bool isPausing = false;
    bool isEnding = false;
    std::chrono::steady_clock::time_point limit{};
};

} // namespace gateway

#endif
