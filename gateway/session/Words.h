#ifndef GATEWAY_SESSION_WORDS_H
#define GATEWAY_SESSION_WORDS_H

#include "gateway/CallFile.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace gateway {

/**
 * The words of a line: blanks part them, and don't within quotation marks, which belong to the word
 * still.
 * @throw std::invalid_argument for a quotation mark without its other one
 */
std::vector<std::string> wordsOf(std::string const& line);

/**
 * A number in decimal, or in hexadecimal behind 0x.
 * @param what it is, for the error text
 * @throw std::invalid_argument when it is none from `low` to `high`
 */
std::int64_t numberOf(std::string const& word, std::string const& what, std::int64_t low,
                      std::int64_t high);

/**
 * The fields of a channel as `key=value` each: keys and values are those of a call file's
 * [[channel]], without the quotation marks where no blank asks for them; and `board=SID`.
 */
class SettingWords {
public:
    /** @param ipOf the address of a board; @param allowed which keys may stand there, but `board`
     */
    SettingWords(std::function<std::string(unsigned char sid)> ipOf,
                 std::function<bool(ChannelField const&)> allowed, bool isBoardAllowed);

    /** @throw std::invalid_argument with what would be right */
    std::vector<FieldSetting> parse(std::vector<std::string> const& words) const;

private:
    FieldSetting parseOne(std::string const& key, std::string const& value) const;
    std::string keys() const;

    std::function<std::string(unsigned char)> boardIp;
    std::function<bool(ChannelField const&)> isAllowed;
    bool takesBoard;
};

} // namespace gateway

#endif
