#ifndef GATEWAY_SESSION_SESSIONSITE_H
#define GATEWAY_SESSION_SESSIONSITE_H

#include "gateway/CallSite.h"

#include "host/Workstation.h"
#include "host/imc/Transport.h"
#include "imc/IMC_Observer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/** Hears what a session hears while a call file runs in it, on the thread of the dispatch loop. */
class SessionWatcher {
public:
    virtual ~SessionWatcher() = default;

    /** A callback of the session's Session Manager. */
    virtual void callbackSeen(Message const& callback) = 0;
    virtual void lineLogged(host::Workstation::LogLine const& line) = 0;
    /** The library ended the process, which goes on. */
    virtual void libraryEnded(int cause) = 0;
    /** Whether the DSP channel is the call file's: what is open there is no orphan of a board. */
    virtual bool owns(unsigned char sid, std::uint8_t dsp) const = 0;
};

/** What a call file needs of the session that it runs in. */
struct SessionAccess {
    /** The session's, with its manager; its observers were registered before the file began. */
    SessionManager& sessions;
    /** @name Taps of the transport; neither owned nor deleted */
    /// @{
    std::function<void(host::Tap& tap)> addTap;
    std::function<void(host::Tap& tap)> removeTap;
    /// @}
    /** Who hears what happens, besides the session itself; null for nobody. */
    std::function<void(SessionWatcher* watcher)> watch;
    /** The file leaves a channel open: from now on it is the session's to look after. */
    std::function<void(std::string const& name, MC_Channel& channel)> keep;
    /** Whether somebody serves the IMC address on the bus. */
    std::function<bool(unsigned char sid)> isServed;
    /** Whether the session is asked to end. */
    std::function<bool()> isEnding;
};

/**
 * The calls of a call file in a session that goes on: its boards are served on the bus by other
 * processes, its records are among the session's. Of commands, events and callbacks only those of
 * the file's own DSP channels are seen, whatever else the session does meanwhile.
 *
 * After each step the boards are asked for an audit: since messages keep their order, the answers
 * come behind everything that the step set off.
 */
class SessionSite final : public CallSite,
                          private SessionWatcher,
                          private host::Tap,
                          private IMC_Observer {
public:
    /** Of the file's requests for audits; a session uses tags below. */
    static constexpr std::uint32_t firstTag = 0x80000000U;

    explicit SessionSite(SessionAccess access);
    ~SessionSite() override;
    SessionSite(SessionSite const&) = delete;
    SessionSite& operator=(SessionSite const&) = delete;

    /**
     * Runs the loop until the boards have answered.
     * @throw CallFileError when a board of the file is not on the bus or does not answer, when the
     *        session has a channel of the same name, and when the file expects what can't be seen
     *        from a session
     */
    void begin(CallFile const& file, CallSiteListener& listener) override;
    SessionManager& sessions() override { return session.sessions; }
    MC_Channel& create(std::string const& name) override;
    void order(unsigned char sid, dsp::Order const& order) override;
    void mark() override;
    bool hasArrived() const override { return awaitedAudits.empty(); }
    std::size_t pending() const override { return awaitedAcknowledgements.size(); }
    void forget() override;
    bool isEnding() const override { return session.isEnding(); }
    bool endsWithLibrary() const override { return false; }
    std::map<std::string, std::uint64_t> countersBefore() const override { return before; }
    /** The session's other records come and go meanwhile: there is no number to hold it against. */
    void requireLiveRecords() const override {}
    /** Closes what is still listed, unless the file leaves it open; that stays the session's. */
    std::optional<Failure> end() override;
    void abandon() override;

private:
    /** A DSP channel: the IMC address of its board, and its number there. */
    using Place = std::pair<std::uint8_t, std::uint8_t>;
    /** An acknowledged command, by its identifier. */
    using Command = std::pair<Place, std::uint32_t>;

    void callbackSeen(Message const& callback) override;
    void lineLogged(host::Workstation::LogLine const& line) override;
    void libraryEnded(int cause) override;
    bool owns(unsigned char sid, std::uint8_t dsp) const override;
    void carried(imc_msg const& message) override;
    void refused(imc_msg const& message, std::string const& reason) override;
    void messageEvent(imc_msg const& message) override;
    void timeoutEvent(unsigned int timer) override;

    [[noreturn]] void refuse(std::string const& why) const;
    void requireVisible() const;
    void requireNewNames() const;
    void requireBoards() const;
    void requireAnswers();
    void startListening();
    void stopListening();
    void eventSeen(imc_msg const& message);
    void callbacksSeen(bool isOfOwnEvent);
    void notePlaces();
    bool isOwn(Place const& place);
    bool isOwnName(std::string const& name) const;
    bool awaitArrival();
    void closeListed();
    std::string nameOf(unsigned char sid) const;
    std::string titleOf(unsigned char sid) const;

    SessionAccess session;
    host::Workstation& workstation;
    CallFile const* file = nullptr;
    CallSiteListener* listener = nullptr;
    bool hasEnded = false;
    std::vector<MC_Channel*> records;
    std::map<std::string, std::uint64_t> before;
    unsigned const logLevelBefore;
    bool isListening = false;
    /** Those on which the records were at some time: what was set off there may still come. */
    std::set<Place> places;
    /** By tag, who has not answered. */
    std::map<std::uint32_t, unsigned char> awaitedAudits;
    std::multiset<Command> awaitedAcknowledgements;
    /** Callbacks of the event that is being delivered; which one that is, its observer tells. */
    std::vector<Message> callbacks;
};

} // namespace gateway

#endif
