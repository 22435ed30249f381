#include "gateway/ServedBoard.h"

#include "dsp/Service.h"
#include "host/Workstation.h"

#include <limits>
#include <random>
#include <stdexcept>

namespace gateway {

namespace {

char const* const takenRequests = "taken: AuditRequest";
char const* const takenOrders = "taken: Order";
char const* const refusedServices = "refused: audit or order";

std::uint64_t newIncarnation() {
    std::random_device random;
    std::uint64_t const high = random();
    return high << 32U | random();
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

void obey(dsp::Board& board, dsp::Order const& order) {
    switch (order.kind) {
    case dsp::Order::Kind::dtmf:
        if (order.value32 > std::numeric_limits<std::uint16_t>::max()) {
            throw std::out_of_range("no digit lasts so long");
        }
        board.raiseDtmf(order.dsp, order.direction, order.value8,
                        static_cast<std::uint16_t>(order.value32));
        break;
    case dsp::Order::Kind::faxTone:
        board.raiseFaxTone(order.dsp);
        break;
    case dsp::Order::Kind::alert:
        board.raiseAlert(order.dsp, order.direction, order.value32);
        break;
    case dsp::Order::Kind::failNext:
        board.failNext(order.dsp, static_cast<dsp::Error>(order.value8));
        break;
    }
}

ServedBoard::ServedBoard(host::Dispatcher& loop, host::Transport& carrier,
                         BoardEntry const& itsEntry, Tap const& itsTap, FaultInjector* itsFaults)
    : dispatcher(loop),
      transport(carrier),
      entry(itsEntry),
      tap(itsTap),
      faults(itsFaults),
      board(newBoard()),
      incarnation(newIncarnation()),
      served({{takenRequests, 0}, {takenOrders, 0}, {refusedServices, 0}}) {
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

std::map<std::string, std::uint64_t> ServedBoard::counters() const {
    std::map<std::string, std::uint64_t> all = board->counters();
    all.insert(served.begin(), served.end());
    return all;
}

void ServedBoard::receive(imc_msg const& message) {
    if (dsp::serviceName(message.messageId) != nullptr) {
        serve(message);
        return;
    }
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

void ServedBoard::serve(imc_msg const& message) {
    bool const isOrder = message.messageId == static_cast<std::uint32_t>(dsp::Service::order);
    if (isOrder && tap.order) {
        tap.order(describe(message, "to", entry.ip));
    }
    spread(judge(isOrder ? Traffic::order : Traffic::audit, message), message,
           [this, isOrder](imc_msg const& copy) {
               if (isOrder) {
                   carryOut(copy);
               } else {
                   answerAudit(copy);
               }
           });
}

void ServedBoard::answerAudit(imc_msg const& request) {
    auto const tag = dsp::decodeAuditRequest(request);
    if (!tag) {
        refuse(request, "no request");
        return;
    }
    ++served.at(takenRequests);
    dsp::AuditAnswer answer = dsp::audit(*board, request.sourceSid);
    answer.tag = *tag;
    answer.incarnation = incarnation;
    imc_msg const message = dsp::encodeAuditAnswer(answer, entry.sid, request.sourceSid);
    spread(judge(Traffic::audit, message), message,
           [this](imc_msg const& copy) { post(copy, "answer"); });
}

void ServedBoard::carryOut(imc_msg const& message) {
    auto const order = dsp::decodeOrder(message);
    if (!order || dsp::orderName(order->kind) == nullptr) {
        refuse(message, "no such order");
        return;
    }
    try {
        obey(*board, *order);
        ++served.at(takenOrders);
    } catch (std::exception const& error) {
        refuse(message, error.what());
    }
}

void ServedBoard::refuse(imc_msg const& message, std::string const& why) {
    ++served.at(refusedServices);
    tap.report(entry.ip,
               std::string(refusedServices) + " (" + why + "): " + dsp::describe(message));
}

/** The board forgets everything, what it still had to say included. */
void ServedBoard::restart() {
    life = std::make_shared<bool>(true);
    delayed = 0;
    board = newBoard();
    incarnation = newIncarnation();
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
    post(event, "event");
}

void ServedBoard::post(imc_msg const& message, char const* what) {
    try {
        transport.send(message);
    } catch (std::runtime_error const& error) {
        tap.report(entry.ip, std::string(what) + " not sent: " + error.what());
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
