#ifndef TESTS_SYSTEM_SCREEN_H
#define TESTS_SYSTEM_SCREEN_H

#include <string>
#include <vector>

/**
 * What a terminal of the type vt100 shows, 80 characters wide and as long as it gets: as much of
 * its language as a line editor speaks.
 */
class Screen {
public:
    /** @throw std::runtime_error for what it does not understand */
    explicit Screen(std::string const& written);

    /** Without blanks at their ends, and empty lines at the end. */
    std::vector<std::string> lines() const;

    /** The line of the cursor, up to it. */
    std::string beforeCursor() const;

private:
    void put(char each);
    /** @return the index behind the sequence that begins at the index */
    std::size_t obey(std::string const& written, std::size_t from);
    void clearLine(std::size_t from);

    std::vector<std::string> rows{1, std::string(80, ' ')};
    std::size_t row = 0;
    std::size_t column = 0;
};

#endif
