#include "dsp/Encode.h"

#include "Records.h"
#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "tests/support/Refusal.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <random>
#include <sstream>

namespace dsp {
namespace {

using testing::HasSubstr;

/** Fields from "name=value name=value". */
std::vector<Field> fieldsFrom(std::string const& text) {
    std::vector<Field> fields;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        auto const at = word.find('=');
        fields.push_back({word.substr(0, at), word.substr(at + 1)});
    }
    return fields;
}

std::string refusalOf(std::string const& name, std::string const& text) {
    return ::refusalOf([&] { encode(name, fieldsFrom(text)); });
}

struct Golden {
    char const* name;
    char const* fields;
    char const* hex;
};

class EncodeGolden : public testing::TestWithParam<Golden> {};

TEST_P(EncodeGolden, HasTheBytes) {
    Golden const& golden = GetParam();
    EXPECT_EQ(bytesOf(encode(golden.name, fieldsFrom(golden.fields))), bytesOf(record(golden.hex)));
}

INSTANTIATE_TEST_SUITE_P(
    Every, EncodeGolden,
    testing::Values(
        Golden{"OpenVoice in",
               "dsp=3 codec=4 fax=UDP remote=10.0.9.1:4000 remoteRtcp=4001 local=5000 tick=7 "
               "param1=8 param2=9 dtmfPt=101 redundancyPt=100",
               "00 00 00 00 0024 0000 00000064 03 04 11 00 00000000000000000000FFFF0A000901 "
               "0FA0 1388 0FA1 07 000000 09 08 65 64 0000"},
        Golden{"OpenVoice out",
               "dsp=255 codec=1 fax=TCP remote=[2001:db8::1]:65535 remoteRtcp=1 local=2 dtmfPt=96 "
               "redundancyPt=97",
               "00 00 00 00 0024 0000 00000068 FF 01 06 00 20010DB8000000000000000000000001 "
               "FFFF 0002 0001 00 000000 00 00 60 61 0000"},
        Golden{"UpdateVoice in",
               "dsp=1 remote=1.2.3.4:258 remoteRtcp=259 local=772 dtmfPt=5 redundancyPt=6",
               "00 00 00 00 001C 0000 00000084 01 000000 00000000000000000000FFFF01020304 "
               "0102 0304 0103 05 06"},
        Golden{"UpdateVoice out", "redundancyPt=6 dsp=2",
               "00 00 00 00 001C 0000 00000085 02 000000 00000000000000000000000000000000 "
               "0000 0000 0000 00 06"},
        Golden{"CloseVoice in", "dsp=9", "00 00 00 00 0001 0000 00000066 09"},
        Golden{"CloseVoice out", "dsp=0x0A", "00 00 00 00 0001 0000 0000006A 0A"},
        Golden{"SetParameter", "dsp=3 SILENCE_COMPRESSION=1",
               "00 00 00 00 0006 0000 0000006C 03 02 01 000000"},
        Golden{"SetParameter", "dsp=3 DIGIT_DETECTION=2",
               "00 00 00 00 0006 0000 0000006C 03 03 02 000000"},
        Golden{"SetParameter", "dsp=3 PACKET_LENGTH=80..240",
               "00 00 00 00 0006 0000 0000006C 03 04 0050 00F0"},
        Golden{"SetParameter", "dsp=3 FAX_T38=3", "00 00 00 00 0006 0000 0000006C 03 05 03 000000"},
        Golden{"SetParameter", "dsp=3 code=9 value=0x01020304",
               "00 00 00 00 0006 0000 0000006C 03 09 01020304"},
        Golden{"OpenFax in", "dsp=3 protocol=UDP", "00 00 00 00 000C 0000 00000073 03 11"},
        Golden{"OpenFax out",
               "dsp=3 protocol=200 remote=10.0.0.1:6000 redundancy=2 depth=5 noSignal=4 ced=1",
               "00 00 00 00 000C 0000 00000077 03 C8 05 02 0A000001 1770 04 01"},
        Golden{"CloseFax in", "", "00 00 00 00 0001 0000 00000075 00"},
        Golden{"CloseFax out", "dsp=3", "00 00 00 00 0001 0000 00000079 03"},
        Golden{"Join", "dsp=3 peer=5 board=10.0.0.9 otherBoard=1",
               "00 00 00 00 0014 0000 0000007C 03 05 01 00 00000000000000000000FFFF0A000009"},
        Golden{"Unjoin", "dsp=3", "00 00 00 00 0001 0000 0000007D 03"},
        Golden{"OpenVoiceAck in", "dsp=3 error=2 port=5000",
               "00 00 00 00 0004 0000 00000065 03 02 1388"},
        Golden{"OpenVoiceAck out", "dsp=3 port=5000", "00 00 00 00 0004 0000 00000069 03 00 1388"},
        Golden{"CloseVoiceAck in", "dsp=3 error=99", "00 00 00 00 0004 0000 00000067 03 63 0000"},
        Golden{"CloseVoiceAck out", "dsp=3", "00 00 00 00 0004 0000 0000006B 03"},
        Golden{"OpenFaxAck in", "dsp=3", "00 00 00 00 0004 0000 00000074 03"},
        Golden{"OpenFaxAck out", "dsp=3", "00 00 00 00 0004 0000 00000078 03"},
        Golden{"CloseFaxAck in", "dsp=3", "00 00 00 00 0004 0000 00000076 03"},
        Golden{"CloseFaxAck out", "dsp=3", "00 00 00 00 0004 0000 0000007A 03"},
        Golden{"Dtmf in", "dsp=3 digit=11 duration=80ms",
               "00 00 00 00 0004 0000 00000072 03 0B 0050"},
        Golden{"Dtmf out", "dsp=3 digit=1 duration=258",
               "00 00 00 00 0004 0000 00000071 03 01 0102"},
        Golden{"FaxTone", "dsp=3", "00 00 00 00 0001 0000 0000007B 03"},
        Golden{"Alert in", "dsp=3 value=4294967295",
               "00 00 00 00 0008 0000 0000006E 03 000000 FFFFFFFF"},
        Golden{"Alert out", "dsp=3 value=1", "00 00 00 00 0008 0000 00000070 03 000000 00000001"}));

std::vector<Kind> allKinds() {
    std::vector<Kind> kinds(commandKinds().begin(), commandKinds().end());
    kinds.insert(kinds.end(), eventKinds().begin(), eventKinds().end());
    return kinds;
}

/** Zero in the bytes that the message does not define. */
void clearReserved(imc_msg& message) {
    if (CommandKind const* const kind = findCommand(message.messageId)) {
        while (auto const at = decodeCommand(*kind, message)->nonzeroReserved) {
            message.payload[*at - offsetof(imc_msg, payload)] = 0;
        }
    } else if (title(*findEvent(message.messageId)).rfind("Alert ", 0) == 0) {
        std::fill_n(message.payload + 1, 3, std::uint8_t{0});
    }
}

class AnyMessage {
public:
    imc_msg of(Kind const& kind) {
        imc_msg message{};
        message.length = kind.length;
        message.messageId = kind.identifier;
        std::generate_n(message.payload, kind.length,
                        [this] { return static_cast<std::uint8_t>(random()); });
        if (kind.name == "SetParameter" && random() % 4 != 0) {
            message.payload[1] = static_cast<std::uint8_t>(random() % 8);
        }
        if (kind.length >= 20) {
            varyAddress(message.payload + 4);
        }
        clearReserved(message);
        return message;
    }

private:
    /** Of both families, and those whose text is a special one. */
    void varyAddress(std::uint8_t* address) {
        unsigned const form = random() % 4;
        if (form != 0) {
            std::fill_n(address, form == 3 ? 16 : 12, std::uint8_t{0});
        }
        if (form == 1) {
            std::fill_n(address + 10, 2, std::uint8_t{0xFF});
        }
    }

    std::mt19937 random{20261121};
};

TEST(Encode, UndoesDescribingForEveryKindAndManyValues) {
    AnyMessage any;
    std::size_t kinds = 0;
    for (Kind const& kind : allKinds()) {
        ++kinds;
        for (int i = 0; i < 300; ++i) {
            imc_msg const message = any.of(kind);
            Description const description = fields(message);
            ASSERT_EQ(description.remark, "") << describe(message);
            ASSERT_EQ(bytesOf(encode(description.name, description.fields)), bytesOf(message))
                << describe(message);
        }
    }
    EXPECT_EQ(kinds, 26U);
}

TEST(Encode, EveryKindWithoutFieldsIsZero) {
    for (Kind const& kind : allKinds()) {
        imc_msg expected{};
        expected.length = kind.length;
        expected.messageId = kind.identifier;
        EXPECT_EQ(bytesOf(encode(title(kind), {})), bytesOf(expected)) << title(kind);
    }
}

TEST(Encode, RefusesAnUnknownNameAndListsWhatThereIs) {
    std::string const text = refusalOf("OpenVoice", "dsp=3");
    EXPECT_THAT(text, HasSubstr("unknown message \"OpenVoice\": expected one of OpenVoice in, "));
    for (Kind const& kind : allKinds()) {
        EXPECT_THAT(text, HasSubstr(title(kind)));
    }
}

TEST(Encode, RefusesAnUnknownFieldAndListsThoseOfTheMessage) {
    EXPECT_EQ(refusalOf("OpenVoiceAck in", "dsp=3 prot=1"),
              "OpenVoiceAck in: unknown field \"prot\": expected one of dsp, error, port");
    EXPECT_EQ(refusalOf("OpenFax in", "remote=10.0.0.1:1"),
              "OpenFax in: unknown field \"remote\": expected one of dsp, protocol");
    EXPECT_EQ(refusalOf("SetParameter", "SILENCE=1"),
              "SetParameter: unknown field \"SILENCE\": expected one of dsp, code, value, "
              "SILENCE_COMPRESSION, DIGIT_DETECTION, PACKET_LENGTH, FAX_T38");
}

TEST(Encode, RefusesTwoParametersAndAFieldThatIsGivenTwice) {
    EXPECT_EQ(refusalOf("SetParameter", "DIGIT_DETECTION=2 FAX_T38=0"),
              "SetParameter: it takes one parameter, not DIGIT_DETECTION, FAX_T38");
    EXPECT_EQ(refusalOf("Unjoin", "dsp=3 dsp=3"), "Unjoin: dsp is given twice");
}

TEST(Encode, RefusesABadValueAndSaysWhatIsExpected) {
    struct Bad {
        char const* name;
        char const* field;
        char const* expected;
    };
    for (Bad const& bad : {Bad{"Unjoin", "dsp=256", "a number from 0 to 255"},
                           Bad{"Unjoin", "dsp=", "a number from 0 to 255"},
                           Bad{"Unjoin", "dsp=-1", "a number from 0 to 255"},
                           Bad{"Unjoin", "dsp=1x", "a number from 0 to 255"},
                           Bad{"Unjoin", "dsp=0x", "a number from 0 to 255"},
                           Bad{"Unjoin", "dsp=0x-1", "a number from 0 to 255"},
                           Bad{"OpenVoice in", "local=65536", "a number from 0 to 65535"},
                           Bad{"Alert in", "value=4294967296", "a number from 0 to 4294967295"},
                           Bad{"Dtmf in", "duration=65536ms", "milliseconds from 0 to 65535"},
                           Bad{"Dtmf in", "duration=ms", "milliseconds from 0 to 65535"},
                           Bad{"OpenFax in", "protocol=SCTP", "UDP, TCP or a number from 0 to 255"},
                           Bad{"OpenVoice in", "remote=10.0.0.1", "ADDRESS:PORT"},
                           Bad{"OpenVoice in", "remote=10.0.0:1", "ADDRESS:PORT"},
                           Bad{"OpenVoice in", "remote=::1:80", "ADDRESS:PORT"},
                           Bad{"OpenVoice in", "remote=[]:80", "ADDRESS:PORT"},
                           Bad{"OpenVoice in", "remote=[10.0.0.1]:80", "ADDRESS:PORT"},
                           Bad{"OpenVoice in", "remote=10.0.0.1:65536", "ADDRESS:PORT"},
                           Bad{"OpenFax out", "remote=[::1]:80", "ADDRESS:PORT"},
                           Bad{"OpenFax out", "remote=10.0.0.1:", "ADDRESS:PORT"},
                           Bad{"Join", "board=board", "an address"},
                           Bad{"SetParameter", "PACKET_LENGTH=80", "MINIMUM..MAXIMUM"},
                           Bad{"SetParameter", "PACKET_LENGTH=80..x", "MINIMUM..MAXIMUM"}}) {
        std::string const field = bad.field;
        auto const at = field.find('=');
        EXPECT_THAT(refusalOf(bad.name, field),
                    HasSubstr(std::string(bad.name) + ": bad value \"" + field.substr(at + 1) +
                              "\" of " + field.substr(0, at) + ": expected " + bad.expected));
    }
}

TEST(Encode, RemarksSayNothing) {
    EXPECT_EQ(bytesOf(encode("OpenVoiceAck in", {{"error", "2", "whatever it says"}})),
              bytesOf(encode("OpenVoiceAck in", fieldsFrom("error=2"))));
}

} // namespace
} // namespace dsp
