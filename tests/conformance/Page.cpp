#include "tests/conformance/Page.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

/** The lines of the page; null behind the last one. */
extern char const* const pageLines[];

namespace conformance {

namespace {

using Row = std::map<std::string, std::string>;

bool startsWith(std::string const& text, std::string const& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

std::string trimmed(std::string const& text) {
    auto const begin = text.find_first_not_of(' ');
    auto const end = text.find_last_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

std::string withoutMarkup(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '`'), text.end());
    return text;
}

Texts columnsOf(std::string const& line) {
    Texts columns = split(withoutMarkup(line), "|");
    // What stands before the first bar and behind the last one is no column.
    if (columns.size() < 3) {
        throw std::runtime_error("no row of a table: " + line);
    }
    return Texts(columns.begin() + 1, columns.end() - 1);
}

Row rowOf(Texts const& headings, std::string const& line) {
    Texts const columns = columnsOf(line);
    if (columns.size() != headings.size()) {
        throw std::runtime_error("another number of columns than the table's: " + line);
    }
    Row row;
    for (std::size_t i = 0; i < headings.size(); ++i) {
        row[headings[i]] = columns[i];
    }
    return row;
}

/** "-/108:4 108:3 100/104" is "108:3 100" for direction in and "108:4 108:3 104" for out. */
std::string forDirection(std::string const& text, std::string const& direction) {
    std::string result;
    for (std::string word : split(text, " ")) {
        auto const bar = word.find('/');
        if (bar != std::string::npos) {
            word = direction == "in" ? word.substr(0, bar) : word.substr(bar + 1);
        }
        if (bar == std::string::npos || word != "-") {
            result += (result.empty() ? "" : " ") + word;
        }
    }
    return result;
}

/** A state and a direction of the record. */
struct Place {
    std::string state;
    std::string direction;
};

bool isListed(State const& state) {
    return state.record.find("not listed") == std::string::npos;
}

/** The states that "any", "any listed" and "any not listed" stand for. */
Texts statesOf(std::map<std::string, State> const& states, std::string const& text) {
    Texts names;
    for (auto const& entry : states) {
        bool const isMeant =
            entry.first == text ||
            (entry.first != "null" &&
             (text == "any" || text == (isListed(entry.second) ? "any listed" : "any not listed")));
        if (isMeant) {
            names.push_back(entry.first);
        }
    }
    if (names.empty()) {
        throw std::runtime_error("unknown state: " + text);
    }
    return names;
}

std::vector<Place> placesOf(std::map<std::string, State> const& states, std::string const& text) {
    std::vector<Place> places;
    for (auto const& item : split(text, ",")) {
        Texts const words = split(item, " ");
        bool const isOne = words.back() == "in" || words.back() == "out";
        // A null pointer has no direction.
        Texts const directions = isOne            ? Texts{words.back()}
                                 : item == "null" ? Texts{"in"}
                                                  : Texts{"in", "out"};
        std::string const name =
            isOne ? trimmed(item.substr(0, item.size() - words.back().size())) : item;
        for (auto const& state : statesOf(states, name)) {
            for (auto const& direction : directions) {
                places.push_back({state, direction});
            }
        }
    }
    return places;
}

std::string nameOf(Cell const& cell) {
    std::string const text = cell.action + (cell.inside.empty() ? "" : " inside " + cell.inside) +
                             (cell.given.empty() ? "" : " given " + cell.given) + " when " +
                             cell.state + " " + cell.direction;
    std::string name;
    for (char const character : text) {
        if (std::isalnum(static_cast<unsigned char>(character)) != 0) {
            name += character;
        } else if (character == '-') {
            name += "minus";
        } else if (name.back() != '_') {
            name += '_';
        }
    }
    return name;
}

/** Adds a cell that has its inputs; the row says what must come of it. */
void addCell(Page& page, Cell cell, Row const& row) {
    for (auto const& column : row) {
        cell.columns[column.first] = forDirection(column.second, cell.direction);
    }
    cell.name = nameOf(cell);
    page.cells.push_back(cell);
}

/** Adds the cells that a row stands for: each combination of what its first columns list. */
void addCells(Page& page, std::string const& group, std::string const& actions, Row row) {
    Texts const insides = split(row["Inside"], ",");
    Texts const givens = split(row["Given"], ",");
    auto const places = placesOf(page.states, row["State"]);
    for (auto const& action : split(actions, ",")) {
        for (auto const& inside : insides) {
            for (auto const& given : givens) {
                for (auto const& place : places) {
                    addCell(page,
                            {group, "", action, given, inside, place.state, place.direction, {}},
                            row);
                }
            }
        }
    }
}

/** Takes what a row says; tables that explain are passed over. */
void addRow(Page& page, std::string const& group, Texts const& headings, std::string const& line) {
    Row row = rowOf(headings, line);
    if (headings[0] == "Group") {
        page.stated[row["Group"]] = static_cast<std::size_t>(std::stoul(row["Cells"]));
    } else if (headings[0] == "State") {
        page.states[row["State"]] = State{row["Reached by"], row["Record"]};
        row["Record afterwards"] = row["Record"];
        addCells(page, group, "look", row);
    } else if (row.count("State") > 0) {
        addCells(page, group, row[headings[0]], row);
    }
}

Page readPage() {
    Page page;
    std::string group;
    Texts headings;
    for (char const* const* pLine = pageLines; *pLine != nullptr; ++pLine) {
        std::string const line = *pLine;
        if (startsWith(line, "#")) {
            group = trimmed(line.substr(line.find_first_not_of('#')));
        } else if (!startsWith(line, "|")) {
            headings.clear();
        } else if (headings.empty()) {
            headings = columnsOf(line);
        } else if (!startsWith(line, "|---")) {
            addRow(page, group, headings, line);
        }
    }
    return page;
}

} // namespace

Texts split(std::string const& text, std::string const& separator) {
    Texts pieces;
    std::size_t begin = 0;
    for (;;) {
        auto const end = text.find(separator, begin);
        pieces.push_back(trimmed(text.substr(begin, end - begin)));
        if (end == std::string::npos) {
            return pieces;
        }
        begin = end + separator.size();
    }
}

std::string joined(Texts const& pieces, std::string const& separator) {
    std::string text;
    for (auto const& piece : pieces) {
        text += (text.empty() ? "" : separator) + piece;
    }
    return text;
}

std::string Cell::expected(std::string const& column) const {
    auto const found = columns.find(column);
    return found == columns.end() ? "" : found->second;
}

std::ostream& operator<<(std::ostream& out, Cell const& cell) {
    return out << cell.group;
}

Page const& page() {
    static Page const thePage = readPage();
    return thePage;
}

} // namespace conformance
