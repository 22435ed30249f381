#ifndef HOST_BUS_BUSDIRECTORY_H
#define HOST_BUS_BUSDIRECTORY_H

#include "host/bus/LockFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host {

/** Who serves an address. */
struct BusHolder {
    std::string name;
    std::uint32_t pid = 0;

    /** "mcgw dsp, process 1234". */
    std::string text() const;

    bool operator==(BusHolder const& other) const { return name == other.name && pid == other.pid; }
};

/**
 * The directory in which the processes of an `ipc://` bus find each other. It is its owner's alone:
 *
 *   node-PID-INSTANCE.sock   where a process takes frames
 *   node-PID-INSTANCE.lock   locked as long as that process lives
 *   sid-10.lock              locked by whoever serves the address 0x10
 */
class BusDirectory {
public:
    /**
     * Makes the directory when it is missing; not those above it.
     * @throw std::runtime_error when it can't be made, isn't ours alone, or when the names of
     *        sockets in it would be too long
     */
    explicit BusDirectory(std::string const& path);

    /** A node's place; its lock is held as long as this exists, and both files go with it. */
    class Place {
    public:
        Place(LockFile lock, std::string socket);
        ~Place();
        Place(Place&&) = delete;
        Place& operator=(Place&&) = delete;

        std::string const& socket() const { return socketPath; }
        std::string endpoint() const { return "ipc://" + socketPath; }
        /** Makes the socket's file its owner's alone; called when it exists. */
        void protect() const;

    private:
        std::string socketPath;
        LockFile lock;
    };

    /** @throw std::runtime_error when the place can't be made */
    std::unique_ptr<Place> enter(BusHolder const& who, std::uint64_t instance) const;

    /** @throw std::runtime_error when another serves the address, naming it */
    LockFile claim(unsigned char sid, BusHolder const& who) const;

    /** Who serves the address; nothing when nobody does. */
    std::optional<BusHolder> holderOf(unsigned char sid) const;

    /** Endpoints of the living nodes. Removes what dead ones left behind. */
    std::vector<std::string> endpoints() const;

    /** Whether the endpoint is one of a node in this directory. */
    bool contains(std::string const& endpoint) const;

private:
    std::string sidFile(unsigned char sid) const;

    std::string path;
};

} // namespace host

#endif
