#include "gateway/session/CallQueue.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using gateway::CallFile;
using gateway::CallQueue;
using gateway::Report;
using gateway::Summary;
using testing::ElementsAre;

CallFile file(std::string const& path) {
    CallFile result;
    result.path = path;
    return result;
}

class Calls : public testing::Test {
protected:
    CallQueue queue{[this](CallFile const& each, Report& report) {
        ran.push_back(each.path + " while " + queue.running());
        report.entry("note", "text", {{"text", each.path}});
        Summary summary;
        summary.failed = each.path == "bad" ? 1 : 0;
        return summary;
    }};
    CallQueue::Done done() {
        return [this](std::optional<Summary> const& summary) {
            ends.push_back(!summary ? "not run" : summary->hasPassed() ? "passed" : "failed");
        };
    }

    std::vector<std::string> ran;
    std::vector<std::string> entries;
    std::vector<std::string> ends;
};

TEST_F(Calls, RunInTheirOrderAndTellWhatHappens) {
    auto const sink = [this](Report::Json const& entry) { entries.push_back(entry.at("text")); };
    EXPECT_FALSE(queue.hasWork());
    queue.add(file("good"), sink, done());
    queue.add(file("bad"), sink, done());
    EXPECT_EQ(queue.size(), 2U);
    queue.runNext();
    EXPECT_THAT(ends, ElementsAre("passed"));
    EXPECT_TRUE(queue.hasWork());
    queue.runNext();
    EXPECT_THAT(ran, ElementsAre("good while good", "bad while bad"));
    EXPECT_THAT(entries, ElementsAre("good", "bad"));
    EXPECT_THAT(ends, ElementsAre("passed", "failed"));
    EXPECT_FALSE(queue.hasWork());
    EXPECT_EQ(queue.running(), "");
}

TEST_F(Calls, MayReportToSomebodyElse) {
    std::ostringstream stream;
    gateway::ReportOptions options;
    options.json = true;
    Report report(stream, options);
    queue.add(file("good"), report, done());
    queue.runNext();
    EXPECT_THAT(stream.str(), testing::HasSubstr("\"text\":\"good\""));
}

TEST_F(Calls, ThatHaveNotBegunAreDropped) {
    queue.add(
        file("good"), [](Report::Json const&) {}, done());
    queue.drop();
    EXPECT_FALSE(queue.hasWork());
    EXPECT_THAT(ends, ElementsAre("not run"));
    EXPECT_TRUE(ran.empty());
}

} // namespace
