#ifndef TESTS_SOAK_SOAK_H
#define TESTS_SOAK_SOAK_H

#include "tests/soak/Memory.h"
#include "tests/soak/Watch.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace soak {

/**
 * Random calls between the library and boards in software, on the workstation's platform. One
 * thread does everything, and no decision hangs on the time: the same seed gives the same calls.
 */
class Soak {
public:
    /** After so many calls everything is brought to rest and compared. */
    static constexpr std::uint64_t blockSize = 500;

    Soak(std::uint64_t seed, Fault fault);
    ~Soak();
    Soak(Soak const&) = delete;
    Soak& operator=(Soak const&) = delete;

    /** So many calls from their beginning to their end, and the comparison. */
    void runBlock(std::uint64_t howMany);

    Ledger const& ledger() const { return books; }
    /** As it was after the first block; nothing before that. */
    std::optional<Heap> const& heap() const { return heapAtRest; }

private:
    struct Choice {
        std::uint32_t weight;
        void (Soak::*step)();
    };

    void setUpHost();
    void warmUpCollector();

    void step();
    void startCall();
    void workOnCall();
    void workOn(Leg& leg);
    void workOnClosed(Leg& leg);
    void closeAll(Call& call);
    void finish(Call& call);
    void deliver();
    void raiseEvent();
    void sendStray();
    void releaseEvent();
    void letBoardGo();
    void letBoardReturn();
    void configure();
    void typeLine();
    void changeTraffic();
    void setLevel();

    void setFaxDetectionOff(bool off);
    void ask(std::string const& line, std::string const& answerHolds);

    void bringToRest();
    void endCalls();
    void drain();
    void audit();
    void auditLedger();
    void auditHost();
    void auditHeap();

    Site& anySite();
    Site& anyBoard();
    Call* anyCall();

    host::Workstation& workstation;
    Ledger books;
    Random random;
    Sabotage sabotage;
    Surroundings around;
    Calls calls;
    Client client;
    std::unique_ptr<Watch> watch;
    /** The last one is a board that no gateway has. */
    std::array<std::unique_ptr<Site>, 4> sites;
    std::uint64_t target = 0;
    /** How many calls are on at a time; changes. */
    std::size_t ceiling = 20;
    std::uint64_t blocks = 0;
    std::uint64_t boardsUnknown = 0;
    std::optional<Heap> heapAtRest;
};

} // namespace soak

#endif
