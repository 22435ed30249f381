#include "host/imc/Dispatcher.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using host::Dispatcher;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

bool never() {
    return false;
}

TEST(Dispatcher, RunsTasksInTheOrderInWhichTheyWereAdded) {
    Dispatcher loop;
    std::string order;
    loop.post([&] { order += "a"; });
    loop.post([&] { order += "b"; });
    loop.post([&] { order += "c"; });
    EXPECT_EQ(loop.runReady(), 3U);
    EXPECT_EQ(order, "abc");
}

TEST(Dispatcher, RunsWhatATaskAddsInTheSameTurn) {
    Dispatcher loop;
    std::string order;
    loop.post([&] {
        order += "a";
        loop.post([&] { order += "c"; });
    });
    loop.post([&] { order += "b"; });
    EXPECT_EQ(loop.runReady(), 3U);
    EXPECT_EQ(order, "abc");
}

TEST(Dispatcher, LeavesATaskThatIsNotDueYet) {
    Dispatcher loop;
    bool ran = false;
    loop.postAfter(hours(1), [&] { ran = true; });
    EXPECT_EQ(loop.runReady(), 0U);
    EXPECT_FALSE(ran);
}

TEST(Dispatcher, RunsTimersInTheOrderInWhichTheyFallDue) {
    Dispatcher loop;
    std::string order;
    // Far enough apart for a machine that halts the test between two of the calls.
    loop.postAfter(milliseconds(1000), [&] { order += "c"; });
    loop.postAfter(milliseconds(1), [&] { order += "a"; });
    loop.postAfter(milliseconds(500), [&] { order += "b"; });
    EXPECT_TRUE(loop.runUntil([&] { return order.size() == 3; }, seconds(60)));
    EXPECT_EQ(order, "abc");
}

TEST(Dispatcher, ANegativeDelayIsDueNow) {
    Dispatcher loop;
    loop.postAfter(milliseconds(-5), [] {});
    EXPECT_EQ(loop.runReady(), 1U);
}

TEST(Dispatcher, AnEndlessDelayIsNeverDue) {
    Dispatcher loop;
    loop.postAfter(milliseconds::max(), [] {});
    EXPECT_EQ(loop.runReady(), 0U);
}

TEST(Dispatcher, RefusesAnEmptyTask) {
    Dispatcher loop;
    EXPECT_THROW(loop.post(nullptr), std::invalid_argument);
    EXPECT_THROW(loop.postAfter(milliseconds(1), nullptr), std::invalid_argument);
}

TEST(Dispatcher, RunUntilTestsTheConditionBeforeTheFirstTask) {
    Dispatcher loop;
    bool ran = false;
    loop.post([&] { ran = true; });
    EXPECT_TRUE(loop.runUntil([] { return true; }, seconds(60)));
    EXPECT_FALSE(ran);
}

TEST(Dispatcher, RunUntilTestsTheConditionAfterEachTask) {
    Dispatcher loop;
    int ran = 0;
    for (int i = 0; i < 3; ++i) {
        loop.post([&] { ++ran; });
    }
    EXPECT_TRUE(loop.runUntil([&] { return ran == 2; }, seconds(60)));
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(loop.runReady(), 1U);
}

TEST(Dispatcher, RunUntilSaysThatTheLimitPassed) {
    Dispatcher loop;
    EXPECT_FALSE(loop.runUntil(never, milliseconds(5)));
}

TEST(Dispatcher, RunUntilRunsWhatFallsDueWithinTheLimit) {
    Dispatcher loop;
    std::string order;
    loop.post([&] { order += "a"; });
    loop.postAfter(milliseconds(1), [&] { order += "b"; });
    loop.postAfter(hours(1), [&] { order += "c"; });
    EXPECT_FALSE(loop.runUntil(never, milliseconds(10)));
    EXPECT_EQ(order, "ab");
}

TEST(Dispatcher, RunUntilEndsAlthoughATaskKeepsAddingItself) {
    Dispatcher loop;
    Dispatcher::Task again = [&] { loop.post(again); };
    loop.post(again);
    EXPECT_FALSE(loop.runUntil(never, milliseconds(5)));
}

TEST(Dispatcher, RunUntilTakesAnEndlessLimit) {
    Dispatcher loop;
    bool ran = false;
    loop.post([&] { ran = true; });
    EXPECT_TRUE(loop.runUntil([&] { return ran; }, milliseconds::max()));
}

TEST(Dispatcher, StopEndsRunAfterTheTaskThatIsRunning) {
    Dispatcher loop;
    std::string order;
    loop.post([&] {
        loop.stop();
        order += "a";
    });
    loop.post([&] { order += "b"; });
    loop.run();
    EXPECT_EQ(order, "a");
    EXPECT_EQ(loop.runReady(), 1U);
}

TEST(Dispatcher, StopBeforeRunEndsThatRunAndNoOther) {
    Dispatcher loop;
    loop.stop();
    loop.run();
    bool ran = false;
    loop.post([&] {
        ran = true;
        loop.stop();
    });
    loop.run();
    EXPECT_TRUE(ran);
}

TEST(Dispatcher, RefusesToRunInsideATask) {
    Dispatcher loop;
    std::vector<std::string> refused;
    loop.post([&] {
        try {
            loop.runReady();
        } catch (std::logic_error const& error) {
            refused.push_back(error.what());
        }
    });
    loop.runReady();
    EXPECT_EQ(refused, std::vector<std::string>{"the dispatch loop runs already"});
    EXPECT_EQ(loop.runReady(), 0U);
}

TEST(Dispatcher, AnExceptionOfATaskLeavesTheRunAndKeepsTheOtherTasks) {
    Dispatcher loop;
    bool ran = false;
    loop.post([] { throw std::out_of_range("task"); });
    loop.post([&] { ran = true; });
    EXPECT_THROW(loop.runReady(), std::out_of_range);
    EXPECT_FALSE(ran);
    EXPECT_EQ(loop.runReady(), 1U);
    EXPECT_TRUE(ran);
}

TEST(Dispatcher, ClearDropsTasksTimersAndStop) {
    Dispatcher loop;
    std::string order;
    loop.post([&] { order += "a"; });
    loop.postAfter(milliseconds(1), [&] { order += "b"; });
    loop.stop();
    loop.clear();
    loop.postAfter(milliseconds(5), [&] {
        order += "c";
        loop.stop();
    });
    loop.run();
    EXPECT_EQ(order, "c");
}

TEST(Dispatcher, ADroppedTaskMayAddAnotherAtItsEnd) {
    struct Parting {
        explicit Parting(Dispatcher& toLoop) : loop(toLoop) {}
        ~Parting() {
            loop.post([] {});
        }
        Dispatcher& loop;
    };
    Dispatcher loop;
    auto parting = std::make_shared<Parting>(loop);
    loop.post([parting] {});
    parting.reset();
    loop.clear();
    EXPECT_EQ(loop.runReady(), 1U);
}

TEST(Dispatcher, AppliesAChangeAtOnceOnItsOwnThread) {
    Dispatcher loop;
    bool applied = false;
    loop.apply([&] { applied = true; });
    EXPECT_TRUE(applied);
    EXPECT_EQ(loop.runReady(), 0U);
}

} // namespace
