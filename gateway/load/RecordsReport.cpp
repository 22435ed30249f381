#include "gateway/load/CostChart.h"
#include "gateway/load/RecordsLoad.h"

#include "gateway/Text.h"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace gateway {

namespace {

using Json = nlohmann::ordered_json;
using Nanoseconds = RecordsCost::Nanoseconds;

struct CostName {
    char const* name;
    char const* key;
    char marker;
    Nanoseconds RecordsCost::*cost;
};

constexpr CostName costs[] = {
    {"open", "open", 'o', &RecordsCost::open},
    {"update", "update", 'u', &RecordsCost::update},
    {"close", "close", 'c', &RecordsCost::close},
    {"ack of open", "open_acknowledged", 'a', &RecordsCost::openAcknowledged},
    {"ack of close", "close_acknowledged", 'x', &RecordsCost::closeAcknowledged},
};

double micro(Nanoseconds time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

double mebibytes(std::size_t bytes) {
    return std::round(static_cast<double>(bytes) / (1024 * 1024) * 10) / 10;
}

CostChart chartOf(RecordsResult const& result) {
    CostChart chart = {
        "Median cost of the library's operations as its list grows", "records listed", "us", {}};
    for (CostName const& each : costs) {
        CostSeries series = {each.name, each.marker, {}};
        for (RecordsCost const& cost : result.costs) {
            series.points.emplace_back(static_cast<double>(cost.listed),
                                       std::max(0.001, micro(cost.*each.cost)));
        }
        chart.series.push_back(series);
    }
    return chart;
}

void draw(RecordsResult const& result, PlotFormat format, std::string const& path) {
    CostChart chart = chartOf(result);
    chart.yLabel = "median cost, µs";
    drawPlot(chart, format, path);
}

void writeTable(std::ostream& out, RecordsResult const& result) {
    out << "\nmedian, us\n" << std::setw(9) << "records";
    for (CostName const& each : costs) {
        out << std::setw(14) << each.name;
    }
    out << '\n' << std::fixed << std::setprecision(1);
    for (RecordsCost const& cost : result.costs) {
        out << std::setw(9) << cost.listed;
        for (CostName const& each : costs) {
            out << std::setw(14) << micro(cost.*each.cost);
        }
        out << '\n';
    }
}

} // namespace

std::string textOf(RecordsResult const& result, LoadOptions const& options, LoadPlan const& plan,
                   EarlyEnd const& end) {
    std::ostringstream out;
    out << options.records << " records, on " << plural(plan.boards.size(), "board") << " of "
        << plural(options.channels, "DSP channel") << " in " << plan.processes
        << (plan.processes == 1 ? " process" : " processes") << '\n';
    writeTable(out, result);
    out << '\n'
        << textChart(chartOf(result))
        << "\nresident memory of this process: " << mebibytes(result.memoryBefore)
        << " MiB before the first, " << mebibytes(result.memoryAfter) << " MiB with all\n"
        << result.opened << " openings and " << result.closed << " closings acknowledged, "
        << result.refused << " refused, " << result.lost << " lost\n";
    if (end.hasFailed()) {
        out << "\nGiven up: " << end.reason() << '\n';
    } else if (end.isAsked()) {
        out << "\nEnded by a signal before its time.\n";
    }
    return out.str();
}

Json jsonOf(RecordsResult const& result, LoadOptions const& options, LoadPlan const& plan,
            EarlyEnd const& end) {
    Json object = {{"type", "records"},
                   {"records", options.records},
                   {"boards", plan.boards.size()},
                   {"channels", options.channels},
                   {"processes", plan.processes},
                   {"good", isGood(result, options, end)},
                   {"interrupted", end.isAsked()},
                   {"median_us", Json::array()},
                   {"resident_bytes_before", result.memoryBefore},
                   {"resident_bytes_after", result.memoryAfter},
                   {"opened", result.opened},
                   {"closed", result.closed},
                   {"refused", result.refused},
                   {"lost", result.lost},
                   {"unexpected_acks", result.unexpected}};
    for (RecordsCost const& cost : result.costs) {
        Json row = {{"listed", cost.listed}};
        for (CostName const& each : costs) {
            row[each.key] = micro(cost.*each.cost);
        }
        object["median_us"].push_back(row);
    }
    if (end.hasFailed()) {
        object["given_up"] = end.reason();
    }
    return object;
}

void drawSvg(RecordsResult const& result, std::string const& path) {
    draw(result, PlotFormat::svg, path);
}

void drawPng(RecordsResult const& result, std::string const& path) {
    draw(result, PlotFormat::png, path);
}

} // namespace gateway
