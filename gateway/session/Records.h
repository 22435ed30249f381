#ifndef GATEWAY_SESSION_RECORDS_H
#define GATEWAY_SESSION_RECORDS_H

#include "gateway/session/Path.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class MC_Channel;

namespace gateway {

/** A channel of the session, under the name that people call it by. */
struct Record {
    using Time = std::chrono::steady_clock::time_point;

    /** How far one medium of it is, as the board's answers tell. */
    enum class Status {
        closed,
        opening,
        open,
        /** Its opening was not acknowledged in time. */
        unacknowledged,
        /** Its opening was acknowledged with an error. */
        refused,
        /** It was open; the board is gone, or does not know it any more. */
        forgotten,
        closing
    };
    struct MediumState {
        Status status = Status::closed;
        /** @name Requests that are neither acknowledged, missed nor lost */
        /// @{
        unsigned openings = 0;
        unsigned closings = 0;
        /// @}
        /** Its opening was refused since the path is open for somebody else. */
        bool isOthers = false;
    };
    /** Told what became of what was asked; the text is empty when all is well. */
    using Waiter = std::function<void(std::string const& fault)>;

    std::string name;
    MC_Channel* channel = nullptr;
    Path path{};
    /** It exists to close what an earlier process left open. */
    bool isOrphan = false;
    std::array<MediumState, 2> media{};
    /** Since when it is half-open; nothing while it is not. */
    std::optional<Time> halfOpenSince{};
    /** By the clock on the wall, for people. */
    std::chrono::system_clock::time_point since = std::chrono::system_clock::now();
    /** The local port of the last opening. */
    std::uint16_t port = 0;
    /** What went wrong since somebody began to wait. */
    std::string fault{};
    std::vector<Waiter> waiters{};

    MediumState& of(Medium medium) { return media.at(static_cast<std::size_t>(medium)); }
    MediumState const& of(Medium medium) const {
        return media.at(static_cast<std::size_t>(medium));
    }

    /** It may be open on the board or not. */
    bool isHalfOpen() const;
    bool isOpen(Medium medium) const { return of(medium).status == Status::open; }
    /** Its closing was asked for. */
    bool isClosing() const;
    /** Nothing is open on it, and nothing is to come. */
    bool isFinished() const;
    /** No request of it is undecided. */
    bool isSettled() const;

    /** "open", "half-open: voice not acknowledged". */
    std::string text() const;
};

/**
 * The session's channels, and what the acknowledgements and the boards' comings and goings make of
 * them. Never calls the library; the time is passed in.
 */
class Records {
public:
    using Time = Record::Time;
    enum class Change { none, opened, healed, halfOpened, refused, closed };

    explicit Records(std::chrono::milliseconds halfOpenTime);

    /** @return valid until it is removed. The name and the path are no other record's. */
    Record& add(std::string const& name, MC_Channel* channel, Path const& path);
    void remove(std::string const& name);

    /** @name Null when there is none */
    /// @{
    Record* find(std::string const& name);
    Record* at(Path const& path);
    Record const* at(Path const& path) const;
    /// @}

    /** By name. */
    std::vector<Record*> all();
    std::vector<Record*> ofBoard(unsigned char sid);
    std::size_t size() const { return byName.size(); }
    std::size_t halfOpen() const { return halfOpens.size(); }

    /** @name What happens; requests of paths without a record change nothing */
    /// @{
    /** @return the error that its answer may well be: the board may not have what is closed */
    std::optional<dsp::Error> sent(Request const& request);
    /** @param error 0 for success, and for an error that was to be expected */
    Change acknowledged(Request const& request, unsigned error);
    /** It was not answered in time, or will not be. */
    Change missed(Request const& request, Time now);
    /**
     * The board is gone, or has forgotten everything.
     * @return the records that are half-open by that, and were not before
     */
    std::vector<Record*> forget(unsigned char sid, Time now);
    /** The board does not have the medium open. */
    void forget(Record& record, Medium medium, Time now);
    /** The board is back, and has forgotten nothing. @return the records that are healed by that */
    std::vector<Record*> remember(unsigned char sid);
    /** The library has closed the record; what it could not tell the board is closed here only. */
    void closed(Record& record);
    /// @}

    /** Those that are half-open for too long; they stay so until they are closed. */
    std::vector<Record*> expired(Time now) const;
    std::optional<Time> nextDue() const;

private:
    template <typename Opened>
    Change decided(Request const& request, Opened const& opened);
    Change closingDecided(Record& record, Record::MediumState& state);
    /** Keeps the time that goes with the record's state. @return what changed in all */
    Change settle(Record& record, Change otherwise);
    /** The same for what may have made it half-open. @return whether it was not before */
    bool note(Record& record, Time now);
    void setWhole(Record& record);

    std::chrono::milliseconds const halfOpenTime;
    std::map<std::string, std::unique_ptr<Record>> byName;
    std::map<Path, Record*> byPath;
    std::set<Record*> halfOpens;
};

} // namespace gateway

#endif
