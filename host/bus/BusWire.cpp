#include "host/bus/BusWire.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace host {

namespace {

using std::chrono::milliseconds;

/** No frame is longer; a peer that sends more loses its connection. */
constexpr std::int64_t longestFrame = 65536;

/** Frames of one socket in one turn, so that a busy one does not starve the others. */
constexpr int framesPerTurn = 256;

constexpr milliseconds scanPause{1000};
constexpr milliseconds firstPause{20};
constexpr milliseconds longestPause{2000};
/** How long a node that made itself known, and was not named, is tried when it does not answer. */
constexpr std::chrono::seconds patience{30};
constexpr milliseconds handshakeLimit{5000};
constexpr milliseconds connectLimit{3000};

/** Nodes that made themselves known: each takes three of the 1023 sockets that a process has. */
constexpr std::ptrdiff_t mostStrangers = 256;

char const authenticationDomain[] = "mcgw";

constexpr int handshakeFailures = ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
                                  ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL |
                                  ZMQ_EVENT_HANDSHAKE_FAILED_AUTH;
constexpr int connectionEnds = ZMQ_EVENT_CLOSED | ZMQ_EVENT_DISCONNECTED | handshakeFailures;

char const* withoutWelcome(bool hasKeys) {
    return hasKeys ? "it says no welcome: a key is not the right one, it is halted, or it is no bus"
                   : "it says no welcome: it is halted, wants keys, or is no bus";
}

void requireGood(BusOptions const& options) {
    bool const isPrintable =
        std::all_of(options.name.begin(), options.name.end(),
                    [](unsigned char each) { return each >= 0x20 && each != 0x7F; });
    if (options.name.empty() || options.name.size() > BusNode::longestName || !isPrintable) {
        throw std::invalid_argument(
            "the name of a process on the bus has 1 to 64 printable characters");
    }
    if (options.window == 0) {
        throw std::invalid_argument("the window of the bus holds at least one message");
    }
}

void requireKeys(BusAddress const& address, std::string const& url) {
    if (!address.isLocal()) {
        throw std::invalid_argument(url + ": other machines reach this address, so that it needs "
                                          "keys; without them the bus is for 127.0.0.1, "
                                          "localhost and [::1]");
    }
}

std::uint64_t randomInstance() {
    std::random_device random;
    return std::uint64_t{random()} << 32U | random();
}

/** Tells these events of a socket. */
zmq::socket_t monitorOf(zmq::context_t& context, zmq::socket_t& socket, std::uint64_t number,
                        int events) {
    std::string const name = "inproc://monitor-" + std::to_string(number);
    if (zmq_socket_monitor(socket.handle(), name.c_str(), events) != 0) {
        throw zmq::error_t();
    }
    zmq::socket_t monitor(context, zmq::socket_type::pair);
    monitor.set(zmq::sockopt::linger, 0);
    monitor.connect(name);
    return monitor;
}

/** @return nothing when no event waits */
std::optional<int> nextEvent(zmq::socket_t& monitor) {
    zmq::message_t event;
    if (!monitor.recv(event, zmq::recv_flags::dontwait)) {
        return std::nullopt;
    }
    std::uint16_t number = 0;
    std::memcpy(&number, event.data(), std::min(sizeof number, event.size()));
    zmq::message_t address;
    while (event.more() && monitor.recv(address, zmq::recv_flags::dontwait) && address.more()) {
    }
    return number;
}

/** All parts of the next message; empty when none waits. */
std::vector<zmq::message_t> nextParts(zmq::socket_t& socket) {
    std::vector<zmq::message_t> parts;
    bool hasMore = true;
    while (hasMore) {
        zmq::message_t part;
        if (!socket.recv(part, zmq::recv_flags::dontwait)) {
            break;
        }
        hasMore = part.more();
        parts.push_back(std::move(part));
    }
    return parts;
}

/** What the connection of a message is known to be; empty when it is not known. */
std::string property(zmq::message_t& message, char const* name) {
    char const* const value = zmq_msg_gets(message.handle(), name);
    return value == nullptr ? "" : value;
}

/** What a node tells of its endpoint, with its machine where it only says "any of mine". */
std::string reachable(std::string const& endpoint, std::string const& machine) {
    BusAddress address = parseBusAddress(endpoint);
    if (address.kind == BusAddress::Kind::ipc) {
        return endpoint;
    }
    if (address.host == "0.0.0.0" || address.host == "[::]" || address.host == "*") {
        address.host = machine.find(':') == std::string::npos ? machine : "[" + machine + "]";
    }
    return address.endpoint();
}

} // namespace

BusPlace::BusPlace(BusOptions const& how) : options(how), address(parseBusAddress(how.url)) {
    requireGood(options);
    if (address.kind == BusAddress::Kind::ipc) {
        if (!options.peers.empty() || !options.keys.empty()) {
            throw std::invalid_argument(options.url + ": the processes of an ipc bus find each "
                                                      "other, and need neither peers nor keys");
        }
        directory.emplace(address.directory);
        return;
    }
    if (!options.keys.empty()) {
        keys.emplace(options.keys);
    } else {
        requireKeys(address, options.url);
    }
    for (std::string const& url : options.peers) {
        BusAddress const peer = parseBusAddress(url);
        if (peer.kind != BusAddress::Kind::tcp || peer.port == "*") {
            throw std::invalid_argument("\"" + url + "\" is no peer: expected tcp://HOST:PORT");
        }
        if (!keys) {
            requireKeys(peer, url);
        }
        peers[peer.endpoint()] = keys ? keys->peer(peer.key) : "";
    }
}

BusExchange::Setup BusPlace::setup(bool isTap) const {
    BusExchange::Setup result;
    result.self = {randomInstance(), static_cast<std::uint32_t>(getpid()), isTap, options.name, ""};
    result.window = options.window;
    result.linkWait = options.linkWait;
    result.laterClaimWins = directory.has_value();
    if (directory) {
        result.whoHolds = [within = *directory](unsigned char sid) { return within.holderOf(sid); };
    }
    return result;
}

BusWire::BusWire(std::shared_ptr<BusPlace const> where, std::shared_ptr<BusExchange> with,
                 Counters& faults)
    : place(std::move(where)), exchange(std::move(with)), counters(faults) {
    if (place->directory) {
        BusNode const& self = exchange->self();
        socketFile = place->directory->enter({self.name, self.pid}, self.instance);
    }
    std::promise<void> ready;
    std::future<void> isReady = ready.get_future();
    // The process's signals are for its own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread = std::thread([this, promise = std::move(ready)]() mutable { run(std::move(promise)); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    try {
        isReady.get();
    } catch (...) {
        thread.join();
        throw;
    }
}

BusWire::~BusWire() {
    isEnding = true;
    exchange->wakeup().wake();
    thread.join();
}

void BusWire::run(std::promise<void> ready) {
    try {
        open();
        ready.set_value();
    } catch (std::exception const& error) {
        ready.set_exception(std::make_exception_ptr(
            std::runtime_error("can't join the bus " + place->options.url + ": " + error.what())));
        return;
    }
    while (!isEnding) {
        try {
            turn(scanPause);
        } catch (std::exception const&) {
            // Such as no descriptor left: it may pass, and the other links are as good as before.
            counters.add(Cause::busSystemFault);
            std::this_thread::sleep_for(firstPause);
        }
    }
    leave();
}

void BusWire::open() {
    if (place->keys) {
        permissions = zmq::socket_t(context, zmq::socket_type::rep);
        permissions.set(zmq::sockopt::linger, 0);
        permissions.bind("inproc://zeromq.zap.01");
    }
    openInlet();
    for (auto const& [endpoint, key] : place->peers) {
        targets[endpoint] = Target{key, true};
    }
    tellUnresolved();
}

void BusWire::openInlet() {
    inlet = zmq::socket_t(context, zmq::socket_type::router);
    inlet.set(zmq::sockopt::router_mandatory, true);
    inlet.set(zmq::sockopt::sndhwm, 0);
    secure(inlet, place->address.endpoint());
    if (place->keys) {
        inlet.set(zmq::sockopt::curve_server, true);
        inlet.set(zmq::sockopt::curve_secretkey, place->keys->secretKey());
        inlet.set(zmq::sockopt::zap_domain, authenticationDomain);
    }
    inletMonitor = monitorOf(context, inlet, 0, ZMQ_EVENT_DISCONNECTED | handshakeFailures);
    if (socketFile) {
        inlet.bind(socketFile->endpoint());
        socketFile->protect();
        exchange->setEndpoint(socketFile->endpoint());
    } else {
        BusAddress at = place->address;
        // Sockets are bound to numbers, and to names of devices.
        at.host = at.host == "localhost" ? "127.0.0.1" : at.host;
        inlet.bind(at.endpoint());
        exchange->setEndpoint(inlet.get(zmq::sockopt::last_endpoint));
    }
}

/** What holds for every socket that other processes reach. */
void BusWire::secure(zmq::socket_t& socket, std::string const& endpoint) const {
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::maxmsgsize, longestFrame);
    socket.set(zmq::sockopt::handshake_ivl, static_cast<int>(handshakeLimit.count()));
    if (place->address.kind == BusAddress::Kind::tcp) {
        // Between processes of one machine the system tells the end; one that a debugger halts is
        // none there.
        auto const probe = static_cast<int>(place->options.heartbeat.count());
        socket.set(zmq::sockopt::heartbeat_ivl, probe);
        socket.set(zmq::sockopt::heartbeat_timeout, 3 * probe);
        socket.set(zmq::sockopt::heartbeat_ttl, 4 * probe);
        // With it, IPv4 addresses would be told in a form of IPv6.
        socket.set(zmq::sockopt::ipv6, endpoint.find('[') != std::string::npos);
    }
}

/** @param longest that it waits when there is nothing to do */
void BusWire::turn(milliseconds longest) {
    Clock::time_point const now = Clock::now();
    doTimers(now);
    std::vector<zmq::pollitem_t> items = {{nullptr, exchange->wakeup().descriptor(), ZMQ_POLLIN, 0},
                                          {inlet.handle(), 0, ZMQ_POLLIN, 0},
                                          {inletMonitor.handle(), 0, ZMQ_POLLIN, 0}};
    if (permissions) {
        items.push_back({permissions.handle(), 0, ZMQ_POLLIN, 0});
    }
    std::vector<LinkId> ids;
    for (auto& [id, outlet] : outlets) {
        ids.push_back(id);
        items.push_back({outlet.socket.handle(), 0, ZMQ_POLLIN, 0});
        items.push_back({outlet.monitor.handle(), 0, ZMQ_POLLIN, 0});
    }
    zmq::poll(items, std::min(longest, untilTimers(now)));
    doWork();
    serveInlet();
    serveInletMonitor();
    if (permissions) {
        servePermissions();
    }
    for (LinkId const id : ids) {
        serveOutlet(id);
        if (outlets.count(id) != 0) {
            serveOutletMonitor(id);
        }
    }
}

void BusWire::doWork() {
    exchange->wakeup().take();
    BusExchange::Work const work = exchange->takeWork();
    for (BusExchange::Outgoing const& each : work.frames) {
        auto const found = outlets.find(each.link);
        if (found == outlets.end()) {
            continue;
        }
        try {
            // There is no limit but the window; without a connection the monitor tells the end.
            found->second.socket.send(zmq::buffer(each.frame), zmq::send_flags::dontwait);
        } catch (zmq::error_t const&) {
            counters.add(Cause::busSystemFault);
            closeOutlet(each.link, "the connection broke");
        }
    }
    for (auto const& [inflow, sequence] : work.taken) {
        auto const found = std::find_if(inflows.begin(), inflows.end(),
                                        [id = inflow](auto& each) { return each.second.id == id; });
        if (found != inflows.end()) {
            reply(std::string(found->first), {sequence, TakenFrame{}});
        }
    }
    if (work.claimsChanged) {
        tellClaims();
    }
    if (work.isAwaited) {
        nextScan = Clock::time_point();
        for (auto& [endpoint, target] : targets) {
            target.due = Clock::time_point();
        }
    }
}

void BusWire::serveInlet() {
    for (int i = 0; i < framesPerTurn; ++i) {
        std::vector<zmq::message_t> parts = nextParts(inlet);
        if (parts.empty()) {
            return;
        }
        if (parts.size() == 2) {
            takeFrame(parts[0].to_string(), parts[1]);
        } else {
            counters.add(Cause::busBadFrame);
        }
    }
}

void BusWire::takeFrame(std::string const& from, zmq::message_t& bytes) {
    auto const decoded = decodeFrame(bytes.data(), bytes.size());
    if (FrameFault const* const fault = std::get_if<FrameFault>(&decoded)) {
        if (*fault == FrameFault::version) {
            refuse(from, "it speaks another version of the bus");
        } else {
            counters.add(Cause::busBadFrame);
        }
        return;
    }
    Frame const& frame = std::get<Frame>(decoded);
    bool const isKnown = inflows.count(from) != 0;
    if (auto const* const hello = std::get_if<HelloFrame>(&frame.body); hello && !isKnown) {
        welcome(from, *hello, bytes);
    } else if (auto const* const data = std::get_if<DataFrame>(&frame.body); data && isKnown) {
        takeSequenced(from, frame.sequence, *data);
    } else if (auto const* const copy = std::get_if<CopyFrame>(&frame.body); copy && isKnown) {
        takeSequenced(from, frame.sequence, *copy);
    } else if (auto const* const sids = std::get_if<SidsFrame>(&frame.body);
               sids && isKnown && !place->directory) {
        takeClaims(inflows.at(from), {frame.sequence, sids->claims});
    } else if (std::holds_alternative<MissedFrame>(frame.body) && isKnown) {
        BusNode const& node = inflows.at(from).node;
        exchange->tellMissed({node.name, node.pid}, std::get<MissedFrame>(frame.body).missed);
    } else if (std::holds_alternative<ByeFrame>(frame.body) && isKnown) {
        forget(from);
    } else {
        counters.add(Cause::busBadFrame);
    }
}

/** Why a node is not welcome; empty when it is. */
std::string BusWire::refusalOf(BusNode const& node, std::string const& endpoint) const {
    if (node.instance == exchange->self().instance) {
        return "it is this process itself";
    }
    bool const isIpc = endpoint.rfind("ipc://", 0) == 0;
    if (isIpc != place->directory.has_value() || (isIpc && !place->directory->contains(endpoint))) {
        return "its endpoint " + endpoint + " is not of this bus";
    }
    if (!isIpc && !place->keys && !parseBusAddress(endpoint).isLocal()) {
        return "its endpoint " + endpoint + " needs keys";
    }
    if (!isIpc && parseBusAddress(endpoint).port == "*") {
        return "its endpoint " + endpoint + " has no number of a port";
    }
    if (targets.count(endpoint) == 0 && isFull()) {
        return "as many processes as there may be are known already";
    }
    return "";
}

void BusWire::welcome(std::string const& from, HelloFrame const& hello, zmq::message_t& bytes) {
    std::string endpoint;
    std::string refusal;
    try {
        endpoint = reachable(hello.node.endpoint, property(bytes, "Peer-Address"));
        refusal = refusalOf(hello.node, endpoint);
    } catch (std::invalid_argument const& error) {
        refusal = error.what();
    }
    if (!refusal.empty()) {
        refuse(from, refusal);
        return;
    }
    inflows[from] = Inflow{++lastInflow, hello.node, endpoint};
    tellSenders();
    if (reply(from, {0, WelcomeFrame{exchange->self()}}) && reply(from, claimsFrame()) &&
        !isLinkedWith(hello.node.instance)) {
        aim(endpoint, property(bytes, "User-Id"));
    }
}

template <class Body>
void BusWire::takeSequenced(std::string const& from, std::uint64_t sequence, Body const& body) {
    Inflow& inflow = inflows.at(from);
    if (sequence == 1) {
        supersedeOthers(inflow);
    }
    if (sequence <= inflow.lastSequence || inflow.isSuperseded) {
        // Taken already: a second time would be a message that nobody sent. Or too late: the node
        // sent others since.
        counters.add(Cause::busOutOfSequence);
        return;
    }
    if (sequence != inflow.lastSequence + 1) {
        counters.add(Cause::busOutOfSequence);
    }
    inflow.lastSequence = sequence;
    if constexpr (std::is_same_v<Body, DataFrame>) {
        exchange->receive(inflow.id, sequence, body);
    } else {
        exchange->receive(inflow.id, sequence, {inflow.node.name, inflow.node.pid}, body);
    }
}

/** A node sends on one connection at a time; of an earlier one something may still come in. */
void BusWire::supersedeOthers(Inflow const& by) {
    for (auto& [name, inflow] : inflows) {
        if (inflow.node.instance == by.node.instance && inflow.id < by.id) {
            inflow.isSuperseded = true;
        }
    }
}

/** Says so once: answers to one who does not read them would pile up. */
void BusWire::refuse(std::string const& from, std::string const& why) {
    counters.add(Cause::busBadFrame);
    if (refusedInflows.insert(from).second) {
        reply(from, {0, RefusedFrame{why.substr(0, RefusedFrame::longestReason)}});
    }
}

bool BusWire::reply(std::string const& to, Frame const& frame) {
    try {
        FrameBytes const bytes = encodeFrame(frame);
        inlet.send(zmq::buffer(to), zmq::send_flags::sndmore | zmq::send_flags::dontwait);
        inlet.send(zmq::buffer(bytes), zmq::send_flags::dontwait);
        return true;
    } catch (zmq::error_t const&) {
        forget(to);
        return false;
    }
}

void BusWire::forget(std::string const& from) {
    auto const found = inflows.find(from);
    if (found != inflows.end()) {
        std::string const endpoint = found->second.endpoint;
        inflows.erase(found);
        tellSenders();
        stopTrying(endpoint);
    }
}

bool BusWire::hasInflowOf(std::string const& endpoint) const {
    return std::any_of(inflows.begin(), inflows.end(),
                       [&endpoint](auto const& each) { return each.second.endpoint == endpoint; });
}

bool BusWire::isFull() const {
    return std::count_if(targets.begin(), targets.end(),
                         [](auto const& each) { return !each.second.isNamed; }) >= mostStrangers;
}

void BusWire::tellSenders() {
    std::vector<BusHolder> senders;
    for (auto const& [name, inflow] : inflows) {
        senders.push_back({inflow.node.name, inflow.node.pid});
    }
    exchange->setSenders(std::move(senders));
}

Frame BusWire::claimsFrame() const {
    BusClaims const own = exchange->claims();
    return {own.version, SidsFrame{own.claims}};
}

/** A node tells them on both connections: here in front of the messages that it sends. */
void BusWire::takeClaims(Inflow& inflow, BusClaims const& claims) {
    inflow.claims = claims;
    if (!isLinkedWith(inflow.node.instance)) {
        expectLink(inflow.endpoint);
    }
    for (auto const& [id, outlet] : outlets) {
        if (outlet.node && outlet.node->instance == inflow.node.instance) {
            exchange->linkClaims(id, claims);
            resolve(targets.at(outlet.endpoint));
        }
    }
}

/** Whoever wants to send there may wait for it. */
void BusWire::expectLink(std::string const& endpoint) {
    auto const target = targets.find(endpoint);
    if (target != targets.end()) {
        target->second.isResolved = false;
        target->second.due = Clock::time_point();
        tellUnresolved();
    }
}

void BusWire::tellClaims() {
    Frame const frame = claimsFrame();
    for (auto each = inflows.begin(); each != inflows.end();) {
        std::string const to = each->first;
        ++each;
        reply(to, frame);
    }
}

void BusWire::serveInletMonitor() {
    bool isSomebodyGone = false;
    while (std::optional<int> const event = nextEvent(inletMonitor)) {
        if (*event == ZMQ_EVENT_DISCONNECTED) {
            isSomebodyGone = true;
        } else if (*event != ZMQ_EVENT_HANDSHAKE_FAILED_AUTH) {
            counters.add(Cause::busHandshakeFailed);
        }
    }
    if (isSomebodyGone) {
        // It is not told who; whoever can't be told something is forgotten.
        tellClaims();
        refusedInflows.clear();
    }
}

/** Answers the sockets' own question whether a key may come in (ZAP, ZeroMQ RFC 27). */
void BusWire::servePermissions() {
    for (std::vector<zmq::message_t> request = nextParts(permissions); !request.empty();
         request = nextParts(permissions)) {
        bool const isWhole = request.size() == 7 && request[6].size() == 32;
        std::string const key =
            isWhole ? keyText(static_cast<unsigned char const*>(request[6].data())) : "";
        bool const isAllowed = isWhole && place->keys->isAllowed(key);
        if (!isAllowed) {
            counters.add(Cause::busKeyRefused);
        }
        std::array<std::string, 6> const answer = {"1.0",
                                                   request.size() > 1 ? request[1].to_string() : "",
                                                   isAllowed ? "200" : "400",
                                                   isAllowed ? "OK" : "unknown key",
                                                   key,
                                                   ""};
        for (std::size_t i = 0; i < answer.size(); ++i) {
            permissions.send(zmq::buffer(answer[i]), i + 1 < answer.size()
                                                         ? zmq::send_flags::sndmore
                                                         : zmq::send_flags::none);
        }
    }
}

void BusWire::serveOutlet(LinkId id) {
    for (int i = 0; i < framesPerTurn; ++i) {
        auto const found = outlets.find(id);
        if (found == outlets.end()) {
            return;
        }
        std::vector<zmq::message_t> parts = nextParts(found->second.socket);
        if (parts.empty()) {
            return;
        }
        if (parts.size() == 1) {
            takeAnswer(id, parts[0]);
        } else {
            counters.add(Cause::busBadFrame);
        }
    }
}

void BusWire::takeAnswer(LinkId id, zmq::message_t& bytes) {
    auto const decoded = decodeFrame(bytes.data(), bytes.size());
    Frame const* const frame = std::get_if<Frame>(&decoded);
    if (frame == nullptr) {
        counters.add(Cause::busBadFrame);
        return;
    }
    bool const isUp = outlets.at(id).node.has_value();
    if (auto const* const hello = std::get_if<WelcomeFrame>(&frame->body); hello && !isUp) {
        takeWelcome(id, hello->node);
    } else if (auto const* const refused = std::get_if<RefusedFrame>(&frame->body); refused) {
        refuseOutlet(id, refused->reason);
    } else if (auto const* const own = std::get_if<HelloFrame>(&frame->body);
               own && !isUp && own->node.instance == exchange->self().instance) {
        // A connection to a free port of this machine may happen to be made with itself.
        refuseOutlet(id, "it is this process itself");
    } else if (auto const* const sids = std::get_if<SidsFrame>(&frame->body); sids && isUp) {
        exchange->linkClaims(id, {frame->sequence, sids->claims});
        resolve(targets.at(outlets.at(id).endpoint));
    } else if (std::holds_alternative<TakenFrame>(frame->body) && isUp &&
               exchange->linkTaken(id, frame->sequence)) {
        return;
    } else if (std::holds_alternative<ByeFrame>(frame->body)) {
        closeOutlet(id, "it left the bus");
    } else {
        counters.add(Cause::busBadFrame);
    }
}

void BusWire::takeWelcome(LinkId id, BusNode const& node) {
    if (node.instance == exchange->self().instance) {
        refuseOutlet(id, "it is this process itself");
    } else if (isLinkedWith(node.instance)) {
        // Known under two endpoints: one connection is enough.
        Target& target = targets.at(outlets.at(id).endpoint);
        resolve(target);
        drop(id);
        target.due = Clock::now() + longestPause;
    } else {
        Target& target = targets.at(outlets.at(id).endpoint);
        target.isNew = false;
        target.isRefusalTold = false;
        target.failures = 0;
        target.pause = firstPause;
        target.forgetAt = Clock::time_point::max();
        outlets.at(id).node = node;
        exchange->linkUp(id, node);
        for (auto const& [name, inflow] : inflows) {
            if (inflow.node.instance == node.instance && inflow.claims) {
                exchange->linkClaims(id, *inflow.claims);
                resolve(target);
            }
        }
    }
}

bool BusWire::isLinkedWith(std::uint64_t instance) const {
    return std::any_of(outlets.begin(), outlets.end(), [instance](auto const& each) {
        return each.second.node && each.second.node->instance == instance;
    });
}

void BusWire::serveOutletMonitor(LinkId id) {
    Outlet& outlet = outlets.at(id);
    int seen = 0;
    while (std::optional<int> const event = nextEvent(outlet.monitor)) {
        seen |= *event;
    }
    outlet.isConnected = outlet.isConnected || (seen & ZMQ_EVENT_CONNECTED) != 0;
    if ((seen & connectionEnds) == 0) {
        return;
    }
    // What arrived before the end is read before the link is given up.
    while (outlets.count(id) != 0) {
        std::vector<zmq::message_t> parts = nextParts(outlet.socket);
        if (parts.empty()) {
            break;
        }
        takeAnswer(id, parts[0]);
    }
    if (outlets.count(id) == 0) {
        return;
    }
    if (outlet.node) {
        closeOutlet(id, "the connection broke");
    } else if ((seen & ZMQ_EVENT_HANDSHAKE_FAILED_AUTH) != 0) {
        refuseOutlet(id, "it does not allow the key of this process");
    } else if (outlet.isConnected) {
        refuseUnanswered(id);
    } else if (isExpected(targets.at(outlet.endpoint))) {
        refuseOutlet(id, "nobody answers there");
    } else {
        closeOutlet(id, "nobody answers there");
    }
}

/** Whether somebody has to answer: who was named, or said that it can be reached here. */
bool BusWire::isExpected(Target const& target) const {
    return target.isNamed || (target.isNew && !place->directory);
}

/** The node can't be linked with; that is told once, and tried again now and then. */
void BusWire::refuseOutlet(LinkId id, std::string const& why) {
    std::string const endpoint = outlets.at(id).endpoint;
    closeOutlet(id, why);
    tellRefused(endpoint, targets.at(endpoint), why);
}

void BusWire::tellRefused(std::string const& endpoint, Target& target, std::string const& why) {
    if (!std::exchange(target.isRefusalTold, true)) {
        exchange->linkRefused(endpoint, why);
    }
}

/** The connection ended before a welcome. Once may mean no more than that the process ended. */
void BusWire::refuseUnanswered(LinkId id) {
    if (++targets.at(outlets.at(id).endpoint).failures == 1) {
        closeOutlet(id, "");
    } else {
        refuseOutlet(id, withoutWelcome(place->keys.has_value()));
    }
}

/** Nobody tells when a name is not known, or when a process takes a connection and is silent. */
void BusWire::refuseSilent(Clock::time_point now) {
    std::vector<LinkId> silent;
    for (auto const& [id, outlet] : outlets) {
        if (!outlet.node && now >= outlet.since + handshakeLimit) {
            silent.push_back(id);
        }
    }
    for (LinkId const id : silent) {
        refuseOutlet(id, outlets.at(id).isConnected ? withoutWelcome(place->keys.has_value())
                                                    : "nobody answers there");
    }
}

void BusWire::closeOutlet(LinkId id, std::string const& why) {
    Outlet const& outlet = outlets.at(id);
    Target& target = targets.at(outlet.endpoint);
    if (outlet.node) {
        counters.add(Cause::busLinkLost);
        exchange->linkDown(id, why);
        target.pause = firstPause;
        target.forgetAt = Clock::now() + patience;
    } else {
        target.pause = std::clamp(2 * target.pause, firstPause, longestPause);
    }
    target.due = Clock::now() + target.pause;
    resolve(target);
    drop(id);
}

void BusWire::drop(LinkId id) {
    Outlet& outlet = outlets.at(id);
    targets.at(outlet.endpoint).outlet.reset();
    zmq_socket_monitor(outlet.socket.handle(), nullptr, 0);
    outlets.erase(id);
}

void BusWire::resolve(Target& target) {
    if (!std::exchange(target.isResolved, true)) {
        tellUnresolved();
    }
}

void BusWire::tellUnresolved() {
    if (place->directory) {
        return;
    }
    auto const isOpen = [](auto const& each) { return !each.second.isResolved; };
    exchange->setUnresolved(
        static_cast<std::size_t>(std::count_if(targets.begin(), targets.end(), isOpen)));
}

/** Links with an endpoint from now on. */
void BusWire::aim(std::string const& endpoint, std::string const& key) {
    Target& target = targets.emplace(endpoint, Target{key}).first->second;
    if (!target.isNamed) {
        target.key = key;
    }
    target.due = Clock::time_point();
    target.forgetAt = Clock::now() + patience;
    tellUnresolved();
}

/** Whoever made itself known there is gone; when it comes back it says hello again. */
void BusWire::stopTrying(std::string const& endpoint) {
    auto const found = targets.find(endpoint);
    if (found == targets.end() || found->second.isNamed || hasInflowOf(endpoint)) {
        return;
    }
    if (std::optional<LinkId> const outlet = found->second.outlet; outlet) {
        if (outlets.at(*outlet).node) {
            return;
        }
        drop(*outlet);
    }
    targets.erase(found);
    tellUnresolved();
}

/** What one target can't do is not to hold up the others, nor what there is to do besides. */
void BusWire::tryDial(std::string const& endpoint, Target& target) {
    // Not again at once when this fails.
    target.due = Clock::now() + longestPause;
    try {
        dial(endpoint, target);
    } catch (std::exception const& error) {
        counters.add(Cause::busSystemFault);
        resolve(target);
        tellRefused(endpoint, target, error.what());
    }
}

void BusWire::dial(std::string const& endpoint, Target& target) {
    zmq::socket_t socket(context, zmq::socket_type::dealer);
    secure(socket, endpoint);
    socket.set(zmq::sockopt::sndhwm, 0);
    // One connection: a second one would carry on with a process that knows nothing of the first.
    socket.set(zmq::sockopt::reconnect_ivl, -1);
    socket.set(zmq::sockopt::connect_timeout, static_cast<int>(connectLimit.count()));
    if (place->keys) {
        socket.set(zmq::sockopt::curve_serverkey, target.key);
        socket.set(zmq::sockopt::curve_publickey, place->keys->publicKey());
        socket.set(zmq::sockopt::curve_secretkey, place->keys->secretKey());
    }
    LinkId const id = ++lastLink;
    zmq::socket_t monitor = monitorOf(context, socket, id, ZMQ_EVENT_CONNECTED | connectionEnds);
    socket.connect(endpoint);
    socket.send(zmq::buffer(encodeFrame({0, HelloFrame{exchange->self()}})),
                zmq::send_flags::dontwait);
    outlets.emplace(
        id, Outlet{std::move(socket), std::move(monitor), endpoint, Clock::now(), {}, false});
    target.outlet = id;
}

void BusWire::scan() {
    std::vector<std::string> const living = place->directory->endpoints();
    for (std::string const& endpoint : living) {
        if (endpoint != exchange->self().endpoint) {
            targets.emplace(endpoint, Target{});
        }
    }
    for (auto each = targets.begin(); each != targets.end();) {
        bool const isLiving = std::count(living.begin(), living.end(), each->first) != 0;
        each = isLiving || each->second.outlet ? std::next(each) : targets.erase(each);
    }
}

void BusWire::doTimers(Clock::time_point now) {
    if (place->directory && now >= nextScan) {
        nextScan = now + scanPause;
        scan();
    }
    refuseSilent(now);
    bool isAnyOver = false;
    for (auto each = targets.begin(); each != targets.end();) {
        auto& [endpoint, target] = *each;
        bool const isOver = !target.outlet && !target.isNamed && !place->directory &&
                            now >= target.forgetAt && !hasInflowOf(endpoint);
        if (isOver) {
            each = targets.erase(each);
            isAnyOver = true;
            continue;
        }
        if (!target.outlet && now >= target.due) {
            tryDial(endpoint, target);
        }
        ++each;
    }
    if (isAnyOver) {
        tellUnresolved();
    }
}

milliseconds BusWire::untilTimers(Clock::time_point now) const {
    Clock::time_point next = place->directory ? nextScan : now + scanPause;
    for (auto const& [endpoint, target] : targets) {
        if (!target.outlet) {
            next = std::min(next, target.due);
        }
    }
    for (auto const& [id, outlet] : outlets) {
        if (!outlet.node) {
            next = std::min(next, outlet.since + handshakeLimit);
        }
    }
    auto const rest = std::chrono::duration_cast<milliseconds>(next - now) + milliseconds(1);
    return std::clamp(rest, milliseconds(0), scanPause);
}

void BusWire::leave() {
    Clock::time_point const end = Clock::now() + place->options.linger;
    try {
        while (!exchange->isDrained() && Clock::now() < end) {
            turn(firstPause);
        }
    } catch (std::exception const&) {
        counters.add(Cause::busSystemFault);
    }
    FrameBytes const bye = encodeFrame({0, ByeFrame{}});
    while (!inflows.empty()) {
        std::string const to = inflows.begin()->first;
        reply(to, {0, ByeFrame{}});
        forget(to);
    }
    auto const linger = static_cast<int>(place->options.linger.count());
    for (auto& [id, outlet] : outlets) {
        if (outlet.node) {
            exchange->linkDown(id, "this process left the bus");
            try {
                outlet.socket.send(zmq::buffer(bye), zmq::send_flags::dontwait);
            } catch (zmq::error_t const&) {
                counters.add(Cause::busSystemFault);
            }
        }
        outlet.socket.set(zmq::sockopt::linger, linger);
        zmq_socket_monitor(outlet.socket.handle(), nullptr, 0);
    }
    outlets.clear();
    zmq_socket_monitor(inlet.handle(), nullptr, 0);
    inletMonitor.close();
    inlet.set(zmq::sockopt::linger, linger);
    inlet.close();
    permissions.close();
    context.close();
}

} // namespace host
