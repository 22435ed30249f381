#ifndef GATEWAY_SESSION_PATH_H
#define GATEWAY_SESSION_PATH_H

#include "dsp/Board.h"

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

namespace gateway {

/** One direction of a DSP channel of a board. */
struct Path {
    unsigned char sid = 0;
    std::uint8_t dsp = 0;
    dsp::Direction direction = dsp::Direction::in;

    bool operator<(Path const& other) const {
        return std::tie(sid, dsp, direction) < std::tie(other.sid, other.dsp, other.direction);
    }
    bool operator==(Path const& other) const {
        return std::tie(sid, dsp, direction) == std::tie(other.sid, other.dsp, other.direction);
    }
};

/** "board 0x10 dsp 3 in". */
std::string textOf(Path const& path);

enum class Medium { voice, fax };

/** "voice". */
char const* nameOf(Medium medium);

/** A command that the board acknowledges, for one path. */
struct Request {
    enum class Kind { openVoice, closeVoice, openFax, closeFax };

    Path path{};
    Kind kind = Kind::openVoice;

    bool operator<(Request const& other) const {
        return std::tie(path, kind) < std::tie(other.path, other.kind);
    }
    bool operator==(Request const& other) const { return path == other.path && kind == other.kind; }

    bool isOpening() const { return kind == Kind::openVoice || kind == Kind::openFax; }
    Medium medium() const {
        return kind == Kind::openVoice || kind == Kind::closeVoice ? Medium::voice : Medium::fax;
    }
    /** What undoes it: the closing of an opening, and the other way round. */
    Request opposite() const;
};

/** @return nothing when the identifier is of no command that is acknowledged */
std::optional<Request> requestOf(std::uint32_t commandIdentifier, unsigned char sid,
                                 std::uint8_t dsp);

/** "OpenVoice". */
char const* textOf(Request::Kind kind);

/** "OpenVoice in of board 0x10 dsp 3". */
std::string textOf(Request const& request);

} // namespace gateway

#endif
