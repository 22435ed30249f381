#ifndef MC_CONFIG_H
#define MC_CONFIG_H

#include "imc/IMC_Observer.h"
#include "voice/VCOM_Types.h"

#include <cstdint>

/**
 * The gateway settings that change how DSPs are driven. They hold their defaults until the
 * configuration service sends its message (IMC identifier 600); each such message reads them all
 * again.
 */
class MC_Config : public IMC_Observer {
public:
    /** Sets the defaults; reads nothing. */
    MC_Config();
    ~MC_Config() override;

    /** Reads all settings. A setting that can't be read is no error. */
    void readConfiguration();

    void refresh();

    /** Reads all settings, whatever the message holds. */
    void messageEvent(imc_msg const& message) override;

    /** Does nothing. */
    void timeoutEvent(unsigned int timer) override;

    /** Transport of T.38 fax. Keeps its last value when it can't be read. */
    VCOM_FaxTransport faxProtocol;
    /** Whether a transport of fax is configured. */
    bool faxProtocolSet;
    /** Sent when a voice path of direction 1 opens; 0 when it can't be read. */
    std::uint8_t rtpTickRequest;
    /** Debug switch: opening a channel never arms fax-tone detection. */
    bool noteworthyFlag;
};

#endif
