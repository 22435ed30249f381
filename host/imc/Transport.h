#ifndef HOST_TRANSPORT_H
#define HOST_TRANSPORT_H

#include "imc/imc_msg.h"

#include <string>

namespace host {

/** Whoever serves an IMC address: the workstation's own IMC, or a DSP board. */
class Endpoint {
public:
    virtual ~Endpoint() = default;

    /** A message for the address arrived. Called on the thread that runs the dispatch loop. */
    virtual void receive(imc_msg const& message) = 0;
};

/**
 * Watches what a transport carries, such as for a capture. Sees each message once: a message that
 * both leaves and arrives here is seen when it leaves. Throws nothing and sends nothing.
 */
class Tap {
public:
    virtual ~Tap() = default;

    /** A message was taken, as it stands on the bus. Called within `send`. */
    virtual void carried(imc_msg const& message) = 0;

    /** A message was refused, for the reason that its sender is told. Called within `send`. */
    virtual void refused(imc_msg const& message, std::string const& reason) = 0;

    /**
     * A message arrived that another process sent. Called on the loop's thread, before it is
     * delivered; where a transport has no other processes, never.
     */
    virtual void received(imc_msg const& message) { static_cast<void>(message); }
};

/**
 * Carries IMC messages between addresses. Messages of one sender to one receiver arrive in the
 * order in which they were sent. In-process is the default; a bus between processes takes the same
 * place.
 */
class Transport {
public:
    virtual ~Transport() = default;

    /**
     * Serves an address from now on.
     * @param endpoint not owned; stays valid until it is detached
     * @throw std::runtime_error naming the address when somebody serves it already
     */
    virtual void attach(unsigned char sid, Endpoint& endpoint) = 0;

    /** Serves the address no more; what was sent to it and not delivered is dropped and counted. */
    virtual void detach(unsigned char sid) = 0;

    /**
     * Sends the message to its destinationSid. Does not call back into the sender.
     * @throw std::runtime_error naming the address when nobody serves it
     */
    virtual void send(imc_msg const& message) = 0;

    /**
     * Shows each message to the tap from now on; null for none.
     * @param tap not owned; stays valid until it is replaced or the transport is gone
     */
    void setTap(Tap* tap) { watching = tap; }
    /** Null when nobody watches. */
    Tap* tap() const { return watching; }

private:
    Tap* watching = nullptr;
};

} // namespace host

#endif
