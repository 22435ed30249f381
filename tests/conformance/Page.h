#ifndef CONFORMANCE_PAGE_H
#define CONFORMANCE_PAGE_H

#include <cstddef>
#include <map>
#include <ostream>
#include <string>
#include <vector>

/** docs/conformance.md, as a program reads it. */
namespace conformance {

using Texts = std::vector<std::string>;

/** One thing that is done in one state, and what must come of it. */
struct Cell {
    std::string group;
    std::string name;
    /** What is done, what was done or set before, and where: see "How to read a row". */
    std::string action;
    std::string given;
    std::string inside;
    std::string state;
    /** "in" or "out" */
    std::string direction;
    /** The columns that say what must happen, by their headings; without markup. */
    std::map<std::string, std::string> columns;

    /** What must stand in a column; empty when the row has no such column. */
    std::string expected(std::string const& column) const;
};

std::ostream& operator<<(std::ostream& out, Cell const& cell);

/** How a record comes into a state, and what it is then. */
struct State {
    std::string reachedBy;
    std::string record;
};

struct Page {
    std::map<std::string, State> states;
    std::vector<Cell> cells;
    /** The number of cells of each group, as the page states it. */
    std::map<std::string, std::size_t> stated;
};

/** @throw std::runtime_error for a row that can't be read */
Page const& page();

/** The pieces between the separators, without blanks around them; at least one. */
Texts split(std::string const& text, std::string const& separator);

std::string joined(Texts const& pieces, std::string const& separator);

} // namespace conformance

#endif
