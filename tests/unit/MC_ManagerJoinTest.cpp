#include "tests/unit/MC_ManagerFixture.h"

#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class MC_ManagerJoin : public ManagerTest {
protected:
    MC_Channel& joinable(std::string const& ip = "10.3.0.1") {
        MC_Channel& channel = listedChannel();
        channel.state = MC_Channel::Voice_Open;
        channel.joinIp = IPAddress(ip).Clone();
        channel.joinDsp = 9;
        platform().clearRecords();
        return channel;
    }
};

using MC_ManagerJoinSpecificationDeathTest = MC_ManagerJoin;

/** An address that does not get as far as its text. */
class AddressWithoutText : public IPAddress {
public:
    AddressWithoutText() : IPAddress("10.9.9.8") {}

    AddressWithoutText* Clone() const override { return new AddressWithoutText(*this); }
    operator std::string() const override { throw std::runtime_error("no text"); }
};

/** An address that can't be compared. */
class IncomparableAddress : public IPAddress {
public:
    IncomparableAddress() : IPAddress("10.9.9.7") {}

    IncomparableAddress* Clone() const override { return new IncomparableAddress(*this); }
    bool operator==(std::string const&) const override {
        throw std::runtime_error("no comparison");
    }
};

TEST_F(MC_ManagerJoin, OfTheSameBoardAsTheLocalAddressHasTheRemoteFlag0) {
    MC_Channel& channel = joinable("10.1.0.1");
    manager->joinChannel(&channel);
    ASSERT_THAT(commands(), ElementsAre("124"));
    EXPECT_EQ(platform().posted()[0].payload[2], 0);
    EXPECT_THAT(platform().journal(Kind::comparisons),
                ElementsAre("10.1.0.1 != 10.1.0.1", "10.1.0.1 == 10.1.0.1"));
}

TEST_F(MC_ManagerJoin, OfAnotherBoardHasTheRemoteFlag1) {
    MC_Channel& channel = joinable("10.1.0.11");
    manager->joinChannel(&channel);
    ASSERT_THAT(commands(), ElementsAre("124"));
    EXPECT_EQ(platform().posted()[0].payload[2], 1);
    EXPECT_THAT(platform().journal(Kind::comparisons),
                ElementsAre("10.1.0.1 != 10.1.0.11", "10.1.0.1 == 10.1.0.11"));
}

// The comparison is the local address's own, so that its family decides.
TEST_F(MC_ManagerJoin, ComparesTheLocalAddressWithTheTextOfTheOther) {
    MC_Channel& channel = joinable();
    recording::OtherAddress const local("10.3.0.1");
    channel.rtpLocal.Set(&local, 5004);
    manager->joinChannel(&channel);
    EXPECT_EQ(platform().posted()[0].payload[2], 0);
}

TEST_F(MC_ManagerJoin, BuildsAndDropsAnEndPointOfTheLocalAddress) {
    MC_Channel& channel = joinable();
    auto const clones = platform().liveClones();
    manager->joinChannel(&channel);
    EXPECT_THAT(
        platform().journal(Kind::endPoints | Kind::endPointEnds),
        ElementsAre("TransportAddress(10.1.0.1, 5004)", "~TransportAddress(10.1.0.1, 5004)"));
    EXPECT_EQ(platform().liveClones(), clones);
    EXPECT_THAT(platform().journal(Kind::binaries), ElementsAre("GetBinary 10.3.0.1"));
}

TEST_F(MC_ManagerJoin, WithoutALocalAddressCountsAsAnotherBoard) {
    MC_Channel& channel = joinable();
    channel.rtpLocal.Set(nullptr, 5004);
    manager->joinChannel(&channel);
    ASSERT_THAT(commands(), ElementsAre("124"));
    EXPECT_EQ(platform().posted()[0].payload[2], 1);
    EXPECT_EQ(channel.state, MC_Channel::Join);
}

TEST_F(MC_ManagerJoin, WithoutAJoinAddressIsRefusedUnsentUnderTheOtherOperationsName) {
    MC_Channel& channel = listedChannel();
    channel.state = MC_Channel::Fax_Open;
    platform().setLogLevel(3);
    EXPECT_EQ(refusal([&] { manager->joinChannel(&channel); }),
              withNul("Failed to unjoinChannel(2F)\n\tNULL join IP"));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerJoin, LeavesAddressDspAndFlagsAsTheyAre) {
    MC_Channel& channel = joinable();
    channel.voiceOpen = true;
    channel.faxOpen = true;
    auto const* const address = channel.joinIp;
    manager->joinChannel(&channel);
    EXPECT_EQ(channel.state, MC_Channel::Join);
    manager->unjoinChannel(&channel);
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_EQ(channel.joinIp, address);
    EXPECT_EQ(channel.joinDsp, 9);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_TRUE(channel.faxOpen);
    EXPECT_THAT(commands(), ElementsAre("124", "125"));
}

TEST_F(MC_ManagerJoin, DoesNotTouchThePeersRecord) {
    MC_Channel& channel = joinable();
    MC_Channel& peer = listedChannel(2);
    peer.dsp = 9;
    manager->joinChannel(&channel);
    EXPECT_EQ(peer.state, MC_Channel::Idle);
    EXPECT_EQ(peer.joinIp, nullptr);
    EXPECT_EQ(commands().size(), 1U);
}

TEST_F(MC_ManagerJoin, AndUnjoinIgnoreTheState) {
    MC_Channel& channel = joinable();
    for (int const state : {0, 1, 2, 3, 4, 5}) {
        channel.state = static_cast<MC_Channel::State>(state);
        manager->joinChannel(&channel);
        EXPECT_EQ(channel.state, MC_Channel::Join);
        channel.state = static_cast<MC_Channel::State>(state);
        manager->unjoinChannel(&channel);
        EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    }
}

TEST_F(MC_ManagerJoin, UnjoinOfAChannelThatWasNeverJoinedStillSendsTheCommand) {
    MC_Channel& channel = listedChannel();
    channel.state = MC_Channel::Voice_Open;
    manager->unjoinChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("125"));
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_THAT(platform().journal(Kind::endPoints | Kind::clones), IsEmpty());
}

TEST_F(MC_ManagerJoin, PostsOnTheManagersOwnImc) {
    MC_Channel& channel = joinable();
    manager->joinChannel(&channel);
    manager->unjoinChannel(&channel);
    EXPECT_THAT(platform().instanceQuestions(), IsEmpty());
}

TEST_F(MC_ManagerJoin, SetsTheStateAfterThePost) {
    MC_Channel& channel = joinable();
    platform().script.post = [&](imc_msg const& message) {
        EXPECT_EQ(channel.state,
                  message.messageId == 124 ? MC_Channel::Voice_Open : MC_Channel::Join);
    };
    manager->joinChannel(&channel);
    manager->unjoinChannel(&channel);
    EXPECT_EQ(commands().size(), 2U);
}

TEST_F(MC_ManagerJoin, TracesTheWholeDescriptionWhichNamesTheJoinedAddress) {
    MC_Channel& channel = joinable();
    platform().setLogLevel(2);
    manager->joinChannel(&channel);
    EXPECT_THAT(description(channel), HasSubstr("\tState : Join with 10.3.0.1 dsp(9)"));
    EXPECT_THAT(traces(), ElementsAre(trace("Join" + description(channel) + "\n", 468)));
}

TEST_F(MC_ManagerJoin, UnjoinTracesIdentifierAndDirection) {
    for (auto const& named : allDirections()) {
        MC_Channel& channel = listedChannel(named.value);
        platform().setLogLevel(2);
        manager->unjoinChannel(&channel);
        EXPECT_THAT(traces(),
                    ElementsAre(trace("UnjoinChannel(2F) " + named.directionName + "\n", 511)));
    }
}

TEST_F(MC_ManagerJoin, FailureOfThePostIsWrappedUnderTheOtherOperationsNameAndEndsNothing) {
    MC_Channel& channel = joinable();
    channel.state = MC_Channel::Fax_Detected;
    platform().setLogLevel(3);
    platform().script.post = recording::throwing(std::range_error(withNul("no route") + "more"));
    EXPECT_EQ(refusal([&] { manager->joinChannel(&channel); }),
              withNul("Failed to unjoinChannel(2F)\n\tno route"));
    EXPECT_EQ(refusal([&] { manager->unjoinChannel(&channel); }),
              withNul("Failed to joinChannel(2F)\n\tno route"));
    EXPECT_EQ(channel.state, MC_Channel::Fax_Detected);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
    EXPECT_THAT(platform().exits(), IsEmpty());
}

TEST_F(MC_ManagerJoin, FailureToCompareTheAddressesIsWrappedUnsent) {
    MC_Channel& channel = joinable();
    IncomparableAddress const incomparable;
    channel.rtpLocal.Set(&incomparable, 5004);
    EXPECT_EQ(refusal([&] { manager->joinChannel(&channel); }),
              withNul("Failed to unjoinChannel(2F)\n\tno comparison"));
    delete channel.joinIp;
    channel.joinIp = new AddressWithoutText;
    EXPECT_EQ(refusal([&] { manager->joinChannel(&channel); }),
              withNul("Failed to unjoinChannel(2F)\n\tno text"));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
}

TEST_F(MC_ManagerJoin, FailureOfTheTraceIsWrappedUnderTheOtherOperationsNameWithTheStateSet) {
    MC_Channel& channel = joinable();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(468, std::range_error("join trace"));
    EXPECT_EQ(refusal([&] { manager->joinChannel(&channel); }),
              withNul("Failed to unjoinChannel(2F)\n\tjoin trace"));
    EXPECT_EQ(channel.state, MC_Channel::Join);
    platform().script.log = failingTrace(511, std::range_error("unjoin trace"));
    EXPECT_EQ(refusal([&] { manager->unjoinChannel(&channel); }),
              withNul("Failed to joinChannel(2F)\n\tunjoin trace"));
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
}

TEST_F(MC_ManagerJoin, InvalidArgumentFromThePostLeavesUnchanged) {
    MC_Channel& channel = joinable();
    platform().script.post = recording::throwing(std::invalid_argument("misuse"));
    EXPECT_THROW(manager->joinChannel(&channel), std::invalid_argument);
    EXPECT_THROW(manager->unjoinChannel(&channel), std::invalid_argument);
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerJoinSpecificationDeathTest, JoinWhosePostThrowsAnIntEndsTheProcess) {
    MC_Channel& channel = joinable();
    platform().script.post = recording::throwing(7);
    EXPECT_DEATH(watchingForUnexpected([&] { manager->joinChannel(&channel); }), ranUnexpected());
}

TEST_F(MC_ManagerJoinSpecificationDeathTest, UnjoinWhosePostThrowsAnIntEndsTheProcess) {
    MC_Channel& channel = joinable();
    platform().script.post = recording::throwing(7);
    EXPECT_DEATH(watchingForUnexpected([&] { manager->unjoinChannel(&channel); }), ranUnexpected());
}

TEST_F(MC_ManagerJoinSpecificationDeathTest, AnotherExceptionFromTheAddressEndsTheProcess) {
    MC_Channel& channel = listedChannel();
    channel.joinIp = new ScriptedAddress([] { throw std::logic_error("binary"); });
    EXPECT_DEATH(watchingForUnexpected([&] { manager->joinChannel(&channel); }), ranUnexpected());
}

} // namespace
