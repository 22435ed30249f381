#ifndef GATEWAY_SESSION_SUPERVISION_H
#define GATEWAY_SESSION_SUPERVISION_H

#include <chrono>

namespace gateway {

/** How a session looks after its channels. */
struct Supervision {
    using Milliseconds = std::chrono::milliseconds;

    enum class OnRestart { close, reopen };
    enum class Orphans { close, report };

    /** How long an acknowledgement, or the answer to an audit, may take. */
    Milliseconds ackDeadline{2000};
    /** How long a channel may be half-open. */
    Milliseconds halfOpen{10000};
    /** Between two audits of a board; zero for none but those that are asked for. */
    Milliseconds audit{10000};
    OnRestart onRestart = OnRestart::close;
    Orphans orphans = Orphans::close;
};

} // namespace gateway

#endif
