#include "host/bus/LockFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace host {

namespace {

/** A file that is being removed and made again by others settles within a few attempts. */
constexpr int attempts = 100;

/** The whole file. A lock of the open file: unlike flock, it can be looked at without taking it. */
struct flock wholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

class Descriptor {
public:
    explicit Descriptor(int number) : descriptor(number) {}
    ~Descriptor() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int get() const { return descriptor; }
    int release() { return std::exchange(descriptor, -1); }

private:
    int descriptor;
};

[[noreturn]] void fail(std::string const& path, char const* operation) {
    throw std::runtime_error(std::string("can't ") + operation + " " + path + ": " +
                             std::generic_category().message(errno));
}

/** Whether the path still names the open file, which its holder before may have removed. */
bool isAt(int descriptor, std::string const& path) {
    struct stat open {};
    struct stat named {};
    return fstat(descriptor, &open) == 0 && lstat(path.c_str(), &named) == 0 &&
           open.st_ino == named.st_ino && open.st_dev == named.st_dev;
}

void writeAll(int descriptor, std::string const& path, std::string const& content) {
    if (ftruncate(descriptor, 0) != 0 || pwrite(descriptor, content.data(), content.size(), 0) !=
                                             static_cast<ssize_t>(content.size())) {
        fail(path, "write");
    }
}

} // namespace

std::optional<LockFile> LockFile::take(std::string const& path, std::string const& content) {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (file.get() < 0) {
            fail(path, "make");
        }
        struct flock lock = wholeFile();
        if (fcntl(file.get(), F_OFD_SETLK, &lock) != 0) {
            if (errno == EAGAIN || errno == EACCES) {
                return std::nullopt;
            }
            fail(path, "lock");
        }
        if (isAt(file.get(), path)) {
            writeAll(file.get(), path, content);
            return LockFile(path, file.release());
        }
    }
    throw std::runtime_error("can't lock " + path + ": it is removed again and again");
}

std::optional<std::string> LockFile::contentIfHeld(std::string const& path) {
    Descriptor const file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (file.get() < 0) {
        return std::nullopt;
    }
    struct flock lock = wholeFile();
    if (fcntl(file.get(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
        return std::nullopt;
    }
    std::array<char, 1024> buffer{};
    ssize_t const count = pread(file.get(), buffer.data(), buffer.size(), 0);
    return std::string(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
}

LockFile::LockFile(std::string itsPath, int itsDescriptor)
    : path(std::move(itsPath)), descriptor(itsDescriptor) {}

LockFile::LockFile(LockFile&& other) noexcept
    : path(std::move(other.path)), descriptor(std::exchange(other.descriptor, -1)) {}

LockFile& LockFile::operator=(LockFile&& other) noexcept {
    if (this != &other) {
        release();
        path = std::move(other.path);
        descriptor = std::exchange(other.descriptor, -1);
    }
    return *this;
}

LockFile::~LockFile() {
    release();
}

void LockFile::release() noexcept {
    if (descriptor >= 0) {
        // Removed before it is unlocked: afterwards the name may be another holder's.
        unlink(path.c_str());
        close(std::exchange(descriptor, -1));
    }
}

} // namespace host
