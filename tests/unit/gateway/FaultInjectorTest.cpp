#include "gateway/FaultInjector.h"

#include "tests/unit/dsp/Records.h"

#include <gmock/gmock.h>

namespace {

using gateway::FaultInjector;
using gateway::FaultVerdict;
using gateway::Traffic;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

FaultInjector injector(std::vector<std::string> const& texts) {
    std::vector<gateway::FaultRule> rules;
    for (std::string const& text : texts) {
        rules.push_back(gateway::parseFaultRule(text));
    }
    return FaultInjector(rules);
}

imc_msg event(std::uint32_t identifier) {
    imc_msg message{};
    message.messageId = identifier;
    message.length = 4;
    return message;
}

FaultVerdict ofCommand(FaultInjector& faults, std::string const& name = "OpenVoice in") {
    return faults.judge(Traffic::command, 0xFA, dsp::sample(name));
}

/** Which of the next commands are dropped: "..x". */
std::string drops(FaultInjector& faults, int count) {
    std::string pattern;
    for (int i = 0; i < count; ++i) {
        pattern += ofCommand(faults).isDropped ? 'x' : '.';
    }
    return pattern;
}

TEST(FaultInjector, WithoutRulesChangesNothing) {
    FaultInjector faults({});
    FaultVerdict const verdict = ofCommand(faults);
    EXPECT_FALSE(verdict.isDropped || verdict.isRestarting || verdict.length || verdict.error);
    EXPECT_EQ(verdict.copies, 1U);
    EXPECT_EQ(verdict.delay.count(), 0);
    EXPECT_THAT(verdict.rules, IsEmpty());
}

TEST(FaultInjector, CountsAfterEveryAndCount) {
    FaultInjector every = injector({"drop:every=3"});
    EXPECT_EQ(drops(every, 9), "..x..x..x");
    FaultInjector after = injector({"drop:after=2"});
    EXPECT_EQ(drops(after, 5), "..xxx");
    FaultInjector count = injector({"drop:count=2"});
    EXPECT_EQ(drops(count, 4), "xx..");
    FaultInjector all = injector({"drop:after=1:every=2:count=2"});
    EXPECT_EQ(drops(all, 8), "..x.x...");
    EXPECT_THAT(all.applied(), ElementsAre(Pair("drop:after=1:every=2:count=2", 2)));
}

TEST(FaultInjector, ChanceIsTheSameForTheSameSeed) {
    FaultInjector first = injector({"drop:percent=30:seed=5"});
    FaultInjector second = injector({"drop:percent=30:seed=5"});
    FaultInjector other = injector({"drop:percent=30:seed=6"});
    std::string const pattern = drops(first, 1000);
    EXPECT_EQ(drops(second, 1000), pattern);
    EXPECT_NE(drops(other, 1000), pattern);
    auto const dropped = std::count(pattern.begin(), pattern.end(), 'x');
    EXPECT_GT(dropped, 200);
    EXPECT_LT(dropped, 400);
}

TEST(FaultInjector, ChoosesByNameAndDirection) {
    FaultInjector faults = injector({"drop:open:direction=out"});
    EXPECT_FALSE(ofCommand(faults, "OpenVoice in").isDropped);
    EXPECT_TRUE(ofCommand(faults, "OpenVoice out").isDropped);
    EXPECT_TRUE(ofCommand(faults, "OpenFax out").isDropped);
    EXPECT_FALSE(ofCommand(faults, "CloseVoice out").isDropped);
    EXPECT_FALSE(ofCommand(faults, "Join").isDropped);
}

TEST(FaultInjector, EachCommandIsReachedByItsOwnWord) {
    std::map<std::string, std::string> const words = {
        {"OpenVoice in", "open"},   {"UpdateVoice out", "update"},
        {"CloseFax in", "close"},   {"SetParameter", "set"},
        {"Join", "join"},           {"Unjoin", "unjoin"},
        {"OpenFax out", "OpenFax"}, {"CloseVoice in", "CloseVoice"}};
    for (auto const& [name, word] : words) {
        FaultInjector faults = injector({"drop:" + word});
        for (dsp::Sample const& sample : dsp::samples()) {
            bool const isOfBoth = word == "open" || word == "close";
            bool const isSameKind = std::string(sample.name).rfind(name.substr(0, 4), 0) == 0;
            bool const isSame =
                std::string(sample.name).rfind(name.substr(0, name.find(' ')), 0) == 0;
            EXPECT_EQ(ofCommand(faults, sample.name).isDropped, isOfBoth ? isSameKind : isSame)
                << word << " " << sample.name;
        }
    }
}

TEST(FaultInjector, ChoosesByBoardAndDspChannel) {
    FaultInjector boards = injector({"drop:sid=0x10"});
    EXPECT_FALSE(boards.judge(Traffic::command, 0xFA, dsp::sample("Join")).isDropped);
    EXPECT_TRUE(boards.judge(Traffic::command, 0x10, dsp::sample("Join")).isDropped);
    FaultInjector channels = injector({"drop:dsp=3", "drop:dsp=4"});
    EXPECT_THAT(ofCommand(channels, "Join").rules, ElementsAre("drop:dsp=3"));
}

TEST(FaultInjector, CommandsAndEventsAreKeptApart) {
    FaultInjector faults = injector({"drop:event"});
    EXPECT_FALSE(ofCommand(faults).isDropped);
    EXPECT_TRUE(faults.judge(Traffic::event, 0xFA, event(101)).isDropped);
    FaultInjector acks = injector({"drop:ack"});
    EXPECT_TRUE(acks.judge(Traffic::event, 0xFA, event(101)).isDropped);
    EXPECT_TRUE(acks.judge(Traffic::event, 0xFA, event(122)).isDropped);
    EXPECT_FALSE(acks.judge(Traffic::event, 0xFA, event(113)).isDropped);
}

TEST(FaultInjector, AMalformedOrUnknownMessageIsReachedByRulesForAll) {
    FaultInjector faults = injector({"drop:command"});
    imc_msg message = dsp::sample("Join");
    message.length = 1;
    EXPECT_TRUE(faults.judge(Traffic::command, 0xFA, message).isDropped);
    message.messageId = 9999;
    EXPECT_TRUE(faults.judge(Traffic::command, 0xFA, message).isDropped);
}

TEST(FaultInjector, EachActionHasItsVerdict) {
    FaultInjector faults = injector({"delay:ms=5", "delay:ms=7", "duplicate", "duplicate",
                                     "length:command=20", "error:open=5", "restart:after=1"});
    FaultVerdict verdict = ofCommand(faults);
    EXPECT_EQ(verdict.delay, std::chrono::milliseconds(12));
    EXPECT_EQ(verdict.copies, 3U);
    EXPECT_EQ(verdict.length, 20);
    EXPECT_EQ(verdict.error, 5);
    EXPECT_FALSE(verdict.isRestarting || verdict.isDropped);
    verdict = ofCommand(faults, "Join");
    EXPECT_FALSE(verdict.error);
    EXPECT_TRUE(verdict.isRestarting);
    EXPECT_FALSE(ofCommand(faults, "Join").isRestarting);
}

} // namespace
