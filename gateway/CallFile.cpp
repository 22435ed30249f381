#include "gateway/CallFile.h"

#include "gateway/Placeholders.h"
#include "gateway/Section.h"
#include "gateway/Text.h"

#include "address/IPAddress.h"
#include "host/Workstation.h"
#include "host/config/DeepKey.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

using Channels = std::vector<ChannelEntry>;

/** No call that a person describes comes near; what is larger, or never ends, is something else. */
std::size_t const largestFile = std::size_t{1024} * 1024;
std::int64_t const longestTime = 3600000;
/** A call that hangs is noticed by a person before this; acknowledgements take milliseconds. */
std::int64_t const defaultDeadline = 3000;

std::string channelNames(Channels const& channels) {
    return channels.empty()
               ? "the channels, of which the file describes none"
               : joined(channels, [](ChannelEntry const& channel) { return channel.name; });
}

std::optional<std::size_t> findChannel(Channels const& channels, std::string const& name) {
    auto const found =
        std::find_if(channels.begin(), channels.end(),
                     [&name](ChannelEntry const& each) { return each.name == name; });
    return found == channels.end()
               ? std::nullopt
               : std::optional<std::size_t>(static_cast<std::size_t>(found - channels.begin()));
}

void requireAddress(Section& section, std::string const& key, std::string const& text) {
    try {
        IPAddress const valid(text);
    } catch (std::invalid_argument const&) {
        section.failAt(key,
                       key + " is \"" + text + "\": expected an IPv4 address such as \"10.0.0.1\"");
    }
}

Milliseconds readTime(Section& section, std::string const& key, std::int64_t otherwise) {
    return Milliseconds(section.number(key, 0, longestTime).value_or(otherwise));
}

/* Boards, configuration, channels */

BoardEntry readBoard(Section& section, std::vector<BoardEntry> const& before) {
    BoardEntry board;
    board.ip = section.requiredText("ip");
    requireAddress(section, "ip", board.ip);
    board.sid = static_cast<unsigned char>(section.requiredNumber("sid", 0, 255));
    board.channels = static_cast<unsigned>(section.number("channels", 1, 256).value_or(256));
    board.firstPort = static_cast<std::uint16_t>(
        section.number("firstPort", 1, 65534).value_or(dsp::BoardOptions().firstPort));
    board.ackDelay = readTime(section, "ackDelay", 1);
    section.finish();
    if (board.sid == host::Workstation::defaultSid) {
        section.failAt("sid", "sid 1 is the Session Manager's own: expected another number");
    }
    for (BoardEntry const& other : before) {
        if (other.sid == board.sid || other.ip == board.ip) {
            section.failAt(other.sid == board.sid ? "sid" : "ip",
                           "another board has the same " +
                               std::string(other.sid == board.sid ? "sid" : "ip") +
                               ": expected one of its own");
        }
    }
    return board;
}

std::vector<BoardEntry> readBoards(Section& file) {
    std::vector<BoardEntry> boards;
    for (Section& section : file.sections("board", "a board")) {
        boards.push_back(readBoard(section, boards));
    }
    if (boards.empty()) {
        file.fail("no board: expected at least one [[board]]");
    }
    return boards;
}

std::optional<std::uint8_t> readByte(Section& section, std::string const& key) {
    auto const value = section.number(key, 0, 255);
    return value ? std::optional<std::uint8_t>(static_cast<std::uint8_t>(*value)) : std::nullopt;
}

/** A text for the configuration store, which takes no NUL. */
std::optional<std::string> readSettingText(Section& section, std::string const& key) {
    auto value = section.text(key);
    if (value && value->find('\0') != std::string::npos) {
        section.failAt(key, key + " holds a NUL character: expected a text without one");
    }
    return value;
}

Configuration readConfiguration(Section& section) {
    Configuration configuration;
    configuration.faxProto = readSettingText(section, "fax_proto");
    if (configuration.faxProto && configuration.faxProto->size() > 63) {
        section.failAt("fax_proto", "fax_proto is too long: expected at most 63 characters");
    }
    configuration.rtptickRequest = readByte(section, "rtptick_request");
    configuration.noteworthyValue5 = readByte(section, "noteworthyValue5");
    configuration.voicelan = readSettingText(section, "voicelan");
    if (configuration.voicelan) {
        requireAddress(section, "voicelan", *configuration.voicelan);
    }
    return configuration;
}

Configuration readChange(Section& section) {
    Configuration change = readConfiguration(section);
    for (PlacedText const& name : section.texts("remove").value_or(std::vector<PlacedText>())) {
        std::array<char const*, 3> const removable = {"fax_proto", "rtptick_request",
                                                      "noteworthyValue5"};
        if (std::count(removable.begin(), removable.end(), name.text) == 0) {
            fail(section.fileName(), name.position,
                 "\"" + name.text +
                     "\" can't be removed: expected one of fax_proto, "
                     "rtptick_request, noteworthyValue5");
        }
        change.remove.push_back(name.text);
    }
    section.finish();
    return change;
}

std::vector<FieldSetting> readSettings(Section& section) {
    std::vector<FieldSetting> settings;
    for (ChannelField const& field : channelFields()) {
        if (!field.set) {
            continue;
        }
        if (auto const value = section.value(field.name, field.type)) {
            settings.push_back({&field, *value, section.position(field.name)});
        }
    }
    for (std::string const& key : section.keys()) {
        ChannelField const* const field = findChannelField(key);
        if (field != nullptr && !field->set) {
            section.failAt(key, key + " is kept by the library: expected only below \"expect\"");
        }
    }
    return settings;
}

void requireName(Section& section, Channels const& before, std::string const& name) {
    bool const plain = !name.empty() && std::all_of(name.begin(), name.end(), [](char each) {
        return std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '-' || each == '_';
    });
    if (!plain || name == "none") {
        section.failAt("name", "name is \"" + name +
                                   "\": expected letters, digits, - and _ only, "
                                   "and not \"none\"");
    }
    if (findChannel(before, name)) {
        section.failAt("name",
                       "another channel is called \"" + name + "\": expected a name of its own");
    }
}

Channels readChannels(Section& file) {
    Channels channels;
    for (Section& section : file.sections("channel", "a channel")) {
        ChannelEntry channel;
        channel.name = section.requiredText("name");
        requireName(section, channels, channel.name);
        channel.fields = readSettings(section);
        section.finish();
        channels.push_back(std::move(channel));
    }
    return channels;
}

/* Actions */

using Operation = ChannelAction::Operation;

template <Operation operation>
Action readOperation(Section& step) {
    ChannelAction action;
    action.operation = operation;
    if (auto set = step.section("set", "the fields that a step sets")) {
        action.set = readSettings(*set);
        set->finish();
    }
    return action;
}

Action readDtmf(Section& step) {
    return DtmfAction{static_cast<std::uint8_t>(step.requiredNumber("digit", 0, 255)),
                      static_cast<std::uint16_t>(step.number("duration", 0, 65535).value_or(80))};
}

Action readAlert(Section& step) {
    return AlertAction{static_cast<std::uint32_t>(step.requiredNumber("value", 0, 0xFFFFFFFF))};
}

Action readFailNext(Section& step) {
    FieldType const& type = boardErrorType();
    auto const error = step.value("error", type);
    if (!error) {
        step.fail("\"error\" is missing in a step: expected " + type.expected);
    }
    return FailNextAction{static_cast<dsp::Error>(std::get<std::int64_t>(*error))};
}

Action readConfigure(Section& step) {
    Section change = step.section("configure", "a configuration change").value();
    return ConfigureAction{readChange(change)};
}

Action readConsole(Section& step) {
    return ConsoleAction{step.requiredText("console")};
}

Action readWait(Section& step) {
    return WaitAction{Milliseconds(step.requiredNumber("wait", 0, longestTime))};
}

Action readLogLevel(Section& step) {
    return LogLevelAction{static_cast<unsigned>(step.requiredNumber("logLevel", 0, 3))};
}

struct Verb {
    char const* name;
    /** Its value is the name of a channel. */
    bool isAboutChannel;
    Action (*read)(Section& step);
};

std::array<Verb, 14> const verbs = {{
    {"open", true, readOperation<Operation::open>},
    {"update", true, readOperation<Operation::update>},
    {"activateFax", true, readOperation<Operation::activateFax>},
    {"join", true, readOperation<Operation::join>},
    {"unjoin", true, readOperation<Operation::unjoin>},
    {"close", true, readOperation<Operation::close>},
    {"dtmf", true, readDtmf},
    {"faxTone", true, [](Section&) -> Action { return FaxToneAction(); }},
    {"alert", true, readAlert},
    {"failNext", true, readFailNext},
    {"configure", false, readConfigure},
    {"console", false, readConsole},
    {"wait", false, readWait},
    {"logLevel", false, readLogLevel},
}};

std::string verbNames() {
    return joined(verbs, [](Verb const& verb) { return verb.name; });
}

/** Most likely the action is misspelt, so that a key that no step has is what to look at. */
[[noreturn]] void failWithoutVerb(Section const& step) {
    std::array<char const*, 8> const others = {"note",  "settle",   "expect", "set",
                                               "digit", "duration", "value",  "error"};
    for (std::string const& key : step.keys()) {
        if (std::count(others.begin(), others.end(), key) == 0) {
            fail(step.fileName(), step.keyPosition(key),
                 "unknown key \"" + key + "\" in a step: expected one of " + verbNames());
        }
    }
    step.fail("nothing to do in a step: expected one of " + verbNames());
}

Verb const& findVerb(Section& step) {
    Verb const* found = nullptr;
    for (Verb const& verb : verbs) {
        if (!step.has(verb.name)) {
            continue;
        }
        if (found != nullptr) {
            step.failAt(verb.name, "a step does one thing, here \"" + std::string(found->name) +
                                       "\": expected \"" + verb.name + "\" in a step of its own");
        }
        found = &verb;
    }
    if (found == nullptr) {
        failWithoutVerb(step);
    }
    return *found;
}

std::size_t readChannelName(Section& section, std::string const& key, Channels const& channels) {
    std::string const name = section.requiredText(key);
    auto const channel = findChannel(channels, name);
    if (!channel) {
        section.failAt(key, "unknown channel \"" + name + "\": expected one of " +
                                channelNames(channels));
    }
    return *channel;
}

/** Refuses a text that names an unknown channel in braces. */
void requireKnownPlaceholders(std::string const& file, PlacedText const& placed,
                              Channels const& channels) {
    try {
        expandPlaceholders(placed.text, [&channels](std::string const& name) {
            return findChannel(channels, name) ? std::optional<std::string>(name) : std::nullopt;
        });
    } catch (std::out_of_range const& unknown) {
        fail(file, placed.position,
             "unknown channel \"" + std::string(unknown.what()) + "\" in braces: expected one of " +
                 channelNames(channels));
    }
}

/* Expectations */

/** Reads what is expected of one step. */
class ExpectationReader {
public:
    ExpectationReader(Section& section, Step const& itsStep, Channels const& all)
        : from(section), step(itsStep), channels(all) {}

    Expectation read();

private:
    std::string text(PlacedText const& placed) const;
    std::vector<std::string> pieces(std::string const& key);
    std::optional<std::string> wholeText(std::string const& key);
    std::optional<std::vector<Message>> messages(std::string const& key, Vocabulary vocabulary);
    void requireKnownChannel(Message const& message, Position position) const;
    std::vector<ExpectedField> fields(Section& section, std::size_t channel) const;
    std::vector<ExpectedField> allFields();

    Section& from;
    Step const& step;
    Channels const& channels;
};

std::string ExpectationReader::text(PlacedText const& placed) const {
    requireKnownPlaceholders(from.fileName(), placed, channels);
    return placed.text;
}

std::vector<std::string> ExpectationReader::pieces(std::string const& key) {
    std::vector<std::string> all;
    for (PlacedText const& placed : from.texts(key).value_or(std::vector<PlacedText>())) {
        if (placed.text.empty()) {
            fail(from.fileName(), placed.position, key + " is empty: expected a piece of the text");
        }
        all.push_back(text(placed));
    }
    return all;
}

std::optional<std::string> ExpectationReader::wholeText(std::string const& key) {
    auto const value = from.text(key);
    return value ? std::optional<std::string>(text({*value, from.position(key)})) : std::nullopt;
}

void ExpectationReader::requireKnownChannel(Message const& message, Position position) const {
    std::string const* const channel = message.find("channel");
    if (channel != nullptr && *channel != "none" && !findChannel(channels, *channel)) {
        fail(from.fileName(), position,
             "unknown channel \"" + *channel + "\": expected one of none, " +
                 channelNames(channels));
    }
}

std::optional<std::vector<Message>> ExpectationReader::messages(std::string const& key,
                                                                Vocabulary vocabulary) {
    auto const texts = from.texts(key);
    if (!texts) {
        return std::nullopt;
    }
    std::vector<Message> all;
    for (PlacedText const& placed : *texts) {
        Message const message = parseMessage(placed.text);
        std::string const fault = faultOf(message, vocabulary);
        if (!fault.empty()) {
            fail(from.fileName(), placed.position, fault);
        }
        requireKnownChannel(message, placed.position);
        all.push_back(message);
    }
    return all;
}

std::vector<ExpectedField> ExpectationReader::fields(Section& section, std::size_t channel) const {
    std::vector<ExpectedField> all;
    for (ChannelField const& field : channelFields()) {
        if (auto const value = section.value(field.name, field.type)) {
            all.push_back({channel, {&field, *value, section.position(field.name)}});
        }
    }
    return all;
}

std::vector<ExpectedField> ExpectationReader::allFields() {
    std::vector<ExpectedField> all;
    if (step.channel) {
        all = fields(from, *step.channel);
    }
    auto byChannel = from.section("channel", "the channels of an expectation");
    if (!byChannel) {
        return all;
    }
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        if (auto own = byChannel->section(channels[channel].name, "an expected channel")) {
            auto const more = fields(*own, channel);
            own->finish();
            all.insert(all.end(), more.begin(), more.end());
        }
    }
    byChannel->finish();
    return all;
}

Expectation ExpectationReader::read() {
    Expectation expect;
    if (std::holds_alternative<ChannelAction>(step.action)) {
        expect.refusal = wholeText("refusal");
        expect.refusalContains = pieces("refusalContains");
    }
    if (std::holds_alternative<ConsoleAction>(step.action)) {
        expect.answer = wholeText("answer");
        expect.answerContains = pieces("answerContains");
    }
    expect.commands = messages("commands", Vocabulary::commands);
    expect.events = messages("events", Vocabulary::events);
    expect.callbacks = messages("callbacks", Vocabulary::callbacks);
    expect.reports = pieces("reports");
    expect.errors = pieces("errors");
    expect.traces = pieces("traces");
    expect.fields = allFields();
    from.finish();
    return expect;
}

Step readStep(Section& section, Channels const& channels) {
    Step step;
    Verb const& verb = findVerb(section);
    step.verb = verb.name;
    step.position = section.position(verb.name);
    if (verb.isAboutChannel) {
        step.channel = readChannelName(section, verb.name, channels);
    }
    step.action = verb.read(section);
    if (ConsoleAction const* const console = std::get_if<ConsoleAction>(&step.action)) {
        requireKnownPlaceholders(section.fileName(), {console->line, step.position}, channels);
    }
    step.note = section.text("note").value_or("");
    step.settle = section.flag("settle").value_or(true);
    if (auto expect = section.section("expect", "the expectation of \"" + step.verb + "\"")) {
        step.expect = ExpectationReader(*expect, step, channels).read();
    }
    section.finish();
    return step;
}

std::vector<Step> readSteps(Section& file, Channels const& channels) {
    std::vector<Step> steps;
    for (Section& section : file.sections("step", "a step")) {
        steps.push_back(readStep(section, channels));
    }
    if (steps.empty()) {
        file.fail("nothing happens: expected at least one [[step]]");
    }
    return steps;
}

CallFile readDocument(toml::table const& document, std::string const& path) {
    Section file(document, path, "a call file");
    CallFile call;
    call.path = path;
    call.title = file.text("title").value_or("");
    call.deadline = readTime(file, "deadline", defaultDeadline);
    call.leaveOpen = file.flag("leaveOpen").value_or(false);
    if (auto configuration = file.section("configuration", "the configuration")) {
        call.isConfigured = true;
        call.configuration = readConfiguration(*configuration);
        configuration->finish();
    }
    call.boards = readBoards(file);
    call.channels = readChannels(file);
    call.steps = readSteps(file, call.channels);
    file.finish();
    return call;
}

} // namespace

FieldType const& boardErrorType() {
    static FieldType const type = namedNumber(
        {"none", "noSuchChannel", "alreadyOpen", "notOpen", "badParameter", "noPortLeft"});
    return type;
}

CallFile parseCallFile(std::string const& text, std::string const& path) {
    if (auto const place = host::findDeepKey(text)) {
        fail(path, {place->line, place->column},
             "a key has more than " + std::to_string(host::mostKeyParts) +
                 " parts: expected a shorter one");
    }
    toml::table document;
    try {
        document = toml::parse(text, std::string_view(path));
    } catch (toml::parse_error const& error) {
        fail(path, positionOf(error.source()), std::string(error.description()));
    }
    return readDocument(document, path);
}

CallFile readCallFile(std::string const& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw CallFileError(path + ": can't be read: it is a directory, expected a call file");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw CallFileError(path + ": can't be read: " + std::strerror(errno));
    }
    std::string text(largestFile + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (file.bad()) {
        throw CallFileError(path + ": can't be read: " + std::strerror(errno));
    }
    if (text.size() > largestFile) {
        throw CallFileError(path +
                            ": can't be read: it is larger than 1 MiB, expected a call file");
    }
    return parseCallFile(text, path);
}

} // namespace gateway
