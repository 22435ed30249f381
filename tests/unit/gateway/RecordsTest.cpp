#include "gateway/session/Records.h"

#include <gmock/gmock.h>

namespace {

using gateway::Medium;
using gateway::Path;
using gateway::Record;
using gateway::Records;
using gateway::Request;
using testing::ElementsAre;
using testing::IsEmpty;
using Change = Records::Change;
using Kind = Request::Kind;

constexpr unsigned good = 0;
constexpr unsigned alreadyOpen = 2;
constexpr unsigned noPortLeft = 5;

class ChannelRecords : public testing::Test {
protected:
    static Records::Time at(int milliseconds) {
        return Records::Time() + std::chrono::milliseconds(milliseconds);
    }
    Request request(Kind kind) const { return {path, kind}; }
    /** A record whose voice is open. */
    Record& opened() {
        Record& record = records.add("a", nullptr, path);
        records.sent(request(Kind::openVoice));
        records.acknowledged(request(Kind::openVoice), good);
        return record;
    }

    Path const path = {0x10, 3, dsp::Direction::in};
    Records records{std::chrono::milliseconds(10000)};
};

TEST_F(ChannelRecords, AreFoundByNameAndPathUntilTheyAreRemoved) {
    Record& record = records.add("a", nullptr, path);
    EXPECT_EQ(records.find("a"), &record);
    EXPECT_EQ(records.at(path), &record);
    EXPECT_EQ(records.find("b"), nullptr);
    EXPECT_EQ(records.at({0x10, 3, dsp::Direction::out}), nullptr);
    EXPECT_THAT(records.ofBoard(0x10), ElementsAre(&record));
    EXPECT_THAT(records.ofBoard(0x11), IsEmpty());
    records.remove("a");
    EXPECT_EQ(records.find("a"), nullptr);
    EXPECT_EQ(records.at(path), nullptr);
    EXPECT_EQ(records.size(), 0U);
}

TEST_F(ChannelRecords, OpenAndCloseAsTheBoardAnswers) {
    Record& record = records.add("a", nullptr, path);
    EXPECT_TRUE(record.isFinished());
    EXPECT_EQ(records.sent(request(Kind::openVoice)), std::nullopt);
    EXPECT_EQ(record.text(), "voice opening");
    EXPECT_FALSE(record.isSettled());
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), good), Change::opened);
    EXPECT_EQ(record.text(), "voice open");
    EXPECT_TRUE(record.isSettled());
    EXPECT_FALSE(record.isFinished());
    EXPECT_EQ(records.sent(request(Kind::closeVoice)), std::nullopt);
    EXPECT_TRUE(record.isClosing());
    EXPECT_EQ(records.acknowledged(request(Kind::closeVoice), good), Change::closed);
    EXPECT_TRUE(record.isFinished());
    EXPECT_EQ(record.text(), "closed");
}

TEST_F(ChannelRecords, VoiceAndFaxAreTwoThings) {
    Record& record = opened();
    records.sent(request(Kind::openFax));
    EXPECT_EQ(record.text(), "voice open, fax opening");
    EXPECT_EQ(records.missed(request(Kind::openFax), at(5)), Change::halfOpened);
    EXPECT_EQ(record.text(), "half-open: voice open, fax not acknowledged");
    EXPECT_TRUE(record.isOpen(Medium::voice));
    EXPECT_FALSE(record.isOpen(Medium::fax));
}

TEST_F(ChannelRecords, AMissedOpeningIsHalfOpenUntilItsTimeHasPassed) {
    Record& record = records.add("a", nullptr, path);
    records.sent(request(Kind::openVoice));
    EXPECT_EQ(records.nextDue(), std::nullopt);
    EXPECT_EQ(records.missed(request(Kind::openVoice), at(2000)), Change::halfOpened);
    EXPECT_TRUE(record.isHalfOpen());
    EXPECT_EQ(records.halfOpen(), 1U);
    EXPECT_EQ(records.nextDue(), at(12000));
    EXPECT_THAT(records.expired(at(11999)), IsEmpty());
    EXPECT_THAT(records.expired(at(12000)), ElementsAre(&record));
}

TEST_F(ChannelRecords, ALateAnswerHeals) {
    Record& record = records.add("a", nullptr, path);
    records.sent(request(Kind::openVoice));
    records.missed(request(Kind::openVoice), at(2000));
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), good), Change::healed);
    EXPECT_FALSE(record.isHalfOpen());
    EXPECT_THAT(records.expired(at(99999)), IsEmpty());
    EXPECT_EQ(records.nextDue(), std::nullopt);
}

TEST_F(ChannelRecords, ALateRefusalIsARefusal) {
    Record& record = records.add("a", nullptr, path);
    records.sent(request(Kind::openVoice));
    records.missed(request(Kind::openVoice), at(2000));
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), noPortLeft), Change::refused);
    EXPECT_FALSE(record.of(Medium::voice).isOthers);
    EXPECT_EQ(records.halfOpen(), 0U);
}

TEST_F(ChannelRecords, OneThatIsRefusedAsOpenIsSomebodyElses) {
    Record& record = records.add("a", nullptr, path);
    records.sent(request(Kind::openVoice));
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), alreadyOpen), Change::refused);
    EXPECT_TRUE(record.of(Medium::voice).isOthers);
    EXPECT_EQ(record.text(), "voice refused");
}

TEST_F(ChannelRecords, ClosingWhatMayNotBeOpenMayBeRefused) {
    Record& record = records.add("a", nullptr, path);
    records.sent(request(Kind::openVoice));
    records.missed(request(Kind::openVoice), at(2000));
    EXPECT_EQ(records.sent(request(Kind::closeVoice)), dsp::Error::notOpen);
    records.closed(record);
    EXPECT_FALSE(record.isFinished());
    EXPECT_EQ(records.nextDue(), std::nullopt);
    EXPECT_EQ(records.acknowledged(request(Kind::closeVoice), good), Change::closed);
    EXPECT_TRUE(record.isFinished());
}

TEST_F(ChannelRecords, AnOrphanMayBeOpenAlready) {
    records.add("a", nullptr, path).isOrphan = true;
    EXPECT_EQ(records.sent(request(Kind::openVoice)), dsp::Error::alreadyOpen);
    EXPECT_EQ(records.sent(request(Kind::openFax)), dsp::Error::alreadyOpen);
}

TEST_F(ChannelRecords, AMissedClosingIsClosed) {
    Record& record = opened();
    records.sent(request(Kind::closeVoice));
    EXPECT_EQ(records.missed(request(Kind::closeVoice), at(2000)), Change::closed);
    EXPECT_TRUE(record.isFinished());
}

TEST_F(ChannelRecords, WhatTheBoardCouldNotBeToldIsClosedHere) {
    Record& record = opened();
    records.forget(0x10, at(5));
    records.closed(record);
    EXPECT_TRUE(record.isFinished());
    EXPECT_EQ(records.halfOpen(), 0U);
}

TEST_F(ChannelRecords, ABoardThatGoesLeavesItsChannelsHalfOpen) {
    Record& record = opened();
    Record& other = records.add("b", nullptr, {0x11, 3, dsp::Direction::in});
    EXPECT_THAT(records.forget(0x10, at(5)), ElementsAre(&record));
    EXPECT_EQ(record.text(), "half-open: voice not known to the board any more");
    EXPECT_EQ(other.text(), "closed");
    EXPECT_EQ(records.nextDue(), at(10005));
    EXPECT_THAT(records.forget(0x10, at(6)), IsEmpty());
    EXPECT_EQ(records.nextDue(), at(10005));
}

TEST_F(ChannelRecords, ABoardThatComesBackUnharmedHeals) {
    Record& record = opened();
    records.forget(0x10, at(5));
    EXPECT_THAT(records.remember(0x10), ElementsAre(&record));
    EXPECT_EQ(record.text(), "voice open");
    EXPECT_THAT(records.remember(0x10), IsEmpty());
}

TEST_F(ChannelRecords, WhatWasNotAcknowledgedStaysHalfOpenWhenTheBoardComesBack) {
    Record& record = records.add("a", nullptr, path);
    records.sent(request(Kind::openVoice));
    records.missed(request(Kind::openVoice), at(1));
    records.forget(0x10, at(5));
    EXPECT_THAT(records.remember(0x10), IsEmpty());
    EXPECT_EQ(record.text(), "half-open: voice not acknowledged");
    EXPECT_EQ(records.nextDue(), at(10001));
}

TEST_F(ChannelRecords, OneMediumCanBeForgotten) {
    Record& record = opened();
    records.forget(record, Medium::voice, at(7));
    EXPECT_TRUE(record.isHalfOpen());
    EXPECT_EQ(records.nextDue(), at(10007));
}

TEST_F(ChannelRecords, AnswersOfBeforeSayNothingOfWhatWasReopened) {
    Record& record = opened();
    records.sent(request(Kind::closeVoice));
    records.sent(request(Kind::openVoice));
    EXPECT_EQ(records.acknowledged(request(Kind::closeVoice), good), Change::none);
    EXPECT_EQ(record.text(), "voice opening");
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), good), Change::opened);
    EXPECT_TRUE(record.isSettled());
}

TEST_F(ChannelRecords, TheLastOfSeveralOpeningsDecides) {
    Record& record = records.add("a", nullptr, path);
    for (Kind const kind : {Kind::openVoice, Kind::closeVoice, Kind::openVoice}) {
        records.sent(request(kind));
    }
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), good), Change::none);
    EXPECT_EQ(records.missed(request(Kind::closeVoice), at(1)), Change::none);
    EXPECT_EQ(record.text(), "voice opening");
    EXPECT_EQ(records.missed(request(Kind::openVoice), at(2)), Change::halfOpened);
}

TEST_F(ChannelRecords, WhatIsNotTheirsChangesNothing) {
    EXPECT_EQ(records.sent(request(Kind::closeVoice)), std::nullopt);
    EXPECT_EQ(records.acknowledged(request(Kind::openVoice), good), Change::none);
    EXPECT_EQ(records.missed(request(Kind::openVoice), at(1)), Change::none);
}

TEST_F(ChannelRecords, ARemovedOneDoesNotExpire) {
    opened();
    records.forget(0x10, at(5));
    records.remove("a");
    EXPECT_THAT(records.expired(at(99999)), IsEmpty());
    EXPECT_EQ(records.nextDue(), std::nullopt);
}

} // namespace
