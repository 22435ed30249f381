#include "gateway/session/SessionLines.h"

#include "gateway/OperatorLine.h"
#include "gateway/Text.h"
#include "gateway/session/Table.h"

#include "address/IPAddress.h"
#include "config/CFG_Manager.h"
#include "host/Workstation.h"
#include "host/imc/SidText.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <iomanip>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace gateway {

using host::sidText;

namespace {

std::size_t const anyNumber = std::numeric_limits<std::size_t>::max();

std::string timeText(std::chrono::system_clock::time_point time) {
    std::time_t const seconds = std::chrono::system_clock::to_time_t(time);
    std::tm broken{};
    localtime_r(&seconds, &broken);
    std::ostringstream text;
    text << std::put_time(&broken, "%Y-%m-%d %H:%M:%S");
    return text.str();
}

std::string directionText(Path const& path) {
    return path.direction == dsp::Direction::in ? "in" : "out";
}

bool isPlainName(std::string const& name) {
    return name != "none" && std::all_of(name.begin(), name.end(), [](char each) {
               return std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '-' ||
                      each == '_';
           });
}

/** Where a channel is can't change while it is open. */
bool isChangeable(ChannelField const& field) {
    return field.name != "mediaGateway" && field.name != "dsp" && field.name != "direction";
}

bool isOfJoin(ChannelField const& field) {
    return field.name == "joinIp" || field.name == "joinDsp";
}

std::string boardState(BoardWatch::Peer const& board) {
    if (!board.isPresent) {
        return "gone";
    }
    return board.isSilent ? "does not answer audits" : "present";
}

} // namespace

std::vector<SessionLines::Verb> const& SessionLines::verbs() {
    static std::vector<Verb> const table = {
        {"help", "", "these lines", 0, 0, &SessionLines::help},
        {"status", "", "the session in short", 0, 0, &SessionLines::status},
        {"boards", "", "the boards on the bus", 0, 0, &SessionLines::boards},
        {"records", "", "the channels, and how far each is", 0, 0, &SessionLines::records},
        {"counters", "", "what was counted", 0, 0, &SessionLines::counters},
        {"audit", "[SID]", "ask a board, or all, what it has open", 0, 1, &SessionLines::audit},
        {"open", "NAME key=value...", "open a channel", 1, anyNumber, &SessionLines::open},
        {"update", "NAME [key=value...]", "change an open channel", 1, anyNumber,
         &SessionLines::update},
        {"fax", "NAME", "switch a channel to fax", 1, 1, &SessionLines::activateFax},
        {"join", "NAME [joinIp=ADDRESS] [joinDsp=N]", "join a channel with another", 1, 3,
         &SessionLines::join},
        {"unjoin", "NAME", "undo that", 1, 1, &SessionLines::unjoin},
        {"close", "NAME", "close a channel", 1, 1, &SessionLines::close},
        {"dtmf", "NAME DIGIT [MS]", "have the board report a digit", 2, 3, &SessionLines::dtmf},
        {"faxtone", "NAME", "have the board report a fax tone", 1, 1, &SessionLines::faxTone},
        {"alert", "NAME VALUE", "have the board raise an alert", 2, 2, &SessionLines::alert},
        {"watch", "on|off", "tell this console what happens", 1, 1, &SessionLines::watch},
        {"log", "LEVEL", "level of the library's log, 0 to 3", 1, 1, &SessionLines::log},
        {"end", "", "close everything, and end the session", 0, 0, &SessionLines::end},
    };
    return table;
}

SessionLines::Verb const& SessionLines::findVerb(std::vector<std::string> const& words) {
    std::string const name = words.size() < 2 ? "help" : words[1];
    auto const verb = std::find_if(verbs().begin(), verbs().end(),
                                   [&name](Verb const& each) { return each.name == name; });
    if (verb == verbs().end()) {
        throw std::invalid_argument("unknown word \"" + name + "\": expected one of " +
                                    joined(verbs(), [](Verb const& each) { return each.name; }));
    }
    std::size_t const count = words.size() < 2 ? 0 : words.size() - 2;
    if (count < verb->least || count > verb->most) {
        throw std::invalid_argument(std::string("expected session ") + verb->name +
                                    (*verb->usage == '\0' ? "" : " ") + verb->usage);
    }
    return *verb;
}

void SessionLines::take(std::string const& line, int console, Exchange const& exchange) {
    std::istringstream stream(line);
    std::string first;
    stream >> first;
    try {
        if (first != "session") {
            passOn(line, console, exchange);
            return;
        }
        std::vector<std::string> const words = wordsOf(line);
        Verb const& verb = findVerb(words);
        auto const arguments = words.begin() + (words.size() < 2 ? 1 : 2);
        (this->*verb.answer)({{arguments, words.end()}, console, exchange});
    } catch (std::exception const& error) {
        refuse(exchange, error.what());
    }
}

void SessionLines::refuse(Exchange const& exchange, std::string const& why) {
    session.journal.count(SessionCause::requestRefused);
    exchange->end(why);
}

/** The answers come in a task of the loop; what is added behind it runs behind it. */
void SessionLines::passOn(std::string const& line, int console, Exchange const& exchange) {
    requireModest(line);
    session.workstation.typeCommand(
        line, console, [exchange](std::string const& text) { exchange->answer(text); });
    session.workstation.dispatcher().post([exchange] { exchange->end(); });
}

/* What there is */

void SessionLines::help(Line const& line) {
    Table table({"Line", ""});
    for (Verb const& verb : verbs()) {
        table.add({std::string("session ") + verb.name + " " + verb.usage, verb.help});
    }
    line.exchange->answer(table.text() +
                          "\n\nKeys are those of [[channel]] in call files, and "
                          "board=SID. All other lines go to the\nlibrary and the "
                          "platform, as on the board: \"MC help\" tells the former.");
    line.exchange->end();
}

void SessionLines::status(Line const& line) {
    Table table({"Session", ""});
    for (auto const& [name, value] : session.status()) {
        table.add({name, value});
    }
    line.exchange->answer(table.text());
    line.exchange->end();
}

void SessionLines::boards(Line const& line) {
    Table table({"Board", "Process", "State", "Channels", "Open", "Others'", "Audited"});
    for (BoardWatch::Peer const& board : session.supervisor.boards().boards()) {
        bool const isAudited = board.incarnation.has_value();
        table.add({sidText(board.sid), board.holder.text(), boardState(board),
                   isAudited ? std::to_string(board.channels) : "?",
                   isAudited ? std::to_string(board.open) : "?",
                   isAudited ? std::to_string(board.others) : "?",
                   isAudited ? timeText(board.audited) : "never"});
    }
    line.exchange->answer(table.isEmpty() ? "no board on the bus" : table.text());
    line.exchange->end();
}

void SessionLines::records(Line const& line) {
    FieldType const& state = findChannelField("state")->type;
    Table table({"Name", "Id", "Board", "DSP", "Direction", "State", "Supervision", "Since"});
    for (Record const* const record : session.supervisor.records().all()) {
        table.add({record->name, record->channel->getIdentifier(), sidText(record->path.sid),
                   std::to_string(record->path.dsp), directionText(record->path),
                   state.text(std::int64_t{record->channel->state}), record->text(),
                   timeText(record->since)});
    }
    line.exchange->answer(table.isEmpty() ? "no channel" : table.text());
    line.exchange->end();
}

void SessionLines::counters(Line const& line) {
    Table table({"Counter", "Count"});
    for (auto const& [name, count] : session.counters()) {
        table.add({name, std::to_string(count)});
    }
    line.exchange->answer(table.isEmpty() ? "nothing was counted" : table.text());
    line.exchange->end();
}

/** The exchange ends when the last one that waits for it has answered. */
void SessionLines::audit(Line const& line) {
    std::vector<unsigned char> sids;
    if (!line.words.empty()) {
        sids.push_back(static_cast<unsigned char>(numberOf(line.words[0], "SID", 0, 255)));
    } else {
        for (BoardWatch::Peer const& board : session.supervisor.boards().boards()) {
            if (board.isPresent) {
                sids.push_back(board.sid);
            }
        }
    }
    if (sids.empty()) {
        throw std::invalid_argument("no board on the bus: expected session audit SID");
    }
    std::shared_ptr<void> const last(nullptr,
                                     [exchange = line.exchange](void*) { exchange->end(); });
    for (unsigned char const sid : sids) {
        session.supervisor.audit(sid, [last, exchange = line.exchange](std::string const& outcome) {
            exchange->answer(outcome);
        });
    }
}

/* What is done to channels */

Record& SessionLines::recordOf(Line const& line) {
    Records& records = session.supervisor.records();
    if (Record* const record = records.find(line.words.front())) {
        return *record;
    }
    auto const all = records.all();
    throw std::invalid_argument(
        "unknown channel \"" + line.words.front() + "\": expected " +
        (all.empty() ? "one that was opened, of which there is none"
                     : "one of " + joined(all, [](Record const* each) { return each->name; })));
}

std::vector<FieldSetting> SessionLines::settings(Line const& line,
                                                 std::function<bool(ChannelField const&)> allowed,
                                                 bool isBoardAllowed) {
    SettingWords const words([this](unsigned char sid) { return session.names.ipOf(sid); },
                             std::move(allowed), isBoardAllowed);
    return words.parse({line.words.begin() + 1, line.words.end()});
}

/** An address of no board would be taken for this process's own. */
void SessionLines::requireBoard(std::vector<FieldSetting> const& settings) const {
    for (FieldSetting const& setting : settings) {
        std::string const* const text = std::get_if<std::string>(&setting.value);
        bool const isBoard = setting.field->name != "mediaGateway" || text == nullptr ||
                             CFG_Manager::isVoIPBoardIP(IPAddress(*text));
        if (!isBoard) {
            throw std::invalid_argument("no board has the address " + *text +
                                        ": expected board=SID, or --board " + *text +
                                        "=SID at the session's start");
        }
    }
}

void SessionLines::finish(Line const& line, Channels::Refusal const& refusal,
                          std::string const& done) {
    if (refusal) {
        refuse(line.exchange, *refusal);
        return;
    }
    line.exchange->answer(done);
    line.exchange->end();
}

void SessionLines::finishLater(Line const& line, Channels::Refusal const& refusal,
                               std::function<std::string()> const& done) {
    Record* const record = session.supervisor.records().find(line.words.front());
    if (refusal || record == nullptr || record->isSettled()) {
        finish(line, refusal, done());
        return;
    }
    record->waiters.push_back([done, exchange = line.exchange](std::string const& fault) {
        if (!fault.empty()) {
            exchange->end(fault);
            return;
        }
        exchange->answer(done());
        exchange->end();
    });
}

/** "a is open, port 5000". */
std::string SessionLines::openText(std::string const& name, char const* what) {
    Record const* const record = session.supervisor.records().find(name);
    return name + what + (record == nullptr ? "" : ", port " + std::to_string(record->port));
}

void SessionLines::open(Line const& line) {
    std::string const& name = line.words.front();
    if (!isPlainName(name)) {
        throw std::invalid_argument("name is \"" + name +
                                    "\": expected letters, digits, - and _ only, and not \"none\"");
    }
    std::vector<FieldSetting> const fields = settings(
        line, [](ChannelField const&) { return true; }, true);
    requireBoard(fields);
    finishLater(line, session.supervisor.channels().open(name, fields),
                [this, name] { return openText(name, " is open"); });
}

void SessionLines::update(Line const& line) {
    Record& record = recordOf(line);
    finish(line, session.supervisor.channels().update(record, settings(line, isChangeable, false)),
           record.name + " is updated");
}

void SessionLines::activateFax(Line const& line) {
    Record& record = recordOf(line);
    finishLater(line, session.supervisor.channels().activateFax(record),
                [this, name = record.name] { return openText(name, " is switched to fax"); });
}

void SessionLines::join(Line const& line) {
    Record& record = recordOf(line);
    finish(line, session.supervisor.channels().join(record, settings(line, isOfJoin, false)),
           record.name + " is joined");
}

void SessionLines::unjoin(Line const& line) {
    Record& record = recordOf(line);
    finish(line, session.supervisor.channels().unjoin(record), record.name + " is unjoined");
}

void SessionLines::close(Line const& line) {
    Record& record = recordOf(line);
    std::string const name = record.name;
    finishLater(line, session.supervisor.channels().close(record),
                [name] { return name + " is closed"; });
}

/* What boards are told to do */

void SessionLines::order(Line const& line, dsp::Order order) {
    Record const& record = recordOf(line);
    order.dsp = record.path.dsp;
    order.direction = record.path.direction;
    IMC_Manager::instance(0xff)->post(
        dsp::encodeOrder(order, session.workstation.sid(), record.path.sid));
    line.exchange->answer("ordered from " + textOf(record.path));
    line.exchange->end();
}

void SessionLines::dtmf(Line const& line) {
    dsp::Order wanted;
    wanted.kind = dsp::Order::Kind::dtmf;
    wanted.value8 = static_cast<std::uint8_t>(numberOf(line.words[1], "DIGIT", 0, 255));
    wanted.value32 = static_cast<std::uint32_t>(
        line.words.size() < 3 ? 80 : numberOf(line.words[2], "MS", 0, 65535));
    order(line, wanted);
}

void SessionLines::faxTone(Line const& line) {
    dsp::Order wanted;
    wanted.kind = dsp::Order::Kind::faxTone;
    order(line, wanted);
}

void SessionLines::alert(Line const& line) {
    dsp::Order wanted;
    wanted.kind = dsp::Order::Kind::alert;
    wanted.value32 = static_cast<std::uint32_t>(numberOf(line.words[1], "VALUE", 0, 0xFFFFFFFF));
    order(line, wanted);
}

/* The session itself */

void SessionLines::watch(Line const& line) {
    std::string const& word = line.words.front();
    if (word != "on" && word != "off") {
        throw std::invalid_argument("expected session watch on, or session watch off");
    }
    session.watch(line.console, word == "on");
    line.exchange->end();
}

void SessionLines::log(Line const& line) {
    session.workstation.setLogLevel(
        static_cast<unsigned>(numberOf(line.words.front(), "LEVEL", 0, 3)));
    line.exchange->end();
}

void SessionLines::end(Line const& line) {
    line.exchange->answer("the session ends");
    line.exchange->end();
    session.end();
}

} // namespace gateway
