#ifndef GATEWAY_MSC_WRAP_H
#define GATEWAY_MSC_WRAP_H

#include <cstddef>
#include <string>
#include <vector>

namespace gateway {

/**
 * Breaks a text at its blanks, but for those in parentheses, into lines that are no longer than
 * `room`, except for words that are; always one line at least.
 */
std::vector<std::string> wrapped(std::string const& text, std::size_t room);

} // namespace gateway

#endif
