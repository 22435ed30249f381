#include "host/bus/Window.h"

#include <gtest/gtest.h>

namespace {

using host::Window;
using Counts = std::map<unsigned char, std::uint64_t>;

TEST(Window, CountsWhatIsNotTaken) {
    Window window(3);
    EXPECT_TRUE(window.isEmpty());
    EXPECT_EQ(window.accept(0x10), 1U);
    EXPECT_EQ(window.accept(0x11), 2U);
    EXPECT_FALSE(window.isFull());
    EXPECT_EQ(window.accept(0x10), 3U);
    EXPECT_TRUE(window.isFull());
    EXPECT_EQ(window.outstanding(), (Counts{{0x10, 2}, {0x11, 1}}));
    EXPECT_TRUE(window.take(2));
    EXPECT_EQ(window.size(), 1U);
    EXPECT_EQ(window.outstanding(), (Counts{{0x10, 1}}));
    EXPECT_EQ(window.accept(0x12), 4U);
    EXPECT_TRUE(window.take(4));
    EXPECT_TRUE(window.isEmpty());
}

TEST(Window, TakingTwiceChangesNothing) {
    Window window(3);
    window.accept(0x10);
    window.accept(0x10);
    EXPECT_TRUE(window.take(1));
    EXPECT_TRUE(window.take(1));
    EXPECT_EQ(window.size(), 1U);
}

TEST(Window, RefusesToTakeWhatWasNotSentOrWasTakenLongAgo) {
    Window window(3);
    EXPECT_FALSE(window.take(1));
    window.accept(0x10);
    window.accept(0x10);
    EXPECT_FALSE(window.take(3));
    EXPECT_FALSE(window.take(UINT64_MAX));
    EXPECT_TRUE(window.take(2));
    EXPECT_FALSE(window.take(1));
    EXPECT_TRUE(window.isEmpty());
}

TEST(Window, AnAbandonedMessageKeepsItsPlaceAndIsCountedOnce) {
    Window window(4);
    window.accept(0x10);
    window.accept(0x11);
    window.accept(0x10);
    EXPECT_EQ(window.abandon(0x10), 2U);
    EXPECT_EQ(window.abandon(0x10), 0U);
    EXPECT_EQ(window.outstanding(), (Counts{{0x11, 1}}));
    EXPECT_EQ(window.size(), 3U);
    EXPECT_EQ(window.accept(0x11), 4U);
    EXPECT_TRUE(window.take(3));
    EXPECT_EQ(window.outstanding(), (Counts{{0x11, 1}}));
}

} // namespace
