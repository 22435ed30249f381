#include "dsp/Service.h"
#include "Records.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>

namespace dsp {
namespace {

char const requestHex[] = "00 01 10 00 0004 0000 00002329 DEADBEEF";
char const answerHex[] = "00 10 01 00 001C 0000 0000232A 00000007 0123456789ABCDEF 0006 0000 "
                         "00 01  81 02  04 87  82 00  83 06  80 80";
char const orderHex[] = "00 01 10 00 0008 0000 0000232B 0C 02 01 0B 00000050";

/** What the bytes above say. */
AuditAnswer answer() {
    AuditAnswer all;
    all.tag = 7;
    all.incarnation = 0x0123456789ABCDEFU;
    all.in = {{},
              {true, false, false, true},
              {false, false, true, false},
              {false, true, false, true},
              {true, true, false, true},
              {false, false, false, true}};
    all.out = {{true, false, false, false}, {false, true, false, false},
               {true, true, true, true},    {},
               {false, true, true, false},  {false, false, false, true}};
    return all;
}

TEST(Service, AuditRequestInBytes) {
    EXPECT_EQ(bytesOf(encodeAuditRequest(0xDEADBEEF, 0x01, 0x10)), bytesOf(record(requestHex)));
    EXPECT_EQ(decodeAuditRequest(record(requestHex)), 0xDEADBEEFU);
}

TEST(Service, AuditAnswerInBytes) {
    EXPECT_EQ(bytesOf(encodeAuditAnswer(answer(), 0x10, 0x01)), bytesOf(record(answerHex)));
    auto const decoded = decodeAuditAnswer(record(answerHex));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->tag, 7U);
    EXPECT_EQ(decoded->incarnation, 0x0123456789ABCDEFU);
    EXPECT_EQ(decoded->in, answer().in);
    EXPECT_EQ(decoded->out, answer().out);
}

TEST(Service, OrderInBytes) {
    Order const order = {Order::Kind::dtmf, 12, Direction::out, 11, 80};
    EXPECT_EQ(bytesOf(encodeOrder(order, 0x01, 0x10)), bytesOf(record(orderHex)));
    auto const decoded = decodeOrder(record(orderHex));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(std::make_tuple(decoded->kind, decoded->dsp, decoded->direction, decoded->value8,
                              decoded->value32),
              std::make_tuple(order.kind, order.dsp, order.direction, order.value8, order.value32));
}

TEST(Service, AnswersOfEveryNumberOfChannelsComeBack) {
    for (std::size_t const channels : {0U, 1U, 128U, 256U, 504U}) {
        AuditAnswer each;
        each.in.assign(channels, {true, false, true, false});
        each.out.assign(channels, {false, true, false, true});
        imc_msg const message = encodeAuditAnswer(each, 0x10, 0x01);
        EXPECT_EQ(message.length, 16 + 2 * channels);
        auto const decoded = decodeAuditAnswer(message);
        ASSERT_TRUE(decoded) << channels;
        EXPECT_EQ(decoded->in, each.in);
        EXPECT_EQ(decoded->out, each.out);
    }
}

TEST(Service, AnswersThatFitNoRecordAreRefused) {
    AuditAnswer uneven;
    uneven.in.resize(2);
    uneven.out.resize(1);
    EXPECT_THROW(encodeAuditAnswer(uneven, 0x10, 0x01), std::invalid_argument);
    AuditAnswer large;
    large.in.resize(505);
    large.out.resize(505);
    EXPECT_THROW(encodeAuditAnswer(large, 0x10, 0x01), std::invalid_argument);
}

TEST(Service, EveryOtherLengthIsNoServiceMessage) {
    for (char const* const hex : {requestHex, answerHex, orderHex}) {
        imc_msg message = record(hex);
        unsigned const right = message.length;
        for (unsigned length = 0; length <= 1100; ++length) {
            message.length = static_cast<std::uint16_t>(length);
            bool const isOne =
                decodeAuditRequest(message) || decodeAuditAnswer(message) || decodeOrder(message);
            ASSERT_EQ(isOne, length == right) << hex << " with length " << length;
        }
    }
}

TEST(Service, AnAnswerHasTheLengthThatItsChannelsNeed) {
    imc_msg message = record(answerHex);
    for (unsigned channels = 0; channels <= 0xFFFF; ++channels) {
        message.payload[12] = static_cast<std::uint8_t>(channels >> 8U);
        message.payload[13] = static_cast<std::uint8_t>(channels);
        ASSERT_EQ(decodeAuditAnswer(message).has_value(), channels == 6) << channels;
    }
}

TEST(Service, OtherMessagesAreNoServiceMessages) {
    for (std::uint32_t const identifier : {0U, 100U, 600U, 9000U, 9004U, 0x80002329U}) {
        imc_msg message = record(requestHex);
        message.messageId = identifier;
        EXPECT_FALSE(decodeAuditRequest(message));
        EXPECT_FALSE(decodeAuditAnswer(message));
        EXPECT_FALSE(decodeOrder(message));
        EXPECT_EQ(serviceName(identifier), nullptr);
    }
}

TEST(Service, ReadAsText) {
    EXPECT_EQ(describe(record(requestHex)), "AuditRequest tag=3735928559");
    EXPECT_EQ(describe(record(answerHex)),
              "AuditAnswer tag=7 incarnation=0x0123456789abcdef channels=6 open=7");
    struct Line {
        char const* hex;
        char const* text;
    };
    for (Line const& each : {
             Line{orderHex, "Order dtmf dsp=12 direction=out digit=11 duration=80ms"},
             Line{"00 01 10 00 0008 0000 0000232B FF 00 02 00 00000000", "Order faxTone dsp=255"},
             Line{"00 01 10 00 0008 0000 0000232B 03 01 03 00 FFFFFFFF",
                  "Order alert dsp=3 direction=in value=4294967295"},
             Line{"00 01 10 00 0008 0000 0000232B 03 03 03 00 00000001",
                  "Order alert dsp=3 direction=3 value=1"},
             Line{"00 01 10 00 0008 0000 0000232B 03 00 04 05 00000000",
                  "Order failNext dsp=3 error=5(no port left)"},
             Line{"00 01 10 00 0008 0000 0000232B 03 00 09 05 00000000", "Order dsp=3 kind=9"},
             Line{"00 01 10 00 0001 0000 0000232B 03", "Order malformed: length=1 payload: 03"},
             Line{"00 01 10 00 0003 0000 00002329 000102",
                  "AuditRequest malformed: length=3 payload: 00 01 02"},
             Line{"00 01 10 00 0000 0000 0000232A", "AuditAnswer malformed: length=0 payload:"},
         }) {
        EXPECT_EQ(describe(record(each.hex)), each.text);
    }
}

/** A board that opened voice in on DSP channel 3 for 0x21, and fax out for 0x22. */
class Audit : public testing::Test {
protected:
    Audit() {
        give("OpenVoice in", 0x21);
        give("OpenFax out", 0x22);
    }
    void give(char const* name, std::uint8_t client) {
        imc_msg message = sample(name);
        message.sourceSid = client;
        bench.board.receive(message);
    }

    Bench bench;
};

TEST_F(Audit, HasEachChannelOfTheBoard) {
    AuditAnswer const all = audit(bench.board, 0x21);
    EXPECT_EQ(all.in.size(), 256U);
    EXPECT_EQ(all.out.size(), 256U);
    EXPECT_EQ(all.in[2], PathState());
    EXPECT_EQ(bench.board.channels(), 256U);
}

TEST_F(Audit, TellsWhatIsOpenAndWhoseItIs) {
    EXPECT_EQ(audit(bench.board, 0x21).in[3], (PathState{true, false, false, false}));
    EXPECT_EQ(audit(bench.board, 0x21).out[3], (PathState{false, true, false, true}));
    EXPECT_EQ(audit(bench.board, 0x22).in[3], (PathState{true, false, false, true}));
    EXPECT_EQ(audit(bench.board, 0x22).out[3], (PathState{false, true, false, false}));
}

TEST_F(Audit, APathOfTwoClientsIsAnothersForBoth) {
    give("OpenFax in", 0x22);
    EXPECT_EQ(audit(bench.board, 0x21).in[3], (PathState{true, true, false, true}));
    EXPECT_EQ(audit(bench.board, 0x22).in[3], (PathState{true, true, false, true}));
    give("CloseVoice in", 0x33);
    EXPECT_EQ(audit(bench.board, 0x22).in[3], (PathState{false, true, false, false}));
}

TEST_F(Audit, WhoeverOpensAnewIsTheOpener) {
    give("CloseVoice in", 0x22);
    EXPECT_EQ(audit(bench.board, 0x22).in[3], PathState());
    give("OpenVoice in", 0x22);
    EXPECT_EQ(audit(bench.board, 0x22).in[3], (PathState{true, false, false, false}));
    EXPECT_EQ(audit(bench.board, 0x21).in[3], (PathState{true, false, false, true}));
}

TEST_F(Audit, TellsWhichChannelsAreJoined) {
    give("Join", 0x21);
    AuditAnswer const all = audit(bench.board, 0x21);
    EXPECT_TRUE(all.in[3].joined);
    EXPECT_TRUE(all.out[3].joined);
    EXPECT_FALSE(all.in[5].joined);
    give("Unjoin", 0x21);
    EXPECT_FALSE(audit(bench.board, 0x21).in[3].joined);
}

} // namespace
} // namespace dsp
