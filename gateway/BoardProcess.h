#ifndef GATEWAY_BOARDPROCESS_H
#define GATEWAY_BOARDPROCESS_H

#include "gateway/BusReporter.h"
#include "gateway/FaultInjector.h"
#include "gateway/Report.h"
#include "gateway/ServedBoard.h"

#include "host/Counters.h"
#include "host/bus/BusTransport.h"
#include "host/imc/Dispatcher.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

struct BoardProcessOptions {
    host::BusOptions bus{};
    /** IMC addresses of the boards. */
    std::vector<unsigned char> sids{};
    /** Of each board. */
    unsigned channels = 256;
    std::uint16_t firstPort = 5000;
    std::chrono::milliseconds ackDelay{};
    std::vector<FaultRule> faults{};
    /** Sees what the boards take and send; may be null, otherwise outlives the process. */
    host::Tap* watcher = nullptr;
};

/**
 * DSP boards in software as a process on the bus. The report shows what they take and send, who
 * comes and goes, and at the end what was counted.
 */
class BoardProcess : private BusReporter {
public:
    /**
     * Joins the bus and serves the boards' addresses. The loop runs them.
     * @throw std::invalid_argument for options that make no bus or no board
     * @throw std::runtime_error when the bus can't be joined, or an address is served already
     */
    BoardProcess(host::Dispatcher& dispatcher, Report& report, BoardProcessOptions const& options);
    ~BoardProcess() override;
    BoardProcess(BoardProcess const&) = delete;
    BoardProcess& operator=(BoardProcess const&) = delete;

    /** Leaves the bus, and reports what was counted. */
    void end();

    /** Other processes keep all of its boards' addresses; the loop was stopped then. */
    bool hasLostAll() const { return boards.empty() && !lost.empty(); }

private:
    void tell(std::string const& kind, std::string const& text,
              Report::Json const& details) override;
    void claimLost(unsigned char sid, host::BusHolder const& holder) override;

    using CountersOfBoards =
        std::vector<std::pair<std::string, std::map<std::string, std::uint64_t>>>;

    ServedBoard::Tap tapOf();
    void reportCounter(std::string const& of, std::string const& name, std::uint64_t count);

    host::Dispatcher& dispatcher;
    Report& report;
    host::Counters counters;
    FaultInjector faults;
    ServedBoard::Tap tap;
    std::unique_ptr<host::BusTransport> transport;
    std::vector<std::unique_ptr<ServedBoard>> boards;
    /** What boards had counted whose address another process keeps, by address. */
    CountersOfBoards lost;
};

} // namespace gateway

#endif
