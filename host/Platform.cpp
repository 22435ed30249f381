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
      configurationFile(dispatcher, log, counters,
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
    for (auto const& entry : taken.values) {
        store.remove(entry.first.first, entry.first.second);
    }
    for (auto const& entry : taken.boards) {
        network.removeBoard(entry.first);
    }
    for (auto const& entry : taken.interfaces) {
        network.removeInterface(entry.first);
    }
    for (auto const& entry : taken.noteworthyValues) {
        noteworthyValues.remove(entry.first);
    }
    for (auto const& entry : configuration.values) {
        store.set(entry.first.first, entry.first.second, entry.second);
    }
    for (auto const& entry : configuration.boards) {
        network.setBoard(entry.first, entry.second);
    }
    for (auto const& entry : configuration.interfaces) {
        network.setInterface(entry.first, entry.second);
    }
    for (auto const& entry : configuration.noteworthyValues) {
        noteworthyValues.set(entry.first, entry.second);
    }
    taken = configuration;
    announceConfiguration();
}

void Platform::reset() {
    configurationFile.forget();
    taken = Configuration();
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
