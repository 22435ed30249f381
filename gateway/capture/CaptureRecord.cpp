#include "gateway/capture/CaptureRecord.h"

#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Service.h"

#include <algorithm>
#include <cstring>

namespace gateway {

namespace {

/** Null when no command or event has the identifier. */
dsp::Kind const* kindOf(imc_msg const& message) {
    dsp::Kind const* const command = dsp::findCommand(message.messageId);
    return command != nullptr ? command : dsp::findEvent(message.messageId);
}

std::string sizeRemark(std::string const& before, CaptureRecord const& record) {
    return before + "record of " + std::to_string(record.bytes.size()) + " bytes, not " +
           std::to_string(sizeof(imc_msg));
}

std::string nameOf(imc_msg const& message) {
    dsp::Kind const* const kind = kindOf(message);
    if (kind != nullptr) {
        return dsp::title(*kind) + " malformed";
    }
    char const* const service = dsp::serviceName(message.messageId);
    return service != nullptr ? std::string(service) + " malformed"
                              : "unknown message " + std::to_string(message.messageId);
}

} // namespace

imc_msg messageOf(CaptureRecord const& record) {
    imc_msg message{};
    if (!record.bytes.empty()) {
        std::memcpy(&message, record.bytes.data(), std::min(record.bytes.size(), sizeof message));
    }
    return message;
}

bool isCutShort(CaptureRecord const& record) {
    return !hasHeader(record) || record.bytes.size() < headerSize + messageOf(record).length;
}

dsp::Description describe(CaptureRecord const& record) {
    if (!hasHeader(record)) {
        return {"malformed record", {}, sizeRemark(": ", record)};
    }
    imc_msg const message = messageOf(record);
    bool const isWhole = record.bytes.size() == sizeof message;
    if (!isWhole && isCutShort(record)) {
        return {nameOf(message), {}, sizeRemark(": ", record)};
    }
    dsp::Description description = dsp::fields(message);
    if (!isWhole) {
        description.remark += sizeRemark(" (", record) + ")";
    }
    return description;
}

bool isWellFormed(CaptureRecord const& record) {
    imc_msg const message = messageOf(record);
    dsp::Kind const* const kind = kindOf(message);
    bool const hasRightLength = kind != nullptr ? message.length == kind->length
                                                : dsp::decodeAuditRequest(message) ||
                                                      dsp::decodeAuditAnswer(message) ||
                                                      dsp::decodeOrder(message);
    return record.bytes.size() == sizeof message && hasRightLength;
}

} // namespace gateway
