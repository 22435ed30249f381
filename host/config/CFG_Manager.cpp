#include "config/CFG_Manager.h"

#include "address/IPAddress.h"
#include "host/Platform.h"

bool CFG_Manager::isVoIPBoardIP(IPAddress const& address) {
    return host::Platform::instance().network.boardSid(address.GetValue()).has_value();
}
