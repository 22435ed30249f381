#include "gateway/session/Journal.h"

#include "gateway/Message.h"
#include "gateway/MessageJson.h"

#include "host/Text.h"
#include "host/imc/SidText.h"

#include <utility>

namespace gateway {

void Journal::entry(std::string const& kind, std::string const& text, Json details) {
    std::string const plain = host::withoutNul(text);
    details["text"] = plain;
    report.entry(kind, plain, details);
    if (tell) {
        Json told = {{"type", kind}, {"text", plain}};
        told.update(details);
        tell(told);
    }
}

void Journal::entry(SessionCause cause, std::string const& kind, std::string const& text,
                    Json details) {
    count(cause);
    entry(kind, text, std::move(details));
}

void Journal::command(imc_msg const& message) {
    if (showsCommands) {
        Message const command = describe(message, "to", host::sidText(message.destinationSid));
        report.entry("command", command.text(), toJson(command));
    }
}

} // namespace gateway
