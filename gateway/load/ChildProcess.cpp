#include "gateway/load/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace gateway {

namespace {

constexpr std::chrono::seconds patience{2};
constexpr std::chrono::milliseconds pause{2};

[[noreturn]] void fail(std::string const& what) {
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

/** In the child, where only what is safe in a signal handler may be called. */
[[noreturn]] void become(char const* program, char* const* arguments, pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    int const nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    // The parent may have ended before the child asked to be killed with it.
    if (getppid() == parent) {
        execv(program, arguments);
    }
    _exit(127);
}

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> const& arguments) {
    std::vector<std::string> words = {"mcgw"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    std::transform(words.begin(), words.end(), std::back_inserter(pointers),
                   [](std::string& word) { return word.data(); });
    pointers.push_back(nullptr);
    pid_t const parent = getpid();
    process = fork();
    if (process < 0) {
        fail("can't start a process");
    }
    if (process == 0) {
        become("/proc/self/exe", pointers.data(), parent);
    }
}

ChildProcess::~ChildProcess() {
    askToEnd();
    auto const limit = std::chrono::steady_clock::now() + patience;
    while (!hasEnded()) {
        if (std::chrono::steady_clock::now() > limit) {
            kill(process, SIGKILL);
        }
        std::this_thread::sleep_for(pause);
    }
}

void ChildProcess::askToEnd() const {
    if (!isReaped) {
        kill(process, SIGTERM);
    }
}

bool ChildProcess::hasEnded() {
    if (!isReaped) {
        isReaped = waitpid(process, nullptr, WNOHANG) != 0;
    }
    return isReaped;
}

std::optional<std::chrono::nanoseconds> processorTime(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return std::nullopt;
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::size_t residentMemory() {
    std::ifstream status("/proc/self/statm");
    std::size_t pages = 0;
    status >> pages >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

PrivateDirectory::PrivateDirectory() {
    char const* const runtime = std::getenv("XDG_RUNTIME_DIR");
    std::string const parent = runtime != nullptr && *runtime != '\0' ? runtime : "/tmp";
    name = parent + "/mcgw-load-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        fail("can't make a directory in " + parent);
    }
}

PrivateDirectory::~PrivateDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(name, ignored);
}

} // namespace gateway
