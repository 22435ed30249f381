#include "gateway/control/TypedLines.h"

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <fstream>

namespace {

using gateway::TypedLines;
using shell::contentOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

mode_t modeOf(std::string const& path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 ? found.st_mode & 0777U : 0;
}

class Typed : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string const path = directory.path() + "/state/mcgw/history";
};

TEST_F(Typed, AreKeptForTheNextConsole) {
    {
        TypedLines lines(path);
        EXPECT_THAT(lines.lines(), IsEmpty());
        lines.add("help");
        lines.add("help");
        lines.add("  ");
        lines.add("MC Dsp All");
        EXPECT_EQ(lines.fault(), "");
    }
    EXPECT_EQ(contentOf(path), "help\nMC Dsp All\n");
    EXPECT_THAT(TypedLines(path).lines(), ElementsAre("help", "MC Dsp All"));
}

TEST_F(Typed, AreTheirOwnersAlone) {
    TypedLines const lines(path);
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(modeOf(directory.path() + "/state"), 0700U);
    EXPECT_EQ(modeOf(directory.path() + "/state/mcgw"), 0700U);
}

TEST_F(Typed, OfConsolesBesideEachOtherNoneIsLost) {
    TypedLines one(path);
    TypedLines other(path);
    one.add("help");
    other.add("MC help");
    one.add("MC Dsp All");
    EXPECT_EQ(contentOf(path), "help\nMC help\nMC Dsp All\n");
}

TEST_F(Typed, TheOldestAreForgotten) {
    std::filesystem::create_directories(directory.path() + "/state/mcgw");
    {
        std::ofstream file(path);
        for (int i = 0; i < 1500; ++i) {
            file << "line " << i << '\n';
        }
    }
    TypedLines const lines(path);
    EXPECT_THAT(lines.lines(), SizeIs(1000));
    EXPECT_EQ(lines.lines().front(), "line 500");
    EXPECT_EQ(lines.lines().back(), "line 1499");
    EXPECT_EQ(contentOf(path).substr(0, 9), "line 500\n");
    EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(Typed, AFileThatCannotBeIsNoReasonToEnd) {
    std::ofstream(directory.path() + "/state") << "a file where a directory should be";
    TypedLines lines(path);
    EXPECT_THAT(lines.fault(), HasSubstr(path));
    lines.add("help");
    EXPECT_THAT(lines.lines(), ElementsAre("help"));
    EXPECT_THAT(TypedLines("").fault(), HasSubstr("XDG_STATE_HOME"));
}

} // namespace
