#ifndef DSP_SERVICE_H
#define DSP_SERVICE_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace dsp {

/*
 * Messages about a board in software rather than for its DSPs. Their identifiers are in none of the
 * DSPs' tables: a board of another kind counts them as unknown, and whoever asks it gets no answer.
 */

/** Identifiers of the messages. */
enum class Service : std::uint32_t { auditRequest = 9001, auditAnswer = 9002, order = 9003 };

/** Of one direction of a DSP channel, in the answer to an audit. */
struct PathState {
    bool voiceOpen = false;
    bool faxOpen = false;
    /** The DSP channel is, whatever the direction. */
    bool joined = false;
    /** What is open on the direction was opened by another client than the one that asks. */
    bool isOthers = false;

    bool operator==(PathState const& other) const {
        return voiceOpen == other.voiceOpen && faxOpen == other.faxOpen && joined == other.joined &&
               isOthers == other.isOthers;
    }
};

/** What is open on a board. */
struct AuditAnswer {
    /** That of the request. */
    std::uint32_t tag = 0;
    /** Another one each time the board starts anew. */
    std::uint64_t incarnation = 0;
    /** @name By DSP channel; as many as the board has, at most 504 of each */
    /// @{
    std::vector<PathState> in{};
    std::vector<PathState> out{};
    /// @}
};

/** Has a board raise an event, or fail the next acknowledged command of a DSP channel. */
struct Order {
    enum class Kind : std::uint8_t { dtmf = 1, faxTone = 2, alert = 3, failNext = 4 };

    Kind kind = Kind::dtmf;
    std::uint8_t dsp = 0;
    /** Of dtmf and alert; the others ignore it. */
    Direction direction = Direction::in;
    /** The digit of dtmf, the error code of failNext. */
    std::uint8_t value8 = 0;
    /** The duration of dtmf in milliseconds, the value of alert. */
    std::uint32_t value32 = 0;
};

/** "dtmf", "failNext"; null for a value that is no kind. */
char const* orderName(Order::Kind kind);

/** "AuditRequest"; null when no service message has the identifier. */
char const* serviceName(std::uint32_t identifier);

/** @name The whole record; every byte that the message does not define is zero */
/// @{
imc_msg encodeAuditRequest(std::uint32_t tag, std::uint8_t sourceSid, std::uint8_t destinationSid);
/** @throw std::invalid_argument when `in` and `out` differ in size, or have too many channels */
imc_msg encodeAuditAnswer(AuditAnswer const& answer, std::uint8_t sourceSid,
                          std::uint8_t destinationSid);
imc_msg encodeOrder(Order const& order, std::uint8_t sourceSid, std::uint8_t destinationSid);
/// @}

/**
 * @name Nothing when it is another message, or its payload length is not right. The values are as
 * they were received: an order may hold a kind or a direction that there is not.
 */
/// @{
std::optional<std::uint32_t> decodeAuditRequest(imc_msg const& message);
std::optional<AuditAnswer> decodeAuditAnswer(imc_msg const& message);
std::optional<Order> decodeOrder(imc_msg const& message);
/// @}

/**
 * What is open on a board, for the client that asks.
 * @param asker IMC address of the client
 * @return without tag and incarnation
 */
AuditAnswer audit(Board const& board, std::uint8_t asker);

} // namespace dsp

#endif
