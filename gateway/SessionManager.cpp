#include "gateway/SessionManager.h"

#include "collector/GC_GarbageCollector.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace gateway {

SessionManager::SessionManager(Listener listener)
    : tell(std::move(listener)), mcManager(MC_Manager::instance()) {
    mcManager->registration(this);
}

SessionManager::~SessionManager() {
    mcManager->unregistration(this);
    delete mcManager;
    for (auto const& [name, channel] : records) {
        GC_GarbageCollector::instance()->dereference(channel);
    }
}

MC_Channel& SessionManager::create(std::string const& name) {
    MC_Channel* const channel = mcManager->factory();
    channel->joinDsp = 0;
    channel->faxRedundancy = 0;
    channel->faxDepth = 0;
    records.emplace(name, channel);
    names.emplace(channel, name);
    return *channel;
}

void SessionManager::release(MC_Channel& channel) {
    auto const found = names.find(&channel);
    if (found == names.end()) {
        return;
    }
    auto const [first, last] = records.equal_range(found->second);
    records.erase(std::find_if(first, last,
                               [&channel](auto const& each) { return each.second == &channel; }));
    names.erase(found);
    GC_GarbageCollector::instance()->dereference(&channel);
}

MC_Channel* SessionManager::find(std::string const& name) const {
    auto const found = records.find(name);
    return found == records.end() ? nullptr : found->second;
}

std::optional<std::string> SessionManager::perform(Operation operation, MC_Channel& channel) {
    try {
        (mcManager->*operation)(&channel);
        return std::nullopt;
    } catch (std::runtime_error const& refusal) {
        return refusal.what();
    } catch (std::invalid_argument const& misuse) {
        return misuse.what();
    }
}

unsigned SessionManager::listings(MC_Channel const& channel) {
    return channel.referenceCount - 1;
}

std::string SessionManager::nameOf(MC_Channel const* channel) const {
    auto const found = names.find(channel);
    return found == names.end() ? "none" : found->second;
}

void SessionManager::faxToneEvent(MC_Channel* pChannel, MC_FaxTone const& /*faxTone*/) {
    tell({"faxToneEvent", {{"channel", nameOf(pChannel)}}});
}

void SessionManager::ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) {
    tell({"ackEvent",
          {{"channel", nameOf(pChannel)},
           {"error", std::to_string(acknowledge.error)},
           {"port", std::to_string(acknowledge.localPort)}}});
}

void SessionManager::dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) {
    tell({"dtmfEvent",
          {{"channel", nameOf(pChannel)},
           {"digit", std::to_string(dtmf.digit)},
           {"duration", std::to_string(dtmf.duration) + "ms"}}});
}

void SessionManager::ackErrorEvent(MC_Channel* pChannel, MC_AckError const& /*error*/) {
    tell({"ackErrorEvent", {{"channel", nameOf(pChannel)}}});
}

} // namespace gateway
