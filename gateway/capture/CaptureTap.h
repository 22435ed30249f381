#ifndef GATEWAY_CAPTURE_CAPTURETAP_H
#define GATEWAY_CAPTURE_CAPTURETAP_H

#include "gateway/capture/CaptureWriter.h"

#include "host/imc/Transport.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace gateway {

/**
 * Records what a transport carries, and what arrives there from other processes. A message that was
 * refused is recorded with the reason as its comment. When the file can't be written the calls go
 * on, and the end of the capture says so.
 */
class CaptureTap : public host::Tap {
public:
    /** @throw std::runtime_error as CaptureWriter */
    explicit CaptureTap(std::string const& path);

    void carried(imc_msg const& message) override;
    void refused(imc_msg const& message, std::string const& reason) override;
    void received(imc_msg const& message) override;

    /** As CaptureWriter's. */
    void endWaiting() { writer.endWaiting(); }

    /** @throw std::runtime_error naming the path and what was wrong first */
    void end();

private:
    /** Writes, unless that failed before; throws nothing. */
    template <typename Write>
    void guarded(Write write);
    std::chrono::nanoseconds now() const;

    CaptureWriter writer;
    /** The clock of the day is read once: what it is set to later does not disturb the times. */
    std::chrono::nanoseconds const dayAtStart;
    std::chrono::steady_clock::time_point const start;
    /** What was wrong first; nothing is written any more then. */
    std::string fault;
    std::size_t missed = 0;
};

/**
 * @return null when the path is empty: there is nothing to record to
 * @throw std::invalid_argument naming the path and what is wrong
 */
std::unique_ptr<CaptureTap> startCapture(std::string const& path);

} // namespace gateway

#endif
