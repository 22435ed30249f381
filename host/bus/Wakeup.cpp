#include "host/bus/Wakeup.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>

namespace host {

Wakeup::Wakeup() : number(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (number < 0) {
        throw std::runtime_error("can't make the bus: " + std::generic_category().message(errno));
    }
}

Wakeup::~Wakeup() {
    close(number);
}

void Wakeup::wake() const {
    // Fails only when so many wakings wait already that one more would say nothing new.
    eventfd_write(number, 1);
}

void Wakeup::take() const {
    eventfd_t ignored = 0;
    eventfd_read(number, &ignored);
}

} // namespace host
