#ifndef FUZZ_BOARDMODEL_H
#define FUZZ_BOARDMODEL_H

#include "dsp/Board.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

/** The layout of a command, as the tables of the commands give it. */
struct CommandLayout {
    std::uint8_t messageId;
    std::uint8_t length;
    bool isAcknowledged;
    char const* name;
    /** A character for each payload byte: '.' for one that is reserved, anything else for a field.
     */
    char const* bytes;
};

std::vector<CommandLayout> const& commandLayouts();

/** What a board has to make of a command. */
struct Judgement {
    /** The one counter that counts it. */
    std::string counter;
    bool isTaken = false;
    bool isAcknowledged = false;
    std::uint8_t error = 0;
    /** A path opens, with a port of the board's choice. */
    bool takesPort = false;
    /** A reserved byte is not zero. */
    bool isNoticed = false;
};

/**
 * A DSP board as it is described: what it takes, refuses and answers, and what its channels are
 * afterwards. Reads the bytes by tables of its own.
 */
class BoardModel {
public:
    explicit BoardModel(dsp::BoardOptions const& boardOptions);

    /** Judges a command, and carries it out when it is taken. */
    Judgement receive(imc_msg const& message);

    /** The port that the board chose for the path that was opened last. */
    void portTaken(std::uint16_t port);

    /** Ends the process unless the board's channels are as they have to be. */
    void requireSame(dsp::Board const& board) const;

    /** Whom events go to. */
    std::uint8_t client;
    /** What `failNext` asked for, by DSP channel. */
    std::vector<std::uint8_t> nextError;

private:
    struct Refusal;

    Judgement judge(imc_msg const& message, CommandLayout const& layout);
    Refusal refusalOf(imc_msg const& message, CommandLayout const& layout) const;
    Refusal refusalOfOpen(imc_msg const& message, bool isFax) const;
    Refusal refusalOfParameter(imc_msg const& message) const;
    Refusal refusalOfJoin(imc_msg const& message) const;
    void carryOut(imc_msg const& message, CommandLayout const& layout);
    void setParameter(imc_msg const& message);
    void setVoice(imc_msg const& message, std::size_t payloadTypes);
    void close(imc_msg const& message, bool isFax);
    dsp::Channel& channelOf(imc_msg const& message) { return channels.at(message.payload[0]); }
    dsp::Channel const& channelOf(imc_msg const& message) const {
        return channels.at(message.payload[0]);
    }
    dsp::Path& pathOf(imc_msg const& message);
    dsp::Path const& pathOf(imc_msg const& message) const;
    std::size_t portsLeft() const;

    dsp::BoardOptions options;
    std::vector<dsp::Channel> channels;
    std::uint16_t* newPort = nullptr;
};

} // namespace fuzz

#endif
