#ifndef TESTS_SOAK_WATCH_H
#define TESTS_SOAK_WATCH_H

#include "tests/soak/Client.h"

#include "MC_Observer.h"
#include "imc/IMC_Observer.h"

#include <cstdint>
#include <functional>
#include <utility>

namespace soak {

/**
 * Watches every event from its delivery to its end. One observer of IMC, registered before the
 * manager's, works out what the manager must make of the event; the client's callbacks say what it
 * made; another observer, registered behind the manager's, compares.
 */
class Watch : private MC_Observer {
public:
    Watch(Surroundings& surroundings, Client& client, Calls& calls);
    ~Watch() override;
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;

    /** Deletes the manager and makes a new one. */
    void replaceManager();

    /** What the gateway's configuration says of arming fax-tone detection. */
    bool isFaxDetectionOff = false;

private:
    enum class Callback { none, ack, ackError, dtmf, faxTone };

    class Station : public IMC_Observer {
    public:
        explicit Station(std::function<void(imc_msg const&)> toDo) : task(std::move(toDo)) {}
        void messageEvent(imc_msg const& event) override { task(event); }
        void timeoutEvent(unsigned int) override {}

    private:
        std::function<void(imc_msg const&)> task;
    };

    void startManager();
    void endManager();

    void foresee(imc_msg const& event);
    void foreseeAcknowledgement(imc_msg const& event, VCOM_Direction direction);
    void foreseeForChannel(imc_msg const& event, VCOM_Direction direction, Callback expected);
    bool hasLength(imc_msg const& event, unsigned length);
    void compare();

    /** The callback that is expected came. */
    void met(Callback callback, MC_Channel const* channel, Count count);
    void throwSometimes(std::uint32_t chance);
    void hangUp();

    void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const& faxTone) override;
    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) override;
    void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) override;
    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const& error) override;

    Surroundings& around;
    Client& client;
    Calls& calls;
    Station before;
    Station behind;

    /** What the manager must call back for the event that is being delivered. */
    Callback awaited = Callback::none;
    Leg* leg = nullptr;
    imc_msg const* message = nullptr;
    bool hasThrown = false;
};

} // namespace soak

#endif
