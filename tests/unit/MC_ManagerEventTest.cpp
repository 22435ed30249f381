#include "tests/unit/MC_ManagerFixture.h"
#include "tests/unit/ThrownTexts.h"
#include "tests/unit/VirtualSlot.h"

#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Ref;
using testing::StrictMock;
using testing::Throw;

class MC_ManagerEvent : public ManagerTest {
protected:
    MC_ManagerEvent() { manager->registration(&client); }

    MC_Channel& running(int channelDirection = 1) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.state = MC_Channel::Voice_Open;
        return channel;
    }

    static MC_Acknowledge ack(std::uint8_t error, unsigned int port, std::uint8_t dsp = 3) {
        return MC_Acknowledge(recording::message(0, 4, 0xFA,
                                                 {dsp, error, static_cast<unsigned char>(port >> 8),
                                                  static_cast<unsigned char>(port & 0xFFU)}));
    }
    static MC_Dtmf dtmf(std::uint8_t digit = 5, std::uint8_t dsp = 3) {
        return MC_Dtmf(recording::message(0, 4, 0xFA, {dsp, digit, 0, 0x50}));
    }
    static MC_FaxTone faxTone(std::uint8_t dsp = 3) {
        return MC_FaxTone(recording::message(0, 1, 0xFA, {dsp}));
    }

    void tone(MC_FaxTone const& record = faxTone()) {
        manager->faxToneEvent(FaxToneEvent, VCOM_DIRECTION_IN, record);
    }
    void digit(int eventDirection = 1, MC_Dtmf const& record = dtmf()) {
        manager->dtmfEvent(DtmfEvent, direction(eventDirection), record);
    }
    void acknowledge(MC_Acknowledge const& record, MC_Event event = OpenFaxAck,
                     int eventDirection = 1) {
        manager->ackEvent(event, direction(eventDirection), record);
    }

    static LogLine ackTrace(std::string const& error, std::string const& port) {
        return trace("EVT : Ack Event for channel(2F)\n\terror=" + error +
                         "\n\tlocal_port=" + port + "\n",
                     1331);
    }
    static LogLine ackErrorTrace(std::string const& identifier) {
        return trace("ackEvent error on channel(" + identifier + ") \n", 1318);
    }

    static std::string text(UDPAddr const& endPoint) { return std::string(endPoint); }

    StrictMock<Client> client;
};

using MC_ManagerEventSpecificationDeathTest = MC_ManagerEvent;

TEST_F(MC_ManagerEvent, ClientsOperationsTakeTheirSlots) {
    EXPECT_EQ(virtualSlot(&MC_Observer::faxToneEvent), 2U);
    EXPECT_EQ(virtualSlot(&MC_Observer::ackEvent), 3U);
    EXPECT_EQ(virtualSlot(&MC_Observer::dtmfEvent), 4U);
    EXPECT_EQ(virtualSlot(&MC_Observer::ackErrorEvent), 5U);
}

// Fax tones

TEST_F(MC_ManagerEvent, FaxToneMarksTheChannelTracesAndThenTellsTheClient) {
    MC_Channel& channel = running();
    platform().setLogLevel(2);
    MC_FaxTone const record = faxTone();
    EXPECT_CALL(client, faxToneEvent(&channel, Ref(record)))
        .WillOnce([&](MC_Channel*, auto const&) {
            EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
            EXPECT_EQ(traces().size(), 1U);
        });
    tone(record);
    EXPECT_THAT(traces(), ElementsAre(trace("EVT : Fax Tone Event for channel(2F)\n", 1217)));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
    EXPECT_FALSE(channel.faxOpen);
}

TEST_F(MC_ManagerEvent, FaxToneIsTracedWhenTheChannelIsMarked) {
    MC_Channel& channel = running();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(1217, std::range_error("trace"));
    EXPECT_EQ(refusal<std::range_error>([this] { tone(); }), "trace");
    EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
}

TEST_F(MC_ManagerEvent, FaxToneMarksAChannelInAnyState) {
    for (int const state : {0, 1, 2, 3, 4, 5}) {
        channels().clear();
        MC_Channel& channel = running();
        channel.state = static_cast<MC_Channel::State>(state);
        EXPECT_CALL(client, faxToneEvent(&channel, _));
        tone();
        EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
    }
}

TEST_F(MC_ManagerEvent, FaxToneIsLookedUpWithTheGivenDirection) {
    MC_Channel& out = running(2);
    EXPECT_CALL(client, faxToneEvent(&out, _));
    manager->faxToneEvent(FaxToneEvent, VCOM_DIRECTION_OUT, faxTone());
}

TEST_F(MC_ManagerEvent, FaxToneNeverReachesADirection2ChannelOverImc) {
    MC_Channel& out = running(2);
    platform().setLogLevel(3);
    EXPECT_EQ(platform().deliver(recording::message(123, 1, 0xFA, {3})), 1U);
    EXPECT_EQ(out.state, MC_Channel::Voice_Open);
    ASSERT_EQ(traces().size(), 1U);
    EXPECT_EQ(traces()[0].text,
              withNul("MC - OBS - EVT : Fax Tone event ignored (Unable to found 'INCOMING channel' "
                      "with dsp(3))"));
}

TEST_F(MC_ManagerEvent, FaxToneWithoutAClientIsRefusedAndLeavesTheState) {
    MC_Channel& channel = running();
    manager->unregistration(&client);
    platform().setLogLevel(3);
    EXPECT_EQ(refusal([this] { tone(); }), "MC_Manager::faxToneEvent pObserver(NULL)");
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerEvent, FaxToneOfAnUnknownChannelIsRefused) {
    running();
    EXPECT_EQ(refusal([this] { tone(faxTone(4)); }),
              withNul("Unable to found 'INCOMING channel' with dsp(4)"));
}

TEST_F(MC_ManagerEvent, FaxToneLooksForTheChannelBeforeTheClient) {
    manager->unregistration(&client);
    EXPECT_EQ(refusal([this] { tone(); }),
              withNul("Unable to found 'INCOMING channel' with dsp(3)"));
}

TEST_F(MC_ManagerEvent, FaxToneWhoseCallbackThrowsARuntimeErrorPassesItOnUnchanged) {
    MC_Channel& channel = running();
    EXPECT_CALL(client, faxToneEvent).WillOnce(Throw(std::range_error("client")));
    EXPECT_THROW(tone(), std::range_error);
    EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
}

// DTMF digits

TEST_F(MC_ManagerEvent, DtmfTracesAndThenTellsTheClientAndChangesNothing) {
    for (int const channelDirection : {1, 2}) {
        MC_Channel& channel = running(channelDirection);
        platform().setLogLevel(2);
        MC_Dtmf const record = dtmf(11);
        EXPECT_CALL(client, dtmfEvent(&channel, Ref(record)))
            .WillOnce([](MC_Channel*, auto const&) { EXPECT_EQ(traces().size(), 1U); });
        digit(channelDirection, record);
        std::string const name = channelDirection == 1 ? "INCOMING" : "OUTGOING";
        EXPECT_THAT(traces(), ElementsAre(trace("EVT : DTMF Event(" + name +
                                                    ") for channel(2F) : digit 11 during 80 ms.\n",
                                                1244)));
        EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
        EXPECT_THAT(platform().posted(), IsEmpty());
    }
}

TEST_F(MC_ManagerEvent, DtmfOfTheLargestValuesIsTracedInDecimal) {
    MC_Channel& channel = running();
    platform().setLogLevel(2);
    EXPECT_CALL(client, dtmfEvent(&channel, _));
    digit(1, MC_Dtmf(recording::message(114, 4, 0xFA, {3, 0xFF, 0xFF, 0xFF})));
    EXPECT_THAT(traces(), ElementsAre(trace("EVT : DTMF Event(INCOMING) for channel(2F) : digit "
                                            "255 during 65535 ms.\n",
                                            1244)));
}

TEST_F(MC_ManagerEvent, DtmfOfADirectionWithoutNameIsTracedSo) {
    platform().setLogLevel(2);
    for (int const other : {3, -1}) {
        MC_Channel& channel = running(other);
        platform().clearRecords();
        EXPECT_CALL(client, dtmfEvent(&channel, _));
        digit(other);
        EXPECT_THAT(traces(), ElementsAre(trace(std::string("EVT : DTMF Event(") + outOfArray +
                                                    ") for channel(2F) : digit 5 during 80 ms.\n",
                                                1244)));
    }
}

TEST_F(MC_ManagerEvent, DtmfWithoutAClientIsRefused) {
    running();
    manager->unregistration(&client);
    platform().setLogLevel(3);
    EXPECT_EQ(refusal([this] { digit(); }), "MC_Manager::dtmfEvent pObserver(NULL)");
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerEvent, DtmfLooksForTheChannelBeforeTheClient) {
    manager->unregistration(&client);
    EXPECT_EQ(refusal([this] { digit(2); }),
              withNul("Unable to found 'OUTGOING channel' with dsp(3)"));
}

TEST_F(MC_ManagerEvent, DtmfForAnUnknownChannelIsIgnoredNotDiscarded) {
    platform().setLogLevel(3);
    EXPECT_EQ(platform().deliver(recording::message(114, 4, 0xFA, {3, 5, 0, 0x50})), 1U);
    EXPECT_THAT(errors(), IsEmpty());
    ASSERT_EQ(traces().size(), 1U);
    EXPECT_EQ(
        traces()[0].text,
        withNul("MC - OBS - EVT : Dtmf event ignored (Unable to found 'INCOMING channel' with "
                "dsp(3))"));
}

TEST_F(MC_ManagerEvent, DtmfWhoseCallbackThrowsARuntimeErrorPassesItOnUnchanged) {
    running();
    EXPECT_CALL(client, dtmfEvent).WillOnce(Throw(std::range_error("client")));
    EXPECT_THROW(digit(), std::range_error);
}

// Acknowledgements

TEST_F(MC_ManagerEvent, OpenFaxAckOfDirection1SetsTheLocalPortsBeforeTheClientHears) {
    MC_Channel& channel = running();
    MC_Acknowledge const record = ack(0, 6000);
    platform().setLogLevel(2);
    EXPECT_CALL(client, ackEvent(&channel, Ref(record))).WillOnce([&](MC_Channel*, auto const&) {
        EXPECT_EQ(text(channel.rtpLocal), "10.1.0.1:6000");
        EXPECT_EQ(text(channel.rtcpLocal), "10.1.0.2:6001");
        EXPECT_EQ(traces().size(), 1U);
    });
    acknowledge(record);
    EXPECT_EQ(text(channel.rtpLocal), "10.1.0.1:6000");
    EXPECT_EQ(text(channel.rtcpLocal), "10.1.0.2:6001");
    EXPECT_EQ(text(channel.rtpRemote), "10.2.0.1:6004");
    EXPECT_EQ(text(channel.rtcpRemote), "10.2.0.2:6005");
    EXPECT_THAT(traces(), ElementsAre(ackTrace("0", "6000")));
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_THAT(platform().posted(), IsEmpty());
}

TEST_F(MC_ManagerEvent, OpenFaxAckIsTracedWhenThePortsAreSet) {
    MC_Channel& channel = running();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(1331, std::range_error("trace"));
    EXPECT_CALL(client, ackErrorEvent(&channel, _));
    acknowledge(ack(0, 6000));
    EXPECT_EQ(text(channel.rtpLocal), "10.1.0.1:6000");
    EXPECT_EQ(text(channel.rtcpLocal), "10.1.0.2:6001");
    EXPECT_THAT(traces(), ElementsAre(ackTrace("0", "6000"), ackErrorTrace("2F")));
}

TEST_F(MC_ManagerEvent, OpenFaxAckOfDirection2ChangesNoPort) {
    MC_Channel& channel = running(2);
    std::string const before = description(channel);
    platform().clearRecords();
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(0, 6000), OpenFaxAck, 2);
    EXPECT_THAT(platform().journal(Kind::clones | Kind::endPointChanges), IsEmpty());
    EXPECT_EQ(description(channel), before);
}

TEST_F(MC_ManagerEvent, OpenFaxAckWithPort65535WrapsTheRtcpPortTo0) {
    MC_Channel& channel = running();
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(0, 65535));
    EXPECT_EQ(channel.rtpLocal.GetPort(), 65535);
    EXPECT_EQ(channel.rtcpLocal.GetPort(), 0);
}

TEST_F(MC_ManagerEvent, OpenFaxAckWithErrorAndNoPortIsAFailure) {
    MC_Channel& channel = running();
    channel.state = MC_Channel::Fax_Open;
    platform().setLogLevel(2);
    EXPECT_CALL(client, ackErrorEvent(&channel, _)).WillOnce([](MC_Channel*, auto const&) {
        EXPECT_EQ(traces().size(), 1U);
    });
    acknowledge(ack(3, 0));
    EXPECT_THAT(traces(), ElementsAre(ackErrorTrace("2F")));
    EXPECT_EQ(text(channel.rtpLocal), "10.1.0.1:5004");
    EXPECT_EQ(text(channel.rtcpLocal), "10.1.0.2:5005");
    EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
}

TEST_F(MC_ManagerEvent, OpenFaxAckOfDirection2WithErrorAndNoPortIsAFailureToo) {
    MC_Channel& channel = running(2);
    EXPECT_CALL(client, ackErrorEvent(&channel, _));
    acknowledge(ack(255, 0), OpenFaxAck, 2);
}

TEST_F(MC_ManagerEvent, OpenFaxAckWithErrorAndAPortIsASuccess) {
    MC_Channel& channel = running();
    platform().setLogLevel(2);
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(3, 6000));
    EXPECT_EQ(channel.rtpLocal.GetPort(), 6000);
    EXPECT_EQ(channel.rtcpLocal.GetPort(), 6001);
    EXPECT_THAT(traces(), ElementsAre(ackTrace("3", "6000")));
}

TEST_F(MC_ManagerEvent, OpenFaxAckWithoutErrorAndWithoutPortIsASuccess) {
    MC_Channel& channel = running();
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(0, 0));
    EXPECT_EQ(text(channel.rtpLocal), "10.1.0.1:0");
    EXPECT_EQ(text(channel.rtcpLocal), "10.1.0.2:1");
}

TEST_F(MC_ManagerEvent, OpenFaxAckReplacesTheAddressesByClonesAndLeavesNone) {
    MC_Channel& channel = running();
    auto const clones = platform().liveClones();
    auto const* const rtpBefore = channel.rtpLocal.GetINetAddress();
    EXPECT_CALL(client, ackEvent);
    acknowledge(ack(0, 6000));
    EXPECT_EQ(platform().liveClones(), clones);
    EXPECT_NE(channel.rtpLocal.GetINetAddress(), rtpBefore);
    EXPECT_THAT(platform().journal(Kind::clones), ElementsAre("Clone 10.1.0.1", "delete 10.1.0.1",
                                                              "Clone 10.1.0.2", "delete 10.1.0.2"));
}

TEST_F(MC_ManagerEvent, OpenFaxAckLearnsThePortsOfMissingAddressesWhichStayMissing) {
    MC_Channel& channel = running();
    channel.rtpLocal.Set(nullptr, 5004);
    channel.rtcpLocal.Set(nullptr, 5005);
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(0, 6000));
    EXPECT_EQ(channel.rtpLocal.GetINetAddress(), nullptr);
    EXPECT_EQ(channel.rtpLocal.GetPort(), 6000);
    EXPECT_EQ(channel.rtcpLocal.GetINetAddress(), nullptr);
    EXPECT_EQ(channel.rtcpLocal.GetPort(), 6001);
}

TEST_F(MC_ManagerEvent, OpenFaxAckKeepsAddressesOfAnotherFamily) {
    MC_Channel& channel = running();
    recording::OtherAddress const address("fe80::1");
    channel.rtpLocal.Set(&address, 5004);
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(0, 6000));
    EXPECT_EQ(text(channel.rtpLocal), "fe80::1:6000");
    EXPECT_NE(dynamic_cast<recording::OtherAddress const*>(channel.rtpLocal.GetINetAddress()),
              nullptr);
}

class MC_ManagerOtherAck : public MC_ManagerEvent, public testing::WithParamInterface<MC_Event> {};

INSTANTIATE_TEST_SUITE_P(Events, MC_ManagerOtherAck,
                         testing::Values(OpenVoiceAck, CloseVoiceAck, CloseFaxAck),
                         [](testing::TestParamInfo<MC_Event> const& parameter) {
                             return "event" + std::to_string(static_cast<int>(parameter.param));
                         });

TEST_P(MC_ManagerOtherAck, ChangesNothingAndShowsAnErrorInTheTraceOnly) {
    for (int const channelDirection : {1, 2}) {
        MC_Channel& channel = running(channelDirection);
        std::string const before = description(channel);
        platform().clearRecords();
        platform().setLogLevel(2);
        MC_Acknowledge const record = ack(5, 0);
        EXPECT_CALL(client, ackEvent(&channel, Ref(record)));
        acknowledge(record, GetParam(), channelDirection);
        EXPECT_THAT(traces(), ElementsAre(ackTrace("5", "0")));
        EXPECT_EQ(description(channel), before);
    }
}

TEST_P(MC_ManagerOtherAck, LearnsNoPort) {
    MC_Channel& channel = running();
    EXPECT_CALL(client, ackEvent(&channel, _));
    acknowledge(ack(0, 6000), GetParam());
    EXPECT_EQ(channel.rtpLocal.GetPort(), 5004);
    EXPECT_EQ(channel.rtcpLocal.GetPort(), 5005);
}

TEST_F(MC_ManagerEvent, AckOfAnUnknownChannelTellsTheClientOfAnErrorWithoutChannel) {
    running(2);
    platform().setLogLevel(2);
    EXPECT_CALL(client, ackErrorEvent(nullptr, _));
    EXPECT_NO_THROW(acknowledge(ack(0, 6000)));
    EXPECT_THAT(traces(), ElementsAre(ackErrorTrace("?")));
}

TEST_F(MC_ManagerEvent, AckWithoutAClientIsTracedWithTheChannelAndReturns) {
    MC_Channel& channel = running();
    manager->unregistration(&client);
    platform().setLogLevel(2);
    EXPECT_NO_THROW(acknowledge(ack(0, 6000)));
    EXPECT_THAT(traces(), ElementsAre(ackErrorTrace("2F")));
    EXPECT_EQ(channel.rtpLocal.GetPort(), 5004);
}

TEST_F(MC_ManagerEvent, AckWithoutAClientAndOfAnUnknownChannelIsTracedAndReturns) {
    manager->unregistration(&client);
    platform().setLogLevel(2);
    EXPECT_NO_THROW(acknowledge(ack(0, 6000)));
    EXPECT_THAT(traces(), ElementsAre(ackErrorTrace("?")));
}

// The reaction catches these itself; only a debugger shows their texts.
TEST_F(MC_ManagerEvent, AckThatFailsThrowsItsReason) {
    running();
    EXPECT_CALL(client, ackErrorEvent).Times(2);
    forgetThrownTexts();
    acknowledge(ack(3, 0));
    acknowledge(ack(0, 6000, 4));
    manager->unregistration(&client);
    acknowledge(ack(0, 6000));
    EXPECT_THAT(thrownTexts(),
                ElementsAre(withNul("openFaxAck error=3"),
                            withNul("Unable to found 'INCOMING channel' with dsp(4)"),
                            "MC_Manager::faxToneEvent pObserver(NULL)"));
}

template <typename Exception>
void expectAnsweredWithAnError(StrictMock<Client>& client, MC_Channel& channel,
                               Exception exception) {
    InSequence const inOrder;
    EXPECT_CALL(client, ackEvent(&channel, _)).WillOnce(Throw(exception));
    EXPECT_CALL(client, ackErrorEvent(&channel, _));
}

TEST_F(MC_ManagerEvent, AckWhoseCallbackThrowsAnyStdExceptionIsAnsweredWithAnError) {
    MC_Channel& channel = running();
    platform().setLogLevel(2);
    expectAnsweredWithAnError(client, channel, std::runtime_error("client"));
    EXPECT_NO_THROW(acknowledge(ack(0, 6000)));
    expectAnsweredWithAnError(client, channel, std::invalid_argument("client"));
    EXPECT_NO_THROW(acknowledge(ack(0, 6000)));
    expectAnsweredWithAnError(client, channel, std::exception());
    EXPECT_NO_THROW(acknowledge(ack(0, 6000)));
    EXPECT_THAT(traces(),
                ElementsAre(ackTrace("0", "6000"), ackErrorTrace("2F"), ackTrace("0", "6000"),
                            ackErrorTrace("2F"), ackTrace("0", "6000"), ackErrorTrace("2F")));
    EXPECT_EQ(channel.rtpLocal.GetPort(), 6000);
    EXPECT_THAT(errors(), IsEmpty());
}

// A client may change what it registered while it is called.
TEST_F(MC_ManagerEvent, AckErrorGoesToTheClientThatIsRegisteredThen) {
    MC_Channel& channel = running();
    StrictMock<Client> second;
    EXPECT_CALL(client, ackEvent(&channel, _)).WillOnce([&](MC_Channel*, auto const&) {
        manager->registration(&second);
        throw std::runtime_error("client");
    });
    EXPECT_CALL(second, ackErrorEvent(&channel, _));
    acknowledge(ack(0, 6000));
}

// Alerts

TEST_F(MC_ManagerEvent, AlertDoesNothingWithAndWithoutAChannel) {
    MC_Channel& channel = running();
    std::string const before = description(channel);
    platform().clearRecords();
    platform().setLogLevel(3);
    for (int const dsp : {3, 4}) {
        for (int const eventDirection : {1, 2}) {
            MC_Alert const alert(recording::message(
                110, 8, 0xFA, {static_cast<unsigned char>(dsp), 0, 0, 0, 1, 2, 3, 4}));
            manager->alertEvent(AlertEvent, direction(eventDirection), alert);
        }
    }
    EXPECT_EQ(platform().deliver(recording::message(110, 8, 0xFA, {3})), 1U);
    EXPECT_EQ(platform().deliver(recording::message(112, 8, 0xFA, {3})), 1U);
    EXPECT_THAT(platform().journal(), IsEmpty());
    EXPECT_EQ(description(channel), before);
}

// Exceptions that may not leave. The expectations stand in the dying process only.

TEST_F(MC_ManagerEventSpecificationDeathTest, FaxToneWhoseCallbackThrowsAnIntEndsTheProcess) {
    running();
    EXPECT_DEATH(watchingForUnexpected([this] {
                     EXPECT_CALL(client, faxToneEvent).WillOnce(Throw(7));
                     tone();
                 }),
                 ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest,
       FaxToneWhoseCallbackThrowsAnInvalidArgumentEndsTheProcess) {
    running();
    EXPECT_DEATH(
        watchingForUnexpected([this] {
            EXPECT_CALL(client, faxToneEvent).WillOnce(Throw(std::invalid_argument("client")));
            tone();
        }),
        ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest, DtmfWhoseCallbackThrowsAnIntEndsTheProcess) {
    running();
    EXPECT_DEATH(watchingForUnexpected([this] {
                     EXPECT_CALL(client, dtmfEvent).WillOnce(Throw(7));
                     digit();
                 }),
                 ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest,
       DtmfWhoseCallbackThrowsAnInvalidArgumentEndsTheProcessOverImcToo) {
    running();
    EXPECT_DEATH(
        watchingForUnexpected([this] {
            EXPECT_CALL(client, dtmfEvent).WillOnce(Throw(std::invalid_argument("client")));
            platform().deliver(recording::message(114, 4, 0xFA, {3, 5, 0, 0x50}));
        }),
        ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest, AckWhoseCallbackThrowsAnIntEndsTheProcess) {
    running();
    EXPECT_DEATH(watchingForUnexpected([this] {
                     EXPECT_CALL(client, ackEvent).WillOnce(Throw(7));
                     acknowledge(ack(0, 6000));
                 }),
                 ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest, AckErrorCallbackThatThrowsAnIntEndsTheProcess) {
    EXPECT_DEATH(watchingForUnexpected([this] {
                     EXPECT_CALL(client, ackErrorEvent).WillOnce(Throw(7));
                     acknowledge(ack(0, 0));
                 }),
                 ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest,
       AckErrorCallbackThatThrowsAnInvalidArgumentEndsTheProcess) {
    EXPECT_DEATH(
        watchingForUnexpected([this] {
            EXPECT_CALL(client, ackErrorEvent).WillOnce(Throw(std::invalid_argument("client")));
            acknowledge(ack(0, 0));
        }),
        ranUnexpected());
}

TEST_F(MC_ManagerEventSpecificationDeathTest,
       AckErrorCallbackThatThrowsARuntimeErrorEndsTheProcess) {
    EXPECT_DEATH(
        watchingForUnexpected([this] {
            EXPECT_CALL(client, ackErrorEvent).WillOnce(Throw(std::runtime_error("client")));
            acknowledge(ack(0, 0));
        }),
        ranUnexpected());
}

} // namespace
