#include "gateway/Message.h"

#include "dsp/Board.h"

#include <gmock/gmock.h>

namespace {

using dsp::Field;
using gateway::faultOf;
using gateway::matches;
using gateway::Message;
using gateway::parseMessage;
using gateway::Vocabulary;
using testing::ElementsAre;

TEST(GatewayMessage, isReadAsNameAndFields) {
    Message const message = parseMessage("OpenVoice in dsp=0 remote=10.0.9.1:4000");
    EXPECT_EQ(message.name, "OpenVoice in");
    EXPECT_THAT(message.fields, ElementsAre(Field{"dsp", "0"}, Field{"remote", "10.0.9.1:4000"}));
}

TEST(GatewayMessage, mayHaveNoField) {
    Message const message = parseMessage("  Unjoin ");
    EXPECT_EQ(message.name, "Unjoin");
    EXPECT_TRUE(message.fields.empty());
}

TEST(GatewayMessage, aValueMayHaveARemark) {
    Message const message = parseMessage("OpenVoiceAck in dsp=1 error=2(already open) port=0");
    EXPECT_THAT(message.fields, ElementsAre(Field{"dsp", "1"}, Field{"error", "2", "already open"},
                                            Field{"port", "0"}));
    EXPECT_EQ(message.text(), "OpenVoiceAck in dsp=1 error=2(already open) port=0");
}

TEST(GatewayMessage, isWrittenAsItWasRead) {
    std::string const text = "Join dsp=0 peer=1 board=[::1] otherBoard=0";
    EXPECT_EQ(parseMessage(text).text(), text);
}

TEST(GatewayMessage, matchesWithAsManyFieldsAsMatter) {
    Message const seen = parseMessage("OpenVoiceAck in dsp=1 error=2(already open) port=0");
    EXPECT_TRUE(matches(parseMessage("OpenVoiceAck in"), seen));
    EXPECT_TRUE(matches(parseMessage("OpenVoiceAck in port=0 dsp=1"), seen));
    EXPECT_TRUE(matches(parseMessage("OpenVoiceAck in error=2"), seen)) << "without its remark";
    EXPECT_TRUE(matches(parseMessage("OpenVoiceAck in error=2(already open)"), seen));
}

TEST(GatewayMessage, doesNotMatchAnotherNameValueOrMissingField) {
    Message const seen = parseMessage("OpenVoiceAck in dsp=1 error=0 port=0");
    EXPECT_FALSE(matches(parseMessage("OpenVoiceAck out"), seen));
    EXPECT_FALSE(matches(parseMessage("OpenVoiceAck"), seen));
    EXPECT_FALSE(matches(parseMessage("OpenVoiceAck in dsp=10"), seen));
    EXPECT_FALSE(matches(parseMessage("OpenVoiceAck in digit=1"), seen));
}

TEST(GatewayMessage, findsAField) {
    Message const message = parseMessage("Alert in dsp=1");
    ASSERT_NE(message.find("dsp"), nullptr);
    EXPECT_EQ(*message.find("dsp"), "1");
    EXPECT_EQ(message.find("value"), nullptr);
}

imc_msg record(unsigned identifier, unsigned length, unsigned code = 0) {
    imc_msg message{};
    message.messageId = identifier;
    message.length = static_cast<std::uint16_t>(length);
    message.payload[1] = static_cast<std::uint8_t>(code);
    return message;
}

struct Record {
    unsigned identifier;
    unsigned length;
};

void expectKnown(imc_msg const& message, Vocabulary vocabulary) {
    std::string const text = dsp::describe(message);
    EXPECT_EQ(faultOf(parseMessage(text), vocabulary), "") << text;
}

TEST(GatewayMessage, everyCommandThatABoardDescribesIsKnown) {
    for (Record const each : {Record{100, 36},
                              {104, 36},
                              {132, 28},
                              {133, 28},
                              {102, 1},
                              {106, 1},
                              {115, 12},
                              {119, 12},
                              {117, 1},
                              {121, 1},
                              {124, 20},
                              {125, 1}}) {
        expectKnown(record(each.identifier, each.length), Vocabulary::commands);
    }
    for (unsigned const code : {2U, 3U, 4U, 5U}) {
        expectKnown(record(108, 6, code), Vocabulary::commands);
    }
}

TEST(GatewayMessage, everyEventThatABoardDescribesIsKnown) {
    for (Record const each : {Record{101, 4},
                              {105, 4},
                              {103, 4},
                              {107, 4},
                              {116, 4},
                              {120, 4},
                              {118, 4},
                              {122, 4},
                              {114, 4},
                              {113, 4},
                              {123, 1},
                              {110, 8},
                              {112, 8}}) {
        expectKnown(record(each.identifier, each.length), Vocabulary::events);
    }
}

} // namespace
