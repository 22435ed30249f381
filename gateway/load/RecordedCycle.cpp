#include "gateway/load/RecordedCycle.h"

namespace gateway {

CycleRecorder::CycleRecorder(CycleOperations& does, std::vector<MediaPath> const& all,
                             host::Transport& carrier)
    : operations(does), paths(all), transport(carrier), before(transport.tap()) {
    transport.setTap(this);
}

CycleRecorder::~CycleRecorder() {
    transport.setTap(before);
}

std::vector<imc_msg>& CycleRecorder::fresh(std::size_t path,
                                           std::vector<imc_msg> RecordedCycle::*part) {
    auto& messages = recorded[static_cast<std::size_t>(paths[path].direction)].*part;
    messages.clear();
    return messages;
}

void CycleRecorder::open(std::size_t path) {
    current = &fresh(path, &RecordedCycle::open);
    operations.open(path);
    current = nullptr;
}

void CycleRecorder::update(std::size_t path) {
    current = &fresh(path, &RecordedCycle::update);
    operations.update(path);
    current = nullptr;
}

void CycleRecorder::close(std::size_t path) {
    current = &fresh(path, &RecordedCycle::close);
    operations.close(path);
    current = nullptr;
}

void CycleRecorder::carried(imc_msg const& message) {
    if (current != nullptr) {
        current->push_back(message);
    }
    if (before != nullptr) {
        before->carried(message);
    }
}

void CycleRecorder::refused(imc_msg const& message, std::string const& reason) {
    if (before != nullptr) {
        before->refused(message, reason);
    }
}

void CycleRecorder::received(imc_msg const& message) {
    if (before != nullptr) {
        before->received(message);
    }
}

imc_msg patched(imc_msg const& message, MediaPath const& path, std::uint8_t sourceSid) {
    imc_msg result = message;
    result.sourceSid = sourceSid;
    result.destinationSid = path.sid;
    // Every command starts with the number of its DSP channel.
    result.payload[0] = path.dsp;
    return result;
}

PlayedCycles::PlayedCycles(host::Transport& carrier, std::uint8_t ownSid,
                           std::vector<MediaPath> const& all, RecordedCycles const& recorded)
    : transport(carrier), sid(ownSid), paths(all), cycles(recorded) {}

RecordedCycle const& PlayedCycles::cycleOf(std::size_t path) const {
    return cycles[static_cast<std::size_t>(paths[path].direction)];
}

void PlayedCycles::play(std::vector<imc_msg> const& messages, std::size_t path) {
    for (imc_msg const& message : messages) {
        transport.send(patched(message, paths[path], sid));
    }
}

void PlayedCycles::open(std::size_t path) {
    play(cycleOf(path).open, path);
}

void PlayedCycles::update(std::size_t path) {
    play(cycleOf(path).update, path);
}

void PlayedCycles::close(std::size_t path) {
    play(cycleOf(path).close, path);
}

} // namespace gateway
