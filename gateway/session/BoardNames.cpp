#include "gateway/session/BoardNames.h"

#include "address/IPAddress.h"
#include "config/CFG_Manager.h"
#include "host/Workstation.h"
#include "host/imc/SidText.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <stdexcept>

namespace gateway {

namespace {

/** The IMC address family in which the library looks boards up. */
int const boardFamily = 12;

} // namespace

BoardNames::BoardNames(host::Workstation& itsWorkstation) : workstation(itsWorkstation) {}

void BoardNames::name(std::string const& ip, unsigned char sid) {
    bool const isTaken = std::any_of(names.begin(), names.end(), [&](auto const& each) {
        return each.first == sid || each.second == ip;
    });
    if (isTaken) {
        throw std::invalid_argument("--board " + ip + "=" + host::sidText(sid) +
                                    ": the address or the board is named already");
    }
    workstation.setBoard(ip, sid);
    names[sid] = ip;
}

std::string const& BoardNames::ipOf(unsigned char sid) {
    auto const found = names.find(sid);
    if (found != names.end()) {
        return found->second;
    }
    std::string const ip = "10.0.0." + std::to_string(sid);
    IPAddress const address(ip);
    bool const isTaken = CFG_Manager::isVoIPBoardIP(address) &&
                         IMC_Manager::instance(0xff)->getSid(boardFamily, address) != sid;
    if (isTaken) {
        throw std::runtime_error("board " + host::sidText(sid) + " has no address: " + ip +
                                 " is another board's, expected --board IP=" + host::sidText(sid));
    }
    workstation.setBoard(ip, sid);
    return names[sid] = ip;
}

} // namespace gateway
