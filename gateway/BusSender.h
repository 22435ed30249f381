#ifndef GATEWAY_BUSSENDER_H
#define GATEWAY_BUSSENDER_H

#include "gateway/EndingSignals.h"
#include "gateway/Report.h"
#include "gateway/capture/CaptureTap.h"

#include "host/Counters.h"
#include "host/bus/BusTransport.h"
#include "host/imc/Dispatcher.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

namespace gateway {

/**
 * Sends messages on the bus as they are, from whatever address, for `mcgw inject` and `mcgw
 * replay`. The report shows each. Its operations run the loop as long as they wait, until they are
 * told to end.
 */
class BusSender : private host::SilentBusListener {
public:
    using Milliseconds = std::chrono::milliseconds;

    /**
     * Joins the bus.
     * @throw std::invalid_argument for options that name no bus
     * @throw std::runtime_error when the bus can't be joined
     */
    BusSender(host::Dispatcher& dispatcher, Report& report, host::BusOptions const& options);

    /** Whoever waits returns; called on the loop's thread. */
    void endWaiting() { ending = true; }
    bool isEnding() const { return ending; }

    /** Waits until all of the addresses are served and taps are linked, but no longer. */
    void awaitServed(std::set<unsigned char> const& sids, Milliseconds limit);

    enum class Outcome { sent, full, refused };

    /**
     * Sends a message, and reports it, unless the queue of its receiver is full.
     * @param details what a machine gets in the report besides the message
     */
    Outcome send(imc_msg const& message, Report::Json const& details = Report::Json::object());

    /** Reports that the message was not sent, for the reason of the last `send`. */
    void reportRefused(imc_msg const& message,
                       Report::Json const& details = Report::Json::object());

    /** Runs the loop; not longer than until `done` holds. */
    void wait(
        Milliseconds howLong, std::function<bool()> const& done = [] { return false; });

    /**
     * Waits until what was sent was taken, and reports what was not.
     * @return whether all was
     */
    bool awaitTaken(Milliseconds limit);

    std::size_t sent() const { return sentCount; }
    std::size_t refused() const { return refusedCount; }

    host::Transport& itsTransport() { return transport; }

private:
    void peerLost(unsigned char sid, host::BusHolder const& holder, std::uint64_t undelivered,
                  std::string const& why) override;
    void linkRefused(std::string const& endpoint, std::string const& why) override;

    bool isServed(unsigned char sid) const;
    std::size_t untaken() const;

    host::Dispatcher& dispatcher;
    Report& report;
    host::Counters counters;
    bool ending = false;
    std::size_t sentCount = 0;
    std::size_t refusedCount = 0;
    std::string why;
    host::BusTransport transport;
};

/**
 * A process that sends and ends: its report goes to the standard output, and the signals that ask a
 * program to end make it wait no longer.
 */
struct SendingProcess {
    /**
     * Joins the bus; throws as `BusSender` does.
     * @param capture the path of a file that all messages are recorded in, or empty
     * @throw std::invalid_argument for a file that can't be written
     */
    SendingProcess(host::BusOptions const& bus, ReportOptions const& options,
                   std::string const& capture);

    /** @throw std::runtime_error when not all of the report or the capture could be written */
    void end();

    host::Dispatcher loop;
    std::unique_ptr<CaptureTap> capture;
    /** Before all that makes threads. */
    EndingSignals signals;
    Report report;
    BusSender sender;
};

/** A message as reports of this kind show it: its text, and from where to where it goes. */
std::string textOf(imc_msg const& message);
Report::Json toJson(imc_msg const& message);

} // namespace gateway

#endif
