#include "gateway/Boards.h"

#include "host/Workstation.h"

#include <stdexcept>
#include <utility>

namespace gateway {

namespace {

/** A command or event in its text form, with the board that it goes to or comes from. */
Message describe(imc_msg const& message, std::string const& role, std::string const& ip) {
    dsp::Description const description = dsp::fields(message);
    Message described = {description.name, description.fields, description.remark};
    described.fields.push_back({role, ip});
    return described;
}

} // namespace

/** One board, where IMC delivers its commands. */
class Boards::Served : public host::Endpoint {
public:
    Served(host::Workstation& itsHost, BoardEntry const& itsEntry, Tap const& itsTap)
        : workstation(itsHost),
          entry(itsEntry),
          tap(itsTap),
          board(
              options(entry), [this](imc_msg const& event) { take(event); },
              [this](std::string const& text) { tap.report(entry.ip, text); }) {
        workstation.transport().attach(entry.sid, *this);
    }

    ~Served() override { workstation.transport().detach(entry.sid); }

    Served(Served const&) = delete;
    Served& operator=(Served const&) = delete;

    void receive(imc_msg const& message) override {
        tap.command(describe(message, "to", entry.ip));
        isAcknowledging = true;
        board.receive(message);
        isAcknowledging = false;
    }

    std::size_t pending() const { return delayed; }
    unsigned char sid() const { return entry.sid; }
    dsp::Board& itself() { return board; }

private:
    static dsp::BoardOptions options(BoardEntry const& entry) {
        dsp::BoardOptions options;
        options.sid = entry.sid;
        options.channels = entry.channels;
        options.firstPort = entry.firstPort;
        options.client = host::Workstation::defaultSid;
        return options;
    }

    void take(imc_msg const& event) {
        if (!isAcknowledging || entry.ackDelay == Milliseconds::zero()) {
            send(event);
            return;
        }
        ++delayed;
        workstation.dispatcher().postAfter(entry.ackDelay,
                                           [this, event, alive = std::weak_ptr<bool>(life)] {
                                               if (!alive.expired()) {
                                                   --delayed;
                                                   send(event);
                                               }
                                           });
    }

    void send(imc_msg const& event) {
        tap.event(describe(event, "from", entry.ip));
        workstation.transport().send(event);
    }

    host::Workstation& workstation;
    BoardEntry entry;
    Tap const& tap;
    dsp::Board board;
    bool isAcknowledging = false;
    std::size_t delayed = 0;
    /** Tells a delayed task whether this board still exists. */
    std::shared_ptr<bool> life = std::make_shared<bool>(true);
};

Boards::Boards(host::Workstation& workstation, std::vector<BoardEntry> const& entries, Tap itsTap)
    : tap(std::move(itsTap)) {
    for (BoardEntry const& entry : entries) {
        workstation.setBoard(entry.ip, entry.sid);
        boards.push_back(std::make_unique<Served>(workstation, entry, tap));
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
