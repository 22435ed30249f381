#include "host/bus/Frame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <stdexcept>

namespace {

using namespace host;

BusNode const node = {0x0102030405060708U, 0x11223344U, true, "mcgw dsp", "ipc:///b/node.sock"};

imc_msg sampleMessage() {
    imc_msg message{};
    message.sourceSid = 1;
    message.destinationSid = 0xFA;
    message.length = 36;
    message.messageId = 104;
    message.payload[0] = 9;
    message.payload[1023] = 7;
    return message;
}

std::vector<Frame> oneOfEach() {
    return {
        {0, HelloFrame{node}},
        {0, WelcomeFrame{node}},
        {0, RefusedFrame{"because"}},
        {0, SidsFrame{{{0x10, 3, 5}, {0xFF, 4, 6}}}},
        {8, DataFrame{3, 9, sampleMessage()}},
        {7, TakenFrame{}},
        {0, ByeFrame{}},
        {9, CopyFrame{1, 2, 3, sampleMessage()}},
        {0, MissedFrame{77}},
    };
}

FrameBytes const helloBytes = {
    'M',  'C',  'G',  'B',  1,   1,   0,   0, 0, 0, 0, 0, 0, 0, 0, 0, // header
    1,    2,    3,    4,    5,   6,   7,   8,                         // instance
    0x11, 0x22, 0x33, 0x44,                                           // process
    1,                                                                // a tap
    0,    3,    'd',  's',  'p',                                      // name
    0,    5,    'i',  'p',  'c', ':', '/',                            // endpoint
};

TEST(Frame, HelloHasTheseBytes) {
    BusNode named = node;
    named.name = "dsp";
    named.endpoint = "ipc:/";
    EXPECT_EQ(encodeFrame({0, HelloFrame{named}}), helloBytes);
}

TEST(Frame, SidsHaveTheseBytes) {
    FrameBytes const expected = {
        'M',  'C', 'G', 'B', 1, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // header
        0,    1,                                                 // one
        0xFA, 0,   0,   0,   2, 0, 0, 0, 0, 0, 0, 1, 0,          // address, number, since
    };
    EXPECT_EQ(encodeFrame({0, SidsFrame{{{0xFA, 2, 256}}}}), expected);
}

TEST(Frame, DataIsTheHeaderClaimTimeAndTheWholeMessage) {
    imc_msg const message = sampleMessage();
    FrameBytes const bytes = encodeFrame({0x0102, DataFrame{3, 4, message}});
    FrameBytes const head = {
        'M', 'C', 'G', 'B', 1, 5, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, // header
        0,   0,   0,   3,                                       // claim
        0,   0,   0,   0,   0, 0, 0, 4,                         // time
    };
    ASSERT_EQ(bytes.size(), head.size() + sizeof message);
    EXPECT_EQ(FrameBytes(bytes.begin(), bytes.begin() + 28), head);
    EXPECT_EQ(std::memcmp(bytes.data() + 28, &message, sizeof message), 0);
}

TEST(Frame, EachKindComesBackAsItWas) {
    for (Frame const& frame : oneOfEach()) {
        FrameBytes const bytes = encodeFrame(frame);
        auto const decoded = decodeFrame(bytes.data(), bytes.size());
        ASSERT_TRUE(std::holds_alternative<Frame>(decoded)) << frame.body.index();
        EXPECT_EQ(std::get<Frame>(decoded).sequence, frame.sequence);
        EXPECT_EQ(std::get<Frame>(decoded).body.index(), frame.body.index());
        EXPECT_EQ(encodeFrame(std::get<Frame>(decoded)), bytes);
    }
}

TEST(Frame, FieldsComeBack) {
    auto const decoded = decodeFrame(helloBytes.data(), helloBytes.size());
    BusNode const& read = std::get<HelloFrame>(std::get<Frame>(decoded).body).node;
    EXPECT_EQ(read.instance, node.instance);
    EXPECT_EQ(read.pid, node.pid);
    EXPECT_TRUE(read.isTap);
    EXPECT_EQ(read.name, "dsp");
    EXPECT_EQ(read.endpoint, "ipc:/");
}

TEST(Frame, NoBeginningOfAFrameIsOneAndNoLongerOneEither) {
    for (Frame const& frame : oneOfEach()) {
        FrameBytes bytes = encodeFrame(frame);
        for (std::size_t size = 0; size < bytes.size(); ++size) {
            auto const decoded = decodeFrame(bytes.data(), size);
            EXPECT_TRUE(std::holds_alternative<FrameFault>(decoded))
                << frame.body.index() << " of " << size;
        }
        bytes.push_back(0);
        auto const decoded = decodeFrame(bytes.data(), bytes.size());
        ASSERT_TRUE(std::holds_alternative<FrameFault>(decoded)) << frame.body.index();
        EXPECT_EQ(std::get<FrameFault>(decoded), FrameFault::body);
    }
}

TEST(Frame, TellsWhyBytesAreNoFrame) {
    auto const faultWith = [](std::size_t offset, unsigned char value) {
        FrameBytes bytes = encodeFrame({1, TakenFrame{}});
        bytes.at(offset) = value;
        return std::get<FrameFault>(decodeFrame(bytes.data(), bytes.size()));
    };
    EXPECT_EQ(faultWith(0, 'm'), FrameFault::header);
    EXPECT_EQ(faultWith(4, 2), FrameFault::version);
    EXPECT_EQ(faultWith(5, 0), FrameFault::kind);
    EXPECT_EQ(faultWith(5, 10), FrameFault::kind);
    EXPECT_EQ(faultWith(5, 255), FrameFault::kind);
    EXPECT_EQ(faultWith(7, 1), FrameFault::header);
}

TEST(Frame, RefusesFlagsAndTextsThatAreNotDefined) {
    FrameBytes bytes = helloBytes;
    bytes[28] = 2;
    EXPECT_EQ(std::get<FrameFault>(decodeFrame(bytes.data(), bytes.size())), FrameFault::body);
    // A name of 65 bytes.
    bytes = helloBytes;
    bytes[30] = 65;
    bytes.insert(bytes.begin() + 31, 62, 'x');
    EXPECT_EQ(std::get<FrameFault>(decodeFrame(bytes.data(), bytes.size())), FrameFault::body);
}

TEST(Frame, IsNotMadeOfWhatDoesNotFit) {
    BusNode longNamed = node;
    longNamed.name = std::string(65, 'x');
    EXPECT_THROW(encodeFrame({0, HelloFrame{longNamed}}), std::invalid_argument);
    EXPECT_THROW(encodeFrame({0, RefusedFrame{std::string(513, 'x')}}), std::invalid_argument);
    EXPECT_THROW(encodeFrame({0, SidsFrame{std::vector<BusClaim>(257)}}), std::invalid_argument);
    EXPECT_NO_THROW(encodeFrame({0, SidsFrame{std::vector<BusClaim>(256)}}));
}

TEST(Frame, RandomBytesBehindAGoodHeaderAreReadOrRefused) {
    std::mt19937 random(7);
    std::size_t frames = 0;
    for (int i = 0; i < 20000; ++i) {
        FrameBytes bytes = encodeFrame({random(), ByeFrame{}});
        bytes[5] = static_cast<unsigned char>(1 + random() % 9);
        bytes.resize(bytes.size() + random() % 64);
        for (std::size_t k = 16; k < bytes.size(); ++k) {
            bytes[k] = static_cast<unsigned char>(random() % 4);
        }
        auto const decoded = decodeFrame(bytes.data(), bytes.size());
        if (Frame const* const frame = std::get_if<Frame>(&decoded)) {
            EXPECT_EQ(encodeFrame(*frame), bytes);
            ++frames;
        }
    }
    EXPECT_GT(frames, 0U);
}

} // namespace
