#ifndef GATEWAY_LOAD_LOADBUS_H
#define GATEWAY_LOAD_LOADBUS_H

#include "gateway/load/ChildProcess.h"

#include "host/bus/Bus.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace gateway {

/** Knows which addresses are served. */
class PeerWatch : public host::SilentBusListener {
public:
    void peerFound(unsigned char sid, host::BusHolder const& holder) override;
    void peerLost(unsigned char sid, host::BusHolder const& holder, std::uint64_t undelivered,
                  std::string const& why) override;
    void peerReturned(unsigned char sid, host::BusHolder const& holder, bool restarted) override;

    bool areServed(std::vector<std::uint8_t> const& sids) const;

    /** Numbers of the processes that serve the addresses, each once. */
    std::vector<pid_t> processesOf(std::vector<std::uint8_t> const& sids) const;

    /** Called with an address that is not served any more, and why. May be empty. */
    std::function<void(std::uint8_t sid, std::string const& text)> onLost;

private:
    std::map<std::uint8_t, host::BusHolder> served;
};

/** Addresses shared out to processes, as evenly as can be; neighbours stay together. */
std::vector<std::vector<std::uint8_t>> sharedOut(std::vector<std::uint8_t> const& sids,
                                                 std::size_t processes);

/** Processes that serve addresses on a bus. They end together. */
class ServingProcesses {
public:
    using Arguments = std::function<std::vector<std::string>(std::vector<std::uint8_t> const&)>;

    /** Starts one process for each share of the addresses. */
    ServingProcesses(std::vector<std::vector<std::uint8_t>> const& shares,
                     Arguments const& arguments);
    ~ServingProcesses();
    ServingProcesses(ServingProcesses const&) = delete;
    ServingProcesses& operator=(ServingProcesses const&) = delete;

    /** @throw std::runtime_error when one has ended */
    void requireRunning() const;

private:
    std::vector<std::unique_ptr<ChildProcess>> processes;
};

} // namespace gateway

#endif
