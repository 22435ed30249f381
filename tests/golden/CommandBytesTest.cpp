#include "tests/unit/MC_ManagerFixture.h"

#include <initializer_list>

// Every command against its 1036 bytes. What is not typed is 0.

namespace {

using namespace mctest;

class CommandBytes : public ManagerTest {
protected:
    void expectPosted(std::initializer_list<unsigned char> header,
                      std::initializer_list<unsigned char> payload) {
        ASSERT_EQ(platform().posted().size(), 1U);
        EXPECT_THAT(platform().posted()[0], IsRecord(record(header, payload)));
        platform().clearRecords();
    }

    void openVoice() { Access::openVoice(*manager, &channel); }
    void updateVoice() { Access::updateVoice(*manager, &channel); }
    void closeVoice() { Access::closeVoice(*manager, &channel); }
    void setSilenceSuppressionActive() { Access::setSilenceSuppressionActive(*manager, &channel); }
    void setDigitDetection() { Access::setDigitDetection(*manager, &channel); }
    void setPacketLength() { Access::setPacketLength(*manager, &channel); }
    void setFaxDetectionActive() { Access::setFaxDetectionActive(*manager, &channel); }
    void openFax() { Access::openFax(*manager, &channel); }
    void closeFax() { Access::closeFax(*manager, &channel); }

    /** Every field that a command can carry at its largest value. */
    void fillToTheLimit() {
        channel.dsp = 0xFF;
        channel.sid = 0xFF;
        channel.codec = 5;
        set(channel.rtpRemote, "255.255.255.255", 65535);
        set(channel.rtpLocal, "255.255.255.255", 65535);
        set(channel.rtcpRemote, "255.255.255.255", 65535);
        set(channel.rtcpLocal, "255.255.255.255", 65535);
        channel.rtpDtmfPayloadType = 0xFF;
        channel.rtpRedundancyPayloadType = 0xFF;
        channel.inboundVoiceParam1 = 0xFF;
        channel.inboundVoiceParam2 = 0xFF;
        channel.faxDepth = 0xFF;
        channel.faxRedundancy = 0xFF;
        channel.sendNoSignal = 0xFF;
        channel.sendCed = true;
        channel.vad = true;
        channel.joinDsp = 0xFF;
        config().rtpTickRequest = 0xFF;
    }

    /** No address, no port, no payload type, DSP 0 of board 0. */
    void empty() {
        channel.dsp = 0;
        channel.sid = 0;
        channel.rtpRemote.Set(nullptr, 0);
        channel.rtpLocal.Set(nullptr, 0);
        channel.rtcpRemote.Set(nullptr, 0);
        channel.rtcpLocal.Set(nullptr, 0);
    }

    /** Every field different from every other, so that two that change places are seen. */
    void fill() {
        channel.dsp = 0x11;
        channel.sid = 0x80;
        channel.codec = 3;
        set(channel.rtpRemote, "1.2.3.4", 0x0506);
        set(channel.rtpLocal, "33.34.35.36", 0x0708);
        set(channel.rtcpRemote, "37.38.39.40", 0x090A);
        set(channel.rtcpLocal, "41.42.43.44", 0x2D2E);
        channel.rtpDtmfPayloadType = 0x0B;
        channel.rtpRedundancyPayloadType = 0x0C;
        channel.inboundVoiceParam1 = 0x0D;
        channel.inboundVoiceParam2 = 0x0E;
        config().rtpTickRequest = 0x0F;
    }

    MC_Channel& channel = listedChannel();
};

// Open voice: 100 for direction 1, 104 for direction 2

TEST_F(CommandBytes, OpenVoiceIn) {
    fill();
    openVoice();
    expectPosted({0, 0, 0x80, 0,          // destination
                  0, 36, 0, 0,            // length
                  0, 0, 0, 100},          // identifier
                 {0x11,                   // DSP
                  3,                      // codec type
                  17,                     // fax protocol: UDP
                  0,                      //
                  0,    0,    0,    0,    // remote RTP address, IPv4-mapped IPv6
                  0,    0,    0,    0,    //
                  0,    0,    0xFF, 0xFF, //
                  1,    2,    3,    4,    //
                  0x05, 0x06,             // remote RTP port
                  0x07, 0x08,             // local RTP port
                  0x09, 0x0A,             // remote RTCP port
                  0x0F,                   // RTP tick request
                  0,    0,    0,          //
                  0x0E,                   // second inbound voice parameter
                  0x0D,                   // first inbound voice parameter
                  0x0B,                   // DTMF payload type
                  0x0C,                   // redundancy payload type
                  0,    0});
}

TEST_F(CommandBytes, OpenVoiceOut) {
    fill();
    channel.direction = VCOM_DIRECTION_OUT;
    openVoice();
    expectPosted({0, 0, 0x80, 0,                // destination
                  0, 36, 0, 0,                  // length
                  0, 0, 0, 104},                // identifier
                 {0x11,                         // DSP
                  3,                            // codec type
                  17,                           // fax protocol: UDP
                  0,                            //
                  0,    0,    0,    0,          // remote RTP address, IPv4-mapped IPv6
                  0,    0,    0,    0,          //
                  0,    0,    0xFF, 0xFF,       //
                  1,    2,    3,    4,          //
                  0x05, 0x06,                   // remote RTP port
                  0x07, 0x08,                   // local RTP port
                  0x09, 0x0A,                   // remote RTCP port
                  0,    0,    0,    0,    0, 0, // only in direction 1
                  0x0B,                         // DTMF payload type
                  0x0C,                         // redundancy payload type
                  0,    0});
}

TEST_F(CommandBytes, OpenVoiceInAtTheLimit) {
    fillToTheLimit();
    config().faxProtocol = VCOM_FAXTRANSPORT_TCP;
    openVoice();
    expectPosted({0, 0, 0xFF, 0, 0, 36, 0, 0, 0, 0, 0, 100},
                 {0xFF,                                              // DSP
                  4,                                                 // codec type
                  6,                                                 // fax protocol: TCP
                  0,    0,    0,    0,    0,    0,    0, 0, 0, 0, 0, // remote RTP address
                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,                //
                  0xFF, 0xFF,                                        // remote RTP port
                  0xFF, 0xFF,                                        // local RTP port
                  0xFF, 0xFF,                                        // remote RTCP port
                  0xFF,                                              // RTP tick request
                  0,    0,    0,                                     //
                  0xFF, 0xFF,                                        // inbound voice parameters
                  0xFF, 0xFF,                                        // payload types
                  0,    0});
}

TEST_F(CommandBytes, OpenVoiceOutAtTheLimit) {
    fillToTheLimit();
    channel.direction = VCOM_DIRECTION_OUT;
    config().faxProtocol = VCOM_FAXTRANSPORT_TCP;
    openVoice();
    expectPosted({0, 0, 0xFF, 0, 0, 36, 0, 0, 0, 0, 0, 104},
                 {0xFF, 4,    6,    0,                            // DSP, codec type, fax protocol
                  0,    0,    0,    0,    0,    0,    0, 0, 0, 0, // remote RTP address
                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             //
                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             // ports
                  0,    0,    0,    0,    0,    0,                // only in direction 1
                  0xFF, 0xFF,                                     // payload types
                  0,    0});
}

TEST_F(CommandBytes, OpenVoiceInOfNothing) {
    empty();
    openVoice();
    expectPosted({0, 0, 0, 0, 0, 36, 0, 0, 0, 0, 0, 100}, {0, 0, 17});
}

TEST_F(CommandBytes, OpenVoiceOutOfNothing) {
    empty();
    channel.direction = VCOM_DIRECTION_OUT;
    openVoice();
    expectPosted({0, 0, 0, 0, 0, 36, 0, 0, 0, 0, 0, 104}, {0, 0, 17});
}

TEST_F(CommandBytes, OpenVoiceToAnAddressOfAnotherFamily) {
    recording::OtherAddress const address(
        "2001:db8::1", {{0x20, 0x01, 0x0D, 0xB8, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xFE}});
    channel.rtpRemote.Set(&address, 0x8000);
    openVoice();
    expectPosted({0, 0, 0xFA, 0, 0, 36, 0, 0, 0, 0, 0, 100},
                 {3,    0,    17,   0,                      //
                  0x20, 0x01, 0x0D, 0xB8, 4,  5,  6,  7,    // remote RTP address
                  8,    9,    10,   11,   12, 13, 14, 0xFE, //
                  0x80, 0x00,                               // remote RTP port
                  0x13, 0x8C,                               // local RTP port: 5004
                  0x17, 0x75});                             // remote RTCP port: 6005
}

// Update voice: 132 for direction 1, 133 for direction 2, otherwise the same

TEST_F(CommandBytes, UpdateVoiceIn) {
    fill();
    updateVoice();
    expectPosted({0, 0, 0x80, 0,          // destination
                  0, 28, 0, 0,            // length
                  0, 0, 0, 132},          // identifier
                 {0x11,                   // DSP
                  0,    0,    0,          //
                  0,    0,    0,    0,    // remote RTP address, IPv4-mapped IPv6
                  0,    0,    0,    0,    //
                  0,    0,    0xFF, 0xFF, //
                  1,    2,    3,    4,    //
                  0x05, 0x06,             // remote RTP port
                  0x07, 0x08,             // local RTP port
                  0x09, 0x0A,             // remote RTCP port
                  0x0B,                   // DTMF payload type
                  0x0C});                 // redundancy payload type
}

TEST_F(CommandBytes, UpdateVoiceOut) {
    fill();
    channel.direction = VCOM_DIRECTION_OUT;
    updateVoice();
    expectPosted({0, 0, 0x80, 0, 0, 28, 0, 0, 0, 0, 0, 133},
                 {0x11, 0,    0,    0, // DSP
                  0,    0,    0,    0,    0,    0,    0, 0,
                  0,    0,    0xFF, 0xFF, 1,    2,    3, 4, // remote RTP address
                  0x05, 0x06, 0x07, 0x08, 0x09, 0x0A,       // ports
                  0x0B, 0x0C});                             // payload types
}

TEST_F(CommandBytes, UpdateVoiceAtTheLimit) {
    fillToTheLimit();
    updateVoice();
    expectPosted({0, 0, 0xFF, 0, 0, 28, 0, 0, 0, 0, 0, 132},
                 {0xFF, 0,    0,    0,                            // DSP
                  0,    0,    0,    0,    0,    0,    0, 0, 0, 0, // remote RTP address
                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             //
                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,             // ports
                  0xFF, 0xFF});                                   // payload types
}

TEST_F(CommandBytes, UpdateVoiceOfNothing) {
    empty();
    channel.direction = VCOM_DIRECTION_OUT;
    updateVoice();
    expectPosted({0, 0, 0, 0, 0, 28, 0, 0, 0, 0, 0, 133}, {0});
}

// Close voice: 102 for direction 1, 106 for direction 2

TEST_F(CommandBytes, CloseVoiceIn) {
    fill();
    closeVoice();
    expectPosted({0, 0, 0x80, 0, 0, 1, 0, 0, 0, 0, 0, 102}, {0x11});
}

TEST_F(CommandBytes, CloseVoiceOut) {
    fill();
    channel.direction = VCOM_DIRECTION_OUT;
    closeVoice();
    expectPosted({0, 0, 0x80, 0, 0, 1, 0, 0, 0, 0, 0, 106}, {0x11});
}

TEST_F(CommandBytes, CloseVoiceAtTheLimitAndOfNothing) {
    fillToTheLimit();
    closeVoice();
    expectPosted({0, 0, 0xFF, 0, 0, 1, 0, 0, 0, 0, 0, 102}, {0xFF});
    empty();
    closeVoice();
    expectPosted({0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 102}, {0});
}

// Set parameter: 108 for every direction; DSP, code, 4 bytes of value

TEST_F(CommandBytes, SetSilenceCompression) {
    fill();
    for (int const channelDirection : {0, 1, 2}) {
        channel.direction = direction(channelDirection);
        channel.vad = true;
        setSilenceSuppressionActive();
        expectPosted({0, 0, 0x80, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0x11, 2, 1, 0, 0, 0});
        channel.vad = false;
        setSilenceSuppressionActive();
        expectPosted({0, 0, 0x80, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0x11, 2, 0, 0, 0, 0});
    }
}

TEST_F(CommandBytes, SetDigitDetection) {
    fillToTheLimit();
    for (int const channelDirection : {0, 1, 2}) {
        channel.direction = direction(channelDirection);
        channel.rtpDtmfPayloadType = 0xFF;
        setDigitDetection();
        expectPosted({0, 0, 0xFF, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0xFF, 3, 2, 0, 0, 0});
        channel.rtpDtmfPayloadType = 0;
        setDigitDetection();
        expectPosted({0, 0, 0xFF, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0xFF, 3, 0, 0, 0, 0});
    }
}

struct PacketLength {
    int codec;
    int min;
    int max;
    unsigned char bytes[4];
};

std::ostream& operator<<(std::ostream& out, PacketLength const& length) {
    return out << "codec " << length.codec << ", " << length.min << " to " << length.max << " ms";
}

class PacketLengthBytes : public CommandBytes, public testing::WithParamInterface<PacketLength> {};

INSTANTIATE_TEST_SUITE_P(Framings, PacketLengthBytes,
                         testing::Values(PacketLength{1, 10, 10, {0x00, 0x50, 0x00, 0x50}},
                                         PacketLength{1, 20, 30, {0x00, 0xA0, 0x00, 0xF0}},
                                         PacketLength{1, 40, 50, {0x01, 0x40, 0x01, 0x90}},
                                         PacketLength{1, 60, 70, {0x01, 0xE0, 0x02, 0x30}},
                                         PacketLength{2, 80, 90, {0x02, 0x80, 0x02, 0xD0}},
                                         PacketLength{2, 100, 110, {0x03, 0x20, 0x03, 0x70}},
                                         PacketLength{2, 120, 130, {0x03, 0xC0, 0x04, 0x10}},
                                         PacketLength{2, 140, 150, {0x04, 0x60, 0x04, 0xB0}},
                                         PacketLength{3, 30, 150, {0x00, 0x01, 0x00, 0x05}},
                                         PacketLength{4, 10, 150, {0x00, 0x01, 0x00, 0x0F}},
                                         PacketLength{5, 110, 20, {0x00, 0x0B, 0x00, 0x02}}),
                         [](testing::TestParamInfo<PacketLength> const& parameter) {
                             return "codec" + std::to_string(parameter.param.codec) + "_" +
                                    std::to_string(parameter.param.min) + "_to_" +
                                    std::to_string(parameter.param.max) + "ms";
                         });

TEST_P(PacketLengthBytes, SetPacketLength) {
    auto const& expected = GetParam();
    channel.codec = expected.codec;
    channel.minFraming = static_cast<VCOM_Framing>(expected.min);
    channel.maxFraming = static_cast<VCOM_Framing>(expected.max);
    for (int const channelDirection : {0, 1, 2}) {
        channel.direction = direction(channelDirection);
        setPacketLength();
        expectPosted(
            {0, 0, 0xFA, 0, 0, 6, 0, 0, 0, 0, 0, 108},
            {3, 4, expected.bytes[0], expected.bytes[1], expected.bytes[2], expected.bytes[3]});
    }
}

TEST_F(CommandBytes, SetFaxDetection) {
    fill();
    for (int const channelDirection : {0, 1, 2}) {
        channel.direction = direction(channelDirection);
        for (bool const calledSide : {false, true}) {
            channel.calledSide = calledSide;
            config().faxProtocolSet = false;
            setFaxDetectionActive();
            expectPosted({0, 0, 0x80, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0x11, 5, 0, 0, 0, 0});
        }
        config().faxProtocolSet = true;
        channel.calledSide = true;
        setFaxDetectionActive();
        expectPosted({0, 0, 0x80, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0x11, 5, 2, 0, 0, 0});
        channel.calledSide = false;
        setFaxDetectionActive();
        expectPosted({0, 0, 0x80, 0, 0, 6, 0, 0, 0, 0, 0, 108}, {0x11, 5, 3, 0, 0, 0});
    }
}

// Open fax: 115 for direction 1, 119 for direction 2

TEST_F(CommandBytes, OpenFaxIn) {
    fill();
    channel.faxDepth = 0x21;
    channel.faxRedundancy = 0x22;
    channel.sendNoSignal = 1;
    channel.sendCed = true;
    openFax();
    expectPosted({0, 0, 0x80, 0, 0, 12, 0, 0, 0, 0, 0, 115}, {0x11, 17});
}

TEST_F(CommandBytes, OpenFaxInOverTcpAtTheLimit) {
    fillToTheLimit();
    config().faxProtocol = VCOM_FAXTRANSPORT_TCP;
    openFax();
    expectPosted({0, 0, 0xFF, 0, 0, 12, 0, 0, 0, 0, 0, 115}, {0xFF, 6});
}

TEST_F(CommandBytes, OpenFaxOut) {
    fill();
    channel.direction = VCOM_DIRECTION_OUT;
    channel.faxDepth = 0x21;
    channel.faxRedundancy = 0x22;
    channel.sendNoSignal = 1;
    channel.sendCed = true;
    openFax();
    expectPosted({0, 0, 0x80, 0, 0, 12, 0, 0, 0, 0, 0, 119},
                 {0x11,       // DSP
                  17,         // fax protocol: UDP
                  0x21,       // depth
                  0x22,       // redundancy
                  1, 2, 3, 4, // remote RTP address
                  0x05, 0x06, // remote RTP port
                  1,          // no-signal
                  1});        // CED
}

TEST_F(CommandBytes, OpenFaxOutOverTheChannelsTcpAtTheLimit) {
    fillToTheLimit();
    channel.direction = VCOM_DIRECTION_OUT;
    channel.faxTransport = VCOM_FAXTRANSPORT_TCP;
    openFax();
    expectPosted({0, 0, 0xFF, 0, 0, 12, 0, 0, 0, 0, 0, 119},
                 {0xFF, 6, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1});
}

TEST_F(CommandBytes, OpenFaxOutOfZeros) {
    empty();
    channel.direction = VCOM_DIRECTION_OUT;
    set(channel.rtpRemote, "0.0.0.0", 0);
    channel.faxDepth = 0;
    channel.faxRedundancy = 0;
    openFax();
    expectPosted({0, 0, 0, 0, 0, 12, 0, 0, 0, 0, 0, 119}, {0, 17});
}

TEST_F(CommandBytes, OpenFaxOutWithCngOfBothSidesAndLargeNumbers) {
    channel.direction = VCOM_DIRECTION_OUT;
    channel.faxDepth = 300;
    channel.faxRedundancy = -2;
    channel.sendNoSignal = 2;
    set(channel.rtpRemote, "128.0.0.1", 0x8001);
    openFax();
    expectPosted({0, 0, 0xFA, 0, 0, 12, 0, 0, 0, 0, 0, 119},
                 {3, 17, 44, 0xFE, 128, 0, 0, 1, 0x80, 0x01, 2, 0});
    channel.calledSide = true;
    openFax();
    expectPosted({0, 0, 0xFA, 0, 0, 12, 0, 0, 0, 0, 0, 119},
                 {3, 17, 44, 0xFE, 128, 0, 0, 1, 0x80, 0x01, 0, 0});
}

// Close fax: 117 for direction 1, 121 for direction 2

TEST_F(CommandBytes, CloseFaxIn) {
    fill();
    closeFax();
    expectPosted({0, 0, 0x80, 0, 0, 1, 0, 0, 0, 0, 0, 117}, {0x11});
}

TEST_F(CommandBytes, CloseFaxOut) {
    fillToTheLimit();
    channel.direction = VCOM_DIRECTION_OUT;
    closeFax();
    expectPosted({0, 0, 0xFF, 0, 0, 1, 0, 0, 0, 0, 0, 121}, {0xFF});
}

// Join 124 and unjoin 125

class JoinBytes : public CommandBytes {
protected:
    void joinTo(INetAddress const& address, std::uint8_t dsp) {
        delete channel.joinIp;
        channel.joinIp = address.Clone();
        channel.joinDsp = dsp;
        platform().clearRecords();
        manager->joinChannel(&channel);
    }
};

TEST_F(JoinBytes, JoinToAnotherBoard) {
    fill();
    for (int const channelDirection : {0, 1, 2}) {
        channel.direction = direction(channelDirection);
        joinTo(IPAddress("33.34.35.37"), 0x31);
        expectPosted({0, 0, 0x80, 0,    // destination
                      0, 20, 0, 0,      // length
                      0, 0, 0, 124},    // identifier
                     {0x11,             // DSP
                      0x31,             // DSP to join
                      1,                // on another board
                      0,                //
                      0,    0, 0,    0, // its address, IPv4-mapped IPv6
                      0,    0, 0,    0, //
                      0,    0, 0xFF, 0xFF, 33, 34, 35, 37});
    }
}

TEST_F(JoinBytes, JoinOnTheSameBoard) {
    fill();
    joinTo(IPAddress("33.34.35.36"), 0x31);
    expectPosted({0, 0, 0x80, 0, 0, 20, 0, 0, 0, 0, 0, 124},
                 {0x11, 0x31, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 33, 34, 35, 36});
}

TEST_F(JoinBytes, JoinAtTheLimit) {
    fillToTheLimit();
    joinTo(IPAddress("255.255.255.254"), 0xFF);
    expectPosted(
        {0, 0, 0xFF, 0, 0, 20, 0, 0, 0, 0, 0, 124},
        {0xFF, 0xFF, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE});
}

TEST_F(JoinBytes, JoinWithoutALocalAddressToAnotherFamily) {
    empty();
    recording::OtherAddress const address(
        "2001:db8::1", {{0x20, 0x01, 0x0D, 0xB8, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xFE}});
    joinTo(address, 0);
    expectPosted({0, 0, 0, 0, 0, 20, 0, 0, 0, 0, 0, 124},
                 {0, 0, 1, 0, 0x20, 0x01, 0x0D, 0xB8, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xFE});
}

TEST_F(JoinBytes, Unjoin) {
    fill();
    for (int const channelDirection : {0, 1, 2}) {
        channel.direction = direction(channelDirection);
        manager->unjoinChannel(&channel);
        expectPosted({0, 0, 0x80, 0, 0, 1, 0, 0, 0, 0, 0, 125}, {0x11});
    }
}

TEST_F(JoinBytes, UnjoinAtTheLimitIgnoresTheJoinedAddress) {
    fillToTheLimit();
    channel.joinIp = IPAddress("1.2.3.4").Clone();
    platform().clearRecords();
    manager->unjoinChannel(&channel);
    expectPosted({0, 0, 0xFF, 0, 0, 1, 0, 0, 0, 0, 0, 125}, {0xFF});
}

} // namespace
