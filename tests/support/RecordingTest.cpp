#include "tests/support/Recording.h"

#include "address/UDPAddr.h"
#include "collector/GC_GarbageCollector.h"
#include "debug/DBG_Log.h"
#include "imc/IMC_CommandObserver.h"
#include "imc/IMC_Manager.h"
#include "imc/IMC_Observer.h"
#include "tests/support/RecordMatchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

// What the unit tests rely on and the contract suite can't see: the journal, the scripts, and the
// helpers that compare.

namespace {

using recording::Kind;
using recording::platform;
using recording::record;
using testing::ElementsAre;
using testing::IsEmpty;

class Recording : public testing::Test {
protected:
    Recording() { platform().reset(); }

    IMC_Manager& imc = *IMC_Manager::instance(0xff);
};

class QuietObserver : public IMC_Observer {
public:
    void messageEvent(imc_msg const&) override {}
    void timeoutEvent(unsigned int) override {}
};

std::string textWithNul() {
    std::ostringstream text;
    text << "outer" << std::ends << "inner" << std::ends;
    return text.str();
}

TEST_F(Recording, FullTextShowsWhatStandsBehindANul) {
    std::string const text = textWithNul();
    ASSERT_EQ(text.size(), 12U);
    EXPECT_EQ(recording::fullText(std::runtime_error(text)), text);
    EXPECT_EQ(recording::fullText(std::invalid_argument(text)), text);
}

TEST_F(Recording, FullTextOfASharedAndOfAnEmptyText) {
    std::runtime_error const error(textWithNul());
    std::runtime_error const copy(error);
    EXPECT_EQ(recording::fullText(copy), textWithNul());
    EXPECT_EQ(recording::fullText(std::runtime_error("")), "");
}

TEST_F(Recording, JournalKeepsTheOrderAcrossServices) {
    QuietObserver observer;
    imc.registration(&observer, 600);
    {
        DBG_Log log;
        log.trace("text", "file", 7);
        imc.post(recording::message(108, 0, 0));
        log.error("message", "detail", "file", 8);
    }
    imc.unregistration(&observer, 600);
    EXPECT_THAT(platform().journal(),
                ElementsAre("registration 600", "log created", "trace text | file:7", "post 108",
                            "error message | detail | file:8", "log destroyed",
                            "unregistration 600"));
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces),
                ElementsAre("trace text | file:7", "post 108"));
}

TEST_F(Recording, TemporariesAreSeenFromConstructionToDeletion) {
    IPAddress const address("10.0.0.1");
    {
        TransportAddress const temporary(&address, 5004);
        unsigned char bytes[16];
        temporary.GetINetAddress()->GetBinary(bytes);
        EXPECT_EQ(platform().liveClones(), 1U);
    }
    EXPECT_EQ(platform().liveClones(), 0U);
    EXPECT_THAT(platform().journal(),
                ElementsAre("create 10.0.0.1", "TransportAddress(10.0.0.1, 5004)", "Clone 10.0.0.1",
                            "GetBinary 10.0.0.1", "~TransportAddress(10.0.0.1, 5004)",
                            "delete 10.0.0.1"));
}

TEST_F(Recording, ClonesOfEveryKindOfAddressAreCounted) {
    recording::OtherAddress const other("fe80::1", {{0xFE, 0x80}});
    recording::DerivedAddress const derived("10.0.0.2");
    INetAddress* const clones[] = {other.Clone(), derived.Clone()};
    EXPECT_EQ(platform().liveClones(), 2U);
    EXPECT_EQ(platform().liveAddresses(), 2U);
    EXPECT_NE(dynamic_cast<recording::OtherAddress*>(clones[0]), nullptr);
    EXPECT_NE(dynamic_cast<recording::DerivedAddress*>(clones[1]), nullptr);
    delete clones[0];
    delete clones[1];
    EXPECT_THAT(platform().journal(Kind::clones), ElementsAre("Clone fe80::1", "Clone 10.0.0.2",
                                                              "delete fe80::1", "delete 10.0.0.2"));
    EXPECT_EQ(platform().liveClones(), 0U);
}

TEST_F(Recording, PostThrowsWhatTheScriptSaysAndRecordsTheMessage) {
    platform().script.post = recording::once(recording::throwing(std::runtime_error("no route")));
    EXPECT_THROW(imc.post(recording::message(100, 0, 0)), std::runtime_error);
    imc.post(recording::message(102, 0, 0));
    platform().script.post = recording::throwing(7);
    EXPECT_THROW(imc.post(recording::message(104, 0, 0)), int);
    EXPECT_THROW(imc.post(recording::message(106, 0, 0)), int);
    EXPECT_THAT(platform().journal(), ElementsAre("post 100", "post 102", "post 104", "post 106"));
    EXPECT_EQ(platform().posted().size(), 4U);
}

TEST_F(Recording, UnregistrationThatThrowsLeavesTheRegistration) {
    QuietObserver observer;
    imc.registration(&observer, 600);
    platform().script.unregistration =
        recording::once(recording::throwing(std::runtime_error("refused")));
    EXPECT_THROW(imc.unregistration(&observer, 600), std::runtime_error);
    EXPECT_EQ(platform().registered().size(), 1U);
    imc.unregistration(&observer, 600);
    EXPECT_THAT(platform().registered(), IsEmpty());
    EXPECT_EQ(platform().registrations().size(), 3U);
}

TEST_F(Recording, CoreDumpExitAbortsUnlessTheScriptSaysOtherwise) {
    EXPECT_DEATH(IMC_Manager::coreDumpExit(3), "coreDumpExit\\(3\\)");
    platform().script.coreDumpExit = recording::returning();
    IMC_Manager::coreDumpExit(0);
    platform().script.coreDumpExit = recording::throwing(std::logic_error("ended"));
    EXPECT_THROW(IMC_Manager::coreDumpExit(1), std::logic_error);
    EXPECT_THAT(platform().exits(), ElementsAre(0, 1));
}

TEST_F(Recording, TheCollectorsOwnLogIsToldFromAModules) {
    DBG_Log const log;
    log.trace("a", "", 0);
    GC_GarbageCollector::instance()->trace("b", "", 0);
    ASSERT_EQ(platform().traces().size(), 1U);
    EXPECT_EQ(platform().traces()[0].text, "a");
    EXPECT_EQ(platform().traces()[0].log, &log);
    ASSERT_EQ(platform().collectorTraces().size(), 1U);
    EXPECT_EQ(platform().collectorTraces()[0].text, "b");
}

TEST_F(Recording, ResetForgetsEverythingThatWasSetAndRecorded) {
    QuietObserver observer;
    imc.registration(&observer, 600);
    IPAddress const address("10.0.0.1");
    platform().setLogLevel(3);
    platform().setBoard("10.0.0.1", 0x21);
    platform().script.post = recording::throwing(7);
    platform().reset();
    EXPECT_THAT(platform().journal(), IsEmpty());
    EXPECT_THAT(platform().registered(), IsEmpty());
    EXPECT_EQ(platform().liveAddresses(), 0U);
    EXPECT_EQ(DBG_Log().level, 0U);
    EXPECT_EQ(imc.getSid(12, address), recording::Platform::unknownSid);
    imc.post(recording::message(108, 0, 0));
    EXPECT_EQ(platform().posted().size(), 1U);
}

TEST_F(Recording, RecordMatcherComparesEveryByteAndNamesTheFirstDifference) {
    imc_msg message = recording::message(100, 36, 0x05, {0x11, 0x22});
    message.destinationSid = 0xFA;
    auto const typed = record({0, 0x05, 0xFA, 0, 0x00, 0x24, 0, 0, 0, 0, 0, 100}, {0x11, 0x22});
    EXPECT_THAT(message, recording::IsRecord(typed));
    message.payload[1] = 0x23;
    EXPECT_THAT(message, testing::Not(recording::IsRecord(typed)));
    EXPECT_EQ(recording::describeDifference(record(message), typed),
              "byte 13 (payload 1): 0x23, not 0x22");
    message.payload[1] = 0x22;
    message.payload[1023] = 1;
    EXPECT_EQ(recording::firstDifference(record(message), typed), 1035U);
    message.payload[1023] = 0;
    message.length = 37;
    EXPECT_EQ(recording::describeDifference(record(message), typed), "byte 5: 0x25, not 0x24");
}

TEST_F(Recording, RecordRefusesAWrongNumberOfBytes) {
    EXPECT_THROW(record({1, 2, 3}), std::invalid_argument);
    EXPECT_THROW(record({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), std::invalid_argument);
}

} // namespace
