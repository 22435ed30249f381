#include "gateway/session/BoardWatch.h"

namespace gateway {

void BoardWatch::found(unsigned char sid, host::BusHolder const& holder) {
    peers[sid] = Peer{sid, holder};
}

void BoardWatch::lost(unsigned char sid) {
    peers[sid].isPresent = false;
}

void BoardWatch::returned(unsigned char sid, host::BusHolder const& holder, bool hasForgotten) {
    if (hasForgotten) {
        found(sid, holder);
    } else {
        peers[sid].isPresent = true;
        peers[sid].holder = holder;
    }
}

bool BoardWatch::audited(unsigned char sid, dsp::AuditAnswer const& answer) {
    Peer& peer = peers[sid];
    peer.sid = sid;
    bool const isAnew = peer.incarnation && *peer.incarnation != answer.incarnation;
    peer.incarnation = answer.incarnation;
    peer.channels = answer.in.size();
    peer.audited = std::chrono::system_clock::now();
    peer.isSilent = false;
    return isAnew;
}

void BoardWatch::tellOpen(unsigned char sid, std::size_t open, std::size_t others) {
    peers[sid].open = open;
    peers[sid].others = others;
}

void BoardWatch::silent(unsigned char sid) {
    peers[sid].isSilent = true;
}

bool BoardWatch::isPresent(unsigned char sid) const {
    auto const found = peers.find(sid);
    return found != peers.end() && found->second.isPresent;
}

bool BoardWatch::isGone(unsigned char sid) const {
    auto const found = peers.find(sid);
    return found != peers.end() && !found->second.isPresent;
}

std::vector<BoardWatch::Peer> BoardWatch::boards() const {
    std::vector<Peer> result;
    for (auto const& [sid, peer] : peers) {
        if (peer.mayBeBoard()) {
            result.push_back(peer);
        }
    }
    return result;
}

} // namespace gateway
