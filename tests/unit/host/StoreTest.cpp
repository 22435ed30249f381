#include "host/config/Store.h"

#include "Fixture.h"

#include "config/CFG_Store.h"

#include <cstring>
#include <stdexcept>

namespace {

using host::Store;

class StoreTest : public testing::Test {
protected:
    StoreTest() {
        store.set("s", "text", std::string("udp"));
        store.set("s", "byte", std::uint8_t{200});
        std::memset(destination, 0x55, sizeof destination);
    }

    int read(char const* section, char const* key, int type) {
        count = 1;
        return store.read(section, key, destination, type, &count);
    }

    bool untouched() const {
        for (unsigned char const byte : destination) {
            if (byte != 0x55) {
                return false;
            }
        }
        return true;
    }

    Store store;
    unsigned char destination[66];
    int count = 1;
};

TEST_F(StoreTest, ReadsATextWithItsNulAndNoByteMore) {
    EXPECT_EQ(read("s", "text", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(std::memcmp(destination, "udp\0\x55", 5), 0);
}

TEST_F(StoreTest, ReadsAByteAndNoByteMore) {
    EXPECT_EQ(read("s", "byte", CFG_TYPE_BYTE), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(destination[0], 200);
    EXPECT_EQ(destination[1], 0x55);
}

TEST_F(StoreTest, AnythingElseFailsAndLeavesTheDestination) {
    EXPECT_NE(read("s", "text", CFG_TYPE_BYTE), 0);
    EXPECT_EQ(count, 0);
    EXPECT_NE(read("s", "byte", CFG_TYPE_TEXT), 0);
    EXPECT_NE(read("s", "text", 4), 0);
    EXPECT_NE(read("s", "other", CFG_TYPE_TEXT), 0);
    EXPECT_NE(read("other", "text", CFG_TYPE_TEXT), 0);
    EXPECT_NE(read(nullptr, "text", CFG_TYPE_TEXT), 0);
    EXPECT_NE(read("s", nullptr, CFG_TYPE_TEXT), 0);
    count = 0;
    EXPECT_NE(store.read("s", "text", destination, CFG_TYPE_TEXT, &count), 0);
    EXPECT_NE(store.read("s", "text", destination, CFG_TYPE_TEXT, nullptr), 0);
    EXPECT_NE(store.read("s", "text", nullptr, CFG_TYPE_TEXT, &(count = 1)), 0);
    EXPECT_TRUE(untouched());
}

TEST_F(StoreTest, ATextOf63CharactersFills64Bytes) {
    store.set("s", "text", std::string(63, 'x'));
    EXPECT_EQ(read("s", "text", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(destination[62], 'x');
    EXPECT_EQ(destination[63], 0);
    EXPECT_EQ(destination[64], 0x55);
}

TEST_F(StoreTest, ALongerTextOrOneWithANulIsRefusedAndTheOneBeforeStays) {
    EXPECT_EQ(
        failureOf<std::invalid_argument>([&] { store.set("s", "text", std::string(64, 'x')); }),
        "s text: a text has 63 characters at most, not 64");
    EXPECT_EQ(
        failureOf<std::invalid_argument>([&] { store.set("s", "text", std::string("a\0b", 3)); }),
        "s text: a text holds no NUL character");
    EXPECT_EQ(read("s", "text", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(std::memcmp(destination, "udp", 4), 0);
}

TEST_F(StoreTest, AValueTakesThePlaceOfOneOfAnotherType) {
    store.set("s", "text", std::uint8_t{1});
    EXPECT_NE(read("s", "text", CFG_TYPE_TEXT), 0);
    EXPECT_EQ(read("s", "text", CFG_TYPE_BYTE), 0);
    store.remove("s", "text");
    EXPECT_NE(read("s", "text", CFG_TYPE_BYTE), 0);
}

} // namespace
