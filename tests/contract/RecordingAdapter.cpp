#include "tests/contract/PlatformUnderTest.h"
#include "tests/support/Recording.h"

#include <algorithm>
#include <set>

namespace contract {

namespace {

/** The recording platform of the unit tests. */
class Recording : public PlatformUnderTest {
public:
    void reset() override { recorder.reset(); }

    void deliver(imc_msg const& message) override { recorder.deliver(message); }

    std::vector<std::string> typeCommand(std::string const& line, int console) override {
        return recorder.typeCommand(line, console);
    }

    void serve(unsigned char sid) override { recorder.setServed(sid); }

    void stopServing(unsigned char sid) override { recorder.setUnserved(sid); }

    std::vector<imc_msg> postedTo(unsigned char sid) override {
        std::vector<imc_msg> messages;
        for (auto const& message : recorder.posted()) {
            if (message.destinationSid == sid) {
                messages.push_back(message);
            }
        }
        return messages;
    }

    void setLogLevel(unsigned int level) override { recorder.setLogLevel(level); }

    std::vector<LogLine> logLines() override {
        std::vector<LogLine> lines;
        for (auto const& call : recorder.logCalls()) {
            lines.push_back({call.isError, call.text, call.detail, call.file, call.line});
        }
        return lines;
    }

    void setCollectorTrace(bool on) override { recorder.setCollectorTrace(on); }

    std::size_t liveObjects() override { return recorder.liveObjects(); }

    void setConfiguration(std::string const& section, std::string const& key,
                          std::string const& text) override {
        recorder.setConfiguration(section, key, text);
    }

    void setConfiguration(std::string const& section, std::string const& key,
                          std::uint8_t byte) override {
        recorder.setConfiguration(section, key, byte);
    }

    void removeConfiguration(std::string const& section, std::string const& key) override {
        recorder.removeConfiguration(section, key);
    }

    void setNoteworthyValue(int number, std::uint8_t value) override {
        recorder.setNoteworthyValue(number, {value});
    }

    void removeNoteworthyValue(int number) override { recorder.removeNoteworthyValue(number); }

    void setBoard(std::string const& ip, unsigned char sid) override { recorder.setBoard(ip, sid); }

    void setInterface(std::string const& name, std::string const& ip) override {
        recorder.setInterface(name, ip);
    }

private:
    recording::Platform& recorder = recording::platform();
};

} // namespace

PlatformUnderTest& platform() {
    static Recording adapter;
    return adapter;
}

} // namespace contract
