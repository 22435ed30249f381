#ifndef TESTS_BUS_HELDPORT_H
#define TESTS_BUS_HELDPORT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

/**
 * A port of 127.0.0.1 that nobody listens at, unless told so, and that the system gives to no one
 * else. A node may still bind it by its number.
 */
class HeldPort {
public:
    HeldPort() {
        int const yes = 1;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        setsockopt(holder, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        if (bind(holder, general, length) != 0 || getsockname(holder, general, &length) != 0) {
            throw std::runtime_error("no port");
        }
        endpoint = "tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~HeldPort() { close(holder); }
    HeldPort(HeldPort const&) = delete;
    HeldPort& operator=(HeldPort const&) = delete;

    /** From now on somebody listens there, who says nothing. */
    void listen() const { ::listen(holder, 8); }

    /** @return the next connection; negative when none comes */
    int accept() const {
        timeval const patience{60, 0};
        setsockopt(holder, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        return ::accept4(holder, nullptr, nullptr, SOCK_CLOEXEC);
    }

    std::string endpoint;

private:
    int holder = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

#endif
