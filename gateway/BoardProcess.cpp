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

void BoardProcess::tell(std::string const& kind, std::string const& text,
                        Report::Json const& details) {
    report.entry(kind, text, details);
}

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

void BoardProcess::claimLost(unsigned char sid, BusHolder const& holder) {
    BusReporter::claimLost(sid, holder);
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
