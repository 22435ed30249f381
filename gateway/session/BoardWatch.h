#ifndef GATEWAY_SESSION_BOARDWATCH_H
#define GATEWAY_SESSION_BOARDWATCH_H

#include "dsp/Service.h"
#include "host/bus/BusDirectory.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** Who serves addresses on the bus, as the bus and the audits tell. */
class BoardWatch {
public:
    struct Peer {
        unsigned char sid = 0;
        host::BusHolder holder{};
        bool isPresent = true;
        /** @name Of its last audit; nothing before the first one */
        /// @{
        std::optional<std::uint64_t> incarnation{};
        std::size_t channels = 0;
        std::size_t open = 0;
        std::size_t others = 0;
        std::chrono::system_clock::time_point audited{};
        /// @}
        bool isSilent = false;

        /** Whether it can have channels: other sessions say that they have none. */
        bool mayBeBoard() const { return !incarnation || channels != 0; }
    };

    void found(unsigned char sid, host::BusHolder const& holder);
    void lost(unsigned char sid);
    /** @param hasForgotten what it knew is gone */
    void returned(unsigned char sid, host::BusHolder const& holder, bool hasForgotten);

    /** An audit was answered. @return whether the board has started anew since the last one */
    bool audited(unsigned char sid, dsp::AuditAnswer const& answer);
    void tellOpen(unsigned char sid, std::size_t open, std::size_t others);
    void silent(unsigned char sid);

    bool isPresent(unsigned char sid) const;
    /** It was there, and is not any more. */
    bool isGone(unsigned char sid) const;

    /** By address; those that may be boards. */
    std::vector<Peer> boards() const;

private:
    std::map<unsigned char, Peer> peers;
};

} // namespace gateway

#endif
