#include "gateway/ChannelFields.h"

#include "gateway/SessionManager.h"

#include "host/Workstation.h"

#include <gmock/gmock.h>

namespace {

using gateway::ChannelField;
using gateway::channelFields;
using gateway::findChannelField;
using gateway::WrittenValue;

class ChannelFields : public testing::Test {
protected:
    ChannelFields() { host::Workstation::instance().setBoard("10.0.0.1", 0x90); }
    ~ChannelFields() override { host::Workstation::instance().reset(); }

    gateway::SessionManager sessions{[](gateway::Message const&) {}};
    MC_Channel& channel = sessions.create("in");

    void set(std::string const& name, WrittenValue const& written) {
        ChannelField const* const field = findChannelField(name);
        ASSERT_NE(field, nullptr) << name;
        auto const value = field->type.parse(written);
        ASSERT_TRUE(value.has_value()) << name;
        field->set(sessions.manager(), channel, *value);
    }

    std::string textOf(std::string const& name) const {
        ChannelField const* const field = findChannelField(name);
        return field->type.text(field->get(channel));
    }
};

TEST_F(ChannelFields, eachOneIsReadBackAsItWasSet) {
    std::vector<std::pair<std::string, WrittenValue>> const values = {
        {"channelMode", std::int64_t{-2}},
        {"direction", std::string("out")},
        {"vad", true},
        {"faxDetection", true},
        {"sendCed", true},
        {"sendNoSignal", std::string("cng")},
        {"calledSide", true},
        {"minFraming", std::int64_t{10}},
        {"maxFraming", std::int64_t{25}},
        {"dsp", std::int64_t{255}},
        {"rtcpLocal", std::string("10.0.0.1:1")},
        {"rtcpRemote", std::string("10.0.0.2:65535")},
        {"rtpLocal", std::string("-:7")},
        {"rtpRemote", std::string("10.0.0.4:0")},
        {"codec", std::string("G.729A")},
        {"joinIp", std::string("10.0.0.5")},
        {"joinDsp", std::int64_t{200}},
        {"mediaGateway", std::string("10.0.0.1")},
        {"faxRedundancy", std::int64_t{300}},
        {"faxDepth", std::int64_t{2}},
        {"faxTransport", std::string("tcp")},
        {"rtpDtmfPayloadType", std::int64_t{101}},
        {"rtpRedundancyPayloadType", std::int64_t{100}},
        {"inboundVoiceParam1", std::int64_t{1}},
        {"inboundVoiceParam2", std::int64_t{2}},
    };
    std::size_t settable = 0;
    for (ChannelField const& field : channelFields()) {
        settable += field.set ? 1U : 0U;
    }
    EXPECT_EQ(values.size(), settable) << "every field that can be set is tried";
    for (auto const& [name, written] : values) {
        set(name, written);
    }
    for (auto const& [name, written] : values) {
        ChannelField const& field = *findChannelField(name);
        EXPECT_EQ(textOf(name), field.type.text(*field.type.parse(written))) << name;
    }
}

TEST_F(ChannelFields, reachTheFieldOfTheirName) {
    set("codec", std::string("G.711 mu-law"));
    set("minFraming", std::int64_t{20});
    set("maxFraming", std::int64_t{30});
    set("rtpRemote", std::string("10.0.9.1:4000"));
    set("joinDsp", std::int64_t{9});
    set("inboundVoiceParam2", std::int64_t{77});
    EXPECT_EQ(channel.codec, 2);
    EXPECT_EQ(channel.minFraming, VCOM_FRAMING_20);
    EXPECT_EQ(channel.maxFraming, VCOM_FRAMING_30);
    EXPECT_EQ(std::string(channel.rtpRemote), "10.0.9.1:4000");
    EXPECT_EQ(channel.joinDsp, 9);
    EXPECT_EQ(channel.inboundVoiceParam1, 0);
    EXPECT_EQ(channel.inboundVoiceParam2, 77);
}

TEST_F(ChannelFields, theBoardComesWithItsImcAddress) {
    EXPECT_EQ(textOf("sid"), "250");
    set("mediaGateway", std::string("10.0.0.1"));
    EXPECT_EQ(textOf("sid"), "144");
}

TEST_F(ChannelFields, aJoinCanBeTakenBack) {
    set("joinIp", std::string("10.0.0.5"));
    set("joinIp", std::string("-"));
    EXPECT_EQ(channel.joinIp, nullptr);
    EXPECT_EQ(textOf("joinIp"), "-");
}

TEST_F(ChannelFields, haveTheLibrarysDefaults) {
    EXPECT_EQ(textOf("state"), "Idle");
    EXPECT_EQ(textOf("direction"), "none");
    EXPECT_EQ(textOf("codec"), "none");
    EXPECT_EQ(textOf("faxTransport"), "udp");
    EXPECT_EQ(textOf("rtpLocal"), "-:0");
    EXPECT_EQ(textOf("joinIp"), "-");
    EXPECT_EQ(textOf("mediaGateway"), "-");
    EXPECT_EQ(textOf("referenceCount"), "1");
}

TEST_F(ChannelFields, aNumberWithoutANameIsShownAsItIs) {
    set("codec", std::int64_t{-1});
    EXPECT_EQ(textOf("codec"), "-1");
    set("codec", std::int64_t{6});
    EXPECT_EQ(textOf("codec"), "6");
}

TEST(ChannelField, isUnknownUnderAnyOtherName) {
    EXPECT_EQ(findChannelField("Codec"), nullptr);
    EXPECT_EQ(findChannelField(""), nullptr);
}

TEST(ChannelField, ofTheLibraryCannotBeSet) {
    for (char const* const name : {"state", "voiceOpen", "faxOpen", "sid", "referenceCount"}) {
        EXPECT_FALSE(findChannelField(name)->set) << name;
    }
}

} // namespace
