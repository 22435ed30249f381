#include "gateway/control/ControlServer.h"

#include "gateway/control/ControlSockets.h"
#include "gateway/control/ControlState.h"
#include "gateway/control/Socket.h"

#include "host/bus/BusDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

[[noreturn]] void refuse(std::string const& path, std::string const& why) {
    throw std::invalid_argument("the control socket can't be " + path + ": " + why);
}

/** Whoever may change the directory could put another socket there. */
void requireDirectory(std::string const& path) {
    std::string directory = std::filesystem::path(path).parent_path().string();
    if (directory.empty()) {
        directory = ".";
    }
    mkdir(directory.c_str(), 0700);
    struct stat found {};
    if (stat(directory.c_str(), &found) != 0) {
        refuse(path, "its directory: " + std::generic_category().message(errno));
    }
    if (!S_ISDIR(found.st_mode)) {
        refuse(path, directory + " is no directory");
    }
    if (found.st_uid != geteuid() || (found.st_mode & 022U) != 0) {
        refuse(path, "others than this user may change its directory");
    }
}

void requirePath(std::string const& path) {
    if (path.empty() || path.size() > SocketPath::longest || path.find('\0') != std::string::npos) {
        refuse(path.empty() ? "\"\"" : path,
               "its name has from 1 to " + std::to_string(SocketPath::longest) + " characters");
    }
    requireDirectory(path);
}

std::optional<host::LockFile> take(std::string const& path, ControlServer::Json const& greeting) {
    host::BusHolder const holder = {greeting.value("name", std::string("mcgw session")),
                                    greeting.value("pid", static_cast<std::uint32_t>(getpid()))};
    std::string const lockPath = path + ".lock";
    std::optional<host::LockFile> lock = host::LockFile::take(lockPath, holder.text());
    if (!lock) {
        std::string const other =
            host::LockFile::contentIfHeld(lockPath).value_or("a process that ends");
        throw std::runtime_error(path + " is the control socket of " +
                                 (other.empty() ? "a process that starts" : other));
    }
    return lock;
}

/** Who made it is dead, since we have the lock. */
void removeStale(std::string const& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        return;
    }
    if (!S_ISSOCK(found.st_mode)) {
        refuse(path, "something else is there");
    }
    unlink(path.c_str());
}

} // namespace

ControlServer::ControlServer(host::Dispatcher& loop, std::string const& path, Json const& greeting,
                             Handler handler)
    : socketPath(path), state(std::make_shared<ControlState>(loop, greeting, std::move(handler))) {
    requirePath(path);
    lock = take(path, greeting);
    removeStale(path);
    sockets = std::make_unique<ControlSockets>(state, path);
    server = std::thread([this] { sockets->serve(); });
}

ControlServer::~ControlServer() {
    unlink(socketPath.c_str());
    state->close();
    server.join();
}

void ControlServer::watch(int console, bool on) {
    state->watch(console, on);
}

void ControlServer::tell(Json const& what) {
    state->tell(what);
}

std::size_t ControlServer::consoles() const {
    return state->consoles();
}

std::map<std::string, std::uint64_t> ControlServer::counters() const {
    return state->counters();
}

} // namespace gateway
