// What every transport does, whatever lies between the sender and the receiver.

#include "BusFixture.h"

#include "host/imc/InProcessTransport.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/** A sender's transport and a receiver's, which may be the same. */
class Ends {
public:
    virtual ~Ends() = default;
    virtual host::Transport& sender() = 0;
    virtual host::Transport& receiver() = 0;
    virtual std::uint64_t dropped() = 0;
    /** Whether the sender knows of as many beginnings and ends of addresses. */
    virtual bool hasHeardOf(std::size_t changes) = 0;
    virtual void endReceiver() = 0;
};

class InProcessEnds : public Ends {
public:
    static constexpr char name[] = "InProcess";

    InProcessEnds(host::Dispatcher& loop, host::BusOptions const&)
        : transport(std::make_unique<host::InProcessTransport>(loop, counters)) {}
    host::Transport& sender() override { return *transport; }
    host::Transport& receiver() override { return *transport; }
    std::uint64_t dropped() override { return counters.value(host::Cause::messageDropped); }
    bool hasHeardOf(std::size_t) override { return true; }
    void endReceiver() override { transport.reset(); }

private:
    host::Counters counters;
    std::unique_ptr<host::InProcessTransport> transport;
};

class OneNodeEnds : public Ends {
public:
    static constexpr char name[] = "OneNode";

    OneNodeEnds(host::Dispatcher& loop, host::BusOptions const& options) : node(loop, options) {}
    host::Transport& sender() override { return *node.transport; }
    host::Transport& receiver() override { return *node.transport; }
    std::uint64_t dropped() override { return node.counted(host::Cause::messageDropped); }
    bool hasHeardOf(std::size_t) override { return true; }
    void endReceiver() override { node.transport.reset(); }

private:
    PlayedNode node;
};

class TwoNodesEnds : public Ends {
public:
    static constexpr char name[] = "TwoNodes";

    TwoNodesEnds(host::Dispatcher& loop, host::BusOptions const& options)
        : from(loop, options), to(loop, options) {}
    host::Transport& sender() override { return *from.transport; }
    host::Transport& receiver() override { return *to.transport; }
    std::uint64_t dropped() override { return to.counted(host::Cause::messageDropped); }
    bool hasHeardOf(std::size_t changes) override { return from.ears.heard.size() >= changes; }
    void endReceiver() override { to.transport.reset(); }

private:
    PlayedNode from;
    PlayedNode to;
};

/** Keeps what it is shown. */
class KeepingTap : public host::Tap {
public:
    void carried(imc_msg const& message) override { seen.push_back({message, ""}); }
    void refused(imc_msg const& message, std::string const& reason) override {
        seen.push_back({message, reason});
    }

    void received(imc_msg const& message) override { seen.push_back({message, ""}); }

    struct Seen {
        imc_msg message;
        std::string reason;
    };
    std::vector<Seen> seen;
};

template <class SomeEnds>
class TransportContract : public BusTest {
protected:
    host::Transport& sender() { return ends->sender(); }
    host::Transport& receiver() { return ends->receiver(); }
    bool awaitReceived(std::size_t count) {
        return await([&] { return board.received.size() >= count; });
    }

    std::unique_ptr<Ends> ends = std::make_unique<SomeEnds>(loop, ipc("node"));
    KeepingEndpoint board;
    KeepingEndpoint other;
};

using AllEnds = testing::Types<InProcessEnds, OneNodeEnds, TwoNodesEnds>;

struct Names {
    template <class SomeEnds>
    static std::string GetName(int) {
        return SomeEnds::name;
    }
};

TYPED_TEST_SUITE(TransportContract, AllEnds, Names);

TYPED_TEST(TransportContract, DeliversOnTheLoopAndNotInsideSend) {
    this->receiver().attach(0xFA, this->board);
    this->sender().send(messageTo(0xFA, 100));
    EXPECT_TRUE(this->board.received.empty());
    ASSERT_TRUE(this->awaitReceived(1));
    EXPECT_EQ(this->board.received[0].messageId, 100U);
}

TYPED_TEST(TransportContract, DeliversInTheOrderOfSending) {
    this->receiver().attach(0xFA, this->board);
    this->receiver().attach(0x80, this->other);
    for (std::uint32_t i = 0; i < 50; ++i) {
        this->sender().send(messageTo(i % 2 == 0 ? 0xFA : 0x80, i));
    }
    ASSERT_TRUE(this->await([&] { return this->other.received.size() == 25; }));
    ASSERT_EQ(this->board.received.size(), 25U);
    for (std::uint32_t i = 0; i < 25; ++i) {
        EXPECT_EQ(this->board.received[i].messageId, 2 * i);
        EXPECT_EQ(this->other.received[i].messageId, 2 * i + 1);
    }
}

TYPED_TEST(TransportContract, DeliversTheWholeRecordAsItWasWhenItWasSent) {
    this->receiver().attach(0xFA, this->board);
    imc_msg message = messageTo(0xFA, 100);
    message.header0 = 1;
    message.sourceSid = 2;
    message.header3 = 3;
    message.length = 1024;
    message.reserved = 0x0405;
    for (std::size_t i = 0; i < imc_msg::payloadSize; ++i) {
        message.payload[i] = static_cast<std::uint8_t>(i * 7);
    }
    imc_msg const sent = message;
    this->sender().send(message);
    message.payload[0] = 99;
    ASSERT_TRUE(this->awaitReceived(1));
    EXPECT_EQ(std::memcmp(&this->board.received[0], &sent, sizeof sent), 0);
}

TYPED_TEST(TransportContract, RefusesAnAddressThatNobodyServesAndNamesIt) {
    EXPECT_EQ(failureOf<std::runtime_error>([&] { this->sender().send(messageTo(0x8A, 100)); }),
              "nobody serves IMC address 0x8A");
}

TYPED_TEST(TransportContract, RefusesASecondEndpointForAnAddressAndNamesIt) {
    this->receiver().attach(0xFA, this->board);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { this->receiver().attach(0xFA, this->other); }),
              "IMC address 0xFA is served already");
    this->sender().send(messageTo(0xFA, 100));
    EXPECT_TRUE(this->awaitReceived(1));
    EXPECT_TRUE(this->other.received.empty());
}

TYPED_TEST(TransportContract, ANewEndpointDoesNotGetWhatWasSentToTheOneBefore) {
    this->receiver().attach(0xFA, this->board);
    ASSERT_TRUE(this->await([&] { return this->ends->hasHeardOf(1); }));
    this->sender().send(messageTo(0xFA, 100));
    this->receiver().detach(0xFA);
    this->receiver().attach(0xFA, this->other);
    // Lost and returned.
    ASSERT_TRUE(this->await([&] { return this->ends->hasHeardOf(3); }));
    this->sender().send(messageTo(0xFA, 104));
    ASSERT_TRUE(this->await([&] { return this->other.received.size() == 1; }));
    EXPECT_TRUE(this->board.received.empty());
    EXPECT_EQ(this->other.received[0].messageId, 104U);
    EXPECT_EQ(this->ends->dropped(), 1U);
}

TYPED_TEST(TransportContract, DetachingAnAddressThatNobodyServesChangesNothing) {
    this->receiver().attach(0xFA, this->board);
    this->receiver().detach(0xFB);
    this->sender().send(messageTo(0xFA, 100));
    EXPECT_TRUE(this->awaitReceived(1));
}

TYPED_TEST(TransportContract, MayEndInsideADelivery) {
    class Ending : public host::Endpoint {
    public:
        explicit Ending(Ends& toEnd) : ends(toEnd) {}
        void receive(imc_msg const& message) override {
            ends.endReceiver();
            seen = message.messageId;
        }
        std::uint32_t seen = 0;

    private:
        Ends& ends;
    };
    Ending ending(*this->ends);
    this->receiver().attach(0xFA, ending);
    this->sender().send(messageTo(0xFA, 100));
    EXPECT_TRUE(this->await([&] { return ending.seen != 0; }));
    EXPECT_EQ(ending.seen, 100U);
}

TYPED_TEST(TransportContract, AnExceptionOfAnEndpointLeavesTheLoopAndTheNextIsDelivered) {
    class Throwing : public KeepingEndpoint {
    public:
        void receive(imc_msg const& message) override {
            KeepingEndpoint::receive(message);
            throw std::out_of_range("endpoint");
        }
    };
    Throwing throwing;
    this->receiver().attach(0xFA, throwing);
    this->sender().send(messageTo(0xFA, 1));
    this->sender().send(messageTo(0xFA, 2));
    for (std::size_t i = 1; i <= 2; ++i) {
        EXPECT_THROW(this->await([&] { return throwing.received.size() > i; }), std::out_of_range);
        EXPECT_EQ(throwing.received.size(), i);
    }
}

TYPED_TEST(TransportContract, EveryAddressIsServedAlike) {
    for (unsigned int sid = 0; sid <= 0xFF; ++sid) {
        this->receiver().attach(static_cast<unsigned char>(sid), this->board);
    }
    ASSERT_TRUE(this->await([&] { return this->ends->hasHeardOf(256); }));
    for (unsigned int sid = 0; sid <= 0xFF; ++sid) {
        this->sender().send(messageTo(static_cast<unsigned char>(sid), sid));
    }
    ASSERT_TRUE(this->awaitReceived(256));
    for (unsigned int sid = 0; sid <= 0xFF; ++sid) {
        EXPECT_EQ(this->board.received[sid].destinationSid, sid);
    }
}

TYPED_TEST(TransportContract, ShowsATapWhatItCarriesAndWhatItRefuses) {
    KeepingTap tap;
    this->sender().setTap(&tap);
    this->receiver().attach(0xFA, this->board);
    this->sender().send(messageTo(0xFA, 100));
    ASSERT_EQ(tap.seen.size(), 1U) << "within send, before it is delivered";
    EXPECT_EQ(tap.seen[0].message.messageId, 100U);
    EXPECT_EQ(tap.seen[0].reason, "");
    std::string told;
    try {
        this->sender().send(messageTo(0x80, 101));
    } catch (std::runtime_error const& error) {
        told = error.what();
    }
    ASSERT_EQ(tap.seen.size(), 2U);
    EXPECT_EQ(tap.seen[1].message.messageId, 101U);
    EXPECT_NE(tap.seen[1].reason, "");
    EXPECT_EQ(tap.seen[1].reason, told);
    ASSERT_TRUE(this->awaitReceived(1));
    EXPECT_EQ(tap.seen.size(), 2U);
    this->sender().setTap(nullptr);
    this->sender().send(messageTo(0xFA, 102));
    EXPECT_EQ(tap.seen.size(), 2U);
}

TYPED_TEST(TransportContract, ShowsATapOfTheReceiverWhatArrivesOnce) {
    KeepingTap tap;
    this->receiver().setTap(&tap);
    this->receiver().attach(0xFA, this->board);
    this->sender().send(messageTo(0xFA, 100));
    this->sender().send(messageTo(0xFA, 101));
    ASSERT_TRUE(this->awaitReceived(2));
    ASSERT_EQ(tap.seen.size(), 2U);
    EXPECT_EQ(tap.seen[0].message.messageId, 100U);
    EXPECT_EQ(tap.seen[1].message.messageId, 101U);
    EXPECT_EQ(tap.seen[1].reason, "");
    this->receiver().setTap(nullptr);
    this->sender().send(messageTo(0xFA, 102));
    ASSERT_TRUE(this->awaitReceived(3));
    EXPECT_EQ(tap.seen.size(), 2U);
}

TYPED_TEST(TransportContract, ShowsATapNothingThatIsNotDelivered) {
    KeepingTap tap;
    this->receiver().attach(0xFA, this->board);
    ASSERT_TRUE(this->await([&] { return this->ends->hasHeardOf(1); }));
    this->sender().send(messageTo(0xFA, 100));
    this->receiver().setTap(&tap);
    this->receiver().detach(0xFA);
    ASSERT_TRUE(this->await([&] { return this->ends->dropped() == 1; }));
    EXPECT_TRUE(tap.seen.empty());
}

} // namespace
