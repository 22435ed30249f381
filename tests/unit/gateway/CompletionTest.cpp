#include "gateway/control/Completion.h"

#include <gmock/gmock.h>

namespace {

using gateway::complete;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> none() {
    ADD_FAILURE() << "names were asked for where none is due";
    return {};
}

std::vector<std::string> two() {
    return {"caller-in", "caller-out"};
}

std::string inserted(std::string const& typed) {
    return complete(typed, none).insertion;
}

TEST(Completion, CompletesTheOperatorsWords) {
    EXPECT_EQ(inserted("M"), "C ");
    EXPECT_EQ(inserted("MC C"), "hannel ");
    EXPECT_EQ(inserted("MC Channel A"), "ll ");
    EXPECT_EQ(inserted("MC Channel 0"), "x");
    EXPECT_EQ(inserted("MC Dsp A"), "ll ");
    EXPECT_EQ(inserted("MC Dsp 0"), "x");
    EXPECT_EQ(inserted("MC h"), "elp ");
    EXPECT_EQ(inserted("h"), "elp ");
    EXPECT_EQ(inserted("s"), "ession ");
    EXPECT_EQ(inserted("  MC  D"), "sp ");
    EXPECT_EQ(inserted("help"), " ");
}

TEST(Completion, InsertsNothingWhereNothingFits) {
    EXPECT_EQ(inserted("x"), "");
    EXPECT_EQ(inserted("MC x"), "");
    EXPECT_EQ(inserted("MC Channel 0x"), "");
    EXPECT_EQ(inserted("MC Channel All "), "");
    EXPECT_EQ(inserted("session dtmf caller-in "), "");
    EXPECT_EQ(inserted("session open "), "");
    EXPECT_EQ(inserted("other open "), "");
    EXPECT_THAT(complete("x", none).choices, IsEmpty());
}

TEST(Completion, TellsTheChoices) {
    EXPECT_THAT(complete("", none).choices,
                ElementsAre("MC", "call", "exit", "help", "quit", "session"));
    EXPECT_THAT(complete("MC ", none).choices, ElementsAre("Channel", "Dsp", "help"));
    EXPECT_THAT(complete("session fax", none).choices, ElementsAre("fax", "faxtone"));
    EXPECT_EQ(inserted("session fa"), "x");
    EXPECT_THAT(complete("session u", none).choices, ElementsAre("unjoin", "update"));
    EXPECT_EQ(inserted("session w"), "atch ");
    EXPECT_EQ(inserted("session watch o"), "");
    EXPECT_THAT(complete("session watch o", none).choices, ElementsAre("off", "on"));
}

TEST(Completion, CompletesNamesWhereOneIsDue) {
    EXPECT_EQ(complete("session close ", two).insertion, "caller-");
    EXPECT_THAT(complete("session close caller-", two).choices,
                ElementsAre("caller-in", "caller-out"));
    EXPECT_EQ(complete("session update caller-o", two).insertion, "ut ");
}

TEST(Completion, CompletesKeysThatAreNotThereYet) {
    EXPECT_EQ(inserted("session open in b"), "oard=");
    EXPECT_EQ(inserted("session open in board=0x10 dir"), "ection=");
    EXPECT_EQ(inserted("session open in board=0x10 b"), "");
    EXPECT_EQ(inserted("session update in vad"), "=");
    EXPECT_EQ(inserted("session join in joinD"), "sp=");
    EXPECT_THAT(complete("session join in join", none).choices, ElementsAre("joinDsp=", "joinIp="));
    EXPECT_EQ(inserted("session open in state"), "");
}

} // namespace
