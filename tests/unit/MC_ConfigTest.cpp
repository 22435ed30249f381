#include "MC_Config.h"

#include "imc/IMC_Manager.h"
#include "tests/support/Recording.h"
#include "tests/unit/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <type_traits>

namespace {

using recording::Kind;
using recording::message;
using recording::platform;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_convertible<MC_Config*, IMC_Observer*>::value, "a public base");
static_assert(std::is_same<decltype(MC_Config::faxProtocol), VCOM_FaxTransport>::value, "");
static_assert(std::is_same<decltype(MC_Config::faxProtocolSet), bool>::value, "");
static_assert(std::is_same<decltype(MC_Config::rtpTickRequest), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Config::noteworthyFlag), bool>::value, "");

class Config : public testing::Test {
protected:
    Config() { platform().reset(); }

    void setFaxProto(std::string const& text) {
        platform().setConfiguration("/current//gw_priv", "fax_proto", text);
    }
    void loseFaxProto() { platform().removeConfiguration("/current//gw_priv", "fax_proto"); }

    void setTickRequest(std::uint8_t value) {
        platform().setConfiguration("/current//gateway", "rtptick_request", value);
    }

    /** The fax transport that this text gives when the last one was `before`. */
    VCOM_FaxTransport transportAfter(VCOM_FaxTransport before, std::string const& text) {
        config.faxProtocol = before;
        setFaxProto(text);
        config.readConfiguration();
        EXPECT_TRUE(config.faxProtocolSet) << text;
        return config.faxProtocol;
    }

    bool flagOf(std::vector<std::uint8_t> const& bytes) {
        platform().setNoteworthyValue(5, bytes);
        config.readConfiguration();
        return config.noteworthyFlag;
    }

    MC_Config config;
};

VCOM_FaxTransport const udp = VCOM_FAXTRANSPORT_UDP;
VCOM_FaxTransport const tcp = VCOM_FAXTRANSPORT_TCP;

TEST_F(Config, BeforeAnyMessageTheDefaultsHoldAndNothingWasRead) {
    // The store holds other values.
    setFaxProto("tcp");
    setTickRequest(9);
    platform().setNoteworthyValue(5, {1});
    platform().clearRecords();
    alignas(MC_Config) unsigned char storage[sizeof(MC_Config)];
    std::fill_n(storage, sizeof storage, static_cast<unsigned char>(0xA5));
    auto* const fresh = new (storage) MC_Config;
    EXPECT_EQ(fresh->faxProtocol, 1);
    EXPECT_EQ(fresh->faxProtocolSet, false);
    EXPECT_EQ(fresh->rtpTickRequest, 0U);
    EXPECT_EQ(fresh->noteworthyFlag, false);
    EXPECT_THAT(platform().journal(), IsEmpty());
    fresh->~MC_Config();
}

TEST_F(Config, MembersStandInTheirOrder) {
    std::less<void const*> const before{};
    EXPECT_TRUE(before(&config.faxProtocol, &config.faxProtocolSet));
    EXPECT_TRUE(before(&config.faxProtocolSet, &config.rtpTickRequest));
    EXPECT_TRUE(before(&config.rtpTickRequest, &config.noteworthyFlag));
}

TEST_F(Config, VirtualOperationsTakeTheirSlots) {
    EXPECT_EQ(virtualSlot(&MC_Config::messageEvent), 2U);
    EXPECT_EQ(virtualSlot(&MC_Config::timeoutEvent), 3U);
}

TEST_F(Config, SettingsAreReadInTheirOrderWithACountOf1Each) {
    setFaxProto("udp");
    setTickRequest(1);
    config.readConfiguration();
    EXPECT_THAT(platform().journal(),
                ElementsAre("get(/current//gw_priv, fax_proto, 3, 1)",
                            "get(/current//gateway, rtptick_request, 8, 1)",
                            "DBG_NoteworthyValueMgr::instance()", "getValue(5, 1)"));
}

TEST_F(Config, CountIs1AgainAfterAReadThatFailed) {
    config.readConfiguration();
    EXPECT_THAT(platform().journal(Kind::configuration),
                ElementsAre("get(/current//gw_priv, fax_proto, 3, 1)",
                            "get(/current//gateway, rtptick_request, 8, 1)", "getValue(5, 1)"));
}

TEST_F(Config, ReadConfigurationRefreshAndMessageEventReadTheSame) {
    std::vector<std::function<void()>> const readings{
        [&] { config.readConfiguration(); }, [&] { config.refresh(); },
        [&] { config.messageEvent(message(600, 0, 0)); }};
    for (auto const& read : readings) {
        setFaxProto("tcp");
        setTickRequest(7);
        platform().setNoteworthyValue(5, {1});
        platform().clearRecords();
        read();
        EXPECT_EQ(config.faxProtocol, 2);
        EXPECT_TRUE(config.faxProtocolSet);
        EXPECT_EQ(config.rtpTickRequest, 7U);
        EXPECT_TRUE(config.noteworthyFlag);
        EXPECT_EQ(platform().journal(Kind::configuration).size(), 3U);
        config.faxProtocol = udp;
        config.faxProtocolSet = false;
        config.rtpTickRequest = 0;
        config.noteworthyFlag = false;
    }
}

TEST_F(Config, WhatTheMessageHoldsDoesNotMatter) {
    setFaxProto("tcp");
    for (imc_msg const& any :
         {message(600, 0, 0), message(0, 1024, 0xFF, {1, 2, 3}), message(0xFFFFFFFF, 0xFFFF, 1)}) {
        config.faxProtocol = udp;
        platform().clearRecords();
        config.messageEvent(any);
        EXPECT_EQ(config.faxProtocol, 2);
        EXPECT_EQ(platform().journal(Kind::configuration).size(), 3U);
    }
}

TEST_F(Config, EveryMessageReadsAgain) {
    IMC_Manager* const imc = IMC_Manager::instance(0xff);
    imc->registration(&config, 600);
    setTickRequest(1);
    platform().deliver(message(600, 0, 0));
    EXPECT_EQ(config.rtpTickRequest, 1U);
    setTickRequest(2);
    EXPECT_EQ(config.rtpTickRequest, 1U);
    platform().deliver(message(600, 0, 0));
    EXPECT_EQ(config.rtpTickRequest, 2U);
    imc->unregistration(&config, 600);
}

TEST_F(Config, TimeoutReadsNothing) {
    setFaxProto("tcp");
    setTickRequest(9);
    platform().clearRecords();
    for (unsigned int const timer : {0U, 1U, 600U, UINT_MAX}) {
        config.timeoutEvent(timer);
    }
    EXPECT_THAT(platform().journal(), IsEmpty());
    EXPECT_EQ(config.faxProtocol, 1);
    EXPECT_EQ(config.rtpTickRequest, 0U);
}

TEST_F(Config, TextThatContainsUdpAnywhereGivesUdp) {
    for (auto const& text : {"udp", "udptl", "t38-udp", "t38 udptl v3", "uudp"}) {
        EXPECT_EQ(transportAfter(tcp, text), 1) << text;
    }
}

TEST_F(Config, TextThatContainsTcpAnywhereGivesTcp) {
    for (auto const& text : {"tcp", "tcp/tpkt", "t38-tcp", "a tcp b", "ttcp"}) {
        EXPECT_EQ(transportAfter(udp, text), 2) << text;
    }
}

TEST_F(Config, TextThatContainsBothGivesUdpInEitherOrder) {
    EXPECT_EQ(transportAfter(tcp, "tcp,udp"), 1);
    EXPECT_EQ(transportAfter(tcp, "udp,tcp"), 1);
}

TEST_F(Config, UpperCaseUdpKeepsThePreviousValueAndIsSet) {
    EXPECT_EQ(transportAfter(tcp, "UDP"), 2);
    EXPECT_EQ(transportAfter(udp, "UDP"), 1);
}

TEST_F(Config, TextWithoutEitherWordKeepsThePreviousValueAndIsSet) {
    for (auto const& text : {"", "TCP", "Udp", "u d p", "ud", "dp", "tc", "cp", "sctp"}) {
        EXPECT_EQ(transportAfter(tcp, text), 2) << text;
        EXPECT_EQ(transportAfter(udp, text), 1) << text;
        EXPECT_EQ(transportAfter(VCOM_FAXTRANSPORT_NONE, text), 0) << text;
    }
}

TEST_F(Config, FailedReadAfterTcpKeepsTcpAndIsNotSet) {
    EXPECT_EQ(transportAfter(udp, "tcp"), 2);
    loseFaxProto();
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 2);
    EXPECT_FALSE(config.faxProtocolSet);
}

TEST_F(Config, FailedReadDoesNotKeepTheOthersFromBeingRead) {
    setTickRequest(4);
    platform().setNoteworthyValue(5, {1});
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 1);
    EXPECT_FALSE(config.faxProtocolSet);
    EXPECT_EQ(config.rtpTickRequest, 4U);
    EXPECT_TRUE(config.noteworthyFlag);
}

TEST_F(Config, TickRequestTakesEveryByte) {
    for (unsigned int value = 0; value <= 255; ++value) {
        config.rtpTickRequest = 0x55;
        setTickRequest(static_cast<std::uint8_t>(value));
        config.readConfiguration();
        EXPECT_EQ(config.rtpTickRequest, value);
    }
}

TEST_F(Config, FailedReadOfTheTickRequestResetsItTo0AndKeepsTheTransport) {
    EXPECT_EQ(transportAfter(udp, "tcp"), 2);
    config.rtpTickRequest = 3;
    config.readConfiguration();
    EXPECT_EQ(config.rtpTickRequest, 0U);
    EXPECT_EQ(config.faxProtocol, 2);
    EXPECT_TRUE(config.faxProtocolSet);
}

TEST_F(Config, ValuesOfAnotherTypeAreNotRead) {
    platform().setConfiguration("/current//gw_priv", "fax_proto", std::uint8_t{2});
    platform().setConfiguration("/current//gateway", "rtptick_request", "tcp");
    config.readConfiguration();
    EXPECT_FALSE(config.faxProtocolSet);
    EXPECT_EQ(config.faxProtocol, 1);
    EXPECT_EQ(config.rtpTickRequest, 0U);
}

TEST_F(Config, OnlyANoteworthyValueOf1SetsTheFlag) {
    for (unsigned int value = 0; value <= 255; ++value) {
        config.noteworthyFlag = value != 1;
        EXPECT_EQ(flagOf({static_cast<std::uint8_t>(value)}), value == 1) << value;
    }
}

TEST_F(Config, NoteworthyValue2ClearsTheFlag) {
    EXPECT_TRUE(flagOf({1}));
    EXPECT_FALSE(flagOf({2}));
}

TEST_F(Config, MissingNoteworthyValueClearsTheFlag) {
    EXPECT_TRUE(flagOf({1}));
    platform().removeNoteworthyValue(5);
    config.readConfiguration();
    EXPECT_FALSE(config.noteworthyFlag);
}

TEST_F(Config, NoteworthyValueOfAnotherSizeOrNumberDoesNotSetTheFlag) {
    EXPECT_FALSE(flagOf({1, 0}));
    platform().removeNoteworthyValue(5);
    platform().setNoteworthyValue(4, {1});
    platform().setNoteworthyValue(6, {1});
    config.readConfiguration();
    EXPECT_FALSE(config.noteworthyFlag);
}

TEST_F(Config, TextOf63CharactersIsReadToItsEnd) {
    EXPECT_EQ(transportAfter(udp, std::string(60, 'x') + "tcp"), 2);
    EXPECT_EQ(transportAfter(tcp, std::string(60, 'x') + "udp"), 1);
    EXPECT_EQ(transportAfter(udp, "tcp" + std::string(60, 'x')), 2);
}

TEST_F(Config, NothingIsReportedWhenNothingCanBeRead) {
    platform().setLogLevel(3);
    EXPECT_NO_THROW(config.readConfiguration());
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(Config, NeitherRegistersNorUnregistersItself) {
    { MC_Config const brief; }
    EXPECT_THAT(platform().registrations(), IsEmpty());
}

} // namespace
