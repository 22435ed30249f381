#ifndef GATEWAY_SESSIONMANAGER_H
#define GATEWAY_SESSIONMANAGER_H

#include "gateway/Message.h"

#include "MC_Manager.h"
#include "MC_Observer.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace gateway {

/**
 * The reference client of the media channel library: owns the manager, keeps the channel records
 * of its calls, and observes what becomes of them. Every operation, and every callback, runs on the
 * thread of the dispatch loop, so that calls and events never meet.
 */
class SessionManager : private MC_Observer {
public:
    /** One operation of the manager on a channel, such as &MC_Manager::openChannel. */
    using Operation = void (MC_Manager::*)(MC_Channel*);
    /** Takes each callback, as "ackEvent channel=caller-in error=0 port=5000". */
    using Listener = std::function<void(Message const&)>;

    /** Builds the manager and registers with it. */
    explicit SessionManager(Listener listener);

    /** Deletes the manager and gives back its own references; those of the manager's list stay. */
    ~SessionManager() override;

    SessionManager(SessionManager const&) = delete;
    SessionManager& operator=(SessionManager const&) = delete;

    MC_Manager& manager() { return *mcManager; }

    /**
     * A new, empty record, whose fields without a default of the library's are 0.
     * @param name what a person calls the channel
     * @return valid as long as the session manager, or until it is released
     */
    MC_Channel& create(std::string const& name);

    /** Gives back the reference on a record of `create`; the manager's list may still have one. */
    void release(MC_Channel& channel);

    /** @return the record of that name, null when there is none */
    MC_Channel* find(std::string const& name) const;

    /** @return the text with which the manager refused; nothing when it did not */
    std::optional<std::string> perform(Operation operation, MC_Channel& channel);

    /** How often the manager has the channel on its list: it holds a reference for each. */
    static unsigned listings(MC_Channel const& channel);

private:
    void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const& faxTone) override;
    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) override;
    void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) override;
    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const& error) override;

    std::string nameOf(MC_Channel const* channel) const;

    Listener tell;
    MC_Manager* mcManager;
    std::map<MC_Channel const*, std::string> names;
    std::multimap<std::string, MC_Channel*> records;
};

} // namespace gateway

#endif
