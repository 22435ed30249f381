#include "gateway/msc/Chart.h"

#include "gateway/msc/Pairing.h"

#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Service.h"
#include "dsp/Validator.h"
#include "host/imc/SidText.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <variant>

namespace gateway {

namespace {

std::string const manager = "Session Manager";
std::string const board = "Board";
std::string const unknown = "IMC";

/** Fields that are left out unless all are wanted. */
std::set<std::string> const detailFields = {
    "fax",          "remoteRtcp", "local",      "tick",  "param1",   "param2", "dtmfPt",
    "redundancyPt", "otherBoard", "redundancy", "depth", "noSignal", "ced"};
/** Fields that tell nothing when they are 0. */
std::set<std::string> const zeroFields = {"error", "port"};

/** In words, where a person may not know the number. */
std::string remarkOf(dsp::Field const& field) {
    static std::map<std::string, std::map<std::string, std::string>> const names = {
        {"codec", {{"0", "G.711 A-law"}, {"1", "G.711 mu-law"}, {"3", "G.723.1"}, {"4", "G.729"}}},
        {"digit", {{"10", "*"}, {"11", "#"}, {"12", "A"}, {"13", "B"}, {"14", "C"}, {"15", "D"}}}};
    auto const values = names.find(field.name);
    if (values == names.end()) {
        return field.remark;
    }
    auto const name = values->second.find(field.value);
    return name == values->second.end() ? field.remark : name->second;
}

bool isShown(dsp::Field const& field, bool allFields) {
    bool const saysNothing = zeroFields.count(field.name) != 0 && field.value == "0";
    return allFields || (detailFields.count(field.name) == 0 && !saysNothing);
}

std::string shownFields(std::vector<dsp::Field> fields, bool allFields) {
    fields.erase(std::remove_if(fields.begin(), fields.end(),
                                [=](auto const& each) { return !isShown(each, allFields); }),
                 fields.end());
    for (dsp::Field& field : fields) {
        field.remark = remarkOf(field);
    }
    return dsp::textOf(fields);
}

/** Without what would disturb a terminal or a drawing. */
std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char each) { return each < ' ' || each > '~'; }, '?');
    return text;
}

/** A remark without the marks that join it to what stands before it in one line. */
std::string unwrapped(std::string const& remark) {
    std::string::size_type const begin = remark.find_first_not_of(" :(");
    if (begin == std::string::npos) {
        return "";
    }
    std::string text = remark.substr(begin);
    bool const isBracketed = remark.find('(') != std::string::npos;
    if (isBracketed && text.back() == ')') {
        text.pop_back();
    }
    return text;
}

void addTo(std::string& remarks, std::string const& remark) {
    remarks += remarks.empty() || remark.empty() ? remark : "; " + remark;
}

bool isCommand(imc_msg const& message) {
    return dsp::findCommand(message.messageId) != nullptr;
}

bool isEvent(imc_msg const& message) {
    return dsp::findEvent(message.messageId) != nullptr;
}

bool is(dsp::Service service, imc_msg const& message) {
    return message.messageId == static_cast<std::uint32_t>(service);
}

/** Whether the message is about the DSP channel. */
bool concerns(imc_msg const& message, unsigned dsp) {
    return (isCommand(message) || isEvent(message) || is(dsp::Service::order, message)) &&
           message.length != 0 && message.payload[0] == dsp;
}

/** What a session asks its boards again and again, and what they answer: no part of a call. */
bool isAudit(CaptureRecord const& record) {
    imc_msg const message = messageOf(record);
    return (is(dsp::Service::auditRequest, message) || is(dsp::Service::auditAnswer, message)) &&
           isWellFormed(record) && !record.isRefused;
}

bool isWanted(CaptureRecord const& record, ChartOptions const& options) {
    if (!hasHeader(record)) {
        return !options.dsp && !options.sid;
    }
    if (!options.audits && isAudit(record)) {
        return false;
    }
    imc_msg const message = messageOf(record);
    bool const isSid =
        !options.sid || message.sourceSid == *options.sid || message.destinationSid == *options.sid;
    return isSid && (!options.dsp || concerns(message, *options.dsp));
}

/** Whoever takes commands or sends events is a board; the one at the other end a manager. */
class Roles {
public:
    void see(imc_msg const& message) {
        if (isCommand(message) || isEvent(message)) {
            bool const isTold = isCommand(message);
            boards.insert(isTold ? message.destinationSid : message.sourceSid);
            managers.insert(isTold ? message.sourceSid : message.destinationSid);
        }
        all.insert(message.sourceSid);
        all.insert(message.destinationSid);
    }

    std::vector<ChartInstance> instances() const {
        std::vector<ChartInstance> result;
        for (std::uint8_t const sid : all) {
            result.push_back({sid, roleOf(sid)});
        }
        std::stable_partition(result.begin(), result.end(),
                              [](auto const& each) { return each.role == manager; });
        return result;
    }

private:
    std::string roleOf(std::uint8_t sid) const {
        if (boards.count(sid) != 0) {
            return board;
        }
        return managers.count(sid) != 0 ? manager : unknown;
    }

    std::set<std::uint8_t> boards;
    std::set<std::uint8_t> managers;
    std::set<std::uint8_t> all;
};

std::size_t placeOf(std::vector<ChartInstance> const& instances, std::uint8_t sid) {
    auto const found = std::find_if(instances.begin(), instances.end(),
                                    [sid](auto const& each) { return each.sid == sid; });
    return static_cast<std::size_t>(found - instances.begin());
}

/** What no board takes of a command, whatever its state; empty when there is nothing. */
std::string badValueOf(CaptureRecord const& record) {
    imc_msg const message = messageOf(record);
    dsp::CommandKind const* const kind = dsp::findCommand(message.messageId);
    auto const decoded =
        kind == nullptr || isCutShort(record) ? std::nullopt : dsp::decodeCommand(*kind, message);
    if (!decoded) {
        return "";
    }
    if (std::holds_alternative<dsp::SetUnknown>(decoded->command)) {
        return "unknown parameter";
    }
    unsigned const mostChannels = 256;
    std::string const bad = dsp::findBadValue(decoded->command, mostChannels);
    return bad.empty() ? "" : "no board takes " + bad;
}

ChartMessage::Kind kindOf(CaptureRecord const& record, dsp::Description const& description) {
    auto const error = std::find_if(description.fields.begin(), description.fields.end(),
                                    [](auto const& each) { return each.name == "error"; });
    // Not that of an order, which asks for an error.
    bool const isError =
        error != description.fields.end() && error->value != "0" && isEvent(messageOf(record));
    if (!isWellFormed(record) || !description.remark.empty() || isError) {
        return ChartMessage::Kind::faulty;
    }
    return isCommand(messageOf(record)) ? ChartMessage::Kind::command : ChartMessage::Kind::event;
}

ChartMessage messageOf(CaptureRecord const& record, bool allFields) {
    dsp::Description const description = describe(record);
    ChartMessage message;
    message.number = record.number;
    message.kind = kindOf(record, description);
    message.name = description.name;
    message.fields = shownFields(description.fields, allFields);
    message.remark = unwrapped(description.remark);
    message.isLost = record.isRefused;
    std::string const badValue = badValueOf(record);
    addTo(message.remark, badValue);
    addTo(message.remark, printable(record.comment));
    if (message.isLost || !badValue.empty()) {
        message.kind = ChartMessage::Kind::faulty;
    }
    return message;
}

void remark(std::vector<ChartMessage>& messages, std::vector<std::size_t> const& which,
            char const* text) {
    for (std::size_t const each : which) {
        addTo(messages[each].remark, text);
        messages[each].kind = ChartMessage::Kind::faulty;
    }
}

/** Before the choice: an acknowledgement's delay does not depend on what is shown. */
std::vector<ChartMessage> allMessages(std::vector<CaptureRecord> const& records, bool allFields) {
    std::vector<ChartMessage> messages;
    for (CaptureRecord const& record : records) {
        messages.push_back(messageOf(record, allFields));
        messages.back().time = record.time - records.front().time;
    }
    Pairing const pairing = pair(records);
    for (auto const& [acknowledgement, command] : pairing.commandOf) {
        messages[acknowledgement].delay = records[acknowledgement].time - records[command].time;
    }
    remark(messages, pairing.unanswered, "not acknowledged");
    remark(messages, pairing.unexpected, "acknowledges nothing");
    return messages;
}

} // namespace

Chart makeChart(std::vector<CaptureRecord> const& records, ChartOptions const& options) {
    std::vector<ChartMessage> const messages = allMessages(records, options.allFields);
    Roles roles;
    for (CaptureRecord const& record : records) {
        if (hasHeader(record) && isWanted(record, options)) {
            roles.see(messageOf(record));
        }
    }
    Chart chart;
    chart.instances = roles.instances();
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!isWanted(records[i], options)) {
            continue;
        }
        chart.messages.push_back(messages[i]);
        if (hasHeader(records[i])) {
            imc_msg const message = messageOf(records[i]);
            chart.messages.back().from = placeOf(chart.instances, message.sourceSid);
            chart.messages.back().to = placeOf(chart.instances, message.destinationSid);
        }
    }
    return chart;
}

std::optional<std::chrono::nanoseconds> pauseBefore(Chart const& chart, std::size_t message) {
    if (message == 0) {
        return {};
    }
    auto const pause = chart.messages[message].time - chart.messages[message - 1].time;
    return pause >= std::chrono::seconds(1) ? std::optional(pause) : std::nullopt;
}

std::string millisecondsText(std::chrono::nanoseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(time.count()) / 1e6);
    return text;
}

std::string detailsOf(ChartMessage const& message) {
    std::string details = message.fields.empty() ? "" : message.fields.substr(1);
    if (!message.delay) {
        return details;
    }
    return details + (details.empty() ? "(after " : " (after ") + millisecondsText(*message.delay) +
           " ms)";
}

std::string addressOf(ChartInstance const& instance) {
    return host::sidText(instance.sid);
}

} // namespace gateway
