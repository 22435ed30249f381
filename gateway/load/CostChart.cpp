#include "gateway/load/CostChart.h"

#include "gateway/ExternalTool.h"
#include "gateway/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <limits>
#include <set>
#include <sstream>

namespace gateway {

namespace {

/** Room for the numbers at the vertical axis. */
constexpr int margin = 9;
constexpr char several = '*';

std::string numberText(double number) {
    std::ostringstream out;
    out << std::setprecision(6) << number;
    return out.str();
}

/** A logarithmic axis from one power of ten, or half of it, to another. */
class Axis {
public:
    /** @param itsCells how many characters there are */
    Axis(double low, double high, std::size_t itsCells) : cells(itsCells) {
        first = std::log10(low);
        last = std::log10(high);
        if (last <= first) {
            last = first + 1;
        }
    }

    std::size_t cellOf(double value) const {
        double const part = (std::log10(value) - first) / (last - first);
        double const cell = std::round(part * static_cast<double>(cells - 1));
        return static_cast<std::size_t>(std::clamp(cell, 0.0, static_cast<double>(cells - 1)));
    }

    /** The powers of ten on the axis, and twice and five times those. */
    std::vector<double> ticks() const {
        std::vector<double> result;
        for (int power = static_cast<int>(std::floor(first)); power <= last; ++power) {
            for (double const step : {1.0, 2.0, 5.0}) {
                double const tick = step * std::pow(10.0, power);
                double const at = std::log10(tick);
                if (at >= first - 1e-9 && at <= last + 1e-9) {
                    result.push_back(tick);
                }
            }
        }
        return result;
    }

private:
    std::size_t cells;
    double first;
    double last;
};

/** The lowest and the highest of the numbers, rounded outwards to 1, 2 or 5 times a power of 10. */
class Range {
public:
    void add(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    double roundLow() const {
        double best = std::pow(10.0, std::floor(std::log10(low)));
        for (double const step : {2.0, 5.0}) {
            double const candidate = step * std::pow(10.0, std::floor(std::log10(low)));
            best = candidate <= low ? candidate : best;
        }
        return best;
    }
    double roundHigh() const {
        double const power = std::pow(10.0, std::floor(std::log10(high)));
        for (double const step : {1.0, 2.0, 5.0}) {
            if (step * power >= high) {
                return step * power;
            }
        }
        return 10 * power;
    }

private:
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::min();
};

struct Ranges {
    Range x;
    Range y;
    bool isEmpty = true;
};

Ranges rangesOf(CostChart const& chart) {
    Ranges ranges;
    for (CostSeries const& series : chart.series) {
        for (auto const& [x, y] : series.points) {
            ranges.x.add(x);
            ranges.y.add(y);
            ranges.isEmpty = false;
        }
    }
    return ranges;
}

using Rows = std::vector<std::string>;

/** The first row is the highest. */
Rows pointsOf(CostChart const& chart, Axis const& x, Axis const& y, std::size_t columns,
              std::size_t rows) {
    Rows cells(rows, std::string(columns, ' '));
    for (CostSeries const& series : chart.series) {
        for (auto const& [at, value] : series.points) {
            char& cell = cells[rows - 1 - y.cellOf(value)][x.cellOf(at)];
            cell = cell == ' ' || cell == series.marker ? series.marker : several;
        }
    }
    return cells;
}

void writeRows(std::ostream& out, Rows const& cells, Axis const& y) {
    std::vector<std::string> labels(cells.size());
    for (double const tick : y.ticks()) {
        labels[cells.size() - 1 - y.cellOf(tick)] = numberText(tick);
    }
    for (std::size_t row = 0; row < cells.size(); ++row) {
        std::string line = cells[row];
        line.erase(line.find_last_not_of(' ') + 1);
        out << std::setw(margin) << labels[row] << (labels[row].empty() ? " |" : " +") << line
            << '\n';
    }
}

void writeBottom(std::ostream& out, Axis const& x, std::size_t columns) {
    std::string axis(columns, '-');
    std::string numbers(columns + margin, ' ');
    std::size_t free = 0;
    for (double const tick : x.ticks()) {
        std::size_t const at = x.cellOf(tick);
        axis[at] = '+';
        std::string const text = numberText(tick);
        std::size_t const begin = at - std::min(at, text.size() / 2);
        if (begin >= free) {
            numbers.replace(begin, text.size(), text);
            free = begin + text.size() + 1;
        }
    }
    numbers.erase(numbers.find_last_not_of(' ') + 1);
    out << std::string(margin + 1, ' ') << '+' << axis << '\n'
        << std::string(margin + 2, ' ') << numbers << '\n';
}

/** A text between single quotes, as gnuplot takes it. */
std::string quoted(std::string const& text) {
    std::string result = "'";
    for (char const each : text) {
        result += each == '\'' ? std::string("''") : std::string(1, each);
    }
    return result + "'";
}

/** Colours that differ in brightness too, and gnuplot's numbers of points that differ in form. */
constexpr std::array<char const*, 5> colors = {"#c1272d", "#0071bc", "#e08214", "#1b7837",
                                               "#542788"};
constexpr std::array<int, 5> pointTypes = {7, 5, 9, 13, 11};

/** Each number at which something was measured is marked. */
void writePlotAxes(std::ostream& out, CostChart const& chart) {
    Ranges const ranges = rangesOf(chart);
    if (ranges.isEmpty) {
        return;
    }
    double const low = ranges.y.roundLow();
    double const high = ranges.y.roundHigh();
    Axis const y(low, high, 2);
    std::set<double> ticks;
    for (CostSeries const& series : chart.series) {
        for (auto const& point : series.points) {
            ticks.insert(point.first);
        }
    }
    out << "set xrange [" << numberText(*ticks.begin() / 1.3) << ':'
        << numberText(*ticks.rbegin() * 1.3) << "]\nset yrange [" << numberText(low) << ':'
        << numberText(high) << "]\nset xtics (" << joined(ticks, numberText) << ")\nset ytics ("
        << joined(y.ticks(), numberText) << ")\n";
}

} // namespace

std::string textChart(CostChart const& chart, std::size_t columns, std::size_t rows) {
    Ranges const ranges = rangesOf(chart);
    std::ostringstream out;
    out << chart.title << '\n';
    if (ranges.isEmpty) {
        out << "nothing to draw\n";
        return out.str();
    }
    Axis const x(ranges.x.roundLow(), ranges.x.roundHigh(), columns);
    Axis const y(ranges.y.roundLow(), ranges.y.roundHigh(), rows);
    out << std::setw(margin) << chart.yLabel << '\n';
    writeRows(out, pointsOf(chart, x, y, columns, rows), y);
    writeBottom(out, x, columns);
    out << std::string(margin + 2 + columns - std::min(columns, chart.xLabel.size()), ' ')
        << chart.xLabel << '\n';
    for (CostSeries const& series : chart.series) {
        out << "  " << series.marker << ' ' << series.name;
    }
    out << "  " << several << " several\n";
    return out.str();
}

std::string plotScript(CostChart const& chart, PlotFormat format, std::string const& path) {
    std::ostringstream out;
    out << "set terminal "
        << (format == PlotFormat::svg ? "svg size 900,600 font 'sans,14' background 'white'"
                                      : "pngcairo size 900,600 font 'sans,11'")
        << "\nset output " << quoted(path) << "\nset encoding utf8\nset title "
        << quoted(chart.title) << " noenhanced\nset xlabel " << quoted(chart.xLabel)
        << " noenhanced\nset ylabel " << quoted(chart.yLabel)
        << " noenhanced\nset logscale xy\nset format x '%.0f'\nset format y '%g'\n"
        << "set grid xtics ytics mytics lc rgb '#b0b0b0' lw 1, lc rgb '#d8d8d8' lw 0.5\n"
        << "set key left top reverse Left opaque\n";
    writePlotAxes(out, chart);
    out << "plot ";
    for (std::size_t i = 0; i < chart.series.size(); ++i) {
        out << (i == 0 ? "" : ", ") << "'-' with linespoints lw 2 ps 1.2 pt "
            << pointTypes[i % pointTypes.size()] << " lc rgb '" << colors[i % colors.size()]
            << "' title " << quoted(chart.series[i].name) << " noenhanced";
    }
    out << '\n';
    for (CostSeries const& series : chart.series) {
        for (auto const& [x, y] : series.points) {
            out << numberText(x) << ' ' << numberText(y) << '\n';
        }
        out << "e\n";
    }
    return out.str();
}

void drawPlot(CostChart const& chart, PlotFormat format, std::string const& path) {
    ToolInput const script(plotScript(chart, format, path));
    runTool({"gnuplot", script.path()}, "gnuplot-nox");
}

} // namespace gateway
