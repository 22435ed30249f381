#ifndef GATEWAY_SESSION_SUPERVISOR_H
#define GATEWAY_SESSION_SUPERVISOR_H

#include "gateway/BusReporter.h"
#include "gateway/SessionManager.h"
#include "gateway/session/AckDeadlines.h"
#include "gateway/session/Alarm.h"
#include "gateway/session/Auditor.h"
#include "gateway/session/BoardNames.h"
#include "gateway/session/BoardWatch.h"
#include "gateway/session/Channels.h"
#include "gateway/session/Journal.h"
#include "gateway/session/Records.h"
#include "gateway/session/Supervision.h"

#include "host/imc/Dispatcher.h"
#include "host/imc/Transport.h"
#include "imc/IMC_Observer.h"

#include <cstddef>
#include <functional>
#include <string>

namespace gateway {

/**
 * Looks after what the library leaves to its client: it sees what is sent, what is acknowledged,
 * and who comes and goes, and acts on what should not be.
 *
 * Its observers stand behind the library's: whatever it does to a channel, the library has finished
 * with the message.
 */
class Supervisor : public host::Tap, public BusReporter, private IMC_Observer {
public:
    /** All outlive this object. Registers at IMC. */
    Supervisor(host::Dispatcher& dispatcher, Supervision const& options, SessionManager& sessions,
               Journal& journal, BoardNames& names);
    ~Supervisor() override;
    Supervisor(Supervisor const&) = delete;
    Supervisor& operator=(Supervisor const&) = delete;

    Channels& channels() { return ownChannels; }
    Records& records() { return ownRecords; }
    BoardWatch const& boards() const { return ownBoards; }
    AckDeadlines const& acknowledgements() const { return deadlines; }

    /** Called once the bus is joined: audits begin. */
    void begin();

    /** The session ends: what is not acknowledged yet will not be. */
    void giveUp();

    /** Asks a board what it has open. */
    void audit(unsigned char sid, Audits::Waiter waiter);

    /** The library could not send something, and would have ended the process. */
    void postRefused(int cause);

    /** Who tells whether a path is that of a call file that runs; without it, none is. */
    void setCallFiles(std::function<bool(Path const&)> question) {
        isOfCallFile = std::move(question);
    }

    /** This process's address is another one's. */
    void setClaimLost(std::function<void()> action) { onClaimLost = std::move(action); }

    /** @name host::Tap */
    /// @{
    void carried(imc_msg const& message) override;
    void refused(imc_msg const& message, std::string const& reason) override;
    /// @}

    /** @name host::BusListener */
    /// @{
    void peerFound(unsigned char sid, host::BusHolder const& holder) override;
    void peerLost(unsigned char sid, host::BusHolder const& holder, std::uint64_t undelivered,
                  std::string const& why) override;
    void peerReturned(unsigned char sid, host::BusHolder const& holder, bool restarted) override;
    void claimLost(unsigned char sid, host::BusHolder const& holder) override;
    /// @}

private:
    using Time = AckDeadlines::Time;

    void tell(std::string const& kind, std::string const& text,
              Report::Json const& details) override;
    void messageEvent(imc_msg const& message) override;
    void timeoutEvent(unsigned int timer) override;

    void acknowledged(imc_msg const& message, Time now);
    void reportAcknowledgement(Request const& request, unsigned error,
                               AckDeadlines::Outcome const& outcome);
    void apply(Request const& request, unsigned error, std::uint16_t port);
    void missed(Request const& request, SessionCause cause, std::string const& why, Time now);
    void halfOpened(Record const& record);
    void boardForgot(unsigned char sid);
    void treatForgotten(Record& record);
    void expireDeadlines(Time until, Time now);
    void closeExpired(Time now);
    void answerAudit(imc_msg const& message);
    void wake(Time now);
    void setAlarm();
    std::string nameOf(Path const& path) const;

    Supervision const options;
    Journal& journal;
    AckDeadlines deadlines;
    Records ownRecords;
    BoardWatch ownBoards;
    Channels ownChannels;
    Auditor auditor;
    Alarm alarm;
    bool hasBegun = false;
    std::function<void()> onClaimLost;
    std::function<bool(Path const&)> isOfCallFile;
};

} // namespace gateway

#endif
