#include "gateway/control/ControlClient.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

using Clock = std::chrono::steady_clock;

/** How long a session takes to greet, on the slowest machine. */
constexpr std::chrono::seconds patience{10};

[[noreturn]] void fail(std::string const& path, int error) {
    if (error == ENOENT || error == ECONNREFUSED || error == ENOTDIR) {
        throw std::runtime_error("no session at " + path + ": start one with mcgw session");
    }
    throw std::runtime_error("can't attach to " + path + ": " +
                             std::generic_category().message(error));
}

int newSocket(std::string const& path) {
    int const number = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (number < 0) {
        fail(path, errno);
    }
    return number;
}

} // namespace

ControlClient::ControlClient(std::string const& path) : connection(newSocket(path)) {
    if (path.size() > SocketPath::longest) {
        fail(path, ENAMETOOLONG);
    }
    if (connect(connection.get(), SocketPath(path).get(), SocketPath::size) != 0) {
        fail(path, errno);
    }
    fcntl(connection.get(), F_SETFL, O_NONBLOCK);
    greet(path);
}

void ControlClient::greet(std::string const& path) {
    std::optional<Json> const first = await(patience);
    if (!first) {
        throw std::runtime_error(isEnded ? "the session at " + path + " ends"
                                         : "the session at " + path + " does not answer");
    }
    if (first->contains("error")) {
        throw std::runtime_error(path + ": " + first->value("error", ""));
    }
    if (!first->contains("session")) {
        throw std::runtime_error("at " + path + " is something else than a session");
    }
    greeting = (*first)["session"];
}

std::uint64_t ControlClient::type(std::string const& line) {
    return send({{"line", line}});
}

std::uint64_t ControlClient::call(std::string const& text, std::string const& name) {
    return send({{"call", text}, {"name", name}});
}

std::uint64_t ControlClient::send(Json request) {
    Json numbered = {{"id", lastRequest + 1}};
    numbered.update(request);
    std::string const line = controlLine(numbered);
    if (line.size() - 1 > longestControlLine) {
        throw std::invalid_argument("that is too long for a request: it may have " +
                                    std::to_string(longestControlLine) + " characters");
    }
    waiting += line;
    write();
    return ++lastRequest;
}

short ControlClient::wanted() const {
    return static_cast<short>(POLLIN | (waiting.empty() ? 0 : POLLOUT));
}

void ControlClient::exchange() {
    write();
    read();
}

void ControlClient::write() {
    while (!waiting.empty() && !isEnded) {
        ssize_t const count =
            ::send(connection.get(), waiting.data(), waiting.size(), MSG_NOSIGNAL);
        if (count < 0) {
            if (!isPassing(errno)) {
                // What the session sent before it went is still to be read.
                waiting.clear();
            }
            return;
        }
        waiting.erase(0, static_cast<std::size_t>(count));
    }
}

void ControlClient::read() {
    std::array<char, 65536> buffer;
    ssize_t const count = recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count > 0) {
        reader.add(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || !isPassing(errno)) {
        isEnded = true;
    }
}

std::optional<ControlClient::Json> ControlClient::next() {
    while (std::optional<LineReader::Line> const line = reader.next()) {
        Json message = Json::parse(line->text, nullptr, false);
        if (message.is_object()) {
            return message;
        }
        throw std::runtime_error("the session sends something else than messages");
    }
    return std::nullopt;
}

std::optional<ControlClient::Json> ControlClient::await(std::chrono::milliseconds limit) {
    auto const end = Clock::now() + limit;
    for (;;) {
        if (std::optional<Json> message = next()) {
            return message;
        }
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        if (isEnded || left.count() <= 0) {
            return std::nullopt;
        }
        pollfd polled{connection.get(), wanted(), 0};
        if (poll(&polled, 1, static_cast<int>(left.count())) > 0) {
            exchange();
        }
    }
}

} // namespace gateway
