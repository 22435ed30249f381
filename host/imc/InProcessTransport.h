#ifndef HOST_INPROCESSTRANSPORT_H
#define HOST_INPROCESSTRANSPORT_H

#include "host/Counters.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/Transport.h"

#include <map>
#include <memory>

namespace host {

/**
 * Carries messages inside the process, without a server: a message that is sent becomes a task of
 * the dispatch loop. Used on the loop's thread only. May be destroyed while it delivers.
 */
class InProcessTransport : public Transport {
public:
    /** Both have to outlive the transport and the tasks that it leaves in the loop. */
    InProcessTransport(Dispatcher& dispatcher, Counters& counters);
    ~InProcessTransport() override;
    InProcessTransport(InProcessTransport const&) = delete;
    InProcessTransport& operator=(InProcessTransport const&) = delete;

    void attach(unsigned char sid, Endpoint& endpoint) override;
    void detach(unsigned char sid) override;
    void send(imc_msg const& message) override;

private:
    /** Shared with the messages under way, which outlive a detachment. */
    struct Attachment {
        Endpoint* endpoint;
    };

    Dispatcher& dispatcher;
    Counters& counters;
    std::map<unsigned char, std::shared_ptr<Attachment>> attachments;
};

} // namespace host

#endif
