#include "gateway/ServedBoard.h"

#include "host/imc/InProcessTransport.h"
#include "tests/unit/dsp/Records.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

namespace {

using gateway::FaultInjector;
using gateway::Message;
using gateway::ServedBoard;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/** The client of the sample commands. */
constexpr unsigned char clientSid = 0x21;

class Client : public host::Endpoint {
public:
    void receive(imc_msg const& event) override {
        received.push_back(dsp::describe(event));
        lengths.push_back(event.length);
    }
    std::vector<std::string> received;
    std::vector<unsigned> lengths;
};

class Served : public testing::Test {
protected:
    Served() { transport.attach(clientSid, client); }

    void serve(std::vector<std::string> const& rules = {}, int ackDelay = 0) {
        std::vector<gateway::FaultRule> parsed;
        for (std::string const& rule : rules) {
            parsed.push_back(gateway::parseFaultRule(rule));
        }
        faults = std::make_unique<FaultInjector>(parsed);
        gateway::BoardEntry const entry = {"0xFA", 0xFA, 16, 5000, gateway::Milliseconds(ackDelay)};
        board = std::make_unique<ServedBoard>(loop, transport, entry, tap, faults.get());
    }
    void send(std::string const& name) {
        transport.send(dsp::sample(name));
        loop.runReady();
    }
    /** The command reaches the board, and the loop does not run: what is due later stays so. */
    void hand(std::string const& name) { board->receive(dsp::sample(name)); }
    bool awaitReceived(std::size_t count) {
        return loop.runUntil([&] { return client.received.size() >= count; },
                             std::chrono::seconds(60));
    }

    host::Dispatcher loop;
    host::Counters counters;
    host::InProcessTransport transport{loop, counters};
    Client client;
    std::vector<std::string> commands;
    std::vector<std::string> events;
    std::vector<std::string> reports;
    std::vector<std::string> applied;
    ServedBoard::Tap tap = {
        [this](Message const& command) { commands.push_back(command.text()); },
        [this](Message const& event) { events.push_back(event.text()); },
        [this](std::string const&, std::string const& text) { reports.push_back(text); },
        [this](std::string const&, std::string const& rule) { applied.push_back(rule); }};
    std::unique_ptr<FaultInjector> faults;
    std::unique_ptr<ServedBoard> board;
};

std::string const opened = "OpenVoiceAck in dsp=3 error=0 port=5000";

TEST_F(Served, TakesCommandsAndSendsEvents) {
    serve();
    send("OpenVoice in");
    EXPECT_THAT(client.received, ElementsAre(opened));
    EXPECT_THAT(commands, ElementsAre(HasSubstr("OpenVoice in dsp=3")));
    EXPECT_THAT(commands, ElementsAre(HasSubstr(" to=0xFA")));
    EXPECT_THAT(events, ElementsAre(opened + " from=0xFA"));
    EXPECT_THAT(applied, IsEmpty());
}

TEST_F(Served, AcknowledgesAfterItsDelay) {
    serve({}, 20);
    hand("OpenVoice in");
    EXPECT_EQ(board->pending(), 1U);
    ASSERT_TRUE(awaitReceived(1));
    EXPECT_EQ(board->pending(), 0U);
}

TEST_F(Served, ADroppedCommandDoesNotReachTheBoard) {
    serve({"drop:open:count=1"});
    send("OpenVoice in");
    EXPECT_THAT(client.received, IsEmpty());
    EXPECT_FALSE(board->itself().channel(3).in.voiceOpen);
    EXPECT_THAT(applied, ElementsAre("drop:open:count=1"));
    send("OpenVoice in");
    EXPECT_THAT(client.received, ElementsAre(opened));
}

TEST_F(Served, ADroppedEventIsNotSent) {
    serve({"drop:ack"});
    send("OpenVoice in");
    EXPECT_THAT(client.received, IsEmpty());
    EXPECT_TRUE(board->itself().channel(3).in.voiceOpen);
}

TEST_F(Served, ADuplicatedCommandIsTakenTwice) {
    serve({"duplicate:open"});
    send("OpenVoice in");
    EXPECT_THAT(client.received,
                ElementsAre(opened, "OpenVoiceAck in dsp=3 error=2(already open) port=0"));
}

TEST_F(Served, ADuplicatedEventIsSentTwice) {
    serve({"duplicate:ack"});
    send("OpenVoice in");
    EXPECT_THAT(client.received, ElementsAre(opened, opened));
}

TEST_F(Served, ADelayedEventComesLater) {
    serve({"delay:ack:ms=300:count=1"});
    hand("OpenVoice in");
    EXPECT_EQ(board->pending(), 1U);
    hand("OpenVoice out");
    ASSERT_TRUE(awaitReceived(2));
    EXPECT_EQ(client.received[1], opened);
}

TEST_F(Served, ADelayedCommandIsTakenLater) {
    serve({"delay:open:ms=10"});
    hand("OpenVoice in");
    EXPECT_FALSE(board->itself().channel(3).in.voiceOpen);
    ASSERT_TRUE(awaitReceived(1));
    EXPECT_TRUE(board->itself().channel(3).in.voiceOpen);
}

TEST_F(Served, AWrongLengthIsSentAsItIs) {
    serve({"length:ack=20"});
    send("OpenVoice in");
    EXPECT_THAT(client.lengths, ElementsAre(20U));
}

TEST_F(Served, AWrongLengthOfACommandIsRefusedByTheBoard) {
    serve({"length:open=20"});
    send("OpenVoice in");
    EXPECT_THAT(reports, ElementsAre(HasSubstr("refused: wrong length")));
}

TEST_F(Served, AnErrorAnswersTheCommand) {
    serve({"error:open=5:count=1"});
    send("OpenVoice in");
    EXPECT_THAT(client.received, ElementsAre("OpenVoiceAck in dsp=3 error=5(no port left) port=0"));
    EXPECT_FALSE(board->itself().channel(3).in.voiceOpen);
    send("OpenVoice in");
    EXPECT_EQ(client.received.back(), opened);
}

TEST_F(Served, AnErrorIsForItsCommandAlone) {
    serve({"drop:open:count=1", "error:open=5:count=1"});
    send("OpenVoice in");
    EXPECT_THAT(client.received, IsEmpty());
    send("OpenVoice in");
    EXPECT_THAT(client.received, ElementsAre(opened));
}

TEST_F(Served, AnErrorIsForEachCopyOfItsCommand) {
    serve({"duplicate:open", "error:open=5"});
    send("OpenVoice in");
    std::string const refused = "OpenVoiceAck in dsp=3 error=5(no port left) port=0";
    EXPECT_THAT(client.received, ElementsAre(refused, refused));
    EXPECT_FALSE(board->itself().channel(3).in.voiceOpen);
}

TEST_F(Served, AnErrorForAChannelThatTheBoardDoesNotHaveIsTheBoardsOwn) {
    serve({"error:open=5"});
    imc_msg message = dsp::sample("OpenVoice in");
    message.payload[0] = 200;
    transport.send(message);
    loop.runReady();
    EXPECT_THAT(client.received, ElementsAre(HasSubstr("error=1(")));
}

TEST_F(Served, ARestartForgetsEverything) {
    serve({"restart:after=1"}, 30);
    hand("OpenVoice in");
    EXPECT_TRUE(board->itself().channel(3).in.voiceOpen);
    EXPECT_EQ(board->pending(), 1U);
    hand("OpenVoice out");
    EXPECT_FALSE(board->itself().channel(3).in.voiceOpen);
    EXPECT_EQ(board->pending(), 0U);
    hand("OpenVoice out");
    ASSERT_TRUE(awaitReceived(1));
    EXPECT_THAT(client.received, ElementsAre("OpenVoiceAck out dsp=3 error=0 port=5000"));
    EXPECT_THAT(applied, SizeIs(1));
}

TEST_F(Served, AnEventThatCantBeSentIsReported) {
    serve();
    transport.send(dsp::sample("OpenVoice in"));
    transport.detach(clientSid);
    loop.runReady();
    EXPECT_THAT(reports, ElementsAre("event not sent: nobody serves IMC address 0x21"));
    EXPECT_TRUE(board->itself().channel(3).in.voiceOpen);
}

TEST_F(Served, MayEndWithEventsToSend) {
    serve({}, 1);
    hand("OpenVoice in");
    board.reset();
    EXPECT_FALSE(
        loop.runUntil([&] { return !client.received.empty(); }, std::chrono::milliseconds(30)));
    EXPECT_THROW(transport.send(dsp::sample("OpenVoice in")), std::runtime_error);
}

} // namespace
