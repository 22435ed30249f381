#include "dsp/Events.h"
#include "Records.h"

#include <gtest/gtest.h>

namespace dsp {
namespace {

struct Expected {
    char const* name;
    Event event;
    char const* hex;
};

std::vector<Expected> const& expected() {
    static std::vector<Expected> const all = {
        {"OpenVoiceAck in", Acknowledge{100, 3, 0, 5000},
         "00 FA 21 00 0004 0000 00000065 03 00 1388"},
        {"OpenVoiceAck out", Acknowledge{104, 3, 0, 5002},
         "00 FA 21 00 0004 0000 00000069 03 00 138A"},
        {"CloseVoiceAck in", Acknowledge{102, 255, 3, 0},
         "00 FA 21 00 0004 0000 00000067 FF 03 0000"},
        {"CloseVoiceAck out", Acknowledge{106, 0, 255, 0},
         "00 FA 21 00 0004 0000 0000006B 00 FF 0000"},
        {"OpenFaxAck in", Acknowledge{115, 128, 0, 65534},
         "00 FA 21 00 0004 0000 00000074 80 00 FFFE"},
        {"OpenFaxAck out", Acknowledge{119, 3, 5, 0}, "00 FA 21 00 0004 0000 00000078 03 05 0000"},
        {"CloseFaxAck in", Acknowledge{117, 3, 0, 0}, "00 FA 21 00 0004 0000 00000076 03 00 0000"},
        {"CloseFaxAck out", Acknowledge{121, 3, 0, 0}, "00 FA 21 00 0004 0000 0000007A 03 00 0000"},
        {"Dtmf in", Dtmf{Direction::in, 1, 5, 80}, "00 FA 21 00 0004 0000 00000072 01 05 0050"},
        {"Dtmf out", Dtmf{Direction::out, 255, 255, 65535},
         "00 FA 21 00 0004 0000 00000071 FF FF FFFF"},
        {"FaxTone", FaxTone{200}, "00 FA 21 00 0001 0000 0000007B C8"},
        {"Alert in", Alert{Direction::in, 7, 0xDEADBEEF},
         "00 FA 21 00 0008 0000 0000006E 07 000000 DEADBEEF"},
        {"Alert out", Alert{Direction::out, 7, 1},
         "00 FA 21 00 0008 0000 00000070 07 000000 00000001"},
    };
    return all;
}

TEST(Events, EncodeToTheWholeRecord) {
    for (Expected const& each : expected()) {
        EXPECT_EQ(bytesOf(encodeEvent(each.event, 0xFA, 0x21)), bytesOf(record(each.hex)))
            << each.name;
    }
}

TEST(Events, DecodeFromLiteralBytes) {
    for (Expected const& each : expected()) {
        SCOPED_TRACE(each.name);
        imc_msg const message = record(each.hex);
        auto const event = decodeEvent(message);
        ASSERT_TRUE(event);
        EXPECT_EQ(event->index(), each.event.index());
        // The encoder is held to the bytes above, so encoding again compares every field.
        EXPECT_EQ(bytesOf(encodeEvent(*event, 0xFA, 0x21)), bytesOf(message));
        ASSERT_NE(findEvent(message.messageId), nullptr);
        EXPECT_EQ(title(*findEvent(message.messageId)), each.name);
    }
}

TEST(Events, EveryOtherLengthIsNoEvent) {
    for (Expected const& each : expected()) {
        imc_msg message = record(each.hex);
        unsigned const right = message.length;
        for (unsigned length = 0; length <= 1100; ++length) {
            message.length = static_cast<std::uint16_t>(length);
            ASSERT_EQ(decodeEvent(message).has_value(), length == right) << each.name;
        }
    }
}

TEST(Events, CommandsAndOtherMessagesAreNoEvents) {
    for (std::uint32_t identifier :
         {0U, 100U, 108U, 109U, 111U, 124U, 125U, 126U, 133U, 134U, 600U}) {
        EXPECT_EQ(findEvent(identifier), nullptr) << identifier;
    }
}

TEST(Events, SilentCommandHasNoAcknowledgement) {
    EXPECT_THROW(encodeEvent(Acknowledge{124, 3, 0, 0}, 0xFA, 0x21), std::invalid_argument);
}

} // namespace
} // namespace dsp
