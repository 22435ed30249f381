#include "gateway/EndingSignals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    // Under nohup it is ignored; taken from here it would not be.
    struct sigaction hangUp {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        sigaddset(&set, SIGHUP);
    }
    return set;
}

} // namespace

EndingSignals::EndingSignals(std::function<void()> action) {
    sigset_t const set = endingSignals();
    signals = signalfd(-1, &set, SFD_CLOEXEC);
    if (signals < 0) {
        throw std::runtime_error("can't wait for signals: " +
                                 std::generic_category().message(errno));
    }
    pthread_sigmask(SIG_BLOCK, &set, &before);
    waiter = std::thread([this, act = std::move(action)] {
        std::array<pollfd, 2> waited = {pollfd{signals, POLLIN, 0},
                                        pollfd{ending.descriptor(), POLLIN, 0}};
        while (waited[1].revents == 0) {
            if (poll(waited.data(), waited.size(), -1) < 0) {
                continue;
            }
            signalfd_siginfo caught{};
            if (waited[0].revents != 0 && read(signals, &caught, sizeof caught) > 0) {
                act();
            }
        }
    });
}

EndingSignals::~EndingSignals() {
    ending.wake();
    waiter.join();
    close(signals);
    // One more while the first was obeyed asks for nothing more, and is not to kill now.
    sigset_t const set = endingSignals();
    timespec const atOnce{};
    while (sigtimedwait(&set, nullptr, &atOnce) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace gateway
