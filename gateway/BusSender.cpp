#include "gateway/BusSender.h"

#include "gateway/MessageJson.h"
#include "gateway/Text.h"

#include "host/bus/BusAddress.h"
#include "host/imc/SidText.h"

#include <algorithm>
#include <iostream>

namespace gateway {

using host::sidText;

namespace {

Message described(imc_msg const& message) {
    dsp::Description const description = dsp::fields(message);
    Message result = {description.name, description.fields, description.remark};
    result.fields.push_back({"from", sidText(message.sourceSid)});
    result.fields.push_back({"to", sidText(message.destinationSid)});
    return result;
}

std::unique_ptr<CaptureTap> captureOnBus(std::string const& path, host::BusOptions const& bus) {
    // Before a capture that is there already is replaced for nothing.
    host::parseBusAddress(bus.url);
    return startCapture(path);
}

Report::Json together(Report::Json first, Report::Json const& second) {
    first.update(second);
    return first;
}

} // namespace

std::string textOf(imc_msg const& message) {
    return described(message).text();
}

Report::Json toJson(imc_msg const& message) {
    return toJson(described(message));
}

SendingProcess::SendingProcess(host::BusOptions const& bus, ReportOptions const& options,
                               std::string const& path)
    : capture(captureOnBus(path, bus)),
      signals([this] {
          if (capture) {
              capture->endWaiting();
          }
          loop.post([this] { sender.endWaiting(); });
      }),
      report(std::cout, options),
      sender(loop, report, bus) {
    sender.itsTransport().setTap(capture.get());
    report.startClock();
}

void SendingProcess::end() {
    sender.itsTransport().setTap(nullptr);
    if (capture) {
        capture->end();
    }
    requireWritten(std::cout);
}

BusSender::BusSender(host::Dispatcher& loop, Report& to, host::BusOptions const& options)
    : dispatcher(loop),
      report(to),
      transport(dispatcher, counters, options, static_cast<host::BusListener*>(this)) {}

bool BusSender::isServed(unsigned char sid) const {
    auto const peers = transport.peers();
    return std::any_of(peers.begin(), peers.end(), [sid](host::BusPeer const& peer) {
        return std::find(peer.sids.begin(), peer.sids.end(), sid) != peer.sids.end();
    });
}

void BusSender::awaitServed(std::set<unsigned char> const& sids, Milliseconds limit) {
    auto const end = host::Dispatcher::Clock::now() + limit;
    auto const isReady = [&] {
        return transport.isSettled() &&
               std::all_of(sids.begin(), sids.end(),
                           [this](unsigned char sid) { return isServed(sid); });
    };
    while (!isReady() && !ending && host::Dispatcher::Clock::now() < end) {
        wait(Milliseconds(5));
    }
}

BusSender::Outcome BusSender::send(imc_msg const& message, Report::Json const& details) {
    std::uint64_t const fullBefore = counters.value(host::Cause::busWindowFull);
    try {
        transport.send(message);
    } catch (std::runtime_error const& error) {
        why = error.what();
        if (counters.value(host::Cause::busWindowFull) != fullBefore) {
            return Outcome::full;
        }
        reportRefused(message, details);
        return Outcome::refused;
    }
    ++sentCount;
    report.entry("sent", textOf(message), together(toJson(message), details));
    return Outcome::sent;
}

void BusSender::reportRefused(imc_msg const& message, Report::Json const& details) {
    ++refusedCount;
    report.result("refused", textOf(message) + ": " + why,
                  together(together(toJson(message), details), {{"why", why}}));
}

void BusSender::wait(Milliseconds howLong, std::function<bool()> const& done) {
    dispatcher.runUntil([&] { return ending || done(); }, howLong);
}

std::size_t BusSender::untaken() const {
    std::size_t sum = 0;
    for (host::BusPeer const& peer : transport.peers()) {
        sum += peer.isTap ? 0 : peer.untaken;
    }
    return sum;
}

bool BusSender::awaitTaken(Milliseconds limit) {
    auto const end = host::Dispatcher::Clock::now() + limit;
    while (untaken() != 0 && host::Dispatcher::Clock::now() < end) {
        // Also when it is to end: what was sent was sent.
        dispatcher.runUntil([] { return false; }, Milliseconds(2));
    }
    for (host::BusPeer const& peer : transport.peers()) {
        if (!peer.isTap && peer.untaken != 0) {
            report.result(
                "untaken", plural(peer.untaken, "message") + " not taken by " + peer.holder.text(),
                {{"count", peer.untaken}, {"name", peer.holder.name}, {"pid", peer.holder.pid}});
        }
    }
    return untaken() == 0 && counters.value(host::Cause::busMessageLost) == 0;
}

void BusSender::peerLost(unsigned char sid, host::BusHolder const& holder,
                         std::uint64_t undelivered, std::string const& reason) {
    if (undelivered != 0) {
        report.result("lost",
                      sidText(sid) + " " + holder.text() + ": " + reason + "; " +
                          plural(static_cast<std::size_t>(undelivered), "message") + " undelivered",
                      {{"sid", sidText(sid)}, {"undelivered", undelivered}, {"why", reason}});
    }
}

void BusSender::linkRefused(std::string const& endpoint, std::string const& reason) {
    report.entry("nolink", "no link with " + endpoint + ": " + reason,
                 {{"endpoint", endpoint}, {"why", reason}});
}

} // namespace gateway
