#include "MC_Config.h"

#include "config/CFG_Store.h"
#include "debug/DBG_NoteworthyValueMgr.h"

#include <cstring>

namespace {

/** Number of the noteworthy value that keeps fax-tone detection from being armed. */
int const noFaxDetectionValue = 5;

bool contains(char const* text, char const* word) {
    return std::strstr(text, word) != NULL;
}

} // namespace

MC_Config::MC_Config()
    : faxProtocol(VCOM_FAXTRANSPORT_UDP),
      faxProtocolSet(false),
      rtpTickRequest(0),
      noteworthyFlag(false) {}

MC_Config::~MC_Config() {}

void MC_Config::readConfiguration() {
    char text[CFG_TEXT_SIZE] = "";
    int count = 1;
    // A lost fax transport leaves the last one in force; a lost tick request switches it off.
    faxProtocolSet = get("/current//gw_priv", "fax_proto", text, CFG_TYPE_TEXT, &count) == 0;
    if (faxProtocolSet) {
        text[CFG_TEXT_SIZE - 1] = '\0';
        if (contains(text, "udp")) {
            faxProtocol = VCOM_FAXTRANSPORT_UDP;
        } else if (contains(text, "tcp")) {
            faxProtocol = VCOM_FAXTRANSPORT_TCP;
        }
    }

    count = 1;
    if (get("/current//gateway", "rtptick_request", &rtpTickRequest, CFG_TYPE_BYTE, &count) != 0) {
        rtpTickRequest = 0;
    }

    unsigned char value = 0;
    DBG_NoteworthyValueMgr::instance()->getValue(noFaxDetectionValue, &value, sizeof value);
    noteworthyFlag = value == 1;
}

void MC_Config::refresh() {
    readConfiguration();
}

void MC_Config::messageEvent(imc_msg const&) {
    refresh();
}

void MC_Config::timeoutEvent(unsigned int) {}
