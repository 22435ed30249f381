#include "gateway/FaultRule.h"

#include "gateway/Text.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace gateway {

char const faultRuleHelp[] =
    R"(A fault is ACTION[:MESSAGES[=VALUE]][:KEY=VALUE]...

  drop:open:every=10          every tenth open command does not reach the board
  delay:ack:ms=500:every=3    every third acknowledgement comes half a second late
  duplicate:ack               each acknowledgement comes twice
  length:ack=20               the length field of each acknowledgement says 20
  error:open=5:count=1        the first open command is refused with error 5
  restart:after=100           after 100 commands the board starts anew, once
  drop:audit:sid=0x10         audits of board 0x10 are lost

  ACTION    drop, delay, duplicate, length, error, restart
  MESSAGES  command, open, update, close, set, join, unjoin; event, ack, dtmf, faxtone, alert;
            audit, order; or one name, such as OpenFax or CloseVoiceAck; command unless it is
            told
  KEY       sid, dsp, direction: only messages of this board, DSP channel, direction
            after: spare the first; every: only each Nth; count: at most so many (1 for restart)
            percent, seed: by chance, the same for the same seed; ms: of delay)";

namespace {

using Action = FaultRule::Action;
using Words = std::vector<std::string>;

struct ActionWord {
    char const* word;
    Action action;
    bool takesValue;
};

ActionWord const actionWords[] = {
    {"drop", Action::drop, false},           {"delay", Action::delay, false},
    {"duplicate", Action::duplicate, false}, {"length", Action::length, true},
    {"error", Action::error, true},          {"restart", Action::restart, false},
};

struct Selector {
    std::string word;
    Traffic traffic;
    Words names;
};

std::vector<Selector> const& selectors() {
    static std::vector<Selector> const table = {
        {"command", Traffic::command, {}},
        {"open", Traffic::command, {"OpenVoice", "OpenFax"}},
        {"update", Traffic::command, {"UpdateVoice"}},
        {"close", Traffic::command, {"CloseVoice", "CloseFax"}},
        {"set", Traffic::command, {"SetParameter"}},
        {"join", Traffic::command, {"Join"}},
        {"unjoin", Traffic::command, {"Unjoin"}},
        {"OpenVoice", Traffic::command, {"OpenVoice"}},
        {"CloseVoice", Traffic::command, {"CloseVoice"}},
        {"OpenFax", Traffic::command, {"OpenFax"}},
        {"CloseFax", Traffic::command, {"CloseFax"}},
        {"event", Traffic::event, {}},
        {"ack", Traffic::event, {"OpenVoiceAck", "CloseVoiceAck", "OpenFaxAck", "CloseFaxAck"}},
        {"OpenVoiceAck", Traffic::event, {"OpenVoiceAck"}},
        {"CloseVoiceAck", Traffic::event, {"CloseVoiceAck"}},
        {"OpenFaxAck", Traffic::event, {"OpenFaxAck"}},
        {"CloseFaxAck", Traffic::event, {"CloseFaxAck"}},
        {"dtmf", Traffic::event, {"Dtmf"}},
        {"faxtone", Traffic::event, {"FaxTone"}},
        {"alert", Traffic::event, {"Alert"}},
        {"audit", Traffic::audit, {}},
        {"AuditRequest", Traffic::audit, {"AuditRequest"}},
        {"AuditAnswer", Traffic::audit, {"AuditAnswer"}},
        {"order", Traffic::order, {}},
    };
    return table;
}

/** "KEY=VALUE" or "WORD". */
struct Piece {
    std::string word;
    std::optional<std::string> value;
};

Piece pieceOf(std::string const& text) {
    auto const equals = text.find('=');
    if (equals == std::string::npos) {
        return {text, std::nullopt};
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

std::vector<Piece> piecesOf(std::string const& text) {
    std::vector<Piece> pieces;
    std::string::size_type begin = 0;
    for (;;) {
        auto const end = text.find(':', begin);
        pieces.push_back(pieceOf(text.substr(begin, end - begin)));
        if (end == std::string::npos) {
            return pieces;
        }
        begin = end + 1;
    }
}

/** Reads one rule; what is wrong is told with the whole of it. */
class Parser {
public:
    explicit Parser(std::string const& text) { rule.text = text; }

    FaultRule parse() {
        std::vector<Piece> const pieces = piecesOf(rule.text);
        takesValue = readAction(pieces.front());
        auto next = pieces.begin() + 1;
        if (next != pieces.end() && !isKey(next->word)) {
            readSelector(*next++);
        }
        std::for_each(next, pieces.end(), [this](Piece const& piece) { readKey(piece); });
        requireWhole();
        return rule;
    }

private:
    struct Key {
        char const* word;
        std::uint64_t lowest;
        std::uint64_t highest;
        void (*set)(FaultRule& to, std::uint64_t value);
    };

    static std::vector<Key> const& keys();

    static bool isKey(std::string const& word) {
        return word == "direction" ||
               std::any_of(keys().begin(), keys().end(),
                           [&word](Key const& key) { return word == key.word; });
    }

    [[noreturn]] void fail(std::string const& fault) const {
        throw std::invalid_argument("bad fault \"" + rule.text + "\": " + fault);
    }

    std::uint64_t number(Piece const& piece, std::uint64_t lowest, std::uint64_t highest) const {
        std::string const text = piece.value.value_or("");
        std::size_t used = 0;
        std::uint64_t value = 0;
        try {
            value = std::stoull(text, &used, 0);
        } catch (std::logic_error const&) {
            used = 0;
        }
        bool const isNumber = used == text.size() && used != 0 && text.front() != '-';
        if (!isNumber || value < lowest || value > highest) {
            fail(piece.word + " is a number from " + std::to_string(lowest) + " to " +
                 std::to_string(highest) + ", and not \"" + text + "\"");
        }
        return value;
    }

    /** @return whether the action takes a value */
    bool readAction(Piece const& piece) {
        for (ActionWord const& each : actionWords) {
            if (piece.word == each.word && !piece.value) {
                rule.action = each.action;
                return each.takesValue;
            }
        }
        fail("unknown action \"" + piece.word + "\": expected one of " +
             joined(actionWords, [](auto const& each) { return std::string(each.word); }));
    }

    void readSelector(Piece const& piece) {
        auto const found =
            std::find_if(selectors().begin(), selectors().end(),
                         [&piece](Selector const& each) { return each.word == piece.word; });
        if (found == selectors().end()) {
            fail("unknown messages or key \"" + piece.word + "\": expected one of " +
                 joined(selectors(), [](auto const& each) { return each.word; }) + ", or " +
                 keyWords());
        }
        rule.traffic = found->traffic;
        rule.names = found->names;
        if (piece.value) {
            if (!takesValue) {
                fail("the messages of this action have no value");
            }
            unsigned const lowest = rule.action == Action::error ? 1 : 0;
            unsigned const highest = rule.action == Action::error ? 255 : 65535;
            rule.value = static_cast<unsigned>(number(piece, lowest, highest));
            hasValue = true;
        }
    }

    void readKey(Piece const& piece) {
        if (piece.word == "direction") {
            rule.direction = piece.value.value_or("");
            if (rule.direction != "in" && rule.direction != "out") {
                fail("direction is in or out");
            }
            return;
        }
        auto const key = std::find_if(keys().begin(), keys().end(), [&piece](Key const& each) {
            return piece.word == each.word;
        });
        if (key == keys().end()) {
            fail("unknown key \"" + piece.word + "\": expected one of " + keyWords());
        }
        key->set(rule, number(piece, key->lowest, key->highest));
    }

    static std::string keyWords() {
        return joined(keys(), [](auto const& each) { return std::string(each.word); }) +
               ", direction";
    }

    void requireWhole() {
        if (takesValue && !hasValue) {
            fail("the value is missing: expected MESSAGES=VALUE, such as ack=20");
        }
        if ((rule.action == Action::delay) != (rule.delay.count() != 0)) {
            fail("ms belongs to delay, and delay needs it");
        }
        bool const isOfAcknowledged =
            rule.traffic == Traffic::command && !rule.names.empty() &&
            std::all_of(rule.names.begin(), rule.names.end(), [](std::string const& name) {
                return name.rfind("Open", 0) == 0 || name.rfind("Close", 0) == 0;
            });
        if (rule.action == Action::error && !isOfAcknowledged) {
            fail("an error answers an open or a close command");
        }
        if (rule.action == Action::restart) {
            if (rule.traffic != Traffic::command) {
                fail("a board restarts at a command");
            }
            rule.count = rule.count.value_or(1);
        }
    }

    FaultRule rule;
    bool takesValue = false;
    bool hasValue = false;
};

std::vector<Parser::Key> const& Parser::keys() {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    static std::vector<Key> const table = {
        {"sid", 0, 255, [](FaultRule& to, auto value) { to.sid = static_cast<unsigned>(value); }},
        {"dsp", 0, 255, [](FaultRule& to, auto value) { to.dsp = static_cast<unsigned>(value); }},
        {"after", 1, most, [](FaultRule& to, auto value) { to.after = value; }},
        {"every", 1, most, [](FaultRule& to, auto value) { to.every = value; }},
        {"count", 1, most, [](FaultRule& to, auto value) { to.count = value; }},
        {"percent", 1, 100,
         [](FaultRule& to, auto value) { to.percent = static_cast<unsigned>(value); }},
        {"seed", 0, most, [](FaultRule& to, auto value) { to.seed = value; }},
        {"ms", 1, 3600000,
         [](FaultRule& to, auto value) { to.delay = std::chrono::milliseconds(value); }},
    };
    return table;
}

} // namespace

FaultRule parseFaultRule(std::string const& text) {
    return Parser(text).parse();
}

} // namespace gateway
