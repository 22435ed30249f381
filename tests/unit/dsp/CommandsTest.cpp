#include "dsp/Commands.h"
#include "Records.h"

#include <gtest/gtest.h>

#include <ostream>
#include <set>

namespace dsp {
namespace {

Address const address10_0_0_1 = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 0, 0, 1};

DecodedCommand decoded(imc_msg const& message) {
    CommandKind const* const kind = findCommand(message.messageId);
    return decodeCommand(*kind, message).value();
}

template <typename Type>
Type decodedAs(imc_msg const& message) {
    return std::get<Type>(decoded(message).command);
}

TEST(Commands, EveryIdentifierHasItsOwnKind) {
    std::set<std::uint32_t> identifiers;
    for (CommandKind const& kind : commandKinds()) {
        identifiers.insert(kind.identifier);
        EXPECT_EQ(findCommand(kind.identifier), &kind);
    }
    EXPECT_EQ(identifiers, (std::set<std::uint32_t>{100, 102, 104, 106, 108, 115, 117, 119, 121,
                                                    124, 125, 132, 133}));
}

TEST(Commands, EventsAndOtherMessagesAreNoCommands) {
    for (std::uint32_t identifier : {0U, 101U, 105U, 110U, 112U, 113U, 114U, 116U, 123U, 131U, 134U,
                                     600U, 0x6400U, 0x64000000U}) {
        EXPECT_EQ(findCommand(identifier), nullptr) << identifier;
    }
}

TEST(Commands, SamplesAreOfTheirKindAndLeaveNothingOver) {
    ASSERT_EQ(samples().size(), commandKinds().size());
    for (Sample const& each : samples()) {
        SCOPED_TRACE(each.name);
        CommandKind const* const kind = findCommand(record(each.hex).messageId);
        ASSERT_NE(kind, nullptr);
        EXPECT_EQ(title(*kind), each.name);
        EXPECT_EQ(kind->length, each.length);
        EXPECT_EQ(kind->acknowledged, each.acknowledged);
        EXPECT_EQ(dspOf(decoded(record(each.hex)).command), 3);
        EXPECT_FALSE(decoded(record(each.hex)).nonzeroReserved);
    }
}

TEST(Commands, OpenVoiceInHoldsItsThreeOwnFields) {
    auto const command = decodedAs<OpenVoice>(sample("OpenVoice in"));
    EXPECT_EQ(command.direction, Direction::in);
    EXPECT_EQ(command.codec, 0);
    EXPECT_EQ(command.faxProtocol, 17);
    EXPECT_EQ(command.remoteAddress, address10_0_0_1);
    EXPECT_EQ(command.remoteRtpPort, 4000);
    EXPECT_EQ(command.localRtpPort, 5000);
    EXPECT_EQ(command.remoteRtcpPort, 4001);
    EXPECT_EQ(command.tickRequest, 7);
    EXPECT_EQ(command.voiceParam1, 8);
    EXPECT_EQ(command.voiceParam2, 9);
    EXPECT_EQ(command.dtmfPayloadType, 101);
    EXPECT_EQ(command.redundancyPayloadType, 100);
}

TEST(Commands, OpenVoiceOutHasNoneOfThem) {
    auto const command = decodedAs<OpenVoice>(sample("OpenVoice out"));
    EXPECT_EQ(command.direction, Direction::out);
    EXPECT_EQ(command.codec, 4);
    EXPECT_EQ(command.faxProtocol, 6);
    EXPECT_EQ(command.remoteRtpPort, 65534);
    EXPECT_EQ(command.remoteRtcpPort, 65535);
    EXPECT_EQ(command.tickRequest, 0);
    EXPECT_EQ(command.voiceParam1, 0);
    EXPECT_EQ(command.voiceParam2, 0);
    EXPECT_EQ(command.dtmfPayloadType, 101);
    EXPECT_EQ(command.redundancyPayloadType, 100);
}

TEST(Commands, UpdateVoiceHasThePayloadTypesBehindThePorts) {
    auto const in = decodedAs<UpdateVoice>(sample("UpdateVoice in"));
    EXPECT_EQ(in.direction, Direction::in);
    EXPECT_EQ(in.remoteAddress[15], 2);
    EXPECT_EQ(in.remoteRtpPort, 6000);
    EXPECT_EQ(in.localRtpPort, 5000);
    EXPECT_EQ(in.remoteRtcpPort, 6001);
    EXPECT_EQ(in.dtmfPayloadType, 96);
    EXPECT_EQ(in.redundancyPayloadType, 97);

    auto const out = decodedAs<UpdateVoice>(sample("UpdateVoice out"));
    EXPECT_EQ(out.direction, Direction::out);
    EXPECT_EQ(out.remoteAddress, Address());
}

TEST(Commands, ClosesHoldTheirDirection) {
    EXPECT_EQ(decodedAs<CloseVoice>(sample("CloseVoice in")).direction, Direction::in);
    EXPECT_EQ(decodedAs<CloseVoice>(sample("CloseVoice out")).direction, Direction::out);
    EXPECT_EQ(decodedAs<CloseFax>(sample("CloseFax in")).direction, Direction::in);
    EXPECT_EQ(decodedAs<CloseFax>(sample("CloseFax out")).direction, Direction::out);
}

TEST(Commands, SetParameterIsOneCommandPerCode) {
    EXPECT_EQ(decodedAs<SetSilenceCompression>(setParameter("02 01 000000")).on, 1);
    EXPECT_EQ(decodedAs<SetDigitDetection>(setParameter("03 02 000000")).mode, 2);
    EXPECT_EQ(decodedAs<SetPacketLength>(setParameter("04 0150 02F0")).minimum, 0x150);
    EXPECT_EQ(decodedAs<SetPacketLength>(setParameter("04 0150 02F0")).maximum, 0x2F0);
    EXPECT_EQ(decodedAs<SetFaxDetection>(setParameter("05 03 000000")).mode, 3);
}

TEST(Commands, SetParameterWithAnotherCodeKeepsItsValueAsItIs) {
    for (unsigned const code : {0U, 1U, 6U, 255U}) {
        imc_msg message = setParameter("00 01020304");
        message.payload[1] = static_cast<std::uint8_t>(code);
        auto const command = decodedAs<SetUnknown>(message);
        EXPECT_EQ(command.code, code);
        EXPECT_EQ(command.value, 0x01020304U);
        EXPECT_FALSE(decoded(message).nonzeroReserved);
    }
}

TEST(Commands, OpenFaxInHasOnlyItsProtocol) {
    auto const command = decodedAs<OpenFax>(sample("OpenFax in"));
    EXPECT_EQ(command.direction, Direction::in);
    EXPECT_EQ(command.protocol, 17);
}

TEST(Commands, OpenFaxOutHasDepthBeforeRedundancy) {
    auto const command = decodedAs<OpenFax>(sample("OpenFax out"));
    EXPECT_EQ(command.direction, Direction::out);
    EXPECT_EQ(command.protocol, 6);
    EXPECT_EQ(command.depth, 5);
    EXPECT_EQ(command.redundancy, 2);
    EXPECT_EQ(command.remoteIpv4, 0x0A000001U);
    EXPECT_EQ(command.remotePort, 6000);
    EXPECT_EQ(command.noSignal, 2);
    EXPECT_EQ(command.ced, 1);
}

TEST(Commands, JoinNamesThePeerAndItsBoard) {
    auto const command = decodedAs<Join>(sample("Join"));
    EXPECT_EQ(command.peerDsp, 5);
    EXPECT_EQ(command.otherBoard, 1);
    EXPECT_EQ(command.peerBoard[15], 9);
    EXPECT_EQ(decodedAs<Unjoin>(sample("Unjoin")).dsp, 3);
}

TEST(Commands, EveryOtherLengthIsNoCommand) {
    for (Sample const& each : samples()) {
        imc_msg message = record(each.hex);
        CommandKind const& kind = *findCommand(message.messageId);
        for (unsigned length = 0; length <= 65535; ++length) {
            message.length = static_cast<std::uint16_t>(length);
            ASSERT_EQ(decodeCommand(kind, message).has_value(), length == each.length)
                << each.name << " " << length;
        }
    }
}

/** Offsets in the record that are reserved in a command, besides those behind its payload. */
struct Reserved {
    char const* name;
    std::set<std::size_t> offsets;
};

void PrintTo(Reserved const& reserved, std::ostream* out) {
    *out << reserved.name;
}

class ReservedBytes : public testing::TestWithParam<Reserved> {};

TEST_P(ReservedBytes, AreNoticedAndNothingElseIs) {
    imc_msg const good = sample(GetParam().name);
    std::size_t const end = offsetof(imc_msg, payload) + good.length;
    for (std::size_t offset = 0; offset < sizeof(imc_msg); ++offset) {
        bool const header = offset == 0 || offset == 3 || offset == 6 || offset == 7;
        bool const kindOrLength = !header && offset > 3 && offset < offsetof(imc_msg, payload);
        if (kindOrLength) {
            continue;
        }
        Bytes bytes = bytesOf(good);
        bytes[offset] ^= 0x80;
        imc_msg message;
        std::memcpy(&message, bytes.data(), bytes.size());
        auto const noticed = decoded(message).nonzeroReserved;
        if (header || offset >= end || GetParam().offsets.count(offset) != 0) {
            ASSERT_TRUE(noticed) << offset;
            EXPECT_EQ(*noticed, offset);
        } else {
            EXPECT_FALSE(noticed) << offset;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ReservedBytes,
    testing::Values(Reserved{"OpenVoice in", {15, 39, 40, 41, 46, 47}},
                    Reserved{"OpenVoice out", {15, 38, 39, 40, 41, 42, 43, 46, 47}},
                    Reserved{"UpdateVoice in", {13, 14, 15}},
                    Reserved{"UpdateVoice out", {13, 14, 15}}, Reserved{"CloseVoice in", {}},
                    Reserved{"CloseVoice out", {}},
                    Reserved{"OpenFax in", {14, 15, 16, 17, 18, 19, 20, 21, 22, 23}},
                    Reserved{"OpenFax out", {}}, Reserved{"CloseFax in", {}},
                    Reserved{"CloseFax out", {}}, Reserved{"Join", {15}}, Reserved{"Unjoin", {}}));

TEST(Commands, ReservedBytesOfSetParameterDependOnItsCode) {
    for (char const* const oneByte : {"02 01", "03 02", "05 03"}) {
        for (unsigned offset = 3; offset <= 5; ++offset) {
            imc_msg message = setParameter(std::string(oneByte) + "000000");
            message.payload[offset] = 1;
            EXPECT_EQ(decoded(message).nonzeroReserved, 12 + offset) << oneByte;
        }
    }
    EXPECT_FALSE(decoded(setParameter("04 0101 0101")).nonzeroReserved);
}

TEST(Commands, FirstOfSeveralNonzeroReservedBytesIsNoticed) {
    imc_msg message = sample("OpenVoice in");
    message.payload[35] = 1;
    message.payload[3] = 1;
    message.payload[1023] = 1;
    EXPECT_EQ(decoded(message).nonzeroReserved, 15U);
}

} // namespace
} // namespace dsp
