#include "gateway/session/Table.h"

#include <algorithm>
#include <cstddef>

namespace gateway {

std::string Table::text() const {
    std::vector<std::size_t> widths(rows.front().size());
    for (Row const& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths.at(i) = std::max(widths.at(i), row[i].size());
        }
    }
    std::string text;
    for (Row const& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

} // namespace gateway
