#include "gateway/BoardProcess.h"

#include "gateway/MessageJson.h"
#include "gateway/Text.h"

#include "host/imc/SidText.h"

#include <algorithm>

namespace gateway {

using host::BusHolder;
using host::sidText;

BoardProcess::BoardProcess(host::Dispatcher& loop, Report& to, BoardProcessOptions const& options)
    : dispatcher(loop),
      report(to),
      faults(options.faults),
      tap(tapOf()),
      transport(std::make_unique<host::BusTransport>(dispatcher, counters, options.bus,
                                                     static_cast<host::BusListener*>(this))) {
    transport->setTap(options.watcher);
    report.entry("bus", "joined at " + transport->endpoint(),
                 {{"endpoint", transport->endpoint()}, {"name", options.bus.name}});
    for (unsigned char const sid : options.sids) {
        BoardEntry const entry = {sidText(sid), sid, options.channels, options.firstPort,
                                  options.ackDelay};
        boards.push_back(
            std::make_unique<ServedBoard>(dispatcher, *transport, entry, tap, &faults));
        report.entry("serving",
                     "board " + entry.ip + " with " + plural(options.channels, "DSP channel"),
                     {{"sid", entry.ip}, {"channels", options.channels}});
    }
}

BoardProcess::~BoardProcess() = default;

ServedBoard::Tap BoardProcess::tapOf() {
    ServedBoard::Tap result;
    if (!report.isQuiet()) {
        result.command = [this](Message const& command) {
            report.entry("command", command.text(), toJson(command));
        };
        result.event = [this](Message const& event) {
            report.entry("event", event.text(), toJson(event));
        };
    }
    result.report = [this](std::string const& board, std::string const& text) {
        report.entry("board", text + " from=" + board, {{"from", board}, {"text", text}});
    };
    result.fault = [this](std::string const& board, std::string const& rule) {
        report.entry("fault", rule + " at=" + board, {{"at", board}, {"rule", rule}});
    };
    result.order = [this](Message const& order) {
        report.entry("order", order.text(), toJson(order));
    };
    return result;
}

/** @param text what there is to say besides who it is */
void BoardProcess::reportPeer(char const* kind, unsigned char sid, BusHolder const& holder,
                              std::string const& text, Report::Json const& more) {
    Report::Json details = {{"sid", sidText(sid)}, {"name", holder.name}, {"pid", holder.pid}};
    details.update(more);
    report.entry(kind, sidText(sid) + " " + holder.text() + text, details);
}

void BoardProcess::peerFound(unsigned char sid, BusHolder const& holder) {
    reportPeer("found", sid, holder, "", Report::Json::object());
}

void BoardProcess::peerLost(unsigned char sid, BusHolder const& holder, std::uint64_t undelivered,
                            std::string const& why) {
    reportPeer("lost", sid, holder,
               ": " + why + "; " + plural(static_cast<std::size_t>(undelivered), "message") +
                   " undelivered",
               {{"undelivered", undelivered}, {"why", why}});
}

void BoardProcess::peerReturned(unsigned char sid, BusHolder const& holder, bool restarted) {
    reportPeer("returned", sid, holder, restarted ? ", restarted" : "", {{"restarted", restarted}});
}

void BoardProcess::claimLost(unsigned char sid, BusHolder const& holder) {
    reportPeer("conflict", sid, holder, ": serves the address already, and keeps it",
               Report::Json::object());
    auto const board = std::find_if(boards.begin(), boards.end(),
                                    [sid](auto const& each) { return each->sid() == sid; });
    if (board != boards.end()) {
        lost.emplace_back(sidText(sid), (*board)->counters());
        boards.erase(board);
    }
    if (boards.empty()) {
        dispatcher.stop();
    }
}

void BoardProcess::linkRefused(std::string const& endpoint, std::string const& why) {
    report.entry("refused", "no link with " + endpoint + ": " + why,
                 {{"endpoint", endpoint}, {"why", why}});
}

void BoardProcess::reportCounter(std::string const& of, std::string const& name,
                                 std::uint64_t count) {
    if (count != 0) {
        report.result("counter", of + " " + name + ": " + std::to_string(count),
                      {{"of", of}, {"name", name}, {"count", count}});
    }
}

void BoardProcess::end() {
    CountersOfBoards ofBoards = lost;
    for (auto const& board : boards) {
        ofBoards.emplace_back(sidText(board->sid()), board->counters());
    }
    boards.clear();
    transport.reset();
    for (auto const& [board, counts] : ofBoards) {
        for (auto const& [name, count] : counts) {
            reportCounter(board, name, count);
        }
    }
    for (auto const& [rule, count] : faults.applied()) {
        reportCounter("fault", rule, count);
    }
    for (auto const& [name, count] : counters.occurred()) {
        reportCounter("process", name, count);
    }
}

} // namespace gateway
