#include "gateway/msc/PictureChart.h"

#include "gateway/ExternalTool.h"
#include "gateway/msc/Wrap.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace gateway {

namespace {

// Lengths are points, 1/72 of an inch; y grows upwards.
double const firstAxis = 150;
double const smallestGap = 230;
double const largestGap = 460;
double const characterWidth = 5.6;
double const lineHeight = 13;
/** Between an arrow and the text of the next one. */
double const rowGap = 9;
double const pauseHeight = 24;
double const timeColumn = 54;
double const headWidth = 112;
double const headHeight = 36;
/** Higher than this, a PNG would be scaled down: cairo's limit at 96 dots per inch. */
double const highestPng = 32767.0 * 72 / 96;

char const commandColor[] = "#1f4e9c";
char const eventColor[] = "#1b7340";
char const faultyColor[] = "#c0261c";
char const axisColor[] = "#707070";

char const* colorOf(ChartMessage::Kind kind) {
    switch (kind) {
    case ChartMessage::Kind::command:
        return commandColor;
    case ChartMessage::Kind::event:
        return eventColor;
    case ChartMessage::Kind::faulty:
        break;
    }
    return faultyColor;
}

/** As text of an HTML-like label. */
std::string escaped(std::string const& text) {
    std::string result;
    for (char const each : text) {
        switch (each) {
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += each;
        }
    }
    return result;
}

/** Lines of text above an arrow. */
struct Label {
    std::vector<std::string> lines;

    double height() const { return lineHeight * static_cast<double>(lines.size()); }
};

class Picture {
public:
    explicit Picture(Chart const& itsChart) : chart(itsChart), gap(chooseGap()) {
        source << std::fixed << std::setprecision(1);
    }

    std::string draw() {
        source << "digraph chart {\n"
                  "graph [splines=line, outputorder=edgesfirst, bgcolor=white, pad=0.2, dpi=96];\n"
                  "node [fontname=\"Helvetica,Arial,sans-serif\", fontsize=10, shape=plaintext, "
                  "margin=\"0.03,0\", height=0, width=0];\n"
                  "edge [arrowsize=0.8, penwidth=1.2];\n";
        drawMessages();
        drawAxes();
        source << "}\n";
        return source.str();
    }

    double height() const { return -y + 2 * headHeight; }

private:
    double chooseGap() const {
        std::size_t longest = 0;
        for (ChartMessage const& message : chart.messages) {
            longest = std::max({longest, message.name.size(), detailsOf(message).size()});
        }
        double const wanted = characterWidth * static_cast<double>(longest) + 40;
        return std::clamp(wanted, smallestGap, largestGap);
    }

    double axis(std::size_t instance) const {
        return firstAxis + gap * static_cast<double>(instance);
    }

    void drawMessages() {
        y = -headHeight;
        for (std::size_t i = 0; i < chart.messages.size(); ++i) {
            if (auto const pause = pauseBefore(chart, i)) {
                drawPause(*pause);
            }
            drawMessage(chart.messages[i]);
        }
    }

    /** A label that is drawn over the axes, so that it can be read. */
    void text(double x, double middle, std::string const& html, char const* color) {
        source << "t" << ++nodes << " [pos=\"" << x << "," << middle
               << "\", style=filled, fillcolor=white, fontcolor=\"" << color << "\", label=<"
               << html << ">];\n";
    }

    std::string point(double x) {
        std::string name = "p" + std::to_string(++nodes);
        source << name << " [pos=\"" << x << "," << y << "\", shape=point, style=invis];\n";
        return name;
    }

    void drawPause(std::chrono::nanoseconds pause) {
        y -= pauseHeight;
        text(axis(0), y + pauseHeight / 4,
             "<I>" + escaped(millisecondsText(pause)) + " ms pass</I>", axisColor);
    }

    double widthOf(ChartMessage const& message) const {
        if (!message.from || *message.from == *message.to) {
            return gap;
        }
        std::size_t const from = *message.from;
        std::size_t const to = *message.to;
        return gap * static_cast<double>(std::max(from, to) - std::min(from, to));
    }

    Label labelOf(ChartMessage const& message) const {
        auto const room = static_cast<std::size_t>((widthOf(message) - 30) / characterWidth);
        Label label;
        std::string const details = detailsOf(message);
        bool const isOneLine = message.name.size() + details.size() < room;
        std::string first = "<B>" + escaped(message.name) + "</B>";
        if (isOneLine && !details.empty()) {
            first += "&#160; " + escaped(details);
        }
        label.lines.push_back(first);
        if (!isOneLine) {
            for (std::string const& each : wrapped(details, room)) {
                label.lines.push_back(escaped(each));
            }
        }
        if (!message.remark.empty()) {
            for (std::string const& each : wrapped(message.remark, room)) {
                label.lines.push_back("<I>" + escaped(each) + "</I>");
            }
        }
        return label;
    }

    void drawMessage(ChartMessage const& message) {
        Label const label = labelOf(message);
        y -= label.height() + rowGap;
        char const* const color = colorOf(message.kind);
        source << "t" << ++nodes << " [pos=\"" << timeColumn << "," << y << "\", fontcolor=\""
               << axisColor << "\", fixedsize=true, width=0.8, height=0.25, label=\""
               << millisecondsText(message.time) << "\\r\"];\n";
        double const begin = message.from ? axis(*message.from) : axis(0);
        double const end = message.to ? axis(*message.to) : axis(0);
        bool const isArrow = begin != end;
        double const middle = isArrow ? (begin + end) / 2 : begin + gap / 2;
        text(middle, y + label.height() / 2 + 2, joinedLines(label), color);
        if (isArrow) {
            drawArrow(message, begin, end, color);
        } else if (message.from) {
            drawLoop(begin, color);
        }
    }

    static std::string joinedLines(Label const& label) {
        std::string html;
        for (std::string const& line : label.lines) {
            html += (html.empty() ? "" : "<BR/>") + line;
        }
        return html;
    }

    void drawArrow(ChartMessage const& message, double begin, double end, char const* color) {
        // A lost message ends at a mark before its receiver.
        double const back = message.isLost ? (begin < end ? -14 : 14) : 0;
        std::string const from = point(begin);
        std::string const to = point(end + back);
        source << from << " -> " << to << " [color=\"" << color
               << "\", arrowhead=" << (message.isLost ? "dotnormal" : "normal") << "];\n";
    }

    void drawLoop(double at, char const* color) {
        std::string const from = point(at + 30);
        std::string const to = point(at);
        source << from << " -> " << to << " [color=\"" << color << "\"];\n";
    }

    void drawAxes() {
        double const bottom = y - headHeight / 2;
        for (std::size_t i = 0; i < chart.instances.size(); ++i) {
            ChartInstance const& instance = chart.instances[i];
            source << "h" << i << " [pos=\"" << axis(i)
                   << ",0\", shape=box, fixedsize=true, width=" << headWidth / 72
                   << ", height=" << headHeight / 72
                   << ", style=filled, fillcolor=\"#eef2f8\", fontsize=11, label=<<B>"
                   << escaped(instance.role) << "</B><BR/>" << addressOf(instance) << ">];\n"
                   << "f" << i << " [pos=\"" << axis(i) << "," << bottom
                   << "\", shape=box, fixedsize=true, width=0.7, height=0.09, style=filled, "
                      "fillcolor=black, label=\"\"];\n"
                   << "h" << i << " -> f" << i << " [arrowhead=none, penwidth=1, color=\""
                   << axisColor << "\"];\n";
        }
        source << "ms [pos=\"" << timeColumn << ",0\", fontcolor=\"" << axisColor
               << "\", fixedsize=true, width=0.8, height=0.25, label=\"ms\\r\"];\n";
    }

    Chart const& chart;
    double const gap;
    std::ostringstream source;
    /** Of the last arrow. */
    double y = 0;
    std::size_t nodes = 0;
};

} // namespace

std::string pictureSource(Chart const& chart) {
    return Picture(chart).draw();
}

void drawPicture(Chart const& chart, PictureFormat format, std::string const& path) {
    Picture picture(chart);
    ToolInput const source(picture.draw());
    bool const isPng = format == PictureFormat::png;
    if (isPng && picture.height() > highestPng) {
        throw std::runtime_error(path + ": the chart is too long for a PNG: draw an SVG, or choose "
                                        "messages with --dsp or --sid");
    }
    // -n: everything has its place already.
    runTool({"neato", "-n", isPng ? "-Tpng" : "-Tsvg", "-o" + path, source.path()}, "graphviz");
}

} // namespace gateway
