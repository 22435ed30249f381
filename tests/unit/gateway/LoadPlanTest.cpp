#include "gateway/load/LoadPlan.h"
#include "gateway/load/LoadBus.h"
#include "gateway/load/RecordsLoad.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using namespace gateway;
using testing::ElementsAre;
using testing::HasSubstr;

std::string refusalOf(LoadOptions const& options) {
    try {
        planOf(options);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "taken";
}

TEST(LoadPlanTest, ByDefaultOneBoardOfItsOwnAndAFloorBesideIt) {
    LoadPlan const plan = planOf({});
    EXPECT_TRUE(plan.isStartingBoards);
    EXPECT_TRUE(plan.hasFloor);
    EXPECT_THAT(plan.boards, ElementsAre(0x10));
    EXPECT_THAT(plan.responders, ElementsAre(0x90));
    EXPECT_EQ(plan.floorSid, 0x02);
    EXPECT_EQ(plan.processes, 1U);
}

TEST(LoadPlanTest, NoAddressIsTakenTwice) {
    LoadOptions options;
    options.boards = 64;
    options.ownSid = 0x20;
    LoadPlan const plan = planOf(options);
    std::set<unsigned> sids(plan.boards.begin(), plan.boards.end());
    sids.insert(plan.responders.begin(), plan.responders.end());
    sids.insert({plan.floorSid, options.ownSid});
    EXPECT_EQ(sids.size(), 64U + 64 + 2);
    EXPECT_EQ(plan.processes, 4U);
}

TEST(LoadPlanTest, BoardsThatRunAlready) {
    LoadOptions options;
    options.bus = "ipc:///somewhere";
    options.sids = {0x02, 0x90};
    LoadPlan const plan = planOf(options);
    EXPECT_FALSE(plan.isStartingBoards);
    EXPECT_THAT(plan.boards, ElementsAre(0x02, 0x90));
    EXPECT_EQ(plan.floorSid, 0x03);
    EXPECT_THAT(plan.responders, ElementsAre(0x91, 0x92));
    options.bus = "tcp://127.0.0.1:5000";
    EXPECT_FALSE(planOf(options).hasFloor);
}

TEST(LoadPlanTest, RecordsTakeAsManyBoardsAsTheyNeed) {
    LoadOptions options;
    options.records = 32768;
    EXPECT_EQ(planOf(options).boards.size(), 64U);
    EXPECT_FALSE(planOf(options).hasFloor);
    options.records = 513;
    EXPECT_EQ(planOf(options).boards.size(), 2U);
    options.channels = 1;
    EXPECT_THAT(refusalOf(options), HasSubstr("--records 513"));
    options.records = 128;
    EXPECT_EQ(planOf(options).boards.size(), 64U);
}

TEST(LoadPlanTest, WhatDoesNotGoTogetherIsRefused) {
    LoadOptions options;
    options.channels = 4;
    options.outstanding = 9;
    EXPECT_THAT(refusalOf(options), HasSubstr("8 paths only"));
    options.outstanding = 8;
    EXPECT_EQ(refusalOf(options), "taken");
    options.processes = 2;
    EXPECT_THAT(refusalOf(options), HasSubstr("fewer boards"));
    options.processes = 0;
    options.bus = "ipc:///somewhere";
    EXPECT_THAT(refusalOf(options), HasSubstr("belong together"));
    options.sids = {0x10, 0x10};
    EXPECT_THAT(refusalOf(options), HasSubstr("one board's only"));
    options.sids = {0x01};
    EXPECT_THAT(refusalOf(options), HasSubstr("see --as"));
    options.bus = "nowhere";
    options.sids = {0x10};
    EXPECT_NE(refusalOf(options), "taken");
}

TEST(LoadPlanTest, AddressesAreSharedOutEvenly) {
    EXPECT_THAT(sharedOut({1, 2, 3, 4, 5}, 2),
                ElementsAre(ElementsAre(1, 2, 3), ElementsAre(4, 5)));
    EXPECT_THAT(sharedOut({1, 2}, 4), ElementsAre(ElementsAre(1), ElementsAre(2)));
}

TEST(LoadPlanTest, StepsOfRecordsAreDoublingsAndTheEnd) {
    EXPECT_THAT(recordsSteps(32768), ElementsAre(1000, 2000, 4000, 8000, 16000, 32768));
    EXPECT_THAT(recordsSteps(2000), ElementsAre(1000, 2000));
    EXPECT_THAT(recordsSteps(512), ElementsAre(64, 128, 256, 512));
    EXPECT_THAT(recordsSteps(1), ElementsAre(1));
}

} // namespace
