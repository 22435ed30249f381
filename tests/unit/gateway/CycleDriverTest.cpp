#include "gateway/load/CycleDriver.h"
#include "gateway/load/RecordedCycle.h"

#include <gmock/gmock.h>

#include <set>

namespace {

using namespace gateway;
using std::chrono::milliseconds;
using testing::ElementsAre;

MediaPath path(unsigned dsp, MediaPath::Direction direction = MediaPath::Direction::in) {
    return {0x10, static_cast<std::uint8_t>(dsp), direction};
}

/** Acknowledges what it is told to, one task of the loop later. */
class PlayedBoard : public CycleOperations {
public:
    PlayedBoard(host::Dispatcher& loop, std::vector<MediaPath> const& all)
        : dispatcher(loop), paths(all) {}

    void open(std::size_t index) override {
        log.push_back("open " + std::to_string(index));
        mostOpen = std::max(mostOpen, ++underWay);
        answer({paths[index], true, openError});
    }
    void update(std::size_t index) override { log.push_back("update " + std::to_string(index)); }
    void close(std::size_t index) override {
        log.push_back("close " + std::to_string(index));
        answer({paths[index], false, 0});
    }

    CycleDriver* driver = nullptr;
    std::vector<std::string> log;
    /** Of openings. */
    std::uint8_t openError = 0;
    std::set<std::size_t> silentDsps;
    std::size_t underWay = 0;
    std::size_t mostOpen = 0;

private:
    void answer(PathAcknowledged const& what) {
        if (silentDsps.count(what.path.dsp) == 0) {
            dispatcher.post([this, what] {
                underWay -= what.isOpen ? 0 : 1;
                driver->acknowledged(what);
            });
        }
    }

    host::Dispatcher& dispatcher;
    std::vector<MediaPath> const& paths;
};

struct CycleDriverTest : testing::Test {
    CycleDriverTest() { board.driver = &driver; }

    CycleTally run(std::uint64_t cycles, std::size_t outstanding) {
        CycleGoal goal;
        goal.cycles = cycles;
        goal.outstanding = outstanding;
        return driver.run(goal);
    }

    host::Dispatcher loop;
    std::vector<MediaPath> paths = {path(0), path(1), path(2), path(2, MediaPath::Direction::out)};
    PlayedBoard board{loop, paths};
    CycleDriver driver{loop, paths, board, milliseconds(20)};
};

TEST_F(CycleDriverTest, ACycleOpensUpdatesAndCloses) {
    CycleTally const tally = run(2, 1);
    EXPECT_THAT(board.log,
                ElementsAre("open 0", "update 0", "close 0", "open 1", "update 1", "close 1"));
    EXPECT_EQ(tally.completed, 2U);
    EXPECT_EQ(tally.begun(), 2U);
    for (Latencies const* const latencies : {&tally.open, &tally.update, &tally.close,
                                             &tally.openAcknowledged, &tally.closeAcknowledged}) {
        EXPECT_EQ(latencies->count(), 2U);
    }
}

TEST_F(CycleDriverTest, NoMoreAreUnderWayThanAreAllowed) {
    CycleTally const tally = run(100, 3);
    EXPECT_EQ(tally.completed, 100U);
    EXPECT_EQ(board.mostOpen, 3U);
    EXPECT_EQ(driver.completed(), 100U);
}

TEST_F(CycleDriverTest, NoPathIsTakenTwiceAtATime) {
    EXPECT_EQ(run(100, 50).completed, 100U);
    EXPECT_EQ(board.mostOpen, 4U);
}

TEST_F(CycleDriverTest, AnErrorIsARefusalAndThePathIsUsedOn) {
    board.openError = 5;
    CycleTally const tally = run(9, 2);
    EXPECT_EQ(tally.refused, 9U);
    EXPECT_EQ(tally.completed, 0U);
}

TEST_F(CycleDriverTest, ALostAcknowledgementIsCountedAndItsPathClosedAndLeftAlone) {
    board.silentDsps = {1};
    CycleTally const tally = run(10, 2);
    EXPECT_EQ(tally.lost, 1U);
    EXPECT_EQ(tally.completed, 9U);
    EXPECT_EQ(std::count(board.log.begin(), board.log.end(), "open 1"), 1);
    EXPECT_EQ(std::count(board.log.begin(), board.log.end(), "update 1"), 0);
    EXPECT_EQ(std::count(board.log.begin(), board.log.end(), "close 1"), 1);
    driver.acknowledged({path(1), true, 0});
    board.silentDsps.clear();
    CycleTally const second = run(10, 2);
    EXPECT_EQ(second.completed, 10U);
    EXPECT_EQ(std::count(board.log.begin(), board.log.end(), "open 1"), 1);
}

TEST_F(CycleDriverTest, ARunEndsWhenNoPathIsLeft) {
    board.silentDsps = {0, 1, 2};
    CycleTally const tally = run(10, 4);
    EXPECT_EQ(tally.lost, 4U);
    EXPECT_EQ(tally.begun(), 4U);
}

TEST_F(CycleDriverTest, WhatNobodyWaitsForIsUnexpected) {
    loop.post([this] {
        driver.acknowledged({path(0), false, 0});
        driver.acknowledged({path(7), true, 0});
    });
    CycleTally const tally = run(1, 1);
    EXPECT_EQ(tally.completed, 1U);
    EXPECT_EQ(tally.unexpected, 2U);
}

TEST_F(CycleDriverTest, FinishingLetsEndWhatIsUnderWay) {
    loop.post([this] { driver.finish(); });
    CycleTally const tally = run(1000000, 3);
    EXPECT_EQ(tally.completed, tally.begun());
    EXPECT_EQ(board.underWay, 0U);
    EXPECT_LT(tally.begun(), 1000000U);
    EXPECT_EQ(run(5, 3).completed, 5U);
}

TEST_F(CycleDriverTest, AbandoningEndsAtOnceAndForGood) {
    board.silentDsps = {0, 1, 2};
    loop.post([this] { driver.abandon(); });
    CycleTally const tally = run(10, 3);
    EXPECT_EQ(tally.abandoned, 3U);
    EXPECT_EQ(tally.begun(), 3U);
    EXPECT_EQ(run(10, 3).completed, 0U);
}

TEST_F(CycleDriverTest, ARateBeginsAsManyAsAreWanted) {
    CycleGoal goal;
    goal.cycles = 30;
    goal.outstanding = 4;
    goal.rate = 2000;
    EXPECT_EQ(driver.run(goal).completed, 30U);
}

TEST_F(CycleDriverTest, TheLastPauseBelongsToTheRate) {
    CycleGoal goal;
    goal.cycles = 2;
    goal.outstanding = 4;
    goal.rate = 50;
    CycleTally const tally = driver.run(goal);
    EXPECT_EQ(tally.completed, 2U);
    EXPECT_GE(tally.elapsed, milliseconds(40));
}

TEST_F(CycleDriverTest, AtARateTheFirstMayBeDueLaterOrNotAtAll) {
    CycleGoal goal;
    goal.time = milliseconds(30);
    goal.outstanding = 4;
    goal.rate = 1;
    goal.first = milliseconds(10);
    EXPECT_EQ(driver.run(goal).begun(), 1U);
    goal.first = milliseconds(40);
    EXPECT_EQ(driver.run(goal).begun(), 0U);
}

TEST_F(CycleDriverTest, ATimeEndsARun) {
    CycleGoal goal;
    goal.time = milliseconds(30);
    goal.outstanding = 2;
    CycleTally const tally = driver.run(goal);
    EXPECT_GT(tally.completed, 0U);
    EXPECT_EQ(tally.completed, tally.begun());
    EXPECT_GE(tally.elapsed, goal.time);
}

TEST(CycleTallyTest, SumsCountBoth) {
    CycleTally one;
    one.completed = 1;
    one.lost = 2;
    one.elapsed = milliseconds(500);
    CycleTally other;
    other.completed = 2;
    other.refused = 3;
    other.abandoned = 4;
    other.unexpected = 5;
    other.elapsed = milliseconds(1000);
    one.add(other);
    EXPECT_EQ(one.begun(), 3U + 2 + 3 + 4);
    EXPECT_EQ(one.unexpected, 5U);
    EXPECT_DOUBLE_EQ(one.perSecond(), 2);
    EXPECT_DOUBLE_EQ(CycleTally().perSecond(), 0);
}

} // namespace
