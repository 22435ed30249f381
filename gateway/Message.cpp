#include "gateway/Message.h"

#include "gateway/Text.h"

#include <algorithm>
#include <cctype>

namespace gateway {

namespace {

using Words = std::vector<std::string>;

struct Entry {
    std::string name;
    Words fields;
};

Words const acknowledgeFields = {"dsp", "error", "port", "from"};

std::vector<Entry> const commandEntries = {
    {"OpenVoice in",
     {"dsp", "codec", "fax", "remote", "remoteRtcp", "local", "tick", "param1", "param2", "dtmfPt",
      "redundancyPt", "to"}},
    {"OpenVoice out",
     {"dsp", "codec", "fax", "remote", "remoteRtcp", "local", "dtmfPt", "redundancyPt", "to"}},
    {"UpdateVoice in", {"dsp", "remote", "remoteRtcp", "local", "dtmfPt", "redundancyPt", "to"}},
    {"UpdateVoice out", {"dsp", "remote", "remoteRtcp", "local", "dtmfPt", "redundancyPt", "to"}},
    {"CloseVoice in", {"dsp", "to"}},
    {"CloseVoice out", {"dsp", "to"}},
    {"SetParameter",
     {"dsp", "SILENCE_COMPRESSION", "DIGIT_DETECTION", "PACKET_LENGTH", "FAX_T38", "to"}},
    {"OpenFax in", {"dsp", "protocol", "to"}},
    {"OpenFax out", {"dsp", "protocol", "remote", "redundancy", "depth", "noSignal", "ced", "to"}},
    {"CloseFax in", {"dsp", "to"}},
    {"CloseFax out", {"dsp", "to"}},
    {"Join", {"dsp", "peer", "board", "otherBoard", "to"}},
    {"Unjoin", {"dsp", "to"}},
};

std::vector<Entry> const eventEntries = {
    {"OpenVoiceAck in", acknowledgeFields},
    {"OpenVoiceAck out", acknowledgeFields},
    {"CloseVoiceAck in", acknowledgeFields},
    {"CloseVoiceAck out", acknowledgeFields},
    {"OpenFaxAck in", acknowledgeFields},
    {"OpenFaxAck out", acknowledgeFields},
    {"CloseFaxAck in", acknowledgeFields},
    {"CloseFaxAck out", acknowledgeFields},
    {"Dtmf in", {"dsp", "digit", "duration", "from"}},
    {"Dtmf out", {"dsp", "digit", "duration", "from"}},
    {"FaxTone", {"dsp", "from"}},
    {"Alert in", {"dsp", "value", "from"}},
    {"Alert out", {"dsp", "value", "from"}},
};

std::vector<Entry> const callbackEntries = {
    {"ackEvent", {"channel", "error", "port"}},
    {"ackErrorEvent", {"channel"}},
    {"dtmfEvent", {"channel", "digit", "duration"}},
    {"faxToneEvent", {"channel"}},
};

std::vector<Entry> const& entriesOf(Vocabulary vocabulary) {
    switch (vocabulary) {
    case Vocabulary::commands:
        return commandEntries;
    case Vocabulary::events:
        return eventEntries;
    case Vocabulary::callbacks:
        break;
    }
    return callbackEntries;
}

Words namesOf(std::vector<Entry> const& entries) {
    Words names;
    for (Entry const& entry : entries) {
        names.push_back(entry.name);
    }
    return names;
}

bool isWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

/** Where the field name that ends at `equals` starts, if it is one with a blank before it. */
std::string::size_type startOfName(std::string const& text, std::string::size_type equals) {
    std::string::size_type start = equals;
    while (start > 0 && isWordCharacter(text[start - 1])) {
        --start;
    }
    bool const isName = start < equals && start > 0 && text[start - 1] == ' ';
    return isName ? start : std::string::npos;
}

std::string trimmed(std::string const& text) {
    std::string::size_type const first = text.find_first_not_of(' ');
    std::string::size_type const last = text.find_last_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

/** Parts a value from the remark in parentheses that may follow it: "2(already open)". */
void setValue(dsp::Field& field, std::string const& text) {
    std::string::size_type const open = text.find('(');
    field.value = trimmed(text.substr(0, open));
    if (open != std::string::npos) {
        field.remark = text.substr(open + 1, text.find(')', open) - open - 1);
    }
}

std::string unknownField(std::string const& field, Entry const& of) {
    return "unknown field \"" + field + "\" of " + of.name + ": expected one of " +
           joined(of.fields);
}

std::string missingValue(std::string const& field, Entry const& of) {
    return "field \"" + field + "\" of " + of.name + " has no value: expected " + field + "=VALUE";
}

} // namespace

std::string const* Message::find(std::string const& field) const {
    auto const found = std::find_if(fields.begin(), fields.end(),
                                    [&field](auto const& each) { return each.name == field; });
    return found == fields.end() ? nullptr : &found->value;
}

std::string Message::text() const {
    return name + dsp::textOf(fields) + remark;
}

Message describe(imc_msg const& message, std::string const& role, std::string const& board) {
    dsp::Description const description = dsp::fields(message);
    Message described = {description.name, description.fields, description.remark};
    described.fields.push_back({role, board});
    return described;
}

Message parseMessage(std::string const& text) {
    Message message;
    std::string::size_type valueStart = 0;
    auto const closePiece = [&](std::string::size_type end) {
        std::string const piece = trimmed(text.substr(valueStart, end - valueStart));
        if (message.fields.empty()) {
            message.name = piece;
        } else {
            setValue(message.fields.back(), piece);
        }
    };
    for (auto equals = text.find('='); equals != std::string::npos;
         equals = text.find('=', equals + 1)) {
        auto const start = startOfName(text, equals);
        if (start != std::string::npos) {
            closePiece(start);
            message.fields.push_back({text.substr(start, equals - start), ""});
            valueStart = equals + 1;
        }
    }
    closePiece(text.size());
    return message;
}

bool matches(Message const& pattern, Message const& seen) {
    return pattern.name == seen.name &&
           std::all_of(pattern.fields.begin(), pattern.fields.end(), [&seen](auto const& wanted) {
               std::string const* const value = seen.find(wanted.name);
               return value != nullptr && *value == wanted.value;
           });
}

std::string faultOf(Message const& pattern, Vocabulary vocabulary) {
    auto const& entries = entriesOf(vocabulary);
    auto const entry = std::find_if(entries.begin(), entries.end(), [&pattern](Entry const& each) {
        return each.name == pattern.name;
    });
    if (entry == entries.end()) {
        return "unknown name \"" + pattern.name + "\": expected one of " + joined(namesOf(entries));
    }
    for (dsp::Field const& field : pattern.fields) {
        if (std::count(entry->fields.begin(), entry->fields.end(), field.name) == 0) {
            return unknownField(field.name, *entry);
        }
        if (field.value.empty()) {
            return missingValue(field.name, *entry);
        }
    }
    return "";
}

} // namespace gateway
