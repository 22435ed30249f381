#ifndef HOST_BUS_BUSWIRE_H
#define HOST_BUS_BUSWIRE_H

#include "host/Counters.h"
#include "host/bus/Bus.h"
#include "host/bus/BusAddress.h"
#include "host/bus/BusDirectory.h"
#include "host/bus/BusExchange.h"
#include "host/bus/BusKeys.h"
#include "host/bus/Frame.h"

#include <zmq.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace host {

/** Where and how a node joins: the options, taken apart and checked. */
struct BusPlace {
    /**
     * @throw std::invalid_argument for a bad address, and for one that needs keys without them
     * @throw std::runtime_error when the directory or the keys can't be used
     */
    explicit BusPlace(BusOptions const& options);

    /** Of a node of this process that joins here. */
    BusExchange::Setup setup(bool isTap) const;

    BusOptions options;
    BusAddress address;
    std::optional<BusDirectory> directory;
    std::optional<BusKeys> keys;
    /** Endpoint and public key, which is empty without keys. */
    std::map<std::string, std::string> peers;
};

/**
 * The bus's own thread, which is the only one that touches sockets: one in which all other nodes'
 * frames arrive, and one to each other node. Whatever is decided stands in the exchange.
 */
class BusWire {
public:
    /**
     * Returns when other nodes can find this one.
     * @throw std::runtime_error when it can't take frames
     */
    BusWire(std::shared_ptr<BusPlace const> place, std::shared_ptr<BusExchange> exchange,
            Counters& counters);

    /** Sends what was sent, says farewell, and ends the thread; takes no longer than `linger`. */
    ~BusWire();

    BusWire(BusWire const&) = delete;
    BusWire& operator=(BusWire const&) = delete;

private:
    using Clock = std::chrono::steady_clock;
    using LinkId = BusExchange::LinkId;

    /** A node that frames arrive from. */
    struct Inflow {
        BusExchange::InflowId id;
        BusNode node;
        /** Where it is reached from here. */
        std::string endpoint;
        std::uint64_t lastSequence = 0;
        /** What its node told here last. */
        std::optional<BusClaims> claims{};
        /** Its node sends on a later connection; what is left here counts as lost there. */
        bool isSuperseded = false;
    };
    /** A connection to a node. */
    struct Outlet {
        zmq::socket_t socket;
        zmq::socket_t monitor;
        std::string endpoint;
        Clock::time_point since;
        /** Set when the node bade it welcome. */
        std::optional<BusNode> node{};
        bool isConnected = false;
    };
    /** An endpoint that should be linked with. */
    struct Target {
        std::string key;
        /** Of the peers that were named, which are tried for ever. */
        bool isNamed = false;
        /** It was never linked with. */
        bool isNew = true;
        std::optional<LinkId> outlet{};
        Clock::time_point due{};
        std::chrono::milliseconds pause{};
        Clock::time_point forgetAt = Clock::time_point::max();
        /** Connections in a row that ended before a welcome. */
        unsigned failures = 0;
        /** The first attempt was answered or failed. */
        bool isResolved = false;
        /** It was reported that it can't be linked with. */
        bool isRefusalTold = false;
    };
    using Targets = std::map<std::string, Target>;
    using Outlets = std::map<LinkId, Outlet>;
    /** By the name that the inlet gives a connection. */
    using Inflows = std::map<std::string, Inflow>;

    void run(std::promise<void> ready);
    void open();
    void openInlet();
    void secure(zmq::socket_t& socket, std::string const& endpoint) const;
    void turn(std::chrono::milliseconds longest);
    void serveInlet();
    void serveInletMonitor();
    void servePermissions();
    void serveOutlet(LinkId id);
    void serveOutletMonitor(LinkId id);
    void doWork();
    void doTimers(Clock::time_point now);
    std::chrono::milliseconds untilTimers(Clock::time_point now) const;
    void leave();

    void takeFrame(std::string const& from, zmq::message_t& bytes);
    void welcome(std::string const& from, HelloFrame const& hello, zmq::message_t& bytes);
    std::string refusalOf(BusNode const& node, std::string const& endpoint) const;
    template <class Body>
    void takeSequenced(std::string const& from, std::uint64_t sequence, Body const& body);
    /** @return false when the node is not there any more; it is forgotten then */
    bool reply(std::string const& to, Frame const& frame);
    void supersedeOthers(Inflow const& by);
    void refuse(std::string const& from, std::string const& why);
    void forget(std::string const& from);
    bool hasInflowOf(std::string const& endpoint) const;
    bool isFull() const;
    void tellSenders();
    Frame claimsFrame() const;
    void takeClaims(Inflow& inflow, BusClaims const& claims);
    void expectLink(std::string const& endpoint);
    void tellClaims();

    void takeAnswer(LinkId id, zmq::message_t& bytes);
    void takeWelcome(LinkId id, BusNode const& node);
    void closeOutlet(LinkId id, std::string const& why);
    bool isExpected(Target const& target) const;
    void refuseOutlet(LinkId id, std::string const& why);
    void refuseUnanswered(LinkId id);
    void refuseSilent(Clock::time_point now);
    void tellRefused(std::string const& endpoint, Target& target, std::string const& why);
    void drop(LinkId id);

    void aim(std::string const& endpoint, std::string const& key);
    void stopTrying(std::string const& endpoint);
    void tryDial(std::string const& endpoint, Target& target);
    void dial(std::string const& endpoint, Target& target);
    void scan();
    void resolve(Target& target);
    void tellUnresolved();
    bool isLinkedWith(std::uint64_t instance) const;

    std::shared_ptr<BusPlace const> place;
    std::shared_ptr<BusExchange> exchange;
    Counters& counters;
    std::unique_ptr<BusDirectory::Place> socketFile;

    // Of the thread, from here on.
    zmq::context_t context;
    zmq::socket_t inlet;
    zmq::socket_t inletMonitor;
    zmq::socket_t permissions;
    Targets targets;
    Outlets outlets;
    Inflows inflows;
    /** Connections that were told that they are not welcome, since the last one ended. */
    std::set<std::string> refusedInflows;
    LinkId lastLink = 0;
    BusExchange::InflowId lastInflow = ownInflow;
    Clock::time_point nextScan{};

    std::atomic<bool> isEnding{false};
    std::thread thread;
};

} // namespace host

#endif
