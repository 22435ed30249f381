#include "imc/IMC_Manager.h"
#include "tests/contract/Observers.h"
#include "tests/contract/PlatformUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using contract::CommandObserver;
using contract::imc;
using contract::MessageObserver;
using contract::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class ImcCommands : public contract::ContractTest {};

TEST_F(ImcCommands, ALineReachesTheObserverOfItsFirstWordWhole) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    platform().typeCommand("ALPHA Channel All", 7);
    EXPECT_THAT(observer.received, ElementsAre(Pair("ALPHA Channel All", 7)));
}

TEST_F(ImcCommands, AWordAloneIsALine) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    platform().typeCommand("ALPHA", 0);
    EXPECT_THAT(observer.received, ElementsAre(Pair("ALPHA", 0)));
}

TEST_F(ImcCommands, OnlyTheWholeFirstWordCounts) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    platform().typeCommand("ALPHABET", 0);
    platform().typeCommand("ALP", 0);
    platform().typeCommand("BETA ALPHA", 0);
    EXPECT_THAT(observer.received, IsEmpty());
}

TEST_F(ImcCommands, OneObserverMayBeRegisteredForSeveralWords) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    observer.registrations.add("BETA");
    platform().typeCommand("BETA", 1);
    platform().typeCommand("ALPHA", 2);
    EXPECT_THAT(observer.received, ElementsAre(Pair("BETA", 1), Pair("ALPHA", 2)));
}

TEST_F(ImcCommands, SeveralObserversOfAWordAreAllCalled) {
    CommandObserver first;
    CommandObserver second;
    first.registrations.add("ALPHA");
    second.registrations.add("ALPHA");
    platform().typeCommand("ALPHA", 0);
    EXPECT_THAT(first.received, SizeIs(1));
    EXPECT_THAT(second.received, SizeIs(1));
}

TEST_F(ImcCommands, AnAnswerReachesTheConsoleWithItsNulCharacters) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    std::string const text("one\0two\n\0", 9);
    observer.reaction = [&] { imc().answerCommand(text); };
    EXPECT_THAT(platform().typeCommand("ALPHA", 0), ElementsAre(text));
}

TEST_F(ImcCommands, ACommandMayHaveSeveralAnswersWhichKeepTheirOrder) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    observer.reaction = [] {
        imc().answerCommand("first");
        imc().answerCommand(std::string(1, '\0'));
        imc().answerCommand("third");
    };
    EXPECT_THAT(platform().typeCommand("ALPHA", 0),
                ElementsAre("first", std::string(1, '\0'), "third"));
}

TEST_F(ImcCommands, EveryCommandGetsItsOwnAnswers) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    observer.reaction = [&] { imc().answerCommand(observer.received.back().first); };
    EXPECT_THAT(platform().typeCommand("ALPHA 1", 1), ElementsAre("ALPHA 1"));
    EXPECT_THAT(platform().typeCommand("ALPHA 2", 2), ElementsAre("ALPHA 2"));
}

TEST_F(ImcCommands, AnUnregisteredObserverIsNotCalledAgain) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    observer.registrations.add("BETA");
    observer.registrations.remove("ALPHA");
    platform().typeCommand("ALPHA", 0);
    EXPECT_THAT(observer.received, IsEmpty());
    platform().typeCommand("BETA", 0);
    EXPECT_THAT(observer.received, SizeIs(1));
}

TEST_F(ImcCommands, AnObserverMayUnregisterItselfDuringDelivery) {
    CommandObserver leaving;
    CommandObserver staying;
    leaving.registrations.add("ALPHA");
    staying.registrations.add("ALPHA");
    leaving.reaction = [&] { leaving.registrations.remove("ALPHA"); };
    platform().typeCommand("ALPHA", 0);
    platform().typeCommand("ALPHA", 0);
    EXPECT_THAT(leaving.received, SizeIs(1));
    EXPECT_THAT(staying.received, SizeIs(2));
}

TEST_F(ImcCommands, AnObserverThatIsUnregisteredDuringDeliveryIsNotCalledAgain) {
    auto first = std::make_unique<CommandObserver>();
    auto second = std::make_unique<CommandObserver>();
    first->registrations.add("ALPHA");
    second->registrations.add("ALPHA");
    std::size_t calls = 0;
    // Whichever is called first destroys the other, so that a late call would be a use after free.
    first->reaction = [&] {
        ++calls;
        second.reset();
    };
    second->reaction = [&] {
        ++calls;
        first.reset();
    };
    platform().typeCommand("ALPHA", 0);
    EXPECT_EQ(calls, 1U);
}

TEST_F(ImcCommands, RegistrationOfNoObserverIsRefused) {
    EXPECT_THROW(imc().registration(static_cast<IMC_CommandObserver*>(nullptr), "ALPHA"),
                 std::runtime_error);
}

TEST_F(ImcCommands, RegistrationForNoWordIsRefused) {
    CommandObserver observer;
    EXPECT_THROW(imc().registration(&observer, ""), std::runtime_error);
}

TEST_F(ImcCommands, ASecondRegistrationForTheSameWordIsRefusedAndChangesNothing) {
    CommandObserver observer;
    observer.registrations.add("ALPHA");
    EXPECT_THROW(imc().registration(&observer, "ALPHA"), std::runtime_error);
    platform().typeCommand("ALPHA", 0);
    EXPECT_THAT(observer.received, SizeIs(1));
}

TEST_F(ImcCommands, UnregistrationOfWhatIsNotRegisteredIsRefused) {
    CommandObserver observer;
    CommandObserver stranger;
    observer.registrations.add("ALPHA");
    EXPECT_THROW(imc().unregistration(&stranger, "ALPHA"), std::runtime_error);
    EXPECT_THROW(imc().unregistration(&observer, "BETA"), std::runtime_error);
    EXPECT_THROW(imc().unregistration(static_cast<IMC_CommandObserver*>(nullptr), "ALPHA"),
                 std::runtime_error);
    observer.registrations.remove("ALPHA");
    EXPECT_THROW(imc().unregistration(&observer, "ALPHA"), std::runtime_error);
}

TEST_F(ImcCommands, ThePrepareExitCommandReachesItsObserver) {
    ASSERT_FALSE(IMC_Manager::prepExitCmd.empty());
    CommandObserver observer;
    observer.registrations.add(IMC_Manager::prepExitCmd);
    platform().typeCommand(IMC_Manager::prepExitCmd, 0);
    EXPECT_THAT(observer.received, ElementsAre(Pair(IMC_Manager::prepExitCmd, 0)));
}

} // namespace
