#ifndef GATEWAY_BOARDS_H
#define GATEWAY_BOARDS_H

#include "gateway/CallFile.h"
#include "gateway/ServedBoard.h"

#include "dsp/Board.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace host {
class Workstation;
}

namespace gateway {

/** The DSP boards of a call, in software, at the workstation's IMC. */
class Boards {
public:
    using Tap = ServedBoard::Tap;

    Boards(host::Workstation& workstation, std::vector<BoardEntry> const& entries, Tap tap);
    ~Boards();
    Boards(Boards const&) = delete;
    Boards& operator=(Boards const&) = delete;

    /** How many acknowledgements are still to be sent. */
    std::size_t pending() const;

    /** @throw std::runtime_error when no board has this IMC address */
    dsp::Board& at(unsigned char sid);

private:
    Tap tap;
    std::vector<std::unique_ptr<ServedBoard>> boards;
};

} // namespace gateway

#endif
