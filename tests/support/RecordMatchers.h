#ifndef RECORDING_RECORDMATCHERS_H
#define RECORDING_RECORDMATCHERS_H

#include "tests/support/Messages.h"

#include <gmock/gmock.h>

#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>

/** Keeps a failed comparison of messages readable; the matcher names the difference. */
inline void PrintTo(imc_msg const& message, std::ostream* out) {
    *out << "imc_msg " << static_cast<std::uint32_t>(message.messageId) << " to sid "
         << static_cast<unsigned>(message.destinationSid) << " with length "
         << static_cast<unsigned>(static_cast<std::uint16_t>(message.length));
}

namespace recording {

/** The two bytes at the first difference, and where it is: "byte 14 (payload 2): 0x01, not 0x02".
 */
inline std::string describeDifference(Record const& seen, Record const& expected) {
    std::size_t const offset = firstDifference(seen, expected);
    if (offset == seen.size()) {
        return "no difference";
    }
    std::size_t const payloadOffset = offsetof(imc_msg, payload);
    std::ostringstream text;
    text << "byte " << offset;
    if (offset >= payloadOffset) {
        text << " (payload " << offset - payloadOffset << ")";
    }
    text << std::hex << std::setfill('0') << ": 0x" << std::setw(2)
         << static_cast<unsigned>(seen[offset]) << ", not 0x" << std::setw(2)
         << static_cast<unsigned>(expected[offset]);
    return text.str();
}

/**
 * Matches a message whose 1036 bytes are all as typed:
 * `EXPECT_THAT(platform().posted().at(0), IsRecord(record({...}, {...})))`.
 */
MATCHER_P(IsRecord, expected, negation ? "is another record" : "is the record that was typed") {
    *result_listener << "whose first difference is at "
                     << describeDifference(record(arg), expected);
    return record(arg) == expected;
}

} // namespace recording

#endif
