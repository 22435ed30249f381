// Nodes of an ipc bus: who finds whom, what is refused and what is lost, and that it is told.

#include "host/bus/BusTransport.h"

#include "BusFixture.h"

#include "host/bus/BusDirectory.h"

#include <sys/stat.h>

#include <stdexcept>
#include <thread>

namespace {

using host::Cause;
using testing::Test;

class Bus : public BusTest {
protected:
    /** A node that serves an address, and one that knows it. */
    struct Pair {
        PlayedNode board;
        PlayedNode session;
    };
    std::unique_ptr<Pair> pairOf(host::BusOptions const& board, host::BusOptions const& session) {
        return pairOf(loop, board, session);
    }
    std::unique_ptr<Pair> pairOf(host::Dispatcher& boardsLoop, host::BusOptions const& board,
                                 host::BusOptions const& session) {
        auto pair = std::unique_ptr<Pair>(new Pair{{boardsLoop, board}, {loop, session}});
        pair->board.transport->attach(0x10, pair->board.board);
        EXPECT_TRUE(await([&] { return pair->session.ears.hasHeard("found 0x10 board"); }));
        return pair;
    }
    std::unique_ptr<Pair> pair() { return pairOf(ipc("board"), ipc("session")); }

    static std::string sendFault(PlayedNode& from, unsigned char to) {
        return failureOf<std::runtime_error>([&] { from.transport->send(messageTo(to, 100)); });
    }
};

TEST_F(Bus, NodesFindEachOtherAndAreTold) {
    PlayedNode first(loop, ipc("first"));
    first.transport->attach(0x10, first.board);
    PlayedNode second(loop, ipc("second"));
    second.transport->attach(0x20, second.board);
    EXPECT_TRUE(await([&] {
        return first.ears.hasHeard("found 0x20 second") && second.ears.hasHeard("found 0x10 first");
    }));
    ASSERT_EQ(first.transport->peers().size(), 1U);
    host::BusPeer const peer = first.transport->peers()[0];
    EXPECT_EQ(peer.holder.text(), "second, process " + std::to_string(getpid()));
    EXPECT_EQ(peer.sids, std::vector<unsigned char>{0x20});
    EXPECT_EQ(peer.untaken, 0U);
    EXPECT_FALSE(peer.isTap);
}

TEST_F(Bus, ThreeNodesFindEachOtherWhateverStartsFirst) {
    std::vector<std::unique_ptr<PlayedNode>> nodes;
    for (unsigned char i = 0; i < 3; ++i) {
        nodes.push_back(std::make_unique<PlayedNode>(loop, ipc("node")));
        nodes.back()->transport->attach(i, nodes.back()->board);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(await([&] {
            Ears const& ears = nodes[i]->ears;
            return (i == 0 || ears.hasHeard("found 0x00 node")) &&
                   (i == 1 || ears.hasHeard("found 0x01 node")) &&
                   (i == 2 || ears.hasHeard("found 0x02 node"));
        }));
    }
    for (auto const& node : nodes) {
        for (unsigned char i = 0; i < 3; ++i) {
            node->transport->send(messageTo(i, 1));
        }
    }
    EXPECT_TRUE(await([&] {
        return std::all_of(nodes.begin(), nodes.end(),
                           [](auto const& node) { return node->board.received.size() == 3; });
    }));
}

TEST_F(Bus, TheFirstSendWaitsForANodeThatIsThere) {
    PlayedNode board(loop, ipc("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, ipc("session"));
    // Nothing ran in between: the link can't be up yet.
    session.transport->send(messageTo(0x10, 100));
    EXPECT_TRUE(await([&] { return board.board.received.size() == 1; }));
}

TEST_F(Bus, ASendToANodeThatDoesNotAnswerIsRefusedAndCounted) {
    host::BusDirectory const bus(directory.path());
    host::LockFile const silent = bus.claim(0x10, {"silent", 77});
    host::BusOptions options = ipc("session");
    options.linkWait = std::chrono::milliseconds(20);
    PlayedNode session(loop, options);
    EXPECT_EQ(sendFault(session, 0x10),
              "IMC address 0x10 is served by silent, process 77, which does not answer");
    EXPECT_EQ(session.counted(Cause::busNotLinked), 1U);
}

TEST_F(Bus, ASendToAnAddressThatNobodyServesIsCounted) {
    PlayedNode session(loop, ipc("session"));
    EXPECT_EQ(sendFault(session, 0x10), "nobody serves IMC address 0x10");
    EXPECT_EQ(session.counted(Cause::busUnserved), 1U);
}

TEST_F(Bus, TenThousandMessagesKeepTheirOrder) {
    constexpr std::uint32_t count = 10000;
    auto const nodes = pair();
    std::uint32_t next = 0;
    while (next < count) {
        try {
            nodes->session.transport->send(messageTo(0x10, next));
            ++next;
        } catch (std::runtime_error const&) {
            ASSERT_GT(nodes->session.counted(Cause::busWindowFull), 0U);
            ASSERT_TRUE(await([&] { return nodes->session.transport->peers()[0].untaken < 64; }));
        }
    }
    ASSERT_TRUE(await([&] { return nodes->board.board.received.size() == count; }));
    for (std::uint32_t i = 0; i < count; ++i) {
        ASSERT_EQ(nodes->board.board.received[i].messageId, i);
    }
    EXPECT_EQ(nodes->board.counted(Cause::busOutOfSequence), 0U);
}

TEST_F(Bus, TwoSendersToOneReceiverKeepTheirOwnOrder) {
    constexpr std::uint32_t count = 500;
    auto const nodes = pair();
    PlayedNode other(loop, ipc("other"));
    for (std::uint32_t i = 0; i < count; ++i) {
        imc_msg message = messageTo(0x10, i);
        message.sourceSid = 1;
        nodes->session.transport->send(message);
        message.sourceSid = 2;
        other.transport->send(message);
    }
    auto const& received = nodes->board.board.received;
    ASSERT_TRUE(await([&] { return received.size() == 2 * count; }));
    for (std::uint8_t sender = 1; sender <= 2; ++sender) {
        std::uint32_t expected = 0;
        for (imc_msg const& message : received) {
            if (message.sourceSid == sender) {
                EXPECT_EQ(message.messageId, expected++);
            }
        }
        EXPECT_EQ(expected, count);
    }
}

TEST_F(Bus, AFullWindowIsAnErrorThatNamesTheReceiverAndEndsWhenItTakes) {
    host::Dispatcher boardsLoop;
    host::BusOptions options = ipc("session");
    options.window = 5;
    auto const nodes = pairOf(boardsLoop, ipc("board"), options);
    for (int i = 0; i < 5; ++i) {
        nodes->session.transport->send(messageTo(0x10, 100));
    }
    std::string const expected = "queue to 0x10 (board, process " + std::to_string(getpid()) +
                                 ") is full: 5 messages not taken";
    EXPECT_EQ(sendFault(nodes->session, 0x10), expected);
    EXPECT_EQ(sendFault(nodes->session, 0x10), expected);
    EXPECT_EQ(nodes->session.counted(Cause::busWindowFull), 2U);
    ASSERT_TRUE(await(boardsLoop, [&] { return nodes->board.board.received.size() == 5; }));
    ASSERT_TRUE(await([&] { return nodes->session.transport->peers()[0].untaken == 0; }));
    nodes->session.transport->send(messageTo(0x10, 101));
    EXPECT_TRUE(await(boardsLoop, [&] { return nodes->board.board.received.size() == 6; }));
    EXPECT_EQ(nodes->session.counted(Cause::busMessageLost), 0U);
}

TEST_F(Bus, AnAddressInUseIsRefusedWithItsHoldersName) {
    auto const nodes = pair();
    EXPECT_EQ(failureOf<std::runtime_error>(
                  [&] { nodes->session.transport->attach(0x10, nodes->session.board); }),
              "IMC address 0x10 is served already by board, process " + std::to_string(getpid()));
    EXPECT_EQ(nodes->session.counted(Cause::busClaimRefused), 1U);
    nodes->session.transport->send(messageTo(0x10, 100));
    EXPECT_TRUE(await([&] { return nodes->board.board.received.size() == 1; }));
}

TEST_F(Bus, AnAddressThatIsGivenUpMayBeServedByAnother) {
    auto const nodes = pair();
    PlayedNode third(loop, ipc("third"));
    nodes->board.transport->detach(0x10);
    third.transport->attach(0x10, third.board);
    ASSERT_TRUE(await([&] { return nodes->session.ears.hasHeard("restarted 0x10 third"); }));
    EXPECT_TRUE(nodes->session.ears.hasHeardOf("lost 0x10 board with 0: "));
    nodes->session.transport->send(messageTo(0x10, 100));
    EXPECT_TRUE(await([&] { return third.board.received.size() == 1; }));
}

TEST_F(Bus, AnAddressThatIsServedAnewByTheSameNodeIsTold) {
    auto const nodes = pair();
    nodes->board.transport->detach(0x10);
    nodes->board.transport->attach(0x10, nodes->board.board);
    EXPECT_TRUE(await([&] { return nodes->session.ears.hasHeard("restarted 0x10 board"); }));
}

TEST_F(Bus, ANodeThatLeavesIsToldAndWhatIsSentToItIsRefused) {
    auto const nodes = pair();
    nodes->board.transport.reset();
    ASSERT_TRUE(await([&] { return nodes->session.ears.hasHeardOf("lost 0x10 board with 0: "); }));
    std::string const fault = sendFault(nodes->session, 0x10);
    EXPECT_EQ(fault.rfind("nobody serves IMC address 0x10 any more: board, process " +
                              std::to_string(getpid()) + " is gone, ",
                          0),
              0U)
        << fault;
    EXPECT_EQ(nodes->session.counted(Cause::busPeerGone), 1U);
    EXPECT_TRUE(await([&] { return nodes->session.counted(Cause::busLinkLost) == 1; }));
}

TEST_F(Bus, WhatWasNotTakenWhenANodeLeavesIsCountedAndTold) {
    host::Dispatcher boardsLoop;
    auto const nodes = pairOf(boardsLoop, ipc("board"), ipc("session"));
    for (int i = 0; i < 7; ++i) {
        nodes->session.transport->send(messageTo(0x10, 100));
    }
    nodes->board.transport.reset();
    ASSERT_TRUE(await([&] { return nodes->session.ears.hasHeardOf("lost 0x10 board with 7: "); }));
    EXPECT_EQ(nodes->session.counted(Cause::busMessageLost), 7U);
    EXPECT_TRUE(nodes->board.board.received.empty());
}

TEST_F(Bus, WhatASenderLeavesUntakenIsCountedAtItsEnd) {
    host::Dispatcher boardsLoop;
    host::BusOptions options = ipc("session");
    // It is waited for in full, and long enough for both to get there.
    options.linger = std::chrono::seconds(1);
    auto const nodes = pairOf(boardsLoop, ipc("board"), options);
    nodes->session.transport->send(messageTo(0x10, 100));
    nodes->session.transport->send(messageTo(0x10, 101));
    nodes->session.transport.reset();
    EXPECT_EQ(nodes->session.counted(Cause::busMessageLost), 2U);
    // They arrived, though their sender could not know it.
    EXPECT_TRUE(await(boardsLoop, [&] { return nodes->board.board.received.size() == 2; }));
}

TEST_F(Bus, ASenderThatEndsWaitsUntilItsMessagesAreTaken) {
    host::Dispatcher boardsLoop;
    host::BusOptions options = ipc("session");
    options.linger = patience;
    auto const nodes = pairOf(boardsLoop, ipc("board"), options);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        nodes->session.transport->send(messageTo(0x10, i));
    }
    std::thread boards([&] { boardsLoop.run(); });
    nodes->session.transport.reset();
    boardsLoop.stop();
    boards.join();
    EXPECT_EQ(nodes->board.board.received.size(), 1000U);
    EXPECT_EQ(nodes->session.counted(Cause::busMessageLost), 0U);
}

TEST_F(Bus, MessagesToAnAddressThatIsGivenUpOnTheWayAreCounted) {
    host::Dispatcher boardsLoop;
    auto const nodes = pairOf(boardsLoop, ipc("board"), ipc("session"));
    for (int i = 0; i < 3; ++i) {
        nodes->session.transport->send(messageTo(0x10, 100));
    }
    nodes->board.transport->detach(0x10);
    EXPECT_TRUE(await([&] { return nodes->session.ears.hasHeardOf("lost 0x10 board with 3: "); }));
    EXPECT_EQ(nodes->session.counted(Cause::busMessageLost), 3U);
    ASSERT_TRUE(
        await(boardsLoop, [&] { return nodes->board.counted(Cause::messageDropped) == 3; }));
    EXPECT_TRUE(nodes->board.board.received.empty());
}

TEST_F(Bus, ItsFilesAreItsOwnersAloneAndGoWithIt) {
    mode_t const before = umask(0);
    auto node = std::make_unique<PlayedNode>(loop, ipc("board"));
    node->transport->attach(0x10, node->board);
    umask(before);
    std::size_t files = 0;
    for (auto const& entry : std::filesystem::directory_iterator(directory.path())) {
        struct stat found {};
        ASSERT_EQ(lstat(entry.path().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777U, 0600U) << entry.path();
        ++files;
    }
    EXPECT_EQ(files, 3U) << "a socket and its lock, and the lock of an address";
    node.reset();
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(Bus, OptionsThatNameNoBusAreRefused) {
    auto const faultWith = [&](auto change) {
        host::BusOptions options = ipc("node");
        change(options);
        return failureOf<std::invalid_argument>([&] { PlayedNode const bad(loop, options); });
    };
    std::string const name = "the name of a process on the bus has 1 to 64 printable characters";
    EXPECT_EQ(faultWith([](auto& options) { options.name = ""; }), name);
    EXPECT_EQ(faultWith([](auto& options) { options.name = "a\nb"; }), name);
    EXPECT_EQ(faultWith([](auto& options) { options.name = std::string(65, 'x'); }), name);
    EXPECT_EQ(faultWith([](auto& options) { options.window = 0; }),
              "the window of the bus holds at least one message");
    EXPECT_NE(faultWith([](auto& options) { options.url = "bus"; }).find("no address of a bus"),
              std::string::npos);
    std::string const alone = "the processes of an ipc bus find each other";
    EXPECT_NE(faultWith([](auto& options) { options.peers = {"tcp://127.0.0.1:1"}; }).find(alone),
              std::string::npos);
    EXPECT_NE(faultWith([](auto& options) { options.keys = "/k"; }).find(alone), std::string::npos);
}

TEST_F(Bus, TheWorkstationMovesItsAddressOverToIt) {
    host::Workstation& workstation = host::Workstation::instance();
    workstation.reset();
    PlayedNode board(workstation.dispatcher(), ipc("board"));
    board.transport->attach(0x10, board.board);
    host::Counters counters;
    workstation.setTransport(
        std::make_unique<host::BusTransport>(workstation.dispatcher(), counters, ipc("session")));
    IMC_Manager::instance(0xFF)->post(messageTo(0x10, 100));
    EXPECT_TRUE(await(workstation.dispatcher(), [&] { return board.board.received.size() == 1; }));
    EXPECT_EQ(board.board.received.at(0).sourceSid, host::Workstation::defaultSid);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { board.transport->attach(0x01, board.board); }),
              "IMC address 0x01 is served already by session, process " + std::to_string(getpid()));
    workstation.reset();
}

} // namespace
