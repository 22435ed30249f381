#include "gateway/ServedBoard.h"

#include "host/Workstation.h"

#include <stdexcept>

namespace gateway {

namespace {

/** A command or event in its text form, with the board that it goes to or comes from. */
Message describe(imc_msg const& message, std::string const& role, std::string const& board) {
    dsp::Description const description = dsp::fields(message);
    Message described = {description.name, description.fields, description.remark};
    described.fields.push_back({role, board});
    return described;
}

dsp::BoardOptions options(BoardEntry const& entry) {
    dsp::BoardOptions options;
    options.sid = entry.sid;
    options.channels = entry.channels;
    options.firstPort = entry.firstPort;
    options.client = host::Workstation::defaultSid;
    return options;
}

} // namespace

ServedBoard::ServedBoard(host::Dispatcher& loop, host::Transport& carrier,
                         BoardEntry const& itsEntry, Tap const& itsTap, FaultInjector* itsFaults)
    : dispatcher(loop),
      transport(carrier),
      entry(itsEntry),
      tap(itsTap),
      faults(itsFaults),
      board(newBoard()) {
    transport.attach(entry.sid, *this);
}

ServedBoard::~ServedBoard() {
    transport.detach(entry.sid);
}

std::unique_ptr<dsp::Board> ServedBoard::newBoard() {
    return std::make_unique<dsp::Board>(
        options(entry), [this](imc_msg const& event) { answer(event); },
        [this](std::string const& text) { tap.report(entry.ip, text); });
}

void ServedBoard::receive(imc_msg const& message) {
    if (tap.command) {
        tap.command(describe(message, "to", entry.ip));
    }
    FaultVerdict const verdict = judge(Traffic::command, message);
    if (verdict.isRestarting) {
        restart();
        return;
    }
    spread(verdict, message,
           [this, error = verdict.error](imc_msg const& command) { take(command, error); });
}

/** The board forgets everything, what it still had to say included. */
void ServedBoard::restart() {
    life = std::make_shared<bool>(true);
    delayed = 0;
    board = newBoard();
    // Served anew, so that others notice.
    transport.detach(entry.sid);
    try {
        transport.attach(entry.sid, *this);
    } catch (std::runtime_error const& error) {
        tap.report(entry.ip, error.what());
    }
}

void ServedBoard::take(imc_msg const& command, std::optional<std::uint8_t> const& error) {
    unsigned const channel = command.payload[0];
    bool const isFailing = error && channel < entry.channels;
    if (isFailing) {
        board->failNext(channel, static_cast<dsp::Error>(*error));
    }
    isAcknowledging = true;
    board->receive(command);
    isAcknowledging = false;
    if (isFailing) {
        // It is for this command, also where the board refused it before it came to that.
        board->failNext(channel, dsp::Error::none);
    }
}

void ServedBoard::answer(imc_msg const& event) {
    if (isAcknowledging && entry.ackDelay != Milliseconds::zero()) {
        later(entry.ackDelay, event, [this](imc_msg const& late) { emit(late); });
    } else {
        emit(event);
    }
}

void ServedBoard::emit(imc_msg const& event) {
    spread(judge(Traffic::event, event), event, [this](imc_msg const& copy) { send(copy); });
}

void ServedBoard::send(imc_msg const& event) {
    if (tap.event) {
        tap.event(describe(event, "from", entry.ip));
    }
    try {
        transport.send(event);
    } catch (std::runtime_error const& error) {
        tap.report(entry.ip, std::string("event not sent: ") + error.what());
    }
}

FaultVerdict ServedBoard::judge(Traffic traffic, imc_msg const& message) {
    if (faults == nullptr) {
        return {};
    }
    FaultVerdict verdict = faults->judge(traffic, entry.sid, message);
    for (std::string const& rule : verdict.rules) {
        tap.fault(entry.ip, rule);
    }
    return verdict;
}

void ServedBoard::spread(FaultVerdict const& verdict, imc_msg message, Action const& action) {
    if (verdict.length) {
        message.length = *verdict.length;
    }
    unsigned const copies = verdict.isDropped ? 0 : verdict.copies;
    for (unsigned i = 0; i < copies; ++i) {
        if (verdict.delay == Milliseconds::zero()) {
            action(message);
        } else {
            later(verdict.delay, message, action);
        }
    }
}

void ServedBoard::later(Milliseconds delay, imc_msg const& message, Action const& action) {
    ++delayed;
    dispatcher.postAfter(delay, [this, message, action, alive = std::weak_ptr<bool>(life)] {
        if (!alive.expired()) {
            --delayed;
            action(message);
        }
    });
}

} // namespace gateway
