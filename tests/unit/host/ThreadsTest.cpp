#include "Fixture.h"

#include "debug/DBG_Log.h"

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

using host::Dispatcher;

class Threads : public HostTest {
protected:
    Threads() {
        // The fixture's own sink belongs to one thread.
        workstation.setLogSink([this](host::Workstation::LogLine const&) { ++logged; });
    }

    std::atomic<int> logged{0};
};

TEST(DispatcherThreads, TasksOfEveryThreadRunOnceInTheOrderOfTheirThread) {
    constexpr int threads = 4;
    constexpr int tasks = 500;
    Dispatcher loop;
    std::vector<std::vector<int>> seen(threads);
    std::vector<std::thread> posters;
    int ran = 0;
    for (int thread = 0; thread < threads; ++thread) {
        posters.emplace_back([&, thread] {
            for (int i = 0; i < tasks; ++i) {
                loop.post([&, thread, i] {
                    seen[static_cast<std::size_t>(thread)].push_back(i);
                    ++ran;
                });
            }
        });
    }
    EXPECT_TRUE(loop.runUntil([&] { return ran == threads * tasks; }, std::chrono::seconds(60)));
    for (std::thread& poster : posters) {
        poster.join();
    }
    for (std::vector<int> const& ofThread : seen) {
        ASSERT_EQ(ofThread.size(), static_cast<std::size_t>(tasks));
        for (int i = 0; i < tasks; ++i) {
            EXPECT_EQ(ofThread[static_cast<std::size_t>(i)], i);
        }
    }
}

TEST(DispatcherThreads, ATaskOfAnotherThreadWakesTheLoop) {
    Dispatcher loop;
    bool ran = false;
    loop.postAfter(std::chrono::hours(1), [] {});
    std::thread poster([&] {
        loop.post([&] { ran = true; });
        loop.postAfter(std::chrono::milliseconds(1), [&] { loop.stop(); });
    });
    loop.run();
    poster.join();
    EXPECT_TRUE(ran);
}

TEST(DispatcherThreads, StopOfAnotherThreadEndsRun) {
    Dispatcher loop;
    std::thread stopper([&] { loop.stop(); });
    loop.run();
    stopper.join();
    EXPECT_EQ(loop.runReady(), 0U);
}

TEST(DispatcherThreads, ASecondThreadIsRefusedWhileTheLoopRuns) {
    Dispatcher loop;
    std::string refused;
    loop.post([&] {
        std::thread second([&] {
            try {
                loop.runReady();
            } catch (std::logic_error const& error) {
                refused = error.what();
            }
        });
        second.join();
    });
    loop.runReady();
    EXPECT_EQ(refused, "the dispatch loop runs already");
}

TEST(DispatcherThreads, AChangeOfAnotherThreadIsATaskOfTheLoop) {
    Dispatcher loop;
    std::thread::id applied;
    std::thread other([&] { loop.apply([&] { applied = std::this_thread::get_id(); }); });
    other.join();
    EXPECT_EQ(applied, std::thread::id());
    EXPECT_EQ(loop.runReady(), 1U);
    EXPECT_EQ(applied, std::this_thread::get_id());
}

TEST_F(Threads, CommandsOfEveryThreadAreDeliveredAndAnsweredOnTheLoop) {
    constexpr int consoles = 4;
    constexpr int commands = 100;
    std::thread::id const loopThread = std::this_thread::get_id();
    int delivered = 0;
    int answered = 0;
    ScriptedCommand command([&](std::string const& text, int) {
        EXPECT_EQ(std::this_thread::get_id(), loopThread);
        ++delivered;
        imc().answerCommand(text);
    });
    imc().registration(&command, "MC");
    std::vector<std::thread> typists;
    for (int console = 0; console < consoles; ++console) {
        typists.emplace_back([&, console] {
            for (int i = 0; i < commands; ++i) {
                workstation.typeCommand("MC", console, [&](std::string const&) {
                    EXPECT_EQ(std::this_thread::get_id(), loopThread);
                    ++answered;
                });
            }
        });
    }
    EXPECT_TRUE(workstation.dispatcher().runUntil([&] { return answered == consoles * commands; },
                                                  patience));
    for (std::thread& typist : typists) {
        typist.join();
    }
    EXPECT_EQ(delivered, consoles * commands);
    imc().unregistration(&command, "MC");
}

TEST_F(Threads, TheLevelIsSetByAnotherThreadWhileTheLoopReadsIt) {
    DBG_Log const log;
    unsigned int last = 0;
    bool fell = false;
    std::thread setter([&] {
        for (unsigned int level = 0; level <= 100; ++level) {
            workstation.setLogLevel(level);
            EXPECT_EQ(workstation.logLevel(), level);
        }
    });
    std::function<void()> read = [&] {
        fell = fell || log.level < last;
        last = log.level;
        workstation.dispatcher().post(read);
    };
    workstation.dispatcher().post(read);
    EXPECT_TRUE(workstation.dispatcher().runUntil([&] { return log.level == 100; }, patience));
    setter.join();
    EXPECT_FALSE(fell);
}

TEST_F(Threads, ALevelSetByAnotherThreadIsInForceFromTheNextTaskOn) {
    DBG_Log const log;
    workstation.dispatcher().post([&] {
        std::thread([&] { workstation.setLogLevel(3); }).join();
        EXPECT_EQ(log.level, 0U);
        EXPECT_EQ(workstation.logLevel(), 3U);
    });
    workstation.dispatcher().runReady();
    EXPECT_EQ(log.level, 3U);
}

TEST_F(Threads, ALoopOnAThreadOfItsOwnIsStoppedFromOutside) {
    DBG_Log const log;
    std::atomic<unsigned int> seen{0};
    workstation.setLogLevel(1);
    std::thread loop([&] { workstation.dispatcher().run(); });
    workstation.setLogLevel(2);
    workstation.dispatcher().post([&] { seen = log.level; });
    while (seen != 2) {
        std::this_thread::yield();
    }
    workstation.dispatcher().stop();
    loop.join();
    EXPECT_EQ(seen, 2U);
}

TEST_F(Threads, LinesOfEveryThreadAreWrittenWhileTheSinkIsReplaced) {
    constexpr int threads = 4;
    constexpr int linesEach = 200;
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread) {
        writers.emplace_back([] {
            DBG_Log const log;
            for (int i = 0; i < linesEach; ++i) {
                log.error("text", "detail", "file", i);
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        workstation.setLogSink([this](host::Workstation::LogLine const&) { ++logged; });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(logged, threads * linesEach);
}

} // namespace
