#include "gateway/Boards.h"

#include "host/Workstation.h"

#include <stdexcept>
#include <utility>

namespace gateway {

Boards::Boards(host::Workstation& workstation, std::vector<BoardEntry> const& entries, Tap itsTap)
    : tap(std::move(itsTap)) {
    for (BoardEntry const& entry : entries) {
        workstation.setBoard(entry.ip, entry.sid);
        boards.push_back(std::make_unique<ServedBoard>(workstation.dispatcher(),
                                                       workstation.transport(), entry, tap));
    }
}

Boards::~Boards() = default;

std::size_t Boards::pending() const {
    std::size_t count = 0;
    for (auto const& board : boards) {
        count += board->pending();
    }
    return count;
}

dsp::Board& Boards::at(unsigned char sid) {
    for (auto const& board : boards) {
        if (board->sid() == sid) {
            return board->itself();
        }
    }
    throw std::runtime_error("no board has the IMC address " + std::to_string(sid));
}

} // namespace gateway
