#include "collector/GC_GarbageCollector.h"
#include "collector/GC_MetaObject.h"
#include "tests/contract/PlatformUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using contract::platform;
using testing::SizeIs;

class Collector : public contract::ContractTest {
protected:
    GC_GarbageCollector& collector = *GC_GarbageCollector::instance();
    std::size_t const liveBefore = platform().liveObjects();

    std::size_t liveSinceStart() const { return platform().liveObjects() - liveBefore; }
};

class Object : public GC_MetaObject {
public:
    explicit Object(int& counter) : destructions(counter) {}

    ~Object() override {
        ++destructions;
        if (owned != nullptr) {
            GC_GarbageCollector::instance()->dereference(owned);
        }
    }

    GC_MetaObject* owned = nullptr;

private:
    int& destructions;
};

TEST_F(Collector, IsTheSameEveryTime) {
    ASSERT_NE(GC_GarbageCollector::instance(), nullptr);
    EXPECT_EQ(GC_GarbageCollector::instance(), GC_GarbageCollector::instance());
}

TEST_F(Collector, ANewObjectHasNoReference) {
    int destructions = 0;
    Object const object(destructions);
    EXPECT_EQ(object.referenceCount, 0U);
    EXPECT_EQ(liveSinceStart(), 1U);
}

TEST_F(Collector, AnObjectLivesAsLongAsAReferenceIsHeld) {
    int destructions = 0;
    auto* const object = new Object(destructions);
    object->referenceCount = 3;
    collector.dereference(object);
    EXPECT_EQ(object->referenceCount, 2U);
    collector.dereference(object);
    EXPECT_EQ(object->referenceCount, 1U);
    EXPECT_EQ(destructions, 0);
    EXPECT_EQ(liveSinceStart(), 1U);
    collector.dereference(object);
    EXPECT_EQ(destructions, 1);
    EXPECT_EQ(liveSinceStart(), 0U);
}

TEST_F(Collector, AnObjectMayGiveBackReferencesWhileItIsDestroyed) {
    int destructions = 0;
    auto* const outer = new Object(destructions);
    auto* const inner = new Object(destructions);
    outer->referenceCount = 1;
    inner->referenceCount = 1;
    outer->owned = inner;
    collector.dereference(outer);
    EXPECT_EQ(destructions, 2);
    EXPECT_EQ(liveSinceStart(), 0U);
}

TEST_F(Collector, AnObjectThatItsOwnerDestroysIsCountedNoMore) {
    int destructions = 0;
    { Object const object(destructions); }
    EXPECT_EQ(destructions, 1);
    EXPECT_EQ(liveSinceStart(), 0U);
}

TEST_F(Collector, TraceSwitchIsSeen) {
    EXPECT_FALSE(collector.isTraceOn());
    platform().setCollectorTrace(true);
    EXPECT_TRUE(collector.isTraceOn());
    platform().setCollectorTrace(false);
    EXPECT_FALSE(collector.isTraceOn());
}

TEST_F(Collector, IsALogOfItsOwn) {
    platform().setLogLevel(3);
    collector.trace("reference 0x1\n", "", 0);
    auto const lines = platform().logLines();
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_FALSE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "reference 0x1\n");
    EXPECT_EQ(lines[0].file, "");
    EXPECT_EQ(lines[0].line, 0);
}

} // namespace
