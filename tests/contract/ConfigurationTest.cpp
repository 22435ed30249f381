#include "address/IPAddress.h"
#include "config/CFG_Manager.h"
#include "config/CFG_Store.h"
#include "debug/DBG_NoteworthyValueMgr.h"
#include "tests/contract/Observers.h"
#include "tests/contract/PlatformUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace {

using contract::platform;
using testing::Each;

char const section[] = "/current//gw_priv";
char const otherSection[] = "/current//gateway";
unsigned char const untouched = 0xAA;

/** A destination longer than any value, which shows what was written to it. */
class Destination {
public:
    Destination() { bytes.fill(untouched); }

    int read(char const* fromSection, char const* key, int type, int wanted = 1) {
        count = wanted;
        return get(fromSection, key, bytes.data(), type, &count);
    }

    std::string text() const {
        auto const end = std::find(bytes.begin(), bytes.end(), '\0');
        return std::string(bytes.begin(), end);
    }

    bool isUntouchedFrom(std::size_t offset) const {
        return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end(),
                           [](unsigned char byte) { return byte == untouched; });
    }

    std::array<unsigned char, 256> bytes;
    int count = 0;
};

class ConfigurationStore : public contract::ContractTest {};

TEST_F(ConfigurationStore, ReadsATextWithItsClosingNul) {
    platform().setConfiguration(section, "fax_proto", std::string("udp"));
    Destination destination;
    EXPECT_EQ(destination.read(section, "fax_proto", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(destination.text(), "udp");
    EXPECT_EQ(destination.bytes[3], 0);
    EXPECT_TRUE(destination.isUntouchedFrom(64));
    EXPECT_EQ(destination.count, 1);
}

TEST_F(ConfigurationStore, ReadsAnEmptyText) {
    platform().setConfiguration(section, "fax_proto", std::string());
    Destination destination;
    EXPECT_EQ(destination.read(section, "fax_proto", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(destination.text(), "");
}

TEST_F(ConfigurationStore, ReadsATextOf63Characters) {
    std::string const text(63, 'x');
    platform().setConfiguration(section, "fax_proto", text);
    Destination destination;
    EXPECT_EQ(destination.read(section, "fax_proto", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(destination.text(), text);
    EXPECT_TRUE(destination.isUntouchedFrom(64));
}

TEST_F(ConfigurationStore, ALongerTextNeverTakesMoreThan64BytesNorLacksItsNul) {
    for (std::size_t length : {64U, 65U, 200U}) {
        try {
            platform().setConfiguration(section, "fax_proto", std::string(length, 'x'));
        } catch (std::invalid_argument const&) {
            // A store may refuse what can't be read.
        }
        Destination destination;
        bool const isRead = destination.read(section, "fax_proto", CFG_TYPE_TEXT) == 0;
        EXPECT_TRUE(destination.isUntouchedFrom(isRead ? 64 : 0)) << length;
        EXPECT_EQ(isRead, destination.text().size() < 64) << length;
    }
}

TEST_F(ConfigurationStore, ReadsOneByte) {
    for (int value : {0, 1, 127, 128, 255}) {
        platform().setConfiguration(otherSection, "rtptick_request",
                                    static_cast<std::uint8_t>(value));
        Destination destination;
        EXPECT_EQ(destination.read(otherSection, "rtptick_request", CFG_TYPE_BYTE), 0);
        EXPECT_EQ(destination.bytes[0], value);
        EXPECT_TRUE(destination.isUntouchedFrom(1));
        EXPECT_EQ(destination.count, 1);
    }
}

TEST_F(ConfigurationStore, CountTellsThatOneValueWasReadWhereMoreWereWanted) {
    platform().setConfiguration(otherSection, "rtptick_request", std::uint8_t{5});
    Destination destination;
    EXPECT_EQ(destination.read(otherSection, "rtptick_request", CFG_TYPE_BYTE, 3), 0);
    EXPECT_EQ(destination.bytes[0], 5);
    EXPECT_TRUE(destination.isUntouchedFrom(1));
    EXPECT_EQ(destination.count, 1);
}

TEST_F(ConfigurationStore, AMissingValueFailsAndLeavesTheDestination) {
    platform().setConfiguration(section, "fax_proto", std::string("udp"));
    Destination destination;
    EXPECT_NE(destination.read(section, "no such key", CFG_TYPE_TEXT), 0);
    EXPECT_NE(destination.read("no such section", "fax_proto", CFG_TYPE_TEXT), 0);
    EXPECT_NE(destination.read(otherSection, "fax_proto", CFG_TYPE_TEXT), 0);
    EXPECT_NE(destination.read(section, "rtptick_request", CFG_TYPE_BYTE), 0);
    EXPECT_TRUE(destination.isUntouchedFrom(0));
}

TEST_F(ConfigurationStore, AValueOfAnotherTypeFailsAndLeavesTheDestination) {
    platform().setConfiguration(section, "fax_proto", std::string("1"));
    platform().setConfiguration(otherSection, "rtptick_request", std::uint8_t{1});
    Destination destination;
    EXPECT_NE(destination.read(section, "fax_proto", CFG_TYPE_BYTE), 0);
    EXPECT_NE(destination.read(otherSection, "rtptick_request", CFG_TYPE_TEXT), 0);
    EXPECT_TRUE(destination.isUntouchedFrom(0));
}

TEST_F(ConfigurationStore, ATypeCodeThatNoValueHasFails) {
    platform().setConfiguration(section, "fax_proto", std::string("udp"));
    Destination destination;
    for (int type : {-1, 0, 1, 2, 4, 7, 9, 255}) {
        EXPECT_NE(destination.read(section, "fax_proto", type), 0) << type;
    }
    EXPECT_TRUE(destination.isUntouchedFrom(0));
}

TEST_F(ConfigurationStore, EveryReadingSeesTheLastValue) {
    Destination destination;
    for (std::string const text : {"tcp", "udp", "tcp"}) {
        platform().setConfiguration(section, "fax_proto", text);
        EXPECT_EQ(destination.read(section, "fax_proto", CFG_TYPE_TEXT), 0);
        EXPECT_EQ(destination.text(), text);
    }
    platform().removeConfiguration(section, "fax_proto");
    EXPECT_NE(destination.read(section, "fax_proto", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(destination.text(), "tcp");
}

TEST_F(ConfigurationStore, SectionsKeepTheirKeysApart) {
    platform().setConfiguration(section, "key", std::string("one"));
    platform().setConfiguration(otherSection, "key", std::uint8_t{2});
    Destination destination;
    EXPECT_EQ(destination.read(section, "key", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(destination.text(), "one");
    EXPECT_EQ(destination.read(otherSection, "key", CFG_TYPE_BYTE), 0);
    EXPECT_EQ(destination.bytes[0], 2);
}

class NoteworthyValues : public contract::ContractTest {
protected:
    DBG_NoteworthyValueMgr const& values = *DBG_NoteworthyValueMgr::instance();
    unsigned char destination[4] = {untouched, untouched, untouched, untouched};
};

TEST_F(NoteworthyValues, TheManagerIsTheSameEveryTime) {
    ASSERT_NE(DBG_NoteworthyValueMgr::instance(), nullptr);
    EXPECT_EQ(DBG_NoteworthyValueMgr::instance(), DBG_NoteworthyValueMgr::instance());
}

TEST_F(NoteworthyValues, AValueThatIsSetIsRead) {
    for (int value : {0, 1, 2, 255}) {
        platform().setNoteworthyValue(5, static_cast<std::uint8_t>(value));
        EXPECT_TRUE(values.getValue(5, destination, 1));
        EXPECT_EQ(destination[0], value);
        EXPECT_EQ(destination[1], untouched);
    }
}

TEST_F(NoteworthyValues, AValueThatIsNotSetFailsAndLeavesTheDestination) {
    platform().setNoteworthyValue(5, 1);
    EXPECT_FALSE(values.getValue(6, destination, 1));
    EXPECT_FALSE(values.getValue(-5, destination, 1));
    EXPECT_THAT(destination, Each(untouched));
}

TEST_F(NoteworthyValues, AnotherSizeFailsAndLeavesTheDestination) {
    platform().setNoteworthyValue(5, 1);
    EXPECT_FALSE(values.getValue(5, destination, 4));
    EXPECT_FALSE(values.getValue(5, destination, 2));
    EXPECT_FALSE(values.getValue(5, destination, 0));
    EXPECT_THAT(destination, Each(untouched));
}

TEST_F(NoteworthyValues, AValueThatIsRemovedIsReadNoMore) {
    platform().setNoteworthyValue(5, 1);
    platform().removeNoteworthyValue(5);
    EXPECT_FALSE(values.getValue(5, destination, 1));
    EXPECT_THAT(destination, Each(untouched));
}

class Boards : public contract::ContractTest {
protected:
    /** IMC address family that the library passes. */
    int const family = 12;
};

TEST_F(Boards, ABoardOfTheGatewayIsKnown) {
    platform().setBoard("10.0.0.1", 0x21);
    platform().setBoard("10.0.0.2", 0x22);
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress(0x0A000002)));
}

TEST_F(Boards, AnotherAddressIsNoBoards) {
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    platform().setBoard("10.0.0.1", 0x21);
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.2")));
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress::IpAddressAny));
}

TEST_F(Boards, ABoardHasItsImcAddress) {
    platform().setBoard("10.0.0.1", 0x21);
    platform().setBoard("10.0.0.2", 0x80);
    platform().setBoard("10.0.0.3", 0xFA);
    EXPECT_EQ(contract::imc().getSid(family, IPAddress("10.0.0.1")), 0x21);
    EXPECT_EQ(contract::imc().getSid(family, IPAddress("10.0.0.2")), 0x80);
    EXPECT_EQ(contract::imc().getSid(family, IPAddress(0x0A000003)), 0xFA);
}

TEST_F(Boards, ABoardThatIsSetAgainHasItsNewImcAddress) {
    platform().setBoard("10.0.0.1", 0x21);
    platform().setBoard("10.0.0.1", 0x22);
    EXPECT_EQ(contract::imc().getSid(family, IPAddress("10.0.0.1")), 0x22);
}

} // namespace
