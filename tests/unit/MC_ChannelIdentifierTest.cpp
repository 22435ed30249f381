// The count of identifiers is no one's but the source's own; only from inside it can be brought to
// its end.
#include "MC_Channel.cpp" // NOLINT(bugprone-suspicious-include)

#include "tests/support/Recording.h"

#include <gtest/gtest.h>

namespace {

using recording::platform;

// Taken before any channel exists.
std::uint32_t const identifierAtStart = nextIdentifier;

class ChannelIdentifier : public testing::Test {
protected:
    ChannelIdentifier() { platform().reset(); }

    static std::string firstLine(MC_Channel const& channel) {
        std::string const text = channel;
        return text.substr(0, text.find('\n'));
    }
};

TEST_F(ChannelIdentifier, FirstChannelGets1) {
    nextIdentifier = identifierAtStart;
    MC_Channel const first;
    EXPECT_EQ(first.identifier, 1U);
    EXPECT_EQ(firstLine(first), "MC_Channel 1");
    MC_Channel const second;
    EXPECT_EQ(second.identifier, 2U);
}

TEST_F(ChannelIdentifier, Identifier26IsShownAs1AAnd255AsFF) {
    nextIdentifier = 26;
    MC_Channel const channel26;
    EXPECT_EQ(channel26.getIdentifier(), "1A");
    EXPECT_EQ(firstLine(channel26), "MC_Channel 1A");
    nextIdentifier = 255;
    MC_Channel const channel255;
    EXPECT_EQ(channel255.getIdentifier(), "FF");
    EXPECT_EQ(firstLine(channel255), "MC_Channel FF");
}

TEST_F(ChannelIdentifier, AfterFFFFFFFFTheNextChannelGets1) {
    nextIdentifier = 0xFFFFFFFE;
    MC_Channel const lastButOne;
    MC_Channel const last;
    MC_Channel const next;
    MC_Channel const afterNext;
    EXPECT_EQ(lastButOne.identifier, 0xFFFFFFFEU);
    EXPECT_EQ(last.identifier, 0xFFFFFFFFU);
    EXPECT_EQ(last.getIdentifier(), "FFFFFFFF");
    EXPECT_EQ(next.identifier, 1U);
    EXPECT_EQ(firstLine(next), "MC_Channel 1");
    EXPECT_EQ(afterNext.identifier, 2U);
}

TEST_F(ChannelIdentifier, CountPassesTheLargestSignedNumber) {
    nextIdentifier = 0x7FFFFFFF;
    MC_Channel const largest;
    MC_Channel const next;
    EXPECT_EQ(largest.getIdentifier(), "7FFFFFFF");
    EXPECT_EQ(next.getIdentifier(), "80000000");
}

} // namespace
