// The page about sessions names everything that a session counts.

#include "gateway/session/SessionCause.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

TEST(SessionPage, NamesEachCounterOnce) {
    std::ifstream file(SESSION_PAGE);
    std::string const page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    for (char const* const name : gateway::SessionCounters::names) {
        std::string const row = std::string("\n| `") + name + "` | ";
        auto const at = page.find(row);
        EXPECT_NE(at, std::string::npos) << name;
        EXPECT_EQ(page.find(row, at + 1), std::string::npos) << name;
    }
}

TEST(SessionCounted, HasOneCounterForEachCause) {
    gateway::SessionCounters counters;
    EXPECT_TRUE(counters.occurred().empty());
    counters.add(gateway::SessionCause::ackInTime);
    counters.add(gateway::SessionCause::callFailed);
    counters.add(gateway::SessionCause::callFailed);
    std::map<std::string, std::uint64_t> const expected = {{"session.ack_in_time", 1},
                                                           {"session.call_failed", 2}};
    EXPECT_EQ(counters.occurred(), expected);
}

} // namespace
