// What comes to a node that is no frame, or no frame at its time.

#include "BusFixture.h"

#include "host/bus/BusDirectory.h"
#include "host/bus/Frame.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <zmq.hpp>

#include <cstring>
#include <random>

namespace {

using namespace host;

class Garbage : public BusTest {
protected:
    Garbage() { node.transport->attach(0x10, node.board); }

    void connect() {
        stranger.set(zmq::sockopt::linger, 0);
        stranger.set(zmq::sockopt::sndhwm, 0);
        stranger.connect(node.transport->endpoint());
    }
    void again() {
        stranger = zmq::socket_t(context, zmq::socket_type::dealer);
        connect();
    }
    void send(FrameBytes const& bytes) { stranger.send(zmq::buffer(bytes), zmq::send_flags::none); }
    FrameBytes hello() const {
        BusNode self;
        self.instance = 77;
        self.pid = 1;
        self.name = "stranger";
        self.endpoint = "ipc://" + directory.path() + "/node-1-000000000000004d.sock";
        return encodeFrame({0, HelloFrame{self}});
    }
    template <class Body>
    Frame next() {
        zmq::message_t bytes;
        stranger.set(zmq::sockopt::rcvtimeo, 60000);
        EXPECT_TRUE(stranger.recv(bytes, zmq::recv_flags::none).has_value());
        auto const decoded = decodeFrame(bytes.data(), bytes.size());
        Frame const* const frame = std::get_if<Frame>(&decoded);
        EXPECT_TRUE(frame != nullptr && std::holds_alternative<Body>(frame->body));
        return frame == nullptr ? Frame{} : *frame;
    }
    bool awaitBad(std::uint64_t count) {
        return await([&] { return node.counted(Cause::busBadFrame) == count; });
    }
    /** The node still does what nodes do. */
    void expectAlive() {
        PlayedNode other(loop, ipc("other"));
        std::size_t const before = node.board.received.size();
        other.transport->send(messageTo(0x10, 100));
        EXPECT_TRUE(await([&] { return node.board.received.size() == before + 1; }));
    }

    PlayedNode node{loop, ipc("node")};
    zmq::context_t context;
    zmq::socket_t stranger{context, zmq::socket_type::dealer};
};

TEST_F(Garbage, OfEveryLengthIsCountedAndEndsNothing) {
    connect();
    std::mt19937 random(3);
    for (std::size_t size = 0; size <= 1100; ++size) {
        FrameBytes bytes(size);
        for (unsigned char& each : bytes) {
            each = static_cast<unsigned char>(random());
        }
        send(bytes);
    }
    EXPECT_TRUE(awaitBad(1101));
    expectAlive();
}

TEST_F(Garbage, OfEveryLengthBehindAGoodHeaderIsCounted) {
    connect();
    FrameBytes const good = encodeFrame({1, DataFrame{1, 2, imc_msg{}}});
    for (std::size_t size = 16; size <= 1100; ++size) {
        FrameBytes bytes = good;
        bytes.resize(size);
        send(bytes);
    }
    // The one of the right length comes before any hello.
    EXPECT_TRUE(awaitBad(1085));
    expectAlive();
}

TEST_F(Garbage, FramesBeforeAHelloAndASecondHelloAreCounted) {
    connect();
    send(encodeFrame({1, DataFrame{1, 2, messageTo(0x10, 1)}}));
    send(encodeFrame({0, ByeFrame{}}));
    send(encodeFrame({0, MissedFrame{3}}));
    send(encodeFrame({1, CopyFrame{}}));
    send(hello());
    send(hello());
    EXPECT_TRUE(awaitBad(5));
    next<WelcomeFrame>();
    EXPECT_EQ(std::get<SidsFrame>(next<SidsFrame>().body).claims.at(0).sid, 0x10);
    EXPECT_TRUE(node.board.received.empty());
}

TEST_F(Garbage, AnswersWhereNobodyAskedAreCounted) {
    connect();
    send(hello());
    send(encodeFrame({0, WelcomeFrame{}}));
    send(encodeFrame({0, RefusedFrame{"no"}}));
    send(encodeFrame({0, SidsFrame{}}));
    send(encodeFrame({9, TakenFrame{}}));
    EXPECT_TRUE(awaitBad(4));
    expectAlive();
}

TEST_F(Garbage, MessagesOfSeveralPartsAreCounted) {
    connect();
    stranger.send(zmq::str_buffer("one"), zmq::send_flags::sndmore);
    stranger.send(zmq::str_buffer("two"), zmq::send_flags::none);
    EXPECT_TRUE(awaitBad(1));
    expectAlive();
}

TEST_F(Garbage, AnotherVersionIsToldSo) {
    connect();
    FrameBytes bytes = hello();
    bytes[4] = 2;
    send(bytes);
    EXPECT_EQ(std::get<RefusedFrame>(next<RefusedFrame>().body).reason,
              "it speaks another version of the bus");
    EXPECT_EQ(node.counted(Cause::busBadFrame), 1U);
}

TEST_F(Garbage, ARefusalIsSaidOnceToAConnection) {
    connect();
    FrameBytes bytes = hello();
    bytes[4] = 2;
    send(bytes);
    send(bytes);
    next<RefusedFrame>();
    send(hello());
    next<WelcomeFrame>();
    EXPECT_EQ(node.counted(Cause::busBadFrame), 2U);
}

TEST_F(Garbage, ControlCharactersInANameAreNoFrame) {
    connect();
    BusNode self;
    self.instance = 77;
    self.name = "stran\x1B[31mger";
    self.endpoint = "ipc://" + directory.path() + "/node-1-000000000000004d.sock";
    send(encodeFrame({0, HelloFrame{self}}));
    EXPECT_TRUE(awaitBad(1));
}

TEST_F(Garbage, WhatIsLeftOfAnEarlierConnectionIsNotDelivered) {
    connect();
    send(hello());
    next<WelcomeFrame>();
    BusClaim const claim = std::get<SidsFrame>(next<SidsFrame>().body).claims.at(0);
    auto const data = [&](std::uint64_t sequence, std::uint32_t id) {
        send(encodeFrame({sequence, DataFrame{claim.number, 0, messageTo(0x10, id)}}));
    };
    data(1, 1);
    ASSERT_TRUE(await([&] { return node.board.received.size() == 1; }));
    zmq::socket_t earlier = std::move(stranger);
    again();
    send(hello());
    data(1, 2);
    ASSERT_TRUE(await([&] { return node.board.received.size() == 2; }));
    std::swap(earlier, stranger);
    data(2, 3);
    EXPECT_TRUE(await([&] { return node.counted(Cause::busOutOfSequence) == 1; }));
    std::swap(earlier, stranger);
    data(2, 4);
    ASSERT_TRUE(await([&] { return node.board.received.size() == 3; }));
    EXPECT_EQ(node.board.received[2].messageId, 4U);
}

TEST_F(Garbage, ANodeOfAnotherPlaceIsRefused) {
    connect();
    BusNode self;
    self.instance = 77;
    self.name = "stranger";
    self.endpoint = "ipc:///elsewhere/node-1-000000000000004d.sock";
    send(encodeFrame({0, HelloFrame{self}}));
    EXPECT_EQ(std::get<RefusedFrame>(next<RefusedFrame>().body).reason,
              "its endpoint ipc:///elsewhere/node-1-000000000000004d.sock is not of this bus");
    again();
    self.endpoint = "tcp://127.0.0.1:1";
    send(encodeFrame({0, HelloFrame{self}}));
    EXPECT_EQ(std::get<RefusedFrame>(next<RefusedFrame>().body).reason,
              "its endpoint tcp://127.0.0.1:1 is not of this bus");
    again();
    self.endpoint = "nonsense";
    send(encodeFrame({0, HelloFrame{self}}));
    EXPECT_NE(std::get<RefusedFrame>(next<RefusedFrame>().body).reason.find("is no address"),
              std::string::npos);
    EXPECT_EQ(node.counted(Cause::busBadFrame), 3U);
}

TEST_F(Garbage, AMessageThatComesAgainIsNotDeliveredAgainAndAGapIsCounted) {
    connect();
    send(hello());
    next<WelcomeFrame>();
    BusClaim const claim = std::get<SidsFrame>(next<SidsFrame>().body).claims.at(0);
    auto const data = [&](std::uint64_t sequence) {
        send(encodeFrame(
            {sequence,
             DataFrame{claim.number, 0, messageTo(0x10, static_cast<std::uint32_t>(sequence))}}));
    };
    data(1);
    data(1);
    data(3);
    ASSERT_TRUE(await([&] { return node.board.received.size() == 2; }));
    EXPECT_EQ(node.board.received[1].messageId, 3U);
    EXPECT_EQ(node.counted(Cause::busOutOfSequence), 2U);
}

TEST_F(Garbage, AMessageToAnAddressThatTheNodeDoesNotServeIsDroppedAndCounted) {
    connect();
    send(hello());
    next<WelcomeFrame>();
    next<SidsFrame>();
    send(encodeFrame({1, DataFrame{1, 0, messageTo(0x99, 5)}}));
    EXPECT_TRUE(await([&] { return node.counted(Cause::messageDropped) == 1; }));
    EXPECT_EQ(next<TakenFrame>().sequence, 1U);
}

TEST_F(Garbage, AFrameThatIsTooLongEndsItsConnectionOnly) {
    ASSERT_EQ(zmq_socket_monitor(stranger.handle(), "inproc://ends", ZMQ_EVENT_DISCONNECTED), 0);
    zmq::socket_t ends(context, zmq::socket_type::pair);
    ends.connect("inproc://ends");
    ends.set(zmq::sockopt::rcvtimeo, 60000);
    connect();
    send(FrameBytes(70000));
    zmq::message_t event;
    EXPECT_TRUE(ends.recv(event, zmq::recv_flags::none).has_value());
    expectAlive();
    // It never became a frame.
    EXPECT_EQ(node.counted(Cause::busBadFrame), 0U);
}

TEST_F(Garbage, BytesThatAreNoConversationAreCounted) {
    int const raw = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(raw, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string const path = node.transport->endpoint().substr(6);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    ASSERT_EQ(::connect(raw, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    // A greeting of the right length that offers a mechanism that nobody knows.
    std::string greeting("\xFF\0\0\0\0\0\0\0\0\x7F\x03\0NOTHING", 19);
    greeting.resize(64);
    ASSERT_EQ(write(raw, greeting.data(), greeting.size()), 64);
    EXPECT_TRUE(await([&] { return node.counted(Cause::busHandshakeFailed) > 0; }));
    close(raw);
    expectAlive();
}

/** A process in the directory that answers what the test wants. */
class Answering : public BusTest {
protected:
    Answering() {
        inlet.set(zmq::sockopt::linger, 0);
        inlet.set(zmq::sockopt::sndhwm, 0);
        inlet.bind(place->endpoint());
        zmq::message_t bytes;
        inlet.set(zmq::sockopt::rcvtimeo, 60000);
        EXPECT_TRUE(inlet.recv(node).has_value() && inlet.recv(bytes).has_value());
        auto const decoded = decodeFrame(bytes.data(), bytes.size());
        hello = std::get<Frame>(decoded);
        EXPECT_EQ(std::get<HelloFrame>(hello.body).node.name, "session");
    }
    void answer(FrameBytes const& bytes) {
        inlet.send(zmq::buffer(node.data(), node.size()), zmq::send_flags::sndmore);
        inlet.send(zmq::buffer(bytes), zmq::send_flags::none);
    }
    void welcome() {
        BusNode self;
        self.instance = 77;
        self.pid = 5;
        self.name = "odd";
        answer(encodeFrame({0, WelcomeFrame{self}}));
        answer(encodeFrame({0, SidsFrame{{{0x10, 1, 1}}}}));
        EXPECT_TRUE(await([&] { return session.ears.hasHeard("found 0x10 odd"); }));
    }

    BusDirectory bus{directory.path()};
    std::unique_ptr<BusDirectory::Place> place = bus.enter({"odd", 5}, 77);
    zmq::context_t context;
    zmq::socket_t inlet{context, zmq::socket_type::router};
    PlayedNode session{loop, ipc("session")};
    zmq::message_t node;
    /** What the node said of itself. */
    Frame hello;
};

TEST_F(Answering, GarbageOfEveryLengthIsCountedAndEndsNothing) {
    std::mt19937 random(5);
    for (std::size_t size = 0; size <= 1100; ++size) {
        FrameBytes bytes(size);
        for (unsigned char& each : bytes) {
            each = static_cast<unsigned char>(random());
        }
        answer(bytes);
    }
    EXPECT_TRUE(await([&] { return session.counted(Cause::busBadFrame) == 1101; }));
    welcome();
}

TEST_F(Answering, AnswersThatAreNotDueAreCounted) {
    answer(encodeFrame({0, SidsFrame{}}));
    answer(encodeFrame({0, TakenFrame{}}));
    welcome();
    answer(encodeFrame({0, WelcomeFrame{}}));
    answer(encodeFrame({0, HelloFrame{}}));
    answer(encodeFrame({1, TakenFrame{}}));
    EXPECT_TRUE(await([&] { return session.counted(Cause::busBadFrame) == 5; }));
    session.transport->send(messageTo(0x10, 1));
    EXPECT_EQ(session.transport->peers().at(0).untaken, 1U);
    answer(encodeFrame({1, TakenFrame{}}));
    EXPECT_TRUE(await([&] { return session.transport->peers().at(0).untaken == 0; }));
}

TEST_F(Answering, ARefusalIsTold) {
    answer(encodeFrame({0, RefusedFrame{"it is full"}}));
    EXPECT_TRUE(await([&] { return session.ears.hasHeard("refused: it is full"); }));
    EXPECT_EQ(session.ears.endpoints, std::vector<std::string>{place->endpoint()});
    EXPECT_EQ(session.counted(Cause::busLinkRefused), 1U);
}

TEST_F(Answering, WhoeverSaysTheNodesOwnHelloIsTheNodeItself) {
    answer(encodeFrame(hello));
    EXPECT_TRUE(await([&] { return session.ears.hasHeard("refused: it is this process itself"); }));
}

TEST_F(Answering, AnAddressThatWasTakenOverAndGivenUpHasATrueReason) {
    welcome();
    session.transport->attach(0x10, session.board);
    ASSERT_TRUE(await([&] {
        return session.ears.hasHeard("lost 0x10 odd with 0: this process serves the address");
    }));
    answer(encodeFrame({0, SidsFrame{}}));
    answer(encodeFrame({0, HelloFrame{}}));
    ASSERT_TRUE(await([&] { return session.counted(Cause::busBadFrame) == 1; }));
    session.transport->detach(0x10);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { session.transport->send(messageTo(0x10, 1)); }),
              "nobody serves IMC address 0x10 any more: odd, process 5 is gone, this process "
              "served the address after it");
}

TEST_F(Answering, AFarewellEndsTheLink) {
    welcome();
    session.transport->send(messageTo(0x10, 1));
    answer(encodeFrame({0, ByeFrame{}}));
    EXPECT_TRUE(
        await([&] { return session.ears.hasHeard("lost 0x10 odd with 1: it left the bus"); }));
}

} // namespace
