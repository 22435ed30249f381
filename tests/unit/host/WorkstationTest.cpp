#include "Fixture.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "config/CFG_Manager.h"
#include "config/CFG_Store.h"
#include "debug/DBG_Log.h"
#include "debug/DBG_NoteworthyValueMgr.h"

#include <memory>
#include <stdexcept>

namespace {

/** A transport that notes what it is asked, for the tests to read. */
class NotingTransport : public host::Transport {
public:
    explicit NotingTransport(std::string& notesTo) : notes(notesTo) {}
    ~NotingTransport() override { notes += "end "; }
    void attach(unsigned char sid, host::Endpoint& endpoint) override {
        if (sid == 0x66) {
            throw std::runtime_error("taken");
        }
        notes += "attach " + std::to_string(sid) + " ";
        served = &endpoint;
    }
    void detach(unsigned char sid) override { notes += "detach " + std::to_string(sid) + " "; }
    void send(imc_msg const& message) override {
        notes += "send " + std::to_string(message.messageId) + " ";
    }
    host::Endpoint* served = nullptr;

private:
    std::string& notes;
};

class Workstation : public HostTest {
protected:
    std::string notes;
};

TEST_F(Workstation, AnotherTransportServesThisProcessAndCarriesWhatItPosts) {
    auto transport = std::make_unique<NotingTransport>(notes);
    NotingTransport& carrier = *transport;
    workstation.setTransport(std::move(transport));
    EXPECT_EQ(&workstation.transport(), &carrier);
    imc().post(messageTo(0xFA, 100));
    EXPECT_EQ(notes, "attach 1 send 100 ");
    std::uint32_t seen = 0;
    ScriptedObserver observer([&](imc_msg const& message) { seen = message.messageId; });
    imc().registration(&observer, 101);
    carrier.served->receive(messageTo(1, 101));
    EXPECT_EQ(seen, 101U);
    imc().unregistration(&observer, 101);
    workstation.setTransport(nullptr);
    EXPECT_EQ(notes, "attach 1 send 100 detach 1 end ");
}

TEST_F(Workstation, ATransportThatDoesNotTakeTheAddressLeavesTheOneBefore) {
    workstation.setSid(0x66);
    host::Transport& before = workstation.transport();
    EXPECT_THROW(workstation.setTransport(std::make_unique<NotingTransport>(notes)),
                 std::runtime_error);
    EXPECT_EQ(&workstation.transport(), &before);
    EXPECT_EQ(notes, "end ");
}

TEST_F(Workstation, AnotherAddressOfThisProcessIsServedAndTheOldOneNoMore) {
    std::uint32_t seen = 0;
    ScriptedObserver observer([&](imc_msg const& message) { seen = message.destinationSid; });
    imc().registration(&observer, 101);
    workstation.setSid(0x90);
    workstation.setSid(0x90);
    EXPECT_EQ(workstation.sid(), 0x90);
    imc().post(messageTo(0x90, 101));
    workstation.dispatcher().runReady();
    EXPECT_EQ(seen, 0x90U);
    EXPECT_THROW(imc().post(messageTo(host::Workstation::defaultSid, 101)), std::runtime_error);
    imc().unregistration(&observer, 101);
}

TEST_F(Workstation, AnAddressThatSomebodyServesIsRefused) {
    KeepingEndpoint board;
    workstation.transport().attach(0xFA, board);
    EXPECT_THROW(workstation.setSid(0xFA), std::runtime_error);
    EXPECT_EQ(workstation.sid(), host::Workstation::defaultSid);
    workstation.transport().detach(0xFA);
}

TEST_F(Workstation, ResetPutsEverythingBack) {
    DBG_Log const log;
    bool ran = false;
    int exits = 0;
    workstation.setTransport(std::make_unique<NotingTransport>(notes));
    workstation.setSid(0x90);
    workstation.setBoard("10.0.0.1", 0x80);
    workstation.setInterface("voicelan", "10.0.0.1");
    workstation.setConfiguration("s", "text", "x");
    workstation.setConfiguration("s", "byte", std::uint8_t{1});
    workstation.setNoteworthyValue(5, 1);
    workstation.setLogLevel(3);
    workstation.setCollectorTrace(true);
    workstation.setExitAction([&](int) { ++exits; });
    workstation.dispatcher().post([&] { ran = true; });
    imc().answerCommand("lost");
    GC_GarbageCollector::instance()->dereference(nullptr);
    ASSERT_EQ(lines.size(), 2U);

    workstation.reset();

    EXPECT_EQ(notes, "attach 1 attach 144 detach 1 detach 144 end ");
    EXPECT_EQ(workstation.sid(), host::Workstation::defaultSid);
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_EQ(IPAddress::GetAddress("voicelan").GetValue(), 0U);
    char text[64];
    int count = 1;
    EXPECT_NE(get("s", "text", text, CFG_TYPE_TEXT, &count), 0);
    count = 1;
    EXPECT_NE(get("s", "byte", text, CFG_TYPE_BYTE, &count), 0);
    EXPECT_FALSE(DBG_NoteworthyValueMgr::instance()->getValue(5, text, 1));
    EXPECT_EQ(log.level, 0U);
    EXPECT_EQ(workstation.logLevel(), 0U);
    EXPECT_FALSE(GC_GarbageCollector::instance()->isTraceOn());
    EXPECT_EQ(workstation.dispatcher().runReady(), 0U);
    EXPECT_FALSE(ran);
    EXPECT_TRUE(workstation.counters().empty());
    EXPECT_EQ(workstation.faultyDereferences(), 0U);
    testing::internal::CaptureStderr();
    log.error("shown again", "", "f", 1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("shown again"), std::string::npos);
    EXPECT_EQ(lines.size(), 2U);
    EXPECT_DEATH(IMC_Manager::coreDumpExit(0), "core dump : cause 0");
    EXPECT_EQ(exits, 0);
}

TEST_F(Workstation, ResetKeepsRegistrations) {
    int seen = 0;
    ScriptedObserver observer([&](imc_msg const&) { ++seen; });
    imc().registration(&observer, 600);
    workstation.reset();
    workstation.announceConfiguration();
    workstation.dispatcher().runReady();
    EXPECT_EQ(seen, 1);
    imc().unregistration(&observer, 600);
}

TEST_F(Workstation, ResetMayBeCalledInsideADelivery) {
    ScriptedObserver observer([&](imc_msg const&) { workstation.reset(); });
    imc().registration(&observer, 101);
    imc().post(messageTo(workstation.sid(), 101));
    imc().post(messageTo(workstation.sid(), 101));
    EXPECT_EQ(workstation.dispatcher().runReady(), 1U);
    imc().unregistration(&observer, 101);
}

} // namespace
