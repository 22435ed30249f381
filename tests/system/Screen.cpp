#include "tests/system/Screen.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace {

constexpr std::size_t width = 80;

std::string trimmed(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

Screen::Screen(std::string const& written) {
    std::size_t i = 0;
    while (i < written.size()) {
        if (written[i] == '\x1b') {
            i = obey(written, i + 1);
        } else {
            put(written[i++]);
        }
    }
}

void Screen::put(char each) {
    switch (each) {
    case '\r':
        column = 0;
        return;
    case '\n':
        ++row;
        break;
    case '\b':
        column -= column == 0 ? 0 : 1;
        return;
    case '\t':
        column = std::min((column / 8 + 1) * 8, width - 1);
        return;
    case '\a':
    case '\0':
        return;
    default:
        if (column == width) {
            column = 0;
            ++row;
        }
    }
    rows.resize(std::max(rows.size(), row + 1), std::string(width, ' '));
    if (each != '\n') {
        rows[row][column++] = each;
    }
}

std::size_t Screen::obey(std::string const& written, std::size_t from) {
    std::size_t i = from;
    if (i < written.size() && written[i] != '[') {
        return i + 1; // what is of no interest: the keypad's mode
    }
    std::string digits;
    for (++i; i < written.size() && (std::isdigit(static_cast<unsigned char>(written[i])) != 0 ||
                                     written[i] == '?' || written[i] == ';');
         ++i) {
        digits += written[i];
    }
    if (i >= written.size()) {
        return i; // the rest of it is still to come
    }
    bool const isNumber = !digits.empty() && digits.find_first_of("?;") == std::string::npos;
    std::size_t const number = isNumber ? std::stoul(digits) : 0;
    std::size_t const count = std::max<std::size_t>(number, 1);
    switch (written[i]) {
    case 'A':
        row -= std::min(row, count);
        break;
    case 'C':
        column = std::min(column + count, width - 1);
        break;
    case 'D':
        column -= std::min(column, count);
        break;
    case 'K':
        clearLine(row);
        break;
    case 'J':
        clearLine(row);
        std::fill(rows.begin() + static_cast<std::ptrdiff_t>(row) + 1, rows.end(),
                  std::string(width, ' '));
        break;
    case 'm':
    case 'h':
    case 'l':
        break;
    default:
        throw std::runtime_error(std::string("unknown to the screen: ") + written[i]);
    }
    return i + 1;
}

void Screen::clearLine(std::size_t which) {
    rows[which].replace(column, std::string::npos, width - std::min(column, width), ' ');
}

std::vector<std::string> Screen::lines() const {
    std::vector<std::string> result;
    std::transform(rows.begin(), rows.end(), std::back_inserter(result), trimmed);
    while (!result.empty() && result.back().empty()) {
        result.pop_back();
    }
    return result;
}

std::string Screen::beforeCursor() const {
    return rows[row].substr(0, column);
}
