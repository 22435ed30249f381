#ifndef GATEWAY_BUSREPORTER_H
#define GATEWAY_BUSREPORTER_H

#include "gateway/Report.h"

#include "host/bus/Bus.h"

#include <cstdint>
#include <string>

namespace gateway {

/** Tells who comes and goes on the bus, in the words that the reports of all processes have. */
class BusReporter : public host::BusListener {
public:
    void peerFound(unsigned char sid, host::BusHolder const& holder) override;
    void peerLost(unsigned char sid, host::BusHolder const& holder, std::uint64_t undelivered,
                  std::string const& why) override;
    void peerReturned(unsigned char sid, host::BusHolder const& holder, bool restarted) override;
    void claimLost(unsigned char sid, host::BusHolder const& holder) override;
    void linkRefused(std::string const& endpoint, std::string const& why) override;

private:
    /** An entry of the report. @param kind a word such as "lost" */
    virtual void tell(std::string const& kind, std::string const& text,
                      Report::Json const& details) = 0;

    void tellOf(char const* kind, unsigned char sid, host::BusHolder const& holder,
                std::string const& text, Report::Json const& more = Report::Json::object());
};

} // namespace gateway

#endif
