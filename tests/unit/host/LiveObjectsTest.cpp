#include "Fixture.h"

#include "collector/GC_GarbageCollector.h"
#include "collector/GC_MetaObject.h"

#include <cstdlib>
#include <new>

namespace {

class LiveObjects : public HostTest {
protected:
    class Counted : public GC_MetaObject {
    public:
        explicit Counted(int& endings) : ended(endings) {}
        ~Counted() override { ++ended; }

    private:
        int& ended;
    };

    GC_GarbageCollector& collector() { return *GC_GarbageCollector::instance(); }

    std::size_t const before = workstation.liveObjects();
    int ended = 0;
};

TEST_F(LiveObjects, ObjectsAreCountedFromTheirConstructionToTheirEnd) {
    auto* const object = new Counted(ended);
    {
        Counted const other(ended);
        EXPECT_EQ(workstation.liveObjects(), before + 2);
    }
    EXPECT_EQ(workstation.liveObjects(), before + 1);
    object->referenceCount = 1;
    collector().dereference(object);
    EXPECT_EQ(workstation.liveObjects(), before);
    EXPECT_EQ(ended, 2);
}

TEST_F(LiveObjects, AReferenceGivenBackToAnObjectWithoutOneIsReportedAndTheObjectStays) {
    Counted object(ended);
    collector().dereference(&object);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(object.referenceCount, 0U);
    EXPECT_EQ(workstation.faultyDereferences(), 1U);
    EXPECT_EQ(counted("collector.reference_not_held"), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "a reference is given back that is not held");
    EXPECT_EQ(lines[0].file, "host/collector/GC_GarbageCollector");
    EXPECT_NE(lines[0].detail.find(" has no reference left"), std::string::npos);
}

TEST_F(LiveObjects, AReferenceGivenBackAfterTheObjectsEndIsReported) {
    // In storage of the test's own, so that no other object takes the place in between.
    alignas(Counted) unsigned char storage[sizeof(Counted)];
    auto* const object = new (storage) Counted(ended);
    object->referenceCount = 1;
    object->~Counted();
    collector().dereference(object);
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(workstation.faultyDereferences(), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].detail.find(" is no live object"), std::string::npos);
}

TEST_F(LiveObjects, TheNullPointerIsReported) {
    collector().dereference(nullptr);
    EXPECT_EQ(workstation.faultyDereferences(), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].detail, "the null pointer is no live object");
}

TEST_F(LiveObjects, AnObjectMayGiveBackReferencesInItsDestructor) {
    class Owner : public GC_MetaObject {
    public:
        explicit Owner(GC_MetaObject& toRelease) : owned(toRelease) {}
        ~Owner() override {
            GC_GarbageCollector::instance()->dereference(&owned);
            GC_GarbageCollector::instance()->dereference(this);
        }

    private:
        GC_MetaObject& owned;
    };
    auto* const owned = new Counted(ended);
    owned->referenceCount = 1;
    auto* const owner = new Owner(*owned);
    owner->referenceCount = 1;
    collector().dereference(owner);
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(workstation.liveObjects(), before);
    EXPECT_EQ(workstation.faultyDereferences(), 1U);
}

TEST_F(LiveObjects, TheTraceSwitchIsSetByTheProgram) {
    EXPECT_FALSE(collector().isTraceOn());
    workstation.setCollectorTrace(true);
    EXPECT_TRUE(collector().isTraceOn());
    workstation.setCollectorTrace(false);
    EXPECT_FALSE(collector().isTraceOn());
}

TEST_F(LiveObjects, TheTraceSwitchIsSetByTheEnvironment) {
    setenv("MC_GC_TRACE", "1", 1);
    workstation.reset();
    EXPECT_TRUE(collector().isTraceOn());
    setenv("MC_GC_TRACE", "0", 1);
    workstation.reset();
    EXPECT_FALSE(collector().isTraceOn());
    EXPECT_EQ(counted("environment.bad_value"), 0U);
    setenv("MC_GC_TRACE", "yes", 1);
    testing::internal::CaptureStderr();
    workstation.reset();
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "MC_GC_TRACE is \"yes\", not a number from 0 to 1"),
              std::string::npos);
    testing::internal::CaptureStderr();
    workstation.reset();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    unsetenv("MC_GC_TRACE");
    EXPECT_FALSE(collector().isTraceOn());
    EXPECT_EQ(counted("environment.bad_value"), 1U);
}

} // namespace
