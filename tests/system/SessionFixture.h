#ifndef TESTS_SYSTEM_SESSIONFIXTURE_H
#define TESTS_SYSTEM_SESSIONFIXTURE_H

#include "tests/support/TemporaryDirectory.h"
#include "tests/system/Background.h"

#include "gateway/control/ControlClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using Words = std::vector<std::string>;

/** Long enough for the slowest machine; a test that passes never waits that long. */
constexpr std::chrono::seconds controlPatience{60};

/** The commands that are acknowledged begin with these. */
inline Words const requestNames = {"OpenVoice", "CloseVoice", "OpenFax", "CloseFax"};

/** What came of a line. */
struct Said {
    std::string answer;
    std::string error;
    int status = -1;
    /** Of a call, one line each. */
    std::string reports;
};

/** An operator at the session's control socket. */
class Operator {
public:
    using Json = BackgroundProgram::Json;

    explicit Operator(std::string const& path) : client(path) {}

    Said say(std::string const& line) { return await(client.type(line)); }
    /** Types a line, and does not wait. @return what `await` takes */
    std::uint64_t type(std::string const& line) { return client.type(line); }
    Said call(std::string const& text) { return await(client.call(text, "call.toml")); }

    /** Returns when the session tells this. */
    void awaitTold(std::string const& type, std::string const& text) {
        for (;;) {
            Json const told = next().value("told", Json::object());
            if (told.value("type", "") == type && told.value("text", "") == text) {
                return;
            }
        }
    }

    Said await(std::uint64_t request) {
        Said said;
        for (;;) {
            Json const message = next();
            if (message.value("id", std::uint64_t{0}) != request) {
                continue;
            }
            said.answer += message.value("answer", "");
            if (message.contains("report")) {
                said.reports += message["report"].dump() + "\n";
            }
            if (message.contains("end")) {
                said.error = message.value("error", "");
                said.status = message.value("status", -1);
                return said;
            }
        }
    }

private:
    Json next() {
        auto const message = client.await(controlPatience);
        if (!message) {
            throw std::runtime_error("the session says nothing");
        }
        return Json::parse(message->dump());
    }

    gateway::ControlClient client;
};

/** A bus of the test's own, with sessions and boards on it. */
class Sessions : public testing::Test {
protected:
    using Json = BackgroundProgram::Json;
    using Program = std::unique_ptr<BackgroundProgram>;
    using Counts = std::map<std::string, std::uint64_t>;

    Words arguments(std::string const& program, Words const& more) const {
        Words all = {program, "--bus", "ipc://" + directory.path()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    Program board(Words const& more = {}) const {
        auto program = std::make_unique<BackgroundProgram>(arguments("dsp", more));
        program->await("serving");
        return program;
    }
    /** @param more audits are off unless it says otherwise, so that nothing happens by itself */
    Program session(Words more = {"--audit", "0"}) const {
        auto program = std::make_unique<BackgroundProgram>(arguments("session", more));
        program->await("control");
        return program;
    }
    std::string control() const { return directory.path() + "/session-01.control"; }

    static Json awaitText(BackgroundProgram& program, std::string const& type,
                          std::string const& piece) {
        return program.await(type, [&piece](Json const& line) {
            return line.at("text").get<std::string>().find(piece) != std::string::npos;
        });
    }
    /** Ends it as its user does. @return what it counted */
    static Counts counted(BackgroundProgram& program) {
        program.signal(SIGTERM);
        EXPECT_EQ(program.end(), 0);
        EXPECT_EQ(program.errors(), "");
        Counts counts;
        for (Json const& line : program.lines("counter")) {
            counts[line.at("name")] += line.at("count").get<std::uint64_t>();
        }
        return counts;
    }
    static std::uint64_t count(Counts const& counts, std::string const& name) {
        auto const found = counts.find(name);
        return found == counts.end() ? 0 : found->second;
    }
    static std::uint64_t sumOf(Counts const& counts, Words const& names) {
        std::uint64_t sum = 0;
        for (std::string const& name : names) {
            auto const found = counts.find(name);
            sum += found == counts.end() ? 0 : found->second;
        }
        return sum;
    }
    static std::uint64_t linesOf(BackgroundProgram& program, std::string const& type,
                                 Words const& names) {
        std::uint64_t count = 0;
        for (Json const& line : program.lines(type)) {
            std::string const name = line.at("name");
            for (std::string const& each : names) {
                count += name.rfind(each, 0) == 0 ? 1U : 0U;
            }
        }
        return count;
    }
    /** Each request that is acknowledged came to exactly one end. */
    static void expectSettled(BackgroundProgram& session, Counts const& counts) {
        EXPECT_EQ(
            linesOf(session, "command", requestNames),
            sumOf(counts, {"session.ack_in_time", "session.ack_deadline", "session.ack_lost"}))
            << testing::PrintToString(counts);
        EXPECT_LE(count(counts, "session.ack_late"), count(counts, "session.ack_deadline"));
        EXPECT_EQ(
            sumOf(counts, {"bus.unserved", "bus.peer_gone", "bus.not_linked", "bus.window_full"}),
            sumOf(counts, {"session.post_refused", "session.audit_not_sent"}))
            << testing::PrintToString(counts);
    }
    /** Waits until it is so. @return whether it came to be */
    static bool awaitThat(std::function<bool()> const& isSo) {
        auto const end = std::chrono::steady_clock::now() + controlPatience;
        while (!isSo()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
    /** Asks until the outcome of an audit has the piece. @return the last outcome */
    static std::string audited(Operator& person, std::string const& sid, std::string const& piece) {
        std::string last;
        awaitThat([&] {
            last = person.say("session audit " + sid).answer;
            return last.find(piece) != std::string::npos;
        });
        return last;
    }
    /** Asks until the records have the piece. @return the last records */
    static std::string recorded(Operator& person, std::string const& piece) {
        std::string last;
        awaitThat([&] {
            last = person.say("session records").answer;
            return last.find(piece) != std::string::npos;
        });
        return last;
    }
    /** Sends a board that does not take anything what it may hold at most. @return the refusal */
    static std::string fillQueue(Operator& person, std::string const& name) {
        std::string error;
        for (int i = 0; i < 5000 && error.empty(); ++i) {
            error = person.say("session update " + name).error;
        }
        return error;
    }
    static std::string voiceIn(std::string const& name, int dsp = 3) {
        return "session open " + name +
               " board=0x10 direction=in codec=\"G.711 A-law\" dsp=" + std::to_string(dsp) +
               " rtpRemote=10.0.9.1:4000";
    }
    /** Kept, since what it wrote counts. */
    void kill(Program& program) {
        program->signal(SIGKILL);
        EXPECT_EQ(program->end(), -SIGKILL);
        killedOnes.push_back(std::move(program));
    }

    TemporaryDirectory directory;
    std::vector<Program> killedOnes;
};

#endif
