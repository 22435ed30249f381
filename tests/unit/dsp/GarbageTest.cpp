#include "Records.h"
#include "dsp/Board.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace dsp {
namespace {

/** Random bytes, the same on every run. */
class Noise {
public:
    unsigned below(unsigned limit) { return static_cast<unsigned>(engine() % limit); }

    imc_msg record() {
        Bytes bytes;
        for (std::uint8_t& each : bytes) {
            each = static_cast<std::uint8_t>(below(256));
        }
        imc_msg message;
        std::memcpy(&message, bytes.data(), bytes.size());
        return message;
    }

private:
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): predictable is what it should be
    std::mt19937 engine{20240229};
};

/** No port is held twice, and exactly the open paths hold one. */
void expectPortsInOrder(Board const& board, unsigned channels) {
    std::set<unsigned> ports;
    auto const look = [&ports](bool open, unsigned port) {
        ASSERT_EQ(open, port != 0);
        if (open) {
            ASSERT_TRUE(ports.insert(port).second) << port;
        }
    };
    for (unsigned dsp = 0; dsp < channels; ++dsp) {
        for (Path const& path : {board.channel(dsp).in, board.channel(dsp).out}) {
            look(path.voiceOpen, path.localRtpPort);
            look(path.faxOpen, path.localFaxPort);
        }
    }
}

TEST(Garbage, OfEveryLengthIsCountedReportedAndNeverFatal) {
    Bench bench;
    Noise noise;
    std::uint64_t received = 0;
    for (unsigned length = 0; length <= 1100; ++length) {
        for (Sample const& each : samples()) {
            imc_msg message = noise.record();
            message.destinationSid = 0xFA;
            message.messageId = record(each.hex).messageId;
            message.length = static_cast<std::uint16_t>(length);
            bench.board.receive(message);
            ++received;
            ASSERT_EQ(bench.sum("taken: ") + bench.sum("refused: "), received);
        }
    }
    EXPECT_GE(bench.reports.size(), bench.sum("refused: "));
}

TEST(Garbage, AltogetherRandomIsRefused) {
    Bench bench;
    Noise noise;
    for (unsigned received = 0; received < 20000; ++received) {
        imc_msg const message = noise.record();
        bench.board.receive(message);
        std::string const line = describe(message);
        EXPECT_FALSE(line.empty());
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
    EXPECT_EQ(bench.sum("refused: "), 20000U);
    EXPECT_EQ(bench.reports.size(), 20000U);
}

TEST(Garbage, NearlyGoodCommandsKeepTheBoardInOrder) {
    BoardOptions options;
    options.channels = 4;
    options.firstPort = 65514; // eleven ports for sixteen paths, so that they run out
    Bench bench(options);
    Noise noise;
    for (unsigned received = 1; received <= 50000; ++received) {
        imc_msg message = record(samples()[noise.below(13)].hex);
        message.payload[0] = static_cast<std::uint8_t>(noise.below(5));
        if (noise.below(4) == 0) {
            message.payload[noise.below(36)] = static_cast<std::uint8_t>(noise.below(256));
        }
        bench.board.receive(message);
        ASSERT_EQ(bench.sum("taken: ") + bench.sum("refused: "), received);
        ASSERT_NO_FATAL_FAILURE(expectPortsInOrder(bench.board, 4));
    }
    for (char const* const cause :
         {"no such channel", "bad parameter", "unknown parameter", "already open", "not open",
          "already joined", "not joined", "no port left"}) {
        EXPECT_GT(bench.count(std::string("refused: ") + cause), 0U) << cause;
    }
    for (Sample const& each : samples()) {
        EXPECT_GT(bench.count(std::string("taken: ") + each.name), 0U) << each.name;
    }
}

} // namespace
} // namespace dsp
