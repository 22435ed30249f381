// Captures: whatever a file holds, it is read up to what is wrong with it, and what was read can be
// drawn.

#include "tests/fuzz/Check.h"
#include "tests/fuzz/Target.h"

#include "gateway/capture/CaptureReader.h"
#include "gateway/msc/Chart.h"
#include "gateway/msc/PictureChart.h"
#include "gateway/msc/TextChart.h"

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using fuzz::require;

std::string const name = "call.pcapng";

/** A text about a fault begins with the file's name and says something. */
void requireFault(std::string const& text) {
    std::string const start = name + ": ";
    require(text.rfind(start, 0) == 0 && text.size() > start.size(), "a fault names its file");
}

void requirePlain(std::string const& text) {
    bool const isPlain = std::all_of(text.begin(), text.end(), [](char each) {
        return each == '\n' || (' ' <= each && each <= '~');
    });
    require(isPlain, "a chart in ASCII is printable");
}

/** Every record is a row of the chart, and each of its ends is an instance. */
void requireDrawn(std::vector<gateway::CaptureRecord> const& records) {
    gateway::ChartOptions options;
    options.allFields = true;
    gateway::Chart const chart = gateway::makeChart(records, options);
    require(chart.messages.size() == records.size(), "each record is shown");
    for (gateway::ChartMessage const& message : chart.messages) {
        require(!message.from || *message.from < chart.instances.size(), "a sender is drawn");
        require(!message.to || *message.to < chart.instances.size(), "a receiver is drawn");
    }
    requirePlain(gateway::drawText(chart, {80, true}));
    require(!gateway::drawText(chart, {80, false}).empty(), "there is a chart");
    requirePlain(gateway::pictureSource(chart));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::istringstream from(std::string(data, data + size));
    std::vector<gateway::CaptureRecord> records;
    try {
        gateway::CaptureReader reader(from, name);
        std::size_t last = 0;
        for (gateway::CaptureRecord record; reader.next(record);) {
            require(record.number > last, "records are counted");
            last = record.number;
            records.push_back(record);
        }
        if (!reader.fault().empty()) {
            requireFault(reader.fault());
        }
    } catch (gateway::CaptureError const& error) {
        requireFault(error.what());
        return 0;
    }
    requireDrawn(records);
    return 0;
}
