#include "tests/unit/FailingAllocation.h"
#include "tests/unit/MC_ManagerFixture.h"

#include "collector/GC_GarbageCollector.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

// These operations declare no exceptions, so that whatever a platform throws reaches the caller.
static_assert(!noexcept(std::declval<MC_Manager&>().factory()), "");
static_assert(!noexcept(std::declval<MC_Manager&>().registration(nullptr)), "");
static_assert(!noexcept(std::declval<MC_Manager&>().unregistration(nullptr)), "");
static_assert(!noexcept(std::declval<MC_Manager&>().getChannel(0, VCOM_DIRECTION_IN, '\0')), "");
static_assert(!noexcept(std::declval<MC_Manager&>().getChannel(std::declval<std::string const&>())),
              "");
static_assert(!noexcept(std::declval<MC_Manager&>().getChannelSet(0)), "");
static_assert(!noexcept(std::declval<MC_Manager&>().setMediaGateway(nullptr, nullptr)), "");
static_assert(!noexcept(std::declval<MC_Manager&>().alertEvent(AlertEvent, VCOM_DIRECTION_IN,
                                                               std::declval<MC_Alert const&>())),
              "");

/** Without a manager at its start. */
class MC_ManagerBirth : public testing::Test {
protected:
    MC_ManagerBirth() { platform().reset(); }
    ~MC_ManagerBirth() override {
        platform().script = recording::Script();
        delete Access::existing();
    }
};

std::vector<std::string> const allSubjects = {"600", "123", "114", "113",  "110",        "112",
                                              "101", "105", "103", "107",  "116",        "120",
                                              "118", "122", "MC",  "help", "PrepareExit"};

/** What is registered, in order. */
std::vector<std::string> subjectsInForce() {
    std::vector<std::string> subjects;
    for (auto const& registration : platform().registered()) {
        subjects.push_back(registration.word.empty() ? std::to_string(registration.messageId)
                                                     : registration.word);
    }
    return subjects;
}

TEST_F(MC_ManagerBirth, NothingExistsBeforeTheFirstInstance) {
    EXPECT_EQ(Access::existing(), nullptr);
    EXPECT_EQ(pMClog, nullptr);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(MC_ManagerBirth, TakesTheServicesThenRegistersEverythingInOrderThenCreatesTheLog) {
    MC_Manager::instance();
    EXPECT_THAT(platform().journal(),
                ElementsAre("GC_GarbageCollector::instance()", "IMC_Manager::instance(0xff)",
                            "registration 600", "registration 123", "registration 114",
                            "registration 113", "registration 110", "registration 112",
                            "registration 101", "registration 105", "registration 103",
                            "registration 107", "registration 116", "registration 120",
                            "registration 118", "registration 122", "log created",
                            "IMC_Manager::instance(0xff)", "registration MC", "registration help",
                            "registration PrepareExit"));
}

TEST_F(MC_ManagerBirth, DestroysTheLogThenUnregistersInTheOrderOfRegistration) {
    MC_Manager* const manager = MC_Manager::instance();
    platform().clearRecords();
    delete manager;
    EXPECT_THAT(platform().journal(),
                ElementsAre("unregistration MC", "unregistration help",
                            "unregistration PrepareExit", "log destroyed", "unregistration 600",
                            "unregistration 123", "unregistration 114", "unregistration 113",
                            "unregistration 110", "unregistration 112", "unregistration 101",
                            "unregistration 105", "unregistration 103", "unregistration 107",
                            "unregistration 116", "unregistration 120", "unregistration 118",
                            "unregistration 122"));
    EXPECT_THAT(platform().registered(), IsEmpty());
}

TEST_F(MC_ManagerBirth, UnregistersTheSameObserversWithTheSameIdentifiersAsAtRegistration) {
    MC_Manager* const manager = MC_Manager::instance();
    auto const begun = platform().registrations();
    ASSERT_EQ(begun.size(), 17U);
    platform().clearRecords();
    delete manager;
    auto const& ended = platform().registrations();
    ASSERT_EQ(ended.size(), 17U);
    for (std::size_t i = 0; i < 14; ++i) {
        auto const& end = ended[i + 3];
        EXPECT_FALSE(end.isRegistration);
        EXPECT_NE(begun[i].observer, nullptr);
        EXPECT_EQ(end.observer, begun[i].observer) << begun[i].messageId;
        EXPECT_EQ(end.messageId, begun[i].messageId);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(ended[i].commandObserver, begun[i + 14].commandObserver);
        EXPECT_EQ(ended[i].word, begun[i + 14].word);
    }
}

TEST_F(MC_ManagerBirth, EveryIdentifierHasAnObserverOfItsOwn) {
    MC_Manager::instance();
    std::vector<IMC_Observer*> observers;
    for (auto const& registration : platform().registered()) {
        if (registration.observer != nullptr) {
            observers.push_back(registration.observer);
        }
    }
    std::sort(observers.begin(), observers.end());
    EXPECT_EQ(std::unique(observers.begin(), observers.end()) - observers.begin(), 14);
    EXPECT_EQ(platform().registered()[0].observer, &Access::config(*MC_Manager::instance()));
}

/** What an observer keeps for itself: the event and direction that it hands to the manager. */
struct Opened : MC_ImcObserver {
    static std::tuple<MC_Event, VCOM_Direction> meaning(MC_ImcObserver const& observer) {
        return std::make_tuple(observer.*&Opened::event, observer.*&Opened::direction);
    }
};

TEST_F(MC_ManagerBirth, EveryObserverStandsForTheEventAndDirectionOfItsIdentifier) {
    MC_Manager::instance();
    std::map<long, std::tuple<MC_Event, VCOM_Direction>> meanings;
    for (auto const& registration : platform().registered()) {
        auto const* const observer = dynamic_cast<MC_ImcObserver*>(registration.observer);
        if (observer != nullptr) {
            meanings.emplace(registration.messageId, Opened::meaning(*observer));
        }
    }
    VCOM_Direction const in = VCOM_DIRECTION_IN;
    VCOM_Direction const out = VCOM_DIRECTION_OUT;
    EXPECT_EQ(meanings, (std::map<long, std::tuple<MC_Event, VCOM_Direction>>{
                            {123, std::make_tuple(FaxToneEvent, in)},
                            {114, std::make_tuple(DtmfEvent, in)},
                            {113, std::make_tuple(DtmfEvent, out)},
                            {110, std::make_tuple(AlertEvent, in)},
                            {112, std::make_tuple(AlertEvent, out)},
                            {101, std::make_tuple(OpenVoiceAck, in)},
                            {105, std::make_tuple(OpenVoiceAck, out)},
                            {103, std::make_tuple(CloseVoiceAck, in)},
                            {107, std::make_tuple(CloseVoiceAck, out)},
                            {116, std::make_tuple(OpenFaxAck, in)},
                            {120, std::make_tuple(OpenFaxAck, out)},
                            {118, std::make_tuple(CloseFaxAck, in)},
                            {122, std::make_tuple(CloseFaxAck, out)}}));
}

TEST_F(MC_ManagerBirth, StartsWithItsServicesAndOtherwiseEmpty) {
    MC_Manager& manager = *MC_Manager::instance();
    EXPECT_EQ(Access::garbageCollector(manager), GC_GarbageCollector::instance());
    EXPECT_EQ(Access::imc(manager), IMC_Manager::instance(0xff));
    EXPECT_EQ(Access::observer(manager), nullptr);
    EXPECT_THAT(Access::channels(manager), IsEmpty());
    EXPECT_EQ(Access::config(manager).faxProtocol, VCOM_FAXTRANSPORT_UDP);
    EXPECT_FALSE(Access::config(manager).faxProtocolSet);
    EXPECT_EQ(Access::config(manager).rtpTickRequest, 0);
    EXPECT_FALSE(Access::config(manager).noteworthyFlag);
    EXPECT_NE(pMClog, nullptr);
}

TEST_F(MC_ManagerBirth, AConfigurationMessageDuringTheRegistrationIsRead) {
    platform().setConfiguration("/current//gateway", "rtptick_request", std::uint8_t{7});
    platform().script.registration = [](std::string const& subject) {
        if (subject == "600") {
            platform().deliver(recording::message(600, 0, 0));
        }
    };
    EXPECT_EQ(Access::config(*MC_Manager::instance()).rtpTickRequest, 7);
}

TEST_F(MC_ManagerBirth, AnEventDuringTheRegistrationReachesThisManagerAndBuildsNoSecond) {
    std::vector<MC_Manager*> seen;
    platform().script.registration = [&seen](std::string const& subject) {
        if (subject == "110" || subject == "112") {
            auto const messageId = static_cast<std::uint32_t>(std::stoul(subject));
            EXPECT_EQ(platform().deliver(recording::message(messageId, 8, 0, {3})), 1U);
            seen.push_back(Access::existing());
        }
    };
    MC_Manager* const manager = MC_Manager::instance();
    EXPECT_THAT(seen, ElementsAre(manager, manager));
    EXPECT_EQ(platform().registrations().size(), 17U);
}

/** Delivers an event of this identifier with every length that some event has, and none. */
void deliverOfAllLengths(std::string const& subject) {
    auto const messageId = static_cast<std::uint32_t>(std::stoul(subject));
    for (std::uint16_t const length : std::initializer_list<std::uint16_t>{0, 1, 4, 8}) {
        EXPECT_EQ(platform().deliver(recording::message(messageId, length, 0xFA, {3})), 1U);
    }
}

// There is no log yet, and nobody whom an event could be about.
TEST_F(MC_ManagerBirth, EventsDuringTheRegistrationOfEachObserverAreNoFaultAtAnyLevel) {
    for (unsigned int const level : {0U, 1U, 2U, 3U}) {
        platform().reset();
        platform().setLogLevel(level);
        platform().script.registration = [](std::string const& subject) {
            if (pMClog == nullptr && std::isdigit(static_cast<unsigned char>(subject[0])) != 0) {
                deliverOfAllLengths(subject);
            }
        };
        MC_Manager* const manager = MC_Manager::instance();
        EXPECT_EQ(Access::existing(), manager);
        EXPECT_EQ(platform().journal(Kind::registrations).size(), 17U);
        EXPECT_EQ(subjectsInForce(), allSubjects);
        EXPECT_THAT(platform().logCalls(), IsEmpty());
        delete manager;
    }
}

TEST_F(MC_ManagerBirth, AConsoleCommandDuringItsRegistrationIsAnsweredByThisManager) {
    std::vector<std::string> answers;
    platform().script.registration = [&answers](std::string const& subject) {
        if (subject == "MC") {
            answers = platform().typeCommand("MC Channel All");
        } else if (subject == "PrepareExit") {
            EXPECT_EQ(platform().typeCommand("PrepareExit"), answers);
        }
    };
    EXPECT_NO_THROW(MC_Manager::instance());
    EXPECT_THAT(answers,
                ElementsAre(withNul("\n\n\t\tMC MANAGER\n\t\t----------\n\t\tMC_CHANNEL list:\n\n"
                                    "\t\tIt is empty.\nTotal = 0\n")));
    EXPECT_EQ(platform().journal(Kind::registrations).size(), 17U);
    EXPECT_EQ(subjectsInForce(), allSubjects);
}

TEST_F(MC_ManagerBirth, InstanceTwiceReturnsTheSameObjectAndBuildsNothing) {
    MC_Manager* const manager = MC_Manager::instance();
    EXPECT_EQ(Access::existing(), manager);
    platform().clearRecords();
    EXPECT_EQ(MC_Manager::instance(), manager);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(MC_ManagerBirth, DeletingClearsThePointerAndTheLogBeforeTheObserversAreUnregistered) {
    MC_Manager* const manager = MC_Manager::instance();
    std::vector<std::string> seen;
    platform().script.unregistration = [&seen](std::string const& subject) {
        EXPECT_EQ(Access::existing(), nullptr) << subject;
        if (pMClog == nullptr) {
            seen.push_back(subject);
        }
    };
    delete manager;
    EXPECT_THAT(seen, ElementsAreArray(allSubjects.begin(), allSubjects.end() - 3));
    EXPECT_EQ(Access::existing(), nullptr);
    EXPECT_EQ(pMClog, nullptr);
}

TEST_F(MC_ManagerBirth, CanBeBuiltAgainAfterDeletion) {
    delete MC_Manager::instance();
    platform().clearRecords();
    MC_Manager* const second = MC_Manager::instance();
    EXPECT_EQ(Access::existing(), second);
    EXPECT_EQ(platform().journal(Kind::registrations).size(), 17U);
    EXPECT_EQ(platform().registered().size(), 17U);
    EXPECT_NE(pMClog, nullptr);
}

class MC_ManagerRefusedRegistration : public MC_ManagerBirth,
                                      public testing::WithParamInterface<std::string> {
protected:
    /** A script that throws for the parameter's subject only. */
    static std::function<void(std::string const&)> refusing() {
        return [](std::string const& subject) {
            if (subject == GetParam()) {
                throw std::runtime_error("refused " + subject);
            }
        };
    }
};

INSTANTIATE_TEST_SUITE_P(Subjects, MC_ManagerRefusedRegistration, testing::ValuesIn(allSubjects),
                         [](testing::TestParamInfo<std::string> const& parameter) {
                             return parameter.param;
                         });

TEST_P(MC_ManagerRefusedRegistration, LeavesNothingRegisteredAndInstanceWorksLater) {
    platform().script.registration = refusing();
    EXPECT_EQ(refusal([] { MC_Manager::instance(); }), "refused " + GetParam());
    EXPECT_THAT(platform().registered(), IsEmpty());
    EXPECT_EQ(Access::existing(), nullptr);
    EXPECT_EQ(pMClog, nullptr);

    platform().script.registration = nullptr;
    MC_Manager* const manager = MC_Manager::instance();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(Access::existing(), manager);
    EXPECT_NE(pMClog, nullptr);
    EXPECT_EQ(subjectsInForce(), allSubjects);
}

TEST_P(MC_ManagerRefusedRegistration, UnregistrationThatThrowsDoesNotKeepTheOthersRegistered) {
    MC_Manager* const manager = MC_Manager::instance();
    platform().clearRecords();
    platform().script.unregistration = refusing();
    EXPECT_NO_THROW(delete manager);
    EXPECT_EQ(platform().journal(Kind::registrations).size(), 17U);
    ASSERT_EQ(platform().registered().size(), 1U);
    EXPECT_EQ(Access::existing(), nullptr);
    EXPECT_EQ(pMClog, nullptr);
}

TEST_P(MC_ManagerRefusedRegistration, NoManagerIsFoundWhileItsObserversAreTakenBack) {
    platform().script.registration = refusing();
    std::size_t takenBack = 0;
    platform().script.unregistration = [&takenBack](std::string const& subject) {
        bool const isMessage = std::isdigit(static_cast<unsigned char>(subject[0])) != 0;
        if (isMessage) {
            EXPECT_EQ(Access::existing(), nullptr) << subject;
            ++takenBack;
        }
    };
    EXPECT_THROW(MC_Manager::instance(), std::runtime_error);
    EXPECT_EQ(takenBack, 14U);
}

class MC_ManagerRegistry : public ManagerTest {};

TEST_F(MC_ManagerRegistry, DeletingFreesTheListOnlyAndReleasesNoListedChannel) {
    MC_Channel& channel = newChannel();
    manager->openChannel(&channel);
    delete manager;
    EXPECT_THAT(platform().dereferenced(), IsEmpty());
    EXPECT_EQ(channel.referenceCount, 2U);
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_EQ(platform().liveObjects(), 1U);
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:3", "100"));
}

TEST_F(MC_ManagerRegistry, FactoryReturnsAChannelWithOneReferenceAndOpenTakesTheSecond) {
    MC_Channel* const pChannel = manager->factory();
    std::unique_ptr<MC_Channel> const owner(pChannel);
    EXPECT_EQ(pChannel->referenceCount, 1U);
    EXPECT_EQ(pChannel->state, MC_Channel::Idle);
    EXPECT_EQ(pChannel->sid, 0xFA);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_THAT(platform().logCalls(), IsEmpty());

    pChannel->direction = VCOM_DIRECTION_IN;
    pChannel->codec = 1;
    manager->openChannel(pChannel);
    EXPECT_EQ(pChannel->referenceCount, 2U);
}

TEST_F(MC_ManagerRegistry, FactoryNeverReturnsTheSameChannelOrIdentifierTwice) {
    std::unique_ptr<MC_Channel> const first(manager->factory());
    std::unique_ptr<MC_Channel> const second(manager->factory());
    EXPECT_NE(first, second);
    EXPECT_EQ(second->identifier, first->identifier + 1);
}

TEST_F(MC_ManagerRegistry, OperationsThatDeclareNoExceptionsLetAFailedAllocationOut) {
    using failing_allocation::failAfter;
    std::string const all;
    IPAddress const address("10.0.0.5");
    MC_Channel& channel = newChannel();
    EXPECT_THROW((failAfter(0), manager->factory()), std::bad_alloc);
    EXPECT_THROW((failAfter(0), manager->registration(nullptr)), std::bad_alloc);
    EXPECT_THROW((failAfter(0), manager->unregistration(nullptr)), std::bad_alloc);
    EXPECT_THROW((failAfter(0), manager->getChannel(3, VCOM_DIRECTION_IN, '\0')), std::bad_alloc);
    EXPECT_THROW((failAfter(0), manager->getChannel(all)), std::bad_alloc);
    EXPECT_THROW((failAfter(0), manager->getChannelSet(1)), std::bad_alloc);
    EXPECT_THROW((failAfter(0), manager->setMediaGateway(&channel, &address)), std::bad_alloc);
}

std::string referenceLine(MC_Channel const* pChannel) {
    char line[64];
    std::snprintf(line, sizeof line, "%s %p\n", "GC : reference",
                  static_cast<void const*>(pChannel));
    return line;
}

TEST_F(MC_ManagerRegistry, FactoryTracesTheReferenceToTheCollectorWhenItsTraceIsOn) {
    platform().setCollectorTrace(true);
    platform().clearRecords();
    std::unique_ptr<MC_Channel> const owner(manager->factory());
    auto const lines = platform().collectorTraces();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, referenceLine(owner.get()));
    EXPECT_EQ(lines[0].file, "");
    EXPECT_EQ(lines[0].line, 0);
    EXPECT_FALSE(lines[0].isError);
    EXPECT_EQ(owner->referenceCount, 1U);
    EXPECT_EQ(platform().logCalls().size(), 1U) << "the library's own log is not used";
}

TEST_F(MC_ManagerRegistry, FactoryTracesTheReferenceBeforeItIsCounted) {
    platform().setCollectorTrace(true);
    unsigned int traced = 0;
    platform().script.log = [&traced](recording::LogCall const& call) {
        void* object = nullptr;
        ASSERT_EQ(std::sscanf(call.text.c_str(), "GC : reference %p", &object), 1);
        EXPECT_EQ(static_cast<MC_Channel*>(object)->referenceCount, 0U);
        ++traced;
    };
    std::unique_ptr<MC_Channel> const owner(manager->factory());
    EXPECT_EQ(traced, 1U);
}

TEST_F(MC_ManagerRegistry, ReferenceTraceDoesNotDependOnTheLogLevel) {
    std::unique_ptr<MC_Channel> const quiet([this] {
        platform().setLogLevel(3);
        return manager->factory();
    }());
    EXPECT_THAT(platform().logCalls(), IsEmpty());
    platform().setLogLevel(0);
    platform().setCollectorTrace(true);
    std::unique_ptr<MC_Channel> const loud(manager->factory());
    EXPECT_EQ(platform().collectorTraces().size(), 1U);
}

TEST_F(MC_ManagerRegistry, OpenTracesTheReferenceAndOtherOperationsDoNot) {
    MC_Channel& channel = newChannel();
    platform().setCollectorTrace(true);
    manager->openChannel(&channel);
    ASSERT_EQ(platform().collectorTraces().size(), 1U);
    EXPECT_EQ(platform().collectorTraces()[0].text, referenceLine(&channel));
    EXPECT_EQ(platform().collectorTraces()[0].file, "");
    EXPECT_EQ(platform().collectorTraces()[0].line, 0);
    manager->updateChannel(&channel);
    manager->activateFax(&channel);
    manager->closeChannel(&channel);
    EXPECT_EQ(platform().collectorTraces().size(), 1U);
}

TEST_F(MC_ManagerRegistry, RegistrationOfNullIsRefusedAndKeepsTheObserver) {
    testing::StrictMock<Client> client;
    manager->registration(&client);
    try {
        manager->registration(nullptr);
        FAIL() << "nothing was thrown";
    } catch (std::invalid_argument const& error) {
        EXPECT_EQ(recording::fullText(error), "MC_Manager::registration(NULL)");
    }
    EXPECT_EQ(Access::observer(*manager), &client);
}

TEST_F(MC_ManagerRegistry, SecondRegistrationReplacesTheFirst) {
    testing::StrictMock<Client> first;
    testing::StrictMock<Client> second;
    manager->registration(&first);
    EXPECT_EQ(Access::observer(*manager), &first);
    manager->registration(&second);
    EXPECT_EQ(Access::observer(*manager), &second);
    manager->registration(&second);
    EXPECT_EQ(Access::observer(*manager), &second);
}

void expectUnregistrationRefused(MC_Manager& manager, MC_Observer* observer) {
    try {
        manager.unregistration(observer);
        FAIL() << "nothing was thrown";
    } catch (std::invalid_argument const& error) {
        EXPECT_EQ(recording::fullText(error), "MC_Manager::unregistration(NULL)");
    }
}

TEST_F(MC_ManagerRegistry, UnregistrationOfAnObserverThatIsNotRegisteredIsRefused) {
    testing::StrictMock<Client> registered;
    testing::StrictMock<Client> other;
    expectUnregistrationRefused(*manager, &other);
    manager->registration(&registered);
    expectUnregistrationRefused(*manager, &other);
    EXPECT_EQ(Access::observer(*manager), &registered);
}

TEST_F(MC_ManagerRegistry, UnregistrationOfNullIsAlwaysRefused) {
    expectUnregistrationRefused(*manager, nullptr);
    testing::StrictMock<Client> client;
    manager->registration(&client);
    expectUnregistrationRefused(*manager, nullptr);
    EXPECT_EQ(Access::observer(*manager), &client);
}

TEST_F(MC_ManagerRegistry, UnregistrationClearsTheObserverOnce) {
    testing::StrictMock<Client> client;
    manager->registration(&client);
    manager->unregistration(&client);
    EXPECT_EQ(Access::observer(*manager), nullptr);
    expectUnregistrationRefused(*manager, &client);
}

TEST_F(MC_ManagerRegistry, FindCheckKnowsListedChannelsOnly) {
    MC_Channel& first = listedChannel();
    MC_Channel& last = listedChannel();
    MC_Channel& stranger = newChannel();
    EXPECT_TRUE(Access::findCheck(*manager, &first));
    EXPECT_TRUE(Access::findCheck(*manager, &last));
    EXPECT_FALSE(Access::findCheck(*manager, &stranger));
}

TEST_F(MC_ManagerRegistry, ChannelCheckReturnsSilentlyForAListedChannel) {
    MC_Channel& channel = listedChannel();
    Access::channelCheck(*manager, &channel, "closeVoice");
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(MC_ManagerRegistry, ChannelCheckLogsAndExitsForAChannelThatIsNotListed) {
    platform().script.coreDumpExit = recording::returning();
    Access::channelCheck(*manager, &newChannel(), "closeVoice");
    EXPECT_THAT(errors(), ElementsAre(error("MC_Manager component not found", "closeVoice", 1062)));
    EXPECT_THAT(platform().exits(), ElementsAre(0));
    EXPECT_THAT(platform().journal(Kind::errors | Kind::exits),
                ElementsAre(HasSubstr("error MC - MC_Manager component"), "coreDumpExit(0)"));
}

TEST_F(MC_ManagerRegistry, ChannelCheckPassesAnyOperationNameOn) {
    platform().script.coreDumpExit = recording::returning();
    MC_Channel& channel = newChannel();
    std::string const longName(300, 'x');
    Access::channelCheck(*manager, &channel, "");
    Access::channelCheck(*manager, &channel, longName.c_str());
    EXPECT_THAT(errors(), ElementsAre(error("MC_Manager component not found", "", 1062),
                                      error("MC_Manager component not found", longName, 1062)));
}

TEST_F(MC_ManagerRegistry, RemoveErasesTheFirstOccurrenceOnly) {
    MC_Channel& twice = listedChannel();
    MC_Channel& between = listedChannel();
    channels().push_back(&twice);
    EXPECT_TRUE(Access::remove(*manager, &twice));
    EXPECT_THAT(channels(), ElementsAre(&between, &twice));
    EXPECT_TRUE(Access::remove(*manager, &twice));
    EXPECT_THAT(channels(), ElementsAre(&between));
    EXPECT_FALSE(Access::remove(*manager, &twice));
    EXPECT_THAT(channels(), ElementsAre(&between));
    EXPECT_EQ(twice.referenceCount, 1U);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(MC_ManagerRegistry, GarbageGivesOneReferenceBack) {
    MC_Channel& channel = newChannel();
    channel.referenceCount = 2;
    Access::garbage(*manager, &channel);
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_THAT(platform().dereferenced(), ElementsAre(&channel));
    EXPECT_THAT(platform().journal(), ElementsAre("dereference, 1 left"));
}

TEST_F(MC_ManagerRegistry, GarbageOfTheLastReferenceDestroysTheChannel) {
    MC_Channel& channel = newChannel();
    disown(channel);
    Access::garbage(*manager, &channel);
    EXPECT_EQ(platform().liveObjects(), 0U);
    EXPECT_EQ(platform().liveClones(), 0U);
}

} // namespace
