#include "tests/unit/MC_ManagerFixture.h"

#include <initializer_list>
#include <ostream>
#include <string>

// Every event, from its bytes on the bus to what the client gets.

namespace {

using namespace mctest;
using testing::_;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::StrictMock;

class EventBytes : public ManagerTest {
protected:
    EventBytes() {
        manager->registration(&client);
        // Neighbours in every respect: another board, DSP and direction.
        for (int const channelDirection : {1, 2}) {
            for (int const sid : {0x7A, 0xFA}) {
                for (int const dsp : {4, 200}) {
                    MC_Channel& channel = listedChannel(channelDirection);
                    channel.dsp = static_cast<std::uint8_t>(dsp);
                    channel.sid = static_cast<std::uint8_t>(sid);
                    channel.state = MC_Channel::Voice_Open;
                }
            }
        }
        platform().clearRecords();
    }

    MC_Channel* listed(int channelDirection, int sid, int dsp) {
        for (auto* const pChannel : channels()) {
            if (pChannel->direction == channelDirection && pChannel->sid == sid &&
                pChannel->dsp == dsp) {
                return pChannel;
            }
        }
        ADD_FAILURE() << "no such channel";
        return nullptr;
    }

    static void deliver(std::initializer_list<unsigned char> header,
                        std::initializer_list<unsigned char> payload) {
        EXPECT_EQ(platform().deliver(recording::message(record(header, payload))), 1U);
    }

    StrictMock<Client> client;
};

/** An identifier on the bus, and the event and direction that it stands for. */
struct Identified {
    unsigned char messageId;
    int direction;
    char const* name;
};

std::ostream& operator<<(std::ostream& out, Identified const& identified) {
    return out << identified.name;
}

// Acknowledgements: DSP, error, local port

class AckBytes : public EventBytes, public testing::WithParamInterface<Identified> {};

INSTANTIATE_TEST_SUITE_P(
    Identifiers, AckBytes,
    testing::Values(Identified{101, 1, "open_voice_in"}, Identified{105, 2, "open_voice_out"},
                    Identified{103, 1, "close_voice_in"}, Identified{107, 2, "close_voice_out"},
                    Identified{116, 1, "open_fax_in"}, Identified{120, 2, "open_fax_out"},
                    Identified{118, 1, "close_fax_in"}, Identified{122, 2, "close_fax_out"}),
    NameOf());

TEST_P(AckBytes, ReachTheClientWithErrorAndPort) {
    MC_Channel* const pChannel = listed(GetParam().direction, 0xFA, 200);
    EXPECT_CALL(client, ackEvent(pChannel, AllOf(Field(&MC_Acknowledge::dsp, 200U),
                                                 Field(&MC_Acknowledge::sid, 0xFA),
                                                 Field(&MC_Acknowledge::error, 0xFEU),
                                                 Field(&MC_Acknowledge::localPort, 0x1388))));
    platform().setLogLevel(2);
    deliver({0, 0xFA, 0, 0, 0, 4, 0, 0, 0, 0, 0, GetParam().messageId}, {200, 0xFE, 0x13, 0x88});
    EXPECT_THAT(traces(), ElementsAre(trace("EVT : Ack Event for channel(2F)\n\terror=254\n"
                                            "\tlocal_port=5000\n",
                                            1331)));

    // Only the opening of a fax path of direction 1 teaches the channel its ports.
    bool const learns = GetParam().messageId == 116;
    EXPECT_EQ(pChannel->rtpLocal.GetPort(), learns ? 5000 : 5004);
    EXPECT_EQ(pChannel->rtcpLocal.GetPort(), learns ? 5001 : 5005);
    EXPECT_EQ(pChannel->state, MC_Channel::Voice_Open);
}

TEST_P(AckBytes, WithErrorAndWithoutPortFailOnlyWhereAFaxOpens) {
    MC_Channel* const pChannel = listed(GetParam().direction, 0x7A, 4);
    if (GetParam().messageId == 116 || GetParam().messageId == 120) {
        EXPECT_CALL(client, ackErrorEvent(pChannel, _));
    } else {
        EXPECT_CALL(client, ackEvent(pChannel, AllOf(Field(&MC_Acknowledge::dsp, 4U),
                                                     Field(&MC_Acknowledge::sid, 0x7A),
                                                     Field(&MC_Acknowledge::error, 1U),
                                                     Field(&MC_Acknowledge::localPort, 0))));
    }
    deliver({0, 0x7A, 0, 0, 0, 4, 0, 0, 0, 0, 0, GetParam().messageId}, {4, 1, 0, 0});
}

TEST_P(AckBytes, OfAnUnknownChannelReachTheClientAsAnError) {
    EXPECT_CALL(client, ackErrorEvent(nullptr, _));
    deliver({0, 0xFA, 0, 0, 0, 4, 0, 0, 0, 0, 0, GetParam().messageId}, {5, 0, 0x13, 0x88});
}

// DTMF digits: DSP, digit, duration

class DtmfBytes : public EventBytes, public testing::WithParamInterface<Identified> {};

INSTANTIATE_TEST_SUITE_P(Identifiers, DtmfBytes,
                         testing::Values(Identified{114, 1, "in"}, Identified{113, 2, "out"}),
                         NameOf());

TEST_P(DtmfBytes, ReachTheClientWithDigitAndDuration) {
    MC_Channel* const pChannel = listed(GetParam().direction, 0xFA, 4);
    EXPECT_CALL(client,
                dtmfEvent(pChannel, AllOf(Field(&MC_Dtmf::dsp, 4U), Field(&MC_Dtmf::sid, 0xFA),
                                          Field(&MC_Dtmf::digit, 0x80U),
                                          Field(&MC_Dtmf::duration, 0xFF01U))));
    platform().setLogLevel(2);
    deliver({0, 0xFA, 0, 0, 0, 4, 0, 0, 0, 0, 0, GetParam().messageId}, {4, 0x80, 0xFF, 0x01});
    std::string const name = GetParam().direction == 1 ? "INCOMING" : "OUTGOING";
    EXPECT_THAT(traces(), ElementsAre(trace("EVT : DTMF Event(" + name +
                                                ") for channel(2F) : digit 128 during 65281 ms.\n",
                                            1244)));
}

// Fax tones: DSP

TEST_F(EventBytes, FaxToneReachesTheClientForDirection1) {
    MC_Channel* const pChannel = listed(1, 0xFA, 200);
    EXPECT_CALL(client, faxToneEvent(pChannel, AllOf(Field(&MC_FaxTone::dsp, 200U),
                                                     Field(&MC_FaxTone::sid, 0xFA))));
    deliver({0, 0xFA, 0, 0, 0, 1, 0, 0, 0, 0, 0, 123}, {200});
    for (auto const* const pOther : channels()) {
        EXPECT_EQ(pOther->state,
                  pOther == pChannel ? MC_Channel::Fax_Detected : MC_Channel::Voice_Open);
    }
}

// Alerts: DSP, three bytes that nobody reads, alert

class AlertBytes : public EventBytes, public testing::WithParamInterface<Identified> {};

INSTANTIATE_TEST_SUITE_P(Identifiers, AlertBytes,
                         testing::Values(Identified{110, 1, "in"}, Identified{112, 2, "out"}),
                         NameOf());

TEST_P(AlertBytes, AreTakenAndPassedToNobody) {
    platform().setLogLevel(3);
    deliver({0, 0xFA, 0, 0, 0, 8, 0, 0, 0, 0, 0, GetParam().messageId},
            {200, 1, 2, 3, 0xDE, 0xAD, 0xBE, 0xEF});
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_P(AlertBytes, OfAWrongSizeAreReported) {
    platform().setLogLevel(3);
    deliver({0, 0xFA, 0, 0, 0, 7, 0, 0, 0, 0, 0, GetParam().messageId}, {200});
    ASSERT_EQ(traces().size(), 1U);
    EXPECT_EQ(traces()[0].text, withNul("MC - OBS - EVT : Alert event ignored (wrong msg size)"));
}

// What the bytes around the fields hold does not matter.

TEST_F(EventBytes, OtherHeaderBytesAndWhatStandsBehindThePayloadAreNotRead) {
    MC_Channel* const pChannel = listed(1, 0x7A, 200);
    EXPECT_CALL(client,
                dtmfEvent(pChannel, AllOf(Field(&MC_Dtmf::dsp, 200U), Field(&MC_Dtmf::digit, 9U),
                                          Field(&MC_Dtmf::duration, 0x0102U))));
    deliver({0xFF, 0x7A, 0xFF, 0xFF, 0, 4, 0xFF, 0xFF, 0, 0, 0, 114},
            {200, 9, 1, 2, 0xFF, 0xFF, 0xFF, 0xFF});
}

TEST_F(EventBytes, IdentifiersAreReadWhole) {
    for (auto const& high : {record({0, 0xFA, 0, 0, 0, 4, 0, 0, 0, 0, 1, 114}, {200, 9, 1, 2}),
                             record({0, 0xFA, 0, 0, 0, 4, 0, 0, 1, 0, 0, 114}, {200, 9, 1, 2})}) {
        EXPECT_EQ(platform().deliver(recording::message(high)), 0U);
    }
}

} // namespace
