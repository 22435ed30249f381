#ifndef GATEWAY_SESSION_TABLE_H
#define GATEWAY_SESSION_TABLE_H

#include <string>
#include <utility>
#include <vector>

namespace gateway {

/** Rows whose columns stand one below the other, two blanks apart; the first row is the heading. */
class Table {
public:
    using Row = std::vector<std::string>;

    explicit Table(Row heading) { rows.push_back(std::move(heading)); }

    void add(Row row) { rows.push_back(std::move(row)); }
    bool isEmpty() const { return rows.size() == 1; }

    /** A line for each row, without the last line end. */
    std::string text() const;

private:
    std::vector<Row> rows;
};

} // namespace gateway

#endif
