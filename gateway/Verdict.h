#ifndef GATEWAY_VERDICT_H
#define GATEWAY_VERDICT_H

#include "gateway/CallFile.h"
#include "gateway/Report.h"

#include "MC_Channel.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** What was seen while a step ran. Texts are without NUL characters. */
struct Observed {
    std::optional<std::string> refusal;
    std::vector<Message> commands;
    std::vector<Message> events;
    std::vector<Message> callbacks;
    std::string answer;
    std::size_t answers = 0;
    /** What boards could not take, except what the call file told them not to. */
    std::vector<std::string> reports;
    std::vector<std::string> errors;
    std::vector<std::string> traces;
    /** How often a channel was given a board that nobody knows. */
    std::uint64_t unknownBoards = 0;
    /** How many lines were typed that nobody takes. */
    std::uint64_t unknownCommands = 0;
};

/** The failure of a channel that was given a board that nobody knows. */
Failure unknownBoard(std::uint64_t times);

/** What a step's expectations are compared with besides what was seen. */
struct CheckContext {
    std::vector<ChannelEntry> const& channels;
    /** The record of the channel with this index. */
    std::function<MC_Channel const&(std::size_t)> record;
};

struct Verdict {
    std::size_t held = 0;
    std::vector<Failure> failures;
};

/** A text of a call file with the channels' identifiers in place of "{NAME}". */
std::string expanded(std::string const& text, CheckContext const& context);

/** Whether as many messages and answers have come as the step expects. */
bool isComplete(Step const& step, Observed const& seen);

/**
 * Compares what was expected with what was seen. What nobody expected fails as well where it tells
 * of something wrong: a refusal, an error event, an error acknowledged, a board's report, an error
 * in the log, a board that nobody knows in a step without refusal, a line for the console that
 * nobody takes in a step without answer.
 */
Verdict judge(Step const& step, Observed const& seen, CheckContext const& context);

} // namespace gateway

#endif
