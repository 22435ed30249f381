#include "tests/unit/MC_ManagerFixture.h"

#include <climits>
#include <string>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::IsEmpty;

class MC_ManagerListing : public ManagerTest {
protected:
    std::string const header = "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tMC_CHANNEL list:\n\n";

    MC_Channel& identified(std::uint32_t identifier) {
        MC_Channel& channel = listedChannel();
        channel.identifier = identifier;
        return channel;
    }
};

TEST_F(MC_ManagerListing, OfAnEmptyListSaysSoAndCountsNone) {
    manager->getChannel("");
    EXPECT_THAT(platform().answers(),
                ElementsAre(withNul(header + "\t\tIt is empty.\nTotal = 0\n")));
}

TEST_F(MC_ManagerListing, OfAllChannelsAnswersOneByOneAndThenTheTotal) {
    MC_Channel& first = identified(0x1A);
    MC_Channel& second = identified(0x2B);
    MC_Channel& third = identified(0x3C);
    manager->getChannel("");
    EXPECT_THAT(platform().answers(),
                ElementsAre(header + description(first) + "\n", description(second) + "\n",
                            description(third) + "\n", withNul("Total = 3\n")));
}

TEST_F(MC_ManagerListing, OfOneChannelAnswersItWithTheHeaderAndThenANul) {
    identified(0x1);
    MC_Channel& meant = identified(0x1A);
    identified(0x1A1);
    manager->getChannel("1A");
    EXPECT_THAT(platform().answers(), ElementsAre(header + description(meant) + "\n", withNul("")));
}

TEST_F(MC_ManagerListing, OfAChannelThatIsListedTwiceAnswersItTwice) {
    MC_Channel& channel = identified(0x1A);
    channels().push_back(&channel);
    manager->getChannel("1A");
    EXPECT_THAT(platform().answers(), ElementsAre(header + description(channel) + "\n",
                                                  description(channel) + "\n", withNul("")));
}

TEST_F(MC_ManagerListing, OfAnUnknownIdentifierNamesIt) {
    identified(0x1A);
    manager->getChannel("XYZ");
    EXPECT_THAT(platform().answers(),
                ElementsAre(withNul(header + "No Channel(XYZ) in Channel set.\n")));
}

TEST_F(MC_ManagerListing, OfAnUnknownIdentifierInAnEmptyListNamesItToo) {
    manager->getChannel("1");
    EXPECT_THAT(platform().answers(),
                ElementsAre(withNul(header + "No Channel(1) in Channel set.\n")));
}

TEST_F(MC_ManagerListing, ComparesIdentifiersExactly) {
    identified(0x1A);
    for (std::string const identifier : {"1a", "01A", "1A ", "0x1A", "1", "A"}) {
        platform().clearRecords();
        manager->getChannel(identifier);
        EXPECT_THAT(platform().answers(), ElementsAre(withNul(header + "No Channel(" + identifier +
                                                              ") in Channel set.\n")));
    }
}

TEST_F(MC_ManagerListing, LogsNothing) {
    platform().setLogLevel(3);
    identified(1);
    manager->getChannel("");
    manager->getChannel("2");
    manager->getChannelSet(-1);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

// The console's overview of DSPs.

class MC_ManagerOverview : public ManagerTest {
protected:
    std::string const header =
        "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tDSP list with its MC_CHANNEL:\n\n\n";

    void on(std::uint8_t dsp, int channelDirection, std::uint32_t identifier) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.dsp = dsp;
        channel.identifier = identifier;
    }

    static std::string lines(int dsp, std::string const& in, std::string const& out) {
        return "Dsp " + std::to_string(dsp) + "\n\tMC_Channel in: " + in +
               "\n\tMC_Channel out: " + out + "\n";
    }
};

TEST_F(MC_ManagerOverview, WithoutLimitOfAnEmptyListSaysSoAndCountsNone) {
    EXPECT_EQ(manager->getChannelSet(-1), withNul(header + "\t\tIt is empty.\nTotal = 0\n\n"));
}

TEST_F(MC_ManagerOverview, WithoutLimitShowsEveryDspUpToTheHighestWithEmptiesBetween) {
    on(2, 2, 0x3C);
    on(0, 1, 0x1A);
    EXPECT_EQ(manager->getChannelSet(-1),
              withNul(header + lines(0, "1A", "-") + lines(1, "-", "-") + lines(2, "-", "3C") +
                      "Total = 2\n\n"));
}

TEST_F(MC_ManagerOverview, BothDirectionsOfADspStandTogetherAndTheLastInTheListWins) {
    on(0, 1, 0x1);
    on(0, 2, 0x2);
    on(0, 1, 0x3);
    on(0, 2, 0xFF);
    EXPECT_EQ(manager->getChannelSet(-1), withNul(header + lines(0, "3", "FF") + "Total = 4\n\n"));
}

TEST_F(MC_ManagerOverview, OtherDirectionsAreCountedOnly) {
    on(1, 0, 0x1);
    on(1, 3, 0x2);
    on(1, -1, 0x3);
    EXPECT_EQ(manager->getChannelSet(-1),
              withNul(header + lines(0, "-", "-") + lines(1, "-", "-") + "Total = 3\n\n"));
}

TEST_F(MC_ManagerOverview, WithoutLimitReachesTheLastDsp) {
    on(255, 1, 0xAB);
    std::string expected = header;
    for (int dsp = 0; dsp < 255; ++dsp) {
        expected += lines(dsp, "-", "-");
    }
    EXPECT_EQ(manager->getChannelSet(-1),
              withNul(expected + lines(255, "AB", "-") + "Total = 1\n\n"));
}

TEST_F(MC_ManagerOverview, WithLimit0YieldsOnlyTheHeader) {
    EXPECT_EQ(manager->getChannelSet(0), withNul(header));
    on(0, 1, 1);
    EXPECT_EQ(manager->getChannelSet(0), withNul(header));
}

TEST_F(MC_ManagerOverview, WithLimit1ShowsTheFirstDspWithoutATotal) {
    on(0, 1, 0x1A);
    on(1, 1, 0x2B);
    EXPECT_EQ(manager->getChannelSet(1), withNul(header + lines(0, "1A", "-")));
}

TEST_F(MC_ManagerOverview, WithALimitShowsEmptyDspsBeyondTheLastChannelWithoutATotal) {
    on(1, 2, 0x1A);
    EXPECT_EQ(manager->getChannelSet(3),
              withNul(header + lines(0, "-", "-") + lines(1, "-", "1A") + lines(2, "-", "-")));
}

TEST_F(MC_ManagerOverview, WithALimitOfAnEmptyListDoesNotSaySo) {
    EXPECT_EQ(manager->getChannelSet(1), withNul(header + lines(0, "-", "-")));
}

TEST_F(MC_ManagerOverview, AnotherNegativeLimitYieldsOnlyTheHeader) {
    on(0, 1, 1);
    EXPECT_EQ(manager->getChannelSet(-2), withNul(header));
    EXPECT_EQ(manager->getChannelSet(INT_MIN), withNul(header));
}

} // namespace
