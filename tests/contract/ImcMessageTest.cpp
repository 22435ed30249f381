#include "imc/IMC_Manager.h"
#include "tests/contract/Observers.h"
#include "tests/contract/PlatformUnderTest.h"
#include "tests/support/RecordMatchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

using contract::imc;
using contract::MessageObserver;
using contract::platform;
using recording::message;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ImcMessages : public contract::ContractTest {};

long const identifier = 600;
long const otherIdentifier = 123;

void deliver(long messageId) {
    platform().deliver(message(static_cast<std::uint32_t>(messageId), 0, 0x21));
}

TEST_F(ImcMessages, TheManagerIsTheSameEveryTime) {
    ASSERT_NE(IMC_Manager::instance(0xff), nullptr);
    EXPECT_EQ(IMC_Manager::instance(0xff), IMC_Manager::instance(0xff));
}

TEST_F(ImcMessages, AMessageReachesItsObserverWhole) {
    MessageObserver observer;
    observer.registrations.add(identifier);
    auto sent = message(600, 1024, 0x85, {0x01, 0x80, 0xFF});
    sent.payload[1023] = 0x7F;
    platform().deliver(sent);
    ASSERT_THAT(observer.received, SizeIs(1));
    sent.destinationSid = observer.received[0].destinationSid;
    EXPECT_THAT(observer.received[0], recording::IsRecord(recording::record(sent)));
}

TEST_F(ImcMessages, MessagesArriveInTheOrderOfDelivery) {
    MessageObserver observer;
    observer.registrations.add(identifier);
    for (unsigned char number = 0; number < 5; ++number) {
        platform().deliver(message(600, 1, 0x21, {number}));
    }
    ASSERT_THAT(observer.received, SizeIs(5));
    for (unsigned char number = 0; number < 5; ++number) {
        EXPECT_EQ(observer.received[number].payload[0], number);
    }
}

TEST_F(ImcMessages, AMessageOfAnotherIdentifierIsNotDelivered) {
    MessageObserver observer;
    observer.registrations.add(identifier);
    deliver(otherIdentifier);
    EXPECT_THAT(observer.received, IsEmpty());
}

TEST_F(ImcMessages, OneObserverMayBeRegisteredForSeveralIdentifiers) {
    MessageObserver observer;
    observer.registrations.add(identifier);
    observer.registrations.add(otherIdentifier);
    deliver(identifier);
    deliver(otherIdentifier);
    ASSERT_THAT(observer.received, SizeIs(2));
    EXPECT_EQ(observer.received[0].messageId, 600U);
    EXPECT_EQ(observer.received[1].messageId, 123U);
}

TEST_F(ImcMessages, ObserversAreCalledInTheOrderOfRegistration) {
    std::vector<int> calls;
    MessageObserver observers[3];
    for (int i = 0; i < 3; ++i) {
        observers[i].reaction = [&calls, i] { calls.push_back(i); };
    }
    for (int i : {2, 0, 1}) {
        observers[i].registrations.add(identifier);
    }
    deliver(identifier);
    EXPECT_THAT(calls, ElementsAre(2, 0, 1));
}

TEST_F(ImcMessages, ANewRegistrationAfterUnregistrationIsTheLast) {
    std::vector<int> calls;
    MessageObserver observers[2];
    for (int i = 0; i < 2; ++i) {
        observers[i].reaction = [&calls, i] { calls.push_back(i); };
        observers[i].registrations.add(identifier);
    }
    observers[0].registrations.remove(identifier);
    observers[0].registrations.add(identifier);
    deliver(identifier);
    EXPECT_THAT(calls, ElementsAre(1, 0));
}

TEST_F(ImcMessages, AnUnregisteredObserverIsNotCalledAgain) {
    MessageObserver observer;
    observer.registrations.add(identifier);
    observer.registrations.add(otherIdentifier);
    observer.registrations.remove(identifier);
    deliver(identifier);
    EXPECT_THAT(observer.received, IsEmpty());
    deliver(otherIdentifier);
    EXPECT_THAT(observer.received, SizeIs(1));
}

TEST_F(ImcMessages, AnObserverMayUnregisterItselfDuringDelivery) {
    MessageObserver leaving;
    MessageObserver staying;
    leaving.registrations.add(identifier);
    staying.registrations.add(identifier);
    leaving.reaction = [&] { leaving.registrations.remove(identifier); };
    deliver(identifier);
    deliver(identifier);
    EXPECT_THAT(leaving.received, SizeIs(1));
    EXPECT_THAT(staying.received, SizeIs(2));
}

TEST_F(ImcMessages, AnObserverThatIsUnregisteredDuringDeliveryIsNotCalledAgain) {
    MessageObserver first;
    auto second = std::make_unique<MessageObserver>();
    MessageObserver third;
    first.registrations.add(identifier);
    second->registrations.add(identifier);
    third.registrations.add(identifier);
    // Destroyed at once, so that a late call would be a use after free.
    first.reaction = [&] { second.reset(); };
    deliver(identifier);
    EXPECT_THAT(first.received, SizeIs(1));
    EXPECT_THAT(third.received, SizeIs(1));
}

TEST_F(ImcMessages, UnregisteringAnEarlierObserverDuringDeliveryPassesNobodyOver) {
    MessageObserver first;
    MessageObserver second;
    MessageObserver third;
    first.registrations.add(identifier);
    second.registrations.add(identifier);
    third.registrations.add(identifier);
    second.reaction = [&] { first.registrations.remove(identifier); };
    deliver(identifier);
    EXPECT_THAT(first.received, SizeIs(1));
    EXPECT_THAT(second.received, SizeIs(1));
    EXPECT_THAT(third.received, SizeIs(1));
}

TEST_F(ImcMessages, AnObserverMayRegisterAnotherDuringDelivery) {
    MessageObserver first;
    MessageObserver late;
    first.registrations.add(identifier);
    first.reaction = [&] {
        first.reaction = nullptr;
        late.registrations.add(identifier);
    };
    deliver(identifier);
    late.received.clear();
    deliver(identifier);
    EXPECT_THAT(first.received, SizeIs(2));
    EXPECT_THAT(late.received, SizeIs(1));
}

TEST_F(ImcMessages, RegistrationOfNoObserverIsRefused) {
    EXPECT_THROW(imc().registration(static_cast<IMC_Observer*>(nullptr), identifier),
                 std::runtime_error);
}

TEST_F(ImcMessages, ASecondRegistrationForTheSameIdentifierIsRefusedAndChangesNothing) {
    MessageObserver observer;
    observer.registrations.add(identifier);
    EXPECT_THROW(imc().registration(&observer, identifier), std::runtime_error);
    deliver(identifier);
    EXPECT_THAT(observer.received, SizeIs(1));
}

TEST_F(ImcMessages, UnregistrationOfWhatIsNotRegisteredIsRefused) {
    MessageObserver observer;
    MessageObserver stranger;
    observer.registrations.add(identifier);
    EXPECT_THROW(imc().unregistration(&stranger, identifier), std::runtime_error);
    EXPECT_THROW(imc().unregistration(&observer, otherIdentifier), std::runtime_error);
    EXPECT_THROW(imc().unregistration(static_cast<IMC_Observer*>(nullptr), identifier),
                 std::runtime_error);
    observer.registrations.remove(identifier);
    EXPECT_THROW(imc().unregistration(&observer, identifier), std::runtime_error);
}

TEST_F(ImcMessages, APostedMessageReachesTheBoardWhole) {
    platform().serve(0x21);
    auto sent = message(108, 36, 0, {0x07, 0x80, 0xFF});
    sent.destinationSid = 0x21;
    sent.payload[1023] = 0x7F;
    imc().post(sent);
    auto const arrived = platform().postedTo(0x21);
    ASSERT_THAT(arrived, SizeIs(1));
    // The platform may fill the sender's address.
    sent.sourceSid = arrived[0].sourceSid;
    EXPECT_THAT(arrived[0], recording::IsRecord(recording::record(sent)));
}

TEST_F(ImcMessages, APostedMessageIsCopied) {
    platform().serve(0x21);
    auto sent = message(108, 1, 0, {0x07});
    sent.destinationSid = 0x21;
    imc().post(sent);
    sent.payload[0] = 0x08;
    auto const arrived = platform().postedTo(0x21);
    ASSERT_THAT(arrived, SizeIs(1));
    EXPECT_EQ(arrived[0].payload[0], 0x07);
}

TEST_F(ImcMessages, MessagesArriveInTheOrderOfPosting) {
    platform().serve(0x21);
    for (unsigned char number = 0; number < 20; ++number) {
        auto sent = message(108, 1, 0, {number});
        sent.destinationSid = 0x21;
        imc().post(sent);
    }
    auto const arrived = platform().postedTo(0x21);
    ASSERT_THAT(arrived, SizeIs(20));
    for (unsigned char number = 0; number < 20; ++number) {
        EXPECT_EQ(arrived[number].payload[0], number);
    }
}

TEST_F(ImcMessages, EveryBoardGetsItsOwnMessages) {
    unsigned char const sids[] = {0x21, 0xFA};
    platform().serve(0x21);
    platform().serve(0xFA);
    for (unsigned char const sid : sids) {
        auto sent = message(108, 1, 0, {sid});
        sent.destinationSid = sid;
        imc().post(sent);
    }
    for (unsigned char const sid : sids) {
        auto const arrived = platform().postedTo(sid);
        ASSERT_THAT(arrived, SizeIs(1));
        EXPECT_EQ(arrived[0].payload[0], sid);
    }
}

TEST_F(ImcMessages, APostThatNobodyServesIsRefused) {
    platform().serve(0x86);
    platform().stopServing(0x86);
    auto sent = message(108, 0, 0);
    sent.destinationSid = 0x86;
    EXPECT_THROW(imc().post(sent), std::runtime_error);
    platform().serve(0x86);
    EXPECT_NO_THROW(imc().post(sent));
    EXPECT_THAT(platform().postedTo(0x86), SizeIs(1));
}

TEST_F(ImcMessages, PostDoesNotCallBack) {
    platform().serve(0x21);
    MessageObserver observer;
    observer.registrations.add(identifier);
    auto sent = message(600, 0, 0);
    sent.destinationSid = 0x21;
    imc().post(sent);
    EXPECT_THAT(observer.received, IsEmpty());
}

TEST_F(ImcMessages, EveryImcAddressHasAText) {
    for (int sid = 0; sid < 256; ++sid) {
        auto const text = imc().getStringSid(static_cast<unsigned char>(sid));
        EXPECT_FALSE(text.empty()) << sid;
        EXPECT_EQ(imc().getStringSid(static_cast<unsigned char>(sid)), text);
    }
}

TEST_F(ImcMessages, CoreDumpExitEndsTheProcessByASignal) {
    // The line shows that the end came from where it was meant to come.
    auto const exit = [] {
        std::fputs("asking for the core dump\n", stderr);
        IMC_Manager::coreDumpExit(0);
        std::_Exit(0);
    };
    auto const isSignal = [](int status) { return WIFSIGNALED(status); };
    EXPECT_EXIT(exit(), isSignal, "asking for the core dump");
}

} // namespace
