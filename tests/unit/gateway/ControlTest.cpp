// The control socket: a server and consoles in one process, those included that talk nonsense.

#include "gateway/control/ControlClient.h"
#include "gateway/control/ControlServer.h"
#include "gateway/control/Framing.h"
#include "gateway/control/Socket.h"

#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

using gateway::ControlClient;
using gateway::ControlExchange;
using gateway::ControlRequest;
using gateway::ControlServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using Json = ControlServer::Json;
using Exchange = std::shared_ptr<ControlExchange>;

/** Long enough for the slowest machine; a test that passes never waits that long. */
constexpr std::chrono::seconds patience{60};

bool await(std::function<bool()> const& isDone) {
    auto const limit = std::chrono::steady_clock::now() + patience;
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/** A console that sends and reads bytes as a test wants it. */
class RawConsole {
public:
    explicit RawConsole(std::string const& path)
        : connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (connect(connection.get(), gateway::SocketPath(path).get(), gateway::SocketPath::size) !=
            0) {
            throw std::runtime_error("can't connect to " + path);
        }
    }

    /** @return false when the other side does not take it */
    bool send(std::string const& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            ssize_t const count =
                ::send(connection.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count < 0) {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }

    /** The next message; null when the connection was closed. */
    Json read() {
        for (;;) {
            if (auto const line = reader.next()) {
                return Json::parse(line->text);
            }
            std::array<char, 65536> buffer;
            pollfd polled{connection.get(), POLLIN, 0};
            if (poll(&polled, 1, 60000) <= 0) {
                throw std::runtime_error("nothing comes");
            }
            ssize_t const count = recv(connection.get(), buffer.data(), buffer.size(), 0);
            if (count <= 0) {
                return nullptr;
            }
            reader.add(buffer.data(), static_cast<std::size_t>(count));
        }
    }

    void closeInput() { shutdown(connection.get(), SHUT_WR); }

private:
    gateway::OwnedSocket connection;
    gateway::LineReader reader;
};

/** One that was taken. */
class GreetedConsole : public RawConsole {
public:
    explicit GreetedConsole(std::string const& path) : RawConsole(path) {
        EXPECT_EQ(read(), Json::parse(R"({"session": {"name": "lab", "pid": 4711}})"));
    }
};

class Control : public testing::Test {
protected:
    Control() {
        server = make(path);
        thread = std::thread([this] { loop.run(); });
    }
    ~Control() override {
        stopLoop();
        kept.clear();
        server.reset();
    }

    std::unique_ptr<ControlServer> make(std::string const& at) {
        return std::make_unique<ControlServer>(
            loop, at, Json({{"name", "lab"}, {"pid", 4711}}),
            [this](ControlRequest const& request, Exchange const& exchange) {
                handle(request, exchange);
            });
    }
    void stopLoop() {
        if (thread.joinable()) {
            loop.stop();
            thread.join();
        }
    }
    /** Does it on the loop, and waits for that. */
    void inLoop(std::function<void()> const& task) {
        std::atomic<bool> isDone{false};
        loop.post([&] {
            task();
            isDone = true;
        });
        ASSERT_TRUE(await([&] { return isDone.load(); }));
    }
    void handle(ControlRequest const& request, Exchange const& exchange) {
        ++handled;
        if (request.line == "keep") {
            kept.push_back(exchange);
        } else if (request.line == "drop") {
            return;
        } else if (request.line == "throw") {
            throw std::runtime_error("the handler failed");
        } else if (request.line == "watch") {
            server->watch(request.console, true);
            exchange->end();
        } else if (request.line == "unwatch") {
            server->watch(request.console, false);
            exchange->end();
        } else if (request.line == "flood") {
            flood(*exchange);
        } else if (request.line == "destroy") {
            exchange->end();
            server.reset();
            exchange->answer("too late");
        } else if (request.isCall) {
            exchange->report({{"type", "file"}, {"file", request.name}, {"text", request.call}});
            exchange->end("", 1);
        } else {
            exchange->answer(request.line.empty() ? answer : request.line);
            exchange->end();
        }
    }
    static void flood(ControlExchange& exchange) {
        // Limited, so that a server that takes everything fails the test and not the machine.
        for (int i = 0; i < 1000 && !exchange.isGone(); ++i) {
            exchange.answer(std::string(100000, 'x'));
        }
    }
    /** It still does what it is for. */
    static void expectServed(RawConsole& console) {
        ASSERT_TRUE(console.send("{\"id\": 99, \"line\": \"hello\"}\n"));
        EXPECT_EQ(console.read(), Json::parse(R"({"id": 99, "answer": "hello"})"));
        EXPECT_EQ(console.read(), Json::parse(R"({"id": 99, "end": true})"));
    }
    std::uint64_t counted(std::string const& cause) {
        auto const counters = server->counters();
        auto const found = counters.find(cause);
        return found == counters.end() ? 0 : found->second;
    }

    TemporaryDirectory directory;
    std::string const path = directory.path() + "/session-01.control";
    host::Dispatcher loop;
    std::unique_ptr<ControlServer> server;
    std::thread thread;
    std::atomic<int> handled{0};
    /** Of the loop. */
    std::vector<Exchange> kept;
    std::string answer;
};

TEST_F(Control, GreetsAnswersAndEnds) {
    GreetedConsole console(path);
    expectServed(console);
    EXPECT_THAT(server->counters(), IsEmpty());
    EXPECT_EQ(server->path(), path);
    EXPECT_EQ(server->consoles(), 1U);
}

TEST_F(Control, ACallHasReportsAndAStatus) {
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"call\": \"title = 1\", \"name\": \"a.toml\"}\n");
    EXPECT_EQ(
        console.read(),
        Json::parse(
            R"({"id": 1, "report": {"type": "file", "file": "a.toml", "text": "title = 1"}})"));
    EXPECT_EQ(console.read(), Json::parse(R"({"id": 1, "end": true, "status": 1})"));
}

TEST_F(Control, AnswersHoldAnyByte) {
    answer = std::string("a\0b\xff\n\x1b", 6);
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"\"}\n");
    EXPECT_EQ(console.read().at("answer").get<std::string>(),
              std::string("a\0b\xEF\xBF\xBD\n\x1b", 8));
    EXPECT_EQ(console.read().at("end"), true);
}

TEST_F(Control, ALineHoldsNul) {
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"MC\\u0000All\"}\n");
    EXPECT_EQ(console.read().at("answer").get<std::string>(), std::string("MC\0All", 6));
}

TEST_F(Control, ALongAnswerComesInPieces) {
    for (int i = 0; i < 40000; ++i) {
        answer += "line " + std::to_string(i) + "\n";
    }
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"\"}\n");
    std::string seen;
    int pieces = 0;
    for (Json message = console.read(); !message.contains("end"); message = console.read()) {
        std::string const piece = message.at("answer");
        EXPECT_EQ(piece.back(), '\n');
        seen += piece;
        ++pieces;
    }
    EXPECT_GT(pieces, 1);
    EXPECT_EQ(seen, answer);
}

TEST_F(Control, ALongAnswerIsNotCutInACharacter) {
    for (int i = 0; i < 150000; ++i) {
        answer += "\xE2\x82\xAC";
    }
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"\"}\n");
    std::string seen;
    for (Json message = console.read(); !message.contains("end"); message = console.read()) {
        seen += message.at("answer").get<std::string>();
    }
    EXPECT_EQ(seen, answer);
}

TEST_F(Control, AnEntryThatFitsNoLineIsReplaced) {
    GreetedConsole console(path);
    std::string const call(gateway::longestControlLine - 100, 'x');
    console.send(Json({{"id", 1}, {"call", call}}).dump() + "\n");
    std::string const text = console.read().at("report").at("text");
    EXPECT_LT(text.size(), 100U);
    EXPECT_THAT(text, testing::EndsWith("characters: too many for a line"));
    EXPECT_EQ(console.read().at("end"), true);
}

struct Garbage {
    std::string line;
    Json id;
    std::string error;
};

class ControlGarbage : public Control, public testing::WithParamInterface<Garbage> {};

TEST_P(ControlGarbage, IsAnsweredWithWhatIsExpected) {
    GreetedConsole console(path);
    console.send(GetParam().line + "\n");
    Json const reply = console.read();
    EXPECT_EQ(reply.at("id"), GetParam().id);
    EXPECT_EQ(reply.at("end"), true);
    EXPECT_THAT(reply.at("error").get<std::string>(),
                AllOf(HasSubstr(GetParam().error), HasSubstr("expected")));
    EXPECT_EQ(counted("control.bad_request"), 1U);
    EXPECT_EQ(handled, 0);
    expectServed(console);
}

std::string const noJson = "this is no JSON";
std::string const badId = "\"id\" is missing or no integer";
std::string const eitherOr = "either \"line\"";

INSTANTIATE_TEST_SUITE_P(
    OfEveryKind, ControlGarbage,
    testing::Values(
        Garbage{"", nullptr, noJson}, Garbage{"help", nullptr, noJson},
        Garbage{"{\"id\": 1, \"line\": \"help\"", nullptr, noJson},
        Garbage{"{\"id\": 1, \"line\": \"help\"} x", nullptr, noJson},
        Garbage{"{\"id\": 1, \"line\": \"\xff\xfe\"}", nullptr, noJson},
        Garbage{std::string("\0\0\0", 3), nullptr, noJson},
        Garbage{std::string(500000, '['), nullptr, noJson},
        Garbage{"[1, 2]", nullptr, "this is no JSON object"},
        Garbage{"null", nullptr, "this is no JSON object"},
        Garbage{"\"help\"", nullptr, "this is no JSON object"}, Garbage{"{}", nullptr, badId},
        Garbage{"{\"line\": \"help\"}", nullptr, badId},
        Garbage{"{\"id\": \"1\", \"line\": \"help\"}", nullptr, badId},
        Garbage{"{\"id\": 1.5, \"line\": \"help\"}", nullptr, badId},
        Garbage{"{\"id\": 99999999999999999999999, \"line\": \"help\"}", nullptr, badId},
        Garbage{"{\"id\": 1}", 1, eitherOr},
        Garbage{"{\"id\": 1, \"line\": \"a\", \"call\": \"b\"}", 1, eitherOr},
        Garbage{"{\"id\": -1, \"line\": 7}", -1, "\"line\" is no text"},
        Garbage{"{\"id\": 1, \"call\": null}", 1, "\"call\" is no text"},
        Garbage{"{\"id\": 1, \"call\": \"\", \"name\": []}", 1, "\"name\" is no text"}));

TEST_F(Control, ALineMayHaveAMebibyteAndNoMore) {
    GreetedConsole console(path);
    std::string const begin = "{\"id\": 1, \"line\": \"hello\"";
    std::string line = begin + std::string(gateway::longestControlLine - begin.size() - 1, ' ');
    console.send(line + "}\n");
    EXPECT_EQ(console.read().at("answer"), "hello");
    EXPECT_EQ(console.read().at("end"), true);
    console.send(line + " }\n");
    EXPECT_THAT(console.read().at("error").get<std::string>(),
                StartsWith("the line is too long: expected at most 1048576 characters"));
    console.send(std::string(3 * gateway::longestControlLine, 'x'));
    EXPECT_THAT(console.read().at("error").get<std::string>(), StartsWith("the line is too long"));
    console.send("the end of it\n");
    expectServed(console);
    EXPECT_EQ(counted("control.bad_request"), 2U);
}

TEST_F(Control, ALineMayComeInParts) {
    GreetedConsole console(path);
    for (char const each : std::string("{\"id\": 1, \"line\": \"slow\"}\n")) {
        console.send(std::string(1, each));
    }
    EXPECT_EQ(console.read().at("answer"), "slow");
}

TEST_F(Control, ARequestWithoutItsEndOfLineIsNone) {
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"whole\"}\n{\"id\": 2, \"line\": \"half\"}");
    console.closeInput();
    // The other line may be refused before the first one has its answer.
    std::vector<Json> const replies = {console.read(), console.read(), console.read()};
    EXPECT_THAT(replies,
                UnorderedElementsAre(
                    Json::parse(R"({"id": 1, "answer": "whole"})"),
                    Json::parse(R"({"id": 1, "end": true})"),
                    Json::parse(R"({"id": null, "end": true, )"
                                R"("error": "the last line has no end: expected a newline"})")));
    EXPECT_EQ(console.read(), nullptr);
    EXPECT_EQ(handled, 1);
}

TEST_F(Control, WhoEndsItsInputStillGetsItsAnswers) {
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"keep\"}\n");
    console.closeInput();
    ASSERT_TRUE(await([&] { return handled == 1; }));
    inLoop([&] {
        kept.front()->answer("late");
        kept.front()->end();
    });
    EXPECT_EQ(console.read().at("answer"), "late");
    EXPECT_EQ(console.read().at("end"), true);
    EXPECT_EQ(console.read(), nullptr);
    EXPECT_TRUE(await([&] { return server->consoles() == 0; }));
}

TEST_F(Control, AConsoleThatLeavesInTheMiddleIsGoneForItsRequestsOnly) {
    GreetedConsole stays(path);
    {
        GreetedConsole leaves(path);
        leaves.send("{\"id\": 1, \"line\": \"keep\"}\n");
        ASSERT_TRUE(await([&] { return handled == 1; }));
        inLoop([&] { EXPECT_FALSE(kept.front()->isGone()); });
        leaves.send("{\"id\": 2, \"li");
    }
    ASSERT_TRUE(await([&] { return server->consoles() == 1; }));
    inLoop([&] {
        EXPECT_TRUE(kept.front()->isGone());
        kept.front()->answer("into the void");
        kept.front()->end();
    });
    expectServed(stays);
}

TEST_F(Control, AConsoleThatNeverReadsLosesItsConnection) {
    GreetedConsole reads(path);
    RawConsole doesNot(path);
    doesNot.send("{\"id\": 1, \"line\": \"flood\"}\n");
    ASSERT_TRUE(await([&] { return counted("control.console_slow") == 1; }));
    expectServed(reads);
    EXPECT_TRUE(await([&] { return server->consoles() == 1; }));
    int answers = 0;
    while (!doesNot.read().is_null()) {
        ++answers;
    }
    EXPECT_LT(answers, 60);
}

TEST_F(Control, OneAnswerMayBeLongerThanWhatMayWait) {
    for (std::size_t i = 0; i < 3 * ControlServer::mostWaiting / 64; ++i) {
        answer += std::string(63, 'x') + "\n";
    }
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"\"}\n");
    // It has all been said before any of it is read.
    ASSERT_TRUE(await([&] { return handled == 1; }));
    inLoop([] {});
    std::string seen;
    Json message = console.read();
    while (message.is_object() && !message.contains("end")) {
        seen += message.at("answer").get<std::string>();
        message = console.read();
    }
    EXPECT_EQ(message, Json::parse(R"({"id": 1, "end": true})"));
    EXPECT_EQ(seen, answer);
    EXPECT_EQ(counted("control.console_slow"), 0U);
}

TEST_F(Control, SoManyConsolesAreAttachedAndNoMore) {
    std::vector<std::unique_ptr<RawConsole>> consoles;
    for (std::size_t i = 0; i < ControlServer::mostConsoles; ++i) {
        consoles.push_back(std::make_unique<RawConsole>(path));
        EXPECT_TRUE(consoles.back()->read().contains("session"));
    }
    for (int i = 0; i < 200; ++i) {
        RawConsole refused(path);
        EXPECT_EQ(
            refused.read(),
            Json::parse(R"({"id": null, "end": true, "error": "64 consoles are attached )"
                        R"(already, and no more are taken: expected one of them to leave"})"));
        EXPECT_EQ(refused.read(), nullptr);
    }
    EXPECT_THAT(server->counters(), ElementsAre(Pair("control.console_refused", 200U)));
    try {
        ControlClient const client(path);
        FAIL() << "a console too many was attached";
    } catch (std::runtime_error const& error) {
        EXPECT_THAT(error.what(), HasSubstr("64 consoles are attached already"));
    }
    expectServed(*consoles.back());
    consoles.pop_back();
    ASSERT_TRUE(await([&] { return server->consoles() == 63; }));
    GreetedConsole console(path);
    expectServed(console);
}

TEST_F(Control, EveryRequestHasOneEnd) {
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"keep\"}\n");
    ASSERT_TRUE(await([&] { return handled == 1; }));
    inLoop([&] {
        kept.front()->end("first");
        EXPECT_TRUE(kept.front()->isGone());
        kept.front()->answer("after it");
        kept.front()->end("second");
        kept.clear();
    });
    console.send("{\"id\": 2, \"line\": \"drop\"}\n{\"id\": 3, \"line\": \"throw\"}\n");
    EXPECT_EQ(console.read(), Json::parse(R"({"id": 1, "end": true, "error": "first"})"));
    EXPECT_EQ(console.read(), Json::parse(R"({"id": 2, "end": true, "error": )"
                                          R"("the session gave the request up"})"));
    EXPECT_EQ(console.read(),
              Json::parse(R"({"id": 3, "end": true, "error": "the handler failed"})"));
    EXPECT_THAT(server->counters(), ElementsAre(Pair("control.request_failed", 1U)));
    expectServed(console);
}

TEST_F(Control, ANumberIsUsedAgainOnlyAfterItsEnd) {
    GreetedConsole console(path);
    console.send("{\"id\": 99, \"line\": \"keep\"}\n{\"id\": 99, \"line\": \"hello\"}\n");
    EXPECT_THAT(console.read().at("error").get<std::string>(),
                AllOf(HasSubstr("\"id\" 99 is that of a request"), HasSubstr("expected")));
    Exchange old;
    inLoop([&] {
        old = kept.front();
        old->end();
    });
    EXPECT_EQ(console.read(), Json::parse(R"({"id": 99, "end": true})"));
    console.send("{\"id\": 99, \"line\": \"keep\"}\n");
    ASSERT_TRUE(await([&] { return handled == 2; }));
    inLoop([&] {
        old->answer("for the one before");
        kept.back()->end();
    });
    EXPECT_EQ(console.read(), Json::parse(R"({"id": 99, "end": true})"));
    inLoop([&] { old.reset(); });
    expectServed(console);
}

TEST_F(Control, NoMoreIsReadWhileTooManyRequestsAreOpen) {
    GreetedConsole console(path);
    constexpr int most = static_cast<int>(ControlServer::mostOpen);
    std::string requests;
    for (int i = 1; i <= 500; ++i) {
        requests += "{\"id\": " + std::to_string(i) + ", \"line\": \"keep\"}\n";
    }
    std::thread sender([&] { console.send(requests); });
    ASSERT_TRUE(await([&] { return handled == most; }));
    GreetedConsole other(path);
    expectServed(other);
    EXPECT_EQ(handled, most + 1);
    for (int i = 1; i <= 500; ++i) {
        ASSERT_TRUE(await([&] { return handled > i; }));
        inLoop([&, i] { kept[static_cast<std::size_t>(i - 1)]->end(); });
        EXPECT_EQ(console.read().at("id"), i);
    }
    sender.join();
}

TEST_F(Control, ThoseThatWatchAreTold) {
    GreetedConsole watches(path);
    GreetedConsole doesNot(path);
    watches.send("{\"id\": 1, \"line\": \"watch\"}\n");
    EXPECT_EQ(watches.read().at("end"), true);
    server->tell({{"type", "lost"}, {"text", std::string("0x10\0\xff", 6)}});
    EXPECT_EQ(
        watches.read(),
        Json::parse("{\"told\": {\"type\": \"lost\", \"text\": \"0x10\\u0000\xEF\xBF\xBD\"}}"));
    watches.send("{\"id\": 2, \"line\": \"unwatch\"}\n");
    EXPECT_EQ(watches.read().at("end"), true);
    server->tell({{"type", "found"}});
    expectServed(watches);
    expectServed(doesNot);
}

TEST_F(Control, TheEndOfTheServerEndsWhatIsOpen) {
    GreetedConsole console(path);
    console.send("{\"id\": 7, \"line\": \"keep\"}\n");
    ASSERT_TRUE(await([&] { return handled == 1; }));
    stopLoop();
    server.reset();
    EXPECT_EQ(console.read(),
              Json::parse(R"({"id": 7, "end": true, "error": "the session ends"})"));
    EXPECT_EQ(console.read(), nullptr);
    kept.front()->answer("to nobody");
    kept.front()->end();
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(Control, AHandlerMayDestroyTheServer) {
    GreetedConsole console(path);
    console.send("{\"id\": 1, \"line\": \"destroy\"}\n");
    EXPECT_EQ(console.read(), Json::parse(R"({"id": 1, "end": true})"));
    EXPECT_EQ(console.read(), nullptr);
}

TEST_F(Control, TheEndDoesNotWaitForConsolesThatDoNotRead) {
    RawConsole doesNot(path);
    doesNot.send("{\"id\": 1, \"line\": \"keep\"}\n");
    ASSERT_TRUE(await([&] { return handled == 1; }));
    inLoop([&] {
        for (int i = 0; i < 30; ++i) {
            kept.front()->answer(std::string(100000, 'x'));
        }
    });
    stopLoop();
    server.reset();
    EXPECT_TRUE(kept.front()->isGone());
}

TEST_F(Control, NonsenseOfAllKindsHarmsNobody) {
    std::mt19937 random(5);
    std::string const pieces[] = {"{\"id\": 1, \"line\": \"hello\"}",
                                  "\n",
                                  "\xff",
                                  "{\"id\": ",
                                  "\"",
                                  "}",
                                  std::string(1, '\0'),
                                  "[[[[",
                                  "\\u0000",
                                  "\r\n"};
    for (int round = 0; round < 100; ++round) {
        auto console = std::make_unique<GreetedConsole>(path);
        std::string bytes;
        for (int i = 0; i < 50; ++i) {
            bytes += random() % 3 == 0 ? std::string(1, static_cast<char>(random()))
                                       : pieces[random() % std::size(pieces)];
        }
        console->send(bytes);
        console.reset();
        ASSERT_TRUE(await([&] { return server->consoles() == 0; }));
    }
    GreetedConsole console(path);
    expectServed(console);
}

TEST_F(Control, TheSocketIsItsOwnersAlone) {
    struct stat found {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
}

TEST_F(Control, ALivingSessionKeepsItsSocket) {
    try {
        make(path);
        FAIL() << "two sessions have one socket";
    } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), path + " is the control socket of lab, process 4711");
    }
    GreetedConsole console(path);
    expectServed(console);
}

TEST_F(Control, ASocketOfADeadProcessIsReplaced) {
    std::string const stale = directory.path() + "/stale";
    {
        gateway::OwnedSocket const dead(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(dead.get(), gateway::SocketPath(stale).get(), gateway::SocketPath::size), 0);
    }
    EXPECT_THROW(ControlClient{stale}, std::runtime_error);
    auto const another = make(stale);
    EXPECT_EQ(ControlClient(stale).session().at("name"), "lab");
}

TEST_F(Control, MakesItsDirectory) {
    std::string const deep = directory.path() + "/bus/session";
    auto const another = make(deep);
    struct stat found {};
    ASSERT_EQ(stat((directory.path() + "/bus").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0700U);
    EXPECT_EQ(ControlClient(deep).session().at("name"), "lab");
}

class ControlPaths : public Control {
protected:
    void expectRefused(std::string const& at, std::string const& why) {
        try {
            make(at);
            ADD_FAILURE() << at << " was taken";
        } catch (std::invalid_argument const& error) {
            EXPECT_THAT(error.what(), HasSubstr(why));
        }
    }
};

TEST_F(ControlPaths, OthersAreRefused) {
    std::string const file = directory.path() + "/file";
    std::ofstream(file) << "kept";
    expectRefused(file, "something else is there");
    EXPECT_EQ(std::filesystem::file_size(file), 4U);
    std::filesystem::create_symlink(path, directory.path() + "/link");
    expectRefused(directory.path() + "/link", "something else is there");
    expectRefused("", "from 1 to 107 characters");
    expectRefused(directory.path() + "/" + std::string(108, 'x'), "from 1 to 107 characters");
    expectRefused(file + "/session", "/file is no directory");
    expectRefused(directory.path() + "/none/none/session", "its directory: No such file");
    std::string const open = directory.path() + "/open";
    std::filesystem::create_directory(open);
    std::filesystem::permissions(open, std::filesystem::perms::all);
    expectRefused(open + "/session", "others than this user may change its directory");
    EXPECT_TRUE(std::filesystem::is_empty(open));
}

TEST(DefaultControlPath, IsInTheDirectoryOfTheBus) {
    EXPECT_EQ(gateway::defaultControlPath("ipc:///run/bus", 0x01), "/run/bus/session-01.control");
    EXPECT_EQ(gateway::defaultControlPath("ipc://bus", 0xFA), "bus/session-FA.control");
    EXPECT_THROW(gateway::defaultControlPath("bus", 1), std::invalid_argument);
}

TEST(DefaultControlPath, IsInThisUsersOwnWithoutOne) {
    char const* const variable = std::getenv("XDG_RUNTIME_DIR");
    std::string const before = variable == nullptr ? "" : variable;
    setenv("XDG_RUNTIME_DIR", "/run/user/9", 1);
    EXPECT_EQ(gateway::defaultControlPath("", 0x21), "/run/user/9/mcgw/session-21.control");
    EXPECT_EQ(gateway::defaultControlPath("tcp://127.0.0.1:5000", 0x01),
              "/run/user/9/mcgw/session-01.control");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(gateway::defaultControlPath("", 0x01),
              "/tmp/mcgw-" + std::to_string(geteuid()) + "/session-01.control");
    if (variable != nullptr) {
        setenv("XDG_RUNTIME_DIR", before.c_str(), 1);
    }
}

TEST_F(Control, AClientSendsAndReads) {
    ControlClient client(path);
    EXPECT_EQ(client.type("hello"), 1U);
    EXPECT_EQ(client.call("text", "name"), 2U);
    EXPECT_EQ(client.await(patience).value().at("answer"), "hello");
    EXPECT_EQ(client.await(patience).value(), Json::parse(R"({"id": 1, "end": true})"));
    EXPECT_EQ(client.await(patience).value().at("report").at("file"), "name");
    EXPECT_EQ(client.await(patience).value().at("status"), 1);
    EXPECT_THROW(client.type(std::string(gateway::longestControlLine, 'x')), std::invalid_argument);
    EXPECT_FALSE(client.hasEnded());
    EXPECT_EQ(client.await(std::chrono::milliseconds(0)), std::nullopt);
}

TEST_F(Control, AClientSendsMoreThanTheSessionTakesAtOnce) {
    ControlClient client(path);
    std::string const text(900000, 'x');
    for (int i = 0; i < 5; ++i) {
        client.type(text);
    }
    for (std::uint64_t i = 1; i <= 5; ++i) {
        std::string seen;
        std::optional<Json> message = client.await(patience);
        for (; message && message->contains("answer"); message = client.await(patience)) {
            seen += message->at("answer").get<std::string>();
        }
        EXPECT_EQ(seen, text);
        EXPECT_EQ(message, Json({{"id", i}, {"end", true}}));
    }
}

TEST_F(Control, AClientNoticesTheEndOfTheSession) {
    ControlClient client(path);
    stopLoop();
    server.reset();
    client.type("hello");
    EXPECT_EQ(client.await(patience), std::nullopt);
    EXPECT_TRUE(client.hasEnded());
    try {
        ControlClient const late(path);
        FAIL() << "there is no session";
    } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), "no session at " + path + ": start one with mcgw session");
    }
}

} // namespace
