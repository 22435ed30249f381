#include "gateway/session/AckDeadlines.h"

#include <gmock/gmock.h>

namespace {

using gateway::AckDeadlines;
using gateway::Medium;
using gateway::Path;
using gateway::Request;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = Request::Kind;
using Result = AckDeadlines::Result;

constexpr unsigned good = 0;
constexpr unsigned notOpen = 3;

class Deadlines : public testing::Test {
protected:
    static Request request(Kind kind, unsigned char sid = 0x10, std::uint8_t dsp = 3) {
        return {{sid, dsp, dsp::Direction::in}, kind};
    }
    static AckDeadlines::Time at(int milliseconds) {
        return AckDeadlines::Time() + std::chrono::milliseconds(milliseconds);
    }
    Result answered(Request const& request, int milliseconds, unsigned error = good) {
        return deadlines.acknowledge(request, error, at(milliseconds)).result;
    }

    Request const open = request(Kind::openVoice);
    Request const close = request(Kind::closeVoice);
    AckDeadlines deadlines{std::chrono::milliseconds(2000)};
};

TEST_F(Deadlines, AnAnswerInTimeEndsTheWait) {
    deadlines.expect(open, at(0));
    EXPECT_EQ(deadlines.outstanding(), 1U);
    EXPECT_TRUE(deadlines.isOutstanding(open.path));
    EXPECT_EQ(deadlines.nextDue(), at(2000));
    auto const outcome = deadlines.acknowledge(open, good, at(1999));
    EXPECT_EQ(outcome.result, Result::inTime);
    EXPECT_EQ(outcome.took.count(), 1999);
    EXPECT_EQ(deadlines.outstanding(), 0U);
    EXPECT_FALSE(deadlines.isOutstanding(open.path));
    EXPECT_EQ(deadlines.nextDue(), std::nullopt);
    EXPECT_THAT(deadlines.expire(at(5000)), IsEmpty());
}

TEST_F(Deadlines, OneThatPassesIsToldOnce) {
    deadlines.expect(open, at(0));
    EXPECT_THAT(deadlines.expire(at(1999)), IsEmpty());
    EXPECT_THAT(deadlines.expire(at(2000)), ElementsAre(open));
    EXPECT_THAT(deadlines.expire(at(9000)), IsEmpty());
    EXPECT_EQ(deadlines.outstanding(), 0U);
    EXPECT_EQ(deadlines.nextDue(), std::nullopt);
}

TEST_F(Deadlines, AnAnswerBehindItsDeadlineIsLate) {
    deadlines.expect(open, at(0));
    deadlines.expire(at(2000));
    auto const outcome = deadlines.acknowledge(open, good, at(2500));
    EXPECT_EQ(outcome.result, Result::late);
    EXPECT_EQ(outcome.took.count(), 2500);
    EXPECT_EQ(answered(open, 2600), Result::duplicate);
}

TEST_F(Deadlines, ASecondAnswerIsADuplicate) {
    deadlines.expect(open, at(0));
    EXPECT_EQ(answered(open, 1), Result::inTime);
    EXPECT_EQ(answered(open, 2), Result::duplicate);
    EXPECT_EQ(answered(open, 3), Result::duplicate);
}

TEST_F(Deadlines, AnAnswerToNothingIsUnexpected) {
    EXPECT_EQ(answered(open, 1), Result::unexpected);
    deadlines.expect(open, at(2));
    EXPECT_EQ(answered(close, 3), Result::unexpected);
    EXPECT_EQ(answered(request(Kind::openFax), 3), Result::unexpected);
    EXPECT_EQ(answered(request(Kind::openVoice, 0x11), 3), Result::unexpected);
    EXPECT_EQ(answered(request(Kind::openVoice, 0x10, 4), 3), Result::unexpected);
    EXPECT_EQ(answered({{0x10, 3, dsp::Direction::out}, Kind::openVoice}, 3), Result::unexpected);
    EXPECT_EQ(deadlines.outstanding(), 1U);
}

TEST_F(Deadlines, WhatWasClosedMeanwhileAnswersNothingMore) {
    deadlines.expect(open, at(0));
    EXPECT_EQ(answered(open, 1), Result::inTime);
    deadlines.expect(close, at(2));
    EXPECT_EQ(answered(open, 3), Result::unexpected);
    EXPECT_EQ(answered(close, 4), Result::inTime);
    EXPECT_EQ(answered(close, 5), Result::duplicate);
    deadlines.expect(open, at(6));
    EXPECT_EQ(answered(close, 7), Result::unexpected);
}

TEST_F(Deadlines, AMissedOpeningThatWasClosedIsNotLateButUnexpected) {
    deadlines.expect(open, at(0));
    deadlines.expire(at(2000));
    deadlines.expect(close, at(2001));
    EXPECT_EQ(answered(open, 2002), Result::unexpected);
}

TEST_F(Deadlines, AClosingDoesNotEndTheWaitForTheOpening) {
    deadlines.expect(open, at(0));
    deadlines.expect(close, at(1));
    EXPECT_EQ(answered(open, 2), Result::inTime);
    EXPECT_EQ(answered(open, 3), Result::unexpected);
    EXPECT_EQ(answered(close, 4), Result::inTime);
}

TEST_F(Deadlines, AnOpeningThatIsMissedAfterItsClosingIsForgotten) {
    deadlines.expect(open, at(0));
    deadlines.expect(close, at(1));
    EXPECT_THAT(deadlines.expire(at(2000)), ElementsAre(open));
    EXPECT_EQ(answered(open, 2000), Result::unexpected);
    EXPECT_EQ(answered(close, 2000), Result::inTime);
}

TEST_F(Deadlines, AnswersOfAKindComeInTheOrderOfTheRequests) {
    deadlines.expect(close, at(0));
    deadlines.expect(close, at(500));
    EXPECT_EQ(deadlines.acknowledge(close, good, at(600)).took.count(), 600);
    EXPECT_EQ(deadlines.nextDue(), at(2500));
    EXPECT_THAT(deadlines.expire(at(2400)), IsEmpty());
    EXPECT_THAT(deadlines.expire(at(2500)), ElementsAre(close));
}

TEST_F(Deadlines, AnAnswerInTimeIsForTheOneThatIsStillDue) {
    deadlines.expect(open, at(0));
    deadlines.expect(open, at(1000));
    EXPECT_THAT(deadlines.expire(at(2000)), ElementsAre(open));
    EXPECT_EQ(answered(open, 2100), Result::inTime);
    EXPECT_EQ(answered(open, 2200), Result::late);
    EXPECT_EQ(answered(open, 2300), Result::duplicate);
}

TEST_F(Deadlines, ExpiredOnesComeOldestFirst) {
    Request const other = request(Kind::openFax, 0x11, 0);
    deadlines.expect(open, at(0));
    deadlines.expect(other, at(1));
    deadlines.expect(close, at(2));
    EXPECT_EQ(deadlines.nextDue(), at(2000));
    EXPECT_THAT(deadlines.expire(at(3000)), ElementsAre(open, other, close));
}

TEST_F(Deadlines, AnErrorThatWasToBeExpectedIsTold) {
    deadlines.expect(close, at(0), dsp::Error::notOpen);
    auto const outcome = deadlines.acknowledge(close, notOpen, at(1));
    EXPECT_EQ(outcome.result, Result::inTime);
    EXPECT_TRUE(outcome.isTolerated);
    deadlines.expect(close, at(2), dsp::Error::notOpen);
    EXPECT_FALSE(deadlines.acknowledge(close, 4, at(3)).isTolerated);
    deadlines.expect(close, at(4), dsp::Error::notOpen);
    EXPECT_FALSE(deadlines.acknowledge(close, good, at(5)).isTolerated);
    deadlines.expect(close, at(6));
    EXPECT_FALSE(deadlines.acknowledge(close, notOpen, at(7)).isTolerated);
}

TEST_F(Deadlines, ALateErrorIsToleratedToo) {
    deadlines.expect(close, at(0), dsp::Error::notOpen);
    deadlines.expire(at(2000));
    auto const outcome = deadlines.acknowledge(close, notOpen, at(2001));
    EXPECT_EQ(outcome.result, Result::late);
    EXPECT_TRUE(outcome.isTolerated);
}

TEST_F(Deadlines, ABoardThatGoesTakesItsRequestsWithIt) {
    Request const ofOther = request(Kind::openVoice, 0x11);
    deadlines.expect(open, at(0));
    deadlines.expect(close, at(1));
    deadlines.expect(ofOther, at(2));
    EXPECT_THAT(deadlines.loseBoard(0x10), ElementsAre(open, close));
    EXPECT_EQ(deadlines.outstanding(), 1U);
    EXPECT_EQ(deadlines.nextDue(), at(2002));
    EXPECT_EQ(answered(open, 3), Result::unexpected);
    EXPECT_THAT(deadlines.expire(at(9000)), ElementsAre(ofOther));
    EXPECT_THAT(deadlines.loseBoard(0x10), IsEmpty());
}

TEST_F(Deadlines, ABoardThatGoesTakesWhatWasMissedAndAnsweredToo) {
    deadlines.expect(open, at(0));
    deadlines.expire(at(2000));
    EXPECT_THAT(deadlines.loseBoard(0x10), IsEmpty());
    EXPECT_EQ(answered(open, 2001), Result::unexpected);
}

TEST_F(Deadlines, KnowsWhatWasTouchedSince) {
    deadlines.expect(open, at(0));
    auto const serial = deadlines.serial();
    EXPECT_FALSE(deadlines.isTouchedSince(open.path, serial));
    deadlines.expect(request(Kind::openVoice, 0x11), at(1));
    EXPECT_FALSE(deadlines.isTouchedSince(open.path, serial));
    deadlines.expect(close, at(2));
    EXPECT_TRUE(deadlines.isTouchedSince(open.path, serial));
    EXPECT_FALSE(deadlines.isTouchedSince(open.path, deadlines.serial()));
}

TEST_F(Deadlines, KnowsWhatItOpened) {
    EXPECT_FALSE(deadlines.isOpened(open.path, Medium::voice));
    deadlines.expect(open, at(0));
    EXPECT_TRUE(deadlines.isOpened(open.path, Medium::voice));
    EXPECT_FALSE(deadlines.isOpened(open.path, Medium::fax));
    deadlines.expect(close, at(1));
    EXPECT_FALSE(deadlines.isOpened(open.path, Medium::voice));
    deadlines.expect(request(Kind::openFax), at(2));
    EXPECT_TRUE(deadlines.isOpened(open.path, Medium::fax));
}

TEST_F(Deadlines, ARefusedOpeningOpensNothing) {
    deadlines.expect(open, at(0));
    answered(open, 1, 2);
    EXPECT_FALSE(deadlines.isOpened(open.path, Medium::voice));
}

TEST_F(Deadlines, ARefusalThatNobodyAskedForTakesNothingBack) {
    deadlines.expect(open, at(0));
    answered(open, 1);
    EXPECT_EQ(answered(open, 2, notOpen), Result::duplicate);
    EXPECT_TRUE(deadlines.isOpened(open.path, Medium::voice));
}

TEST_F(Deadlines, ManyUndecidedOnesInBetweenLeaveNothingBehind) {
    for (std::uint8_t dsp = 0; dsp < 200; ++dsp) {
        deadlines.expect(request(Kind::openVoice, 0x10, dsp), at(dsp));
    }
    for (std::uint8_t dsp = 199; dsp > 0; --dsp) {
        EXPECT_EQ(answered(request(Kind::openVoice, 0x10, dsp), 300), Result::inTime);
    }
    EXPECT_EQ(deadlines.outstanding(), 1U);
    EXPECT_EQ(answered(request(Kind::openVoice, 0x10, 0), 301), Result::inTime);
    EXPECT_EQ(deadlines.nextDue(), std::nullopt);
}

TEST(AcknowledgedRequests, HaveTheIdentifiersOfTheCommandTables) {
    struct Row {
        std::uint32_t identifier;
        Kind kind;
        dsp::Direction direction;
    };
    for (Row const& row :
         {Row{100, Kind::openVoice, dsp::Direction::in},
          Row{104, Kind::openVoice, dsp::Direction::out},
          Row{102, Kind::closeVoice, dsp::Direction::in},
          Row{106, Kind::closeVoice, dsp::Direction::out},
          Row{115, Kind::openFax, dsp::Direction::in}, Row{119, Kind::openFax, dsp::Direction::out},
          Row{117, Kind::closeFax, dsp::Direction::in},
          Row{121, Kind::closeFax, dsp::Direction::out}}) {
        Request const wanted = {{0x10, 7, row.direction}, row.kind};
        EXPECT_EQ(gateway::requestOf(row.identifier, 0x10, 7), wanted) << row.identifier;
    }
    EXPECT_EQ(gateway::requestOf(108, 0x10, 7), std::nullopt);
    EXPECT_EQ(gateway::requestOf(101, 0x10, 7), std::nullopt);
    EXPECT_EQ(gateway::requestOf(132, 0x10, 7), std::nullopt);
}

TEST(AcknowledgedRequests, AreUndoneByTheirOpposite) {
    Path const path = {0x10, 1, dsp::Direction::out};
    EXPECT_EQ((Request{path, Kind::openVoice}.opposite()), (Request{path, Kind::closeVoice}));
    EXPECT_EQ((Request{path, Kind::closeVoice}.opposite()), (Request{path, Kind::openVoice}));
    EXPECT_EQ((Request{path, Kind::openFax}.opposite()), (Request{path, Kind::closeFax}));
    EXPECT_EQ((Request{path, Kind::closeFax}.opposite()), (Request{path, Kind::openFax}));
    EXPECT_EQ(textOf(Request{path, Kind::closeFax}), "CloseFax out of board 0x10 dsp 1");
}

} // namespace
