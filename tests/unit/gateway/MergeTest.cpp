#include "gateway/capture/Merge.h"

#include <gmock/gmock.h>

namespace {

using gateway::Gaps;
using gateway::Merge;
using gateway::TimedMessage;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

class MergeTest : public testing::Test {
protected:
    /** @param id tells it apart; @param time and @param arrival in milliseconds */
    void add(std::string const& sender, unsigned id, int time, int arrival) {
        TimedMessage message;
        message.sender = sender;
        message.time = milliseconds(time);
        message.message.messageId = id;
        merge.add(message, start + milliseconds(arrival));
    }
    std::vector<unsigned> due(int now) { return ids(merge.takeDue(start + milliseconds(now))); }
    std::vector<unsigned> rest() { return ids(merge.takeAll()); }

    static std::vector<unsigned> ids(std::vector<TimedMessage> const& messages) {
        std::vector<unsigned> result;
        for (TimedMessage const& each : messages) {
            result.push_back(each.message.messageId);
        }
        return result;
    }

    Merge merge{milliseconds(100)};
    Merge::Clock::time_point const start{};
};

TEST_F(MergeTest, HoldsAMessageAsLongAsItIsToldTo) {
    add("a", 1, 0, 0);
    EXPECT_THAT(due(99), IsEmpty());
    EXPECT_THAT(due(100), ElementsAre(1));
    EXPECT_EQ(merge.size(), 0U);
}

TEST_F(MergeTest, BringsMessagesOfSeveralSendersIntoTheOrderOfTheirTimes) {
    add("b", 2, 20, 0);
    add("a", 1, 10, 50);
    add("c", 3, 30, 60);
    EXPECT_THAT(due(100), ElementsAre(1, 2));
    EXPECT_THAT(due(159), IsEmpty());
    EXPECT_THAT(due(160), ElementsAre(3));
}

TEST_F(MergeTest, OneThatIsLaterThanTheWindowStandsWhereItComes) {
    add("a", 2, 20, 0);
    EXPECT_THAT(due(100), ElementsAre(2));
    add("b", 1, 10, 110);
    add("a", 3, 30, 111);
    EXPECT_THAT(due(211), ElementsAre(1, 3));
}

TEST_F(MergeTest, KeepsEachSendersOrderWhenItsClockWasSetBack) {
    add("a", 1, 1000, 0);
    add("a", 2, 10, 1);
    add("a", 3, 20, 2);
    add("b", 4, 15, 3);
    EXPECT_THAT(rest(), ElementsAre(4, 1, 2, 3));
}

TEST_F(MergeTest, TheTimesThemselvesStayAsTheyWere) {
    add("a", 1, 1000, 0);
    add("a", 2, 10, 1);
    EXPECT_EQ(merge.takeAll().at(1).time, milliseconds(10));
}

TEST_F(MergeTest, MessagesOfTheSameTimeStandAsTheyCame) {
    add("b", 1, 5, 0);
    add("a", 2, 5, 0);
    add("b", 3, 5, 0);
    EXPECT_THAT(rest(), ElementsAre(1, 2, 3));
}

TEST_F(MergeTest, TheRestComesInOrderAndOnce) {
    add("a", 2, 20, 0);
    add("b", 1, 10, 1);
    EXPECT_THAT(rest(), ElementsAre(1, 2));
    EXPECT_THAT(rest(), IsEmpty());
    EXPECT_THAT(due(1000), IsEmpty());
}

TEST(Gaps, NothingIsMissingInARow) {
    Gaps gaps;
    EXPECT_EQ(gaps.arrived(7, 0), 0U);
    EXPECT_EQ(gaps.arrived(8, 0), 0U);
    EXPECT_EQ(gaps.total(), 0U);
}

TEST(Gaps, WhatIsMissingInARowIsCounted) {
    Gaps gaps;
    gaps.arrived(7, 0);
    EXPECT_EQ(gaps.arrived(10, 2), 2U);
    EXPECT_EQ(gaps.arrived(11, 2), 0U);
    EXPECT_EQ(gaps.total(), 2U);
}

TEST(Gaps, WhatTheFirstOneSaysIsCounted) {
    Gaps gaps;
    EXPECT_EQ(gaps.arrived(7, 3), 3U);
    EXPECT_EQ(gaps.total(), 3U);
}

TEST(Gaps, WhatIsToldFirstAndSaidAgainIsCountedOnce) {
    Gaps gaps;
    gaps.arrived(7, 1);
    gaps.told(4);
    EXPECT_EQ(gaps.total(), 4U);
    gaps.told(5);
    EXPECT_EQ(gaps.total(), 5U);
    EXPECT_EQ(gaps.arrived(12, 5), 4U);
    EXPECT_EQ(gaps.total(), 5U);
}

TEST(Gaps, WhatWasSentWhileTheLinkWasBrokenIsMissing) {
    Gaps gaps;
    gaps.arrived(7, 5);
    EXPECT_EQ(gaps.arrived(10, 0), 2U);
    gaps.told(1);
    EXPECT_EQ(gaps.total(), 8U);
}

TEST(Gaps, ASenderThatStartedAnewCountsFromItsBeginning) {
    Gaps gaps;
    gaps.arrived(700, 0);
    EXPECT_EQ(gaps.arrived(3, 0), 0U);
    EXPECT_EQ(gaps.arrived(5, 1), 1U);
    EXPECT_EQ(gaps.total(), 1U);
}

} // namespace
