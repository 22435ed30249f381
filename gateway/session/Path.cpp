#include "gateway/session/Path.h"

#include "dsp/Commands.h"
#include "host/imc/SidText.h"

#include <array>

namespace gateway {

namespace {

/** In the order of Request::Kind; as the commands' own table names them. */
std::array<char const*, 4> const kindNames = {"OpenVoice", "CloseVoice", "OpenFax", "CloseFax"};

} // namespace

std::string textOf(Path const& path) {
    return "board " + host::sidText(path.sid) + " dsp " + std::to_string(path.dsp) + " " +
           dsp::directionName(path.direction);
}

char const* nameOf(Medium medium) {
    return medium == Medium::voice ? "voice" : "fax";
}

Request Request::opposite() const {
    bool const isVoice = medium() == Medium::voice;
    if (isOpening()) {
        return {path, isVoice ? Kind::closeVoice : Kind::closeFax};
    }
    return {path, isVoice ? Kind::openVoice : Kind::openFax};
}

std::optional<Request> requestOf(std::uint32_t commandIdentifier, unsigned char sid,
                                 std::uint8_t dsp) {
    dsp::CommandKind const* const kind = dsp::findCommand(commandIdentifier);
    if (kind == nullptr || !kind->acknowledged || !kind->direction) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < kindNames.size(); ++i) {
        if (kind->name == kindNames[i]) {
            return Request{{sid, dsp, *kind->direction}, static_cast<Request::Kind>(i)};
        }
    }
    return std::nullopt;
}

char const* textOf(Request::Kind kind) {
    return kindNames.at(static_cast<std::size_t>(kind));
}

std::string textOf(Request const& request) {
    return std::string(textOf(request.kind)) + " " + dsp::directionName(request.path.direction) +
           " of board " + host::sidText(request.path.sid) + " dsp " +
           std::to_string(request.path.dsp);
}

} // namespace gateway
