#ifndef GATEWAY_MSC_TEXTCHART_H
#define GATEWAY_MSC_TEXTCHART_H

#include "gateway/msc/Chart.h"

#include <cstddef>
#include <string>

namespace gateway {

/** How a chart is drawn for a terminal. */
struct TextStyle {
    /** Columns to fit into, as far as the number of instances allows. */
    std::size_t width = 100;
    /** Plain ASCII, without box-drawing characters. */
    bool isAscii = false;
};

/** The chart as lines of text, UTF-8 unless it is ASCII. */
std::string drawText(Chart const& chart, TextStyle const& style);

} // namespace gateway

#endif
