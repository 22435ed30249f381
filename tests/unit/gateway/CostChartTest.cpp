#include "gateway/load/CostChart.h"

#include <gmock/gmock.h>

namespace {

using namespace gateway;
using testing::HasSubstr;
using testing::Not;

CostChart const chart = {
    "It's a title",
    "records",
    "us",
    {{"open", 'o', {{1, 1}, {10, 10}, {100, 100}}}, {"close", 'c', {{1, 100}, {10, 10}}}}};

TEST(CostChartTest, PointsStandWhereTheirLogarithmsAre) {
    EXPECT_EQ(textChart(chart, 21, 5), R"(It's a title
       us
      100 +c                   o
       50 +
       10 +          *
        5 +
        1 +o
          ++--+---+--+--+---+--+
           1  2   5 10 20  50 100
                         records
  o open  c close  * several
)");
}

TEST(CostChartTest, NothingIsDrawnOfNothing) {
    EXPECT_EQ(textChart({"title", "x", "y", {}}), "title\nnothing to draw\n");
}

TEST(CostChartTest, OnePointIsAChart) {
    std::string const text = textChart({"t", "x", "y", {{"s", 's', {{3, 7}}}}});
    EXPECT_THAT(text, HasSubstr("s"));
    EXPECT_THAT(text, Not(HasSubstr("nan")));
}

TEST(CostChartTest, TheScriptNamesAxesLinesAndPoints) {
    std::string const script = plotScript(chart, PlotFormat::svg, "/a/it's.svg");
    EXPECT_THAT(script, HasSubstr("set terminal svg"));
    EXPECT_THAT(script, HasSubstr("set output '/a/it''s.svg'\n"));
    EXPECT_THAT(script, HasSubstr("set title 'It''s a title'"));
    EXPECT_THAT(script, HasSubstr("set logscale xy"));
    EXPECT_THAT(script, HasSubstr("title 'open'"));
    EXPECT_THAT(script, HasSubstr("\n1 100\n10 10\ne\n"));
    EXPECT_THAT(script, HasSubstr("set xtics (1, 10, 100)"));
    EXPECT_THAT(plotScript(chart, PlotFormat::png, "x"), HasSubstr("set terminal pngcairo"));
}

} // namespace
