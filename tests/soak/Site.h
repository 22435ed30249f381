#ifndef TESTS_SOAK_SITE_H
#define TESTS_SOAK_SITE_H

#include "tests/soak/BoardModel.h"
#include "tests/soak/Ledger.h"
#include "tests/soak/Random.h"

#include "dsp/Board.h"
#include "host/Workstation.h"

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>

namespace soak {

/** Something of the soak's own that is broken on purpose, to see that the soak notices. */
enum class Fault { none, lostCall, lostCommand, lostEvent, keptReference, keptMemory };

/** Each time so many things went well, one goes wrong. */
class Sabotage {
public:
    explicit Sabotage(Fault itsFault) : fault(itsFault) {}

    bool strikes(Fault kind) { return kind == fault && ++occasions % 100 == 0; }

private:
    Fault fault;
    std::uint64_t occasions = 0;
};

/** A command that the library must have posted. */
struct Posted {
    std::uint32_t identifier;
    std::uint8_t dsp;
    /** Parameter code of a set-parameter command, otherwise 0. */
    std::uint8_t code;
    /** The call that it belongs to. */
    std::uint64_t call;
};

/** What the sites share. */
struct Surroundings {
    host::Workstation& workstation;
    Ledger& ledger;
    Random& random;
    Sabotage& sabotage;
    /** The acknowledgement of a call's open command will never come. */
    std::function<void(std::uint64_t call)> onLost;
};

/**
 * The place of a DSP board on the bus. The board may be there or away; when it comes back, it has
 * lost its channels. Its events are sent on at once, held back, repeated or lost, by chance. Every
 * command is compared with what the library must have posted, and everything that the board makes
 * of it with what a board must.
 */
class Site : private host::Endpoint {
public:
    /** DSP channels of each board; the client believes in a few more. */
    static constexpr unsigned channelCount = 16;

    Site(Surroundings& surroundings, std::string ip, unsigned char sid);
    ~Site() override;
    Site(Site const&) = delete;
    Site& operator=(Site const&) = delete;

    std::string const& ip() const { return address; }
    unsigned char sid() const { return imcAddress; }
    bool isThere() const { return board.has_value(); }

    void goAway();
    void comeBack();

    /** The library is about to post a command; false when the bus must refuse it. */
    bool expect(Posted const& command);

    /** @name Of a board that is there */
    /// @{
    void raiseDtmf(unsigned dsp, dsp::Direction direction, std::uint8_t digit);
    void raiseFaxTone(unsigned dsp);
    void raiseAlert(unsigned dsp, dsp::Direction direction);
    void failNext(unsigned dsp);
    /// @}

    /** Puts an event of any form on the bus. */
    void sendStray(imc_msg const& event);

    bool holdsEvents() const { return !held.empty(); }
    /** Sends or loses one of the events that are held back. */
    void releaseOne();

    /** Compares the board with what it must be, when nothing is under way. */
    void audit();

private:
    struct Held {
        imc_msg event;
        /** The call that loses an open acknowledgement with this event; 0 when none does. */
        std::uint64_t call;
    };

    void receive(imc_msg const& command) override;
    void checkCommand(imc_msg const& command, Posted const& expected);
    void take(imc_msg const& event);
    void checkAcknowledgement(imc_msg const& event);
    void passOn(imc_msg const& event, std::uint64_t call);
    void lose(std::uint64_t call);
    void send(imc_msg const& event);
    void auditCounters();
    void count(Count what, std::uint64_t now, std::uint64_t& before);
    void auditChannels();

    Surroundings& around;
    std::string const address;
    unsigned char const imcAddress;
    BoardModel model{channelCount};
    std::optional<dsp::Board> board;
    /** What the ledger has of this board's counters. */
    std::uint64_t takenBefore = 0;
    std::uint64_t refusedBefore = 0;
    std::list<Posted> onTheWay;
    std::list<Held> held;
    /** The command that the board is at, and what must become of it; null outside. */
    Posted const* current = nullptr;
    Expected outcome{};
};

} // namespace soak

#endif
