#include "tests/system/Child.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace {

/** Long enough for the slowest machine; a test that passes never waits that long. */
constexpr std::chrono::seconds patience{60};

using Clock = std::chrono::steady_clock;

void shortPause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    return ends;
}

void closeIfOpen(int& descriptor) {
    if (descriptor >= 0) {
        close(std::exchange(descriptor, -1));
    }
}

} // namespace

/** Makes this side's ends, and tells the program's: standard input, output and error. */
void Child::open(Where where, int (&ends)[3]) {
    if (where == Where::atTerminal) {
        winsize size{24, 80, 0, 0};
        if (openpty(&input, &terminal, nullptr, nullptr, &size) != 0) {
            throw std::runtime_error("no terminal");
        }
        fcntl(input, F_SETFD, FD_CLOEXEC);
        fcntl(terminal, F_SETFD, FD_CLOEXEC);
        ends[0] = ends[1] = ends[2] = terminal;
        readers.emplace_back([this, from = dup(input)] { follow(from, written); });
        return;
    }
    auto const in = makePipe();
    auto const out = makePipe();
    auto const error = makePipe();
    input = in[1];
    ends[0] = in[0];
    ends[1] = out[1];
    ends[2] = error[1];
    readers.emplace_back([this, from = out[0]] { follow(from, written); });
    readers.emplace_back([this, from = error[0]] { follow(from, faults); });
}

Child::Child(std::vector<std::string> const& command, Where where,
             std::map<std::string, std::string> const& environment) {
    std::vector<std::string> words = command;
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    int ends[3] = {};
    open(where, ends);
    process = fork();
    if (process == 0) {
        setsid();
        if (where == Where::atTerminal) {
            ioctl(terminal, TIOCSCTTY, 0);
        }
        for (int i = 0; i < 3; ++i) {
            dup2(ends[i], i);
        }
        for (auto const& [name, value] : environment) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    if (where == Where::inPipes) {
        for (int const each : ends) {
            close(each);
        }
    }
}

Child::~Child() {
    if (process > 0) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    closeIfOpen(input);
    closeIfOpen(terminal);
    for (std::thread& reader : readers) {
        if (reader.joinable()) {
            reader.join();
        }
    }
}

void Child::write(std::string const& text) const {
    std::size_t sent = 0;
    while (sent < text.size()) {
        ssize_t const count = ::write(input, text.data() + sent, text.size() - sent);
        if (count <= 0) {
            throw std::runtime_error("the program does not read");
        }
        sent += static_cast<std::size_t>(count);
    }
}

void Child::closeInput() {
    closeIfOpen(input);
}

void Child::signal(int number) const {
    kill(process, number);
}

void Child::follow(int descriptor, std::string& to) {
    std::array<char, 65536> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) {
        std::lock_guard<std::mutex> const lock(mutex);
        to.append(buffer.data(), static_cast<std::size_t>(count));
    }
    close(descriptor);
}

std::string Child::output() {
    std::lock_guard<std::mutex> const lock(mutex);
    return written;
}

std::string Child::errors() {
    std::lock_guard<std::mutex> const lock(mutex);
    return faults;
}

void Child::await(std::function<bool(std::string const&)> const& isFulfilled) {
    auto const limit = Clock::now() + patience;
    while (!isFulfilled(output())) {
        if (Clock::now() > limit) {
            throw std::runtime_error("that never comes; output: " + output() +
                                     "; errors: " + errors());
        }
        shortPause();
    }
}

void Child::awaitText(std::string const& text) {
    await([&text](std::string const& all) { return all.find(text) != std::string::npos; });
}

int Child::end() {
    auto const limit = Clock::now() + patience;
    int status = 0;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (Clock::now() > limit) {
            throw std::runtime_error("the program does not end; output: " + output());
        }
        shortPause();
    }
    process = -1;
    if (terminal < 0) {
        // Of a pipe, all is read when its end is.
        for (std::thread& reader : readers) {
            reader.join();
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

termios Child::settings() const {
    termios result{};
    if (tcgetattr(terminal, &result) != 0) {
        throw std::runtime_error("no terminal");
    }
    return result;
}
