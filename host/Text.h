#ifndef HOST_TEXT_H
#define HOST_TEXT_H

#include <string>

namespace host {

/** The text without its NUL characters, as a terminal or a file of text shows it. */
std::string withoutNul(std::string text);

/**
 * The text in double quotes, for the message of an exception. A NUL character is written as `\0`:
 * as itself it would end the message.
 */
std::string quoted(std::string const& text);

} // namespace host

#endif
