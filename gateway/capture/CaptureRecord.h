#ifndef GATEWAY_CAPTURE_CAPTURERECORD_H
#define GATEWAY_CAPTURE_CAPTURERECORD_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace gateway {

/** A record of a capture; that of a message is the imc_msg, byte for byte. */
struct CaptureRecord {
    /** Counted from 1, as Wireshark counts its frames. */
    std::size_t number = 0;
    /** Since 1970. */
    std::chrono::nanoseconds time{};
    std::vector<std::uint8_t> bytes;
    /** Of a message that was refused, the reason; otherwise empty, or whoever's comment. */
    std::string comment{};
    /** Whether the message left its sender, and nobody took it. */
    bool isRefused = false;
};

/** Bytes of an imc_msg before its payload. */
constexpr std::size_t headerSize = sizeof(imc_msg) - imc_msg::payloadSize;

/** Whether the record is long enough to say from where to where its message goes. */
inline bool hasHeader(CaptureRecord const& record) {
    return record.bytes.size() >= headerSize;
}

/** The record as a message; bytes that it lacks are zero, those behind it are left out. */
imc_msg messageOf(CaptureRecord const& record);

/** Whether the record lacks bytes of the payload that its header announces. */
bool isCutShort(CaptureRecord const& record);

/** A record in pieces; as dsp::fields, but for records that are no whole message too. */
dsp::Description describe(CaptureRecord const& record);

/** Whether the record is a known message of the right length. */
bool isWellFormed(CaptureRecord const& record);

} // namespace gateway

#endif
