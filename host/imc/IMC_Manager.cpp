#include "imc/IMC_Manager.h"

#include "address/IPAddress.h"
#include "host/Platform.h"
#include "host/Workstation.h"
#include "host/imc/SidText.h"

#include <stdexcept>

namespace {

char const source[] = "host/imc/IMC_Manager";

/** The one manager: a process of the workstation has one, whatever address it is asked for. */
class Manager : public IMC_Manager {};

host::Platform& platform() {
    return host::Platform::instance();
}

} // namespace

std::string const IMC_Manager::prepExitCmd = "IMC_PREPARE_EXIT";

IMC_Manager::IMC_Manager() = default;

IMC_Manager::~IMC_Manager() = default;

IMC_Manager* IMC_Manager::instance(unsigned char /*sid*/) {
    static Manager* const manager = new Manager;
    return manager;
}

void IMC_Manager::coreDumpExit(int cause) {
    platform().log.error("the process ends with a core dump", "cause " + std::to_string(cause),
                         source, __LINE__);
    platform().log.flush();
    platform().exit(cause);
}

void IMC_Manager::registration(IMC_Observer* observer, long messageId) {
    platform().imc.registration(observer, messageId);
}

void IMC_Manager::unregistration(IMC_Observer* observer, long messageId) {
    platform().imc.unregistration(observer, messageId);
}

void IMC_Manager::registration(IMC_CommandObserver* observer, std::string const& word) {
    platform().imc.registration(observer, word);
}

void IMC_Manager::unregistration(IMC_CommandObserver* observer, std::string const& word) {
    platform().imc.unregistration(observer, word);
}

void IMC_Manager::post(imc_msg const& message) {
    try {
        platform().imc.post(message);
    } catch (std::runtime_error const& error) {
        throw std::runtime_error(std::string(error.what()) + ", " +
                                 getStringSid(message.destinationSid));
    }
}

void IMC_Manager::answerCommand(std::string const& text) {
    platform().imc.answerCommand(text);
}

unsigned char IMC_Manager::getSid(int /*family*/, IPAddress const& address) {
    if (auto const sid = platform().network.boardSid(address.GetValue())) {
        return *sid;
    }
    platform().counters.add(host::Cause::unknownBoard);
    if (platform().log.isTracing()) {
        platform().log.trace("board " + std::string(address) +
                                 " is not in the board table, its IMC address is taken as " +
                                 host::sidText(host::Workstation::unknownBoardSid),
                             source, __LINE__);
    }
    return host::Workstation::unknownBoardSid;
}

std::string IMC_Manager::getStringSid(unsigned char sid) const {
    char const* kind = "sid";
    if (platform().network.isBoardSid(sid)) {
        kind = "board";
    } else if (sid == platform().imc.sid()) {
        kind = "local";
    }
    return std::string(kind) + "(" + host::sidText(sid) + ")";
}
