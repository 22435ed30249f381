#include "tests/system/Background.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

/** Long enough for the slowest machine; a test that passes never waits that long. */
constexpr std::chrono::seconds patience{60};

using Clock = std::chrono::steady_clock;

void shortPause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

} // namespace

BackgroundProgram::BackgroundProgram(std::vector<std::string> const& arguments) {
    std::array<int, 2> outputPipe{};
    std::array<int, 2> faultPipe{};
    if (pipe2(outputPipe.data(), O_CLOEXEC) != 0 || pipe2(faultPipe.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::vector<std::string> words = {MCGW_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    words.emplace_back("--json");
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    process = fork();
    if (process == 0) {
        dup2(outputPipe[1], STDOUT_FILENO);
        dup2(faultPipe[1], STDERR_FILENO);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    close(outputPipe[1]);
    close(faultPipe[1]);
    readers.emplace_back([this, from = outputPipe[0]] { follow(from, output); });
    readers.emplace_back([this, from = faultPipe[0]] { follow(from, faults); });
}

BackgroundProgram::~BackgroundProgram() {
    if (process > 0) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    for (std::thread& reader : readers) {
        if (reader.joinable()) {
            reader.join();
        }
    }
}

void BackgroundProgram::signal(int number) const {
    kill(process, number);
}

void BackgroundProgram::halt() const {
    signal(SIGSTOP);
    int status = 0;
    if (waitpid(process, &status, WUNTRACED) != process || !WIFSTOPPED(status)) {
        throw std::runtime_error("the program ended instead of being halted");
    }
}

int BackgroundProgram::end() {
    auto const limit = Clock::now() + patience;
    int status = 0;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (Clock::now() > limit) {
            throw std::runtime_error("the program does not end");
        }
        shortPause();
    }
    process = -1;
    for (std::thread& reader : readers) {
        reader.join();
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void BackgroundProgram::follow(int descriptor, std::string& to) {
    std::array<char, 65536> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) {
        std::lock_guard<std::mutex> const lock(mutex);
        to.append(buffer.data(), static_cast<std::size_t>(count));
    }
    close(descriptor);
}

std::vector<BackgroundProgram::Json> BackgroundProgram::lines() {
    std::string written;
    {
        std::lock_guard<std::mutex> const lock(mutex);
        written = output.substr(0, output.rfind('\n') + 1);
    }
    std::vector<Json> result;
    std::istringstream stream(written);
    for (std::string line; std::getline(stream, line);) {
        result.push_back(Json::parse(line));
    }
    return result;
}

std::vector<BackgroundProgram::Json> BackgroundProgram::lines(std::string const& type) {
    std::vector<Json> result;
    for (Json const& line : lines()) {
        if (line.at("type") == type) {
            result.push_back(line);
        }
    }
    return result;
}

BackgroundProgram::Json BackgroundProgram::await(std::string const& type,
                                                 std::function<bool(Json const&)> const& isWanted) {
    auto const limit = Clock::now() + patience;
    while (Clock::now() < limit) {
        for (Json const& line : lines(type)) {
            if (isWanted(line)) {
                return line;
            }
        }
        shortPause();
    }
    throw std::runtime_error("no line of type " + type + " after " +
                             std::to_string(lines().size()) + " lines; errors: " + errors());
}

std::string BackgroundProgram::errors() {
    std::lock_guard<std::mutex> const lock(mutex);
    return faults;
}
