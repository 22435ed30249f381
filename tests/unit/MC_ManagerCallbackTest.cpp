#include "tests/unit/MC_ManagerFixture.h"

#include <functional>
#include <ostream>
#include <stdexcept>
#include <vector>

// What a client may do to the manager and to its channel while one of its operations is called.

namespace {

using namespace mctest;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrictMock;

using Action = std::function<void(MC_Channel*)>;

/** A callback of the client, and the message for DSP 3 that leads to it. */
struct Callback {
    char const* name;
    imc_msg message;
    void (*expect)(StrictMock<Client>&, Action const&);
};

std::ostream& operator<<(std::ostream& out, Callback const& callback) {
    return out << callback.name;
}

std::vector<Callback> allCallbacks() {
    return {
        {"faxToneEvent", recording::message(123, 1, 0xFA, {3}),
         [](StrictMock<Client>& client, Action const& action) {
             EXPECT_CALL(client, faxToneEvent)
                 .WillOnce([action](MC_Channel* pChannel, auto const&) { action(pChannel); });
         }},
        {"dtmfEvent", recording::message(114, 4, 0xFA, {3, 5, 0, 80}),
         [](StrictMock<Client>& client, Action const& action) {
             EXPECT_CALL(client, dtmfEvent).WillOnce([action](MC_Channel* pChannel, auto const&) {
                 action(pChannel);
             });
         }},
        {"ackEvent", recording::message(116, 4, 0xFA, {3, 0, 0x17, 0x70}),
         [](StrictMock<Client>& client, Action const& action) {
             EXPECT_CALL(client, ackEvent).WillOnce([action](MC_Channel* pChannel, auto const&) {
                 action(pChannel);
             });
         }}};
}

class MC_ManagerCallback : public ManagerTest {
protected:
    MC_ManagerCallback() {
        manager->registration(&client);
        platform().setLogLevel(3);
    }

    MC_Channel& open() {
        MC_Channel& channel = newChannel();
        manager->openChannel(&channel);
        platform().clearRecords();
        return channel;
    }

    StrictMock<Client> client;
};

class MC_ManagerAnyCallback : public MC_ManagerCallback,
                              public testing::WithParamInterface<Callback> {
protected:
    /** Delivers the message; the client does this when it is called. */
    void deliver(Action const& action) {
        GetParam().expect(client, action);
        EXPECT_EQ(platform().deliver(GetParam().message), 1U);
        EXPECT_THAT(platform().exits(), IsEmpty());
    }
};

INSTANTIATE_TEST_SUITE_P(Callbacks, MC_ManagerAnyCallback, testing::ValuesIn(allCallbacks()),
                         NameOf());

TEST_P(MC_ManagerAnyCallback, MayCloseAndSoDestroyTheChannel) {
    MC_Channel& channel = open();
    channel.referenceCount = 1;
    disown(channel);
    deliver([this](MC_Channel* pChannel) {
        manager->closeChannel(pChannel);
        EXPECT_EQ(platform().liveObjects(), 0U);
    });
    EXPECT_THAT(commands(), ElementsAre("102"));
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(MC_ManagerAnyCallback, MayOpenAnotherChannel) {
    MC_Channel& channel = open();
    MC_Channel& second = newChannel(2);
    deliver([&](MC_Channel* pChannel) {
        EXPECT_EQ(pChannel, &channel);
        manager->openChannel(&second);
    });
    EXPECT_THAT(channels(), ElementsAre(&channel, &second));
    EXPECT_EQ(second.state, MC_Channel::Voice_Open);
}

TEST_P(MC_ManagerAnyCallback, MayUnregisterTheClientWhichHearsNothingMore) {
    open();
    deliver([this](MC_Channel*) { manager->unregistration(&client); });
    EXPECT_EQ(Access::observer(*manager), nullptr);
    EXPECT_EQ(platform().deliver(GetParam().message), 1U);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_P(MC_ManagerAnyCallback, MayDeleteTheManagerWhenItReturnsNormally) {
    MC_Channel& channel = open();
    deliver([this](MC_Channel*) { delete manager; });
    EXPECT_EQ(Access::existing(), nullptr);
    EXPECT_EQ(pMClog, nullptr);
    EXPECT_THAT(platform().registered(), IsEmpty());
    EXPECT_EQ(platform().deliver(GetParam().message), 0U);
    EXPECT_EQ(channel.referenceCount, 2U) << "the channel is left to its other holders";
}

TEST_P(MC_ManagerAnyCallback, MayReplaceTheManagerByANewOne) {
    open();
    deliver([this](MC_Channel*) {
        delete manager;
        manager = MC_Manager::instance();
    });
    EXPECT_EQ(Access::existing(), manager);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(platform().registered().size(), 17U);
}

TEST_F(MC_ManagerCallback, OfAFaxToneMayActivateTheFax) {
    MC_Channel& channel = open();
    EXPECT_CALL(client, faxToneEvent(&channel, _)).WillOnce([this](MC_Channel* pChannel, auto&) {
        manager->activateFax(pChannel);
    });
    platform().deliver(recording::message(123, 1, 0xFA, {3}));
    EXPECT_EQ(channel.state, MC_Channel::Fax_Open);
    EXPECT_TRUE(channel.faxOpen);
    EXPECT_THAT(commands(), ElementsAre("108:5", "115"));
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerCallback, OfAnAckThatUnregistersAndThrowsIsNotAnsweredWithAnError) {
    MC_Channel& channel = open();
    EXPECT_CALL(client, ackEvent(&channel, _)).WillOnce([this](MC_Channel*, auto&) {
        manager->unregistration(&client);
        throw std::runtime_error("client");
    });
    platform().deliver(recording::message(101, 4, 0xFA, {3}));
    ASSERT_EQ(traces().size(), 2U);
    EXPECT_EQ(traces()[1], trace("ackEvent error on channel(2F) \n", 1318));
}

TEST_F(MC_ManagerCallback, OfAnAckErrorMayCloseAndSoDestroyTheChannel) {
    MC_Channel& channel = open();
    channel.referenceCount = 1;
    disown(channel);
    EXPECT_CALL(client, ackErrorEvent(&channel, _)).WillOnce([this](MC_Channel* pChannel, auto&) {
        manager->closeChannel(pChannel);
    });
    platform().deliver(recording::message(116, 4, 0xFA, {3, 3, 0, 0}));
    EXPECT_THAT(commands(), ElementsAre("102"));
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(platform().liveObjects(), 0U);
}

} // namespace
