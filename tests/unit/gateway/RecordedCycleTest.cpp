#include "gateway/load/RecordedCycle.h"

#include "gateway/ServedBoard.h"
#include "gateway/load/LibraryClient.h"

#include "dsp/Board.h"
#include "host/Workstation.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace gateway;
using testing::ElementsAre;
using testing::StartsWith;
using Direction = MediaPath::Direction;

std::string bytesOf(imc_msg const& message) {
    std::string bytes(sizeof message, '\0');
    std::memcpy(bytes.data(), &message, sizeof message);
    return bytes;
}

std::vector<std::string> namesOf(std::vector<imc_msg> const& messages) {
    std::vector<std::string> names(messages.size());
    std::transform(messages.begin(), messages.end(), names.begin(), dsp::describe);
    return names;
}

/** Two boards in this process, and the library as their client. */
struct RecordedCycleTest : testing::Test {
    RecordedCycleTest() {
        for (std::uint8_t const sid : std::vector<std::uint8_t>{0x10, 0x11}) {
            workstation.setBoard(boardIp(sid), sid);
            BoardEntry const entry = {boardIp(sid), sid, 256, 5000, {}};
            boards.push_back(std::make_unique<ServedBoard>(workstation.dispatcher(),
                                                           workstation.transport(), entry, tap));
        }
    }
    ~RecordedCycleTest() override {
        boards.clear();
        workstation.reset();
    }

    /** Real cycles, one on each of the paths. */
    RecordedCycles record(std::vector<MediaPath> const& paths) {
        CycleDriver* current = nullptr;
        LibraryClient client(
            paths,
            [&](PathAcknowledged const& what, std::chrono::nanoseconds) {
                current->acknowledged(what);
            },
            false);
        CycleRecorder recorder(client, paths, workstation.transport());
        CycleDriver driver(workstation.dispatcher(), paths, recorder);
        current = &driver;
        CycleGoal goal;
        goal.cycles = paths.size();
        EXPECT_EQ(driver.run(goal).completed, paths.size());
        EXPECT_EQ(client.ackEvents(), paths.size());
        EXPECT_EQ(client.ackErrorEvents(), paths.size());
        return recorder.cycles();
    }

    host::Workstation& workstation = host::Workstation::instance();
    ServedBoard::Tap const tap{nullptr, nullptr, [](std::string const&, std::string const&) {}};
    std::vector<std::unique_ptr<ServedBoard>> boards;
};

TEST_F(RecordedCycleTest, ARecordHoldsTheCommandsOfOneCycleInTheirOrder) {
    RecordedCycles const cycles = record({{0x10, 3, Direction::in}, {0x10, 4, Direction::out}});
    EXPECT_THAT(namesOf(cycles[0].open),
                ElementsAre(StartsWith("SetParameter dsp=3"), StartsWith("SetParameter dsp=3"),
                            StartsWith("SetParameter dsp=3"), StartsWith("OpenVoice in dsp=3")));
    EXPECT_THAT(namesOf(cycles[0].close), ElementsAre("CloseVoice in dsp=3"));
    EXPECT_EQ(cycles[0].messages(), 8U);
    EXPECT_EQ(cycles[1].messages(), 10U);
    EXPECT_THAT(namesOf(cycles[1].update).back(), StartsWith("UpdateVoice out dsp=4"));
}

TEST_F(RecordedCycleTest, PatchedMessagesAreThoseThatTheLibrarySendsForTheOtherPath) {
    std::vector<MediaPath> const there = {{0x11, 250, Direction::in}, {0x11, 7, Direction::out}};
    RecordedCycles const here = record({{0x10, 0, Direction::in}, {0x10, 0, Direction::out}});
    RecordedCycles const wanted = record(there);
    for (std::size_t i = 0; i < here.size(); ++i) {
        for (auto const part :
             {&RecordedCycle::open, &RecordedCycle::update, &RecordedCycle::close}) {
            auto const& messages = here[i].*part;
            ASSERT_EQ(messages.size(), (wanted[i].*part).size());
            for (std::size_t m = 0; m < messages.size(); ++m) {
                EXPECT_EQ(bytesOf(patched(messages[m], there[i], workstation.sid())),
                          bytesOf((wanted[i].*part)[m]))
                    << dsp::describe(messages[m]);
            }
        }
    }
}

TEST_F(RecordedCycleTest, ThePatchIsTheTwoAddressesAndTheChannel) {
    imc_msg const before{};
    std::string expected = bytesOf(before);
    expected[1] = 2;
    expected[2] = 0x11;
    expected[12] = 9;
    EXPECT_EQ(bytesOf(patched(before, {0x11, 9, Direction::out}, 2)), expected);
}

TEST_F(RecordedCycleTest, PlayedCyclesAreAcknowledgedByABoardAsReal) {
    RecordedCycles const cycles = record({{0x10, 0, Direction::in}, {0x10, 0, Direction::out}});
    std::vector<MediaPath> const paths = mediaPaths({0x10, 0x11}, 3);
    CycleDriver* current = nullptr;
    struct Ears : host::Endpoint {
        CycleDriver** driver;
        void receive(imc_msg const& message) override {
            (*driver)->acknowledged(acknowledgedPath(message).value());
        }
    } ears;
    ears.driver = &current;
    workstation.transport().attach(0x02, ears);
    PlayedCycles played(workstation.transport(), 0x02, paths, cycles);
    CycleDriver driver(workstation.dispatcher(), paths, played);
    current = &driver;
    CycleGoal goal;
    goal.cycles = 50;
    goal.outstanding = 5;
    EXPECT_EQ(driver.run(goal).completed, 50U);
    workstation.transport().detach(0x02);
}

TEST(MediaPathTest, InAndOutAlternateAndNeighboursAreOnDifferentBoards) {
    EXPECT_THAT(mediaPaths({1, 2}, 1),
                ElementsAre(MediaPath{1, 0, Direction::in}, MediaPath{2, 0, Direction::out},
                            MediaPath{1, 0, Direction::out}, MediaPath{2, 0, Direction::in}));
    EXPECT_EQ(mediaPaths({0, 255}, 256).size(), 1024U);
    EXPECT_LT((MediaPath{255, 255, Direction::out}.key()), MediaPath::keys);
}

TEST(MediaPathTest, AnAnswerIsWhatABoardSaysButForItsPort) {
    for (unsigned const id : {100U, 102U, 104U, 106U}) {
        imc_msg command{};
        command.sourceSid = 2;
        command.destinationSid = 0x90;
        command.messageId = id;
        command.payload[0] = 17;
        auto const event = acknowledgementOf(command);
        ASSERT_TRUE(event);
        EXPECT_EQ(event->destinationSid, 2);
        auto const what = acknowledgedPath(*event);
        ASSERT_TRUE(what);
        bool const isOut = id >= 104;
        EXPECT_EQ(what->path, (MediaPath{0x90, 17, isOut ? Direction::out : Direction::in}));
        EXPECT_EQ(what->isOpen, id % 4 == 0);
        EXPECT_EQ(what->error, 0);
        EXPECT_THAT(dsp::describe(*event),
                    testing::MatchesRegex("(Open|Close)VoiceAck (in|out) dsp=17 error=0 port=0"));
    }
}

TEST(MediaPathTest, OthersAreNeitherAnsweredNorTakenForAcknowledgements) {
    imc_msg message{};
    message.length = 4;
    for (unsigned const id : {0U, 99U, 108U, 116U, 132U}) {
        message.messageId = id;
        EXPECT_FALSE(acknowledgementOf(message)) << id;
        EXPECT_FALSE(acknowledgedPath(message)) << id;
    }
    message.messageId = 101;
    EXPECT_TRUE(acknowledgedPath(message));
    message.length = 5;
    EXPECT_FALSE(acknowledgedPath(message));
}

} // namespace
