#include "gateway/load/LoadPlan.h"

#include "host/bus/BusAddress.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace gateway {

namespace {

constexpr unsigned firstBoard = 0x10;
constexpr unsigned firstOfFloor = 0x02;
constexpr unsigned firstResponder = 0x90;
constexpr unsigned lastSid = 0xFF;
constexpr unsigned mostOwnProcesses = 4;

/** The boards that a number of records needs. */
unsigned boardsFor(LoadOptions const& options) {
    unsigned const onOne = options.channels * 2;
    unsigned const boards = (options.records + onOne - 1) / onOne;
    if (boards > mostBoards) {
        throw std::invalid_argument("--records " + std::to_string(options.records) + ": " +
                                    std::to_string(mostBoards) + " boards of " +
                                    std::to_string(options.channels) + " DSP channels have " +
                                    std::to_string(mostBoards * onOne) + " paths only");
    }
    return boards;
}

/** The lowest `count` addresses from `first` on that are not taken; takes them. */
std::vector<std::uint8_t> freeSids(std::set<std::uint8_t>& taken, unsigned first,
                                   std::size_t count) {
    std::vector<std::uint8_t> result;
    for (unsigned sid = first; sid <= lastSid && result.size() < count; ++sid) {
        if (taken.insert(static_cast<std::uint8_t>(sid)).second) {
            result.push_back(static_cast<std::uint8_t>(sid));
        }
    }
    if (result.size() < count) {
        throw std::invalid_argument("no IMC addresses are left for the floor: use --no-floor");
    }
    return result;
}

void takeBoards(LoadPlan& plan, LoadOptions const& options) {
    if (!plan.isStartingBoards) {
        std::set<unsigned> const different(options.sids.begin(), options.sids.end());
        if (different.size() != options.sids.size() || different.count(options.ownSid) != 0) {
            throw std::invalid_argument("--sid: each IMC address can be one board's only, and " +
                                        std::to_string(options.ownSid) +
                                        " is that of mcgw load itself: see --as");
        }
        plan.boards.assign(options.sids.begin(), options.sids.end());
        return;
    }
    unsigned const boards = options.records != 0 ? boardsFor(options) : options.boards;
    std::set<std::uint8_t> taken = {static_cast<std::uint8_t>(options.ownSid)};
    plan.boards = freeSids(taken, firstBoard, boards);
}

void takeFloor(LoadPlan& plan, LoadOptions const& options) {
    std::set<std::uint8_t> taken(plan.boards.begin(), plan.boards.end());
    taken.insert(static_cast<std::uint8_t>(options.ownSid));
    plan.floorSid = freeSids(taken, firstOfFloor, 1).front();
    plan.responders = freeSids(taken, firstResponder, plan.boards.size());
}

void check(LoadPlan const& plan, LoadOptions const& options) {
    std::size_t const paths = plan.boards.size() * options.channels * 2;
    if (options.records == 0 && options.outstanding > paths) {
        throw std::invalid_argument("--outstanding " + std::to_string(options.outstanding) +
                                    ": the boards have " + std::to_string(paths) +
                                    " paths only, in and out of each DSP channel");
    }
    if (options.processes > plan.boards.size()) {
        throw std::invalid_argument("--processes " + std::to_string(options.processes) +
                                    ": there are fewer boards");
    }
}

} // namespace

LoadPlan planOf(LoadOptions const& options) {
    LoadPlan plan;
    plan.isStartingBoards = options.bus.empty();
    if (plan.isStartingBoards != options.sids.empty()) {
        throw std::invalid_argument("--bus and --sid belong together: the boards that run already");
    }
    takeBoards(plan, options);
    check(plan, options);
    std::size_t const own = std::min<std::size_t>(plan.boards.size(), mostOwnProcesses);
    plan.processes = options.processes != 0 ? options.processes : own;
    // The floor's processes find each other on a bus in a directory only.
    bool const isFloorPossible = plan.isStartingBoards || host::parseBusAddress(options.bus).kind ==
                                                              host::BusAddress::Kind::ipc;
    plan.hasFloor = options.hasFloor && options.records == 0 && isFloorPossible;
    if (plan.hasFloor) {
        takeFloor(plan, options);
    }
    return plan;
}

} // namespace gateway
