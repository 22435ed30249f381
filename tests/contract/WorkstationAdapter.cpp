#include "host/Workstation.h"
#include "tests/contract/PlatformUnderTest.h"

#include <map>

namespace contract {

namespace {

/** A board that keeps what it is sent. */
class Mailbox : public host::Endpoint {
public:
    void receive(imc_msg const& message) override { messages.push_back(message); }

    std::vector<imc_msg> messages;
    bool isServed = false;
};

/** The gateway's platform on a workstation. */
class Workstation : public PlatformUnderTest {
public:
    void reset() override {
        for (auto& mailbox : mailboxes) {
            stopServing(mailbox.first);
        }
        mailboxes.clear();
        workstation.reset();
        lines.clear();
        workstation.setLogSink([this](host::Workstation::LogLine const& line) {
            lines.push_back({line.isError, line.text, line.detail, line.file, line.line});
        });
    }

    void deliver(imc_msg const& message) override {
        imc_msg addressed = message;
        addressed.destinationSid = workstation.sid();
        workstation.transport().send(addressed);
        workstation.dispatcher().runReady();
    }

    std::vector<std::string> typeCommand(std::string const& line, int console) override {
        std::vector<std::string> answers;
        workstation.typeCommand(line, console,
                                [&](std::string const& text) { answers.push_back(text); });
        workstation.dispatcher().runReady();
        return answers;
    }

    void serve(unsigned char sid) override {
        workstation.transport().attach(sid, mailboxes[sid]);
        mailboxes[sid].isServed = true;
    }

    void stopServing(unsigned char sid) override {
        if (mailboxes[sid].isServed) {
            workstation.transport().detach(sid);
            mailboxes[sid].isServed = false;
        }
    }

    std::vector<imc_msg> postedTo(unsigned char sid) override {
        workstation.dispatcher().runReady();
        return mailboxes[sid].messages;
    }

    void setLogLevel(unsigned int level) override { workstation.setLogLevel(level); }

    std::vector<LogLine> logLines() override { return lines; }

    void setCollectorTrace(bool on) override { workstation.setCollectorTrace(on); }

    std::size_t liveObjects() override { return workstation.liveObjects(); }

    void setConfiguration(std::string const& section, std::string const& key,
                          std::string const& text) override {
        workstation.setConfiguration(section, key, text);
    }

    void setConfiguration(std::string const& section, std::string const& key,
                          std::uint8_t byte) override {
        workstation.setConfiguration(section, key, byte);
    }

    void removeConfiguration(std::string const& section, std::string const& key) override {
        workstation.removeConfiguration(section, key);
    }

    void setNoteworthyValue(int number, std::uint8_t value) override {
        workstation.setNoteworthyValue(number, value);
    }

    void removeNoteworthyValue(int number) override { workstation.removeNoteworthyValue(number); }

    void setBoard(std::string const& ip, unsigned char sid) override {
        workstation.setBoard(ip, sid);
    }

    void setInterface(std::string const& name, std::string const& ip) override {
        workstation.setInterface(name, ip);
    }

private:
    host::Workstation& workstation = host::Workstation::instance();
    std::map<unsigned char, Mailbox> mailboxes;
    std::vector<LogLine> lines;
};

} // namespace

PlatformUnderTest& platform() {
    // Never destroyed: the workstation's log may write to it until the process ends.
    static Workstation& adapter = *new Workstation;
    return adapter;
}

} // namespace contract
