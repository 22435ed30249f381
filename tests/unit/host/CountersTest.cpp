#include "host/Counters.h"

#include <gtest/gtest.h>

namespace {

using host::Cause;
using host::Counters;

TEST(Counters, OnlyWhatOccurredIsListed) {
    Counters counters;
    EXPECT_TRUE(counters.occurred().empty());
    counters.add(Cause::unknownBoard);
    counters.add(Cause::unknownBoard);
    EXPECT_EQ(counters.occurred(),
              (std::map<std::string, std::uint64_t>{{"imc.unknown_board", 2}}));
    EXPECT_EQ(counters.value(Cause::unknownBoard), 2U);
    EXPECT_EQ(counters.value(Cause::messageDropped), 0U);
    counters.clear();
    EXPECT_TRUE(counters.occurred().empty());
}

TEST(Counters, EveryCauseHasANameOfItsOwn) {
    Counters counters;
    for (std::size_t i = 0; i < Counters::causes; ++i) {
        counters.add(static_cast<Cause>(i));
    }
    EXPECT_EQ(counters.occurred().size(), Counters::causes);
}

} // namespace
