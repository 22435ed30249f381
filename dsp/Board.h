#ifndef DSP_BOARD_H
#define DSP_BOARD_H

#include "imc/imc_msg.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace dsp {

/** Direction of a media path on a DSP channel. */
enum class Direction : int { in = 1, out = 2 };

/** An IP address as the voice and join commands carry it; IPv4 is mapped (RFC 4291). */
using Address = std::array<std::uint8_t, 16>;

/**
 * What the board knows of one direction of a DSP channel. Voice and fax open and close
 * independently of each other: fax may open on a direction without voice, and outlive it.
 */
struct Path {
    bool voiceOpen = false;
    bool faxOpen = false;
    /** The board's own choice, 0 while voice is closed; the port in the command is not followed. */
    std::uint16_t localRtpPort = 0;
    /** The board's own choice, even, 0 while fax is closed. */
    std::uint16_t localFaxPort = 0;
    /** Codec type number of the open-voice command. */
    unsigned codec = 0;
    /** IP protocol number of the last open command, 17 UDP or 6 TCP. */
    unsigned faxProtocol = 0;
    /** @name IMC addresses of the clients that opened it, 0 while it is closed */
    /// @{
    std::uint8_t voiceOpener = 0;
    std::uint8_t faxOpener = 0;
    /// @}
    /** @name From the open-voice command, then from each update */
    /// @{
    Address remoteAddress{};
    std::uint16_t remoteRtpPort = 0;
    std::uint16_t remoteRtcpPort = 0;
    unsigned dtmfPayloadType = 0;
    unsigned redundancyPayloadType = 0;
    /// @}
};

/**
 * What the board knows of one DSP channel. Parameters may be set before anything is open; when the
 * last open path of the channel closes, the channel is as new, its join included.
 */
struct Channel {
    Path in;
    Path out;
    bool silenceCompression = false;
    unsigned digitDetection = 0;
    /** Both in the units of the codec, 0 until they are set. */
    unsigned minPacketLength = 0;
    unsigned maxPacketLength = 0;
    /** Fax-tone detection mode, -1 until it is armed. */
    int faxDetection = -1;
    bool joined = false;
    unsigned joinedDsp = 0;
    bool joinedRemote = false;
};

/** Error codes of the board's acknowledgements. */
enum class Error : std::uint8_t {
    none = 0,
    noSuchChannel = 1,
    alreadyOpen = 2,
    notOpen = 3,
    badParameter = 4,
    noPortLeft = 5
};

/** How a board is made. */
struct BoardOptions {
    /** IMC address of the board. */
    unsigned char sid = 0xFA;
    /** Number of DSP channels, numbered from 0; 1 to 256. */
    unsigned channels = 256;
    /**
     * First local media port, not 0; RTP takes even ports (RFC 3550, section 11), so an odd one is
     * left out.
     */
    std::uint16_t firstPort = 5000;
    /** IMC address that events go to until a command was taken, whose sender is the client then. */
    unsigned char client = 0x01;
};

/**
 * A DSP board as software. Takes IMC commands, checks them as a board must, keeps the state of its
 * DSP channels, acknowledges through the sink, and raises events when told to. Passive: it has no
 * thread and no clock, everything happens inside `receive` and the raise operations.
 *
 * Open and close of voice and fax are acknowledged to their sender, with the local port that an
 * open took, or with an error and port 0. Every other command is silent; what can't be done of it
 * is counted and reported only, and so is a command of another destination, an unknown identifier,
 * or a payload too short to name the DSP channel. A DSP channel is joined neither with itself nor
 * with one of the same board on which nothing is open. A refused command changes nothing. A
 * reserved byte that is not zero is counted and reported, but the command is taken.
 */
class Board {
public:
    /** Where the board's events go; called inside `receive` and the raise operations. */
    using Sink = std::function<void(imc_msg const& event)>;
    /** Readable reports of what the board could not take, one line each without line end. */
    using Report = std::function<void(std::string const& text)>;

    /**
     * @param report may be empty, nobody then reads the reports
     * @throw std::invalid_argument when the options make no board, or the sink is empty
     */
    Board(BoardOptions const& options, Sink sink, Report report);
    ~Board();
    Board(Board const&) = delete;
    Board& operator=(Board const&) = delete;

    unsigned char sid() const;

    /** How many DSP channels it has. */
    unsigned channels() const;

    /** Takes one command. Never throws for anything that a message may hold. */
    void receive(imc_msg const& command);

    /** @name Events that the board raises towards the sender of the last command that it took
     *  (IMC address `client` until there was one), whatever the state of the DSP channel, so that
     *  an event at the wrong time can be raised too.
     *  @throw std::out_of_range for a DSP channel that the board does not have
     *  @throw std::invalid_argument for a value that is no direction */
    /// @{
    void raiseDtmf(unsigned dsp, Direction direction, std::uint8_t digit,
                   std::uint16_t milliseconds);
    void raiseFaxTone(unsigned dsp);
    void raiseAlert(unsigned dsp, Direction direction, std::uint32_t value);
    /// @}

    /**
     * Error that the next acknowledged command of the DSP channel is answered with, once, provided
     * it has the right length; the command is not carried out. `Error::none` takes it back.
     * @throw std::out_of_range for a DSP channel that the board does not have
     */
    void failNext(unsigned dsp, Error error);

    /** @throw std::out_of_range for a DSP channel that the board does not have */
    Channel const& channel(unsigned dsp) const;

    /**
     * Counters, by cause and by kind of command; each once, and all of them always, zeros included:
     * "taken: OpenVoice in", "refused: wrong length", "noticed: nonzero reserved". Every received
     * message is counted as either taken or refused.
     */
    std::map<std::string, std::uint64_t> counters() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

/** One field of a command or event. */
struct Field {
    std::string name;
    std::string value;
    /** The value in words, as of an error code; empty where there are none. */
    std::string remark{};

    bool operator==(Field const& other) const {
        return name == other.name && value == other.value && remark == other.remark;
    }
};

/** A command or event in pieces. */
struct Description {
    /** With the direction where there is one: "OpenVoiceAck in". */
    std::string name;
    std::vector<Field> fields;
    /** What follows the fields of a message that is not quite as it should be, or else nothing. */
    std::string remark{};
};

/** Takes a command or event to pieces; never throws. */
Description fields(imc_msg const& message);

/** " name=value(remark)" for each. */
std::string textOf(std::vector<Field> const& fields);

/**
 * One line that names a command or event and its fields, for a person; never throws. The name comes
 * first, with the direction where there is one, then each field as name=value; a remark may follow
 * in parentheses: "OpenVoiceAck in dsp=3 error=2(already open) port=0".
 */
std::string describe(imc_msg const& message);

} // namespace dsp

#endif
