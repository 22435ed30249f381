#ifndef GATEWAY_CONTROL_SOCKET_H
#define GATEWAY_CONTROL_SOCKET_H

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

namespace gateway {

/** A socket that is closed with the object. */
class OwnedSocket {
public:
    explicit OwnedSocket(int number) : descriptor(number) {}
    ~OwnedSocket();
    OwnedSocket(OwnedSocket const&) = delete;
    OwnedSocket& operator=(OwnedSocket const&) = delete;

    int get() const { return descriptor; }

private:
    int descriptor;
};

/** The address of a socket in the file system. */
class SocketPath {
public:
    /** Longest that the system takes. */
    static constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;

    /** @param path longer ones are cut: whoever takes one from a user looks first */
    explicit SocketPath(std::string const& path);

    sockaddr const* get() const { return static_cast<sockaddr const*>(generic); }
    static constexpr socklen_t size = sizeof(sockaddr_un);

    SocketPath(SocketPath const&) = delete;
    SocketPath& operator=(SocketPath const&) = delete;

private:
    sockaddr_un address{};
    void const* generic = &address;
};

/** The operation found nothing to do, or was interrupted: the socket is all right. */
bool isPassing(int error);

} // namespace gateway

#endif
