#ifndef HOST_COUNTERS_H
#define HOST_COUNTERS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace host {

/** What can go wrong on the platform without ending it. */
enum class Cause : std::size_t {
    /** A message whose identifier nobody registered. */
    messageWithoutObserver,
    /** A message that was sent to an address which was detached before the delivery. */
    messageDropped,
    /** A message posted to an address that nobody serves. */
    postRefused,
    /** An exception left an observer. */
    observerException,
    /** A console line whose word nobody registered. */
    commandWithoutObserver,
    /** An answer while no console's command was being delivered. */
    answerWithoutConsole,
    /** A console threw at its answer. */
    answerRefused,
    /** The IMC address of a board that is not in the board table was asked for. */
    unknownBoard,
    /** A reference was given back that was not held. */
    referenceNotHeld,
    /** A configuration file was refused. */
    configurationRefused,
    /** A variable of the environment holds a bad value. */
    badEnvironment,
    /** A log sink threw at a line. */
    logLineLost,

    /** @name Of the bus between processes */
    /// @{
    /** A message was refused: nobody serves its address. */
    busUnserved,
    /** A message was refused: the node that served its address is gone. */
    busPeerGone,
    /** A message was refused: the node that serves its address does not answer. */
    busNotLinked,
    /** A message was refused: its receiver has too many that it has not taken. */
    busWindowFull,
    /** A message was sent, and its receiver went away before it took it. */
    busMessageLost,
    /** A message came out of its order. */
    busOutOfSequence,
    /** A link with a node broke or was ended by it. */
    busLinkLost,
    /** A node refused a link, or can't be linked with. */
    busLinkRefused,
    /** An address could not be served because another node serves it. */
    busClaimRefused,
    /** Two nodes turned out to serve one address. */
    busClaimConflict,
    /** Something that is no frame of the bus, or not at its time. */
    busBadFrame,
    /** A connection whose other side does not speak as nodes do. */
    busHandshakeFailed,
    /** A connection with a key that is not allowed. */
    busKeyRefused,
    /** A copy of a message that a tap did not get. */
    busCopyMissed,
    /** The system refused an operation of the bus's own thread, which went on. */
    busSystemFault
    /// @}
};

/** Counters by cause. All operations may be called from any thread. */
class Counters {
public:
    void add(Cause cause, std::uint64_t times = 1);
    std::uint64_t value(Cause cause) const;

    /** The causes that occurred, by name. */
    std::map<std::string, std::uint64_t> occurred() const;

    void clear();

    static constexpr std::size_t causes = static_cast<std::size_t>(Cause::busSystemFault) + 1;

private:
    std::array<std::atomic<std::uint64_t>, causes> counts{};
};

} // namespace host

#endif
