#include "gateway/OperatorLine.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

namespace {

using gateway::requireModest;

TEST(OperatorLine, AsksForSoManyDspChannelsAndNoMore) {
    for (std::string const line :
         {"MC Dsp 0x400", "MC Dsp 0x0", "MC Dsp All", "MC Dsp", "MC Dsp 7FFFFFFF", "MC Dsp 0x",
          "MC Dsp 0x 7FFFFFFF", "MC Dsp 0x-7FFFFFFF", "MC Dsp 0x7FFFFFFF All",
          "MC Channel 0x7FFFFFFF", "MC Dsp 0x7FFFFFFF MC Channel All", "0x7FFFFFFF MC Dsp 0x1",
          "help", ""}) {
        EXPECT_NO_THROW(requireModest(line)) << line;
    }
    for (std::string const line :
         {"MC Dsp 0x401", "MC Dsp 0x7FFFFFFF", "MC Dsp 0x7fffffff x", "help MC Dsp 0x1000",
          "MC Dsp x 0x1000", "All MC Dsp 0x1000", "MC Dsp 0xFFFFFFFFFFFFFFFFFFFF"}) {
        EXPECT_THROW(requireModest(line), std::invalid_argument) << line;
    }
}

TEST(OperatorLine, IsToldWhatWouldBeRight) {
    try {
        requireModest("MC Dsp 0x7FFFFFFF");
        FAIL() << "two billion lines were allowed";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(),
                     "MC Dsp shows at most 0x400 DSP channels here: expected a number up to that, "
                     "or All for those that have channels");
    }
}

} // namespace
