// Call files. One that is taken has to hold what steps may refer to, and is placed when it can't
// end the process, without any waiting.

#include "tests/fuzz/Check.h"
#include "tests/fuzz/Target.h"

#include "gateway/CallFile.h"
#include "gateway/CallRunner.h"
#include "gateway/LocalSite.h"
#include "gateway/Report.h"
#include "host/Workstation.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>

namespace {

using fuzz::require;
using fuzz::requireEqual;
using gateway::CallFile;
using gateway::ChannelAction;
using gateway::FieldSetting;
using gateway::Step;
using Operation = ChannelAction::Operation;

std::string const path = "call.toml";

/** The place of what is refused. */
void requirePlace(std::string const& text) {
    require(text.rfind(path + ":", 0) == 0, "a refusal names the file");
    std::istringstream from(text.substr(path.size() + 1));
    unsigned line = 0;
    unsigned column = 0;
    char mark = '\0';
    from >> line >> mark >> column;
    require(from && line > 0 && column > 0 && mark == ':', "a refusal has a place");
    requireEqual(std::string(1, static_cast<char>(from.get())), ":", "end of a place");
}

void requireWhole(CallFile const& file) {
    require(!file.boards.empty(), "there is a board");
    std::set<std::string> names;
    for (auto const& channel : file.channels) {
        require(names.insert(channel.name).second, "a channel's name is its own");
    }
    for (Step const& step : file.steps) {
        require(!step.channel || *step.channel < file.channels.size(), "a step's channel exists");
        require(std::all_of(step.expect.fields.begin(), step.expect.fields.end(),
                            [&file](auto const& each) {
                                return each.channel < file.channels.size() &&
                                       each.setting.field != nullptr;
                            }),
                "an expected field's channel exists");
    }
}

/** Whether the fields send commands to one of the file's boards. */
bool nameBoard(CallFile const& file, std::vector<FieldSetting> const& fields) {
    auto const isBoard = [&file](FieldSetting const& setting) {
        auto const* const ip = std::get_if<std::string>(&setting.value);
        return setting.field->name == "mediaGateway" && ip != nullptr &&
               std::any_of(file.boards.begin(), file.boards.end(),
                           [ip](auto const& board) { return board.ip == *ip; });
    };
    return std::any_of(fields.begin(), fields.end(), isBoard);
}

bool changesBoard(std::vector<FieldSetting> const& fields) {
    return std::any_of(fields.begin(), fields.end(), [](FieldSetting const& setting) {
        return setting.field->name == "mediaGateway" || setting.field->name == "sid";
    });
}

/**
 * The library ends the process at a command that no board takes, or that is for a channel which is
 * not open; the program then ends with a status of its own. Such a file is read, and not placed.
 */
bool mayEndTheProcess(CallFile const& file) {
    std::set<std::size_t> open;
    for (Step const& step : file.steps) {
        auto const* const action = std::get_if<ChannelAction>(&step.action);
        if (action == nullptr || !step.channel) {
            continue;
        }
        bool const opens =
            action->operation == Operation::open || action->operation == Operation::activateFax;
        bool const needsOpen = !opens && action->operation != Operation::close;
        if (changesBoard(action->set) || !nameBoard(file, file.channels[*step.channel].fields) ||
            (needsOpen && open.count(*step.channel) == 0)) {
            return true;
        }
        if (opens) {
            open.insert(*step.channel);
        } else if (action->operation == Operation::close) {
            open.erase(*step.channel);
        }
    }
    return false;
}

/** An operator may ask for more lines of text than there is time for. */
bool asksForMuch(CallFile const& file) {
    return std::any_of(file.steps.begin(), file.steps.end(), [](Step const& step) {
        auto const* const action = std::get_if<gateway::ConsoleAction>(&step.action);
        return action != nullptr && action->line.find("0x") != std::string::npos;
    });
}

void withoutWaiting(CallFile& file) {
    file.deadline = gateway::Milliseconds(0);
    for (auto& board : file.boards) {
        board.ackDelay = gateway::Milliseconds(0);
    }
    for (Step& step : file.steps) {
        if (auto* const action = std::get_if<gateway::WaitAction>(&step.action)) {
            action->time = gateway::Milliseconds(0);
        }
    }
}

/**
 * How many channels are on the manager's list at the end, provided that no operation is refused;
 * nothing when one may be there twice.
 */
std::optional<std::size_t> channelsLeftOpen(CallFile const& file) {
    std::set<std::size_t> open;
    for (Step const& step : file.steps) {
        auto const* const action = std::get_if<ChannelAction>(&step.action);
        if (action == nullptr || !step.channel) {
            continue;
        }
        if (action->operation == Operation::close) {
            open.erase(*step.channel);
        } else if (action->operation == Operation::open && !open.insert(*step.channel).second) {
            return std::nullopt;
        } else if (action->operation == Operation::activateFax) {
            open.insert(*step.channel);
        }
    }
    return open.size();
}

void place(CallFile const& file, bool isJson) {
    host::Workstation& workstation = host::Workstation::instance();
    std::size_t const before = workstation.liveObjects();
    std::ostringstream output;
    gateway::ReportOptions options;
    options.json = isJson;
    gateway::Report report(output, options);
    gateway::Summary summary;
    {
        gateway::CallRunner runner(std::make_unique<gateway::LocalSite>(), file, report, 3U);
        summary = runner.run();
    }
    require(summary.steps == file.steps.size() && summary.stepsDone <= summary.steps,
            "the steps are counted");
    require(summary.stepsDone == summary.steps || summary.failed > 0,
            "a file that is not run to its end has failed");
    require(summary.refusals <= summary.steps, "a step is refused once");
    require(summary.callbacks <= summary.events, "a callback has its event");
    require(!output.str().empty(), "what happens is reported");
    // Of what is still listed, the list's references stay behind.
    auto const left = channelsLeftOpen(file);
    bool const isDone = summary.stepsDone == summary.steps && summary.refusals == 0 &&
                        output.str().find("could not be done") == std::string::npos;
    if (left && isDone) {
        requireEqual(workstation.liveObjects() - before, *left, "channels left");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(data, data + size);
    CallFile file;
    try {
        file = gateway::parseCallFile(text, path);
    } catch (gateway::CallFileError const& refusal) {
        requirePlace(refusal.what());
        return 0;
    }
    requireWhole(file);
    if (!mayEndTheProcess(file) && !asksForMuch(file)) {
        withoutWaiting(file);
        // Both ways of reporting, as the size of the file has it.
        place(file, size % 2 == 1);
    }
    return 0;
}
