#include "gateway/Placeholders.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

std::string expand(std::string const& text) {
    return gateway::expandPlaceholders(text, [](std::string const& name) {
        return name == "caller-in" ? std::optional<std::string>("1A") : std::nullopt;
    });
}

TEST(Placeholders, standForIdentifiers) {
    EXPECT_EQ(expand("channel({caller-in}) and {caller-in}"), "channel(1A) and 1A");
    EXPECT_EQ(expand("MC Channel 0x{caller-in}"), "MC Channel 0x1A");
}

TEST(Placeholders, otherBracesStayAsTheyAre) {
    EXPECT_EQ(expand("{} { a } }{"), "{} { a } }{");
    EXPECT_EQ(expand(""), "");
}

TEST(Placeholders, aLongTextInBracesIsReadLikeAShortOne) {
    std::string const name(300000, 'a');
    EXPECT_EQ(expand("{" + name), "{" + name);
    EXPECT_THROW(expand("{" + name + "}"), std::out_of_range);
}

TEST(Placeholders, anUnknownNameIsAnError) {
    try {
        expand("{caller-in} {other}");
        FAIL() << "nothing was thrown";
    } catch (std::out_of_range const& unknown) {
        EXPECT_STREQ(unknown.what(), "other");
    }
}

} // namespace
