#ifndef GATEWAY_MSC_PAIRING_H
#define GATEWAY_MSC_PAIRING_H

#include "gateway/capture/CaptureRecord.h"

#include <cstddef>
#include <map>
#include <vector>

namespace gateway {

/** Which records acknowledge which; both by their place in the list. */
struct Pairing {
    /** The command of each acknowledgement that has one. */
    std::map<std::size_t, std::size_t> commandOf;
    /** Commands that want an acknowledgement and have none in the capture. */
    std::vector<std::size_t> unanswered;
    /** Acknowledgements of nothing in the capture. */
    std::vector<std::size_t> unexpected;
};

/**
 * An acknowledgement belongs to the oldest command of its kind and direction that the same board
 * got from the same sender for the same DSP channel and that has none yet. Commands of a wrong
 * length are acknowledged too, provided they name a DSP channel; those that were refused on the way
 * reach no board.
 */
Pairing pair(std::vector<CaptureRecord> const& records);

} // namespace gateway

#endif
