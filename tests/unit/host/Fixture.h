#ifndef TESTS_HOST_FIXTURE_H
#define TESTS_HOST_FIXTURE_H

#include "host/Workstation.h"
#include "imc/IMC_CommandObserver.h"
#include "imc/IMC_Manager.h"
#include "imc/IMC_Observer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/** A workstation as at the start of the process, whose log lines are kept. */
class HostTest : public testing::Test {
protected:
    HostTest() : workstation(host::Workstation::instance()) {
        workstation.reset();
        workstation.setLogSink(
            [this](host::Workstation::LogLine const& line) { lines.push_back(line); });
    }
    ~HostTest() override { workstation.reset(); }

    IMC_Manager& imc() { return *IMC_Manager::instance(0xFF); }
    std::uint64_t counted(std::string const& cause) const {
        auto const counters = workstation.counters();
        auto const found = counters.find(cause);
        return found == counters.end() ? 0 : found->second;
    }

    /** Long enough for the slowest machine; a test that passes never waits that long. */
    static constexpr std::chrono::seconds patience{60};

    host::Workstation& workstation;
    std::vector<host::Workstation::LogLine> lines;
};

/** An observer that does what the test wants at each message. */
class ScriptedObserver : public IMC_Observer {
public:
    explicit ScriptedObserver(std::function<void(imc_msg const&)> atMessage)
        : script(std::move(atMessage)) {}
    void messageEvent(imc_msg const& message) override { script(message); }
    void timeoutEvent(unsigned int /*timer*/) override {}

private:
    std::function<void(imc_msg const&)> script;
};

/** A console observer that does what the test wants at each command. */
class ScriptedCommand : public IMC_CommandObserver {
public:
    using Script = std::function<void(std::string const&, int)>;
    explicit ScriptedCommand(Script atCommand) : script(std::move(atCommand)) {}
    void command(std::string const& text, int console) override { script(text, console); }

private:
    Script script;
};

/** An endpoint that keeps what it receives. */
class KeepingEndpoint : public host::Endpoint {
public:
    void receive(imc_msg const& message) override { received.push_back(message); }
    std::vector<imc_msg> received;
};

inline imc_msg messageTo(unsigned char destination, std::uint32_t identifier) {
    imc_msg message{};
    message.destinationSid = destination;
    message.messageId = identifier;
    return message;
}

/** The text of the exception of a kind that the call ends with. */
template <class Exception, class Call>
std::string failureOf(Call call) {
    try {
        call();
    } catch (Exception const& exception) {
        return exception.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return "";
}

#endif
