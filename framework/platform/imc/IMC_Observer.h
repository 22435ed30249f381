#ifndef IMC_OBSERVER_H
#define IMC_OBSERVER_H

#include "imc/imc_msg.h"

/**
 * Receiver of IMC messages. Its client derives from it and registers an object with
 * IMC_Manager::registration; the client keeps the object and unregisters it before its end.
 *
 * Both events are called by the platform on the thread that delivers IMC messages, one at a time.
 * The destructor is defined by the platform.
 */
class IMC_Observer {
public:
    virtual ~IMC_Observer();

    /**
     * A message arrived whose identifier this observer is registered for.
     * @param message the message; valid during the call only
     *
     * An exception that leaves this operation is a fault of the observer; the platform may end the
     * process.
     */
    virtual void messageEvent(imc_msg const& message) = 0;

    /**
     * A timer of the platform expired. The media channel library starts none.
     * @param timer the platform's identification of the timer
     */
    virtual void timeoutEvent(unsigned int timer) = 0;
};

#endif
