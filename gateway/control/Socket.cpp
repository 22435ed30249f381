#include "gateway/control/Socket.h"

#include <unistd.h>

#include <cerrno>

namespace gateway {

OwnedSocket::~OwnedSocket() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

SocketPath::SocketPath(std::string const& path) {
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, longest);
}

bool isPassing(int error) {
    return error == EAGAIN || error == EINTR;
}

} // namespace gateway
