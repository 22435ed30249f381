#ifndef RECORDING_FULLTEXT_H
#define RECORDING_FULLTEXT_H

#include <stdexcept>
#include <string>

namespace recording {

/**
 * The whole text of an exception, NUL characters and what stands behind them included; what()
 * shows it only up to the first NUL.
 *
 * The standard gives no access to the rest, so this reads it where libstdc++ keeps it: its
 * exceptions hold a reference-counted string, of which what() points to the first character, and
 * in front of that stand three words: length, capacity, reference count.
 *
 * @throw std::logic_error when what stands there can't be such a string
 */
std::string fullText(std::runtime_error const& error);
std::string fullText(std::logic_error const& error);

} // namespace recording

#endif
