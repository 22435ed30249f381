#include "host/bus/BusKeys.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <zmq.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace host {

namespace {

namespace files = std::filesystem;

constexpr std::size_t keyBytes = 32;
constexpr std::size_t keyCharacters = 40;

/** As the functions of the library want it: with a NUL behind it. */
using KeyBuffer = std::array<char, keyCharacters + 1>;

std::string secretFile(std::string const& directory) {
    return directory + "/secret.key";
}

[[noreturn]] void fail(std::string const& what, std::string const& path) {
    throw std::runtime_error("can't " + what + " " + path + ": " +
                             std::generic_category().message(errno));
}

std::string readKey(std::string const& path) {
    std::ifstream file(path);
    if (!file) {
        fail("read", path);
    }
    std::string key;
    file >> key;
    std::array<std::uint8_t, keyBytes> binary{};
    if (key.size() != keyCharacters || zmq_z85_decode(binary.data(), key.c_str()) == nullptr) {
        throw std::runtime_error(path + " holds no key of 40 characters");
    }
    return key;
}

void requireOwnersAlone(std::string const& path) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        fail("read", path);
    }
    if (!S_ISREG(found.st_mode) || found.st_uid != geteuid() || (found.st_mode & 077U) != 0) {
        throw std::runtime_error(path + " holds a secret: it has to be a file of yours that "
                                        "nobody else may read (mode 0600)");
    }
}

/** Whoever may put a file there lets himself in. One that is missing holds nothing. */
void requireOwnersToChange(std::string const& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) == 0 &&
        (found.st_uid != geteuid() || (found.st_mode & 022U) != 0)) {
        throw std::runtime_error(path + " says who may talk to this process: it has to be a "
                                        "directory of yours that nobody else may change");
    }
}

/** Makes a file that does not exist. */
void writeNew(std::string const& path, mode_t mode, std::string const& content) {
    int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (file < 0) {
        fail("make", path);
    }
    ssize_t const written = write(file, content.data(), content.size());
    if (close(file) != 0 || written != static_cast<ssize_t>(content.size())) {
        fail("write", path);
    }
}

void makeDirectory(std::string const& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        fail("make", path);
    }
}

std::map<std::string, std::string> readPeers(std::string const& directory) {
    std::map<std::string, std::string> peers;
    std::error_code ignored;
    for (auto const& entry : files::directory_iterator(directory + "/peers", ignored)) {
        if (entry.path().extension() == ".pub") {
            peers[entry.path().stem().string()] = readKey(entry.path().string());
        }
    }
    return peers;
}

} // namespace

BusKeys::BusKeys(std::string const& itsDirectory) : directory(itsDirectory) {
    std::string const path = secretFile(directory);
    requireOwnersToChange(directory);
    requireOwnersToChange(directory + "/peers");
    requireOwnersAlone(path);
    ownSecret = readKey(path);
    KeyBuffer buffer{};
    if (zmq_curve_public(buffer.data(), ownSecret.c_str()) != 0) {
        throw std::runtime_error(path + " holds no secret key");
    }
    ownPublic = buffer.data();
    peers = readPeers(directory);
}

std::string BusKeys::make(std::string const& directory) {
    KeyBuffer publicKey{};
    KeyBuffer secretKey{};
    if (zmq_curve_keypair(publicKey.data(), secretKey.data()) != 0) {
        throw std::runtime_error(std::string("can't make keys: ") + zmq_strerror(zmq_errno()));
    }
    makeDirectory(directory);
    makeDirectory(directory + "/peers");
    writeNew(secretFile(directory), 0600, std::string(secretKey.data()) + "\n");
    std::string const publicFile = directory + "/public.key";
    // One without its secret key serves nobody.
    unlink(publicFile.c_str());
    writeNew(publicFile, 0644, std::string(publicKey.data()) + "\n");
    return publicKey.data();
}

bool BusKeys::isAllowed(std::string const& key) const {
    return std::any_of(peers.begin(), peers.end(),
                       [&key](auto const& peer) { return peer.second == key; });
}

std::string const& BusKeys::peer(std::string const& name) const {
    if (name.empty() && peers.size() != 1) {
        throw std::invalid_argument("there are " + std::to_string(peers.size()) + " keys in " +
                                    directory +
                                    "/peers: a peer is tcp://HOST:PORT#NAME, where NAME.pub is "
                                    "its key");
    }
    auto const found = name.empty() ? peers.begin() : peers.find(name);
    if (found == peers.end()) {
        throw std::invalid_argument("there is no key " + directory + "/peers/" + name + ".pub");
    }
    return found->second;
}

std::string keyText(unsigned char const* key) {
    KeyBuffer buffer{};
    zmq_z85_encode(buffer.data(), key, keyBytes);
    return buffer.data();
}

} // namespace host
