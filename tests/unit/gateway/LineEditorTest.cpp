// The editor at a terminal of its own, in a process of its own.

#include "gateway/control/LineEditor.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <string>

namespace {

constexpr std::chrono::seconds patience{30};

/** @return 0 when the line came, although there was something else to do all the time */
int readLineWhileBusy() {
    setenv("TERM", "vt100", 1);
    gateway::TypedLines history("/dev/null");
    gateway::LineEditor editor(history, [](std::string const&) { return gateway::Completion(); },
                               {eventfd(1, 0), [] { return short{POLLIN}; }, [] {}});
    return editor.read() == "go" ? 0 : 1;
}

/** Reads what the terminal shows until the text is among it, or nothing more comes. */
bool awaitText(int terminal, std::string const& text) {
    std::string shown;
    pollfd polled{terminal, POLLIN, 0};
    std::array<char, 4096> buffer;
    while (shown.find(text) == std::string::npos) {
        if (poll(&polled, 1, 30000) <= 0) {
            return false;
        }
        ssize_t const count = read(terminal, buffer.data(), buffer.size());
        if (count <= 0) {
            return false;
        }
        shown.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
}

TEST(LineEditor, KeysAreTakenThoughSomethingElseComesWithoutAPause) {
    int terminal = -1;
    pid_t const process = forkpty(&terminal, nullptr, nullptr, nullptr);
    ASSERT_GE(process, 0);
    if (process == 0) {
        _exit(readLineWhileBusy());
    }
    EXPECT_TRUE(awaitText(terminal, "mcgw> "));
    EXPECT_EQ(write(terminal, "go\r", 3), 3);
    auto const limit = std::chrono::steady_clock::now() + patience;
    int status = -1;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > limit) {
            kill(process, SIGKILL);
        }
        usleep(2000);
    }
    close(terminal);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
