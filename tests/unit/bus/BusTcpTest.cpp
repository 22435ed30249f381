// Nodes of a tcp bus, without keys on this machine and with keys.

#include "host/bus/BusTransport.h"

#include "BusFixture.h"
#include "HeldPort.h"

#include "host/bus/BusKeys.h"
#include "host/bus/BusTap.h"
#include "host/bus/Frame.h"

#include <zmq.hpp>

namespace {

using host::Cause;

class Tcp : public BusTest {
protected:
    /** The board, which serves 0x10, and the session hear of each other and exchange a message. */
    void expectToTalk(PlayedNode& board, PlayedNode& session) {
        session.transport->attach(0x01, session.board);
        ASSERT_TRUE(await([&] {
            return session.ears.hasHeard("found 0x10 board") &&
                   board.ears.hasHeard("found 0x01 session");
        }));
        session.transport->send(messageTo(0x10, 100));
        board.transport->send(messageTo(0x01, 101));
        EXPECT_TRUE(await([&] {
            return board.board.received.size() == 1 && session.board.received.size() == 1;
        }));
    }
    /** Says hello to the node as one that takes frames at the endpoint. */
    void greet(PlayedNode const& node, std::string const& endpoint) {
        greet(greeter, node, endpoint);
    }
    static void greet(zmq::socket_t& from, PlayedNode const& node, std::string const& endpoint) {
        host::BusNode self;
        self.instance = 77;
        self.name = "stranger";
        self.endpoint = endpoint;
        from.set(zmq::sockopt::linger, 0);
        from.connect(node.transport->endpoint());
        from.send(zmq::buffer(host::encodeFrame({0, host::HelloFrame{self}})),
                  zmq::send_flags::none);
    }
    template <class Body>
    static Body next(zmq::socket_t& of) {
        zmq::message_t bytes;
        of.set(zmq::sockopt::rcvtimeo, 60000);
        EXPECT_TRUE(of.recv(bytes, zmq::recv_flags::none).has_value());
        auto const decoded = host::decodeFrame(bytes.data(), bytes.size());
        auto const* const frame = std::get_if<host::Frame>(&decoded);
        auto const* const body = frame == nullptr ? nullptr : std::get_if<Body>(&frame->body);
        EXPECT_NE(body, nullptr);
        return body == nullptr ? Body{} : *body;
    }
    std::string refusal() { return next<host::RefusedFrame>(greeter).reason; }

    zmq::context_t context;
    zmq::socket_t greeter{context, zmq::socket_type::dealer};
};

TEST_F(Tcp, ANamedPeerIsLinkedBothWays) {
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, tcp("session", {board.transport->endpoint()}));
    expectToTalk(board, session);
}

TEST_F(Tcp, TheFirstSendWaitsForANamedPeer) {
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, tcp("session", {board.transport->endpoint()}));
    session.transport->send(messageTo(0x10, 100));
    EXPECT_TRUE(await([&] { return board.board.received.size() == 1; }));
}

TEST_F(Tcp, APeerThatIsNotThereIsToldOnceAndTriedOn) {
    HeldPort const port;
    std::string const& endpoint = port.endpoint;
    PlayedNode session(loop, tcp("session", {endpoint}));
    ASSERT_TRUE(await([&] { return session.ears.hasHeard("refused: nobody answers there"); }));
    EXPECT_EQ(session.ears.endpoints, std::vector<std::string>{endpoint});
    EXPECT_EQ(failureOf<std::runtime_error>([&] { session.transport->send(messageTo(0x10, 1)); }),
              "nobody serves IMC address 0x10");
    host::BusOptions options = tcp("board");
    options.url = endpoint;
    PlayedNode board(loop, options);
    board.transport->attach(0x10, board.board);
    EXPECT_TRUE(await([&] { return session.ears.hasHeard("found 0x10 board"); }));
    EXPECT_EQ(session.counted(Cause::busLinkRefused), 1U);
}

TEST_F(Tcp, TenThousandMessagesKeepTheirOrder) {
    constexpr std::uint32_t count = 10000;
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    host::BusOptions options = tcp("session", {board.transport->endpoint()});
    options.window = count;
    PlayedNode session(loop, options);
    for (std::uint32_t i = 0; i < count; ++i) {
        session.transport->send(messageTo(0x10, i));
    }
    ASSERT_TRUE(await([&] { return board.board.received.size() == count; }));
    for (std::uint32_t i = 0; i < count; ++i) {
        ASSERT_EQ(board.board.received[i].messageId, i);
    }
}

TEST_F(Tcp, AnAddressInUseIsRefusedWithItsHoldersName) {
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, tcp("session", {board.transport->endpoint()}));
    ASSERT_TRUE(await([&] { return session.ears.hasHeard("found 0x10 board"); }));
    EXPECT_EQ(
        failureOf<std::runtime_error>([&] { session.transport->attach(0x10, session.board); }),
        "IMC address 0x10 is served already by board, process " + std::to_string(getpid()));
    EXPECT_EQ(session.counted(Cause::busClaimRefused), 1U);
}

TEST_F(Tcp, OfTwoThatServeAnAddressTheLaterOneLosesItAndIsTold) {
    PlayedNode first(loop, tcp("first"));
    first.transport->attach(0x10, first.board);
    PlayedNode second(loop, tcp("second"));
    second.transport->attach(0x10, second.board);
    // Neither knew of the other so far.
    greet(first, second.transport->endpoint());
    ASSERT_TRUE(await([&] { return second.ears.hasHeard("claim lost 0x10 to first"); }));
    EXPECT_EQ(second.counted(Cause::busClaimConflict), 1U);
    EXPECT_FALSE(first.ears.hasHeardOf("claim lost"));
    second.transport->send(messageTo(0x10, 100));
    first.transport->send(messageTo(0x10, 101));
    EXPECT_TRUE(await([&] { return first.board.received.size() == 2; }));
    EXPECT_TRUE(second.board.received.empty());
}

TEST_F(Tcp, AnAddressOfANamedPeerIsRefusedWhoeverAsksFirst) {
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, tcp("session", {board.transport->endpoint()}));
    EXPECT_EQ(
        failureOf<std::runtime_error>([&] { session.transport->attach(0x10, session.board); }),
        "IMC address 0x10 is served already by board, process " + std::to_string(getpid()));
}

TEST_F(Tcp, AnEndpointWithoutAPortIsRefusedAndNotWaitedFor) {
    PlayedNode node(loop, tcp("node"));
    greet(node, "tcp://127.0.0.1:*");
    EXPECT_EQ(refusal(), "its endpoint tcp://127.0.0.1:* has no number of a port");
    EXPECT_EQ(node.counted(Cause::busBadFrame), 1U);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { node.transport->send(messageTo(0x10, 1)); }),
              "nobody serves IMC address 0x10");
}

TEST_F(Tcp, MoreStrangersThanThereMayBeAreRefused) {
    PlayedNode node(loop, tcp("node"));
    std::vector<zmq::socket_t> strangers;
    for (unsigned i = 0; i < 256; ++i) {
        strangers.emplace_back(context, zmq::socket_type::dealer);
        greet(strangers.back(), node, "tcp://127.0.1." + std::to_string(i) + ":1");
        next<host::WelcomeFrame>(strangers.back());
    }
    greet(node, "tcp://127.0.2.1:1");
    EXPECT_EQ(refusal(), "as many processes as there may be are known already");
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, tcp("session", {board.transport->endpoint()}));
    EXPECT_TRUE(await([&] { return session.ears.hasHeard("found 0x10 board"); }));
}

TEST_F(Tcp, APeerThatSaysNothingIsTold) {
    zmq::socket_t silent(context, zmq::socket_type::router);
    silent.bind("tcp://127.0.0.1:*");
    std::string const endpoint = silent.get(zmq::sockopt::last_endpoint);
    PlayedNode session(loop, tcp("session", {endpoint}));
    EXPECT_TRUE(await([&] {
        return session.ears.hasHeard(
            "refused: it says no welcome: it is halted, wants keys, or is no bus");
    }));
    EXPECT_EQ(failureOf<std::runtime_error>([&] { session.transport->send(messageTo(0x10, 1)); }),
              "nobody serves IMC address 0x10");
}

TEST_F(Tcp, AConnectionThatEndsBeforeAWelcomeIsToldWhenItDoesSoAgain) {
    HeldPort const port;
    port.listen();
    PlayedNode session(loop, tcp("session", {port.endpoint}));
    int const first = port.accept();
    ASSERT_GE(first, 0);
    close(first);
    int const second = port.accept();
    ASSERT_GE(second, 0);
    EXPECT_EQ(session.counted(Cause::busLinkRefused), 0U);
    close(second);
    EXPECT_TRUE(await([&] { return session.ears.hasHeardOf("refused: it says no welcome: "); }));
}

TEST_F(Tcp, ANodeThatNamesItselfIsRefused) {
    HeldPort const port;
    host::BusOptions options = tcp("node", {port.endpoint});
    options.url = port.endpoint;
    PlayedNode node(loop, options);
    EXPECT_TRUE(await([&] { return node.ears.hasHeard("refused: it is this process itself"); }));
    EXPECT_TRUE(node.transport->peers().empty());
}

TEST_F(Tcp, APeerUnderTwoNamesIsLinkedOnce) {
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    std::string const port =
        board.transport->endpoint().substr(board.transport->endpoint().rfind(':'));
    PlayedNode session(loop, tcp("session", {"tcp://127.0.0.1" + port, "tcp://localhost" + port}));
    ASSERT_TRUE(await([&] { return session.ears.hasHeard("found 0x10 board"); }));
    for (std::uint32_t i = 0; i < 100; ++i) {
        session.transport->send(messageTo(0x10, i));
    }
    ASSERT_TRUE(await([&] { return board.board.received.size() == 100; }));
    EXPECT_EQ(session.transport->peers().size(), 1U);
    EXPECT_EQ(session.ears.heard, std::vector<std::string>{"found 0x10 board"});
}

TEST_F(Tcp, APeerThatLeavesAndComesBackIsTold) {
    HeldPort const port;
    host::BusOptions options = tcp("board");
    options.url = port.endpoint;
    auto board = std::make_unique<PlayedNode>(loop, options);
    board->transport->attach(0x10, board->board);
    PlayedNode session(loop, tcp("session", {port.endpoint}));
    ASSERT_TRUE(await([&] { return session.ears.hasHeard("found 0x10 board"); }));
    board.reset();
    ASSERT_TRUE(await([&] { return session.ears.hasHeardOf("lost 0x10 board with 0: "); }));
    board = std::make_unique<PlayedNode>(loop, options);
    board->transport->attach(0x10, board->board);
    EXPECT_TRUE(await([&] { return session.ears.hasHeard("restarted 0x10 board"); }));
}

TEST_F(Tcp, ANodeThatCantBeReachedBackIsTold) {
    PlayedNode node(loop, tcp("node"));
    HeldPort const port;
    greet(node, port.endpoint);
    ASSERT_TRUE(await([&] { return node.ears.hasHeard("refused: nobody answers there"); }));
    EXPECT_EQ(node.ears.endpoints, std::vector<std::string>{port.endpoint});
}

TEST_F(Tcp, ANodeThatTakesAllAddressesIsReachedWhereItsConnectionCameFrom) {
    PlayedNode node(loop, tcp("node"));
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    std::string const& endpoint = board.transport->endpoint();
    greet(node, "tcp://0.0.0.0" + endpoint.substr(endpoint.rfind(':')));
    EXPECT_TRUE(await([&] { return node.ears.hasHeard("found 0x10 board"); }));
}

TEST_F(Tcp, ATapSeesWhatNodesSend) {
    class Seeing : public host::BusTapListener {
    public:
        void copy(host::BusCopy const& copy) override { copies.push_back(copy); }
        void missed(host::BusHolder const&, std::uint64_t) override {}
        std::vector<host::BusCopy> copies;
    };
    PlayedNode board(loop, tcp("board"));
    board.transport->attach(0x10, board.board);
    Seeing seen;
    host::Counters counters;
    host::BusTap const tap(loop, counters, tcp("capture", {board.transport->endpoint()}), seen);
    ASSERT_TRUE(await([&] { return board.transport->peers().size() == 1; }));
    board.transport->send(messageTo(0x10, 5));
    EXPECT_TRUE(await([&] { return seen.copies.size() == 1; }));
}

TEST_F(Tcp, AddressesThatOtherMachinesReachNeedKeys) {
    host::BusOptions options = tcp("node");
    for (char const* const url : {"tcp://0.0.0.0:*", "tcp://*:*", "tcp://10.0.0.1:5000"}) {
        options.url = url;
        EXPECT_EQ(failureOf<std::invalid_argument>([&] { PlayedNode const bad(loop, options); }),
                  std::string(url) + ": other machines reach this address, so that it needs keys; "
                                     "without them the bus is for 127.0.0.1, localhost and [::1]");
    }
    EXPECT_THROW(PlayedNode(loop, tcp("node", {"tcp://10.0.0.1:5000"})), std::invalid_argument);
    EXPECT_EQ(failureOf<std::invalid_argument>(
                  [&] { PlayedNode const bad(loop, tcp("node", {"tcp://127.0.0.1:*"})); }),
              "\"tcp://127.0.0.1:*\" is no peer: expected tcp://HOST:PORT");
}

TEST_F(Tcp, LocalhostIsBoundAsItsNumber) {
    host::BusOptions options = tcp("node");
    options.url = "tcp://localhost:*";
    PlayedNode const node(loop, options);
    EXPECT_EQ(node.transport->endpoint().rfind("tcp://127.0.0.1:", 0), 0U);
}

TEST_F(Tcp, AnAddressThatCantBeBoundIsAnError) {
    PlayedNode first(loop, tcp("first"));
    host::BusOptions options = tcp("second");
    options.url = first.transport->endpoint();
    EXPECT_EQ(failureOf<std::runtime_error>([&] { PlayedNode const bad(loop, options); }),
              "can't join the bus " + options.url + ": Address already in use");
}

/** A node that serves 0x10, and a process that says on each of their two connections what it wants.
 */
class TcpByHand : public Tcp {
protected:
    TcpByHand() {
        node.transport->attach(0x10, node.board);
        inlet.set(zmq::sockopt::linger, 0);
        inlet.set(zmq::sockopt::rcvtimeo, 60000);
        inlet.bind("tcp://127.0.0.1:*");
        greet(node, inlet.get(zmq::sockopt::last_endpoint));
        next<host::WelcomeFrame>(greeter);
        claim = next<host::SidsFrame>(greeter).claims.at(0).number;
    }
    void say(host::Frame const& frame) {
        greeter.send(zmq::buffer(host::encodeFrame(frame)), zmq::send_flags::none);
    }
    void sayWith(std::uint64_t version, std::vector<host::BusClaim> const& claims) {
        say({version, host::SidsFrame{claims}});
        say({++sequence, host::DataFrame{claim, 1, messageTo(0x10, 1)}});
        ASSERT_TRUE(await([&] { return node.board.received.size() == sequence; }));
    }
    /** To the node's hello. */
    void welcome() {
        zmq::message_t hello;
        ASSERT_TRUE(inlet.recv(name).has_value() && inlet.recv(hello).has_value());
        host::BusNode self;
        self.instance = 77;
        self.name = "stranger";
        answer({0, host::WelcomeFrame{self}});
    }
    void answer(host::Frame const& frame) {
        inlet.send(zmq::buffer(name.data(), name.size()), zmq::send_flags::sndmore);
        inlet.send(zmq::buffer(host::encodeFrame(frame)), zmq::send_flags::none);
    }
    bool isReached() {
        try {
            node.transport->send(messageTo(0x01, 2));
        } catch (std::runtime_error const&) {
            return false;
        }
        return true;
    }

    PlayedNode node{loop, tcp("node")};
    zmq::socket_t inlet{context, zmq::socket_type::router};
    zmq::message_t name;
    std::uint32_t claim = 0;
    std::uint64_t sequence = 0;
};

TEST_F(TcpByHand, AnAnswerToTheFirstMessageOfAnAddressFindsIt) {
    welcome();
    answer({0, host::SidsFrame{}});
    ASSERT_TRUE(await([&] { return node.transport->isSettled(); }));
    EXPECT_FALSE(isReached());
    sayWith(1, {{0x01, 1, 5}});
    EXPECT_TRUE(isReached());
    // What was said before on the other connection comes later.
    answer({0, host::SidsFrame{}});
    answer({0, host::ByeFrame{}});
    EXPECT_TRUE(await([&] { return node.ears.hasHeardOf("lost 0x01 stranger"); }));
    EXPECT_FALSE(node.ears.hasHeard("lost 0x01 stranger with 1: it serves the address no more"));
}

TEST_F(TcpByHand, AnAnswerWaitsForTheLinkWithWhoeverSaidThatItServesTheAddress) {
    sayWith(1, {{0x01, 1, 5}});
    EXPECT_FALSE(node.transport->isSettled());
    welcome();
    EXPECT_TRUE(isReached());
    sayWith(2, {});
    EXPECT_FALSE(isReached());
}

class TcpWithKeys : public Tcp {
protected:
    TcpWithKeys() {
        for (char const* const name : {"board", "session", "stranger"}) {
            host::BusKeys::make(keys(name));
        }
        allow("board", "session");
        allow("session", "board");
    }
    std::string keys(std::string const& name) const { return directory.path() + "/" + name; }
    /** `of` lets `whom` in. */
    void allow(std::string const& of, std::string const& whom) const {
        std::filesystem::copy_file(keys(whom) + "/public.key",
                                   keys(of) + "/peers/" + whom + ".pub");
    }
    host::BusOptions options(std::string const& name,
                             std::vector<std::string> const& peers = {}) const {
        host::BusOptions result = tcp(name, peers);
        // All of this machine's addresses, so that keys are needed.
        result.url = "tcp://0.0.0.0:*";
        result.keys = keys(name);
        return result;
    }
    static std::string urlOf(PlayedNode const& node) {
        std::string const endpoint = node.transport->endpoint();
        return "tcp://127.0.0.1" + endpoint.substr(endpoint.rfind(':'));
    }
};

TEST_F(TcpWithKeys, NodesThatKnowEachOtherTalk) {
    PlayedNode board(loop, options("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, options("session", {urlOf(board)}));
    expectToTalk(board, session);
    EXPECT_EQ(board.counted(Cause::busKeyRefused), 0U);
}

TEST_F(TcpWithKeys, AKeyThatIsNotAllowedIsRefusedCountedAndTold) {
    allow("stranger", "board");
    PlayedNode board(loop, options("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode stranger(loop, options("stranger", {urlOf(board)}));
    ASSERT_TRUE(await([&] {
        return stranger.ears.hasHeard("refused: it does not allow the key of this process");
    }));
    EXPECT_GT(board.counted(Cause::busKeyRefused), 0U);
    EXPECT_EQ(stranger.counted(Cause::busLinkRefused), 1U);
    EXPECT_TRUE(stranger.transport->peers().empty());
    EXPECT_TRUE(board.transport->peers().empty());
    EXPECT_EQ(failureOf<std::runtime_error>([&] { stranger.transport->send(messageTo(0x10, 1)); }),
              "nobody serves IMC address 0x10");
}

TEST_F(TcpWithKeys, ANodeWithAnotherKeyThanExpectedIsNotTalkedTo) {
    allow("session", "stranger");
    PlayedNode board(loop, options("board"));
    PlayedNode session(loop, options("session", {urlOf(board) + "#stranger"}));
    ASSERT_TRUE(await([&] { return session.ears.hasHeardOf("refused: "); }));
    EXPECT_EQ(session.ears.heard[0],
              "refused: it says no welcome: a key is not the right one, it is halted, or it is no "
              "bus");
    EXPECT_TRUE(session.transport->peers().empty());
}

TEST_F(TcpWithKeys, ANodeWithoutKeysIsNotLetIn) {
    PlayedNode board(loop, options("board"));
    PlayedNode open(loop, tcp("open", {urlOf(board)}));
    ASSERT_TRUE(await([&] { return open.ears.hasHeardOf("refused: "); }));
    EXPECT_TRUE(await([&] { return board.counted(Cause::busHandshakeFailed) > 0; }));
    EXPECT_TRUE(board.transport->peers().empty());
    EXPECT_TRUE(open.transport->peers().empty());
}

TEST_F(TcpWithKeys, APeerThatCantBeDialledIsToldAndHoldsUpNoOther) {
    PlayedNode board(loop, options("board"));
    board.transport->attach(0x10, board.board);
    PlayedNode session(loop, options("session", {"tcp://a b:5", urlOf(board)}));
    EXPECT_TRUE(await([&] {
        return session.ears.hasHeard("refused: Invalid argument") &&
               session.ears.hasHeard("found 0x10 board");
    }));
    EXPECT_GT(session.counted(Cause::busSystemFault), 0U);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { session.transport->send(messageTo(0x11, 1)); }),
              "nobody serves IMC address 0x11");
}

TEST_F(TcpWithKeys, APeerWhoseNameIsNoneIsTold) {
    PlayedNode session(loop, options("session", {"tcp://a..b:5"}));
    EXPECT_TRUE(await([&] { return session.ears.hasHeard("refused: nobody answers there"); }))
        << testing::PrintToString(session.ears.heard);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { session.transport->send(messageTo(0x10, 1)); }),
              "nobody serves IMC address 0x10");
}

TEST_F(TcpWithKeys, TheKeyOfAPeerIsNamedWhereThereAreSeveral) {
    allow("session", "stranger");
    EXPECT_NE(failureOf<std::invalid_argument>([&] {
                  PlayedNode const bad(loop, options("session", {"tcp://127.0.0.1:1"}));
              }).find("there are 2 keys in "),
              std::string::npos);
}

} // namespace
