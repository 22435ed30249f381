#ifndef HOST_BUS_BUSEXCHANGE_H
#define HOST_BUS_BUSEXCHANGE_H

#include "host/Counters.h"
#include "host/bus/Bus.h"
#include "host/bus/Frame.h"
#include "host/bus/LockFile.h"
#include "host/bus/Wakeup.h"
#include "host/bus/Window.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/Transport.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace host {

/** A message that a tap sees, see CopyFrame. */
struct BusCopy {
    BusHolder sender;
    std::uint64_t number = 0;
    std::uint64_t timestamp = 0;
    /** How many copies of this sender's messages did not arrive so far. */
    std::uint64_t missed = 0;
    imc_msg message{};
};

/** Who sees what others send; called on the thread of the dispatch loop. */
class BusTapListener {
public:
    virtual ~BusTapListener() = default;

    virtual void copy(BusCopy const& copy) = 0;

    /** Copies of the sender's messages did not arrive, and none follows so far that could say so.
     *  @param total how many, since the sender was linked */
    virtual void missed(BusHolder const& sender, std::uint64_t total) = 0;
};

/** A linked node and what is on its way to it. */
struct BusPeer {
    BusHolder holder;
    bool isTap = false;
    std::vector<unsigned char> sids;
    std::size_t untaken = 0;
};

/**
 * What the loop's thread and the bus's own thread share: who serves which address, what is on its
 * way, and what the bus's thread has to do. Of a link this knows what it carries; its socket is the
 * bus's thread's.
 *
 * Operations are for the thread that they stand under. Nothing here waits, except `send` for a
 * node that is known to be there, and `awaitPeers`.
 */
class BusExchange : public std::enable_shared_from_this<BusExchange> {
public:
    using LinkId = std::uint64_t;
    using InflowId = std::uint64_t;

    struct Setup {
        BusNode self;
        std::size_t window = 1;
        std::chrono::milliseconds linkWait{};
        /**
         * Whose claim counts when two nodes serve an address. With locks it is the later one: the
         * other is not known to be dead yet. Without, it is the earlier one.
         */
        bool laterClaimWins = true;
        /** Who serves an address, linked or not; empty where nobody can tell. */
        std::function<std::optional<BusHolder>(unsigned char)> whoHolds{};

        /** Claims are known to all from the moment that they are made. */
        bool hasLocks() const { return static_cast<bool>(whoHolds); }
    };

    /** All have to outlive this object, the listeners until `end`; they may be null. */
    BusExchange(Dispatcher& dispatcher, Counters& counters, Setup setup, BusListener* listener,
                BusTapListener* tap);

    /** @name On the loop's thread */
    /// @{
    /** @param lock of the address, where addresses are locked */
    void attach(unsigned char sid, Endpoint& endpoint, std::optional<LockFile> lock);
    void detach(unsigned char sid);
    bool isAttached(unsigned char sid) const;
    /** Who serves the address on a linked node. */
    std::optional<BusHolder> holderOf(unsigned char sid) const;
    /** Waits until the nodes that were named are linked or can't be, but not for ever. */
    void awaitPeers();
    /** Whether it would not wait. */
    bool isResolved() const;
    void send(imc_msg const& message);
    std::vector<BusPeer> peers() const;
    /** The nodes that frames arrive from. */
    std::vector<BusHolder> senders() const;
    /** @param action is shown each message of another node, before it is delivered */
    void watchArrivals(std::function<void(imc_msg const&)> action);
    /** Nothing is delivered or reported any more. */
    void end();
    /// @}

    /** @name On the bus's thread */
    /// @{
    struct Outgoing {
        LinkId link;
        FrameBytes frame;
    };
    /** What there is to do since it was asked last. */
    struct Work {
        std::deque<Outgoing> frames;
        /** Up to which sequence the messages of an inflow were taken. */
        std::map<InflowId, std::uint64_t> taken;
        bool claimsChanged = false;
        /** Somebody waits for a node that is not linked yet. */
        bool isAwaited = false;
    };
    Work takeWork();

    void linkUp(LinkId link, BusNode const& node);
    /** @param claims what the link's node serves; older ones than are known change nothing */
    void linkClaims(LinkId link, BusClaims const& claims);
    /** @return false when nothing was sent that could be taken so far */
    bool linkTaken(LinkId link, std::uint64_t upTo);
    void linkDown(LinkId link, std::string const& why);
    void linkRefused(std::string const& endpoint, std::string const& why);

    /** How many nodes it is not known of yet whether they can be linked with. */
    void setUnresolved(std::size_t nodes);

    void setSenders(std::vector<BusHolder> nodes);
    void receive(InflowId inflow, std::uint64_t sequence, DataFrame const& data);
    void receive(InflowId inflow, std::uint64_t sequence, BusHolder const& sender,
                 CopyFrame const& copy);
    void tellMissed(BusHolder const& sender, std::uint64_t total);

    BusClaims claims() const;
    /** Everything that was sent was taken. */
    bool isDrained() const;
    /// @}

    Wakeup const& wakeup() const { return waker; }
    BusNode const& self() const { return setup.self; }
    /** Before anything else happens: where this node takes frames. */
    void setEndpoint(std::string const& endpoint) { setup.self.endpoint = endpoint; }

private:
    struct Attachment {
        Endpoint* endpoint;
        BusClaim claim;
        std::optional<LockFile> lock;
        /** Another node keeps the address. */
        bool isLost = false;
    };
    struct Link {
        BusNode node;
        BusClaims claims;
        Window window;
        /** @name Of a tap */
        /// @{
        std::uint64_t missed = 0;
        std::uint64_t missedTold = 0;
        /// @}
    };
    struct Route {
        LinkId link;
        BusClaim claim;
        std::uint64_t instance;
    };
    using Routes = std::map<unsigned char, Route>;
    /** Who served an address last. */
    struct Known {
        BusHolder holder;
        std::uint64_t instance;
        std::uint32_t claim;
        /** Empty as long as it does. */
        std::string whyGone;
    };

    using Lock = std::unique_lock<std::mutex>;

    // The mutex is held in all of these.
    Route const* awaitRoute(Lock& lock, unsigned char sid);
    [[noreturn]] void refuse(unsigned char sid, std::optional<BusHolder> const& holder);
    void sendTo(Route const& route, imc_msg const& message);
    void copyToTaps(imc_msg const& message, std::uint64_t timestamp);
    void postDelivery(InflowId inflow, std::uint64_t sequence, std::uint32_t claim,
                      imc_msg const& message);
    void noteTaken(InflowId inflow, std::uint64_t sequence);
    void push(LinkId link, Frame const& frame);
    BusClaims ownClaims() const;
    void pushClaims(LinkId link);
    /** To all who are linked with, and in front of what is sent to them from now on. */
    void tellClaims();
    void wake();
    bool precedes(BusClaim const& claim, std::uint64_t instance, BusClaim const& other,
                  std::uint64_t otherInstance) const;
    /** Whether this node serves the address that another one claims; gives it up where not. */
    bool keepsOwn(BusClaim const& claim, BusNode const& node);
    Routes routesOfLinks();
    /** @param why the addresses are lost that are not served any more */
    void reroute(std::string const& why);
    void tellLost(unsigned char sid, Route const& before, std::string const& why,
                  std::uint64_t undelivered);
    void tellServed(unsigned char sid, Route const& route);
    void report(std::function<void(BusListener&)> what);

    /** A message arrived at its address; on the loop's thread, without the mutex. */
    void deliver(InflowId inflow, std::uint64_t sequence, std::uint32_t claim,
                 imc_msg const& message);

    Dispatcher& dispatcher;
    Counters& counters;
    Setup setup;
    Wakeup waker;
    /** @name Of the loop's thread */
    /// @{
    BusListener* listener;
    BusTapListener* tap;
    std::function<void(imc_msg const&)> arrivals;
    /// @}

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::map<unsigned char, Attachment> attachments;
    std::uint32_t lastClaim = 0;
    /** Of the claims; they change with each. */
    std::uint64_t version = 0;
    std::map<LinkId, Link> links;
    Routes routes;
    std::map<unsigned char, Known> known;
    /** Addresses that were waited for in vain, and until when they are not again. */
    std::map<unsigned char, std::chrono::steady_clock::time_point> givenUp;
    /** Conflicts that were counted. */
    std::set<std::tuple<std::uint64_t, unsigned char, std::uint32_t>> conflicts;
    std::uint64_t sent = 0;
    std::size_t unresolved = 0;
    std::vector<BusHolder> sending;
    Work work;
    bool isWoken = false;
};

/** Not an inflow: the message comes from this node itself. */
constexpr BusExchange::InflowId ownInflow = 0;

} // namespace host

#endif
