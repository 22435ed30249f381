#include "gateway/msc/Pairing.h"

#include "dsp/Commands.h"
#include "dsp/Events.h"

#include <cstdint>
#include <deque>
#include <tuple>
#include <variant>

namespace gateway {

namespace {

/** Sender and receiver of the command, its identifier, DSP channel. */
using Key = std::tuple<std::uint8_t, std::uint8_t, std::uint32_t, std::uint8_t>;

bool wantsAcknowledgement(CaptureRecord const& record, imc_msg const& message) {
    dsp::CommandKind const* const kind = dsp::findCommand(message.messageId);
    bool const namesChannel = message.length != 0 && record.bytes.size() > headerSize;
    return kind != nullptr && kind->acknowledged && namesChannel && !record.isRefused;
}

} // namespace

Pairing pair(std::vector<CaptureRecord> const& records) {
    Pairing result;
    std::map<Key, std::deque<std::size_t>> waiting;
    for (std::size_t i = 0; i < records.size(); ++i) {
        imc_msg const message = messageOf(records[i]);
        if (wantsAcknowledgement(records[i], message)) {
            waiting[{message.sourceSid, message.destinationSid, message.messageId,
                     message.payload[0]}]
                .push_back(i);
            continue;
        }
        auto const event = dsp::decodeEvent(message);
        auto const* const done = event ? std::get_if<dsp::Acknowledge>(&*event) : nullptr;
        if (done == nullptr || isCutShort(records[i])) {
            continue;
        }
        auto& commands =
            waiting[{message.destinationSid, message.sourceSid, done->command, done->dsp}];
        if (commands.empty()) {
            result.unexpected.push_back(i);
        } else {
            result.commandOf[i] = commands.front();
            commands.pop_front();
        }
    }
    for (auto const& [key, commands] : waiting) {
        result.unanswered.insert(result.unanswered.end(), commands.begin(), commands.end());
    }
    return result;
}

} // namespace gateway
