#include "Records.h"

#include <gtest/gtest.h>

namespace dsp {
namespace {

TEST(Describe, EveryCommandWithItsFields) {
    for (Sample const& each : samples()) {
        EXPECT_EQ(describe(record(each.hex)), each.line);
    }
}

TEST(Describe, EveryParameterByName) {
    EXPECT_EQ(describe(setParameter("02 01 000000")), "SetParameter dsp=3 SILENCE_COMPRESSION=1");
    EXPECT_EQ(describe(setParameter("03 02 000000")), "SetParameter dsp=3 DIGIT_DETECTION=2");
    EXPECT_EQ(describe(setParameter("05 03 000000")), "SetParameter dsp=3 FAX_T38=3");
    EXPECT_EQ(describe(setParameter("09 00000100")), "SetParameter dsp=3 code=9 value=256");
}

TEST(Describe, EveryEventWithItsFields) {
    struct Line {
        char const* hex;
        char const* text;
    };
    for (Line const& each : {
             Line{"00 FA 01 00 0004 0000 00000065 03 00 1388",
                  "OpenVoiceAck in dsp=3 error=0 port=5000"},
             Line{"00 FA 01 00 0004 0000 0000007A 03 03 0000",
                  "CloseFaxAck out dsp=3 error=3(not open) port=0"},
             Line{"00 FA 01 00 0004 0000 00000078 03 63 0000",
                  "OpenFaxAck out dsp=3 error=99 port=0"},
             Line{"00 FA 01 00 0004 0000 00000072 01 05 0050",
                  "Dtmf in dsp=1 digit=5 duration=80ms"},
             Line{"00 FA 01 00 0004 0000 00000071 01 05 0050",
                  "Dtmf out dsp=1 digit=5 duration=80ms"},
             Line{"00 FA 01 00 0001 0000 0000007B C8", "FaxTone dsp=200"},
             Line{"00 FA 01 00 0008 0000 0000006E 07 000000 FFFFFFFF",
                  "Alert in dsp=7 value=4294967295"},
             Line{"00 FA 01 00 0008 0000 00000070 07 000000 00000001", "Alert out dsp=7 value=1"},
         }) {
        EXPECT_EQ(describe(record(each.hex)), each.text);
    }
}

TEST(Describe, EveryErrorCodeOfTheBoard) {
    char const* const texts[] = {"0",
                                 "1(no such channel)",
                                 "2(already open)",
                                 "3(not open)",
                                 "4(bad parameter)",
                                 "5(no port left)",
                                 "6"};
    imc_msg message = record("00 FA 01 00 0004 0000 00000065 03");
    for (std::uint8_t error = 0; error < 7; ++error) {
        message.payload[1] = error;
        EXPECT_EQ(describe(message),
                  std::string("OpenVoiceAck in dsp=3 error=") + texts[error] + " port=0");
    }
}

TEST(Describe, InPieces) {
    Description const refused = fields(record("00 FA 01 00 0004 0000 00000065 03 05 0000"));
    EXPECT_EQ(refused.name, "OpenVoiceAck in");
    EXPECT_EQ(refused.fields,
              (std::vector<Field>{{"dsp", "3"}, {"error", "5", "no port left"}, {"port", "0"}}));
    EXPECT_EQ(refused.remark, "");
    imc_msg odd = sample("CloseVoice in");
    odd.payload[1] = 1;
    EXPECT_EQ(fields(odd).fields, (std::vector<Field>{{"dsp", "3"}}));
    EXPECT_EQ(fields(odd).remark, " (byte 13 is not zero)");
}

TEST(Describe, NumbersWithoutAName) {
    imc_msg message = sample("OpenFax in");
    message.payload[1] = 132;
    EXPECT_EQ(describe(message), "OpenFax in dsp=3 protocol=132");
}

TEST(Describe, AddressThatIsNoMappedIpv4) {
    EXPECT_EQ(describe(record("00 00 FA 00 0014 0000 0000007C "
                              "03 05 00 00 20010DB8000000000000000000000001")),
              "Join dsp=3 peer=5 board=[2001:db8::1] otherBoard=0");
}

TEST(Describe, NonzeroReservedByteBehindTheFields) {
    imc_msg message = sample("CloseVoice in");
    message.payload[1] = 1;
    EXPECT_EQ(describe(message), "CloseVoice in dsp=3 (byte 13 is not zero)");
}

TEST(Describe, MalformedCommandsAndEvents) {
    EXPECT_EQ(describe(record("00 00 FA 00 0003 0000 0000006A 03 A1 0F")),
              "CloseVoice out malformed: length is not 1: length=3 payload: 03 a1 0f");
    EXPECT_EQ(describe(record("00 00 FA 00 0000 0000 0000007D 03")),
              "Unjoin malformed: length is not 1: length=0 payload:");
    EXPECT_EQ(describe(record("00 FA 01 00 0005 0000 00000072 01 05 00 50 00")),
              "Dtmf in malformed: length is not 4: length=5 payload: 01 05 00 50 00");
}

TEST(Describe, UnknownMessages) {
    EXPECT_EQ(describe(record("00 00 FA 00 0002 0000 00000258 12 34")),
              "unknown message 600: length=2 payload: 12 34");
    EXPECT_EQ(describe(record("00 00 FA 00 0000 0000 FFFFFFFF")),
              "unknown message 4294967295: length=0 payload:");
}

TEST(Describe, LongPayloadIsCutShort) {
    imc_msg message = record("00 00 FA 00 0024 0000 00000258");
    std::string zeros;
    for (int count = 0; count < 36; ++count) {
        zeros += " 00";
    }
    EXPECT_EQ(describe(message), "unknown message 600: length=36 payload:" + zeros);
    message.length = 37;
    EXPECT_EQ(describe(message), "unknown message 600: length=37 payload:" + zeros + " ...");
    message.length = 65535;
    EXPECT_EQ(describe(message), "unknown message 600: length=65535 payload:" + zeros + " ...");
}

} // namespace
} // namespace dsp
