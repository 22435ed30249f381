#ifndef TESTS_SOAK_CALLS_H
#define TESTS_SOAK_CALLS_H

#include "tests/soak/Site.h"

#include "MC_Channel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

namespace soak {

struct Call;

/**
 * One direction of a call: the client's channel record, and what must be in it. The expectation is
 * kept from the operations and events alone, never read back from the record.
 */
struct Leg {
    Call* call = nullptr;
    /** Null once the client has given its reference back. */
    MC_Channel* record = nullptr;
    VCOM_Direction direction = VCOM_DIRECTION_NONE;
    MC_Channel::State state = MC_Channel::Idle;
    bool voiceOpen = false;
    bool faxOpen = false;
    bool vad = false;
    /** How often it is on the manager's list. */
    unsigned listings = 0;

    /** @name Fixed from the beginning */
    /// @{
    bool armsFaxDetection = false;
    bool wantsFaxDetection = false;
    bool hasCodec = true;
    bool hasFraming = true;
    bool hasRemote = true;
    bool hasFaxTransport = true;
    /// @}
    bool hasJoinAddress = false;

    bool isIdleOrClosed() const { return state == MC_Channel::Idle || state == MC_Channel::Close; }
};

/** A call, on one DSP channel of one site. */
struct Call {
    std::uint64_t number = 0;
    Site* site = nullptr;
    std::uint8_t dsp = 0;
    std::array<Leg, 2> legs;
    /** What the client still means to do before it closes. */
    unsigned plans = 0;

    /** @name What happened to it */
    /// @{
    unsigned opensPosted = 0;
    unsigned opensAnswered = 0;
    bool refusedByLibrary = false;
    bool refusedByBoard = false;
    bool acknowledgementLost = false;
    bool closedEarly = false;
    bool boardLost = false;
    /// @}

    bool isDropped() const { return legs[0].record == nullptr && legs[1].record == nullptr; }
};

/** The one account that a call's end goes to. */
Count outcomeOf(Call const& call);

/** The calls that are on, and the list that the manager must have of their channels. */
class Calls {
public:
    explicit Calls(std::size_t most);

    Call& add(std::unique_ptr<Call> call);
    void remove(Call const& call);
    std::vector<std::unique_ptr<Call>> const& all() const { return calls; }
    /** Null when the call is over. */
    Call* find(std::uint64_t number) const;
    bool isBusy(Site const& site, unsigned dsp) const;

    void list(Leg& leg);
    void unlist(Leg& leg);
    std::list<Leg*> const& listed() const { return listing; }

    /** The channel that an event must be taken for; null when there is none. */
    Leg* target(unsigned dsp, VCOM_Direction direction, unsigned char sid) const;

private:
    std::vector<std::unique_ptr<Call>> calls;
    std::list<Leg*> listing;
};

} // namespace soak

#endif
