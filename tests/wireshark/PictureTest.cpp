// Charts as pictures, drawn by graphviz.

#include "tests/support/CaptureBytes.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/wireshark/Tshark.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class Picture : public testing::Test {
protected:
    Picture() {
        CaptureBytes bytes;
        bytes.section().interface();
        bytes.packet(bytesOfMessage(commandTo(0x10, 102, "\x03")), 1000)
            .packet(bytesOfMessage(acknowledgementFrom(0x10, 102, 3)), 3500)
            .packet(bytesOfMessage(commandTo(0x10, 999, "<&>")), 4000);
        std::ofstream(capture, std::ios::binary) << bytes.text();
    }

    std::string drawn(std::string const& option, std::string const& name) {
        std::string const path = directory.path() + "/" + name;
        outputOf({MCGW_PROGRAM, "msc", capture, option, path});
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    TemporaryDirectory const directory;
    std::string const capture = directory.path() + "/call.pcapng";
};

TEST_F(Picture, isAnSvgWithEveryText) {
    std::string const svg = drawn("--svg", "chart.svg");
    EXPECT_THAT(svg, AllOf(HasSubstr("<svg"), HasSubstr("</svg>"), HasSubstr(">Session Manager<"),
                           HasSubstr(">0x10<"), HasSubstr(">CloseVoice in<"),
                           HasSubstr(">CloseVoiceAck in<"), HasSubstr("(after 2.5 ms)"),
                           HasSubstr(">unknown message 999<")));
}

TEST_F(Picture, isAPng) {
    std::string const png = drawn("--png", "chart.png");
    EXPECT_THAT(png, StartsWith("\x89PNG\r\n\x1A\n"));
    EXPECT_GT(png.size(), 2000U);
}

TEST_F(Picture, namesThePackageThatItNeeds) {
    std::string const before = std::getenv("PATH");
    // The shell's own words are all that is left.
    setenv("PATH", directory.path().c_str(), 1);
    std::string said;
    try {
        outputOf({MCGW_PROGRAM, "msc", capture, "--png", directory.path() + "/chart.png"});
    } catch (std::runtime_error const& error) {
        said = error.what();
    }
    setenv("PATH", before.c_str(), 1);
    EXPECT_THAT(said, AllOf(HasSubstr(": status 256\n"),
                            HasSubstr("mcgw: neato: No such file or directory: pictures need the "
                                      "package graphviz (apt-get install graphviz)\n")));
}

TEST_F(Picture, saysWhenItCannotBeWritten) {
    EXPECT_THROW(outputOf({MCGW_PROGRAM, "msc", capture, "--svg", directory.path() + "/no/x.svg"}),
                 std::runtime_error);
}

} // namespace
