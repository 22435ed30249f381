#include "tests/unit/MC_ManagerFixture.h"

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace mctest;
using testing::IsEmpty;
using testing::Values;

class MC_ManagerLookup : public ManagerTest {
protected:
    MC_Channel* find(int dsp, int wantedDirection, unsigned char sid) {
        return manager->getChannel(dsp, direction(wantedDirection), static_cast<char>(sid));
    }

    MC_Channel& listed(std::uint8_t dsp, int channelDirection, std::uint8_t sid,
                       MC_Channel::State state) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.dsp = dsp;
        channel.sid = sid;
        channel.state = state;
        return channel;
    }
};

struct TwoStates {
    MC_Channel::State first;
    MC_Channel::State second;
    int direction;
};

std::ostream& operator<<(std::ostream& out, TwoStates const& states) {
    return out << MC_Channel::stateToStr[states.first] << " before "
               << MC_Channel::stateToStr[states.second] << ", direction " << states.direction;
}

std::vector<TwoStates> allPairsOfStates() {
    std::vector<TwoStates> pairs;
    for (int first = 0; first < 6; ++first) {
        for (int second = 0; second < 6; ++second) {
            for (int channelDirection = 1; channelDirection <= 2; ++channelDirection) {
                pairs.push_back({static_cast<MC_Channel::State>(first),
                                 static_cast<MC_Channel::State>(second), channelDirection});
            }
        }
    }
    return pairs;
}

class MC_ManagerLookupOfTwo : public MC_ManagerLookup,
                              public testing::WithParamInterface<TwoStates> {};

INSTANTIATE_TEST_SUITE_P(States, MC_ManagerLookupOfTwo, testing::ValuesIn(allPairsOfStates()),
                         [](testing::TestParamInfo<TwoStates> const& parameter) {
                             return MC_Channel::stateToStr[parameter.param.first] + "_before_" +
                                    MC_Channel::stateToStr[parameter.param.second] + "_direction_" +
                                    std::to_string(parameter.param.direction);
                         });

TEST_P(MC_ManagerLookupOfTwo, TakesTheFirstThatRunsElseTheLastOfAll) {
    auto const& states = GetParam();
    listed(3, 3 - states.direction, 0xFA, MC_Channel::Voice_Open);
    MC_Channel& first = listed(3, states.direction, 0xFA, states.first);
    listed(4, states.direction, 0xFA, MC_Channel::Voice_Open);
    MC_Channel& second = listed(3, states.direction, 0xFA, states.second);
    listed(3, states.direction, 0xFB, MC_Channel::Voice_Open);

    bool const firstRests = states.first == MC_Channel::Idle || states.first == MC_Channel::Close;
    EXPECT_EQ(find(3, states.direction, 0xFA), firstRests ? &second : &first);
    EXPECT_EQ(first.state, states.first);
    EXPECT_EQ(second.state, states.second);
}

TEST_F(MC_ManagerLookup, FirstIdleAndSecondVoiceOpenGivesTheSecond) {
    listed(3, 1, 0x20, MC_Channel::Idle);
    MC_Channel& second = listed(3, 1, 0x20, MC_Channel::Voice_Open);
    EXPECT_EQ(find(3, 1, 0x20), &second);
}

TEST_F(MC_ManagerLookup, TwoIdleChannelsGiveTheLater) {
    listed(3, 1, 0x20, MC_Channel::Idle);
    MC_Channel& later = listed(3, 1, 0x20, MC_Channel::Idle);
    EXPECT_EQ(find(3, 1, 0x20), &later);
}

TEST_F(MC_ManagerLookup, ARunningChannelInFrontOfARestingOneIsReturnedAtOnce) {
    MC_Channel& running = listed(3, 1, 0x20, MC_Channel::Join);
    listed(3, 1, 0x20, MC_Channel::Close);
    listed(3, 1, 0x20, MC_Channel::Voice_Open);
    EXPECT_EQ(find(3, 1, 0x20), &running);
}

TEST_F(MC_ManagerLookup, AStateBeyondTheNamedOnesCountsAsRunning) {
    MC_Channel& strange = listed(3, 1, 0x20, static_cast<MC_Channel::State>(6));
    listed(3, 1, 0x20, MC_Channel::Idle);
    EXPECT_EQ(find(3, 1, 0x20), &strange);
}

class MC_ManagerLookupOfSid : public MC_ManagerLookup, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Addresses, MC_ManagerLookupOfSid,
                         Values(0x00, 0x01, 0x7F, 0x80, 0x81, 0xFA, 0xFE, 0xFF));

TEST_P(MC_ManagerLookupOfSid, FindsTheBoardAndNoOther) {
    auto const sid = static_cast<std::uint8_t>(GetParam());
    MC_Channel& other =
        listed(3, 1, static_cast<std::uint8_t>(sid ^ 0x80U), MC_Channel::Voice_Open);
    EXPECT_THROW(find(3, 1, sid), std::runtime_error);
    MC_Channel& meant = listed(3, 1, sid, MC_Channel::Voice_Open);
    EXPECT_EQ(find(3, 1, sid), &meant);
    EXPECT_EQ(find(3, 1, static_cast<unsigned char>(sid ^ 0x80U)), &other);
}

TEST_F(MC_ManagerLookup, FindsTheDefaultAddressOfAFreshChannel) {
    MC_Channel& channel = listedChannel();
    ASSERT_EQ(channel.sid, 0xFA);
    EXPECT_EQ(manager->getChannel(3, VCOM_DIRECTION_IN, static_cast<char>(0xFA)), &channel);
}

TEST_F(MC_ManagerLookup, DspNumbersAreComparedWhole) {
    MC_Channel& highest = listed(255, 1, 0xFA, MC_Channel::Voice_Open);
    listed(3, 1, 0xFA, MC_Channel::Voice_Open);
    EXPECT_EQ(find(255, 1, 0xFA), &highest);
    EXPECT_THROW(find(-1, 1, 0xFA), std::runtime_error);
    EXPECT_THROW(find(256 + 3, 1, 0xFA), std::runtime_error);
}

TEST_F(MC_ManagerLookup, OtherDirectionIsNotFound) {
    listed(3, 2, 0xFA, MC_Channel::Voice_Open);
    EXPECT_EQ(refusal([this] { find(3, 1, 0xFA); }),
              withNul("Unable to found 'INCOMING channel' with dsp(3)"));
}

TEST_F(MC_ManagerLookup, DirectionsOutsideTheEnumerationAreFoundToo) {
    MC_Channel& negative = listed(3, -1, 0xFA, MC_Channel::Voice_Open);
    MC_Channel& beyond = listed(3, 7, 0xFA, MC_Channel::Voice_Open);
    EXPECT_EQ(find(3, -1, 0xFA), &negative);
    EXPECT_EQ(find(3, 7, 0xFA), &beyond);
}

TEST_F(MC_ManagerLookup, NoChannelOnDsp3IsReportedWithTheNameOfDirection1) {
    listed(4, 1, 0xFA, MC_Channel::Voice_Open);
    EXPECT_EQ(refusal([this] { find(3, 1, 0xFA); }),
              withNul("Unable to found 'INCOMING channel' with dsp(3)"));
    EXPECT_THAT(platform().logCalls(), IsEmpty());
    EXPECT_THAT(platform().exits(), IsEmpty());
}

class MC_ManagerLookupText : public MC_ManagerLookup,
                             public testing::WithParamInterface<NamedDirection> {};

INSTANTIATE_TEST_SUITE_P(Directions, MC_ManagerLookupText, testing::ValuesIn(allDirections()),
                         NameOf());

TEST_P(MC_ManagerLookupText, NamesDirectionAndDsp) {
    EXPECT_EQ(refusal([this] { find(255, GetParam().value, 0xFA); }),
              withNul("Unable to found '" + GetParam().directionName + " channel' with dsp(255)"));
    EXPECT_EQ(refusal([this] { find(-12, GetParam().value, 0xFA); }),
              withNul("Unable to found '" + GetParam().directionName + " channel' with dsp(-12)"));
}

} // namespace
