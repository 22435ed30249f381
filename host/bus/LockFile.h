#ifndef HOST_BUS_LOCKFILE_H
#define HOST_BUS_LOCKFILE_H

#include <optional>
#include <string>

namespace host {

/**
 * A file that is locked as long as the object exists, and removed with it. The kernel unlocks it
 * when the process ends in whatever way; such a file is taken over by whoever locks it next.
 */
class LockFile {
public:
    /**
     * @param content what others may read of the holder
     * @return nothing when another holds it
     * @throw std::runtime_error when the file can't be made
     */
    static std::optional<LockFile> take(std::string const& path, std::string const& content);

    /** What the holder wrote; nothing when nobody holds the file. Does not disturb the lock. */
    static std::optional<std::string> contentIfHeld(std::string const& path);

    LockFile(LockFile&& other) noexcept;
    LockFile& operator=(LockFile&& other) noexcept;
    LockFile(LockFile const&) = delete;
    LockFile& operator=(LockFile const&) = delete;
    ~LockFile();

private:
    LockFile(std::string path, int descriptor);
    void release() noexcept;

    std::string path;
    int descriptor;
};

} // namespace host

#endif
