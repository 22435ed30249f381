#include "host/Platform.h"

#include <cstdlib>
#include <utility>

namespace host {

namespace {

constexpr std::uint32_t configurationMessage = 600;

void abortProcess(int /*cause*/) {
    std::abort();
}

} // namespace

Platform& Platform::instance() {
    static Platform& platform = *new Platform;
    return platform;
}

Platform::Platform()
    : log(counters),
      imc(dispatcher, log, counters),
      configurationFile(
          dispatcher, log, counters, [this] { return imc.sid(); },
          [this](Configuration const& configuration) { take(configuration); }) {
    setExitAction(nullptr);
    liveObjects.reset(log);
}

void Platform::setExitAction(std::function<void(int)> action) {
    exitAction = action ? std::move(action) : abortProcess;
}

void Platform::exit(int cause) const {
    // A copy, since the action may replace itself.
    std::function<void(int)> const action = exitAction;
    action(cause);
}

void Platform::announceConfiguration() {
    dispatcher.post([this] {
        imc_msg message{};
        message.sourceSid = imc.sid();
        message.destinationSid = imc.sid();
        message.messageId = configurationMessage;
        imc.receive(message);
    });
}

void Platform::take(Configuration const& configuration) {
    store.replaceFile(configuration.values);
    network.replaceFile(configuration.boards, configuration.interfaces);
    noteworthyValues.replaceFile(configuration.noteworthyValues);
    announceConfiguration();
}

void Platform::reset() {
    configurationFile.forget();
    store = Store();
    network = Network();
    noteworthyValues = NoteworthyValues();
    imc.reset();
    // After the transport, whose end may still add tasks.
    dispatcher.clear();
    setExitAction(nullptr);
    counters.clear();
    log.reset();
    liveObjects.reset(log);
}

} // namespace host
