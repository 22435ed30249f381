#include "gateway/control/Console.h"

#include "gateway/Report.h"

#include "host/Text.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace gateway {

namespace {

/** Longer, and the operator would wonder about the Tab key. */
constexpr std::chrono::seconds patienceForNames{2};

std::vector<std::string> wordsOf(std::string const& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

std::string contentOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        throw std::invalid_argument("can't read " + path + ": " +
                                    std::generic_category().message(errno));
    }
    return content;
}

/** As it stands, but a whole line: what follows begins on its own. */
std::string shown(std::string const& raw) {
    std::string text = host::withoutNul(raw);
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    return text;
}

std::string reportText(nlohmann::ordered_json const& entry) {
    std::ostringstream stream;
    Report(stream, ReportOptions()).show(entry);
    return stream.str();
}

/** The text of a member, whatever the session put there. */
std::string textAt(nlohmann::ordered_json const& object, char const* key) {
    auto const found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

/** The names in a table of channels: its first column, below the heading. */
std::vector<std::string> namesIn(std::string const& table) {
    std::vector<std::string> names;
    std::istringstream rows(table);
    std::string row;
    bool const isTable = std::getline(rows, row) && row.rfind("Name ", 0) == 0;
    while (isTable && std::getline(rows, row)) {
        std::vector<std::string> const words = wordsOf(row);
        if (!words.empty()) {
            names.push_back(words.front());
        }
    }
    return names;
}

} // namespace

Console::Console(ControlClient& session, bool json, ConsoleOutput to)
    : client(session), isJson(json), output(std::move(to)) {}

bool Console::typed(std::string const& line) {
    std::vector<std::string> const words = wordsOf(line);
    if (words.empty()) {
        return true;
    }
    if (words.size() == 1 && (words[0] == "quit" || words[0] == "exit")) {
        return false;
    }
    try {
        if (words[0] == "call") {
            auto const begin = line.find("call") + 4;
            auto const path = line.find_first_not_of(" \t", begin);
            auto const end = line.find_last_not_of(" \t\r") + 1;
            sendCall(path == std::string::npos || path >= end ? "" : line.substr(path, end - path));
        } else {
            open[client.type(line)] = line;
        }
    } catch (std::invalid_argument const& error) {
        complain(error.what());
    }
    return true;
}

bool Console::typed(LineReader::Line const& line) {
    if (line.isTooLong) {
        complain("the line is too long: expected at most " + std::to_string(longestControlLine) +
                 " characters");
        return true;
    }
    return typed(line.text);
}

void Console::sendCall(std::string const& path) {
    if (path.empty()) {
        throw std::invalid_argument("call: expected a call file: call FILE");
    }
    open[client.call(contentOf(path), path)] = "call";
}

void Console::complain(std::string const& error) {
    isFailed = true;
    output.complain(shown("error: " + error));
}

void Console::takeMessages() {
    while (!postponed.empty()) {
        Json const message = std::move(postponed.front());
        postponed.pop_front();
        take(message);
    }
    while (std::optional<Json> const message = client.next()) {
        take(*message);
    }
}

void Console::take(Json const& message) {
    bool const isOfRequest = message.contains("id") && message["id"].is_number_unsigned();
    if (isOfRequest && open.count(message["id"].get<std::uint64_t>()) == 0) {
        return; // of a question of the console's own, answered after it gave up
    }
    if (isJson) {
        output.show(controlLine(message));
    } else if (message.contains("answer")) {
        output.show(shown(textAt(message, "answer")));
    } else if (message.contains("report")) {
        output.show(reportText(message["report"]));
    } else if (message.contains("told")) {
        Json const& told = message["told"];
        output.show(shown("* " + textAt(told, "type") + ": " + textAt(told, "text")));
    }
    if (message.contains("end")) {
        takeEnd(message);
    }
}

void Console::takeEnd(Json const& message) {
    if (message.contains("id") && message["id"].is_number_unsigned()) {
        auto const found = open.find(message["id"].get<std::uint64_t>());
        if (found != open.end()) {
            bool const isOfEnd =
                wordsOf(found->second) == std::vector<std::string>{"session", "end"};
            isEndAsked = isEndAsked || (isOfEnd && !message.contains("error"));
            open.erase(found);
        }
    }
    if (message.contains("error")) {
        isFailed = true;
        if (!isJson) {
            complain(textAt(message, "error"));
        }
    }
    isFailed = isFailed || (message.contains("status") && message["status"] != 0);
}

bool Console::isLeftAlone() {
    if (!client.hasEnded() || (isEndAsked && !isWaiting())) {
        return false;
    }
    output.complain("mcgw: the session went away\n");
    return true;
}

std::vector<std::string> Console::recordNames() {
    std::string answer;
    std::uint64_t const asked = client.type("session records");
    auto const limit = std::chrono::steady_clock::now() + patienceForNames;
    for (;;) {
        std::optional<Json> const message =
            client.await(std::chrono::duration_cast<std::chrono::milliseconds>(
                limit - std::chrono::steady_clock::now()));
        if (!message) {
            return {};
        }
        if (!message->contains("id") || (*message)["id"] != asked) {
            postponed.push_back(*message);
        } else if (message->contains("end")) {
            return namesIn(answer);
        } else {
            answer += textAt(*message, "answer");
        }
    }
}

} // namespace gateway
