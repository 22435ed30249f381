#include "host/imc/InProcessTransport.h"

#include "Fixture.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using host::Cause;
using host::Counters;
using host::Dispatcher;
using host::InProcessTransport;

class InProcess : public testing::Test {
protected:
    Dispatcher loop;
    Counters counters;
    std::unique_ptr<InProcessTransport> transport =
        std::make_unique<InProcessTransport>(loop, counters);
    KeepingEndpoint board;
};

TEST_F(InProcess, DeliversOnTheLoopAndNotInsideSend) {
    transport->attach(0xFA, board);
    transport->send(messageTo(0xFA, 100));
    EXPECT_TRUE(board.received.empty());
    loop.runReady();
    ASSERT_EQ(board.received.size(), 1U);
    EXPECT_EQ(board.received[0].messageId, 100U);
}

TEST_F(InProcess, DeliversInTheOrderOfSending) {
    KeepingEndpoint other;
    transport->attach(0xFA, board);
    transport->attach(0x80, other);
    for (std::uint32_t i = 0; i < 50; ++i) {
        transport->send(messageTo(i % 2 == 0 ? 0xFA : 0x80, i));
    }
    loop.runReady();
    ASSERT_EQ(board.received.size(), 25U);
    ASSERT_EQ(other.received.size(), 25U);
    for (std::uint32_t i = 0; i < 25; ++i) {
        EXPECT_EQ(board.received[i].messageId, 2 * i);
        EXPECT_EQ(other.received[i].messageId, 2 * i + 1);
    }
}

TEST_F(InProcess, DeliversTheWholeRecordAsItWasWhenItWasSent) {
    transport->attach(0xFA, board);
    imc_msg message = messageTo(0xFA, 100);
    message.header0 = 1;
    message.sourceSid = 2;
    message.header3 = 3;
    message.length = 1024;
    message.reserved = 0x0405;
    message.payload[0] = 6;
    message.payload[1023] = 7;
    imc_msg const sent = message;
    transport->send(message);
    message.payload[0] = 0;
    loop.runReady();
    ASSERT_EQ(board.received.size(), 1U);
    EXPECT_EQ(std::memcmp(&board.received[0], &sent, sizeof sent), 0);
}

TEST_F(InProcess, RefusesAnAddressThatNobodyServesAndNamesIt) {
    EXPECT_EQ(failureOf<std::runtime_error>([&] { transport->send(messageTo(0x8A, 100)); }),
              "nobody serves IMC address 0x8A");
}

TEST_F(InProcess, RefusesASecondEndpointForAnAddressAndNamesIt) {
    KeepingEndpoint other;
    transport->attach(0xFA, board);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { transport->attach(0xFA, other); }),
              "IMC address 0xFA is served already");
    transport->send(messageTo(0xFA, 100));
    loop.runReady();
    EXPECT_EQ(board.received.size(), 1U);
    EXPECT_TRUE(other.received.empty());
}

TEST_F(InProcess, DropsAndCountsWhatWasUnderWayToADetachedAddress) {
    transport->attach(0xFA, board);
    transport->send(messageTo(0xFA, 100));
    transport->send(messageTo(0xFA, 104));
    transport->detach(0xFA);
    loop.runReady();
    EXPECT_TRUE(board.received.empty());
    EXPECT_EQ(counters.value(Cause::messageDropped), 2U);
}

TEST_F(InProcess, ANewEndpointDoesNotGetWhatWasSentToTheOneBefore) {
    KeepingEndpoint other;
    transport->attach(0xFA, board);
    transport->send(messageTo(0xFA, 100));
    transport->detach(0xFA);
    transport->attach(0xFA, other);
    transport->send(messageTo(0xFA, 104));
    loop.runReady();
    EXPECT_TRUE(board.received.empty());
    ASSERT_EQ(other.received.size(), 1U);
    EXPECT_EQ(other.received[0].messageId, 104U);
}

TEST_F(InProcess, DetachingAnAddressThatNobodyServesChangesNothing) {
    transport->attach(0xFA, board);
    transport->detach(0xFB);
    transport->send(messageTo(0xFA, 100));
    loop.runReady();
    EXPECT_EQ(board.received.size(), 1U);
}

TEST_F(InProcess, DropsWhatIsUnderWayWhenItEnds) {
    transport->attach(0xFA, board);
    transport->send(messageTo(0xFA, 100));
    transport.reset();
    loop.runReady();
    EXPECT_TRUE(board.received.empty());
    EXPECT_EQ(counters.value(Cause::messageDropped), 1U);
}

TEST_F(InProcess, MayEndInsideADelivery) {
    class Ending : public host::Endpoint {
    public:
        explicit Ending(std::unique_ptr<InProcessTransport>& toEnd) : transport(toEnd) {}
        void receive(imc_msg const& message) override {
            transport.reset();
            seen = message.messageId;
        }
        std::uint32_t seen = 0;

    private:
        std::unique_ptr<InProcessTransport>& transport;
    };
    Ending ending(transport);
    transport->attach(0xFA, ending);
    transport->send(messageTo(0xFA, 100));
    transport->send(messageTo(0xFA, 104));
    loop.runReady();
    EXPECT_EQ(ending.seen, 100U);
    EXPECT_EQ(counters.value(Cause::messageDropped), 1U);
}

TEST_F(InProcess, EveryAddressIsServedAlike) {
    for (unsigned int sid = 0; sid <= 0xFF; ++sid) {
        transport->attach(static_cast<unsigned char>(sid), board);
    }
    for (unsigned int sid = 0; sid <= 0xFF; ++sid) {
        transport->send(messageTo(static_cast<unsigned char>(sid), sid));
    }
    loop.runReady();
    ASSERT_EQ(board.received.size(), 256U);
    for (unsigned int sid = 0; sid <= 0xFF; ++sid) {
        EXPECT_EQ(board.received[sid].destinationSid, sid);
    }
}

} // namespace
