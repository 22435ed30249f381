#include "debug/DBG_Output.h"

#include <gtest/gtest.h>

namespace {

TEST(Output, DirectionsHaveNames) {
    ASSERT_EQ(DBG_Output::directionToStrMAX, 3);
    EXPECT_EQ(DBG_Output::directionToStr[VCOM_DIRECTION_NONE], "none");
    EXPECT_EQ(DBG_Output::directionToStr[VCOM_DIRECTION_IN], "in");
    EXPECT_EQ(DBG_Output::directionToStr[VCOM_DIRECTION_OUT], "out");
}

TEST(Output, CodecsHaveTheNamesOfTheirRecommendations) {
    ASSERT_EQ(DBG_Output::codecToStrMAX, 6);
    EXPECT_EQ(DBG_Output::codecToStr[0], "none");
    EXPECT_EQ(DBG_Output::codecToStr[1], "G.711 A-law");
    EXPECT_EQ(DBG_Output::codecToStr[2], "G.711 mu-law");
    EXPECT_EQ(DBG_Output::codecToStr[3], "G.723.1");
    EXPECT_EQ(DBG_Output::codecToStr[4], "G.729");
    EXPECT_EQ(DBG_Output::codecToStr[5], "G.729A");
}

TEST(Output, EveryFramingIsNamedByItsMillisecondsAndAnEmptyNameEndsTheTable) {
    for (int i = 0; i < 15; ++i) {
        EXPECT_EQ(DBG_Output::framingToStr[i].framing, 10 * (i + 1));
        EXPECT_EQ(DBG_Output::framingToStr[i].name, std::to_string(10 * (i + 1)));
    }
    EXPECT_EQ(DBG_Output::framingToStr[15].name, "");
}

} // namespace
