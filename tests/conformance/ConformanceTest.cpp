#include "tests/conformance/Scene.h"

#include <csignal>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <vector>

// Each cell of docs/conformance.md, and that the page leaves out no operation, event or state.

namespace {

using namespace conformance;
using mctest::platform;
using testing::AllOf;
using testing::HasSubstr;

/** How a cell leaves the process. */
enum class End { none, onPurpose, unexpected };

End endOf(Cell const& cell) {
    std::string const word = split(cell.expected("Outcome"), " ")[0];
    if (word == "unexpected") {
        return End::unexpected;
    }
    return word == "ends" || word == "aborts" ? End::onPurpose : End::none;
}

std::vector<Cell> cellsThatEnd(End end) {
    std::vector<Cell> cells;
    for (auto const& cell : page().cells) {
        if (endOf(cell) == end) {
            cells.push_back(cell);
        }
    }
    return cells;
}

using Conformance = Scene;
using ConformanceDeathTest = Scene;
using ConformanceSpecificationDeathTest = Scene;

#define FOR_CELLS(suite, end)                                                                      \
    INSTANTIATE_TEST_SUITE_P(Page, suite, testing::ValuesIn(cellsThatEnd(end)), mctest::NameOf())

FOR_CELLS(Conformance, End::none);
FOR_CELLS(ConformanceDeathTest, End::onPurpose);
FOR_CELLS(ConformanceSpecificationDeathTest, End::unexpected);

TEST_P(Conformance, Cell) {
    prepare();
    act();
    EXPECT_EQ(observed(true), expected());
}

/** What the assertion of the cell's operation says. */
std::string assertionText(Cell const& cell) {
    return "framework/lib/MC_API/MC_Manager:" + split(cell.expected("Outcome"), " ").back() + ": ";
}

Scene* pCurrent = nullptr;

void (*abortHandler)(int) = SIG_DFL;

/** In a process that an assertion ends: tells what came before it. */
extern "C" void reportAbort(int signal) {
    std::signal(signal, abortHandler);
    pCurrent->reportEnd(pCurrent->GetParam().expected("Outcome"));
}

TEST_P(ConformanceDeathTest, Cell) {
    prepare();
    pCurrent = this;
    platform().script.coreDumpExit = [this](int cause) {
        reportEnd(cause == 0 ? "ends" : "ends with another cause");
    };
    if (GetParam().expected("Outcome") == "ends") {
        EXPECT_DEATH(act(), HasSubstr(expected()));
    } else {
        EXPECT_DEATH(
            {
                abortHandler = std::signal(SIGABRT, reportAbort);
                act();
            },
            AllOf(HasSubstr(assertionText(GetParam())),
                  HasSubstr("MC_Manager::" + GetParam().action + "("),
                  HasSubstr("Assertion `pChannel != __null' failed."), HasSubstr(expected())));
    }
}

void reportUnexpected() {
    pCurrent->reportEnd("unexpected");
}

TEST_P(ConformanceSpecificationDeathTest, Cell) {
    prepare();
    pCurrent = this;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    EXPECT_DEATH(
        {
            std::set_unexpected(reportUnexpected);
            act();
        },
        HasSubstr(expected()));
#pragma GCC diagnostic pop
}

// The page as a whole

bool isInMatrix(Cell const& cell) {
    return cell.group == "Operations of the client" || cell.group == "Commands" ||
           cell.group == "Guards, lookups and the console" || cell.group == "Events";
}

TEST(ConformancePage, StatesTheNumberOfCellsOfEveryGroup) {
    std::map<std::string, std::size_t> counted;
    for (auto const& cell : page().cells) {
        ++counted[cell.group];
        ++counted["All"];
    }
    EXPECT_EQ(page().stated, counted);
}

TEST(ConformancePage, NamesNoCellTwice) {
    std::set<std::string> names;
    for (auto const& cell : page().cells) {
        EXPECT_TRUE(names.insert(cell.name).second) << cell.name;
    }
}

TEST(ConformancePage, KnowsAllStatesOfARecord) {
    for (auto const& name : MC_Channel::stateToStr) {
        EXPECT_EQ(page().states.count(name), 1U) << name;
    }
}

TEST(ConformancePage, SaysOfEveryOperationAndEventWhatItDoesInEveryState) {
    using Places = std::set<std::string>;
    std::map<std::string, Places> placesOf;
    Texts const known = Scene::subjects();
    std::set<std::string> subjects(known.begin(), known.end());
    for (auto const& cell : page().cells) {
        if (cell.given.empty() && cell.inside.empty() && cell.state != "null") {
            placesOf[cell.action].insert(cell.state + " " + cell.direction);
        }
        if (isInMatrix(cell)) {
            subjects.insert(cell.action);
        }
    }
    Places const all = placesOf["look"];
    EXPECT_EQ(all.size(), 20U);
    for (auto const& subject : subjects) {
        EXPECT_EQ(placesOf[subject], all) << subject;
    }
}

TEST(ConformancePage, UsesEveryWordThatTheTestsKnow) {
    std::set<std::string> used;
    for (auto const& cell : page().cells) {
        for (auto const& text : {cell.action, cell.given, page().states.at(cell.state).reachedBy}) {
            for (auto const& step : split(text, " then ")) {
                used.insert(step);
                used.insert(step.substr(0, step.rfind(' ')));
            }
        }
    }
    for (auto const& word : Scene::words()) {
        EXPECT_EQ(used.count(word), 1U) << word;
    }
}

TEST(ConformancePage, SaysOfEveryOperationAndCommandWhatItDoesWithoutARecord) {
    std::set<std::string> operations;
    std::set<std::string> withNull;
    for (auto const& cell : page().cells) {
        if (cell.group == "Operations of the client" || cell.group == "Commands") {
            (cell.state == "null" ? withNull : operations).insert(cell.action);
        }
    }
    EXPECT_EQ(withNull, operations);
}

} // namespace
