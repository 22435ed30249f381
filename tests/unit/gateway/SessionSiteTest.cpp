// Call files in a session on the bus; the boards are nodes of their own, played by this process.

#include "gateway/session/SessionSite.h"
#include "gateway/CallRunner.h"
#include "gateway/ServedBoard.h"

#include "host/bus/BusTransport.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/unit/host/Fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using gateway::CallFile;
using gateway::CallRunner;
using gateway::Message;
using gateway::Report;
using gateway::ServedBoard;
using gateway::SessionManager;
using gateway::SessionSite;
using gateway::SessionWatcher;
using gateway::Summary;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/** A session as far as call files need one: its own calls are placed by the test. */
class CallFileInSession : public HostTest {
protected:
    CallFileInSession()
        : boardNode(std::make_unique<host::BusTransport>(workstation.dispatcher(), counters,
                                                         options("boards"))) {
        workstation.setTransport(std::make_unique<host::BusTransport>(
            workstation.dispatcher(), counters, options("session")));
        sessions = std::make_unique<SessionManager>([this](Message const& callback) {
            callbacks.push_back(callback.text());
            atCallback(callback);
            if (watcher != nullptr) {
                watcher->callbackSeen(callback);
            }
        });
        workstation.setLogSink([this](host::Workstation::LogLine const& line) {
            if (watcher != nullptr) {
                watcher->lineLogged(line);
            }
        });
        workstation.setExitAction([this](int cause) {
            ++exits;
            if (watcher != nullptr) {
                watcher->libraryEnded(cause);
            }
        });
    }
    ~CallFileInSession() override {
        sessions.reset();
        boards.clear();
        boardNode.reset();
    }

    host::BusOptions options(std::string const& name) const {
        host::BusOptions result;
        result.url = "ipc://" + directory.path();
        result.name = name;
        result.linger = std::chrono::milliseconds(200);
        result.linkWait = patience;
        return result;
    }

    gateway::SessionAccess access() {
        return {*sessions,
                [this](host::Tap& it) { workstation.transport().setTap(&it); },
                [this](host::Tap&) { workstation.transport().setTap(nullptr); },
                [this](SessionWatcher* it) { watcher = it; },
                [this](std::string const& name, MC_Channel&) { kept.push_back(name); },
                [this](unsigned char sid) { return isServed(sid); },
                [this] { return isEnding; }};
    }

    bool isServed(unsigned char sid) const {
        return std::any_of(boards.begin(), boards.end(),
                           [sid](auto const& board) { return board->sid() == sid; });
    }

    void serve(gateway::BoardEntry const& entry) {
        boards.push_back(std::make_unique<ServedBoard>(workstation.dispatcher(), *boardNode, entry,
                                                       tap, faults ? &*faults : nullptr));
    }
    void serve(unsigned char sid) { serve({"board", sid, 16, 5000, {}}); }

    /** Runs the file; what it reports is kept. */
    Summary run(CallFile const& file, std::optional<unsigned> logLevel = std::nullopt) {
        std::ostringstream stream;
        Report to(stream, {});
        Summary summary;
        {
            CallRunner runner(std::make_unique<SessionSite>(access()), file, to, logLevel);
            summary = runner.run();
        }
        report = stream.str();
        return summary;
    }
    Summary run(std::string const& text) {
        return run(gateway::parseCallFile(head + text, "call.toml"));
    }

    static CallFile example(std::string const& name) {
        return gateway::readCallFile(std::string(EXAMPLES_DIRECTORY) + "/" + name + ".toml");
    }

    /** A record of the session's own, on DSP channel 9. */
    MC_Channel& open(std::string const& name) {
        MC_Channel& channel = sessions->create(name);
        workstation.setBoard("10.0.0.1", 0x10);
        CallFile const file = gateway::parseCallFile(head + callerIn + waiting, "own.toml");
        for (gateway::FieldSetting const& setting : file.channels.at(0).fields) {
            setting.field->set(sessions->manager(), channel, setting.value);
        }
        channel.dsp = 9;
        EXPECT_EQ(sessions->perform(&MC_Manager::openChannel, channel), std::nullopt);
        return channel;
    }

    TemporaryDirectory const directory;
    host::Counters counters;
    std::unique_ptr<host::BusTransport> boardNode;
    std::vector<std::string> reports;
    std::function<void(Message const& command)> atCommand = [](Message const&) {};
    std::function<void(Message const& callback)> atCallback = [](Message const&) {};
    ServedBoard::Tap tap = {
        [this](Message const& command) { atCommand(command); }, [](Message const&) {},
        [this](std::string const&, std::string const& text) { reports.push_back(text); },
        [](std::string const&, std::string const&) {}};
    std::optional<gateway::FaultInjector> faults;
    std::vector<std::unique_ptr<ServedBoard>> boards;
    std::unique_ptr<SessionManager> sessions;
    SessionWatcher* watcher = nullptr;
    std::vector<std::string> callbacks;
    std::vector<std::string> kept;
    unsigned exits = 0;
    bool isEnding = false;
    std::string report;

    std::string const head = "deadline = 60000\n[[board]]\nip = \"10.0.0.1\"\nsid = 0x10\n";
    std::string const callerIn =
        "[[channel]]\nname = \"caller-in\"\nmediaGateway = \"10.0.0.1\"\ndsp = 3\n"
        "direction = \"in\"\ncodec = \"G.711 A-law\"\nrtpRemote = \"10.0.9.1:4000\"\n";
    std::string const waiting = "[[step]]\nwait = 1\n";
    std::string const opening = "[[step]]\nopen = \"caller-in\"\n"
                                "expect.callbacks = [\"ackEvent channel=caller-in error=0\"]\n";
    std::string const closing = "[[step]]\nclose = \"caller-in\"\n"
                                "expect.callbacks = [\"ackErrorEvent channel=none\"]\n";
};

class ExampleInSession : public CallFileInSession,
                         public testing::WithParamInterface<char const*> {};

TEST_P(ExampleInSession, Holds) {
    CallFile const file = example(GetParam());
    for (gateway::BoardEntry const& board : file.boards) {
        serve(board);
    }
    std::size_t const objects = workstation.liveObjects();
    Summary const summary = run(file);
    EXPECT_EQ(summary.failed, 0U) << report;
    EXPECT_EQ(summary.stepsDone, file.steps.size());
    EXPECT_GT(summary.held, 0U);
    EXPECT_EQ(workstation.liveObjects(), objects);
    EXPECT_EQ(watcher, nullptr);
}

std::string nameOf(testing::TestParamInfo<char const*> const& tested) {
    std::string name = tested.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(SessionSite, ExampleInSession,
                         testing::Values("config-change", "console", "fax-t38", "join",
                                         "silence-suppression", "voice-dtmf"),
                         nameOf);

TEST_F(CallFileInSession, WithReportsOfBoardsIsRefused) {
    CallFile const file = example("refusals");
    for (gateway::BoardEntry const& board : file.boards) {
        serve(board);
    }
    Summary const summary = run(file);
    EXPECT_EQ(summary.failed, 1U);
    EXPECT_EQ(summary.stepsDone, 0U);
    EXPECT_THAT(report, AllOf(HasSubstr("the call file can't be run here"),
                              HasSubstr("refusals.toml:"), HasSubstr("expect.reports")));
}

TEST_F(CallFileInSession, OfABoardThatIsNotOnTheBusIsRefused) {
    EXPECT_EQ(run(callerIn + waiting).failed, 1U);
    EXPECT_THAT(report, HasSubstr("board 10.0.0.1 (IMC address 0x10) is not on the bus: start it "
                                  "with mcgw dsp --sid 0x10"));
    EXPECT_EQ(watcher, nullptr);
}

TEST_F(CallFileInSession, OfABoardThatAnswersNoAuditIsRefused) {
    faults.emplace(std::vector<gateway::FaultRule>{gateway::parseFaultRule("drop:audit")});
    serve(0x10);
    CallFile file = gateway::parseCallFile(head + callerIn + waiting, "call.toml");
    file.deadline = std::chrono::milliseconds(200);
    EXPECT_EQ(run(file).failed, 1U);
    EXPECT_THAT(report, HasSubstr("board 10.0.0.1 (IMC address 0x10) answers no audit"));
    EXPECT_EQ(watcher, nullptr);
    EXPECT_EQ(sessions->find("caller-in"), nullptr);
}

TEST_F(CallFileInSession, WithANameOfTheSessionsIsRefused) {
    serve(0x10);
    sessions->create("caller-in");
    EXPECT_EQ(run(callerIn + waiting).failed, 1U);
    EXPECT_THAT(report, HasSubstr("the session has a channel caller-in already"));
}

TEST_F(CallFileInSession, ClosesWhatItLeavesOpenAndFails) {
    serve(0x10);
    Summary const summary = run(callerIn + opening);
    EXPECT_EQ(summary.failed, 1U);
    EXPECT_THAT(report, HasSubstr("caller-in closed"));
    EXPECT_FALSE(boards[0]->itself().channel(3).in.voiceOpen);
    EXPECT_EQ(sessions->find("caller-in"), nullptr);
    EXPECT_THAT(kept, IsEmpty());
}

TEST_F(CallFileInSession, LeavesOpenWhatItMay) {
    serve(0x10);
    CallFile file = gateway::parseCallFile(head + callerIn + opening, "call.toml");
    file.leaveOpen = true;
    EXPECT_EQ(run(file).failed, 0U) << report;
    EXPECT_TRUE(boards[0]->itself().channel(3).in.voiceOpen);
    ASSERT_NE(sessions->find("caller-in"), nullptr);
    EXPECT_EQ(SessionManager::listings(*sessions->find("caller-in")), 1U);
    EXPECT_THAT(kept, ElementsAre("caller-in"));
}

TEST_F(CallFileInSession, SeesOnlyWhatConcernsItsOwnChannels) {
    serve(0x10);
    MC_Channel& own = open("own");
    // The session's own call goes on meanwhile: digits, and a close that no callback has a name
    // for.
    bool isClosed = false;
    atCommand = [&](Message const& command) {
        if (command.name == "OpenVoice in" && *command.find("dsp") == "3") {
            boards[0]->itself().raiseDtmf(9, dsp::Direction::in, 5, 80);
        }
    };
    atCallback = [&](Message const& callback) {
        if (callback.name == "dtmfEvent") {
            isClosed = !sessions->perform(&MC_Manager::closeChannel, own);
        }
    };
    Summary const summary = run(callerIn + opening + closing);
    EXPECT_EQ(summary.failed, 0U) << report;
    EXPECT_TRUE(isClosed);
    EXPECT_THAT(report, AllOf(Not(HasSubstr("channel=own")), Not(HasSubstr("dsp=9"))));
    EXPECT_THAT(callbacks, Contains("dtmfEvent channel=own digit=5 duration=80ms"));
    EXPECT_THAT(callbacks, testing::Contains("ackErrorEvent channel=none").Times(2));
    EXPECT_EQ(summary.callbacks, 2U);
}

TEST_F(CallFileInSession, FailsAsItDoesElsewhere) {
    serve(0x10);
    Summary const summary = run(callerIn + opening + "expect.state = \"Fax_Open\"\n" + closing);
    EXPECT_EQ(summary.failed, 1U);
    EXPECT_THAT(report, HasSubstr("call.toml:13"));
}

TEST_F(CallFileInSession, HasErrorsAcknowledgedOnOrder) {
    serve(0x10);
    Summary const summary = run(callerIn +
                                "[[step]]\nfailNext = \"caller-in\"\nerror = \"noPortLeft\"\n"
                                "[[step]]\nopen = \"caller-in\"\n"
                                "expect.callbacks = [\"ackEvent channel=caller-in error=5\"]\n" +
                                closing + "expect.events = [\"CloseVoiceAck in error=3\"]\n");
    EXPECT_THAT(report, HasSubstr("error=5(no port left)"));
    EXPECT_EQ(summary.stepsDone, 3U) << report;
}

TEST_F(CallFileInSession, DoesNotMixAStepUpWithTheNextOne) {
    serve(0x10);
    // Nothing is expected of the digits, and yet each comes in the step that ordered it.
    std::string steps;
    for (int i = 0; i < 20; ++i) {
        steps += "[[step]]\ndtmf = \"caller-in\"\ndigit = 1\nduration = 80\n"
                 "[[step]]\nconsole = \"MC Channel All\"\nexpect.callbacks = []\n"
                 "expect.events = []\n";
    }
    EXPECT_EQ(run(callerIn + opening + steps + closing).failed, 0U) << report;
    EXPECT_THAT(callbacks, Contains("dtmfEvent channel=caller-in digit=1 duration=80ms").Times(20));
}

TEST_F(CallFileInSession, ALibraryThatEndsTheProcessEndsTheFileOnly) {
    serve(0x10);
    // An operation on a channel that is not listed.
    Summary const summary = run(callerIn + "[[step]]\nupdate = \"caller-in\"\n" + waiting);
    EXPECT_GE(exits, 1U);
    EXPECT_EQ(summary.failed, 1U) << report;
    EXPECT_EQ(summary.stepsDone, 0U);
    EXPECT_THAT(report, HasSubstr("the library ended the process"));
    EXPECT_EQ(sessions->find("caller-in"), nullptr);
    EXPECT_EQ(run(callerIn + opening + closing).failed, 0U) << report;
}

TEST_F(CallFileInSession, FailsWhenItsBoardGoes) {
    serve(0x10);
    atCommand = [this](Message const& command) {
        if (command.name == "OpenVoice in") {
            workstation.dispatcher().post([this] { boards.clear(); });
        }
    };
    CallFile file =
        gateway::parseCallFile(head + callerIn + opening + opening + closing, "call.toml");
    // What was asked of the board just before is awaited that long.
    file.deadline = std::chrono::milliseconds(500);
    Summary const summary = run(file);
    EXPECT_GE(summary.failed, 1U);
    EXPECT_LT(summary.stepsDone, 3U);
    EXPECT_THAT(report, HasSubstr("0x10"));
    EXPECT_EQ(sessions->find("caller-in"), nullptr);
    EXPECT_EQ(watcher, nullptr);
}

TEST_F(CallFileInSession, EndsWithTheSession) {
    serve(0x10);
    atCommand = [this](Message const& command) { isEnding = command.name == "OpenVoice in"; };
    Summary const summary = run(callerIn + opening + "[[step]]\nwait = 3600000\n");
    EXPECT_GE(summary.failed, 1U);
    EXPECT_THAT(report, HasSubstr("the session ends"));
}

TEST_F(CallFileInSession, PutsTheLogLevelBack) {
    serve(0x10);
    workstation.setLogLevel(1);
    EXPECT_EQ(run(callerIn + "[[step]]\nlogLevel = 3\n" + opening + closing).failed, 0U) << report;
    EXPECT_EQ(workstation.logLevel(), 1U);
    EXPECT_THAT(report, HasSubstr("Open Voice channel("));
}

TEST_F(CallFileInSession, JudgesOnlyWhatThePlatformCountsMeanwhile) {
    serve(0x10);
    auto const countFault = [this] {
        EXPECT_THROW(workstation.loadConfiguration(directory.path() + "/none.toml"),
                     std::runtime_error);
    };
    countFault();
    ASSERT_THAT(workstation.counters(), testing::SizeIs(1));
    EXPECT_EQ(run(callerIn + opening + closing).failed, 0U) << report;
    atCommand = [&](Message const& command) {
        if (command.name == "OpenVoice in") {
            countFault();
        }
    };
    EXPECT_EQ(run(callerIn + opening + closing).failed, 1U);
    EXPECT_THAT(report, AllOf(HasSubstr("faults of the platform"),
                              HasSubstr(workstation.counters().begin()->first + ": 1")));
}

} // namespace
