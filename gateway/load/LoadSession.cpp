#include "gateway/load/LoadSession.h"

#include "gateway/load/LibraryClient.h"

#include "host/Text.h"
#include "host/bus/BusAddress.h"
#include "host/bus/BusTransport.h"
#include "host/imc/SidText.h"

#include <iostream>
#include <stdexcept>
#include <utility>

namespace gateway {

namespace {

constexpr std::chrono::milliseconds look{100};
/** With boards that are being started, and with ones that run already. */
constexpr std::chrono::seconds patience{30};
constexpr std::chrono::seconds shortPatience{5};

std::vector<std::string> boardArguments(std::string const& url, unsigned channels,
                                        std::vector<std::uint8_t> const& sids) {
    std::vector<std::string> words = {
        "dsp", "--quiet", "--bus", url, "--channels", std::to_string(channels), "--sid"};
    for (std::uint8_t const sid : sids) {
        words.push_back(std::to_string(sid));
    }
    return words;
}

} // namespace

void EarlyEnd::ask() {
    asked = true;
    if (onEnd) {
        onEnd();
    }
}

void EarlyEnd::fail(std::string const& reason) {
    if (why.empty()) {
        why = reason;
    }
    if (onEnd) {
        onEnd();
    }
}

Ticker::Ticker(host::Dispatcher& loop, std::chrono::milliseconds every, std::function<void()> what)
    : dispatcher(loop), period(every), task(std::move(what)) {
    post();
}

void Ticker::post() {
    dispatcher.postAfter(period, [this, alive = std::weak_ptr<bool>(life)] {
        if (!alive.expired()) {
            task();
            post();
        }
    });
}

LoadSession::LoadSession(LoadOptions const& options, LoadPlan const& itsPlan, EarlyEnd& itsEnd,
                         host::Tap* tap)
    : plan(itsPlan), end(itsEnd), workstation(host::Workstation::instance()), url(options.bus) {
    if (plan.isStartingBoards) {
        directory.emplace();
        url = "ipc://" + directory->path();
        boards = std::make_unique<ServingProcesses>(
            sharedOut(plan.boards, plan.processes), [&](std::vector<std::uint8_t> const& sids) {
                return boardArguments(url, options.channels, sids);
            });
    }
    join(options);
    workstation.transport().setTap(tap);
    failOnLibraryEnd();
    try {
        await(watch, plan.boards, boards.get());
    } catch (...) {
        workstation.reset();
        throw;
    }
    watch.onLost = [this](std::uint8_t sid, std::string const& text) {
        end.fail(host::sidText(sid) + " " + text);
    };
}

LoadSession::~LoadSession() {
    watch.onLost = nullptr;
    // The transport goes with it, before the listener that it tells.
    workstation.reset();
}

void LoadSession::join(LoadOptions const& options) {
    host::BusOptions bus;
    bus.url = url;
    bus.peers = options.peers;
    bus.keys = options.keys;
    bus.name = "mcgw load";
    workstation.setSid(static_cast<unsigned char>(options.ownSid));
    workstation.setTransport(
        std::make_unique<host::BusTransport>(dispatcher(), counters, bus, &watch));
    for (std::uint8_t const sid : plan.boards) {
        workstation.setBoard(boardIp(sid), sid);
    }
}

/** The library ends the process when a command can't be delivered; here that ends the run. */
void LoadSession::failOnLibraryEnd() {
    workstation.setLogSink([this](host::Workstation::LogLine const& line) {
        if (line.isError) {
            why = std::exchange(lastError, host::withoutNul(line.text + ": " + line.detail));
        } else {
            std::cerr << line.text << line.detail << '\n';
        }
    });
    workstation.setExitAction([this](int) { end.fail("the library gave up: " + why); });
}

std::vector<pid_t> LoadSession::boardProcesses() const {
    bool const isHere = host::parseBusAddress(url).kind == host::BusAddress::Kind::ipc;
    return isHere ? watch.processesOf(plan.boards) : std::vector<pid_t>();
}

void LoadSession::await(PeerWatch const& peers, std::vector<std::uint8_t> const& sids,
                        ServingProcesses const* processes) {
    auto const wait = processes != nullptr ? patience : shortPatience;
    auto const limit = std::chrono::steady_clock::now() + wait;
    auto const isOver = [&] { return peers.areServed(sids) || end.has(); };
    while (!dispatcher().runUntil(isOver, look)) {
        if (processes != nullptr) {
            processes->requireRunning();
        }
        if (std::chrono::steady_clock::now() > limit) {
            throw std::runtime_error("not all boards are on " + url + " after " +
                                     std::to_string(wait.count()) + " s");
        }
    }
}

} // namespace gateway
