#include "host/bus/BusTap.h"

#include "BusFixture.h"

namespace {

using host::BusCopy;
using host::BusHolder;
using host::Cause;

class Seeing : public host::BusTapListener {
public:
    void copy(BusCopy const& copy) override { copies.push_back(copy); }
    void missed(BusHolder const& sender, std::uint64_t total) override {
        missedOf = sender.name;
        missedTotal = total;
    }

    std::vector<BusCopy> copies;
    std::string missedOf;
    std::uint64_t missedTotal = 0;
};

class Tap : public BusTest {
protected:
    bool awaitTaps(PlayedNode const& node, std::size_t count) {
        return await([&] {
            auto const peers = node.transport->peers();
            return count ==
                   static_cast<std::size_t>(std::count_if(
                       peers.begin(), peers.end(), [](auto const& peer) { return peer.isTap; }));
        });
    }

    Seeing seen;
    host::Counters counters;
};

TEST_F(Tap, SeesWhatEachNodeSendsInItsOrder) {
    PlayedNode board(loop, ipc("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, ipc("session"));
    session.transport->attach(0x01, session.board);
    host::BusTap const tap(loop, counters, ipc("capture"), seen);
    ASSERT_TRUE(awaitTaps(board, 1) && awaitTaps(session, 1));
    for (std::uint32_t i = 0; i < 100; ++i) {
        session.transport->send(messageTo(0x10, 1000 + i));
        board.transport->send(messageTo(0x01, 2000 + i));
    }
    ASSERT_TRUE(await([&] { return seen.copies.size() == 200; }));
    std::uint32_t commands = 0;
    std::uint32_t events = 0;
    for (BusCopy const& copy : seen.copies) {
        bool const isCommand = copy.sender.name == "session";
        std::uint32_t& count = isCommand ? commands : events;
        EXPECT_EQ(copy.message.messageId, (isCommand ? 1000 : 2000) + count);
        EXPECT_EQ(copy.number, ++count);
        EXPECT_EQ(copy.sender.pid, static_cast<std::uint32_t>(getpid()));
        EXPECT_EQ(copy.missed, 0U);
        EXPECT_GT(copy.timestamp, 0U);
    }
    EXPECT_EQ(commands, 100U);
    EXPECT_EQ(events, 100U);
    EXPECT_TRUE(await([&] { return board.board.received.size() == 100; }));
    EXPECT_EQ(tap.senders().size(), 2U);
}

TEST_F(Tap, SeesWhatStaysInsideANode) {
    PlayedNode node(loop, ipc("node"));
    node.transport->attach(0x10, node.board);
    host::BusTap const tap(loop, counters, ipc("capture"), seen);
    ASSERT_TRUE(awaitTaps(node, 1));
    node.transport->send(messageTo(0x10, 5));
    ASSERT_TRUE(await([&] { return seen.copies.size() == 1 && node.board.received.size() == 1; }));
    EXPECT_EQ(seen.copies[0].message.messageId, 5U);
}

TEST_F(Tap, DoesNotSeeWhatWasRefused) {
    PlayedNode node(loop, ipc("node"));
    node.transport->attach(0x10, node.board);
    host::BusTap const tap(loop, counters, ipc("capture"), seen);
    ASSERT_TRUE(awaitTaps(node, 1));
    EXPECT_THROW(node.transport->send(messageTo(0x77, 1)), std::runtime_error);
    node.transport->send(messageTo(0x10, 2));
    ASSERT_TRUE(await([&] { return !seen.copies.empty(); }));
    EXPECT_EQ(seen.copies[0].message.messageId, 2U);
    EXPECT_EQ(seen.copies[0].number, 1U);
}

TEST_F(Tap, TwoTapsSeeTheSame) {
    PlayedNode node(loop, ipc("node"));
    node.transport->attach(0x10, node.board);
    Seeing other;
    host::BusTap const tap(loop, counters, ipc("capture"), seen);
    host::BusTap const second(loop, counters, ipc("capture"), other);
    ASSERT_TRUE(awaitTaps(node, 2));
    node.transport->send(messageTo(0x10, 5));
    EXPECT_TRUE(await([&] { return seen.copies.size() == 1 && other.copies.size() == 1; }));
}

TEST_F(Tap, ThatIsTooSlowLosesCopiesAndIsToldAndSlowsNobody) {
    host::Dispatcher tapsLoop;
    host::BusOptions options = ipc("node");
    options.window = 4;
    PlayedNode node(loop, options);
    node.transport->attach(0x10, node.board);
    host::BusTap const tap(tapsLoop, counters, ipc("capture"), seen);
    ASSERT_TRUE(awaitTaps(node, 1));
    for (std::uint32_t i = 1; i <= 10; ++i) {
        node.transport->send(messageTo(0x10, i));
    }
    ASSERT_TRUE(await([&] { return node.board.received.size() == 10; }));
    EXPECT_EQ(node.counted(Cause::busCopyMissed), 6U);
    EXPECT_EQ(node.counted(Cause::busWindowFull), 0U);
    ASSERT_TRUE(await(tapsLoop, [&] { return seen.missedTotal == 6; }));
    EXPECT_EQ(seen.missedOf, "node");
    EXPECT_EQ(seen.copies.size(), 4U);
    ASSERT_TRUE(await([&] {
        auto const peers = node.transport->peers();
        return !peers.empty() && peers[0].untaken == 0;
    }));
    node.transport->send(messageTo(0x10, 11));
    ASSERT_TRUE(await(tapsLoop, [&] { return seen.copies.size() == 5; }));
    EXPECT_EQ(seen.copies[4].number, 11U);
    EXPECT_EQ(seen.copies[4].missed, 6U);
}

TEST_F(Tap, ThatLeavesIsNoLossOfMessages) {
    PlayedNode node(loop, ipc("node"));
    node.transport->attach(0x10, node.board);
    host::Dispatcher tapsLoop;
    auto tap = std::make_unique<host::BusTap>(tapsLoop, counters, ipc("capture"), seen);
    ASSERT_TRUE(awaitTaps(node, 1));
    node.transport->send(messageTo(0x10, 5));
    tap.reset();
    ASSERT_TRUE(awaitTaps(node, 0));
    EXPECT_EQ(node.counted(Cause::busMessageLost), 0U);
    EXPECT_EQ(node.counted(Cause::busCopyMissed), 1U);
    EXPECT_TRUE(node.ears.heard.empty());
}

TEST_F(Tap, MayEndInsideItsCopy) {
    class Ending : public Seeing {
    public:
        void copy(BusCopy const& copy) override {
            tap.reset();
            Seeing::copy(copy);
        }
        std::unique_ptr<host::BusTap> tap;
    };
    PlayedNode node(loop, ipc("node"));
    node.transport->attach(0x10, node.board);
    Ending ending;
    ending.tap = std::make_unique<host::BusTap>(loop, counters, ipc("capture"), ending);
    ASSERT_TRUE(awaitTaps(node, 1));
    node.transport->send(messageTo(0x10, 1));
    node.transport->send(messageTo(0x10, 2));
    ASSERT_TRUE(awaitTaps(node, 0));
    EXPECT_EQ(ending.copies.size(), 1U);
}

} // namespace
