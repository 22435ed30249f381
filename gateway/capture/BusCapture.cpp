#include "gateway/capture/BusCapture.h"

#include "gateway/Text.h"

#include <algorithm>
#include <chrono>

namespace gateway {

namespace {

std::chrono::milliseconds const tickInterval{20};
/** What was sent before the end was wanted arrives sooner, however long messages are held. */
std::chrono::milliseconds const longestEnd{1000};

std::chrono::nanoseconds timeOfDay() {
    return std::chrono::system_clock::now().time_since_epoch();
}

std::string remarkOn(std::uint64_t missing, std::string const& sender) {
    return plural(static_cast<std::size_t>(missing), "message") + " of " + sender +
           (missing == 1 ? " is" : " are") + " missing here";
}

bool contains(std::vector<host::BusHolder> const& list, host::BusHolder const& sought) {
    return std::find(list.begin(), list.end(), sought) != list.end();
}

} // namespace

BusCapture::BusCapture(host::Dispatcher& loop, Report& to, CaptureWriter& into,
                       BusCaptureOptions const& options)
    : dispatcher(loop),
      report(to),
      writer(into),
      count(options.count),
      hold(options.hold),
      merge(hold) {
    tap.emplace(dispatcher, counters, options.bus, static_cast<host::BusTapListener&>(*this),
                static_cast<host::BusListener*>(this));
    report.entry("bus", "joined at " + tap->endpoint(),
                 {{"endpoint", tap->endpoint()}, {"name", options.bus.name}});
    tick();
}

void BusCapture::tick() {
    record(merge.takeDue(Merge::Clock::now()));
    lookAtSenders();
    if (!isOver && writer.isReaderGone()) {
        isOver = isReaderGone = true;
    }
    if (isOver) {
        dispatcher.stop();
    } else {
        dispatcher.postAfter(tickInterval, [this] { tick(); });
    }
}

void BusCapture::finish() {
    dispatcher.postAfter(std::min(hold, longestEnd), [this] {
        if (!isOver) {
            record(merge.takeAll());
            isOver = true;
        }
    });
}

void BusCapture::copy(host::BusCopy const& copy) {
    std::string const sender = copy.sender.text();
    if (!contains(senders, copy.sender)) {
        // It came since the last look, and may be gone again.
        reportSender("found", copy.sender);
        senders.push_back(copy.sender);
    }
    std::uint64_t const missing = gaps[sender].arrived(copy.number, copy.missed);
    merge.add({sender, std::chrono::nanoseconds(static_cast<std::int64_t>(copy.timestamp)),
               copy.message, missing == 0 ? "" : remarkOn(missing, sender)},
              Merge::Clock::now());
}

void BusCapture::missed(host::BusHolder const& sender, std::uint64_t total) {
    gaps[sender.text()].told(total);
}

void BusCapture::linkRefused(std::string const& endpoint, std::string const& why) {
    report.entry("refused", "no link with " + endpoint + ": " + why,
                 {{"endpoint", endpoint}, {"why", why}});
}

void BusCapture::lookAtSenders() {
    std::vector<host::BusHolder> const now = tap->senders();
    for (host::BusHolder const& each : now) {
        if (!contains(senders, each)) {
            reportSender("found", each);
        }
    }
    for (host::BusHolder const& each : senders) {
        if (!contains(now, each)) {
            reportSender("lost", each);
        }
    }
    senders = now;
}

void BusCapture::reportSender(char const* kind, host::BusHolder const& sender) {
    report.entry(kind, sender.text(), {{"name", sender.name}, {"pid", sender.pid}});
}

void BusCapture::record(std::vector<TimedMessage> const& messages) {
    for (TimedMessage const& each : messages) {
        guarded([&] { writer.write(each.message, each.time, each.comment); });
        isOver = isOver || (count && writer.written() >= *count);
    }
}

void BusCapture::guarded(std::function<void()> const& write) {
    if (isOver) {
        return;
    }
    try {
        write();
    } catch (CaptureWriter::ReaderGone const&) {
        isOver = isReaderGone = true;
    } catch (std::runtime_error const& error) {
        isOver = true;
        fault = error.what();
    }
}

std::uint64_t BusCapture::missing() const {
    std::uint64_t sum = 0;
    for (auto const& [sender, each] : gaps) {
        sum += each.total();
    }
    return sum;
}

void BusCapture::closeFile() {
    try {
        writer.end(timeOfDay(), missing());
    } catch (CaptureWriter::ReaderGone const&) {
        isReaderGone = true;
    } catch (std::runtime_error const& error) {
        fault = error.what();
    }
}

std::string BusCapture::end() {
    tap.reset();
    if (fault.empty() && !isReaderGone) {
        closeFile();
    }
    for (auto const& [name, times] : counters.occurred()) {
        report.entry("counter", "process " + name + ": " + std::to_string(times),
                     {{"of", "process"}, {"name", name}, {"count", times}});
    }
    report.result("summary",
                  plural(static_cast<std::size_t>(writer.written()), "message") + ", " +
                      std::to_string(missing()) + " missed",
                  {{"messages", writer.written()}, {"missed", missing()}});
    return fault;
}

} // namespace gateway
