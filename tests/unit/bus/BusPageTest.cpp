// docs/bus.md against what it describes.

#include "host/Counters.h"
#include "host/bus/Bus.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace {

std::string page() {
    std::ifstream file(BUS_PAGE);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** Whether the page says it, however its lines are broken. */
bool says(std::string const& sentence) {
    std::istringstream stream(page());
    std::string text;
    for (std::string word; stream >> word;) {
        text += word + " ";
    }
    return text.find(sentence) != std::string::npos;
}

TEST(BusPage, NamesEachCounterAndNoOther) {
    host::Counters counters;
    for (std::size_t i = 0; i < host::Counters::causes; ++i) {
        counters.add(static_cast<host::Cause>(i));
    }
    std::size_t counted = 0;
    for (auto const& [name, count] : counters.occurred()) {
        if (name.rfind("bus.", 0) == 0) {
            EXPECT_NE(page().find("\n| `" + name + "` | "), std::string::npos) << name;
            ++counted;
        }
    }
    std::size_t told = 0;
    std::string const text = page();
    for (auto at = text.find("\n| `bus."); at != std::string::npos;
         at = text.find("\n| `bus.", at + 1)) {
        ++told;
    }
    EXPECT_EQ(told, counted);
}

TEST(BusPage, NamesTheLimits) {
    host::BusOptions const options;
    EXPECT_NE(page().find("At most " + std::to_string(options.window) + " messages"),
              std::string::npos);
    EXPECT_EQ(options.linkWait, std::chrono::seconds(2));
    EXPECT_TRUE(says("waits up to two seconds for the link"));
    EXPECT_EQ(options.linger, std::chrono::milliseconds(500));
    EXPECT_TRUE(says("waits up to half a second for what was sent to be taken"));
    EXPECT_EQ(options.heartbeat, std::chrono::seconds(2));
    EXPECT_TRUE(says("is probed every two seconds, and lost after three silent ones"));
}

} // namespace
