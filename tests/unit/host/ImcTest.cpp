#include "Fixture.h"

#include "address/IPAddress.h"

#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

class Imc : public HostTest {
protected:
    /** Sends a message to this process and delivers it. */
    void deliver(std::uint32_t identifier) {
        imc().post(messageTo(workstation.sid(), identifier));
        workstation.dispatcher().runReady();
    }

    std::string order;
};

TEST_F(Imc, AnObserverMayUnregisterItselfAndBeDeletedWhileItIsCalled) {
    auto first = std::make_unique<ScriptedObserver>([](imc_msg const&) {});
    first = std::make_unique<ScriptedObserver>([&](imc_msg const&) {
        order += "1";
        imc().unregistration(first.get(), 101);
    });
    ScriptedObserver second([&](imc_msg const&) {
        order += "2";
        first.reset();
    });
    imc().registration(first.get(), 101);
    imc().registration(&second, 101);
    deliver(101);
    deliver(101);
    EXPECT_EQ(order, "122");
    imc().unregistration(&second, 101);
}

TEST_F(Imc, AnObserverMayDeleteItselfInsideItsCall) {
    ScriptedObserver* first = nullptr;
    first = new ScriptedObserver([&](imc_msg const&) {
        order += "1";
        imc().unregistration(first, 101);
        delete first;
    });
    ScriptedObserver second([&](imc_msg const&) { order += "2"; });
    imc().registration(first, 101);
    imc().registration(&second, 101);
    deliver(101);
    deliver(101);
    EXPECT_EQ(order, "122");
    imc().unregistration(&second, 101);
}

TEST_F(Imc, AnObserverMayUnregisterAndDeleteALaterOneWhichIsNotCalledAgain) {
    auto second = std::make_unique<ScriptedObserver>([&](imc_msg const&) { order += "2"; });
    ScriptedObserver first([&](imc_msg const&) {
        order += "1";
        if (second) {
            imc().unregistration(second.get(), 101);
            second.reset();
        }
    });
    ScriptedObserver third([&](imc_msg const&) { order += "3"; });
    imc().registration(&first, 101);
    imc().registration(second.get(), 101);
    imc().registration(&third, 101);
    deliver(101);
    EXPECT_EQ(order, "13");
    imc().unregistration(&first, 101);
    imc().unregistration(&third, 101);
}

TEST_F(Imc, AnObserverMayUnregisterAnEarlierOne) {
    ScriptedObserver first([&](imc_msg const&) { order += "1"; });
    ScriptedObserver third([&](imc_msg const&) { order += "3"; });
    ScriptedObserver second([&](imc_msg const&) {
        order += "2";
        imc().unregistration(&first, 101);
    });
    imc().registration(&first, 101);
    imc().registration(&second, 101);
    imc().registration(&third, 101);
    deliver(101);
    EXPECT_EQ(order, "123");
    imc().unregistration(&second, 101);
    imc().unregistration(&third, 101);
}

TEST_F(Imc, AnObserverThatRegistersDuringADeliveryIsCalledFromTheNextOneOn) {
    ScriptedObserver second([&](imc_msg const&) { order += "2"; });
    ScriptedObserver first([&](imc_msg const&) {
        order += "1";
        if (order == "1") {
            imc().registration(&second, 101);
        }
    });
    imc().registration(&first, 101);
    deliver(101);
    EXPECT_EQ(order, "1");
    deliver(101);
    EXPECT_EQ(order, "112");
    imc().unregistration(&first, 101);
    imc().unregistration(&second, 101);
}

TEST_F(Imc, AnObserverThatLeavesAndComesBackDuringADeliveryIsNotCalledTwice) {
    ScriptedObserver second([&](imc_msg const&) { order += "2"; });
    ScriptedObserver first([&](imc_msg const&) {
        order += "1";
        imc().unregistration(&second, 101);
        imc().registration(&second, 101);
    });
    imc().registration(&first, 101);
    imc().registration(&second, 101);
    deliver(101);
    EXPECT_EQ(order, "1");
    deliver(101);
    EXPECT_EQ(order, "11");
    imc().unregistration(&first, 101);
    imc().unregistration(&second, 101);
    EXPECT_EQ(counted("imc.message_without_observer"), 0U);
}

TEST_F(Imc, AnExceptionOfAnObserverIsLoggedAndCountedAndTheNextIsCalled) {
    ScriptedObserver first([](imc_msg const&) { throw std::out_of_range("no channel"); });
    ScriptedObserver second([](imc_msg const&) { throw 7; });
    ScriptedObserver third([&](imc_msg const&) { order += "3"; });
    imc().registration(&first, 114);
    imc().registration(&second, 114);
    imc().registration(&third, 114);
    deliver(114);
    EXPECT_EQ(order, "3");
    EXPECT_EQ(counted("imc.observer_exception"), 2U);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "exception left an observer of message 114");
    EXPECT_EQ(lines[0].detail, "no channel");
    EXPECT_EQ(lines[1].detail, "of unknown type");
    imc().unregistration(&first, 114);
    imc().unregistration(&second, 114);
    imc().unregistration(&third, 114);
}

TEST_F(Imc, AMessageThatNobodyRegisteredIsCountedAndTracedAtLevelTwo) {
    workstation.setLogLevel(1);
    deliver(999);
    EXPECT_TRUE(lines.empty());
    workstation.setLogLevel(2);
    deliver(999);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_FALSE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "nobody registered for message 999");
    EXPECT_EQ(counted("imc.message_without_observer"), 2U);
}

TEST_F(Imc, IdentifiersAboveTheSignedRangeAreDelivered) {
    ScriptedObserver observer(
        [&](imc_msg const& message) { order += std::to_string(message.messageId); });
    imc().registration(&observer, static_cast<long>(0xFFFFFFFFU));
    deliver(0xFFFFFFFFU);
    EXPECT_EQ(order, "4294967295");
    imc().unregistration(&observer, static_cast<long>(0xFFFFFFFFU));
}

TEST_F(Imc, PostFillsTheSendersAddressAndNothingElse) {
    KeepingEndpoint board;
    workstation.transport().attach(0xFA, board);
    workstation.setSid(0x42);
    imc_msg message = messageTo(0xFA, 100);
    message.sourceSid = 0x77;
    message.length = 36;
    message.payload[1023] = 9;
    imc().post(message);
    workstation.dispatcher().runReady();
    ASSERT_EQ(board.received.size(), 1U);
    imc_msg expected = message;
    expected.sourceSid = 0x42;
    EXPECT_EQ(std::memcmp(&board.received[0], &expected, sizeof expected), 0);
    workstation.transport().detach(0xFA);
}

TEST_F(Imc, PostToAnAddressThatNobodyServesNamesItAsNumberAndAsText) {
    workstation.setBoard("192.168.0.10", 0x8A);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().post(messageTo(0x8A, 100)); }),
              "nobody serves IMC address 0x8A, board(0x8A)");
    EXPECT_EQ(counted("imc.post_refused"), 1U);
}

TEST_F(Imc, TextOfAnAddressTellsBoardsThisProcessAndOthersApart) {
    workstation.setBoard("192.168.0.10", 0x80);
    EXPECT_EQ(imc().getStringSid(0x80), "board(0x80)");
    EXPECT_EQ(imc().getStringSid(0x01), "local(0x01)");
    EXPECT_EQ(imc().getStringSid(0xFA), "sid(0xFA)");
    EXPECT_EQ(imc().getStringSid(0x00), "sid(0x00)");
    EXPECT_EQ(imc().getStringSid(0xFF), "sid(0xFF)");
    workstation.setSid(0x80);
    workstation.clearBoards();
    EXPECT_EQ(imc().getStringSid(0x80), "local(0x80)");
}

TEST_F(Imc, TheAddressOfAnUnknownBoardIsTheDefaultOneAndIsCountedAndTraced) {
    workstation.setLogLevel(2);
    workstation.setBoard("192.168.0.10", 0x80);
    EXPECT_EQ(imc().getSid(12, IPAddress("192.168.0.10")), 0x80);
    EXPECT_EQ(counted("imc.unknown_board"), 0U);
    EXPECT_EQ(imc().getSid(12, IPAddress("192.168.0.11")), 0xFA);
    EXPECT_EQ(counted("imc.unknown_board"), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "board 192.168.0.11 is not in the board table, its IMC address is "
                             "taken as 0xFA");
}

TEST_F(Imc, ThereIsOneManagerForEveryAddress) {
    EXPECT_EQ(IMC_Manager::instance(0x01), IMC_Manager::instance(0xFF));
    EXPECT_EQ(IMC_Manager::instance(0xFA), IMC_Manager::instance(0xFF));
}

TEST_F(Imc, RefusalsNameTheIdentifier) {
    ScriptedObserver observer([](imc_msg const&) {});
    IMC_Observer* const none = nullptr;
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().registration(none, 101); }),
              "IMC registration of a null observer for message 101");
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().unregistration(&observer, 101); }),
              "IMC observer is not registered for message 101");
    imc().registration(&observer, 101);
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().registration(&observer, 101); }),
              "IMC observer is registered already for message 101");
    EXPECT_EQ(failureOf<std::runtime_error>([&] { imc().unregistration(none, 101); }),
              "IMC observer is not registered for message 101");
    imc().unregistration(&observer, 101);
}

TEST_F(Imc, CoreDumpExitLogsTheCauseAndThenCallsTheExitAction) {
    int cause = -1;
    std::size_t loggedBefore = 0;
    workstation.setExitAction([&](int code) {
        cause = code;
        loggedBefore = lines.size();
    });
    IMC_Manager::coreDumpExit(3);
    EXPECT_EQ(cause, 3);
    EXPECT_EQ(loggedBefore, 1U);
    EXPECT_TRUE(lines[0].isError);
    EXPECT_EQ(lines[0].text, "the process ends with a core dump");
    EXPECT_EQ(lines[0].detail, "cause 3");
}

TEST_F(Imc, TheExitActionMayReplaceItself) {
    int calls = 0;
    workstation.setExitAction([&](int) {
        workstation.setExitAction([&](int) { calls += 10; });
        ++calls;
    });
    IMC_Manager::coreDumpExit(0);
    IMC_Manager::coreDumpExit(0);
    EXPECT_EQ(calls, 11);
}

using ImcDeathTest = Imc;

TEST_F(ImcDeathTest, CoreDumpExitWritesItsLineAndAborts) {
    workstation.setLogSink(nullptr);
    EXPECT_DEATH(IMC_Manager::coreDumpExit(0),
                 "error host/imc/IMC_Manager:[0-9]+: the process ends with a core dump : cause 0");
}

TEST_F(ImcDeathTest, AnEmptyExitActionIsTheAbort) {
    workstation.setLogSink(nullptr);
    workstation.setExitAction(nullptr);
    EXPECT_DEATH(IMC_Manager::coreDumpExit(5), "core dump : cause 5");
}

} // namespace
