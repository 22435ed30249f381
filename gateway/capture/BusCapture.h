#ifndef GATEWAY_CAPTURE_BUSCAPTURE_H
#define GATEWAY_CAPTURE_BUSCAPTURE_H

#include "gateway/Report.h"
#include "gateway/capture/CaptureWriter.h"
#include "gateway/capture/Merge.h"

#include "host/Counters.h"
#include "host/bus/BusTap.h"
#include "host/imc/Dispatcher.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

struct BusCaptureOptions {
    host::BusOptions bus{};
    /** Ends after so many messages. */
    std::optional<std::uint64_t> count{};
    /** How long a message waits for those that were sent earlier and arrive later. */
    std::chrono::milliseconds hold{100};
};

/**
 * Records what the processes of a bus send, those of before its start not. The loop runs it, and is
 * stopped when there is nothing more to record.
 */
class BusCapture : private host::BusTapListener, private host::SilentBusListener {
public:
    /**
     * Joins the bus.
     * @throw std::invalid_argument for options that name no bus
     * @throw std::runtime_error when the bus can't be joined
     */
    BusCapture(host::Dispatcher& dispatcher, Report& report, CaptureWriter& writer,
               BusCaptureOptions const& options);

    /** Ends when what is on its way now had time to arrive. */
    void finish();

    /**
     * Leaves the bus, closes the file, and reports how many messages there are.
     * @return what went wrong; empty when nothing did
     */
    std::string end();

    /** Nobody reads the pipe any more, which ended the capture. */
    bool hasLostReader() const { return isReaderGone; }

private:
    void copy(host::BusCopy const& copy) override;
    void missed(host::BusHolder const& sender, std::uint64_t total) override;
    void linkRefused(std::string const& endpoint, std::string const& why) override;

    void tick();
    void lookAtSenders();
    void reportSender(char const* kind, host::BusHolder const& sender);
    void record(std::vector<TimedMessage> const& messages);
    /** Does it, unless that is over; what is wrong with the file ends the capture. */
    void guarded(std::function<void()> const& write);
    void closeFile();
    std::uint64_t missing() const;

    host::Dispatcher& dispatcher;
    Report& report;
    CaptureWriter& writer;
    std::optional<std::uint64_t> const count;
    std::chrono::milliseconds const hold;
    host::Counters counters;
    Merge merge;
    /** By the sender's text. */
    std::map<std::string, Gaps> gaps;
    std::vector<host::BusHolder> senders;
    bool isOver = false;
    bool isReaderGone = false;
    std::string fault;
    std::optional<host::BusTap> tap;
};

} // namespace gateway

#endif
