#ifndef GATEWAY_LOAD_COSTCHART_H
#define GATEWAY_LOAD_COSTCHART_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/** One line of a chart. */
struct CostSeries {
    std::string name;
    /** What marks its points in a chart of text. */
    char marker;
    /** Both numbers are greater than 0. */
    std::vector<std::pair<double, double>> points;
};

/** A chart with logarithmic axes. */
struct CostChart {
    std::string title;
    std::string xLabel;
    std::string yLabel;
    std::vector<CostSeries> series;
};

/**
 * The chart in characters. Where points of several lines meet, `*` stands.
 * @param columns and rows of the area between the axes, at least 10 and 5
 */
std::string textChart(CostChart const& chart, std::size_t columns = 64, std::size_t rows = 20);

enum class PlotFormat { svg, png };

/** What gnuplot is told to draw. */
std::string plotScript(CostChart const& chart, PlotFormat format, std::string const& path);

/**
 * Draws the chart into the file.
 * @throw std::runtime_error naming the package to install, or that it could not be drawn
 */
void drawPlot(CostChart const& chart, PlotFormat format, std::string const& path);

} // namespace gateway

#endif
