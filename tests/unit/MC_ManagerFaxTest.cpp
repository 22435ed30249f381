#include "tests/unit/MC_ManagerFixture.h"

#include <climits>
#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Values;

class MC_ManagerFax : public ManagerTest {
protected:
    void openFax(MC_Channel const& channel) { Access::openFax(*manager, &channel); }
    void closeFax(MC_Channel const& channel) { Access::closeFax(*manager, &channel); }
    void setFaxDetectionActive(MC_Channel const& channel) {
        Access::setFaxDetectionActive(*manager, &channel);
    }

    static std::uint8_t const* payload() {
        EXPECT_EQ(platform().posted().size(), 1U);
        return platform().posted().back().payload;
    }

    /** Reads the configuration as it is set. */
    static void configurationChanged() {
        ASSERT_EQ(platform().deliver(recording::message(600, 0, 0)), 1U);
    }
};

// Fax-tone detection

struct Detection {
    bool isConfigured;
    bool calledSide;
    int mode;
    std::string words;
    char const* name;
};

std::ostream& operator<<(std::ostream& out, Detection const& detection) {
    return out << detection.words;
}

class MC_ManagerFaxDetection : public MC_ManagerFax,
                               public testing::WithParamInterface<Detection> {};

INSTANTIATE_TEST_SUITE_P(Modes, MC_ManagerFaxDetection,
                         Values(Detection{true, true, 2, "InBand called", "configured_called"},
                                Detection{true, false, 3, "InBand calling", "configured_calling"},
                                Detection{false, true, 0, "T38 called", "not_configured_called"},
                                Detection{false, false, 0, "T38 calling",
                                          "not_configured_calling"}),
                         NameOf());

TEST_P(MC_ManagerFaxDetection, SendsTheModeAndTracesItInBothDirections) {
    if (GetParam().isConfigured) {
        platform().setConfiguration("/current//gw_priv", "fax_proto", "udp");
    }
    configurationChanged();
    for (int const channelDirection : {0, 1, 2}) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.calledSide = GetParam().calledSide;
        platform().setLogLevel(3);
        setFaxDetectionActive(channel);
        ASSERT_EQ(platform().posted().size(), 1U);
        EXPECT_THAT(platform().posted()[0],
                    IsRecord(record({0, 0, 0xFA, 0, 0, 6, 0, 0, 0, 0, 0, 108},
                                    {3, 5, static_cast<unsigned char>(GetParam().mode), 0, 0, 0})));
        EXPECT_THAT(traces(), ElementsAre(trace("set FAX_T38 detection on channel(2F) to " +
                                                    GetParam().words + "\n",
                                                620)));
    }
}

TEST_F(MC_ManagerFax, DetectionIsConfiguredEvenWhenTheTransportIsUnknown) {
    platform().setConfiguration("/current//gw_priv", "fax_proto", "smoke");
    configurationChanged();
    setFaxDetectionActive(listedChannel());
    EXPECT_EQ(payload()[2], 3);
}

TEST_F(MC_ManagerFax, DetectionIsTracedAfterThePost) {
    platform().setLogLevel(3);
    setFaxDetectionActive(listedChannel());
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces),
                ElementsAre("post 108", HasSubstr("set FAX_T38")));
}

// The no-signal byte of direction 2

struct NoSignal {
    int wanted;
    bool calledSide;
    int sent;
};

std::ostream& operator<<(std::ostream& out, NoSignal const& signal) {
    return out << signal.wanted << (signal.calledSide ? " called" : " calling");
}

class MC_ManagerFaxNoSignal : public MC_ManagerFax, public testing::WithParamInterface<NoSignal> {};

INSTANTIATE_TEST_SUITE_P(Settings, MC_ManagerFaxNoSignal,
                         Values(NoSignal{0, false, 0}, NoSignal{0, true, 0}, NoSignal{1, false, 1},
                                NoSignal{1, true, 1}, NoSignal{2, false, 2}, NoSignal{2, true, 0},
                                NoSignal{3, false, 3}, NoSignal{3, true, 3},
                                NoSignal{255, false, 255}, NoSignal{255, true, 255}),
                         [](testing::TestParamInfo<NoSignal> const& parameter) {
                             return std::to_string(parameter.param.wanted) +
                                    (parameter.param.calledSide ? "_called" : "_calling");
                         });

TEST_P(MC_ManagerFaxNoSignal, IsSentExceptCngOfTheCalledSideAndTracedWhenNotZero) {
    MC_Channel& channel = listedChannel(2);
    channel.sendNoSignal = static_cast<std::uint8_t>(GetParam().wanted);
    channel.calledSide = GetParam().calledSide;
    platform().setLogLevel(3);
    openFax(channel);
    EXPECT_EQ(payload()[10], GetParam().sent);
    EXPECT_EQ(channel.sendNoSignal, GetParam().wanted);
    auto const opened = trace("Open Fax channel(2F) Fax protocol=UDP Redundancy=1 Depth=2\n", 937);
    if (GetParam().sent != 0) {
        auto const enabled =
            trace("send_NO_SIG is enabled to (" + std::to_string(GetParam().sent) + ") \n", 924);
        EXPECT_THAT(traces(), ElementsAre(enabled, opened));
    } else {
        EXPECT_THAT(traces(), ElementsAre(opened));
    }
}

TEST_P(MC_ManagerFaxNoSignal, IsNeitherSentNorTracedInDirection1) {
    MC_Channel& channel = listedChannel(1);
    channel.sendNoSignal = static_cast<std::uint8_t>(GetParam().wanted);
    channel.calledSide = GetParam().calledSide;
    platform().setLogLevel(3);
    openFax(channel);
    EXPECT_EQ(payload()[10], 0);
    EXPECT_THAT(
        traces(),
        ElementsAre(trace("Open Fax channel(2F) Fax protocol=UDP Redundancy=1 Depth=2\n", 937)));
}

TEST_F(MC_ManagerFax, OpenTracesTheSignalBeforeThePostAndTheRestAfterIt) {
    MC_Channel& channel = listedChannel(2);
    channel.sendNoSignal = 1;
    platform().setLogLevel(3);
    openFax(channel);
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces),
                ElementsAre(HasSubstr("send_NO_SIG"), "post 119", HasSubstr("Open Fax")));
}

// Depth and redundancy

struct DepthAndRedundancy {
    int value;
    int sent;
};

std::ostream& operator<<(std::ostream& out, DepthAndRedundancy const& setting) {
    return out << setting.value;
}

class MC_ManagerFaxDepth : public MC_ManagerFax,
                           public testing::WithParamInterface<DepthAndRedundancy> {};

INSTANTIATE_TEST_SUITE_P(LowBytes, MC_ManagerFaxDepth,
                         Values(DepthAndRedundancy{0, 0}, DepthAndRedundancy{7, 7},
                                DepthAndRedundancy{255, 255}, DepthAndRedundancy{256, 0},
                                DepthAndRedundancy{300, 44}, DepthAndRedundancy{-1, 255},
                                DepthAndRedundancy{-300, 212}, DepthAndRedundancy{INT_MAX, 255},
                                DepthAndRedundancy{INT_MIN, 0}),
                         [](testing::TestParamInfo<DepthAndRedundancy> const& parameter) {
                             return "case" + std::to_string(parameter.index);
                         });

TEST_P(MC_ManagerFaxDepth, RedundancyIsSentByItsLow8BitsButTracedWhole) {
    MC_Channel& channel = listedChannel(2);
    channel.faxRedundancy = GetParam().value;
    platform().setLogLevel(3);
    openFax(channel);
    EXPECT_EQ(payload()[3], GetParam().sent);
    EXPECT_EQ(payload()[2], 2);
    EXPECT_THAT(traces(), ElementsAre(trace("Open Fax channel(2F) Fax protocol=UDP Redundancy=" +
                                                std::to_string(GetParam().value) + " Depth=2\n",
                                            937)));
}

TEST_P(MC_ManagerFaxDepth, DepthIsSentByItsLow8BitsButTracedWhole) {
    MC_Channel& channel = listedChannel(2);
    channel.faxDepth = GetParam().value;
    platform().setLogLevel(3);
    openFax(channel);
    EXPECT_EQ(payload()[2], GetParam().sent);
    EXPECT_EQ(payload()[3], 1);
    EXPECT_THAT(traces(), ElementsAre(trace("Open Fax channel(2F) Fax protocol=UDP Redundancy=1 "
                                            "Depth=" +
                                                std::to_string(GetParam().value) + "\n",
                                            937)));
}

// Transports

struct Transport {
    char const* configured;
    VCOM_FaxTransport channels;
    int sentIn;
    int sentOut;
    char const* traced;
    char const* name;
};

std::ostream& operator<<(std::ostream& out, Transport const& transport) {
    return out << transport.name;
}

class MC_ManagerFaxTransport : public MC_ManagerFax, public testing::WithParamInterface<Transport> {
protected:
    void open(int channelDirection) {
        platform().setConfiguration("/current//gw_priv", "fax_proto", GetParam().configured);
        configurationChanged();
        MC_Channel& channel = listedChannel(channelDirection);
        channel.faxTransport = GetParam().channels;
        platform().setLogLevel(3);
        openFax(channel);
        EXPECT_THAT(traces(), ElementsAre(trace(std::string("Open Fax channel(2F) Fax protocol=") +
                                                    GetParam().traced + " Redundancy=1 Depth=2\n",
                                                937)));
    }
};

INSTANTIATE_TEST_SUITE_P(
    Combinations, MC_ManagerFaxTransport,
    Values(Transport{"udp", VCOM_FAXTRANSPORT_UDP, 17, 17, "UDP", "configured_udp_channel_udp"},
           Transport{"udp", VCOM_FAXTRANSPORT_TCP, 17, 6, "UDP", "configured_udp_channel_tcp"},
           Transport{"tcp", VCOM_FAXTRANSPORT_UDP, 6, 17, "TCP", "configured_tcp_channel_udp"},
           Transport{"tcp", VCOM_FAXTRANSPORT_TCP, 6, 6, "TCP", "configured_tcp_channel_tcp"}),
    NameOf());

TEST_P(MC_ManagerFaxTransport, OfDirection1IsTheConfigurations) {
    open(1);
    EXPECT_EQ(payload()[1], GetParam().sentIn);
}

TEST_P(MC_ManagerFaxTransport, OfDirection2IsTheChannelsButTheTraceNamesTheConfigurations) {
    open(2);
    EXPECT_EQ(payload()[1], GetParam().sentOut);
}

TEST_F(MC_ManagerFax, OpenOfDirection2RefusesAChannelWithoutTransportUnsent) {
    for (int const transport : {0, 3, -1}) {
        MC_Channel& channel = listedChannel(2);
        channel.faxTransport = static_cast<VCOM_FaxTransport>(transport);
        channel.sendNoSignal = 1;
        platform().setLogLevel(3);
        EXPECT_EQ(refusal([&] { openFax(channel); }),
                  withNul("Transport type not supported by Session Manager"));
        EXPECT_THAT(platform().posted(), IsEmpty());
        EXPECT_THAT(platform().logCalls(), IsEmpty());
    }
}

TEST_F(MC_ManagerFax, OpenOfDirection1DoesNotLookAtTheChannelsTransport) {
    MC_Channel& channel = listedChannel(1);
    channel.faxTransport = static_cast<VCOM_FaxTransport>(3);
    openFax(channel);
    EXPECT_EQ(payload()[1], 17);
}

TEST_F(MC_ManagerFax, OpenOfBothDirectionsRefusesAnUnsupportedConfiguration) {
    config().faxProtocol = static_cast<VCOM_FaxTransport>(3);
    for (int const channelDirection : {1, 2}) {
        MC_Channel& channel = listedChannel(channelDirection);
        EXPECT_EQ(refusal([&] { openFax(channel); }),
                  withNul("Transport type not supported by Session Manager"));
        EXPECT_THAT(platform().posted(), IsEmpty());
    }
}

// The payload of direction 1

TEST_F(MC_ManagerFax, OpenOfDirection1SendsOnlyDspAndProtocolWhateverTheSettings) {
    MC_Channel& channel = listedChannel(1);
    channel.sendNoSignal = 2;
    channel.sendCed = true;
    channel.faxDepth = 0xFF;
    channel.faxRedundancy = 0xFF;
    set(channel.rtpRemote, "255.255.255.255", 65535);
    openFax(channel);
    ASSERT_EQ(platform().posted().size(), 1U);
    EXPECT_THAT(platform().posted()[0],
                IsRecord(record({0, 0, 0xFA, 0, 0, 12, 0, 0, 0, 0, 0, 115}, {3, 17})));
}

// The remote address of direction 2

class MC_ManagerFaxRemote : public MC_ManagerFax {
protected:
    void expectRefusedBeforeAnythingIsPosted(MC_Channel& channel) {
        channel.sendNoSignal = 1;
        platform().setLogLevel(3);
        auto const clones = platform().liveClones();
        std::string const text = refusal([&] { openFax(channel); });
        EXPECT_EQ(text, "Remote RTP address missing or not IPv4");
        EXPECT_THAT(platform().posted(), IsEmpty());
        EXPECT_THAT(platform().logCalls(), IsEmpty());
        EXPECT_EQ(platform().liveClones(), clones);

        channel.state = MC_Channel::Voice_Open;
        channel.faxDetection = true;
        platform().clearRecords();
        EXPECT_EQ(refusal([&] { manager->activateFax(&channel); }),
                  withNul("Failed to activateFax on channel(2F)\n\t" + text));
        EXPECT_THAT(platform().posted(), IsEmpty());
        EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
        EXPECT_FALSE(channel.faxOpen);
    }
};

TEST_F(MC_ManagerFaxRemote, MissingIsRefused) {
    MC_Channel& channel = listedChannel(2);
    channel.rtpRemote.Set(nullptr, 6004);
    expectRefusedBeforeAnythingIsPosted(channel);
}

TEST_F(MC_ManagerFaxRemote, OfAnotherFamilyIsRefused) {
    MC_Channel& channel = listedChannel(2);
    recording::OtherAddress const address("fe80::1");
    channel.rtpRemote.Set(&address, 6004);
    expectRefusedBeforeAnythingIsPosted(channel);
}

TEST_F(MC_ManagerFaxRemote, OfASubclassOfIpAddressIsSent) {
    MC_Channel& channel = listedChannel(2);
    recording::DerivedAddress const address("192.168.1.2");
    channel.rtpRemote.Set(&address, 0xFFFE);
    openFax(channel);
    EXPECT_EQ(payload()[4], 192);
    EXPECT_EQ(payload()[5], 168);
    EXPECT_EQ(payload()[6], 1);
    EXPECT_EQ(payload()[7], 2);
    EXPECT_EQ(payload()[8], 0xFF);
    EXPECT_EQ(payload()[9], 0xFE);
}

TEST_F(MC_ManagerFaxRemote, IsRefusedAfterTheTransport) {
    MC_Channel& channel = listedChannel(2);
    channel.rtpRemote.Set(nullptr, 6004);
    channel.faxTransport = VCOM_FAXTRANSPORT_NONE;
    EXPECT_EQ(refusal([&] { openFax(channel); }),
              withNul("Transport type not supported by Session Manager"));
}

TEST_F(MC_ManagerFaxRemote, DoesNotMatterInDirection1) {
    MC_Channel& missing = listedChannel(1);
    missing.rtpRemote.Set(nullptr, 6004);
    MC_Channel& other = listedChannel(1);
    recording::OtherAddress const address("fe80::1");
    other.rtpRemote.Set(&address, 6004);
    EXPECT_NO_THROW(openFax(missing));
    EXPECT_NO_THROW(openFax(other));
    EXPECT_THAT(commands(), ElementsAre("115", "115"));
}

TEST_F(MC_ManagerFaxRemote, IsReadWithoutLeavingACopyBehind) {
    MC_Channel& channel = listedChannel(2);
    auto const clones = platform().liveClones();
    openFax(channel);
    EXPECT_EQ(platform().liveClones(), clones);
}

// Directions

class MC_ManagerFaxDirection : public MC_ManagerFax,
                               public testing::WithParamInterface<NamedDirection> {
protected:
    std::string const refused = "Direction " + GetParam().directionName + " invalid";
};

INSTANTIATE_TEST_SUITE_P(Directions, MC_ManagerFaxDirection, testing::ValuesIn(otherDirections()),
                         NameOf());

TEST_P(MC_ManagerFaxDirection, OtherThan1And2IsRefusedByOpenAndCloseUnsent) {
    MC_Channel& channel = listedChannel(GetParam().value);
    platform().setLogLevel(3);
    EXPECT_EQ(refusal([&] { openFax(channel); }), withNul(refused));
    EXPECT_EQ(refusal([&] { closeFax(channel); }), withNul(refused));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_P(MC_ManagerFaxDirection, OtherThan1And2IsWrappedByActivateFaxWhichKeepsWhatItDid) {
    MC_Channel& channel = newChannel(GetParam().value);
    platform().setLogLevel(2);
    EXPECT_EQ(refusal([&] { manager->activateFax(&channel); }),
              withNul("Failed to activateFax on channel(2F)\n\t" + refused));
    EXPECT_THAT(commands(), ElementsAre("108:5"));
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
    EXPECT_EQ(channel.state, MC_Channel::Idle);
    EXPECT_FALSE(channel.faxOpen);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerFax, OpenRefusesABadDirectionBeforeABadTransport) {
    config().faxProtocol = static_cast<VCOM_FaxTransport>(3);
    MC_Channel& channel = listedChannel(0);
    EXPECT_EQ(refusal([&] { openFax(channel); }), withNul("Direction NONE invalid"));
}

// closeFax

TEST_F(MC_ManagerFax, CloseSendsTheDspAloneTracesAndChangesNothing) {
    for (int const channelDirection : {1, 2}) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.faxOpen = true;
        channel.state = MC_Channel::Fax_Open;
        channel.faxTransport = VCOM_FAXTRANSPORT_NONE;
        platform().setLogLevel(3);
        closeFax(channel);
        ASSERT_EQ(platform().posted().size(), 1U);
        EXPECT_EQ(platform().posted()[0].length, 1);
        EXPECT_THAT(traces(), ElementsAre(trace("Close Fax channel(2F)\n", 1028)));
        EXPECT_THAT(
            platform().journal(Kind::posts | Kind::traces),
            ElementsAre(channelDirection == 1 ? "post 117" : "post 121", HasSubstr("trace ")));
        EXPECT_TRUE(channel.faxOpen);
        EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
    }
}

// activateFax

class MC_ManagerActivateFax : public MC_ManagerFax,
                              public testing::WithParamInterface<MC_Channel::State> {
protected:
    static bool rests() {
        return GetParam() == MC_Channel::Idle || GetParam() == MC_Channel::Close;
    }
};

using MC_ManagerActivateFaxDeathTest = MC_ManagerActivateFax;

std::string nameOfState(testing::TestParamInfo<MC_Channel::State> const& info) {
    return MC_Channel::stateToStr[info.param];
}

INSTANTIATE_TEST_SUITE_P(States, MC_ManagerActivateFax,
                         Values(MC_Channel::Idle, MC_Channel::Voice_Open, MC_Channel::Fax_Detected,
                                MC_Channel::Fax_Open, MC_Channel::Close, MC_Channel::Join),
                         nameOfState);
INSTANTIATE_TEST_SUITE_P(States, MC_ManagerActivateFaxDeathTest,
                         Values(MC_Channel::Voice_Open, MC_Channel::Fax_Detected,
                                MC_Channel::Fax_Open, MC_Channel::Join),
                         nameOfState);

TEST_P(MC_ManagerActivateFax, OpensTheFaxAndListsAnIdleOrClosedChannelAgain) {
    MC_Channel& channel = listedChannel();
    channel.state = GetParam();
    channel.voiceOpen = true;
    manager->activateFax(&channel);
    EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
    EXPECT_TRUE(channel.faxOpen);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_THAT(commands(), ElementsAre("108:5", "115"));
    EXPECT_EQ(channels().size(), rests() ? 2U : 1U);
    EXPECT_EQ(channel.referenceCount, rests() ? 2U : 1U);
}

TEST_P(MC_ManagerActivateFax, TracesTheReferenceOfAListingOnly) {
    MC_Channel& channel = listedChannel();
    channel.state = GetParam();
    platform().setCollectorTrace(true);
    manager->activateFax(&channel);
    auto const lines = platform().collectorTraces();
    ASSERT_EQ(lines.size(), rests() ? 1U : 0U);
    if (rests()) {
        char expected[64];
        std::snprintf(expected, sizeof expected, "GC : reference %p\n",
                      static_cast<void const*>(&channel));
        EXPECT_EQ(lines[0].text, expected);
        EXPECT_EQ(lines[0].file, "");
        EXPECT_EQ(lines[0].line, 0);
    }
}

TEST_P(MC_ManagerActivateFaxDeathTest, OfAnUnlistedRunningChannelEndsTheProcess) {
    MC_Channel& channel = newChannel();
    channel.state = GetParam();
    platform().script.coreDumpExit = reportAndAbort;
    EXPECT_DEATH(manager->activateFax(&channel),
                 AllOf(HasSubstr("error MC - MC_Manager component not found | activateFax | "
                                 "framework/lib/MC_API/MC_Manager:1062\n"),
                       HasSubstr("exit cause 0\n")));
}

TEST_F(MC_ManagerFax, ActivateReadsTheStateAgainAfterTheCheck) {
    MC_Channel& channel = newChannel();
    channel.state = MC_Channel::Voice_Open;
    platform().script.coreDumpExit =
        recording::once([&](int) { channel.state = MC_Channel::Close; });
    manager->activateFax(&channel);
    EXPECT_THAT(errors(),
                ElementsAre(error("MC_Manager component not found", "activateFax", 1062)));
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerFax, ActivateOfAClosedChannelListsItAndTakesAReferenceBeforePosting) {
    MC_Channel& channel = newChannel();
    channel.state = MC_Channel::Close;
    platform().script.post = [&](imc_msg const&) {
        EXPECT_THAT(channels(), ElementsAre(&channel));
        EXPECT_EQ(channel.referenceCount, 2U);
        EXPECT_EQ(channel.state, MC_Channel::Close);
        EXPECT_FALSE(channel.faxOpen);
    };
    manager->activateFax(&channel);
    EXPECT_EQ(commands().size(), 2U);
    EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
}

TEST_F(MC_ManagerFax, ActivateListsThenTracesTheReferenceThenCountsIt) {
    MC_Channel& channel = newChannel();
    platform().setCollectorTrace(true);
    platform().script.log = [&](recording::LogCall const&) {
        EXPECT_THAT(channels(), ElementsAre(&channel));
        EXPECT_EQ(channel.referenceCount, 1U);
    };
    manager->activateFax(&channel);
    EXPECT_EQ(platform().collectorTraces().size(), 1U);
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerFax, ActivateWithFaxDetectionWantedPostsTheOpenFaxOnly) {
    for (int const channelDirection : {1, 2}) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.state = MC_Channel::Fax_Detected;
        channel.faxDetection = true;
        manager->activateFax(&channel);
        EXPECT_THAT(commands(), ElementsAre(channelDirection == 1 ? "115" : "119"));
    }
}

TEST_F(MC_ManagerFax, ActivateWithoutFaxDetectionArmsItWhateverModeAndSwitchSay) {
    config().noteworthyFlag = true;
    MC_Channel& channel = listedChannel(2);
    channel.channelMode = 2;
    channel.state = MC_Channel::Fax_Detected;
    manager->activateFax(&channel);
    EXPECT_THAT(commands(), ElementsAre("108:5", "119"));
    EXPECT_FALSE(channel.faxDetection);
}

TEST_F(MC_ManagerFax, ActivateTracesTheWholeDescriptionWithItsMisspeltWord) {
    MC_Channel& channel = listedChannel();
    channel.state = MC_Channel::Fax_Detected;
    platform().setLogLevel(2);
    manager->activateFax(&channel);
    EXPECT_THAT(description(channel), HasSubstr("\tState : Fax_Open\n"));
    EXPECT_THAT(description(channel), HasSubstr("\tFax INCOMING"));
    EXPECT_THAT(traces(), ElementsAre(trace("AcivateFax" + description(channel) + "\n", 407)));
}

TEST_F(MC_ManagerFax, ActivateWhoseTraceFailsIsWrappedWithTheFaxOpen) {
    MC_Channel& channel = listedChannel();
    channel.state = MC_Channel::Fax_Detected;
    platform().setLogLevel(2);
    platform().script.log = failingTrace(407, std::range_error("trace"));
    EXPECT_EQ(refusal([&] { manager->activateFax(&channel); }),
              withNul("Failed to activateFax on channel(2F)\n\ttrace"));
    EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
    EXPECT_TRUE(channel.faxOpen);
}

TEST_F(MC_ManagerFax, ActivateWhoseTraceOfTheReferenceFailsIsWrapped) {
    MC_Channel& channel = newChannel();
    platform().setCollectorTrace(true);
    platform().script.log = failingTrace(0, std::range_error("collector"));
    EXPECT_EQ(refusal([&] { manager->activateFax(&channel); }),
              withNul("Failed to activateFax on channel(2F)\n\tcollector"));
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 1U);
}

TEST_F(MC_ManagerFax, ActivateThatFailsKeepsStateAndFlag) {
    MC_Channel& channel = listedChannel(1);
    channel.state = MC_Channel::Fax_Detected;
    config().faxProtocol = static_cast<VCOM_FaxTransport>(3);
    EXPECT_EQ(refusal([&] { manager->activateFax(&channel); }),
              withNul("Failed to activateFax on channel(2F)\n\tTransport type not supported by "
                      "Session Manager"));
    EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
    EXPECT_FALSE(channel.faxOpen);
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

} // namespace
