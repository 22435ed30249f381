#include "tests/unit/MC_ManagerFixture.h"

#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Values;

class MC_ManagerVoice : public ManagerTest {
protected:
    void openVoice(MC_Channel const& channel) { Access::openVoice(*manager, &channel); }
    void updateVoice(MC_Channel const& channel) { Access::updateVoice(*manager, &channel); }
    void closeVoice(MC_Channel const& channel) { Access::closeVoice(*manager, &channel); }

    static std::uint8_t const* payload() {
        EXPECT_EQ(platform().posted().size(), 1U);
        return platform().posted().back().payload;
    }
};

class MC_ManagerVoiceDirection : public MC_ManagerVoice,
                                 public testing::WithParamInterface<NamedDirection> {
protected:
    void expectRefused(void (*call)(MC_Manager&, MC_Channel const*)) {
        MC_Channel& channel = listedChannel(GetParam().value);
        platform().setLogLevel(3);
        EXPECT_EQ(refusal([&] { call(*manager, &channel); }),
                  withNul("Direction " + GetParam().directionName + " invalid"));
        EXPECT_THAT(platform().posted(), IsEmpty());
        EXPECT_THAT(platform().logCalls(), IsEmpty());
    }
};

INSTANTIATE_TEST_SUITE_P(Directions, MC_ManagerVoiceDirection, testing::ValuesIn(otherDirections()),
                         NameOf());

TEST_P(MC_ManagerVoiceDirection, OtherThan1And2IsRefusedByOpenVoiceUnsent) {
    expectRefused(Access::openVoice);
}

TEST_P(MC_ManagerVoiceDirection, OtherThan1And2IsRefusedByUpdateVoiceUnsent) {
    expectRefused(Access::updateVoice);
}

TEST_P(MC_ManagerVoiceDirection, OtherThan1And2IsRefusedByCloseVoiceUnsent) {
    expectRefused(Access::closeVoice);
}

TEST_F(MC_ManagerVoice, DefaultDirectionIsRefused) {
    MC_Channel fresh;
    fresh.codec = 1;
    channels().push_back(&fresh);
    EXPECT_EQ(refusal([&] { openVoice(fresh); }), withNul("Direction NONE invalid"));
    EXPECT_EQ(refusal([&] { updateVoice(fresh); }), withNul("Direction NONE invalid"));
    EXPECT_EQ(refusal([&] { closeVoice(fresh); }), withNul("Direction NONE invalid"));
    EXPECT_THAT(platform().posted(), IsEmpty());
    channels().clear();
}

TEST_F(MC_ManagerVoice, OpenOfDirection2LeavesTheFieldsOfDirection1Zero) {
    MC_Channel& channel = listedChannel(2);
    config().rtpTickRequest = 0xFF;
    channel.inboundVoiceParam1 = 0xFF;
    channel.inboundVoiceParam2 = 0xFF;
    openVoice(channel);
    EXPECT_EQ(payload()[26], 0);
    EXPECT_EQ(payload()[30], 0);
    EXPECT_EQ(payload()[31], 0);
}

TEST_F(MC_ManagerVoice, OpenOfDirection1SendsItsTwoParametersCrossed) {
    MC_Channel& channel = listedChannel(1);
    config().rtpTickRequest = 0x51;
    channel.inboundVoiceParam1 = 0x52;
    channel.inboundVoiceParam2 = 0x53;
    openVoice(channel);
    EXPECT_EQ(payload()[26], 0x51);
    EXPECT_EQ(payload()[30], 0x53);
    EXPECT_EQ(payload()[31], 0x52);
}

TEST_F(MC_ManagerVoice, OpenWithCodec0IsRefusedUnsent) {
    for (int const channelDirection : {1, 2}) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.codec = 0;
        platform().setLogLevel(3);
        EXPECT_EQ(refusal([&] { openVoice(channel); }),
                  withNul("Codec [CODEC_0] Not Supported by Session Manager"));
        EXPECT_THAT(platform().posted(), IsEmpty());
        EXPECT_THAT(platform().logCalls(), IsEmpty());
    }
}

TEST_F(MC_ManagerVoice, OpenRefusesABadDirectionBeforeABadCodec) {
    MC_Channel& channel = listedChannel(0);
    channel.codec = 0;
    EXPECT_EQ(refusal([&] { openVoice(channel); }), withNul("Direction NONE invalid"));
}

TEST_F(MC_ManagerVoice, OpenWithAnUnsupportedTransportIsRefusedUnsent) {
    MC_Channel& channel = listedChannel();
    config().faxProtocol = static_cast<VCOM_FaxTransport>(3);
    EXPECT_EQ(refusal([&] { openVoice(channel); }),
              withNul("Transport type not supported by Session Manager"));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_EQ(platform().liveClones(), 4U) << "only the channel's own addresses";
}

TEST_F(MC_ManagerVoice, OpenRefusesABadCodecBeforeABadTransport) {
    MC_Channel& channel = listedChannel();
    channel.codec = 6;
    config().faxProtocol = static_cast<VCOM_FaxTransport>(3);
    EXPECT_EQ(refusal([&] { openVoice(channel); }),
              withNul(std::string("Codec [") + outOfArray + "] Not Supported by Session Manager"));
}

struct CodecNumber {
    int codec;
    int type;
};

std::ostream& operator<<(std::ostream& out, CodecNumber const& number) {
    return out << number.codec;
}

class MC_ManagerVoiceCodec : public MC_ManagerVoice,
                             public testing::WithParamInterface<CodecNumber> {};

INSTANTIATE_TEST_SUITE_P(Codecs, MC_ManagerVoiceCodec,
                         Values(CodecNumber{1, 0}, CodecNumber{2, 1}, CodecNumber{3, 3},
                                CodecNumber{4, 4}, CodecNumber{5, 4}),
                         [](testing::TestParamInfo<CodecNumber> const& parameter) {
                             return std::to_string(parameter.param.codec);
                         });

TEST_P(MC_ManagerVoiceCodec, IsSentAndTracedAsItsType) {
    MC_Channel& channel = listedChannel();
    channel.codec = GetParam().codec;
    platform().setLogLevel(3);
    openVoice(channel);
    EXPECT_EQ(payload()[1], GetParam().type);
    EXPECT_THAT(traces(),
                ElementsAre(trace("Open Voice channel(2F) Codec=" +
                                      std::to_string(GetParam().type) + " Fax protocol=UDP\n",
                                  780)));
}

TEST_F(MC_ManagerVoice, FaxProtocol2IsSentAs6AndTracedAsTcp) {
    platform().setLogLevel(3);
    config().faxProtocol = VCOM_FAXTRANSPORT_TCP;
    openVoice(listedChannel());
    EXPECT_EQ(payload()[2], 6);
    EXPECT_THAT(traces(),
                ElementsAre(trace("Open Voice channel(2F) Codec=0 Fax protocol=TCP\n", 780)));
}

TEST_F(MC_ManagerVoice, FaxProtocol1IsSentAs17AndTracedAsUdp) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel(2);
    channel.faxTransport = VCOM_FAXTRANSPORT_TCP;
    openVoice(channel);
    EXPECT_EQ(payload()[2], 17);
    EXPECT_THAT(traces(),
                ElementsAre(trace("Open Voice channel(2F) Codec=0 Fax protocol=UDP\n", 780)));
}

// The configuration never holds 0; if it did, the channel's transport would be sent, and the trace
// would still name the configuration's.
TEST_F(MC_ManagerVoice, FaxProtocolOfTheTraceIsTheConfigurations) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel();
    channel.faxTransport = VCOM_FAXTRANSPORT_TCP;
    config().faxProtocol = VCOM_FAXTRANSPORT_NONE;
    openVoice(channel);
    EXPECT_EQ(payload()[2], 6);
    EXPECT_THAT(traces(),
                ElementsAre(trace("Open Voice channel(2F) Codec=0 Fax protocol=UDP\n", 780)));
}

TEST_F(MC_ManagerVoice, UpdateTracesItsLine) {
    MC_Channel& in = listedChannel(1);
    MC_Channel& out = listedChannel(2);
    platform().setLogLevel(3);
    updateVoice(in);
    updateVoice(out);
    EXPECT_THAT(traces(), ElementsAre(trace("Update Voice channel(2F) \n", 852),
                                      trace("Update Voice channel(2F) \n", 852)));
}

TEST_F(MC_ManagerVoice, CloseTracesItsLine) {
    MC_Channel& in = listedChannel(1);
    MC_Channel& out = listedChannel(2);
    platform().setLogLevel(3);
    closeVoice(in);
    closeVoice(out);
    EXPECT_THAT(traces(), ElementsAre(trace("Close Voice channel(2F)\n", 982),
                                      trace("Close Voice channel(2F)\n", 982)));
}

TEST_F(MC_ManagerVoice, EveryOperationTracesAfterThePost) {
    MC_Channel& channel = listedChannel();
    platform().setLogLevel(3);
    openVoice(channel);
    updateVoice(channel);
    closeVoice(channel);
    auto const journal = platform().journal(Kind::posts | Kind::traces);
    ASSERT_EQ(journal.size(), 6U);
    EXPECT_EQ(journal[0], "post 100");
    EXPECT_EQ(journal[2], "post 132");
    EXPECT_EQ(journal[4], "post 102");
}

TEST_F(MC_ManagerVoice, UpdateCarriesTheSameAddressesAndPortsAsOpenButThePayloadTypesAt26And27) {
    MC_Channel& channel = listedChannel();
    channel.rtpDtmfPayloadType = 101;
    channel.rtpRedundancyPayloadType = 102;
    openVoice(channel);
    updateVoice(channel);
    ASSERT_EQ(platform().posted().size(), 2U);
    auto const* const opened = platform().posted()[0].payload;
    auto const* const updated = platform().posted()[1].payload;
    for (int i = 4; i < 26; ++i) {
        EXPECT_EQ(opened[i], updated[i]) << i;
    }
    EXPECT_EQ(opened[32], 101);
    EXPECT_EQ(opened[33], 102);
    EXPECT_EQ(updated[26], 101);
    EXPECT_EQ(updated[27], 102);
    EXPECT_EQ(updated[32], 0);
    EXPECT_EQ(updated[33], 0);
}

TEST_F(MC_ManagerVoice, UpdateNeedsNoSupportedCodecOrTransport) {
    MC_Channel& channel = listedChannel();
    channel.codec = 0;
    config().faxProtocol = static_cast<VCOM_FaxTransport>(3);
    EXPECT_NO_THROW(updateVoice(channel));
    EXPECT_THAT(commands(), ElementsAre("132"));
}

TEST_F(MC_ManagerVoice, CloseSendsTheDspAlone) {
    MC_Channel& channel = listedChannel();
    channel.codec = 0;
    closeVoice(channel);
    ASSERT_EQ(platform().posted().size(), 1U);
    EXPECT_EQ(platform().posted()[0].length, 1);
    EXPECT_THAT(platform().posted()[0],
                IsRecord(record({0, 0, 0xFA, 0, 0, 1, 0, 0, 0, 0, 0, 102}, {3})));
    EXPECT_THAT(platform().journal(Kind::endPoints | Kind::clones), IsEmpty());
}

// The temporaries: one for each value that is read, each dropped before the next.

std::vector<std::string> oneTemporary(std::string const& ip, std::string const& endPoint) {
    return {"TransportAddress" + endPoint, "Clone " + ip, "~TransportAddress" + endPoint,
            "delete " + ip};
}

std::vector<std::string> fourTemporaries() {
    std::vector<std::string> all;
    for (auto const& one : {oneTemporary("10.2.0.1", "(10.2.0.1, 6004)"),
                            oneTemporary("10.2.0.1", "(10.2.0.1, 6004)"),
                            oneTemporary("10.1.0.1", "(10.1.0.1, 5004)"),
                            oneTemporary("10.2.0.2", "(10.2.0.2, 6005)")}) {
        all.insert(all.end(), one.begin(), one.end());
    }
    return all;
}

Kind const temporaries = Kind::endPoints | Kind::clones | Kind::endPointEnds;

TEST_F(MC_ManagerVoice, OpenBuildsAndDropsAFreshEndPointForEachValueRead) {
    MC_Channel& channel = listedChannel();
    auto const clones = platform().liveClones();
    openVoice(channel);
    EXPECT_EQ(platform().journal(temporaries), fourTemporaries());
    EXPECT_THAT(platform().journal(Kind::binaries), ElementsAre("GetBinary 10.2.0.1"));
    EXPECT_EQ(platform().liveClones(), clones);
}

TEST_F(MC_ManagerVoice, UpdateBuildsAndDropsAFreshEndPointForEachValueRead) {
    MC_Channel& channel = listedChannel(2);
    auto const clones = platform().liveClones();
    updateVoice(channel);
    EXPECT_EQ(platform().journal(temporaries), fourTemporaries());
    EXPECT_THAT(platform().journal(Kind::binaries), ElementsAre("GetBinary 10.2.0.1"));
    EXPECT_EQ(platform().liveClones(), clones);
}

TEST_F(MC_ManagerVoice, MissingAddressesAreNoErrorAndKeepTheirPorts) {
    MC_Channel& channel = listedChannel();
    channel.rtpRemote.Set(nullptr, 0x1234);
    channel.rtpLocal.Set(nullptr, 0x5678);
    channel.rtcpRemote.Set(nullptr, 0x9ABC);
    openVoice(channel);
    updateVoice(channel);
    for (auto const& message : platform().posted()) {
        for (int i = 4; i < 20; ++i) {
            EXPECT_EQ(message.payload[i], 0) << i;
        }
        EXPECT_EQ(message.payload[20], 0x12);
        EXPECT_EQ(message.payload[21], 0x34);
        EXPECT_EQ(message.payload[22], 0x56);
        EXPECT_EQ(message.payload[23], 0x78);
        EXPECT_EQ(message.payload[24], 0x9A);
        EXPECT_EQ(message.payload[25], 0xBC);
    }
    EXPECT_EQ(platform().liveClones(), 1U) << "only the channel's rtcpLocal";
}

// What an address throws while it is read leaves the operations or ends the process.

class MC_ManagerVoiceAddress : public MC_ManagerVoice {
protected:
    MC_Channel& channelWhoseAddress(std::function<void()> action) {
        MC_Channel& channel = listedChannel();
        ScriptedAddress const address(action);
        channel.rtpRemote.Set(&address, 6004);
        return channel;
    }
};

using MC_ManagerVoiceSpecificationDeathTest = MC_ManagerVoiceAddress;

TEST_F(MC_ManagerVoiceAddress, InvalidArgumentLeavesTheOperationsUnchanged) {
    MC_Channel& channel = channelWhoseAddress([] { throw std::invalid_argument("binary"); });
    EXPECT_THROW(openVoice(channel), std::invalid_argument);
    EXPECT_THROW(updateVoice(channel), std::invalid_argument);
    EXPECT_THROW(manager->openChannel(&channel), std::invalid_argument);
    EXPECT_THROW(manager->updateChannel(&channel), std::invalid_argument);
    EXPECT_EQ(channel.state, MC_Channel::Idle);
    EXPECT_FALSE(channel.voiceOpen);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(MC_ManagerVoiceAddress, RuntimeErrorLeavesTheOperationsUnchanged) {
    MC_Channel& channel = channelWhoseAddress([] { throw std::range_error("binary"); });
    EXPECT_THROW(openVoice(channel), std::range_error);
    EXPECT_THROW(updateVoice(channel), std::range_error);
    EXPECT_THAT(platform().posted(), IsEmpty());
}

TEST_F(MC_ManagerVoiceSpecificationDeathTest, AnotherExceptionFromOpenVoiceEndsTheProcess) {
    MC_Channel& channel = channelWhoseAddress([] { throw 7; });
    EXPECT_DEATH(watchingForUnexpected([&] { openVoice(channel); }), ranUnexpected());
}

TEST_F(MC_ManagerVoiceSpecificationDeathTest, AnotherExceptionFromUpdateVoiceEndsTheProcess) {
    MC_Channel& channel = channelWhoseAddress([] { throw std::logic_error("binary"); });
    EXPECT_DEATH(watchingForUnexpected([&] { updateVoice(channel); }), ranUnexpected());
}

} // namespace
