#include "host/bus/BusDirectory.h"

#include "host/imc/SidText.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace host {

namespace {

char const nodeBegin[] = "node-";
char const lockEnd[] = ".lock";
char const socketEnd[] = ".sock";

/** Longest that the system takes as the name of a socket. */
constexpr std::size_t longestSocket = sizeof(sockaddr_un::sun_path) - 1;

/** "node-", a process number of seven digits, an instance, ".sock". */
constexpr std::size_t longestNodeName = 5 + 7 + 1 + 16 + 5;

std::string contentFor(BusHolder const& who) {
    return who.name + "\n" + std::to_string(who.pid) + "\n";
}

BusHolder holderFrom(std::string const& content) {
    BusHolder holder;
    std::istringstream lines(content);
    std::getline(lines, holder.name);
    lines >> holder.pid;
    if (holder.name.empty()) {
        // Between the locking and the writing of the file.
        holder.name = "a process that starts";
    }
    return holder;
}

std::string nodeName(std::uint32_t pid, std::uint64_t instance) {
    std::ostringstream name;
    name << nodeBegin << pid << '-' << std::hex << std::setw(16) << std::setfill('0') << instance;
    return name.str();
}

bool isNodeLock(std::string const& name) {
    return name.rfind(nodeBegin, 0) == 0 && name.size() > sizeof lockEnd &&
           name.compare(name.size() - (sizeof lockEnd - 1), std::string::npos, lockEnd) == 0;
}

void requireOursAlone(std::string const& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        throw std::runtime_error("can't make the bus directory " + path + ": " +
                                 std::generic_category().message(errno));
    }
    if (!S_ISDIR(found.st_mode)) {
        throw std::runtime_error("the bus directory " + path + " is no directory");
    }
    if (found.st_uid != geteuid()) {
        throw std::runtime_error("the bus directory " + path + " belongs to another user");
    }
    if ((found.st_mode & 077U) != 0) {
        throw std::runtime_error("others may enter the bus directory " + path +
                                 ": its mode has to be 0700");
    }
}

} // namespace

std::string BusHolder::text() const {
    return pid == 0 ? name : name + ", process " + std::to_string(pid);
}

BusDirectory::BusDirectory(std::string const& itsPath)
    : path(std::filesystem::absolute(itsPath).lexically_normal().string()) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    if (path.size() + 1 + longestNodeName > longestSocket) {
        throw std::runtime_error("the name of the bus directory " + path + " is too long: it has " +
                                 std::to_string(path.size()) + " characters, and may have " +
                                 std::to_string(longestSocket - longestNodeName - 1));
    }
    // An umask may take more than it should; what is there already is looked at below.
    if (mkdir(path.c_str(), 0700) == 0) {
        chmod(path.c_str(), 0700);
    }
    requireOursAlone(path);
}

BusDirectory::Place::Place(LockFile itsLock, std::string socket)
    : socketPath(std::move(socket)), lock(std::move(itsLock)) {}

BusDirectory::Place::~Place() {
    unlink(socketPath.c_str());
}

void BusDirectory::Place::protect() const {
    if (chmod(socketPath.c_str(), 0600) != 0) {
        throw std::runtime_error("can't protect " + socketPath + ": " +
                                 std::generic_category().message(errno));
    }
}

std::unique_ptr<BusDirectory::Place> BusDirectory::enter(BusHolder const& who,
                                                         std::uint64_t instance) const {
    std::string const base = path + "/" + nodeName(who.pid, instance);
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (auto lock = LockFile::take(base + lockEnd, contentFor(who))) {
            return std::make_unique<Place>(*std::move(lock), base + socketEnd);
        }
        // Another node is about to remove the file, which it takes for a dead one's.
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw std::runtime_error("another node has the place " + base);
}

std::string BusDirectory::sidFile(unsigned char sid) const {
    return path + "/sid-" + sidText(sid).substr(2) + lockEnd;
}

LockFile BusDirectory::claim(unsigned char sid, BusHolder const& who) const {
    std::optional<LockFile> lock = LockFile::take(sidFile(sid), contentFor(who));
    if (!lock) {
        std::optional<BusHolder> const holder = holderOf(sid);
        throw std::runtime_error("IMC address " + sidText(sid) + " is served already by " +
                                 (holder ? holder->text() : "a process that ends"));
    }
    return *std::move(lock);
}

std::optional<BusHolder> BusDirectory::holderOf(unsigned char sid) const {
    std::optional<std::string> const content = LockFile::contentIfHeld(sidFile(sid));
    return content ? std::make_optional(holderFrom(*content)) : std::nullopt;
}

std::vector<std::string> BusDirectory::endpoints() const {
    std::vector<std::string> living;
    std::error_code ignored;
    for (auto const& entry : std::filesystem::directory_iterator(path, ignored)) {
        if (!isNodeLock(entry.path().filename().string())) {
            continue;
        }
        std::string const lock = entry.path().string();
        std::string const socket = lock.substr(0, lock.size() - (sizeof lockEnd - 1)) + socketEnd;
        if (LockFile::contentIfHeld(lock)) {
            living.push_back("ipc://" + socket);
        } else if (std::optional<LockFile> const dead = LockFile::take(lock, "")) {
            // Its number and instance are never given again, so that nobody else uses the name.
            unlink(socket.c_str());
        }
    }
    return living;
}

bool BusDirectory::contains(std::string const& endpoint) const {
    std::string const begin = "ipc://" + path + "/" + nodeBegin;
    return endpoint.compare(0, begin.size(), begin) == 0 &&
           endpoint.find('/', begin.size()) == std::string::npos;
}

} // namespace host
