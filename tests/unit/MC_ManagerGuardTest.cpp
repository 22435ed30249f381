#include "tests/unit/MC_ManagerFixture.h"

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

// The two guards in front of every operation: the assertion of the pointer, and the check that the
// channel is listed.

namespace {

using namespace mctest;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Assertion {
    char const* name;
    int line;
    char const* signature;
    void (*call)(MC_Manager&);
};

std::ostream& operator<<(std::ostream& out, Assertion const& assertion) {
    return out << assertion.signature;
}

std::vector<Assertion> const& allAssertions() {
    using M = MC_Manager;
    static std::vector<Assertion> const all = {
        {"setMediaGateway", 195,
         "void MC_Manager::setMediaGateway(MC_Channel*, const INetAddress*)",
         [](M& manager) { manager.setMediaGateway(nullptr, &IPAddress::IpAddressAny); }},
        {"openChannel", 232, "void MC_Manager::openChannel(MC_Channel*)",
         [](M& manager) { manager.openChannel(nullptr); }},
        {"closeChannel", 286, "void MC_Manager::closeChannel(MC_Channel*)",
         [](M& manager) { manager.closeChannel(nullptr); }},
        {"updateChannel", 330, "void MC_Manager::updateChannel(MC_Channel*)",
         [](M& manager) { manager.updateChannel(nullptr); }},
        {"activateFax", 375, "void MC_Manager::activateFax(MC_Channel*)",
         [](M& manager) { manager.activateFax(nullptr); }},
        {"joinChannel", 418, "void MC_Manager::joinChannel(MC_Channel*)",
         [](M& manager) { manager.joinChannel(nullptr); }},
        {"unjoinChannel", 479, "void MC_Manager::unjoinChannel(MC_Channel*)",
         [](M& manager) { manager.unjoinChannel(nullptr); }},
        {"setSilenceSuppressionActive", 545,
         "void MC_Manager::setSilenceSuppressionActive(const MC_Channel*) const",
         [](M& manager) { Access::setSilenceSuppressionActive(manager, nullptr); }},
        {"setFaxDetectionActive", 584,
         "void MC_Manager::setFaxDetectionActive(const MC_Channel*) const",
         [](M& manager) { Access::setFaxDetectionActive(manager, nullptr); }},
        {"setDigitDetection", 631, "void MC_Manager::setDigitDetection(const MC_Channel*) const",
         [](M& manager) { Access::setDigitDetection(manager, nullptr); }},
        {"setPacketLength", 677, "void MC_Manager::setPacketLength(const MC_Channel*) const",
         [](M& manager) { Access::setPacketLength(manager, nullptr); }},
        {"openVoice", 717, "void MC_Manager::openVoice(const MC_Channel*) const",
         [](M& manager) { Access::openVoice(manager, nullptr); }},
        {"updateVoice", 791, "void MC_Manager::updateVoice(const MC_Channel*) const",
         [](M& manager) { Access::updateVoice(manager, nullptr); }},
        {"openFax", 863, "void MC_Manager::openFax(const MC_Channel*) const",
         [](M& manager) { Access::openFax(manager, nullptr); }},
        {"closeVoice", 948, "void MC_Manager::closeVoice(const MC_Channel*) const",
         [](M& manager) { Access::closeVoice(manager, nullptr); }},
        {"closeFax", 994, "void MC_Manager::closeFax(const MC_Channel*) const",
         [](M& manager) { Access::closeFax(manager, nullptr); }},
        {"findCheck", 1039, "const bool MC_Manager::findCheck(const MC_Channel*) const",
         [](M& manager) { Access::findCheck(manager, nullptr); }},
        {"channelCheck", 1056,
         "void MC_Manager::channelCheck(const MC_Channel*, std::string) const",
         [](M& manager) { Access::channelCheck(manager, nullptr, "where"); }},
        {"remove", 1075, "const bool MC_Manager::remove(const MC_Channel*)",
         [](M& manager) { Access::remove(manager, nullptr); }},
        {"garbage", 1096, "void MC_Manager::garbage(MC_Channel*)",
         [](M& manager) { Access::garbage(manager, nullptr); }},
        {"checkSilenceSuppressionMode", 1142,
         "void MC_Manager::checkSilenceSuppressionMode(MC_Channel*)",
         [](M& manager) { manager.checkSilenceSuppressionMode(nullptr); }}};
    return all;
}

class MC_ManagerAssertionDeathTest : public ManagerTest,
                                     public testing::WithParamInterface<Assertion> {};

INSTANTIATE_TEST_SUITE_P(Operations, MC_ManagerAssertionDeathTest,
                         testing::ValuesIn(allAssertions()), NameOf());

TEST_P(MC_ManagerAssertionDeathTest, NullChannelAbortsWithExpressionPlaceAndSignature) {
    auto const& assertion = GetParam();
    EXPECT_DEATH(assertion.call(*manager),
                 HasSubstr("framework/lib/MC_API/MC_Manager:" + std::to_string(assertion.line) +
                           ": " + assertion.signature +
                           ": Assertion `pChannel != __null' failed."));
}

/** For a death test: an abort says how often the platform was called before it. */
void reportPlatformCalls(int) {
    std::fprintf(stderr, "calls of the platform: %zu\n", platform().journal().size());
}

TEST_P(MC_ManagerAssertionDeathTest, NullChannelAbortsBeforeThePlatformIsCalled) {
    platform().clearRecords();
    EXPECT_DEATH(
        {
            std::signal(SIGABRT, reportPlatformCalls);
            GetParam().call(*manager);
        },
        HasSubstr("calls of the platform: 0\n"));
}

/** An operation that begins with the check, and which checks follow when the process goes on. */
struct Guarded {
    char const* name;
    void (*call)(MC_Manager&, MC_Channel*);
    std::vector<std::string> checks;
    std::vector<std::string> commands;
};

std::ostream& operator<<(std::ostream& out, Guarded const& guarded) {
    return out << guarded.name;
}

template <void (*Call)(MC_Manager&, MC_Channel const*)>
void privateCall(MC_Manager& manager, MC_Channel* pChannel) {
    Call(manager, pChannel);
}

template <void (MC_Manager::*Call)(MC_Channel*)>
void publicCall(MC_Manager& manager, MC_Channel* pChannel) {
    (manager.*Call)(pChannel);
}

/** For a channel of direction 2. */
std::vector<Guarded> const& allGuarded() {
    static std::vector<Guarded> const all = {
        {"setSilenceSuppressionActive",
         privateCall<Access::setSilenceSuppressionActive>,
         {"setSilenceSuppressionActive"},
         {"108:2"}},
        {"setFaxDetectionActive",
         privateCall<Access::setFaxDetectionActive>,
         {"setFaxDetectionActive"},
         {"108:5"}},
        {"setDigitDetection",
         privateCall<Access::setDigitDetection>,
         {"setDigitDetection"},
         {"108:3"}},
        {"setPacketLength", privateCall<Access::setPacketLength>, {"setPacketLength"}, {"108:4"}},
        {"openVoice", privateCall<Access::openVoice>, {"openVoice"}, {"104"}},
        {"updateVoice", privateCall<Access::updateVoice>, {"updateVoice"}, {"133"}},
        {"closeVoice", privateCall<Access::closeVoice>, {"closeVoice"}, {"106"}},
        {"openFax", privateCall<Access::openFax>, {"openFax"}, {"119"}},
        {"closeFax", privateCall<Access::closeFax>, {"closeFax"}, {"121"}},
        {"joinChannel", publicCall<&MC_Manager::joinChannel>, {"joinChannel"}, {"124"}},
        {"unjoinChannel", publicCall<&MC_Manager::unjoinChannel>, {"unjoinChannel"}, {"125"}},
        {"checkSilenceSuppressionMode",
         publicCall<&MC_Manager::checkSilenceSuppressionMode>,
         {"checkSilenceSuppressionMode"},
         {}},
        {"updateChannel",
         publicCall<&MC_Manager::updateChannel>,
         {"updateChannel", "checkSilenceSuppressionMode", "setSilenceSuppressionActive",
          "setPacketLength", "setDigitDetection", "updateVoice"},
         {"108:2", "108:4", "108:3", "133"}},
        {"activateFax",
         publicCall<&MC_Manager::activateFax>,
         {"activateFax", "setFaxDetectionActive", "openFax"},
         {"108:5", "119"}}};
    return all;
}

class MC_ManagerChannelCheck : public ManagerTest, public testing::WithParamInterface<Guarded> {
protected:
    MC_ManagerChannelCheck() {
        // A fax can be activated on a resting channel that is not listed; on this one it can't.
        channel.state = MC_Channel::Voice_Open;
        channel.joinIp = IPAddress("10.3.0.1").Clone();
        platform().clearRecords();
    }

    void call() { GetParam().call(*manager, &channel); }

    MC_Channel& channel = newChannel(2);
};

using MC_ManagerChannelCheckDeathTest = MC_ManagerChannelCheck;
using MC_ManagerChannelCheckSpecificationDeathTest = MC_ManagerChannelCheck;

#define FOR_ALL_GUARDED(fixture)                                                                   \
    INSTANTIATE_TEST_SUITE_P(Operations, fixture, testing::ValuesIn(allGuarded()), NameOf())

FOR_ALL_GUARDED(MC_ManagerChannelCheck);
FOR_ALL_GUARDED(MC_ManagerChannelCheckDeathTest);
FOR_ALL_GUARDED(MC_ManagerChannelCheckSpecificationDeathTest);

TEST_P(MC_ManagerChannelCheckDeathTest, UnlistedChannelIsLoggedAndEndsTheProcessUnsent) {
    platform().script.coreDumpExit = [](int cause) {
        std::fprintf(stderr, "%u commands\n", static_cast<unsigned>(platform().posted().size()));
        reportAndAbort(cause);
    };
    EXPECT_DEATH(
        call(), AllOf(HasSubstr("0 commands\nerror MC - MC_Manager component not found | " +
                                GetParam().checks[0] + " | framework/lib/MC_API/MC_Manager:1062\n"),
                      HasSubstr("exit cause 0\n")));
}

TEST_P(MC_ManagerChannelCheck, WhenTheExitReturnsTheOperationGoesOnAndEveryStepChecksAgain) {
    platform().script.coreDumpExit = recording::returning();
    EXPECT_NO_THROW(call());
    std::vector<LogLine> expected;
    for (auto const& where : GetParam().checks) {
        expected.push_back(error("MC_Manager component not found", where, 1062));
    }
    EXPECT_EQ(errors(), expected);
    EXPECT_EQ(platform().exits(), std::vector<int>(expected.size(), 0));
    EXPECT_EQ(commands(), GetParam().commands);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(channel.referenceCount, 1U);
}

TEST_P(MC_ManagerChannelCheck, ListedChannelIsNotReported) {
    channels().push_back(&channel);
    EXPECT_NO_THROW(call());
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(platform().exits(), IsEmpty());
    EXPECT_EQ(commands(), GetParam().commands);
}

TEST_P(MC_ManagerChannelCheck, InvalidArgumentFromTheExitLeavesTheOperationUnchanged) {
    platform().script.coreDumpExit = recording::throwing(std::invalid_argument("exit"));
    try {
        call();
        FAIL() << "nothing was thrown";
    } catch (std::invalid_argument const& thrown) {
        EXPECT_EQ(recording::fullText(thrown), "exit");
    }
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_EQ(errors().size(), 1U);
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
}

// Only the activation of a fax checks inside its handler.
TEST_P(MC_ManagerChannelCheck, RuntimeErrorFromTheExitIsWrappedByActivateFaxOnly) {
    platform().script.coreDumpExit = recording::throwing(std::runtime_error("exit"));
    std::string const expected = GetParam().name == std::string("activateFax")
                                     ? withNul("Failed to activateFax on channel(2F)\n\texit")
                                     : "exit";
    EXPECT_EQ(refusal([this] { call(); }), expected);
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_EQ(errors().size(), 1U);
}

TEST_P(MC_ManagerChannelCheckSpecificationDeathTest, AnotherExceptionRunsTheUnexpectedHandler) {
    platform().script.coreDumpExit = recording::throwing(7);
    EXPECT_DEATH(watchingForUnexpected([this] { call(); }), ranUnexpected());
}

class MC_ManagerCloseUnlisted : public ManagerTest {};
using MC_ManagerCloseUnlistedDeathTest = MC_ManagerCloseUnlisted;

TEST_F(MC_ManagerCloseUnlistedDeathTest, WithVoiceOpenEndsTheProcessInCloseVoice) {
    MC_Channel& channel = newChannel();
    channel.voiceOpen = true;
    platform().script.coreDumpExit = reportAndAbort;
    EXPECT_DEATH(manager->closeChannel(&channel),
                 HasSubstr("error MC - MC_Manager component not found | closeVoice | "
                           "framework/lib/MC_API/MC_Manager:1062\n"));
}

TEST_F(MC_ManagerCloseUnlistedDeathTest, WithFaxOpenEndsTheProcessInCloseFax) {
    MC_Channel& channel = newChannel();
    channel.voiceOpen = true;
    channel.faxOpen = true;
    platform().script.coreDumpExit = reportAndAbort;
    EXPECT_DEATH(manager->closeChannel(&channel),
                 HasSubstr("error MC - MC_Manager component not found | closeFax | "
                           "framework/lib/MC_API/MC_Manager:1062\n"));
}

TEST_F(MC_ManagerCloseUnlisted, WithBothOpenGoesOnWhenTheExitReturns) {
    MC_Channel& channel = newChannel();
    channel.voiceOpen = true;
    channel.faxOpen = true;
    platform().script.coreDumpExit = recording::returning();
    manager->closeChannel(&channel);
    EXPECT_THAT(errors(), ElementsAre(error("MC_Manager component not found", "closeFax", 1062),
                                      error("MC_Manager component not found", "closeVoice", 1062)));
    EXPECT_THAT(commands(), ElementsAre("117", "102"));
    EXPECT_EQ(channel.state, MC_Channel::Close);
    EXPECT_FALSE(channel.voiceOpen);
    EXPECT_FALSE(channel.faxOpen);
    EXPECT_THAT(platform().dereferenced(), IsEmpty());
}

TEST_F(MC_ManagerCloseUnlisted, RuntimeErrorFromTheExitIsWrapped) {
    MC_Channel& channel = newChannel();
    channel.voiceOpen = true;
    platform().script.coreDumpExit = recording::throwing(std::runtime_error("exit"));
    EXPECT_EQ(refusal([&] { manager->closeChannel(&channel); }),
              withNul("Failed to closeChannel(2F)\n\texit"));
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_EQ(channel.state, MC_Channel::Idle);
}

TEST_F(MC_ManagerCloseUnlisted, InvalidArgumentFromTheExitIsNot) {
    MC_Channel& channel = newChannel();
    channel.faxOpen = true;
    channel.voiceOpen = true;
    platform().script.coreDumpExit = recording::throwing(std::invalid_argument("exit"));
    EXPECT_THROW(manager->closeChannel(&channel), std::invalid_argument);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_TRUE(channel.faxOpen);
    EXPECT_THAT(commands(), IsEmpty());
}

} // namespace
