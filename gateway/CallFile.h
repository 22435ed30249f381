#ifndef GATEWAY_CALLFILE_H
#define GATEWAY_CALLFILE_H

#include "gateway/CallFileError.h"
#include "gateway/ChannelFields.h"
#include "gateway/Message.h"

#include "dsp/Board.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace gateway {

/*
 * A call file as it was read. docs/call-files.md describes the file; the names here are those of
 * its keys. A channel is known by its index in CallFile::channels.
 */

using Milliseconds = std::chrono::milliseconds;

struct BoardEntry {
    std::string ip;
    unsigned char sid = 0;
    unsigned channels = 0;
    std::uint16_t firstPort = 0;
    /** How long the board takes to acknowledge. */
    Milliseconds ackDelay{};
};

struct Configuration {
    std::optional<std::string> faxProto;
    std::optional<std::uint8_t> rtptickRequest;
    std::optional<std::uint8_t> noteworthyValue5;
    std::optional<std::string> voicelan;
    /** Names of settings that are taken away. */
    std::vector<std::string> remove;
};

/** A field of a channel and the value that it is given or that is expected of it. */
struct FieldSetting {
    ChannelField const* field = nullptr;
    FieldValue value;
    Position position;
};

struct ChannelEntry {
    std::string name;
    std::vector<FieldSetting> fields;
};

/** What a step does. */
struct ChannelAction {
    enum class Operation { open, update, activateFax, join, unjoin, close };
    Operation operation = Operation::open;
    /** Fields that the client changes before it calls the operation. */
    std::vector<FieldSetting> set;
};
struct DtmfAction {
    std::uint8_t digit = 0;
    std::uint16_t duration = 0;
};
struct FaxToneAction {};
struct AlertAction {
    std::uint32_t value = 0;
};
struct FailNextAction {
    dsp::Error error = dsp::Error::none;
};
struct ConfigureAction {
    Configuration change;
};
struct ConsoleAction {
    std::string line;
};
struct WaitAction {
    Milliseconds time{};
};
struct LogLevelAction {
    unsigned level = 0;
};
using Action = std::variant<ChannelAction, DtmfAction, FaxToneAction, AlertAction, FailNextAction,
                            ConfigureAction, ConsoleAction, WaitAction, LogLevelAction>;

struct ExpectedField {
    std::size_t channel = 0;
    FieldSetting setting;
};

/** What is expected of a step; what is missing is not looked at. */
struct Expectation {
    std::optional<std::string> refusal;
    std::vector<std::string> refusalContains;
    std::optional<std::vector<Message>> commands;
    std::optional<std::vector<Message>> events;
    std::optional<std::vector<Message>> callbacks;
    std::optional<std::string> answer;
    std::vector<std::string> answerContains;
    /** Pieces of each report of a board, each error and some traces of the log, in order. */
    std::vector<std::string> reports;
    std::vector<std::string> errors;
    std::vector<std::string> traces;
    std::vector<ExpectedField> fields;

    bool isRefusal() const { return refusal.has_value() || !refusalContains.empty(); }
};

struct Step {
    Position position;
    /** The key that names the action, such as "open". */
    std::string verb;
    Action action;
    /** The channel that the step is about, where it is about one. */
    std::optional<std::size_t> channel;
    std::string note;
    /** Whether the next step waits until the boards have acknowledged. */
    bool settle = true;
    Expectation expect;
};

struct CallFile {
    std::string path;
    std::string title;
    /** How long an expected event may take. */
    Milliseconds deadline{};
    /** Channels may still be open at the end. */
    bool leaveOpen = false;
    Configuration configuration;
    bool isConfigured = false;
    std::vector<BoardEntry> boards;
    std::vector<ChannelEntry> channels;
    std::vector<Step> steps;
};

/** The values of dsp::Error, which a board may be told to answer with. */
FieldType const& boardErrorType();

/** @throw CallFileError when the file can't be read or is in error */
CallFile readCallFile(std::string const& path);

/** The same from a text; `path` is named in errors. */
CallFile parseCallFile(std::string const& text, std::string const& path);

} // namespace gateway

#endif
