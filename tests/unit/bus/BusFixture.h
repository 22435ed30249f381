#ifndef TESTS_BUS_BUSFIXTURE_H
#define TESTS_BUS_BUSFIXTURE_H

#include "host/Counters.h"
#include "host/bus/BusTransport.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/SidText.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/unit/host/Fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/** Keeps what it hears, one text each: "found 0x10 board". */
class Ears : public host::BusListener {
public:
    void peerFound(unsigned char sid, host::BusHolder const& holder) override {
        heard.push_back("found " + host::sidText(sid) + " " + holder.name);
    }
    void peerLost(unsigned char sid, host::BusHolder const& holder, std::uint64_t undelivered,
                  std::string const& why) override {
        heard.push_back("lost " + host::sidText(sid) + " " + holder.name + " with " +
                        std::to_string(undelivered) + ": " + why);
    }
    void peerReturned(unsigned char sid, host::BusHolder const& holder, bool restarted) override {
        heard.push_back((restarted ? "restarted " : "returned ") + host::sidText(sid) + " " +
                        holder.name);
    }
    void claimLost(unsigned char sid, host::BusHolder const& holder) override {
        heard.push_back("claim lost " + host::sidText(sid) + " to " + holder.name);
    }
    void linkRefused(std::string const& endpoint, std::string const& why) override {
        endpoints.push_back(endpoint);
        heard.push_back("refused: " + why);
    }

    bool hasHeard(std::string const& text) const {
        return std::find(heard.begin(), heard.end(), text) != heard.end();
    }
    /** @param from how many reports are passed over */
    bool hasHeardOf(std::string const& begin, std::size_t from = 0) const {
        return std::any_of(heard.begin() + static_cast<std::ptrdiff_t>(from), heard.end(),
                           [&begin](std::string const& each) { return each.rfind(begin, 0) == 0; });
    }

    std::vector<std::string> heard;
    std::vector<std::string> endpoints;
};

/** A process on the bus, as far as this one can play several. */
struct PlayedNode {
    PlayedNode(host::Dispatcher& loop, host::BusOptions const& options)
        : transport(std::make_unique<host::BusTransport>(loop, counters, options, &ears)) {}

    std::uint64_t counted(host::Cause cause) const { return counters.value(cause); }

    host::Counters counters;
    Ears ears;
    KeepingEndpoint board;
    std::unique_ptr<host::BusTransport> transport;
};

class BusTest : public testing::Test {
protected:
    /** Long enough for the slowest machine; a test that passes never waits that long. */
    static constexpr std::chrono::seconds patience{60};

    host::BusOptions ipc(std::string const& name) const {
        host::BusOptions options;
        options.url = "ipc://" + directory.path();
        options.name = name;
        options.linger = std::chrono::milliseconds(200);
        options.linkWait = patience;
        return options;
    }

    static host::BusOptions tcp(std::string const& name,
                                std::vector<std::string> const& peers = {}) {
        host::BusOptions options;
        options.url = "tcp://127.0.0.1:*";
        options.peers = peers;
        options.name = name;
        options.linger = std::chrono::milliseconds(200);
        options.linkWait = patience;
        return options;
    }

    /** Runs the loop until the condition holds; looks at it again without a task, too. */
    static bool await(host::Dispatcher& loop, std::function<bool()> const& condition) {
        auto const end = host::Dispatcher::Clock::now() + patience;
        while (!loop.runUntil(condition, std::chrono::milliseconds(5))) {
            if (host::Dispatcher::Clock::now() > end) {
                return false;
            }
        }
        return true;
    }
    bool await(std::function<bool()> const& condition) { return await(loop, condition); }

    TemporaryDirectory directory;
    host::Dispatcher loop;
};

#endif
