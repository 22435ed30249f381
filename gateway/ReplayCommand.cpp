#include "gateway/BusSender.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"
#include "gateway/Text.h"
#include "gateway/capture/CaptureReader.h"

#include "dsp/Events.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace gateway {

namespace {

char const replayHelp[] =
    R"(Sends the events of a capture, byte for byte and each from its sender, to where they went
or to --to, at the times of the capture. Records that were refused, or that lack bytes, are left
out.

  mcgw replay field.pcapng --to 0x01
  mcgw replay field.pcapng --speed 10
  mcgw replay field.pcapng --fast --quiet

More: docs/tools.md.

Exit status: 0 when every message was sent and taken, 1 when one was not, the capture is damaged
(what precedes the damage is sent) or the bus can't be joined, 2 for a bad command line or a file
that is no capture.)";

using Milliseconds = std::chrono::milliseconds;

/** How long the end waits for what was sent to be taken. */
Milliseconds const takenLimit{2000};
Milliseconds const retryInterval{2};
/** No pause is longer, whatever the times of a capture say. */
std::chrono::hours const longestPause{24 * 366};

struct ReplayOptions {
    std::string file;
    host::BusOptions bus;
    std::optional<unsigned> to;
    double speed = 1;
    bool isFast = false;
    bool isAll = false;
    bool isEvents = false;
    unsigned waitFor = 2000;
    unsigned patience = 5000;
    std::string capture;
    ReportOptions report;
};

struct Replayed {
    std::size_t number;
    std::chrono::nanoseconds time;
    imc_msg message;
};

bool isChosen(CaptureRecord const& record, ReplayOptions const& options) {
    if (isCutShort(record)) {
        return false;
    }
    return options.isAll ||
           (!record.isRefused && dsp::findEvent(messageOf(record).messageId) != nullptr);
}

std::vector<Replayed> choose(Capture const& capture, ReplayOptions const& options) {
    std::vector<Replayed> chosen;
    for (CaptureRecord const& record : capture.records) {
        if (isChosen(record, options)) {
            chosen.push_back({record.number, record.time, messageOf(record)});
            if (options.to) {
                chosen.back().message.destinationSid = static_cast<std::uint8_t>(*options.to);
            }
        }
    }
    return chosen;
}

/** Sends one message after the other, each at its time. */
class Replay {
public:
    Replay(BusSender& to, Report& itsReport, ReplayOptions const& how)
        : sender(to), report(itsReport), options(how) {}

    /** @return whether it came to its end */
    bool run(std::vector<Replayed> const& messages) {
        start = Clock::now();
        for (Replayed const& each : messages) {
            awaitTime(each.time - messages.front().time);
            if (sender.isEnding() || !send(each)) {
                return false;
            }
        }
        return true;
    }

private:
    using Clock = std::chrono::steady_clock;

    void awaitTime(std::chrono::nanoseconds since) {
        Milliseconds pause{0};
        if (!options.isFast) {
            std::chrono::duration<double> const scaled =
                std::chrono::duration<double>(since) / options.speed;
            std::chrono::duration<double> const left = scaled - (Clock::now() - start);
            std::chrono::duration<double> const longest = longestPause;
            pause = std::chrono::ceil<Milliseconds>(
                std::clamp(left, std::chrono::duration<double>(0), longest));
        }
        sender.wait(pause);
    }

    /** @return false when it is given up */
    bool send(Replayed const& each) {
        Report::Json const details = {{"record", each.number}};
        auto const end = Clock::now() + Milliseconds(options.patience);
        while (sender.send(each.message, details) == BusSender::Outcome::full) {
            if (Clock::now() >= end || sender.isEnding()) {
                sender.reportRefused(each.message, details);
                return false;
            }
            if (!isWaiting) {
                report.entry("full", "the receiver's queue is full: waiting", details);
                isWaiting = true;
            }
            sender.wait(retryInterval);
        }
        isWaiting = false;
        return true;
    }

    BusSender& sender;
    Report& report;
    ReplayOptions const& options;
    Clock::time_point start;
    bool isWaiting = false;
};

Capture readFile(std::string const& path) {
    try {
        return readCapture(path);
    } catch (CaptureError const& error) {
        throw std::invalid_argument(error.what());
    }
}

std::set<unsigned char> destinationsOf(std::vector<Replayed> const& messages) {
    std::set<unsigned char> sids;
    for (Replayed const& each : messages) {
        sids.insert(each.message.destinationSid);
    }
    return sids;
}

void reportSummary(Report& report, BusSender const& sender, std::size_t leftOut,
                   std::size_t notSent) {
    report.result("summary",
                  plural(sender.sent(), "message") + " sent, " + std::to_string(leftOut) +
                      " left out, " + std::to_string(sender.refused()) + " refused" +
                      (notSent == 0 ? "" : ", " + std::to_string(notSent) + " not sent"),
                  {{"sent", sender.sent()},
                   {"left_out", leftOut},
                   {"refused", sender.refused()},
                   {"not_sent", notSent}});
}

void requireOtherFile(ReplayOptions const& options) {
    std::error_code ignored;
    if (!options.capture.empty() &&
        std::filesystem::equivalent(options.file, options.capture, ignored)) {
        throw std::invalid_argument("--capture " + options.capture +
                                    ": that is the capture to be sent, expected another file");
    }
}

int run(ReplayOptions const& options) {
    requireOtherFile(options);
    Capture const capture = readFile(options.file);
    std::vector<Replayed> const messages = choose(capture, options);
    SendingProcess process(options.bus, options.report, options.capture);
    Report& report = process.report;
    BusSender& sender = process.sender;
    sender.awaitServed(destinationsOf(messages), Milliseconds(options.waitFor));
    bool const isDone = Replay(sender, report, options).run(messages);
    bool const isTaken = sender.awaitTaken(takenLimit);
    reportSummary(report, sender, capture.records.size() - messages.size() + capture.leftOut,
                  messages.size() - sender.sent() - sender.refused());
    process.end();
    if (!capture.fault.empty()) {
        throw std::runtime_error(capture.fault);
    }
    return isDone && isTaken && sender.refused() == 0 ? allHeld : someFailed;
}

} // namespace

Subcommand addReplay(CLI::App& program) {
    auto const options = std::make_shared<ReplayOptions>();
    options->bus.name = "mcgw replay";
    CLI::App* const replay =
        program.add_subcommand("replay", "Send the events of a capture again, on the bus");
    replay->add_option("FILE.pcapng", options->file, "The capture")->required();
    replay
        ->add_option("--to", options->to, "IMC address that they go to, in place of the capture's")
        ->check(CLI::Range(0U, 255U));
    auto* const speed = replay->add_option("--speed", options->speed, "How many times as fast")
                            ->check(CLI::Range(0.001, 1000000.0));
    replay->add_flag("--fast", options->isFast, "One right after the other")->excludes(speed);
    auto* const events = replay->add_flag("--events", options->isEvents,
                                          "Events that were not refused, which is the default");
    replay->add_flag("--all", options->isAll, "Commands, unknown messages and refused ones, too")
        ->excludes(events);
    replay
        ->add_option("--patience", options->patience,
                     "How long a message waits while its receiver's queue is full, ms")
        ->check(CLI::Range(0U, 3600000U))
        ->capture_default_str();
    replay
        ->add_option("--wait-for", options->waitFor,
                     "How long to wait until the receivers are on the bus, ms")
        ->check(CLI::Range(0U, 3600000U))
        ->capture_default_str();
    addBusOptions(*replay, options->bus);
    addCaptureOption(*replay, options->capture, "what is sent");
    replay->add_flag("--json", options->report.json, "One JSON object per line");
    replay->add_flag("--quiet", options->report.quiet, "Refusals and the summary only");
    replay->footer(replayHelp);
    return {replay, [options] { return run(*options); }};
}

} // namespace gateway
