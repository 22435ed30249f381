#include "gateway/load/LoadBus.h"

#include <algorithm>
#include <stdexcept>

namespace gateway {

void PeerWatch::peerFound(unsigned char sid, host::BusHolder const& holder) {
    served[sid] = holder;
}

void PeerWatch::peerLost(unsigned char sid, host::BusHolder const& holder,
                         std::uint64_t /*undelivered*/, std::string const& why) {
    served.erase(sid);
    if (onLost) {
        onLost(sid, holder.text() + " is gone: " + why);
    }
}

void PeerWatch::peerReturned(unsigned char sid, host::BusHolder const& holder, bool) {
    served[sid] = holder;
}

bool PeerWatch::areServed(std::vector<std::uint8_t> const& sids) const {
    return std::all_of(sids.begin(), sids.end(),
                       [this](std::uint8_t sid) { return served.count(sid) != 0; });
}

std::vector<pid_t> PeerWatch::processesOf(std::vector<std::uint8_t> const& sids) const {
    std::vector<pid_t> result;
    for (std::uint8_t const sid : sids) {
        auto const found = served.find(sid);
        if (found == served.end()) {
            continue;
        }
        auto const pid = static_cast<pid_t>(found->second.pid);
        if (std::find(result.begin(), result.end(), pid) == result.end()) {
            result.push_back(pid);
        }
    }
    return result;
}

std::vector<std::vector<std::uint8_t>> sharedOut(std::vector<std::uint8_t> const& sids,
                                                 std::size_t processes) {
    std::vector<std::vector<std::uint8_t>> shares(std::min(processes, sids.size()));
    for (std::size_t i = 0; i < sids.size(); ++i) {
        shares[i * shares.size() / sids.size()].push_back(sids[i]);
    }
    return shares;
}

ServingProcesses::ServingProcesses(std::vector<std::vector<std::uint8_t>> const& shares,
                                   Arguments const& arguments) {
    for (std::vector<std::uint8_t> const& share : shares) {
        processes.push_back(std::make_unique<ChildProcess>(arguments(share)));
    }
}

ServingProcesses::~ServingProcesses() {
    for (auto const& process : processes) {
        process->askToEnd();
    }
}

void ServingProcesses::requireRunning() const {
    for (auto const& process : processes) {
        if (process->hasEnded()) {
            throw std::runtime_error("a process that serves boards has ended");
        }
    }
}

} // namespace gateway
