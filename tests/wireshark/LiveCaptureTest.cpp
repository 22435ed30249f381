// A capture of the bus, read by tshark while it grows.

#include "tests/support/TemporaryDirectory.h"
#include "tests/system/Background.h"
#include "tests/wireshark/Tshark.h"

#include "dsp/Board.h"
#include "dsp/Encode.h"

#include "host/Counters.h"
#include "host/bus/BusTransport.h"
#include "host/imc/Dispatcher.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <future>

namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr std::chrono::seconds patience{60};

bool await(host::Dispatcher& loop, std::function<bool()> const& condition) {
    auto const end = std::chrono::steady_clock::now() + patience;
    while (!loop.runUntil(condition, std::chrono::milliseconds(5))) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
    }
    return true;
}

class KeepingEnd : public host::Endpoint {
public:
    void receive(imc_msg const& message) override { received.push_back(message); }
    std::vector<imc_msg> received;
};

/** Lets a reader of a pipe that waits for a writer go, when the test ends without one. */
class Release {
public:
    Release(std::string const& itsPipe, std::future<std::string> const& itsReader)
        : pipe(itsPipe), reader(itsReader) {}
    ~Release() {
        while (reader.valid() &&
               reader.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
            int const writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            if (writer >= 0) {
                close(writer);
            }
        }
    }
    Release(Release const&) = delete;
    Release& operator=(Release const&) = delete;

private:
    std::string pipe;
    std::future<std::string> const& reader;
};

bool hasTap(host::BusTransport const& transport) {
    for (host::BusPeer const& peer : transport.peers()) {
        if (peer.isTap) {
            return true;
        }
    }
    return false;
}

TEST(LiveCapture, IsReadFromAPipeWhileItGrows) {
    TemporaryDirectory const directory;
    TemporaryDirectory const bus;
    std::string const pipe = directory.path() + "/live.pcapng";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    // Ends when the capture does.
    auto printed = std::async(std::launch::async, [&pipe] {
        return outputOf({"tshark", "-X", std::string("lua_script:") + DISSECTOR, "-r", pipe, "-T",
                         "fields", "-e", "_ws.col.Info"});
    });
    Release const release(pipe, printed);
    BackgroundProgram capture({"capture", pipe, "--bus", "ipc://" + bus.path(), "--count", "2"});
    host::Dispatcher loop;
    host::Counters counters;
    host::BusOptions options;
    options.url = "ipc://" + bus.path();
    options.name = "node";
    host::BusTransport transport(loop, counters, options);
    KeepingEnd board;
    KeepingEnd session;
    transport.attach(0x10, board);
    transport.attach(0x01, session);
    ASSERT_TRUE(await(loop, [&] { return hasTap(transport); })) << capture.errors();
    imc_msg message = dsp::encode("CloseVoice in", {{"dsp", "3"}});
    message.sourceSid = 0x01;
    message.destinationSid = 0x10;
    transport.send(message);
    message = dsp::encode("CloseVoiceAck in", {{"dsp", "3"}, {"error", "3"}});
    message.sourceSid = 0x10;
    message.destinationSid = 0x01;
    transport.send(message);
    EXPECT_TRUE(await(loop, [&] { return session.received.size() == 1; }));
    EXPECT_EQ(capture.end(), 0) << capture.errors();
    auto lines = split(printed.get(), '\n');
    lines.pop_back();
    EXPECT_THAT(lines, ElementsAre(StartsWith("CloseVoice in dsp=3"),
                                   StartsWith("CloseVoiceAck in dsp=3 error=3(not open) port=0")));
}

} // namespace
