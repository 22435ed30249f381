#include "gateway/BusReporter.h"

#include "gateway/Text.h"

#include "host/imc/SidText.h"

#include <cstddef>

namespace gateway {

using host::BusHolder;
using host::sidText;

/** @param text what there is to say besides who it is */
void BusReporter::tellOf(char const* kind, unsigned char sid, BusHolder const& holder,
                         std::string const& text, Report::Json const& more) {
    Report::Json details = {{"sid", sidText(sid)}, {"name", holder.name}, {"pid", holder.pid}};
    details.update(more);
    tell(kind, sidText(sid) + " " + holder.text() + text, details);
}

void BusReporter::peerFound(unsigned char sid, BusHolder const& holder) {
    tellOf("found", sid, holder, "");
}

void BusReporter::peerLost(unsigned char sid, BusHolder const& holder, std::uint64_t undelivered,
                           std::string const& why) {
    tellOf("lost", sid, holder,
           ": " + why + "; " + plural(static_cast<std::size_t>(undelivered), "message") +
               " undelivered",
           {{"undelivered", undelivered}, {"why", why}});
}

void BusReporter::peerReturned(unsigned char sid, BusHolder const& holder, bool restarted) {
    tellOf("returned", sid, holder, restarted ? ", restarted" : "", {{"restarted", restarted}});
}

void BusReporter::claimLost(unsigned char sid, BusHolder const& holder) {
    tellOf("conflict", sid, holder, ": serves the address already, and keeps it");
}

void BusReporter::linkRefused(std::string const& endpoint, std::string const& why) {
    tell("refused", "no link with " + endpoint + ": " + why,
         {{"endpoint", endpoint}, {"why", why}});
}

} // namespace gateway
