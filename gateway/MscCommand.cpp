#include "gateway/Subcommand.h"
#include "gateway/Text.h"
#include "gateway/capture/CaptureReader.h"
#include "gateway/msc/Chart.h"
#include "gateway/msc/PictureChart.h"
#include "gateway/msc/TextChart.h"

#include <CLI/CLI.hpp>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace gateway {

namespace {

char const mscHelp[] =
    R"(The chart goes to the terminal as text, or to a file as a picture (needs graphviz). Instances are
the Session Manager and the boards with their IMC addresses; times are milliseconds since the first
record of the capture; an acknowledgement says how long after its command it came. What is wrong
with a message stands below it: malformed, refused, not acknowledged.

  mcgw call --capture call.pcapng examples/calls/voice-dtmf.toml
  mcgw msc call.pcapng
  mcgw msc call.pcapng --dsp 0 --svg call.svg

The format of captures, and the filters of Wireshark: docs/captures.md.

Exit status: 0 when the chart was drawn, 1 when the capture is damaged (what precedes the damage is
drawn), holds no such message, or the picture could not be drawn, 2 for a bad command line or a file
that is no capture.)";

struct MscOptions {
    std::string file;
    ChartOptions chart;
    std::string svg;
    std::string png;
    bool isAscii = false;
    std::optional<std::size_t> width;
};

/** The first of them that is set says what the terminal understands, installed here or not. */
bool isUtf8Terminal() {
    for (char const* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        char const* const value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            std::string locale = value;
            std::transform(locale.begin(), locale.end(), locale.begin(), [](unsigned char each) {
                return static_cast<char>(std::toupper(each));
            });
            return locale.find("UTF-8") != std::string::npos ||
                   locale.find("UTF8") != std::string::npos;
        }
    }
    return false;
}

std::size_t terminalWidth() {
    winsize size{};
    bool const isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return isTerminal ? size.ws_col : TextStyle().width;
}

void draw(Chart const& chart, MscOptions const& options) {
    if (!options.svg.empty()) {
        drawPicture(chart, PictureFormat::svg, options.svg);
    }
    if (!options.png.empty()) {
        drawPicture(chart, PictureFormat::png, options.png);
    }
    if (options.svg.empty() && options.png.empty()) {
        TextStyle style;
        style.isAscii = options.isAscii || !isUtf8Terminal();
        style.width = options.width.value_or(terminalWidth());
        std::cout << drawText(chart, style) << std::flush;
    }
    if (!std::cout) {
        throw std::runtime_error("the chart can't be written");
    }
}

int runMsc(MscOptions const& options) {
    Capture capture;
    try {
        capture = readCapture(options.file);
    } catch (CaptureError const& error) {
        throw std::invalid_argument(error.what());
    }
    Chart const chart = makeChart(capture.records, options.chart);
    bool const isEmpty = chart.messages.empty();
    if (!isEmpty) {
        draw(chart, options);
    }
    if (capture.leftOut != 0) {
        std::cerr << "mcgw: " << options.file << ": left out: " << plural(capture.leftOut, "record")
                  << " without a time or of another link type than USER0\n";
    }
    if (isEmpty) {
        std::cerr << "mcgw: " << options.file << ": no such message among "
                  << plural(capture.records.size(), "record") << '\n';
    }
    if (!capture.fault.empty()) {
        std::cerr << "mcgw: " << capture.fault << '\n';
    }
    return isEmpty || !capture.fault.empty() ? someFailed : allHeld;
}

} // namespace

Subcommand addMsc(CLI::App& program) {
    auto const options = std::make_shared<MscOptions>();
    CLI::App* const msc =
        program.add_subcommand("msc", "Draw a capture as a message sequence chart");
    msc->add_option("FILE", options->file, "Capture (pcapng)")->required();
    msc->add_option("--dsp", options->chart.dsp, "Only messages about this DSP channel")
        ->check(CLI::Range(0U, 255U));
    msc->add_option("--sid", options->chart.sid,
                    "Only messages from or to this IMC address, such as 0x10")
        ->check(CLI::Range(0U, 255U));
    msc->add_flag("--all-fields", options->chart.allFields,
                  "Every field of each message, instead of those that tell the story");
    msc->add_flag("--audits", options->chart.audits,
                  "Also the messages with which a session audits its boards");
    msc->add_option("--svg", options->svg, "Draw an SVG picture into this file");
    msc->add_option("--png", options->png, "Draw a PNG picture into this file");
    msc->add_flag("--ascii", options->isAscii,
                  "Plain ASCII, which is the rule where the locale's encoding is not UTF-8");
    msc->add_option("--width", options->width,
                    "Columns of the text; the terminal's unless given, 100 without one")
        ->check(CLI::Range(std::size_t{40}, std::size_t{1000}));
    msc->footer(mscHelp);
    return {msc, [options] { return runMsc(*options); }};
}

} // namespace gateway
