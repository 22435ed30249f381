#ifndef HOST_BUS_BUS_H
#define HOST_BUS_BUS_H

#include "host/bus/BusDirectory.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

/** How a process joins a bus. */
struct BusOptions {
    /** Where the bus is, see BusAddress; on tcp, where this process takes frames. */
    std::string url;
    /** Of a tcp bus: other nodes, `tcp://HOST:PORT` or `tcp://HOST:PORT#KEY`. */
    std::vector<std::string> peers{};
    /** Directory of the CURVE keys, see BusKeys; empty for none. */
    std::string keys{};
    /** What others are told of this process: 1 to 64 printable characters. */
    std::string name = "program";
    /** How many messages, or copies, may be on their way to one node. */
    std::size_t window = 4096;
    /** How long a send waits for a node that is known to be there, but not linked yet. */
    std::chrono::milliseconds linkWait{2000};
    /** How long the end of this node waits for what it sent to be taken. */
    std::chrono::milliseconds linger{500};
    /** Of a tcp bus: how often a connection is probed; it is lost after three silent ones. */
    std::chrono::milliseconds heartbeat{2000};
};

/**
 * Hears who comes and goes. Called on the thread of the dispatch loop, in tasks of their own; never
 * after the end of the node that it was given to.
 */
class BusListener {
public:
    virtual ~BusListener() = default;

    /** An address is served for the first time. */
    virtual void peerFound(unsigned char sid, BusHolder const& holder) = 0;

    /**
     * An address that was served is not served by that process any more.
     * @param undelivered how many messages to it were sent and are not known to be taken
     */
    virtual void peerLost(unsigned char sid, BusHolder const& holder, std::uint64_t undelivered,
                          std::string const& why) = 0;

    /**
     * An address that was lost is served again.
     * @param restarted by another process, or anew by the same one: what it knew is gone
     */
    virtual void peerReturned(unsigned char sid, BusHolder const& holder, bool restarted) = 0;

    /** An address of this process turned out to be served by another one, which keeps it. */
    virtual void claimLost(unsigned char sid, BusHolder const& holder) = 0;

    /** A node can't be linked with; told once until it can. */
    virtual void linkRefused(std::string const& endpoint, std::string const& why) = 0;
};

/** A listener that does nothing, for those who want to hear some things only. */
class SilentBusListener : public BusListener {
public:
    void peerFound(unsigned char, BusHolder const&) override {}
    void peerLost(unsigned char, BusHolder const&, std::uint64_t, std::string const&) override {}
    void peerReturned(unsigned char, BusHolder const&, bool) override {}
    void claimLost(unsigned char, BusHolder const&) override {}
    void linkRefused(std::string const&, std::string const&) override {}
};

} // namespace host

#endif
