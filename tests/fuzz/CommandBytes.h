#ifndef FUZZ_COMMANDBYTES_H
#define FUZZ_COMMANDBYTES_H

#include "tests/fuzz/ClientChannel.h"
#include "tests/support/Messages.h"

#include <cstdint>
#include <optional>

namespace fuzz {

using recording::Record;

/** The settings that change how DSPs are driven. */
struct Settings {
    bool isFaxProtocolSet = false;
    VCOM_FaxTransport faxProtocol = VCOM_FAXTRANSPORT_UDP;
    std::uint8_t rtpTickRequest = 0;
    bool neverDetectsFax = false;
};

/**
 * The commands that the DSP may get for a channel, byte for byte: typed once more, from the tables
 * of the commands, so that an error of the library's own tables can't hide here. Nothing where the
 * channel's values allow no such command.
 */
/// @{
using MaybeRecord = std::optional<Record>;

MaybeRecord silenceCompression(Fields const& channel);
MaybeRecord faxDetection(Fields const& channel, Settings const& settings);
MaybeRecord digitDetection(Fields const& channel);
MaybeRecord packetLength(Fields const& channel);
MaybeRecord openVoice(Fields const& channel, Settings const& settings);
MaybeRecord updateVoice(Fields const& channel);
MaybeRecord closeVoice(Fields const& channel);
MaybeRecord openFax(Fields const& channel, Settings const& settings);
MaybeRecord closeFax(Fields const& channel);
MaybeRecord join(Fields const& channel);
MaybeRecord unjoin(Fields const& channel);
/// @}

bool isDirected(Fields const& channel);

} // namespace fuzz

#endif
