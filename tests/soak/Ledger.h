#ifndef TESTS_SOAK_LEDGER_H
#define TESTS_SOAK_LEDGER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace soak {

/** What is counted. The order is that of the table; the names stand in Ledger.cpp. */
enum class Count : std::size_t {
    callsStarted,
    endedNormally,
    refusedByLibrary,
    refusedByBoard,
    acknowledgementLost,
    closedEarly,
    boardLost,

    opened,
    openRefused,
    updated,
    updateRefused,
    joined,
    joinRefused,
    unjoined,
    unjoinRefused,
    faxActivated,
    faxRefused,
    closed,
    operationsInCallbacks,
    recordsMade,
    recordsDropped,

    commandsPosted,
    commandsRefusedByBus,
    commandsDropped,
    commandsDelivered,
    commandsTaken,
    commandsRefusedByBoard,
    commandsAcknowledged,

    eventsRaised,
    eventsRepeated,
    eventsStray,
    eventsLost,
    eventsLostWithBoard,
    eventsHeldBack,
    eventsSent,
    eventsDelivered,
    eventsUnknown,

    ackEvents,
    ackErrorEvents,
    ackErrorEventsWithoutChannel,
    dtmfEvents,
    faxToneEvents,
    alertsPassedOver,
    ignoredWithoutChannel,
    ignoredWrongLength,
    callbacksThrown,
    ackErrorEventsAfterThrow,

    boardsGone,
    boardsBack,
    managersReplaced,
    configurations,
    consoleLines,
    logErrors,
    logTraces,
    exits
};

constexpr std::size_t countCount = static_cast<std::size_t>(Count::exits) + 1;

/**
 * Counts what happens, and keeps what did not come out as it must. Findings are noted rather than
 * thrown, since many of the places that find something are called back by what is under test.
 */
class Ledger {
public:
    void add(Count what, std::uint64_t howMany = 1) { counts.at(index(what)) += howMany; }
    std::uint64_t operator[](Count what) const { return counts.at(index(what)); }
    /** Sum of the counts from the one to the other. */
    std::uint64_t sum(Count first, Count last) const;

    /** Notes a finding unless both are the same. */
    void same(std::uint64_t found, std::uint64_t expected, char const* what);
    void finding(std::string const& text);
    bool isSound() const { return found.empty(); }
    std::vector<std::string> const& findings() const { return found; }

    void print(std::ostream& to) const;

private:
    static std::size_t index(Count what) { return static_cast<std::size_t>(what); }

    std::array<std::uint64_t, countCount> counts{};
    std::vector<std::string> found;
};

/** One row of the table. */
void printRow(std::ostream& to, std::string const& name, std::uint64_t value);

} // namespace soak

#endif
