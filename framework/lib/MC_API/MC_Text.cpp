#include "MC_Text.h"

#include "MC_Channel.h"

#include "debug/DBG_Output.h"

#include <cstdio>

namespace {

/** Room for the longest 32-bit number in any base used here, its sign and a NUL. */
std::size_t const numberSize = 12;

std::string const outOfTable = "ERROR : OUT OF ARRAY !!!";

} // namespace

MC_Text& MC_Text::operator<<(char const* piece) {
    text += piece;
    return *this;
}

MC_Text& MC_Text::operator<<(std::string const& piece) {
    text += piece;
    return *this;
}

MC_Text& MC_Text::operator<<(int number) {
    char digits[numberSize];
    std::snprintf(digits, sizeof digits, "%d", number);
    return *this << digits;
}

MC_Text& MC_Text::operator<<(unsigned int number) {
    char digits[numberSize];
    std::snprintf(digits, sizeof digits, "%u", number);
    return *this << digits;
}

MC_Text& MC_Text::operator<<(Hex hex) {
    char digits[numberSize];
    std::snprintf(digits, sizeof digits, "%x", hex.number);
    return *this << digits;
}

MC_Text& MC_Text::operator<<(Id id) {
    return *this << id.pChannel->getIdentifier();
}

MC_Text& MC_Text::operator<<(MC_Channel const& channel) {
    std::string const description = channel;
    return *this << description;
}

std::string MC_Text::take() {
    std::string taken;
    taken.swap(text);
    return taken;
}

std::string MC_Text::ends() {
    text += '\0';
    return take();
}

std::string const& MC_tableName(std::string const* table, int entries, int value) {
    if (value < 0 || value >= entries) {
        return outOfTable;
    }
    return table[value];
}

std::string const& MC_directionName(VCOM_Direction direction) {
    return MC_tableName(DBG_Output::directionToStr, DBG_Output::directionToStrMAX, direction);
}

std::string const& MC_codecName(int codec) {
    return MC_tableName(DBG_Output::codecToStr, DBG_Output::codecToStrMAX, codec);
}

std::string const& MC_framingName(VCOM_Framing framing) {
    DBG_Output::FramingName const* entry = DBG_Output::framingToStr;
    while (entry->framing != framing && !entry->name.empty()) {
        ++entry;
    }
    return entry->name;
}

std::string MC_directionRefusal(VCOM_Direction direction) {
    MC_Text text;
    text << "Direction " << MC_directionName(direction) << " invalid";
    return text.ends();
}
