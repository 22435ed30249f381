#ifndef GATEWAY_LOAD_LIBRARYCLIENT_H
#define GATEWAY_LOAD_LIBRARYCLIENT_H

#include "gateway/load/CycleDriver.h"

#include "MC_Manager.h"
#include "MC_Observer.h"
#include "imc/IMC_Observer.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace gateway {

/**
 * A client of the media channel library that does as little as a client can: one channel record for
 * each path, and a count of the callbacks. The acknowledgement of a closing reaches the library's
 * client without its channel, which is off the list by then; so this takes acknowledgements from
 * IMC itself, each after the library has handled it.
 */
class LibraryClient : public CycleOperations, private MC_Observer {
public:
    /** @param handling how long the library took to handle the event; none unless it is timed */
    using Listener =
        std::function<void(PathAcknowledged const& what, std::chrono::nanoseconds handling)>;

    /**
     * Builds the manager and registers with it, and makes the records. The boards' addresses have
     * to be 10.0.0.SID.
     * @param paths outlive the client
     */
    LibraryClient(std::vector<MediaPath> const& paths, Listener listener, bool isTimingEvents);
    ~LibraryClient() override;
    LibraryClient(LibraryClient const&) = delete;
    LibraryClient& operator=(LibraryClient const&) = delete;

    void open(std::size_t path) override;
    void update(std::size_t path) override;
    void close(std::size_t path) override;

    /** @name Callbacks of the library */
    /// @{
    std::uint64_t ackEvents() const { return acks; }
    /** All without a channel, as for closings. */
    std::uint64_t ackErrorEvents() const { return ackErrors; }
    /// @}

private:
    /** Hands each of the acknowledgements on. */
    class Acknowledgements : public IMC_Observer {
    public:
        explicit Acknowledgements(std::function<void(imc_msg const&)> listener);
        ~Acknowledgements() override;

        void messageEvent(imc_msg const& message) override { tell(message); }
        void timeoutEvent(unsigned int) override {}

    private:
        std::function<void(imc_msg const&)> tell;
    };

    void faxToneEvent(MC_Channel*, MC_FaxTone const&) override {}
    void ackEvent(MC_Channel*, MC_Acknowledge const&) override { ++acks; }
    void dtmfEvent(MC_Channel*, MC_Dtmf const&) override {}
    void ackErrorEvent(MC_Channel*, MC_AckError const&) override { ++ackErrors; }

    MC_Channel* record(MediaPath const& path);
    void handled(imc_msg const& event);

    Listener tell;
    /** Called before the library, since it is registered first. */
    std::unique_ptr<Acknowledgements> before;
    CycleDriver::Clock::time_point arrival{};
    bool isTiming;
    MC_Manager* manager;
    std::unique_ptr<Acknowledgements> after;
    std::vector<MC_Channel*> channels;
    std::uint64_t acks = 0;
    std::uint64_t ackErrors = 0;
};

/** The address of a board by which the library's records know it: 10.0.0.SID. */
std::string boardIp(std::uint8_t sid);

} // namespace gateway

#endif
