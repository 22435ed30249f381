#include "gateway/ServedBoard.h"

#include "dsp/Service.h"
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
        messages.push_back(event);
        lengths.push_back(event.length);
    }
    std::vector<std::string> received;
    std::vector<unsigned> lengths;
    std::vector<imc_msg> messages;
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
    void send(imc_msg const& message) {
        transport.send(message);
        loop.runReady();
    }
    void order(dsp::Order const& order) { send(dsp::encodeOrder(order, clientSid, 0xFA)); }
    /** What the board answers. */
    dsp::AuditAnswer audited(std::uint32_t tag = 1) {
        send(dsp::encodeAuditRequest(tag, clientSid, 0xFA));
        if (client.messages.empty()) {
            throw std::runtime_error("the board did not answer");
        }
        return dsp::decodeAuditAnswer(client.messages.back()).value();
    }
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
    std::vector<std::string> orders;
    ServedBoard::Tap tap = {
        [this](Message const& command) { commands.push_back(command.text()); },
        [this](Message const& event) { events.push_back(event.text()); },
        [this](std::string const&, std::string const& text) { reports.push_back(text); },
        [this](std::string const&, std::string const& rule) { applied.push_back(rule); },
        [this](Message const& order) { orders.push_back(order.text()); }};
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

using Kind = dsp::Order::Kind;
constexpr dsp::Direction in = dsp::Direction::in;
constexpr dsp::Direction out = dsp::Direction::out;

TEST_F(Served, AnswersAnAuditToWhoeverAsks) {
    serve();
    send("OpenVoice in");
    dsp::AuditAnswer const answer = audited(77);
    EXPECT_EQ(client.messages.back().sourceSid, 0xFA);
    EXPECT_EQ(answer.tag, 77U);
    EXPECT_THAT(answer.in, SizeIs(16));
    EXPECT_EQ(answer.in[3], (dsp::PathState{true, false, false, false}));
    EXPECT_EQ(answer.out[3], dsp::PathState());
    EXPECT_EQ(board->counters().at("taken: AuditRequest"), 1U);
    EXPECT_THAT(commands, SizeIs(1));
    EXPECT_THAT(events, SizeIs(1));
}

TEST_F(Served, TheIncarnationIsAnotherOneAfterARestartOnly) {
    serve({"restart:open:after=1"});
    std::uint64_t const before = audited().incarnation;
    send("OpenVoice in");
    EXPECT_EQ(audited().incarnation, before);
    send("OpenVoice out");
    EXPECT_NE(audited().incarnation, before);
    EXPECT_EQ(audited().in[3], dsp::PathState());
    board.reset();
    serve();
    EXPECT_NE(audited().incarnation, before);
}

TEST_F(Served, AnswersAtOnceWhereAcknowledgementsTakeTime) {
    serve({}, 30);
    hand("OpenVoice in");
    EXPECT_TRUE(audited().in[3].voiceOpen);
    EXPECT_THAT(client.received, SizeIs(1));
}

TEST_F(Served, CarriesOrdersOut) {
    serve();
    send("OpenVoice in"); // the client is known from here on
    order({Kind::dtmf, 3, out, 11, 65535});
    order({Kind::faxTone, 3, in, 0, 0});
    order({Kind::alert, 15, in, 0, 0xFFFFFFFF});
    order({Kind::failNext, 3, in, 5, 0});
    send("OpenVoice out");
    EXPECT_THAT(client.received,
                ElementsAre(opened, "Dtmf out dsp=3 digit=11 duration=65535ms", "FaxTone dsp=3",
                            "Alert in dsp=15 value=4294967295",
                            "OpenVoiceAck out dsp=3 error=5(no port left) port=0"));
    EXPECT_THAT(orders, ElementsAre("Order dtmf dsp=3 direction=out digit=11 duration=65535ms "
                                    "to=0xFA",
                                    "Order faxTone dsp=3 to=0xFA",
                                    "Order alert dsp=15 direction=in value=4294967295 to=0xFA",
                                    "Order failNext dsp=3 error=5(no port left) to=0xFA"));
    EXPECT_EQ(board->counters().at("taken: Order"), 4U);
    EXPECT_EQ(board->counters().at("taken: OpenVoice in"), 1U);
    EXPECT_THAT(commands, SizeIs(2));
}

TEST_F(Served, AnOrderThatItCantCarryOutIsReportedAndCounted) {
    serve();
    order({Kind::dtmf, 16, in, 1, 80});
    order({Kind::faxTone, 200, in, 0, 0});
    order({Kind::failNext, 16, in, 5, 0});
    order({Kind::dtmf, 3, static_cast<dsp::Direction>(3), 1, 80});
    order({Kind::alert, 3, static_cast<dsp::Direction>(0), 0, 1});
    order({Kind::dtmf, 3, in, 1, 65536});
    order({static_cast<Kind>(5), 3, in, 0, 0});
    imc_msg shortOrder = dsp::encodeOrder({Kind::faxTone, 3, in, 0, 0}, clientSid, 0xFA);
    shortOrder.length = 7;
    send(shortOrder);
    EXPECT_THAT(client.received, IsEmpty());
    ASSERT_THAT(reports, SizeIs(8));
    EXPECT_EQ(reports[0], "refused: audit or order (the board has no DSP channel 16: it has 16, "
                          "numbered from 0): Order dtmf dsp=16 direction=in digit=1 duration=80ms");
    EXPECT_THAT(reports[3], HasSubstr("no direction: 3"));
    EXPECT_THAT(reports[5], HasSubstr("no digit lasts so long"));
    EXPECT_THAT(reports[6], HasSubstr("(no such order): Order dsp=3 kind=5"));
    EXPECT_THAT(reports[7], HasSubstr("Order malformed: length=7"));
    EXPECT_EQ(board->counters().at("refused: audit or order"), 8U);
    EXPECT_EQ(board->counters().at("taken: Order"), 0U);
}

TEST_F(Served, ARequestThatIsNoneIsReportedAndNotAnswered) {
    serve();
    imc_msg request = dsp::encodeAuditRequest(1, clientSid, 0xFA);
    request.length = 5;
    send(request);
    send(dsp::encodeAuditAnswer({}, clientSid, 0xFA));
    EXPECT_THAT(client.received, IsEmpty());
    EXPECT_THAT(reports,
                ElementsAre(HasSubstr("AuditRequest malformed"), HasSubstr("AuditAnswer")));
}

TEST_F(Served, FaultsOfCommandsAndEventsLeaveAuditsAndOrdersAlone) {
    serve({"drop:command", "drop", "length:event=0"});
    EXPECT_THAT(audited().in, SizeIs(16));
    order({Kind::failNext, 3, in, 5, 0});
    EXPECT_THAT(orders, SizeIs(1));
    EXPECT_EQ(board->counters().at("taken: Order"), 1U);
    EXPECT_THAT(applied, IsEmpty());
}

TEST_F(Served, FaultsOfAudits) {
    serve({"drop:AuditRequest:count=1", "drop:AuditAnswer:count=1", "drop:audit:after=3:count=1",
           "duplicate:AuditAnswer:after=1"});
    imc_msg const request = dsp::encodeAuditRequest(1, clientSid, 0xFA);
    send(request);
    send(request);
    EXPECT_THAT(client.received, IsEmpty());
    EXPECT_EQ(board->counters().at("taken: AuditRequest"), 1U);
    send(request);
    EXPECT_THAT(client.received, IsEmpty());
    send(request);
    EXPECT_THAT(client.received, SizeIs(2));
    EXPECT_THAT(applied, SizeIs(4));
}

TEST_F(Served, FaultsOfOrders) {
    serve({"drop:order:dsp=3:direction=in", "duplicate:order:dsp=4"});
    transport.attach(0x01, client); // events go there until a command came
    order({Kind::alert, 3, in, 0, 1});
    order({Kind::alert, 3, out, 0, 1});
    order({Kind::faxTone, 4, in, 0, 0});
    EXPECT_THAT(client.received,
                ElementsAre("Alert out dsp=3 value=1", "FaxTone dsp=4", "FaxTone dsp=4"));
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
