#ifndef CFG_MANAGER_H
#define CFG_MANAGER_H

class IPAddress;

/**
 * The gateway's network configuration. A service that the platform implements; called by the
 * library on the thread of its client. Throws nothing.
 */
class CFG_Manager {
public:
    /** @return whether the address belongs to one of the gateway's voice-over-IP boards */
    static bool isVoIPBoardIP(IPAddress const& address);
};

#endif
