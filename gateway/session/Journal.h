#ifndef GATEWAY_SESSION_JOURNAL_H
#define GATEWAY_SESSION_JOURNAL_H

#include "gateway/Report.h"
#include "gateway/session/SessionCause.h"

#include "imc/imc_msg.h"

#include <functional>
#include <string>
#include <utility>

namespace gateway {

/** What the session has to tell: to its report, to the consoles that watch, and to its counters. */
class Journal {
public:
    using Json = Report::Json;
    using Teller = std::function<void(Json const&)>;

    /** @param showing whether the report shows each command */
    Journal(Report& to, bool showing) : report(to), showsCommands(showing) {}

    /** Who tells the consoles; empty for nobody. */
    void setTeller(Teller teller) { tell = std::move(teller); }

    /** To the report and the consoles. @param kind a word such as "half-open" */
    void entry(std::string const& kind, std::string const& text, Json details = Json::object());

    /** The same, and counted. */
    void entry(SessionCause cause, std::string const& kind, std::string const& text,
               Json details = Json::object());

    /** To the report only. */
    void quietEntry(std::string const& kind, std::string const& text, Json const& details) {
        report.entry(kind, text, details);
    }

    /** A command was sent; to the report only. */
    void command(imc_msg const& message);

    void count(SessionCause cause) { counted.add(cause); }
    SessionCounters const& counters() const { return counted; }

private:
    Report& report;
    bool const showsCommands;
    Teller tell;
    SessionCounters counted;
};

} // namespace gateway

#endif
