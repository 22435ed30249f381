#include "dsp/Board.h"

#include "dsp/Cause.h"
#include "dsp/ChannelBank.h"
#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Validator.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace dsp {

namespace {

char const* const nonzeroReservedCounter = "noticed: nonzero reserved";

std::string takenCounter(Kind const& kind) {
    return "taken: " + title(kind);
}

std::string refusedCounter(Cause cause) {
    return std::string("refused: ") + causeName(cause);
}

std::map<std::string, std::uint64_t> makeCounters() {
    std::map<std::string, std::uint64_t> counters;
    for (CommandKind const& kind : commandKinds()) {
        counters[takenCounter(kind)] = 0;
    }
    for (std::size_t cause = 0; cause < causeCount; ++cause) {
        counters[refusedCounter(static_cast<Cause>(cause))] = 0;
    }
    counters[nonzeroReservedCounter] = 0;
    return counters;
}

void requireDirection(Direction direction) {
    if (direction != Direction::in && direction != Direction::out) {
        throw std::invalid_argument("no direction: " + std::to_string(static_cast<int>(direction)));
    }
}

} // namespace

struct Board::State {
    State(BoardOptions const& options, Sink eventSink, Report reportSink)
        : sid(options.sid),
          client(options.client),
          sink(std::move(eventSink)),
          report(std::move(reportSink)),
          channels(options.channels, options.firstPort),
          nextError(options.channels, Error::none),
          counters(makeCounters()) {
        if (!sink) {
            throw std::invalid_argument("a board needs somebody who takes its events");
        }
    }

    Outcome take(CommandKind const& kind, imc_msg const& message);
    Outcome execute(CommandKind const& kind, Command const& command, std::uint8_t sender);
    void refuse(imc_msg const& message, Refused const& refusal);
    void acknowledge(imc_msg const& command, Outcome const& outcome);
    void raise(Event const& event, std::uint8_t to) { sink(encodeEvent(event, sid, to)); }
    /** The number as it travels. @throw std::out_of_range when there is no such channel */
    std::uint8_t number(unsigned dsp) const {
        channels.at(dsp);
        return static_cast<std::uint8_t>(dsp);
    }
    void tell(std::string const& text) const {
        if (report) {
            report(text);
        }
    }

    unsigned char const sid;
    unsigned char client;
    Sink const sink;
    Report const report;
    ChannelBank channels;
    /** By DSP channel; what `failNext` asked for. */
    std::vector<Error> nextError;
    std::map<std::string, std::uint64_t> counters;
};

Outcome Board::State::take(CommandKind const& kind, imc_msg const& message) {
    auto const decoded = decodeCommand(kind, message);
    if (!decoded) {
        return refused(Cause::wrongLength, "");
    }
    if (decoded->nonzeroReserved) {
        ++counters.at(nonzeroReservedCounter);
        tell(std::string(nonzeroReservedCounter) + ": " + describe(message));
    }
    return execute(kind, decoded->command, message.sourceSid);
}

Outcome Board::State::execute(CommandKind const& kind, Command const& command,
                              std::uint8_t sender) {
    unsigned const dsp = dspOf(command);
    if (dsp >= channels.size()) {
        return refused(Cause::noSuchChannel, "");
    }
    if (kind.acknowledged) {
        Error const wanted = std::exchange(nextError[dsp], Error::none);
        if (wanted != Error::none) {
            return Refused{Cause::onRequest, wanted, ""};
        }
    }
    std::string const badValue = findBadValue(command, channels.size());
    if (!badValue.empty()) {
        return refused(Cause::badParameter, badValue);
    }
    return channels.apply(command, sender);
}

void Board::State::refuse(imc_msg const& message, Refused const& refusal) {
    std::string const counter = refusedCounter(refusal.cause);
    ++counters.at(counter);
    std::string const detail = refusal.detail.empty() ? "" : " (" + refusal.detail + ")";
    tell(counter + detail + ": " + describe(message));
}

void Board::State::acknowledge(imc_msg const& command, Outcome const& outcome) {
    Acknowledge event{};
    event.command = command.messageId;
    event.dsp = command.payload[0];
    if (Done const* const done = std::get_if<Done>(&outcome)) {
        event.localPort = done->localPort;
    } else {
        event.error = static_cast<std::uint8_t>(std::get<Refused>(outcome).error);
    }
    raise(event, command.sourceSid);
}

Board::Board(BoardOptions const& options, Sink sink, Report report)
    : state(std::make_unique<State>(options, std::move(sink), std::move(report))) {}

Board::~Board() = default;

unsigned char Board::sid() const {
    return state->sid;
}

unsigned Board::channels() const {
    return state->channels.size();
}

void Board::receive(imc_msg const& command) {
    if (command.destinationSid != state->sid) {
        // Not ours to answer: the board that it was meant for may do so.
        state->refuse(command, refused(Cause::wrongDestination,
                                       "IMC address " + std::to_string(command.destinationSid)));
        return;
    }
    CommandKind const* const kind = findCommand(command.messageId);
    if (kind == nullptr) {
        state->refuse(command, refused(Cause::unknownIdentifier, ""));
        return;
    }
    Outcome const outcome = state->take(*kind, command);
    if (Refused const* const refusal = std::get_if<Refused>(&outcome)) {
        state->refuse(command, *refusal);
    } else {
        // Only whoever gets its commands carried out is the one that looks after the calls here.
        state->client = command.sourceSid;
        ++state->counters.at(takenCounter(*kind));
    }
    bool const namesChannel = command.length != 0;
    if (kind->acknowledged && namesChannel) {
        state->acknowledge(command, outcome);
    }
}

void Board::raiseDtmf(unsigned dsp, Direction direction, std::uint8_t digit,
                      std::uint16_t milliseconds) {
    requireDirection(direction);
    state->raise(Dtmf{direction, state->number(dsp), digit, milliseconds}, state->client);
}

void Board::raiseFaxTone(unsigned dsp) {
    state->raise(FaxTone{state->number(dsp)}, state->client);
}

void Board::raiseAlert(unsigned dsp, Direction direction, std::uint32_t value) {
    requireDirection(direction);
    state->raise(Alert{direction, state->number(dsp), value}, state->client);
}

void Board::failNext(unsigned dsp, Error error) {
    state->nextError[state->number(dsp)] = error;
}

Channel const& Board::channel(unsigned dsp) const {
    return state->channels.at(dsp);
}

std::map<std::string, std::uint64_t> Board::counters() const {
    return state->counters;
}

} // namespace dsp
