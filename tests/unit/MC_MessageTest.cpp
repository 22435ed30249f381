#include "MC_Message.h"

#include "tests/support/Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <type_traits>

namespace {

using recording::fullText;

// Plain values of these types; the client is compiled against them.
static_assert(!std::is_polymorphic<MC_Message>::value, "");
static_assert(!std::is_polymorphic<MC_Acknowledge>::value, "");
static_assert(!std::is_polymorphic<MC_Alert>::value, "");
static_assert(!std::is_polymorphic<MC_Dtmf>::value, "");
static_assert(!std::is_polymorphic<MC_FaxTone>::value, "");
static_assert(std::is_trivially_copyable<MC_Acknowledge>::value, "");
static_assert(std::is_convertible<MC_Acknowledge*, MC_Message*>::value, "a public base");
static_assert(std::is_convertible<MC_Alert*, MC_Message*>::value, "a public base");
static_assert(std::is_convertible<MC_Dtmf*, MC_Message*>::value, "a public base");
static_assert(std::is_convertible<MC_FaxTone*, MC_Message*>::value, "a public base");
static_assert(std::is_same<decltype(MC_Message::dsp), std::uint32_t>::value, "");
static_assert(std::is_same<decltype(MC_Message::sid), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Acknowledge::error), std::uint32_t>::value, "");
static_assert(std::is_same<decltype(MC_Acknowledge::localPort), std::uint16_t>::value, "");
static_assert(std::is_same<decltype(MC_Dtmf::digit), std::uint32_t>::value, "");
static_assert(std::is_same<decltype(MC_Dtmf::duration), std::uint32_t>::value, "");
static_assert(sizeof(MC_Alert::alert) == 4, "");
static_assert(std::is_integral<decltype(MC_Alert::alert)>::value, "");
static_assert(sizeof(MC_FaxTone) == sizeof(MC_Message), "no field of its own");

/**
 * An event whose bytes are all different from 0 and, where it matters, from one another, so that a
 * field that is read from elsewhere is noticed.
 */
imc_msg event(std::uint16_t length, std::initializer_list<unsigned char> payload) {
    imc_msg message;
    std::memset(&message, 0xEE, sizeof message);
    message.sourceSid = 0x9A;
    message.destinationSid = 0xB7;
    message.length = length;
    message.messageId = 0x65646362;
    std::copy(payload.begin(), payload.end(), message.payload);
    return message;
}

/** The whole text of what the construction throws. */
template <class Record>
std::string refusal(imc_msg const& message) {
    try {
        Record const record(message);
        return "decoded dsp " + std::to_string(record.dsp);
    } catch (std::runtime_error const& e) {
        return fullText(e);
    }
}

/** Every length but the right one is refused. */
template <class Record>
void expectOnly(unsigned int rightLength) {
    auto message = event(0, {17});
    for (unsigned int length = 0; length <= 0xFFFF; ++length) {
        message.length = static_cast<std::uint16_t>(length);
        ASSERT_EQ(refusal<Record>(message),
                  length == rightLength ? "decoded dsp 17" : "wrong msg size")
            << "length " << length;
    }
}

TEST(EventRecord, MessageTakesDspAndSenderAndNothingElse) {
    MC_Message const record(event(4, {0xFE, 0x11, 0x22, 0x33}));
    EXPECT_EQ(record.dsp, 0xFEU);
    EXPECT_EQ(record.sid, 0x9AU);
}

TEST(EventRecord, MessageNeverLooksAtTheLength) {
    for (unsigned int const length : {0U, 1U, 4U, 8U, 1024U, 1025U, 0xFFFFU}) {
        MC_Message const record(event(static_cast<std::uint16_t>(length), {200}));
        EXPECT_EQ(record.dsp, 200U);
        EXPECT_EQ(record.sid, 0x9AU);
    }
}

TEST(EventRecord, EveryDspNumberAndSenderIsTakenAsAnUnsignedByte) {
    for (unsigned int value = 0; value <= 255; ++value) {
        auto message = event(1, {static_cast<unsigned char>(value)});
        message.sourceSid = static_cast<std::uint8_t>(255 - value);
        MC_FaxTone const record(message);
        EXPECT_EQ(record.dsp, value);
        EXPECT_EQ(record.sid, 255 - value);
    }
}

TEST(EventRecord, AcknowledgeOf3Error0Port1388HexIsPort5000) {
    MC_Acknowledge const record(event(4, {3, 0, 0x13, 0x88}));
    EXPECT_EQ(record.dsp, 3U);
    EXPECT_EQ(record.sid, 0x9AU);
    EXPECT_EQ(record.error, 0U);
    EXPECT_EQ(record.localPort, 5000U);
}

TEST(EventRecord, AcknowledgeIsNotRangeChecked) {
    MC_Acknowledge const record(event(4, {0xFF, 0x81, 0xFF, 0xFE}));
    EXPECT_EQ(record.dsp, 255U);
    EXPECT_EQ(record.error, 129U);
    EXPECT_EQ(record.localPort, 0xFFFEU);
}

TEST(EventRecord, AcknowledgeIsExactly4BytesLong) {
    expectOnly<MC_Acknowledge>(4);
}

TEST(EventRecord, DtmfOfDigit5And50HexLasts80Milliseconds) {
    MC_Dtmf const record(event(4, {1, 5, 0x00, 0x50}));
    EXPECT_EQ(record.dsp, 1U);
    EXPECT_EQ(record.sid, 0x9AU);
    EXPECT_EQ(record.digit, 5U);
    EXPECT_EQ(record.duration, 80U);
}

TEST(EventRecord, DtmfIsNotRangeCheckedAndZeroExtended) {
    MC_Dtmf const record(event(4, {0x80, 0xC3, 0xFE, 0x01}));
    EXPECT_EQ(record.dsp, 128U);
    EXPECT_EQ(record.digit, 0xC3U);
    EXPECT_EQ(record.duration, 0xFE01U);
}

TEST(EventRecord, DtmfIsExactly4BytesLong) {
    expectOnly<MC_Dtmf>(4);
}

TEST(EventRecord, AlertTakesOneBigEndianWordBehindThreeSkippedBytes) {
    MC_Alert const record(event(8, {9, 0x11, 0x22, 0x33, 0x84, 0x03, 0x02, 0x01}));
    EXPECT_EQ(record.dsp, 9U);
    EXPECT_EQ(record.sid, 0x9AU);
    EXPECT_EQ(static_cast<std::uint32_t>(record.alert), 0x84030201U);
}

TEST(EventRecord, AlertOf7Or9BytesThrowsWrongMsgSize) {
    EXPECT_EQ(refusal<MC_Alert>(event(7, {9})), "wrong msg size");
    EXPECT_EQ(refusal<MC_Alert>(event(9, {9})), "wrong msg size");
}

TEST(EventRecord, AlertIsExactly8BytesLong) {
    expectOnly<MC_Alert>(8);
}

TEST(EventRecord, FaxToneOf1ByteCarriesOnlyTheDspNumber) {
    MC_FaxTone const record(event(1, {0xC8}));
    EXPECT_EQ(record.dsp, 200U);
    EXPECT_EQ(record.sid, 0x9AU);
}

TEST(EventRecord, FaxToneOf0Or2BytesThrowsWrongMsgSize) {
    EXPECT_EQ(refusal<MC_FaxTone>(event(0, {9})), "wrong msg size");
    EXPECT_EQ(refusal<MC_FaxTone>(event(2, {9})), "wrong msg size");
}

TEST(EventRecord, FaxToneIsExactly1ByteLong) {
    expectOnly<MC_FaxTone>(1);
}

TEST(EventRecord, FieldsStandInTheirOrder) {
    std::less<void const*> const before{};
    auto const message = event(4, {1});
    MC_Acknowledge const acknowledge(message);
    EXPECT_TRUE(before(&acknowledge.dsp, &acknowledge.sid));
    EXPECT_TRUE(before(&acknowledge.sid, &acknowledge.error));
    EXPECT_TRUE(before(&acknowledge.error, &acknowledge.localPort));
    MC_Dtmf const dtmf(message);
    EXPECT_TRUE(before(&dtmf.sid, &dtmf.digit));
    EXPECT_TRUE(before(&dtmf.digit, &dtmf.duration));
    MC_Alert const alert(event(8, {1}));
    EXPECT_TRUE(before(&alert.sid, &alert.alert));
}

TEST(EventRecord, RecordKeepsNothingOfTheMessage) {
    auto message = event(4, {1, 5, 0x00, 0x50});
    MC_Dtmf const record(message);
    std::memset(&message, 0, sizeof message);
    EXPECT_EQ(record.dsp, 1U);
    EXPECT_EQ(record.digit, 5U);
    EXPECT_EQ(record.duration, 80U);
}

} // namespace
