#include "gateway/msc/TextChart.h"

#include "gateway/msc/Wrap.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace gateway {

namespace {

/** Width of the times in front, and of the gap behind them. */
std::size_t const timeWidth = 10;
std::size_t const timeGap = 2;
/** Between two axes, at least. */
std::size_t const smallestGap = 24;
/** Of an arrow beside its text: "|- text -->|". */
std::size_t const arrowRoom = 7;

/** What lines are made of. */
struct Symbols {
    char const* axis;
    char const* line;
    char const* right;
    char const* left;
    char const* lost;
    char const* pause;
    char const* foot;
    char const* topLeft;
    char const* topRight;
    char const* bottomLeft;
    char const* bottomRight;
    char const* bottomAxis;
};

Symbols const boxes = {"│", "─", "▶", "◀", "●", "⋮", "━", "┌", "┐", "└", "┘", "┬"};
Symbols const ascii = {"|", "-", ">", "<", "*", ":", "=", "+", "+", "+", "+", "+"};

/** One line of the drawing; what is set later covers what was set before. */
class Line {
public:
    void put(std::size_t column, std::string const& symbol) {
        if (cells.size() <= column) {
            cells.resize(column + 1, " ");
        }
        cells[column] = symbol;
    }

    /** ASCII text; a column for each character. */
    void write(std::size_t column, std::string const& text) {
        for (char const each : text) {
            put(column++, std::string(1, each));
        }
    }

    void fill(std::size_t begin, std::size_t end, std::string const& symbol) {
        for (; begin < end; ++begin) {
            put(begin, symbol);
        }
    }

    std::string text() const {
        std::string result;
        for (std::string const& cell : cells) {
            result += cell;
        }
        return result.substr(0, result.find_last_not_of(' ') + 1) + "\n";
    }

private:
    std::vector<std::string> cells;
};

class Drawing {
public:
    Drawing(Chart const& itsChart, TextStyle const& style)
        : chart(itsChart), symbols(style.isAscii ? ascii : boxes), axes(placeAxes(style.width)) {}

    std::string draw() {
        drawHeads();
        for (std::size_t i = 0; i < chart.messages.size(); ++i) {
            if (auto const pause = pauseBefore(chart, i)) {
                drawPause(*pause);
            }
            drawMessage(chart.messages[i]);
        }
        drawFeet();
        return result;
    }

private:
    /** Half the width of the widest head. */
    std::size_t halfHead() const {
        std::size_t widest = 8;
        for (ChartInstance const& instance : chart.instances) {
            widest = std::max(widest, instance.role.size());
        }
        return (widest + 5) / 2;
    }

    std::vector<std::size_t> placeAxes(std::size_t width) const {
        std::size_t const first = timeWidth + timeGap + halfHead();
        std::size_t const gaps = std::max<std::size_t>(chart.instances.size(), 2) - 1;
        std::size_t const used = first + halfHead() + 1;
        std::size_t const room = width > used ? (width - used) / gaps : 0;
        std::size_t const gap = std::max({room, smallestGap, 2 * halfHead() + 1});
        std::vector<std::size_t> places;
        for (std::size_t i = 0; i < chart.instances.size(); ++i) {
            places.push_back(first + i * gap);
        }
        return places;
    }

    void add(Line const& line) { result += line.text(); }

    Line withAxes(char const* symbol) const {
        Line line;
        for (std::size_t const axis : axes) {
            line.put(axis, symbol);
        }
        return line;
    }
    Line withAxes() const { return withAxes(symbols.axis); }

    void drawHeads() {
        Line top;
        Line roles;
        Line addresses;
        Line bottom;
        for (std::size_t i = 0; i < axes.size(); ++i) {
            std::size_t const left = axes[i] - halfHead();
            std::size_t const right = axes[i] + halfHead();
            for (Line* const edge : {&top, &bottom}) {
                edge->fill(left + 1, right, symbols.line);
            }
            top.put(left, symbols.topLeft);
            top.put(right, symbols.topRight);
            bottom.put(left, symbols.bottomLeft);
            bottom.put(right, symbols.bottomRight);
            bottom.put(axes[i], symbols.bottomAxis);
            for (Line* const side : {&roles, &addresses}) {
                side->put(left, symbols.axis);
                side->put(right, symbols.axis);
            }
            std::string const& role = chart.instances[i].role;
            std::string const address = addressOf(chart.instances[i]);
            roles.write(axes[i] - role.size() / 2, role);
            addresses.write(axes[i] - address.size() / 2, address);
        }
        bottom.write(timeWidth - 2, "ms");
        for (Line const* const line : {&top, &roles, &addresses, &bottom}) {
            add(*line);
        }
    }

    void drawFeet() {
        Line line;
        for (std::size_t const axis : axes) {
            line.fill(axis - 3, axis + 4, symbols.foot);
        }
        add(line);
    }

    void drawPause(std::chrono::nanoseconds pause) {
        Line line = withAxes(symbols.pause);
        std::string const text = millisecondsText(pause) + " ms";
        line.write(axes.empty() ? timeWidth + timeGap : axes.front() + 2, text);
        add(line);
    }

    void drawMessage(ChartMessage const& message) {
        Line line = withAxes();
        std::string const time = millisecondsText(message.time);
        line.write(timeWidth - std::min(timeWidth, time.size()), time);
        if (!message.from) {
            drawNote(std::move(line), message);
        } else if (*message.from == *message.to) {
            drawLoop(std::move(line), message);
        } else {
            drawArrow(std::move(line), message);
        }
    }

    /** A record that does not say from where to where. */
    void drawNote(Line line, ChartMessage const& message) {
        std::size_t const begin = axes.empty() ? timeWidth + timeGap : axes.front() + 2;
        line.write(begin, "! record " + std::to_string(message.number) + ": " + message.name +
                              ": " + message.remark);
        add(line);
    }

    void drawLoop(Line line, ChartMessage const& message) {
        std::size_t const axis = axes[*message.from];
        line.put(axis + 1, symbols.left);
        line.put(axis + 2, symbols.line);
        line.write(axis + 4, labelOf(message));
        add(line);
        drawRemark(axis + 4, message, std::string::npos);
    }

    static std::string labelOf(ChartMessage const& message) {
        std::string const details = detailsOf(message);
        return message.name + (details.empty() ? "" : " ") + details;
    }

    /** The arrow holds the text when there is room, otherwise its beginning. */
    void drawArrow(Line line, ChartMessage const& message) {
        std::size_t const from = axes[*message.from];
        std::size_t const to = axes[*message.to];
        std::size_t const left = std::min(from, to);
        std::size_t const right = std::max(from, to);
        std::size_t const room = right - left - arrowRoom;
        std::vector<std::string> const lines = wrapped(labelOf(message), room);
        line.fill(left + 1, right, symbols.line);
        bool const isRightward = from < to;
        std::size_t const head = isRightward ? right - 1 : left + 1;
        line.put(head, message.isLost ? symbols.lost : isRightward ? symbols.right : symbols.left);
        std::size_t const begin = left + (isRightward ? 3 : 5);
        line.write(begin - 1, " " + lines.front() + " ");
        add(line);
        for (std::size_t i = 1; i < lines.size(); ++i) {
            Line more = withAxes();
            more.write(begin, lines[i]);
            add(more);
        }
        drawRemark(begin, message, room);
    }

    void drawRemark(std::size_t column, ChartMessage const& message, std::size_t room) {
        if (message.remark.empty()) {
            return;
        }
        for (std::string const& each : wrapped("! " + message.remark, room)) {
            Line line = withAxes();
            line.write(column, each);
            add(line);
        }
    }

    Chart const& chart;
    Symbols const& symbols;
    std::vector<std::size_t> const axes;
    std::string result;
};

} // namespace

std::string drawText(Chart const& chart, TextStyle const& style) {
    return Drawing(chart, style).draw();
}

} // namespace gateway
