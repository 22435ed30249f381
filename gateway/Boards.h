#ifndef GATEWAY_BOARDS_H
#define GATEWAY_BOARDS_H

#include "gateway/CallFile.h"
#include "gateway/Message.h"

#include "dsp/Board.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {
class Workstation;
}

namespace gateway {

/**
 * The DSP boards of a call, in software, at the workstation's IMC: each serves its address, and
 * sends its acknowledgements after the delay that the call file gives it.
 */
class Boards {
public:
    /** What somebody may want to see of the boards; called on the thread of the dispatch loop. */
    struct Tap {
        std::function<void(Message const& command)> command;
        std::function<void(Message const& event)> event;
        /** A board could not take something. */
        std::function<void(std::string const& ip, std::string const& text)> report;
    };

    Boards(host::Workstation& workstation, std::vector<BoardEntry> const& entries, Tap tap);
    ~Boards();
    Boards(Boards const&) = delete;
    Boards& operator=(Boards const&) = delete;

    /** How many acknowledgements are still to be sent. */
    std::size_t pending() const;

    /** @throw std::runtime_error when no board has this IMC address */
    dsp::Board& at(unsigned char sid);

private:
    class Served;

    Tap tap;
    std::vector<std::unique_ptr<Served>> boards;
};

} // namespace gateway

#endif
