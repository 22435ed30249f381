#ifndef GATEWAY_MSC_CHART_H
#define GATEWAY_MSC_CHART_H

#include "gateway/capture/CaptureRecord.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** One that sends or receives; an instance of the chart, with an axis of its own. */
struct ChartInstance {
    unsigned char sid = 0;
    /** What it is, by what it sends and receives. */
    std::string role;
};

struct ChartMessage {
    enum class Kind { command, event, faulty };

    /** In the capture. */
    std::size_t number = 0;
    /** Since the capture's first record. */
    std::chrono::nanoseconds time{};
    /** Instances by their place; nothing for a record that does not say. */
    std::optional<std::size_t> from;
    std::optional<std::size_t> to;
    Kind kind = Kind::faulty;
    std::string name;
    /** " name=value" for each that is shown. */
    std::string fields;
    /** What there is to say against it; empty when there is nothing. */
    std::string remark;
    /** Whether it never arrived. */
    bool isLost = false;
    /** Of an acknowledgement: how long after its command. */
    std::optional<std::chrono::nanoseconds> delay;
};

/** A message sequence chart (ITU-T Z.120), before it is drawn. */
struct Chart {
    /** Session Managers first. */
    std::vector<ChartInstance> instances;
    std::vector<ChartMessage> messages;
};

/** Which messages are shown, and how much of them. */
struct ChartOptions {
    std::optional<unsigned> dsp;
    /** IMC address of sender or receiver. */
    std::optional<unsigned> sid;
    /** Every field, instead of those that tell the story. */
    bool allFields = false;
    /** Also those with which a session audits its boards. */
    bool audits = false;
};

Chart makeChart(std::vector<CaptureRecord> const& records, ChartOptions const& options);

/**
 * The pause in front of a message that is worth a line of its own: one of a second at least, since
 * the message that is drawn above it.
 */
std::optional<std::chrono::nanoseconds> pauseBefore(Chart const& chart, std::size_t message);

/** "12.3" */
std::string millisecondsText(std::chrono::nanoseconds time);

/** What is shown behind the name: fields, delay. */
std::string detailsOf(ChartMessage const& message);

/** "0x10" */
std::string addressOf(ChartInstance const& instance);

} // namespace gateway

#endif
