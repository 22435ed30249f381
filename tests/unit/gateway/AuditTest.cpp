#include "gateway/session/AuditComparison.h"
#include "gateway/session/Audits.h"
#include "gateway/session/BoardWatch.h"

#include <gmock/gmock.h>

namespace {

using gateway::AuditFindings;
using gateway::Audits;
using gateway::BoardWatch;
using gateway::Medium;
using gateway::OwnPath;
using gateway::Path;
using testing::ElementsAre;
using testing::IsEmpty;

class Comparison : public testing::Test {
protected:
    Comparison() {
        answer.in.resize(4);
        answer.out.resize(4);
        knowledge.isBusy = [this](Path const& path) { return busy.count(path) != 0; };
        knowledge.isOpened = [this](Path const& path, Medium medium) {
            return opened.count({path, medium}) != 0;
        };
    }
    static Path in(std::uint8_t dsp) { return {0x10, dsp, dsp::Direction::in}; }
    static Path out(std::uint8_t dsp) { return {0x10, dsp, dsp::Direction::out}; }
    AuditFindings compare() const { return compareAudit(0x10, answer, own, knowledge); }

    dsp::AuditAnswer answer;
    std::vector<OwnPath> own;
    std::set<Path> busy;
    std::set<std::pair<Path, Medium>> opened;
    gateway::PathKnowledge knowledge;
};

TEST_F(Comparison, FindsNothingWhereBothAgree) {
    own = {{"a", in(1), true, false}, {"b", out(1), true, true}, {"c", in(2), false, false}};
    answer.in[1].voiceOpen = true;
    answer.out[1].voiceOpen = true;
    answer.out[1].faxOpen = true;
    EXPECT_TRUE(compare().isClean());
    EXPECT_EQ(compare().open, 2U);
    EXPECT_EQ(compare().others, 0U);
}

TEST_F(Comparison, FindsWhatTheBoardHasNot) {
    own = {{"a", in(1), true, true}, {"b", out(1), false, true}};
    answer.in[1].voiceOpen = true;
    EXPECT_THAT(compare().missing, ElementsAre(AuditFindings::Missing{"a", Medium::fax},
                                               AuditFindings::Missing{"b", Medium::fax}));
}

TEST_F(Comparison, FindsWhatNobodyKnows) {
    answer.in[0].voiceOpen = true;
    answer.out[3].faxOpen = true;
    answer.out[3].voiceOpen = true;
    EXPECT_THAT(compare().orphans, ElementsAre(AuditFindings::Orphan{in(0), true, false},
                                               AuditFindings::Orphan{out(3), true, true}));
}

TEST_F(Comparison, WhatThisProcessOpenedOtherwiseIsNoOrphan) {
    answer.in[0].voiceOpen = true;
    answer.in[0].faxOpen = true;
    opened = {{in(0), Medium::voice}};
    EXPECT_THAT(compare().orphans, ElementsAre(AuditFindings::Orphan{in(0), false, true}));
    opened.insert({in(0), Medium::fax});
    EXPECT_TRUE(compare().isClean());
}

TEST_F(Comparison, PathsOfOthersAreCountedOnly) {
    answer.in[0].voiceOpen = true;
    answer.in[0].isOthers = true;
    EXPECT_TRUE(compare().isClean());
    EXPECT_EQ(compare().others, 1U);
    EXPECT_EQ(compare().open, 0U);
}

TEST_F(Comparison, APathThatAnotherSessionTookIsNotMissing) {
    own = {{"a", in(0), true, false}};
    answer.in[0].voiceOpen = true;
    answer.in[0].isOthers = true;
    EXPECT_THAT(compare().taken, ElementsAre("a"));
    EXPECT_THAT(compare().missing, IsEmpty());
}

TEST_F(Comparison, MoreThanWasAskedForIsTold) {
    own = {{"a", in(0), true, false}};
    answer.in[0].voiceOpen = true;
    answer.in[0].faxOpen = true;
    EXPECT_THAT(compare().extra, ElementsAre("a"));
    EXPECT_THAT(compare().orphans, IsEmpty());
}

TEST_F(Comparison, BusyPathsAreLeftOut) {
    own = {{"a", in(0), true, false}};
    answer.in[1].voiceOpen = true;
    busy = {in(0), in(1)};
    EXPECT_TRUE(compare().isClean());
    EXPECT_EQ(compare().open, 1U);
}

TEST_F(Comparison, AHalfOpenRecordIsNeitherMissingNorExtra) {
    own = {{"a", in(0), false, false}};
    opened = {{in(0), Medium::voice}};
    EXPECT_TRUE(compare().isClean());
    answer.in[0].voiceOpen = true;
    EXPECT_TRUE(compare().isClean());
}

TEST_F(Comparison, AnAnswerOfADirectionLessIsReadAsFarAsItGoes) {
    answer.out.resize(1);
    answer.in[3].voiceOpen = true;
    answer.in[0].voiceOpen = true;
    EXPECT_THAT(compare().orphans, ElementsAre(AuditFindings::Orphan{in(0), true, false}));
}

class AuditsUnderWay : public testing::Test {
protected:
    static Audits::Time at(int milliseconds) {
        return Audits::Time() + std::chrono::milliseconds(milliseconds);
    }
    Audits audits{std::chrono::milliseconds(2000)};
};

TEST_F(AuditsUnderWay, AnAnswerEndsTheOneThatItIsFor) {
    auto const tag = audits.begin(0x10, 7, at(0));
    EXPECT_TRUE(audits.isUnderWay(0x10));
    EXPECT_FALSE(audits.answer(0x11, tag));
    EXPECT_FALSE(audits.answer(0x10, tag + 1));
    auto const audit = audits.answer(0x10, tag);
    ASSERT_TRUE(audit);
    EXPECT_EQ(audit->serial, 7U);
    EXPECT_FALSE(audits.isUnderWay(0x10));
    EXPECT_FALSE(audits.answer(0x10, tag));
    EXPECT_EQ(audits.nextDue(), std::nullopt);
}

TEST_F(AuditsUnderWay, ABoardThatDoesNotAnswerIsNewsOnceUntilItAnswers) {
    audits.begin(0x10, 0, at(0));
    EXPECT_EQ(audits.nextDue(), at(2000));
    EXPECT_THAT(audits.expire(at(1999)), IsEmpty());
    auto first = audits.expire(at(2000));
    ASSERT_EQ(first.size(), 1U);
    EXPECT_TRUE(first[0].isFirst);
    audits.begin(0x10, 0, at(3000));
    auto second = audits.expire(at(5000));
    ASSERT_EQ(second.size(), 1U);
    EXPECT_FALSE(second[0].isFirst);
    EXPECT_TRUE(audits.answer(0x10, audits.begin(0x10, 0, at(6000))));
    audits.begin(0x10, 0, at(7000));
    auto third = audits.expire(at(9000));
    ASSERT_EQ(third.size(), 1U);
    EXPECT_TRUE(third[0].isFirst);
}

TEST_F(AuditsUnderWay, WhoWaitsIsHandedOver) {
    std::vector<std::string> heard;
    auto const waiter = [&heard](std::string const& text) { heard.push_back(text); };
    audits.begin(0x10, 0, at(0));
    audits.await(0x10, waiter);
    audits.begin(0x11, 0, at(0));
    audits.await(0x11, waiter);
    EXPECT_EQ(audits.drop(0x10).size(), 1U);
    EXPECT_EQ(audits.drop(0x10).size(), 0U);
    auto const late = audits.expire(at(9000));
    ASSERT_EQ(late.size(), 1U);
    ASSERT_EQ(late[0].waiters.size(), 1U);
    late[0].waiters[0]("too late");
    EXPECT_THAT(heard, ElementsAre("too late"));
}

TEST(BoardsOnTheBus, AreKnownAsTheyComeAndGo) {
    BoardWatch boards;
    EXPECT_FALSE(boards.isPresent(0x10));
    EXPECT_FALSE(boards.isGone(0x10));
    boards.found(0x10, {"board", 1});
    EXPECT_TRUE(boards.isPresent(0x10));
    boards.lost(0x10);
    EXPECT_FALSE(boards.isPresent(0x10));
    EXPECT_TRUE(boards.isGone(0x10));
    boards.returned(0x10, {"board", 2}, true);
    EXPECT_TRUE(boards.isPresent(0x10));
    ASSERT_EQ(boards.boards().size(), 1U);
    EXPECT_EQ(boards.boards()[0].holder.pid, 2U);
}

TEST(BoardsOnTheBus, ANewIncarnationIsARestartUnlessTheBusToldIt) {
    dsp::AuditAnswer answer;
    answer.in.resize(1);
    answer.out.resize(1);
    answer.incarnation = 5;
    BoardWatch boards;
    boards.found(0x10, {"board", 1});
    EXPECT_FALSE(boards.audited(0x10, answer));
    EXPECT_FALSE(boards.audited(0x10, answer));
    answer.incarnation = 6;
    EXPECT_TRUE(boards.audited(0x10, answer));
    boards.lost(0x10);
    boards.returned(0x10, {"board", 1}, true);
    answer.incarnation = 7;
    EXPECT_FALSE(boards.audited(0x10, answer));
    boards.lost(0x10);
    boards.returned(0x10, {"board", 1}, false);
    answer.incarnation = 8;
    EXPECT_TRUE(boards.audited(0x10, answer));
}

TEST(BoardsOnTheBus, WhoHasNoChannelsIsNoBoard) {
    BoardWatch boards;
    boards.found(0x02, {"session", 1});
    EXPECT_EQ(boards.boards().size(), 1U);
    boards.audited(0x02, dsp::AuditAnswer());
    EXPECT_THAT(boards.boards(), IsEmpty());
}

} // namespace
