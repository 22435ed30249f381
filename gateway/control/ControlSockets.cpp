#include "gateway/control/ControlSockets.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

/** How long the end waits for consoles to read what is on its way to them. */
constexpr std::chrono::milliseconds patienceAtEnd{500};

/** How long no connection is taken when the system has none left. */
constexpr int pauseInMs = 100;

[[noreturn]] void fail(std::string const& path) {
    throw std::runtime_error("can't make the control socket " + path + ": " +
                             std::generic_category().message(errno));
}

int makeSocket(std::string const& path) {
    int const number = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (number < 0) {
        fail(path);
    }
    return number;
}

bool isOurs(int number) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(number, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

/** To a connection that is not taken; what doesn't fit is not worth waiting for. */
void sayNo(int number, std::string const& why) {
    std::string const line = controlLine({{"id", nullptr}, {"end", true}, {"error", why}});
    static_cast<void>(::send(number, line.data(), line.size(), MSG_NOSIGNAL));
}

} // namespace

ControlSockets::ControlSockets(std::shared_ptr<ControlState> shared, std::string const& path)
    : state(std::move(shared)), listener(makeSocket(path)) {
    SocketPath const address(path);
    // Nobody can connect before it listens, and by then it is its owner's alone.
    if (bind(listener.get(), address.get(), SocketPath::size) != 0 ||
        chmod(path.c_str(), 0600) != 0 || listen(listener.get(), SOMAXCONN) != 0) {
        fail(path);
    }
}

void ControlSockets::serve() {
    while (!isFinished()) {
        std::vector<pollfd> polled = watched();
        int const count = poll(polled.data(), polled.size(), patience());
        isPausing = false;
        if (count < 0) {
            if (errno != EINTR) {
                state->count(ControlFault::systemFault);
            }
            continue;
        }
        if (polled[0].revents != 0) {
            state->wakeup.take();
        }
        // Those that are taken now are not among the polled ones.
        std::size_t const served = connections.size();
        if (polled[1].revents != 0) {
            accept();
        }
        for (std::size_t i = 0; i < served; ++i) {
            serve(*connections[i], polled[i + 2].revents);
        }
        dropGone();
    }
}

int ControlSockets::patience() const {
    if (isEnding) {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(
            limit - std::chrono::steady_clock::now());
        return static_cast<int>(std::max<std::int64_t>(left.count(), 0)) + 1;
    }
    return isPausing ? pauseInMs : -1;
}

std::vector<pollfd> ControlSockets::watched() {
    std::vector<pollfd> polled;
    polled.push_back({state->wakeup.descriptor(), POLLIN, 0});
    polled.push_back({isPausing || isEnding ? -1 : listener.get(), POLLIN, 0});
    for (auto const& connection : connections) {
        polled.push_back({connection->socket.get(), wanted(*connection), 0});
    }
    return polled;
}

short ControlSockets::wanted(Connection& connection) {
    std::lock_guard<std::mutex> const lock(state->mutex);
    AttachedConsole const& console = *connection.console;
    bool const mayAsk = console.open.size() < ControlServer::mostOpen;
    int const input = mayAsk && !connection.isInputEnded && !isEnding ? POLLIN : 0;
    return static_cast<short>(input | (console.waiting.empty() ? 0 : POLLOUT));
}

bool ControlSockets::isFinished() {
    std::lock_guard<std::mutex> const lock(state->mutex);
    if (!state->isClosed) {
        return false;
    }
    auto const now = std::chrono::steady_clock::now();
    if (!std::exchange(isEnding, true)) {
        limit = now + patienceAtEnd;
    }
    return now >= limit ||
           std::all_of(connections.begin(), connections.end(),
                       [](auto const& each) { return each->console->waiting.empty(); });
}

void ControlSockets::accept() {
    for (std::size_t i = 0; i < ControlServer::mostConsoles; ++i) {
        int const number = accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (number >= 0) {
            welcome(number);
        } else if (errno != ECONNABORTED && errno != EINTR) {
            if (!isPassing(errno)) {
                state->count(ControlFault::systemFault);
                isPausing = true;
            }
            return;
        }
    }
}

void ControlSockets::welcome(int number) {
    bool const isAllowed = isOurs(number);
    ControlState::Console const console = isAllowed ? state->attach() : nullptr;
    if (console) {
        connections.push_back(std::make_unique<Connection>(number, console));
        return;
    }
    OwnedSocket const refused(number);
    state->count(ControlFault::consoleRefused);
    sayNo(number, isAllowed
                      ? std::to_string(ControlServer::mostConsoles) +
                            " consoles are attached already, and no more are taken: expected one "
                            "of them to leave"
                      : "the session is another user's: expected a console of that user");
}

/** @param events that were polled; none, too, when lines are left of before */
void ControlSockets::serve(Connection& connection, short events) {
    if ((events & POLLIN) != 0) {
        read(connection);
    }
    takeLines(connection);
    if ((events & POLLERR) != 0 || ((events & POLLHUP) != 0 && (events & POLLIN) == 0)) {
        leave(connection);
    }
    write(connection);
}

void ControlSockets::read(Connection& connection) {
    std::array<char, 65536> buffer;
    ssize_t const count = recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
    if (count > 0) {
        connection.reader.add(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0) {
        connection.isInputEnded = true;
    } else if (!isPassing(errno)) {
        leave(connection);
    }
}

void ControlSockets::takeLines(Connection& connection) {
    auto const mayAsk = [&] {
        std::lock_guard<std::mutex> const lock(state->mutex);
        return !state->isClosed && !connection.console->isGone &&
               connection.console->open.size() < ControlServer::mostOpen;
    };
    while (mayAsk()) {
        std::optional<LineReader::Line> const line = connection.reader.next();
        if (!line) {
            takeEnd(connection);
            return;
        }
        if (line->isTooLong) {
            state->refuse(*connection.console, "the line is too long: expected at most " +
                                                   std::to_string(longestControlLine) +
                                                   " characters");
        } else {
            state->take(connection.console, line->text);
        }
    }
}

/** All lines are taken. */
void ControlSockets::takeEnd(Connection& connection) {
    if (!connection.isInputEnded || std::exchange(connection.isDrained, true)) {
        return;
    }
    if (!connection.reader.rest().empty()) {
        state->refuse(*connection.console, "the last line has no end: expected a newline");
    }
}

void ControlSockets::write(Connection& connection) {
    std::lock_guard<std::mutex> const lock(state->mutex);
    AttachedConsole& console = *connection.console;
    while (!console.waiting.empty()) {
        ssize_t const count =
            ::send(connection.socket.get(), console.waiting.data() + console.sent,
                   console.waiting.size() - console.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            if (!isPassing(errno)) {
                console.isGone = true;
                console.waiting.clear();
                console.sent = 0;
            }
            return;
        }
        console.sent += static_cast<std::size_t>(count);
        if (console.sent == console.waiting.size()) {
            console.waiting.clear();
            console.sent = 0;
        }
    }
}

void ControlSockets::leave(Connection& connection) {
    std::lock_guard<std::mutex> const lock(state->mutex);
    connection.console->isGone = true;
    connection.console->waiting.clear();
    connection.console->sent = 0;
}

/** A console that only closed its side still gets its answers, and what it watches. */
void ControlSockets::dropGone() {
    auto const isGone = [this](std::unique_ptr<Connection> const& connection) {
        std::lock_guard<std::mutex> const lock(state->mutex);
        AttachedConsole const& console = *connection->console;
        return console.isGone || (connection->isDrained && console.open.empty() &&
                                  console.waiting.empty() && !console.watches);
    };
    for (auto& connection : connections) {
        if (isGone(connection)) {
            state->detach(*connection->console);
            connection.reset();
        }
    }
    connections.erase(std::remove(connections.begin(), connections.end(), nullptr),
                      connections.end());
}

} // namespace gateway
