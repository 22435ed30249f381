#include "host/bus/BusExchange.h"

#include "host/imc/SidText.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t nanosecondsNow() {
    auto const now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

BusHolder holderFrom(BusNode const& node) {
    return {node.name, node.pid};
}

char const servedHere[] = "this process serves the address";

std::string addressText(unsigned char sid) {
    return "IMC address " + sidText(sid);
}

} // namespace

BusExchange::BusExchange(Dispatcher& loop, Counters& faults, Setup how, BusListener* hears,
                         BusTapListener* sees)
    : dispatcher(loop), counters(faults), setup(std::move(how)), listener(hears), tap(sees) {}

void BusExchange::attach(unsigned char sid, Endpoint& endpoint, std::optional<LockFile> file) {
    Lock const lock(mutex);
    BusClaim const claim = {sid, ++lastClaim, nanosecondsNow()};
    attachments.emplace(sid, Attachment{&endpoint, claim, std::move(file)});
    // What another node did at the address is over, whether or not its end was noticed.
    reroute(servedHere);
    tellClaims();
}

void BusExchange::detach(unsigned char sid) {
    Lock const lock(mutex);
    if (attachments.erase(sid) != 0) {
        auto const before = known.find(sid);
        if (before != known.end() && before->second.whyGone == servedHere) {
            before->second.whyGone = "this process served the address after it";
        }
        reroute("");
        tellClaims();
    }
}

bool BusExchange::isAttached(unsigned char sid) const {
    Lock const lock(mutex);
    return attachments.count(sid) != 0;
}

std::optional<BusHolder> BusExchange::holderOf(unsigned char sid) const {
    Lock const lock(mutex);
    auto const route = routes.find(sid);
    if (route == routes.end()) {
        return std::nullopt;
    }
    return holderFrom(links.at(route->second.link).node);
}

void BusExchange::awaitPeers() {
    Lock lock(mutex);
    changed.wait_for(lock, setup.linkWait, [&] { return unresolved == 0; });
}

bool BusExchange::isResolved() const {
    Lock const lock(mutex);
    return unresolved == 0;
}

void BusExchange::send(imc_msg const& message) {
    unsigned char const sid = message.destinationSid;
    Lock lock(mutex);
    auto const own = attachments.find(sid);
    if (own != attachments.end() && !own->second.isLost) {
        postDelivery(ownInflow, 0, own->second.claim.number, message);
        copyToTaps(message, nanosecondsNow());
        return;
    }
    auto const route = routes.find(sid);
    sendTo(route != routes.end() ? route->second : *awaitRoute(lock, sid), message);
}

BusExchange::Route const* BusExchange::awaitRoute(Lock& lock, unsigned char sid) {
    std::optional<BusHolder> const holder =
        setup.whoHolds ? setup.whoHolds(sid) : std::optional<BusHolder>();
    auto const isServed = [&] { return routes.count(sid) != 0; };
    auto const vain = givenUp.find(sid);
    bool const isVain = vain != givenUp.end() && Clock::now() < vain->second;
    if ((holder || unresolved > 0) && !isVain) {
        work.isAwaited = true;
        wake();
        bool const isDecided = changed.wait_for(
            lock, setup.linkWait, [&] { return isServed() || (!holder && unresolved == 0); });
        if (!isDecided) {
            givenUp[sid] = Clock::now() + setup.linkWait;
        }
    }
    if (!isServed()) {
        refuse(sid, holder);
    }
    return &routes.at(sid);
}

void BusExchange::refuse(unsigned char sid, std::optional<BusHolder> const& holder) {
    if (holder) {
        counters.add(Cause::busNotLinked);
        throw std::runtime_error(addressText(sid) + " is served by " + holder->text() +
                                 ", which does not answer");
    }
    auto const before = known.find(sid);
    if (before != known.end()) {
        counters.add(Cause::busPeerGone);
        throw std::runtime_error("nobody serves " + addressText(sid) +
                                 " any more: " + before->second.holder.text() + " is gone, " +
                                 before->second.whyGone);
    }
    counters.add(Cause::busUnserved);
    throw std::runtime_error("nobody serves " + addressText(sid));
}

void BusExchange::sendTo(Route const& route, imc_msg const& message) {
    Link& link = links.at(route.link);
    if (link.window.isFull()) {
        counters.add(Cause::busWindowFull);
        throw std::runtime_error(
            "queue to " + sidText(route.claim.sid) + " (" + holderFrom(link.node).text() +
            ") is full: " + std::to_string(link.window.size()) + " messages not taken");
    }
    std::uint64_t const now = nanosecondsNow();
    std::uint64_t const sequence = link.window.accept(route.claim.sid);
    push(route.link, {sequence, DataFrame{route.claim.number, now, message}});
    copyToTaps(message, now);
}

void BusExchange::copyToTaps(imc_msg const& message, std::uint64_t timestamp) {
    ++sent;
    for (auto& [id, link] : links) {
        if (!link.node.isTap) {
            continue;
        }
        if (link.window.isFull()) {
            ++link.missed;
            counters.add(Cause::busCopyMissed);
        } else {
            std::uint64_t const sequence = link.window.accept(message.destinationSid);
            push(id, {sequence, CopyFrame{sent, timestamp, link.missed, message}});
            link.missedTold = link.missed;
        }
    }
}

void BusExchange::push(LinkId link, Frame const& frame) {
    work.frames.push_back({link, encodeFrame(frame)});
    wake();
}

void BusExchange::wake() {
    if (!std::exchange(isWoken, true)) {
        waker.wake();
    }
}

std::vector<BusPeer> BusExchange::peers() const {
    Lock const lock(mutex);
    std::vector<BusPeer> result;
    for (auto const& [id, link] : links) {
        BusPeer peer = {holderFrom(link.node), link.node.isTap, {}, link.window.size()};
        for (BusClaim const& claim : link.claims.claims) {
            peer.sids.push_back(claim.sid);
        }
        result.push_back(peer);
    }
    return result;
}

std::vector<BusHolder> BusExchange::senders() const {
    Lock const lock(mutex);
    return sending;
}

void BusExchange::setSenders(std::vector<BusHolder> nodes) {
    Lock const lock(mutex);
    sending = std::move(nodes);
}

void BusExchange::watchArrivals(std::function<void(imc_msg const&)> action) {
    arrivals = std::move(action);
}

void BusExchange::end() {
    Lock const lock(mutex);
    arrivals = nullptr;
    attachments.clear();
    listener = nullptr;
    tap = nullptr;
}

BusExchange::Work BusExchange::takeWork() {
    Lock const lock(mutex);
    isWoken = false;
    return std::exchange(work, Work());
}

void BusExchange::linkUp(LinkId id, BusNode const& node) {
    Lock const lock(mutex);
    links.emplace(id, Link{node, BusClaims(), Window(setup.window)});
    pushClaims(id);
}

void BusExchange::linkClaims(LinkId id, BusClaims const& claims) {
    Lock const lock(mutex);
    Link& link = links.at(id);
    if (claims.version < link.claims.version) {
        return;
    }
    link.claims = claims;
    givenUp.clear();
    reroute("it serves the address no more");
    changed.notify_all();
}

bool BusExchange::linkTaken(LinkId id, std::uint64_t upTo) {
    Lock const lock(mutex);
    Link& link = links.at(id);
    if (!link.window.take(upTo)) {
        return false;
    }
    if (link.missedTold != link.missed) {
        link.missedTold = link.missed;
        push(id, {0, MissedFrame{link.missed}});
    }
    return true;
}

void BusExchange::linkDown(LinkId id, std::string const& why) {
    Lock const lock(mutex);
    auto const found = links.find(id);
    Link& link = found->second;
    link.claims.claims.clear();
    reroute(why);
    // What is left was for a tap, or for addresses that another node serves by now.
    for (auto const& [sid, count] : link.window.outstanding()) {
        counters.add(link.node.isTap ? Cause::busCopyMissed : Cause::busMessageLost, count);
    }
    links.erase(found);
    changed.notify_all();
}

void BusExchange::linkRefused(std::string const& endpoint, std::string const& why) {
    Lock const lock(mutex);
    counters.add(Cause::busLinkRefused);
    report([endpoint, why](BusListener& hears) { hears.linkRefused(endpoint, why); });
}

void BusExchange::setUnresolved(std::size_t nodes) {
    Lock const lock(mutex);
    unresolved = nodes;
    changed.notify_all();
}

void BusExchange::receive(InflowId inflow, std::uint64_t sequence, DataFrame const& data) {
    postDelivery(inflow, sequence, data.claim, data.message);
}

void BusExchange::receive(InflowId inflow, std::uint64_t sequence, BusHolder const& sender,
                          CopyFrame const& copy) {
    BusCopy const seen = {sender, copy.number, copy.timestamp, copy.missed, copy.message};
    dispatcher.post([self = shared_from_this(), inflow, sequence, seen] {
        {
            Lock const lock(self->mutex);
            self->noteTaken(inflow, sequence);
        }
        if (self->tap != nullptr) {
            self->tap->copy(seen);
        }
    });
}

void BusExchange::tellMissed(BusHolder const& sender, std::uint64_t total) {
    dispatcher.post([self = shared_from_this(), sender, total] {
        if (self->tap != nullptr) {
            self->tap->missed(sender, total);
        }
    });
}

void BusExchange::postDelivery(InflowId inflow, std::uint64_t sequence, std::uint32_t claim,
                               imc_msg const& message) {
    dispatcher.post([self = shared_from_this(), inflow, sequence, claim, message] {
        self->deliver(inflow, sequence, claim, message);
    });
}

void BusExchange::deliver(InflowId inflow, std::uint64_t sequence, std::uint32_t claim,
                          imc_msg const& message) {
    Endpoint* endpoint = nullptr;
    {
        Lock const lock(mutex);
        auto const found = attachments.find(message.destinationSid);
        if (found != attachments.end() && found->second.claim.number == claim) {
            endpoint = found->second.endpoint;
        }
        // Before it is delivered: what the endpoint throws does not make it less taken.
        noteTaken(inflow, sequence);
    }
    if (endpoint == nullptr) {
        counters.add(Cause::messageDropped);
    } else {
        if (inflow != ownInflow && arrivals) {
            arrivals(message);
        }
        endpoint->receive(message);
    }
}

void BusExchange::noteTaken(InflowId inflow, std::uint64_t sequence) {
    if (inflow != ownInflow) {
        work.taken[inflow] = sequence;
        wake();
    }
}

BusClaims BusExchange::claims() const {
    Lock const lock(mutex);
    return ownClaims();
}

BusClaims BusExchange::ownClaims() const {
    BusClaims result = {version, {}};
    for (auto const& [sid, attachment] : attachments) {
        if (!attachment.isLost) {
            result.claims.push_back(attachment.claim);
        }
    }
    return result;
}

void BusExchange::tellClaims() {
    ++version;
    work.claimsChanged = true;
    wake();
    for (auto const& [id, link] : links) {
        pushClaims(id);
    }
}

/** Without locks, an answer to the first message would find nobody at the address it came from. */
void BusExchange::pushClaims(LinkId link) {
    if (!setup.hasLocks()) {
        BusClaims const own = ownClaims();
        push(link, {own.version, SidsFrame{own.claims}});
    }
}

bool BusExchange::isDrained() const {
    Lock const lock(mutex);
    return work.frames.empty() && work.taken.empty() &&
           std::all_of(links.begin(), links.end(),
                       [](auto const& each) { return each.second.window.isEmpty(); });
}

bool BusExchange::precedes(BusClaim const& claim, std::uint64_t instance, BusClaim const& other,
                           std::uint64_t otherInstance) const {
    bool const isEarlier = std::tie(claim.since, instance) < std::tie(other.since, otherInstance);
    return isEarlier != setup.laterClaimWins;
}

bool BusExchange::keepsOwn(BusClaim const& claim, BusNode const& node) {
    auto const own = attachments.find(claim.sid);
    if (own == attachments.end() || own->second.isLost) {
        return false;
    }
    if (own->second.lock) {
        return true;
    }
    if (conflicts.emplace(node.instance, claim.sid, claim.number).second) {
        counters.add(Cause::busClaimConflict);
    }
    if (precedes(own->second.claim, setup.self.instance, claim, node.instance)) {
        return true;
    }
    own->second.isLost = true;
    tellClaims();
    report([sid = claim.sid, holder = holderFrom(node)](BusListener& hears) {
        hears.claimLost(sid, holder);
    });
    return false;
}

BusExchange::Routes BusExchange::routesOfLinks() {
    Routes result;
    for (auto const& [id, link] : links) {
        for (BusClaim const& claim : link.claims.claims) {
            if (keepsOwn(claim, link.node)) {
                continue;
            }
            Route const route = {id, claim, link.node.instance};
            auto const found = result.emplace(claim.sid, route).first;
            if (precedes(claim, route.instance, found->second.claim, found->second.instance)) {
                found->second = route;
            }
        }
    }
    return result;
}

void BusExchange::reroute(std::string const& why) {
    Routes const before = std::exchange(routes, routesOfLinks());
    auto const isSame = [](Routes const& in, unsigned char sid, Route const& route) {
        auto const found = in.find(sid);
        return found != in.end() && found->second.link == route.link &&
               found->second.claim == route.claim;
    };
    for (auto const& [sid, route] : before) {
        if (isSame(routes, sid, route)) {
            continue;
        }
        std::uint64_t const undelivered = links.at(route.link).window.abandon(sid);
        counters.add(Cause::busMessageLost, undelivered);
        tellLost(sid, route, routes.count(sid) != 0 ? "another process serves it" : why,
                 undelivered);
    }
    for (auto const& [sid, route] : routes) {
        if (!isSame(before, sid, route)) {
            tellServed(sid, route);
        }
    }
}

void BusExchange::tellLost(unsigned char sid, Route const& before, std::string const& why,
                           std::uint64_t undelivered) {
    BusHolder const holder = holderFrom(links.at(before.link).node);
    known[sid] = {holder, before.instance, before.claim.number, why};
    report([sid, holder, undelivered, why](BusListener& hears) {
        hears.peerLost(sid, holder, undelivered, why);
    });
}

void BusExchange::tellServed(unsigned char sid, Route const& route) {
    BusHolder const holder = holderFrom(links.at(route.link).node);
    auto const before = known.find(sid);
    if (before == known.end()) {
        report([sid, holder](BusListener& hears) { hears.peerFound(sid, holder); });
    } else {
        bool const isRestarted =
            before->second.instance != route.instance || before->second.claim != route.claim.number;
        report([sid, holder, isRestarted](BusListener& hears) {
            hears.peerReturned(sid, holder, isRestarted);
        });
    }
    known[sid] = {holder, route.instance, route.claim.number, ""};
}

void BusExchange::report(std::function<void(BusListener&)> what) {
    dispatcher.post([self = shared_from_this(), what = std::move(what)] {
        if (self->listener != nullptr) {
            what(*self->listener);
        }
    });
}

} // namespace host
