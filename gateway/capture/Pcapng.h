#ifndef GATEWAY_CAPTURE_PCAPNG_H
#define GATEWAY_CAPTURE_PCAPNG_H

#include <cstddef>
#include <cstdint>

/*
 * The blocks of a pcapng file that a capture of messages is made of, as far as both the writer and
 * the reader use them.
 *
 *   every block    0 type, 4 total length, ... body, padded to 4 ..., total length once more
 *   section head   8 byte-order magic, 12 version, 16 section length, 24 options
 *   interface      8 link type, 10 reserved, 12 snapshot length, 16 options
 *   packet         8 interface, 12 time high, 16 time low, 20 captured length, 24 original length,
 *                  28 data padded to 4, options
 *   statistics     8 interface, 12 time high, 16 time low, 20 options
 *   every option   0 code, 2 length, 4 value padded to 4
 */
namespace gateway {
namespace pcapng {

constexpr std::uint32_t sectionBlock = 0x0A0D0D0A;
constexpr std::uint32_t interfaceBlock = 1;
constexpr std::uint32_t simplePacketBlock = 3;
constexpr std::uint32_t statisticsBlock = 5;
constexpr std::uint32_t packetBlock = 6;

constexpr std::uint32_t byteOrderMagic = 0x1A2B3C4D;
constexpr std::uint16_t majorVersion = 1;
/** Type and both lengths. */
constexpr std::size_t frameSize = 12;

/** USER0: what a record holds is for its users to agree on. */
constexpr std::uint16_t linkType = 147;

constexpr std::uint16_t optionEnd = 0;
constexpr std::uint16_t optionComment = 1;
/** @name Of a packet */
/// @{
constexpr std::uint16_t optionFlags = 2;
/** In the flags: whether it came in or went out. Here: out of its sender, and in nowhere. */
constexpr std::uint32_t directionMask = 3;
constexpr std::uint32_t outbound = 2;
/// @}
/** @name Of a section */
/// @{
constexpr std::uint16_t optionApplication = 4;
/// @}
/** @name Of an interface */
/// @{
constexpr std::uint16_t optionName = 2;
constexpr std::uint16_t optionDescription = 3;
constexpr std::uint16_t optionResolution = 9;
constexpr std::uint16_t optionOffset = 14;
/// @}
/** @name Of statistics */
/// @{
constexpr std::uint16_t optionReceived = 4;
constexpr std::uint16_t optionDropped = 5;
/// @}

/** Bytes with which a field of this length is filled up to a multiple of 4. */
constexpr std::size_t padding(std::size_t length) {
    return (4 - length % 4) % 4;
}

} // namespace pcapng
} // namespace gateway

#endif
