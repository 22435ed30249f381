#ifndef IMC_MSG_H
#define IMC_MSG_H

#include <cstddef>
#include <cstdint>

/**
 * Unsigned 16-bit number that is kept in big-endian byte order on every processor.
 * Reads and writes as a plain number: `length = 36` stores 0x00 0x24.
 */
class imc_u16 {
public:
    imc_u16& operator=(std::uint16_t value) {
        bytes[0] = static_cast<unsigned char>(value >> 8);
        bytes[1] = static_cast<unsigned char>(value & 0xFFU);
        return *this;
    }

    operator std::uint16_t() const {
        return static_cast<std::uint16_t>((static_cast<unsigned int>(bytes[0]) << 8) | bytes[1]);
    }

private:
    unsigned char bytes[2];
};

/** Unsigned 32-bit number that is kept in big-endian byte order on every processor. */
class imc_u32 {
public:
    imc_u32& operator=(std::uint32_t value) {
        bytes[0] = static_cast<unsigned char>(value >> 24);
        bytes[1] = static_cast<unsigned char>((value >> 16) & 0xFFU);
        bytes[2] = static_cast<unsigned char>((value >> 8) & 0xFFU);
        bytes[3] = static_cast<unsigned char>(value & 0xFFU);
        return *this;
    }

    operator std::uint32_t() const {
        return (static_cast<std::uint32_t>(bytes[0]) << 24) |
               (static_cast<std::uint32_t>(bytes[1]) << 16) |
               (static_cast<std::uint32_t>(bytes[2]) << 8) | static_cast<std::uint32_t>(bytes[3]);
    }

private:
    unsigned char bytes[4];
};

/**
 * The record of the board's inter-module communication: a 12-byte header and 1024 bytes of
 * payload, 1036 bytes in all, big-endian on every machine. Trivially copyable: copying the record
 * copies the message.
 *
 *   byte 0       header0          not used by the media channel library, 0 in its commands
 *   byte 1       sourceSid        IMC address of the sender
 *   byte 2       destinationSid   IMC address of the receiver
 *   byte 3       header3          not used, 0
 *   bytes 4-5    length           number of payload bytes that the message defines
 *   bytes 6-7    reserved         0
 *   bytes 8-11   messageId        message identifier
 *   bytes 12-    payload          1024 bytes
 */
struct imc_msg {
    enum : std::size_t { payloadSize = 1024 };

    std::uint8_t header0;
    std::uint8_t sourceSid;
    std::uint8_t destinationSid;
    std::uint8_t header3;
    imc_u16 length;
    imc_u16 reserved;
    imc_u32 messageId;
    std::uint8_t payload[payloadSize];
};

static_assert(sizeof(imc_msg) == 1036, "an IMC message is 1036 bytes");
static_assert(offsetof(imc_msg, sourceSid) == 1, "the sender's address is byte 1");
static_assert(offsetof(imc_msg, destinationSid) == 2, "the receiver's address is byte 2");
static_assert(offsetof(imc_msg, length) == 4, "the payload length is bytes 4 and 5");
static_assert(offsetof(imc_msg, messageId) == 8, "the message identifier is bytes 8 to 11");
static_assert(offsetof(imc_msg, payload) == 12, "the payload starts at byte 12");

#endif
