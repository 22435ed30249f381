#ifndef HOST_BUS_FRAME_H
#define HOST_BUS_FRAME_H

#include "imc/imc_msg.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace host {

/*
 * What two nodes of the bus say to each other. Each frame is one message of one part:
 *
 *   bytes 0-3    magic            "MCGB"
 *   byte 4       version          1
 *   byte 5       kind             see FrameKind
 *   bytes 6-7    reserved         0
 *   bytes 8-15   sequence
 *   bytes 16-    what the kind defines, and nothing behind it
 *
 * All numbers are big-endian. A text is its length in two bytes, then its bytes. docs/bus.md tells
 * who sends what, and when.
 */

constexpr std::uint8_t frameVersion = 1;
constexpr std::size_t frameHeaderSize = 16;

enum class FrameKind : std::uint8_t {
    hello = 1,
    welcome = 2,
    refused = 3,
    sids = 4,
    data = 5,
    taken = 6,
    bye = 7,
    copy = 8,
    missed = 9
};

/** A process on the bus, as it tells of itself. */
struct BusNode {
    /** Random; another one at each start. */
    std::uint64_t instance = 0;
    std::uint32_t pid = 0;
    /** Wants a copy of each message, and serves no address. */
    bool isTap = false;
    /** At most longestName bytes. */
    std::string name;
    /** Where it takes frames; at most longestEndpoint bytes. */
    std::string endpoint;

    static constexpr std::size_t longestName = 64;
    static constexpr std::size_t longestEndpoint = 256;
};

/** An IMC address that a node serves. */
struct BusClaim {
    unsigned char sid = 0;
    /** Another one each time that the node begins to serve an address. */
    std::uint32_t number = 0;
    /** When it began to, in nanoseconds since 1970. */
    std::uint64_t since = 0;

    bool operator==(BusClaim const& other) const {
        return sid == other.sid && number == other.number && since == other.since;
    }
};

/** What a node serves. */
struct BusClaims {
    /** Counts the changes. */
    std::uint64_t version = 0;
    std::vector<BusClaim> claims;
};

/** First frame of a connection. */
struct HelloFrame {
    BusNode node;
};

/** Its answer; the connection may be used from now on. */
struct WelcomeFrame {
    BusNode node;
};

/** The other answer: the connection will not be used. */
struct RefusedFrame {
    std::string reason;

    static constexpr std::size_t longestReason = 512;
};

/** All addresses that the node serves from now on. The sequence is their version. */
struct SidsFrame {
    std::vector<BusClaim> claims;
};

/** A message to an address. The sequence counts them on the connection, from 1. */
struct DataFrame {
    /** The claim that the sender knows of; what was meant for an earlier one is not delivered. */
    std::uint32_t claim = 0;
    std::uint64_t timestamp = 0;
    imc_msg message{};
};

/** All messages or copies of the connection up to the sequence were taken. */
struct TakenFrame {};

/** The node leaves the bus. */
struct ByeFrame {};

/** What a tap gets of a message that the node sent. The sequence counts copies, as for messages. */
struct CopyFrame {
    /** Counts what the node sent, from 1, whether or not the tap got a copy. */
    std::uint64_t number = 0;
    /** When it was sent, in nanoseconds since 1970. */
    std::uint64_t timestamp = 0;
    /** How many copies this tap missed so far. */
    std::uint64_t missed = 0;
    imc_msg message{};
};

/** Tells a tap what it missed when no copy follows that could say it. */
struct MissedFrame {
    std::uint64_t missed = 0;
};

/** In the order of FrameKind. */
using FrameBody = std::variant<HelloFrame, WelcomeFrame, RefusedFrame, SidsFrame, DataFrame,
                               TakenFrame, ByeFrame, CopyFrame, MissedFrame>;

struct Frame {
    std::uint64_t sequence = 0;
    FrameBody body;
};

/** Why bytes are no frame. */
enum class FrameFault { header, version, kind, body };

using FrameBytes = std::vector<unsigned char>;

/**
 * @throw std::invalid_argument for a text that is longer than allowed, or more than 256 claims
 */
FrameBytes encodeFrame(Frame const& frame);

/** Never throws for anything that bytes may hold. */
std::variant<Frame, FrameFault> decodeFrame(void const* bytes, std::size_t size);

} // namespace host

#endif
