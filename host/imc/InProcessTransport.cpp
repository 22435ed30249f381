#include "host/imc/InProcessTransport.h"

#include "host/imc/SidText.h"

#include <stdexcept>
#include <string>

namespace host {

InProcessTransport::InProcessTransport(Dispatcher& loop, Counters& faults)
    : dispatcher(loop), counters(faults) {}

InProcessTransport::~InProcessTransport() {
    while (!attachments.empty()) {
        InProcessTransport::detach(attachments.begin()->first);
    }
}

void InProcessTransport::attach(unsigned char sid, Endpoint& endpoint) {
    auto const attachment = std::make_shared<Attachment>(Attachment{&endpoint});
    if (!attachments.emplace(sid, attachment).second) {
        throw std::runtime_error("IMC address " + sidText(sid) + " is served already");
    }
}

void InProcessTransport::detach(unsigned char sid) {
    auto const found = attachments.find(sid);
    if (found != attachments.end()) {
        found->second->endpoint = nullptr;
        attachments.erase(found);
    }
}

void InProcessTransport::send(imc_msg const& message) {
    auto const found = attachments.find(message.destinationSid);
    if (found == attachments.end()) {
        std::string const reason = "nobody serves IMC address " + sidText(message.destinationSid);
        if (tap() != nullptr) {
            tap()->refused(message, reason);
        }
        throw std::runtime_error(reason);
    }
    dispatcher.post([&faults = counters, attachment = found->second, message] {
        if (attachment->endpoint == nullptr) {
            faults.add(Cause::messageDropped);
        } else {
            attachment->endpoint->receive(message);
        }
    });
    if (tap() != nullptr) {
        tap()->carried(message);
    }
}

} // namespace host
