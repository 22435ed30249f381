#include "host/Workstation.h"

#include "address/IPAddress.h"
#include "host/Platform.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

Platform& platform() {
    return Platform::instance();
}

} // namespace

Workstation::Workstation() = default;

Workstation::~Workstation() = default;

Workstation& Workstation::instance() {
    static Workstation& workstation = *new Workstation;
    return workstation;
}

Dispatcher& Workstation::dispatcher() {
    return platform().dispatcher;
}

Transport& Workstation::transport() {
    return platform().imc.transport();
}

void Workstation::setTransport(std::unique_ptr<Transport> transport) {
    platform().imc.setTransport(std::move(transport));
}

unsigned char Workstation::sid() const {
    return platform().imc.sid();
}

void Workstation::setSid(unsigned char sid) {
    platform().imc.setSid(sid);
}

void Workstation::setBoard(std::string const& ip, unsigned char sid) {
    platform().network.setBoard(IPAddress(ip).GetValue(), sid);
}

void Workstation::clearBoards() {
    platform().network.clearBoards();
}

void Workstation::setInterface(std::string const& name, std::string const& ip) {
    platform().network.setInterface(name, IPAddress(ip).GetValue());
}

void Workstation::typeCommand(std::string const& line, int console, Answer answer) {
    platform().imc.typeCommand(line, console, std::move(answer));
}

void Workstation::loadConfiguration(std::string const& path) {
    platform().configurationFile.load(path);
}

void Workstation::setConfiguration(std::string const& section, std::string const& key,
                                   std::string const& text) {
    platform().store.set(section, key, text);
}

void Workstation::setConfiguration(std::string const& section, std::string const& key,
                                   std::uint8_t byte) {
    platform().store.set(section, key, byte);
}

void Workstation::removeConfiguration(std::string const& section, std::string const& key) {
    platform().store.remove(section, key);
}

void Workstation::announceConfiguration() {
    platform().announceConfiguration();
}

void Workstation::setNoteworthyValue(int number, std::uint8_t value) {
    platform().noteworthyValues.set(number, value);
}

void Workstation::removeNoteworthyValue(int number) {
    platform().noteworthyValues.remove(number);
}

void Workstation::setLogLevel(unsigned int level) {
    platform().log.requestLevel(level);
    platform().dispatcher.apply([] { platform().log.applyLevel(); });
}

unsigned int Workstation::logLevel() const {
    return platform().log.requestedLevel();
}

void Workstation::setLogSink(LogSink sink) {
    platform().log.setSink(std::move(sink));
}

void Workstation::setCollectorTrace(bool on) {
    platform().liveObjects.setTracing(on);
}

std::size_t Workstation::liveObjects() const {
    return platform().liveObjects.count();
}

std::size_t Workstation::faultyDereferences() const {
    return static_cast<std::size_t>(platform().counters.value(Cause::referenceNotHeld));
}

void Workstation::setExitAction(std::function<void(int)> action) {
    platform().setExitAction(std::move(action));
}

std::map<std::string, std::uint64_t> Workstation::counters() const {
    return platform().counters.occurred();
}

void Workstation::reset() {
    platform().reset();
}

} // namespace host
