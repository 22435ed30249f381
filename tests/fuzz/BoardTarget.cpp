// The software DSP board: messages of any content, and commands that are nearly right. What it
// counts, answers and keeps is held against the model.

#include "tests/fuzz/BoardModel.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Target.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

using fuzz::BoardModel;
using fuzz::CommandLayout;
using fuzz::Input;
using fuzz::Judgement;
using fuzz::require;
using fuzz::requireEqual;

dsp::BoardOptions readOptions(Input& input) {
    dsp::BoardOptions options;
    options.channels = 1 + input.below(8);
    // Few ports, so that they run out.
    options.firstPort = static_cast<std::uint16_t>(65535U - 1U - input.below(32));
    return options;
}

/** One input: a board, and what it is sent. */
class Session {
public:
    explicit Session(Input const& script)
        : input(script),
          options(readOptions(input)),
          model(options),
          board(
              options, [this](imc_msg const& event) { events.push_back(event); },
              [this](std::string const& text) { reports.push_back(text); }) {}

    void run() {
        while (!input.isEmpty()) {
            events.clear();
            reports.clear();
            step();
            model.requireSame(board);
        }
    }

private:
    void step() {
        unsigned const what = input.below(16);
        if (what < 12) {
            receive(readCommand());
        } else if (what == 12) {
            receive(readMessage());
        } else if (what == 13) {
            failNext();
        } else {
            raise();
        }
    }

    imc_msg readCommand();
    imc_msg readMessage();
    void receive(imc_msg const& message);
    void requireAnswered(imc_msg const& message, Judgement const& judgement);
    void requireReported(Judgement const& judgement) const;
    void failNext();
    void raise();
    void requireRaised(unsigned dsp, bool isDirected, imc_msg const& expected) const;

    Input input;
    dsp::BoardOptions options;
    BoardModel model;
    std::vector<imc_msg> events;
    std::vector<std::string> reports;
    dsp::Board board;
};

/** A good command, with few bytes or none that are changed. */
imc_msg Session::readCommand() {
    auto const& layouts = fuzz::commandLayouts();
    CommandLayout const& layout = layouts[input.below(static_cast<unsigned>(layouts.size()))];
    imc_msg message{};
    message.messageId = layout.messageId;
    message.length = layout.length;
    message.sourceSid = 0x01;
    message.destinationSid = options.sid;
    message.payload[0] = input.byte() % static_cast<std::uint8_t>(options.channels + 1);
    bool const isFax = layout.messageId == 115 || layout.messageId == 119;
    message.payload[isFax ? 1 : 2] = layout.length > 6 && layout.length < 124 ? 17 : 0;
    if (layout.messageId == 108 || layout.messageId == 124) {
        message.payload[1] = input.byte() % 8;
        message.payload[2] = input.byte() % 4;
        message.payload[4] = input.byte();
    }
    for (unsigned changes = input.below(4); changes > 0; --changes) {
        std::array<unsigned char, sizeof message> bytes;
        std::memcpy(bytes.data(), &message, sizeof message);
        bytes.at(input.below(64)) = input.byte();
        std::memcpy(&message, bytes.data(), sizeof message);
    }
    return message;
}

/** Any 1036 bytes; those that are missing are 0. */
imc_msg Session::readMessage() {
    imc_msg message{};
    std::string const bytes = input.take(sizeof message);
    std::memcpy(&message, bytes.data(), bytes.size());
    return message;
}

void Session::receive(imc_msg const& message) {
    auto const before = board.counters();
    Judgement const judgement = model.receive(message);
    board.receive(message);
    auto expected = before;
    ++expected.at(judgement.counter);
    expected.at("noticed: nonzero reserved") += judgement.isNoticed ? 1 : 0;
    require(board.counters() == expected, ("it is counted as " + judgement.counter).c_str());
    requireReported(judgement);
    requireAnswered(message, judgement);
    std::string const line = dsp::describe(message);
    require(!line.empty() && line.find('\n') == std::string::npos, "a description is one line");
}

void Session::requireReported(Judgement const& judgement) const {
    std::size_t const expected = (judgement.isNoticed ? 1U : 0U) + (judgement.isTaken ? 0U : 1U);
    requireEqual(reports.size(), expected, "number of reports");
    require(judgement.isTaken || reports.back().rfind(judgement.counter, 0) == 0,
            "a refusal is reported with its cause");
}

void Session::requireAnswered(imc_msg const& message, Judgement const& judgement) {
    requireEqual(events.size(), std::size_t{judgement.isAcknowledged}, "number of events");
    if (!judgement.isAcknowledged) {
        return;
    }
    imc_msg const& event = events.front();
    std::uint16_t const port = static_cast<std::uint16_t>(event.payload[2] << 8 | event.payload[3]);
    imc_msg expected{};
    expected.messageId = message.messageId + 1;
    expected.length = 4;
    expected.sourceSid = options.sid;
    expected.destinationSid = message.sourceSid;
    expected.payload[0] = message.payload[0];
    expected.payload[1] = judgement.error;
    if (judgement.takesPort) {
        std::copy_n(event.payload + 2, 2, expected.payload + 2);
        model.portTaken(port);
    }
    require(std::memcmp(&event, &expected, sizeof event) == 0,
            "an acknowledgement is as it should be");
}

void Session::failNext() {
    unsigned const dsp = input.below(options.channels + 1);
    std::uint8_t const error = input.byte();
    try {
        board.failNext(dsp, static_cast<dsp::Error>(error));
        require(dsp < options.channels, "a channel that is missing is refused");
        model.nextError.at(dsp) = error;
    } catch (std::out_of_range const&) {
        require(dsp >= options.channels, "a channel that exists is taken");
    }
}

void Session::raise() {
    unsigned const what = input.below(3);
    unsigned const dsp = input.below(options.channels + 1);
    unsigned const direction = input.below(4);
    std::uint32_t const value = input.word();
    imc_msg expected{};
    expected.sourceSid = options.sid;
    expected.destinationSid = model.client;
    expected.payload[0] = static_cast<std::uint8_t>(dsp);
    bool isDirected = direction == 1 || direction == 2;
    auto const side = static_cast<dsp::Direction>(direction);
    auto const byte = [value](unsigned shift) { return static_cast<std::uint8_t>(value >> shift); };
    try {
        if (what == 0) {
            isDirected = true;
            expected.messageId = 123;
            expected.length = 1;
            board.raiseFaxTone(dsp);
        } else if (what == 1) {
            expected.messageId = direction == 1 ? 114 : 113;
            expected.length = 4;
            std::generate_n(expected.payload + 1, 3,
                            [&, shift = 24U]() mutable { return byte(shift -= 8); });
            board.raiseDtmf(dsp, side, byte(16), static_cast<std::uint16_t>(value));
        } else {
            expected.messageId = direction == 1 ? 110 : 112;
            expected.length = 8;
            std::generate_n(expected.payload + 4, 4,
                            [&, shift = 32U]() mutable { return byte(shift -= 8); });
            board.raiseAlert(dsp, side, value);
        }
    } catch (std::out_of_range const&) {
        require(dsp >= options.channels, "a channel that exists is taken");
    } catch (std::invalid_argument const&) {
        require(!isDirected, "a direction is taken");
    }
    requireRaised(dsp, isDirected, expected);
}

void Session::requireRaised(unsigned dsp, bool isDirected, imc_msg const& expected) const {
    bool const isRaised = dsp < options.channels && isDirected;
    requireEqual(events.size(), std::size_t{isRaised}, "number of events");
    require(!isRaised || std::memcmp(&events.front(), &expected, sizeof expected) == 0,
            "an event is as it should be");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Session(Input(data, size)).run();
    return 0;
}
