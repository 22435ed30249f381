#ifndef TESTS_SOAK_BOARDMODEL_H
#define TESTS_SOAK_BOARDMODEL_H

#include "imc/imc_msg.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace soak {

/** Commands and refusals, in the words of the board's own counters. */
constexpr std::size_t kindCount = 13;
constexpr std::size_t refusalCount = 7;

/** What a board must make of a command. */
struct Expected {
    bool isTaken;
    bool isAcknowledged;
    /** Of the acknowledgement. */
    std::uint8_t error;
    /** Whether the acknowledgement names a local port. */
    bool hasPort;
};

/**
 * What is expected of a DSP board: which paths its commands have left open, and so what becomes of
 * the next one. Much simpler than the board, and sharing no code with it.
 */
class BoardModel {
public:
    explicit BoardModel(unsigned channels);

    /** A command reaches the board. */
    Expected receive(imc_msg const& command);

    /** The next acknowledged command of the channel is to fail with this error. */
    void failNext(unsigned dsp, std::uint8_t error) { channels.at(dsp).nextError = error; }

    /** The board starts anew. */
    void restart();

    /** Counters of the board that must not be 0, by name. */
    std::map<std::string, std::uint64_t> counters() const;

    bool isVoiceOpen(unsigned dsp, std::size_t side) const {
        return channels.at(dsp).voice.at(side);
    }
    bool isFaxOpen(unsigned dsp, std::size_t side) const { return channels.at(dsp).fax.at(side); }
    bool isJoined(unsigned dsp) const { return channels.at(dsp).joined; }

private:
    enum Refusal : std::size_t {
        none,
        noSuchChannel,
        badParameter,
        alreadyOpen,
        notOpen,
        alreadyJoined,
        notJoined,
        onRequest
    };

    /** Of each pair, direction in stands first. */
    struct Channel {
        std::array<bool, 2> voice{};
        std::array<bool, 2> fax{};
        bool joined = false;
        std::uint8_t nextError = 0;

        bool isOpen() const { return voice[0] || voice[1] || fax[0] || fax[1]; }
    };

    Refusal apply(imc_msg const& command);
    Refusal set(Channel& channel, bool& path, bool open);
    Refusal openFax(Channel& channel, std::size_t side, imc_msg const& command);
    Refusal join(Channel& channel, imc_msg const& command);

    std::vector<Channel> channels;
    std::array<std::uint64_t, kindCount> taken{};
    std::array<std::uint64_t, refusalCount + 1> refused{};
    std::uint8_t requested = 0;
};

} // namespace soak

#endif
