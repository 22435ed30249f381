#include "gateway/Verdict.h"

#include "gateway/Placeholders.h"

#include <algorithm>
#include <iterator>

namespace gateway {

namespace {

using Texts = std::vector<std::string>;

Texts textsOf(std::vector<Message> const& messages) {
    Texts texts;
    std::transform(messages.begin(), messages.end(), std::back_inserter(texts),
                   [](Message const& message) { return message.text(); });
    return texts;
}

bool contains(std::string const& text, std::string const& piece) {
    return text.find(piece) != std::string::npos;
}

bool isError(Message const& callback) {
    std::string const* const error = callback.find("error");
    return callback.name == "ackErrorEvent" || (error != nullptr && *error != "0");
}

/** Collects the verdict of one step. */
class Judge {
public:
    Judge(Step const& itsStep, Observed const& whatWasSeen, CheckContext const& with)
        : expect(itsStep.expect), seen(whatWasSeen), context(with) {}

    Verdict judge();

private:
    void count(bool holds, Failure const& otherwise);
    Texts expandedTexts(Texts const& texts) const;
    void judgeRefusal();
    void judgeMessages(char const* what, std::optional<std::vector<Message>> const& expected,
                       std::vector<Message> const& all);
    void judgeUnexpectedErrors();
    void judgePieces(char const* what, Texts const& expected, std::string const& text);
    void judgeEach(char const* what, Texts const& expected, Texts const& all);
    void judgeTraces();
    void judgeFields();
    void judgePlatform();

    Expectation const& expect;
    Observed const& seen;
    CheckContext const& context;
    Verdict verdict;
};

void Judge::count(bool holds, Failure const& otherwise) {
    if (holds) {
        ++verdict.held;
    } else {
        verdict.failures.push_back(otherwise);
    }
}

Texts Judge::expandedTexts(Texts const& texts) const {
    Texts result;
    for (std::string const& text : texts) {
        result.push_back(expanded(text, context));
    }
    return result;
}

void Judge::judgeRefusal() {
    Texts const refusal = seen.refusal ? Texts{*seen.refusal} : Texts();
    if (!expect.isRefusal()) {
        if (seen.refusal) {
            verdict.failures.push_back({"refusal that nobody expected", {}, refusal});
        }
        return;
    }
    if (expect.refusal) {
        std::string const text = expanded(*expect.refusal, context);
        count(seen.refusal == text, {"refusal", {text}, refusal});
    }
    judgePieces("refusal", expect.refusalContains, seen.refusal.value_or(""));
}

void Judge::judgeMessages(char const* what, std::optional<std::vector<Message>> const& expected,
                          std::vector<Message> const& all) {
    if (!expected) {
        return;
    }
    auto const different =
        std::mismatch(expected->begin(), expected->end(), all.begin(), all.end(), matches);
    bool const holds = different.first == expected->end() && different.second == all.end();
    auto const number = std::to_string(different.first - expected->begin() + 1);
    count(holds, {std::string(what) + ", different from number " + number + " on",
                  textsOf(*expected), textsOf(all)});
}

void Judge::judgeUnexpectedErrors() {
    if (expect.callbacks) {
        return;
    }
    std::vector<Message> errors;
    std::copy_if(seen.callbacks.begin(), seen.callbacks.end(), std::back_inserter(errors), isError);
    if (!errors.empty()) {
        verdict.failures.push_back({"error callbacks that nobody expected", {}, textsOf(errors)});
    }
}

void Judge::judgePieces(char const* what, Texts const& expected, std::string const& text) {
    Texts const shown = text.empty() ? Texts() : Texts{text};
    for (std::string const& piece : expandedTexts(expected)) {
        count(contains(text, piece), {what, {"a text that contains \"" + piece + "\""}, shown});
    }
}

void Judge::judgeEach(char const* what, Texts const& expected, Texts const& all) {
    Texts const pieces = expandedTexts(expected);
    bool const holds = std::equal(all.begin(), all.end(), pieces.begin(), pieces.end(), contains);
    if (holds) {
        verdict.held += pieces.size();
    } else {
        verdict.failures.push_back({what, pieces, all});
    }
}

void Judge::judgeTraces() {
    auto from = seen.traces.begin();
    for (std::string const& piece : expandedTexts(expect.traces)) {
        auto const found = std::find_if(from, seen.traces.end(), [&piece](std::string const& each) {
            return contains(each, piece);
        });
        bool const holds = found != seen.traces.end();
        count(holds, {"traces",
                      {"a trace that contains \"" + piece + "\""},
                      Texts(from, seen.traces.end())});
        from = holds ? std::next(found) : from;
    }
}

void Judge::judgeFields() {
    for (ExpectedField const& expected : expect.fields) {
        ChannelField const& field = *expected.setting.field;
        std::string const wanted = field.type.text(expected.setting.value);
        std::string const actual = field.type.text(field.get(context.record(expected.channel)));
        count(wanted == actual,
              {field.name + " of " + context.channels[expected.channel].name, {wanted}, {actual}});
    }
}

void Judge::judgePlatform() {
    if (seen.unknownBoards != 0 && !expect.isRefusal()) {
        verdict.failures.push_back(unknownBoard(seen.unknownBoards));
    }
    bool const isAnswerExpected = expect.answer || !expect.answerContains.empty();
    if (seen.unknownCommands != 0 && !isAnswerExpected) {
        verdict.failures.push_back({"console command that nobody takes", {}, {seen.answer}, true});
    }
}

Verdict Judge::judge() {
    judgeRefusal();
    judgeMessages("commands", expect.commands, seen.commands);
    judgeMessages("events", expect.events, seen.events);
    judgeMessages("callbacks", expect.callbacks, seen.callbacks);
    judgeUnexpectedErrors();
    if (expect.answer) {
        std::string const answer = expanded(*expect.answer, context);
        count(answer == seen.answer, {"answer", {answer}, {seen.answer}});
    }
    judgePieces("answer", expect.answerContains, seen.answer);
    judgeEach("reports of the boards", expect.reports, seen.reports);
    judgeEach("errors in the log", expect.errors, seen.errors);
    judgeTraces();
    judgeFields();
    judgePlatform();
    return verdict;
}

template <typename List>
bool isReached(std::optional<List> const& expected, List const& seen) {
    return !expected || seen.size() >= expected->size();
}

} // namespace

Failure unknownBoard(std::uint64_t times) {
    return {"unknown board",
            {"mediaGateway is the ip of a board, or voicelan stands in for it"},
            {"imc.unknown_board: " + std::to_string(times)}};
}

std::string expanded(std::string const& text, CheckContext const& context) {
    return expandPlaceholders(text, [&context](std::string const& name) {
        auto const found =
            std::find_if(context.channels.begin(), context.channels.end(),
                         [&name](ChannelEntry const& each) { return each.name == name; });
        auto const index = static_cast<std::size_t>(found - context.channels.begin());
        return found == context.channels.end()
                   ? std::nullopt
                   : std::optional<std::string>(context.record(index).getIdentifier());
    });
}

bool isComplete(Step const& step, Observed const& seen) {
    Expectation const& expect = step.expect;
    bool const isConsole = std::holds_alternative<ConsoleAction>(step.action);
    return isReached(expect.commands, seen.commands) && isReached(expect.events, seen.events) &&
           isReached(expect.callbacks, seen.callbacks) && (!isConsole || seen.answers > 0);
}

Verdict judge(Step const& step, Observed const& seen, CheckContext const& context) {
    return Judge(step, seen, context).judge();
}

} // namespace gateway
