#include "gateway/MessageJson.h"

#include <algorithm>

namespace gateway {

namespace {

/** Numbers as numbers; a channel's name stays a text, whatever it is made of. */
Report::Json toJson(dsp::Field const& field) {
    bool const isNumber = field.name != "channel" && !field.value.empty() &&
                          field.value.size() <= 10 &&
                          std::all_of(field.value.begin(), field.value.end(),
                                      [](char each) { return '0' <= each && each <= '9'; });
    return isNumber ? Report::Json(std::stoull(field.value)) : Report::Json(field.value);
}

} // namespace

Report::Json toJson(Message const& message) {
    Report::Json fields = Report::Json::object();
    for (dsp::Field const& field : message.fields) {
        fields[field.name] = toJson(field);
        if (!field.remark.empty()) {
            fields[field.name + "Name"] = field.remark;
        }
    }
    return {{"name", message.name}, {"fields", fields}, {"text", message.text()}};
}

} // namespace gateway
