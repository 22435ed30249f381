#include "tests/unit/MC_ManagerFixture.h"

#include <string>
#include <typeinfo>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::IsEmpty;

class MC_ManagerMediaGateway : public ManagerTest {
protected:
    MC_ManagerMediaGateway() {
        platform().setBoard("10.0.0.5", 0x21);
        platform().setInterface("voicelan", "10.0.0.9");
        platform().setSid("10.0.0.9", 0x91);
        platform().setSid("10.0.0.6", 0x22);
    }

    void expectLocalBoard(MC_Channel const& channel, std::string const& address) {
        EXPECT_EQ(channel.sid, 0x91);
        ASSERT_NE(channel.mediaGateway, nullptr);
        EXPECT_EQ(std::string(*channel.mediaGateway), address);
        EXPECT_THAT(platform().interfaceQuestions(), ElementsAre("voicelan"));
        ASSERT_EQ(platform().sidQuestions().size(), 1U);
        EXPECT_EQ(platform().sidQuestions()[0].family, 12);
        EXPECT_EQ(platform().sidQuestions()[0].address, "10.0.0.9");
    }
};

TEST_F(MC_ManagerMediaGateway, OfAVoipBoardTakesItsImcAddress) {
    MC_Channel& channel = newChannel();
    IPAddress const address("10.0.0.5");
    manager->setMediaGateway(&channel, &address);
    EXPECT_EQ(channel.sid, 0x21);
    ASSERT_NE(channel.mediaGateway, nullptr);
    EXPECT_NE(channel.mediaGateway, &address);
    EXPECT_EQ(std::string(*channel.mediaGateway), "10.0.0.5");
    EXPECT_THAT(platform().boardQuestions(), ElementsAre("10.0.0.5"));
    EXPECT_THAT(platform().interfaceQuestions(), IsEmpty());
    ASSERT_EQ(platform().sidQuestions().size(), 1U);
    EXPECT_EQ(platform().sidQuestions()[0].family, 12);
    EXPECT_EQ(platform().sidQuestions()[0].address, "10.0.0.5");
}

TEST_F(MC_ManagerMediaGateway, KeepsImcAddressesFrom0x80Up) {
    MC_Channel& channel = newChannel();
    platform().setBoard("10.0.0.7", 0xFF);
    IPAddress const address("10.0.0.7");
    manager->setMediaGateway(&channel, &address);
    EXPECT_EQ(channel.sid, 0xFF);
}

TEST_F(MC_ManagerMediaGateway, OfARefusedAddressTakesTheLocalBoard) {
    MC_Channel& channel = newChannel();
    IPAddress const address("10.0.0.6");
    manager->setMediaGateway(&channel, &address);
    expectLocalBoard(channel, "10.0.0.6");
    EXPECT_THAT(platform().boardQuestions(), ElementsAre("10.0.0.6"));
}

TEST_F(MC_ManagerMediaGateway, OfASubclassOfIpAddressTakesTheLocalBoard) {
    MC_Channel& channel = newChannel();
    recording::DerivedAddress const address("10.0.0.5");
    manager->setMediaGateway(&channel, &address);
    expectLocalBoard(channel, "10.0.0.5");
    EXPECT_THAT(platform().boardQuestions(), IsEmpty());
    EXPECT_NE(dynamic_cast<recording::DerivedAddress*>(channel.mediaGateway), nullptr);
}

TEST_F(MC_ManagerMediaGateway, OfAnotherFamilyTakesTheLocalBoard) {
    MC_Channel& channel = newChannel();
    recording::OtherAddress const address("fe80::5");
    manager->setMediaGateway(&channel, &address);
    expectLocalBoard(channel, "fe80::5");
    EXPECT_THAT(platform().boardQuestions(), IsEmpty());
}

TEST_F(MC_ManagerMediaGateway, OfAnotherAddressReplacesTheOldOne) {
    MC_Channel& channel = newChannel();
    IPAddress const first("10.0.0.5");
    IPAddress const second("10.0.0.6");
    manager->setMediaGateway(&channel, &first);
    platform().clearRecords();
    manager->setMediaGateway(&channel, &second);
    expectLocalBoard(channel, "10.0.0.6");
    EXPECT_THAT(platform().journal(Kind::clones), ElementsAre("Clone 10.0.0.6", "delete 10.0.0.5"));
}

TEST_F(MC_ManagerMediaGateway, OfTheChannelsOwnAddressIsSafe) {
    MC_Channel& channel = newChannel();
    IPAddress const address("10.0.0.5");
    manager->setMediaGateway(&channel, &address);
    channel.sid = 0;
    platform().clearRecords();
    manager->setMediaGateway(&channel, channel.mediaGateway);
    EXPECT_EQ(channel.sid, 0x21);
    EXPECT_EQ(std::string(*channel.mediaGateway), "10.0.0.5");
    EXPECT_THAT(platform().journal(Kind::clones), ElementsAre("Clone 10.0.0.5", "delete 10.0.0.5"));
}

TEST_F(MC_ManagerMediaGateway, OfNullEndsInBadTypeidWithTheOldAddressDeleted) {
    MC_Channel& channel = newChannel();
    IPAddress const address("10.0.0.5");
    manager->setMediaGateway(&channel, &address);
    platform().clearRecords();
    EXPECT_THROW(manager->setMediaGateway(&channel, nullptr), std::bad_typeid);
    EXPECT_EQ(channel.mediaGateway, nullptr);
    EXPECT_EQ(channel.sid, 0x21);
    EXPECT_THAT(platform().journal(Kind::clones), ElementsAre("delete 10.0.0.5"));
    EXPECT_THAT(platform().sidQuestions(), IsEmpty());
}

TEST_F(MC_ManagerMediaGateway, OfNullOnAFreshChannelEndsInBadTypeidToo) {
    MC_Channel& channel = newChannel();
    EXPECT_THROW(manager->setMediaGateway(&channel, nullptr), std::bad_typeid);
    EXPECT_EQ(channel.mediaGateway, nullptr);
    EXPECT_EQ(channel.sid, 0xFA);
}

TEST_F(MC_ManagerMediaGateway, LetsOutWhateverThePlatformThrows) {
    MC_Channel& channel = newChannel();
    IPAddress const address("10.0.0.5");
    platform().script.getSid = [](int, IPAddress const&) -> unsigned char { throw 7; };
    EXPECT_THROW(manager->setMediaGateway(&channel, &address), int);
    platform().script.isVoIPBoardIP = [](IPAddress const&) -> bool { throw 7U; };
    EXPECT_THROW(manager->setMediaGateway(&channel, &address), unsigned int);
    EXPECT_EQ(std::string(*channel.mediaGateway), "10.0.0.5");
    EXPECT_EQ(channel.sid, 0xFA);
}

TEST_F(MC_ManagerMediaGateway, NeedsNoListedChannelAndListsNone) {
    MC_Channel& channel = newChannel();
    IPAddress const address("10.0.0.5");
    manager->setMediaGateway(&channel, &address);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
    EXPECT_THAT(platform().posted(), IsEmpty());
}

} // namespace
