#include "gateway/capture/CaptureWriter.h"

#include "gateway/capture/CaptureReader.h"
#include "gateway/capture/CaptureTap.h"
#include "tests/support/CaptureBytes.h"
#include "tests/support/Refusal.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace {

using gateway::CaptureTap;
using gateway::CaptureWriter;
using std::chrono::nanoseconds;

std::string contentOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string refusalOf(std::string const& path) {
    return ::refusalOf<std::runtime_error>([&] { CaptureWriter const writer(path); });
}

/** A block as the file has it; the numbers of the format are big-endian here. */
std::string block(std::uint32_t type, std::string const& body) {
    return CaptureBytes(true).block(type, body).text();
}

class CaptureWriterTest : public testing::Test {
protected:
    TemporaryDirectory const directory;
    std::string const path = directory.path() + "/call.pcapng";
    imc_msg const command = commandTo(0x10, 102, "\x03");
};

TEST_F(CaptureWriterTest, beginsWithTheSectionAndTheInterface) {
    CaptureWriter const writer(path);
    CaptureBytes const format(true);
    std::string const expected =
        block(0x0A0D0D0A, format.word(0x1A2B3C4D) + format.half(1) + format.half(0) +
                              std::string(8, '\xFF') + format.option(4, "mcgw " MCGW_VERSION) +
                              format.word(0)) +
        block(1, format.half(147) + format.half(0) + format.word(0) + format.option(2, "imc") +
                     format.option(3, "Inter-module communication of the media gateway") +
                     format.option(9, "\x09") + format.word(0));
    EXPECT_EQ(contentOf(path), expected);
}

TEST_F(CaptureWriterTest, aRecordIsTheMessageByteForByteAndThereAtOnce) {
    CaptureWriter writer(path);
    std::size_t const begin = contentOf(path).size();
    writer.write(command, nanoseconds(0x123456789ABCDEF0));
    CaptureBytes const format(true);
    EXPECT_EQ(contentOf(path).substr(begin),
              block(6, format.word(0) + format.word(0x12345678) + format.word(0x9ABCDEF0) +
                           format.word(1036) + format.word(1036) + bytesOfMessage(command)));
}

TEST_F(CaptureWriterTest, aRefusedMessageIsFlaggedAndHasItsReason) {
    CaptureWriter writer(path);
    std::size_t const begin = contentOf(path).size();
    writer.writeRefused(command, nanoseconds(1), "why");
    CaptureBytes const format(true);
    EXPECT_EQ(contentOf(path).substr(begin),
              block(6, format.word(0) + format.word(0) + format.word(1) + format.word(1036) +
                           format.word(1036) + bytesOfMessage(command) +
                           format.option(1, "refused: why") + format.option(2, format.word(2)) +
                           format.word(0)));
}

TEST_F(CaptureWriterTest, aCommentIsAnOptionOfTheRecord) {
    CaptureWriter writer(path);
    std::size_t const begin = contentOf(path).size();
    writer.write(command, nanoseconds(1), "look");
    CaptureBytes const format(true);
    EXPECT_EQ(contentOf(path).substr(begin),
              block(6, format.word(0) + format.word(0) + format.word(1) + format.word(1036) +
                           format.word(1036) + bytesOfMessage(command) + format.option(1, "look") +
                           format.word(0)));
    EXPECT_FALSE(gateway::readCapture(path).records.at(0).isRefused);
    EXPECT_EQ(writer.written(), 1U);
}

TEST_F(CaptureWriterTest, aCommentThatIsTooLongForTheFormatIsCut) {
    CaptureWriter writer(path);
    writer.write(command, nanoseconds(1), std::string(100000, 'x'));
    EXPECT_EQ(gateway::readCapture(path).records.at(0).comment.size(), 65535U);
}

TEST_F(CaptureWriterTest, tellsThatTheReaderOfAPipeIsGone) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    int const reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    auto const before = std::signal(SIGPIPE, SIG_IGN);
    CaptureWriter writer(path);
    writer.write(command, nanoseconds(1));
    EXPECT_FALSE(writer.isReaderGone());
    close(reader);
    EXPECT_TRUE(writer.isReaderGone());
    EXPECT_THROW(writer.write(command, nanoseconds(2)), CaptureWriter::ReaderGone);
    std::signal(SIGPIPE, before);
}

TEST_F(CaptureWriterTest, aFileHasNoReaderThatCouldBeGone) {
    CaptureWriter const writer(path);
    EXPECT_FALSE(writer.isReaderGone());
}

TEST_F(CaptureWriterTest, aTapRecordsWhatIsSentAndWhatArrives) {
    CaptureTap tap(path);
    tap.carried(command);
    tap.received(acknowledgementFrom(0x10, 102, 3));
    tap.end();
    auto const records = gateway::readCapture(path).records;
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(gateway::messageOf(records[0]).messageId, 102U);
    EXPECT_EQ(gateway::messageOf(records[1]).messageId, 103U);
    EXPECT_FALSE(records[1].isRefused);
}

TEST_F(CaptureWriterTest, aReasonThatIsTooLongForTheFormatIsCut) {
    CaptureWriter writer(path);
    writer.writeRefused(command, nanoseconds(1), std::string(100000, 'x'));
    gateway::Capture const capture = gateway::readCapture(path);
    ASSERT_EQ(capture.records.size(), 1U);
    EXPECT_EQ(capture.records[0].comment.size(), 65535U);
    EXPECT_EQ(capture.fault, "");
}

TEST_F(CaptureWriterTest, endsWithStatistics) {
    CaptureWriter writer(path);
    writer.write(command, nanoseconds(1));
    std::size_t const begin = contentOf(path).size();
    writer.end(nanoseconds(7), 2);
    CaptureBytes const format(true);
    EXPECT_EQ(contentOf(path).substr(begin),
              block(5, format.word(0) + format.word(0) + format.word(7) +
                           format.option(4, format.both(3)) + format.option(5, format.both(2)) +
                           format.word(0)));
}

TEST_F(CaptureWriterTest, replacesACaptureAndAnEmptyFile) {
    std::ofstream(path).close();
    {
        CaptureWriter writer(path);
        writer.write(command, nanoseconds(1));
    }
    std::size_t const longer = contentOf(path).size();
    CaptureWriter const again(path);
    EXPECT_LT(contentOf(path).size(), longer);
}

TEST_F(CaptureWriterTest, keepsAFileThatIsNoCapture) {
    for (std::string const content : {"[[board]]\n", "x", "\x0A\x0D\x0D"}) {
        std::ofstream(path) << content;
        EXPECT_EQ(refusalOf(path),
                  "capture " + path + ": exists and is no capture: it is not overwritten");
        EXPECT_EQ(contentOf(path), content);
    }
}

TEST_F(CaptureWriterTest, saysWhyAFileCannotBeWritten) {
    EXPECT_EQ(refusalOf(directory.path()), "capture " + directory.path() + ": Is a directory");
    EXPECT_EQ(refusalOf(directory.path() + "/missing/x"),
              "capture " + directory.path() + "/missing/x: No such file or directory");
    EXPECT_EQ(refusalOf("/dev/full"), "capture /dev/full: No space left on device");
}

TEST_F(CaptureWriterTest, theTapRecordsWhatIsCarriedAndWhatIsRefused) {
    CaptureTap tap(path);
    tap.carried(command);
    tap.refused(command, "nobody serves IMC address 0x10");
    tap.end();
    gateway::Capture const capture = gateway::readCapture(path);
    ASSERT_EQ(capture.records.size(), 2U);
    EXPECT_EQ(capture.records[0].comment, "");
    EXPECT_FALSE(capture.records[0].isRefused);
    EXPECT_TRUE(capture.records[1].isRefused);
    EXPECT_EQ(capture.records[1].comment, "refused: nobody serves IMC address 0x10");
    EXPECT_LE(capture.records[0].time, capture.records[1].time);
    std::chrono::nanoseconds const now = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_LE(capture.records[1].time, now + std::chrono::hours(1));
    EXPECT_GE(capture.records[0].time, now - std::chrono::hours(1));
}

} // namespace
