#ifndef GATEWAY_MSC_PICTURECHART_H
#define GATEWAY_MSC_PICTURECHART_H

#include "gateway/msc/Chart.h"

#include <string>

namespace gateway {

enum class PictureFormat { svg, png };

/** The chart in graphviz's language, everything at its place. */
std::string pictureSource(Chart const& chart);

/**
 * Draws the chart into a file.
 * @throw std::runtime_error when graphviz is not installed or refuses, or the chart is too long for
 *        the format
 */
void drawPicture(Chart const& chart, PictureFormat format, std::string const& path);

} // namespace gateway

#endif
