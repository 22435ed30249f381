#ifndef HOST_TRANSPORT_H
#define HOST_TRANSPORT_H

#include "imc/imc_msg.h"

namespace host {

/** Whoever serves an IMC address: the workstation's own IMC, or a DSP board. */
class Endpoint {
public:
    virtual ~Endpoint() = default;

    /** A message for the address arrived. Called on the thread that runs the dispatch loop. */
    virtual void receive(imc_msg const& message) = 0;
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
};

} // namespace host

#endif
