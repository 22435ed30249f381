#include "gateway/LocalSite.h"

#include "gateway/Text.h"

#include <algorithm>
#include <stdexcept>

namespace gateway {

LocalSite::LocalSite() : workstation(host::Workstation::instance()) {}

LocalSite::~LocalSite() {
    manager.reset();
    boards.reset();
    workstation.reset();
}

Boards::Tap LocalSite::tapTo(CallSiteListener& listener) {
    Boards::Tap tap;
    tap.command = [&listener](Message const& command) { listener.seeCommand(command); };
    tap.event = [&listener](Message const& event) { listener.seeEvent(event); };
    tap.report = [&listener](std::string const& board, std::string const& text) {
        listener.seeBoardReport(board, text);
    };
    return tap;
}

void LocalSite::begin(CallFile const& file, CallSiteListener& listener) {
    workstation.setLogSink(
        [&listener](host::Workstation::LogLine const& line) { listener.seeLog(line); });
    workstation.setExitAction([&listener](int cause) { listener.seeLibraryEnd(cause); });
    objectsBefore = workstation.liveObjects();
    boards.emplace(workstation, file.boards, tapTo(listener));
    manager.emplace([&listener](Message const& callback) { listener.seeCallback(callback); });
}

MC_Channel& LocalSite::create(std::string const& name) {
    records.push_back(&manager->create(name));
    return *records.back();
}

void LocalSite::order(unsigned char sid, dsp::Order const& order) {
    obey(boards->at(sid), order);
}

/** Reading a record that was destroyed early would be undefined: the file ends there instead. */
void LocalSite::requireLiveRecords() const {
    std::size_t const live = workstation.liveObjects();
    if (live < objectsBefore + records.size()) {
        throw std::runtime_error("of " + plural(records.size(), "channel record") +
                                 " that the Session Manager holds a reference on, " +
                                 std::to_string(objectsBefore + records.size() - live) +
                                 " did not live on");
    }
}

std::optional<Failure> LocalSite::end() {
    auto const stillListed = std::count_if(records.begin(), records.end(), [](auto const* each) {
        return SessionManager::listings(*each) != 0;
    });
    manager.reset();
    boards.reset();
    std::size_t const expected = objectsBefore + static_cast<std::size_t>(stillListed);
    if (workstation.liveObjects() == expected) {
        return std::nullopt;
    }
    return Failure{"references",
                   {"all returned"},
                   {plural(workstation.liveObjects(), "object") + " left, " +
                    std::to_string(expected) + " of them rightly"}};
}

} // namespace gateway
