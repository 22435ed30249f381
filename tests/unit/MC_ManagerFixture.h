#ifndef MC_MANAGERFIXTURE_H
#define MC_MANAGERFIXTURE_H

#include "tests/support/RecordMatchers.h"
#include "tests/support/Recording.h"
#include "tests/unit/MC_ManagerTestAccess.h"

#include "MC_Log.h"
#include "address/IPAddress.h"
#include "address/UDPAddr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/** What all tests of the manager share. */
namespace mctest {

using Access = MC_ManagerTestAccess;
using recording::IsRecord;
using recording::Kind;
using recording::platform;
using recording::record;

/** The name under which the manager logs. */
char const source[] = "framework/lib/MC_API/MC_Manager";

/** The name of a direction, codec or state that has none. */
char const outOfArray[] = "ERROR : OUT OF ARRAY !!!";

inline VCOM_Direction direction(int value) {
    return static_cast<VCOM_Direction>(value);
}

/** What the library builds from pieces ends with a NUL character. */
inline std::string withNul(std::string const& text) {
    return text + '\0';
}

/** The description of a channel, its NUL character included. */
inline std::string description(MC_Channel const& channel) {
    return channel;
}

/** NUL characters made visible. */
inline std::string readable(std::string const& text) {
    std::string result;
    for (char const character : text) {
        result += character == '\0' ? std::string("<NUL>") : std::string(1, character);
    }
    return result;
}

/** A call of the log, to be compared whole. */
struct LogLine {
    std::string text;
    std::string detail;
    std::string file;
    int line;
};

inline bool operator==(LogLine const& left, LogLine const& right) {
    return left.text == right.text && left.detail == right.detail && left.file == right.file &&
           left.line == right.line;
}

inline std::ostream& operator<<(std::ostream& out, LogLine const& line) {
    return out << readable(line.text) << " | " << readable(line.detail) << " | " << line.file << ":"
               << line.line;
}

/** A trace of the manager; `text` without the prefix and without the NUL character. */
inline LogLine trace(std::string const& text, int line) {
    return {withNul("MC - OBS - " + text), "", source, line};
}

/** An error of the manager; `message` without the prefix. */
inline LogLine error(std::string const& message, std::string const& detail, int line) {
    return {"MC - " + message, detail, source, line};
}

inline std::vector<LogLine> logLines(std::vector<recording::LogCall> const& calls) {
    std::vector<LogLine> lines;
    for (auto const& call : calls) {
        EXPECT_EQ(call.log, pMClog) << readable(call.text);
        lines.push_back({call.text, call.detail, call.file, call.line});
    }
    return lines;
}

inline std::vector<LogLine> traces() {
    return logLines(platform().traces());
}

inline std::vector<LogLine> errors() {
    return logLines(platform().errors());
}

/** The posted commands: "104", or "108:2" for a set-parameter command with code 2. */
inline std::vector<std::string> commands() {
    std::vector<std::string> result;
    for (auto const& message : platform().posted()) {
        std::uint32_t const messageId = message.messageId;
        result.push_back(std::to_string(messageId));
        if (messageId == 108) {
            result.back() += ":" + std::to_string(static_cast<unsigned>(message.payload[1]));
        }
    }
    return result;
}

/** The whole text of the exception of this type that leaves the call; fails when none does. */
template <typename Exception = std::runtime_error, typename Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (Exception const& error) {
        return recording::fullText(error);
    }
    ADD_FAILURE() << "no such exception was thrown";
    return "";
}

inline void set(UDPAddr& endPoint, std::string const& ip, unsigned short port) {
    IPAddress const address(ip);
    endPoint.Set(&address, port);
}

/** A client that expects every call it gets. */
class Client : public MC_Observer {
public:
    MOCK_METHOD(void, faxToneEvent, (MC_Channel*, MC_FaxTone const&), (override));
    MOCK_METHOD(void, ackEvent, (MC_Channel*, MC_Acknowledge const&), (override));
    MOCK_METHOD(void, dtmfEvent, (MC_Channel*, MC_Dtmf const&), (override));
    MOCK_METHOD(void, ackErrorEvent, (MC_Channel*, MC_AckError const&), (override));
};

/** An address whose copies run an action when their binary form is asked for. */
class ScriptedAddress : public IPAddress {
public:
    explicit ScriptedAddress(std::function<void()> binaryAction)
        : IPAddress("10.9.9.9"), action(binaryAction) {}

    ScriptedAddress* Clone() const override { return new ScriptedAddress(*this); }
    void GetBinary(unsigned char (&bytes)[16]) const override {
        action();
        IPAddress::GetBinary(bytes);
    }

private:
    std::function<void()> action;
};

/** For `Script::log`: the trace of this line throws a copy of the exception. */
template <typename Exception>
std::function<void(recording::LogCall const&)> failingTrace(int line, Exception exception) {
    return [line, exception](recording::LogCall const& call) {
        if (call.line == line) {
            throw exception;
        }
    };
}

/** For a death test: what an end of the process leaves on standard error. */
inline void reportAndAbort(int cause) {
    for (auto const& line : errors()) {
        std::ostringstream text;
        text << line;
        std::fprintf(stderr, "error %s\n", text.str().c_str());
    }
    std::fprintf(stderr, "exit cause %d\n", cause);
    std::abort();
}

inline void reportUnexpected() {
    std::fputs("the unexpected-exception handler ran\n", stderr);
    std::abort();
}

/** For a death test: the call, with an unexpected-exception handler that makes itself known. */
template <typename Call>
void watchingForUnexpected(Call call) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    std::set_unexpected(reportUnexpected);
#pragma GCC diagnostic pop
    call();
}

/** Matches what a violated exception specification leaves on standard error. */
inline auto ranUnexpected() {
    return testing::HasSubstr("the unexpected-exception handler ran");
}

/** Names a test after its parameter's name. */
struct NameOf {
    template <typename Info>
    std::string operator()(Info const& info) const {
        return info.param.name;
    }
};

/** A direction, the tests' name for it, and the one that the library prints. */
struct NamedDirection {
    int value;
    std::string name;
    std::string directionName;
};

inline std::ostream& operator<<(std::ostream& out, NamedDirection const& named) {
    return out << named.value;
}

/** The directions that no command knows, with and without a name. */
inline std::vector<NamedDirection> otherDirections() {
    return {{0, "0", "NONE"},           {3, "3", outOfArray},         {4, "4", outOfArray},
            {-1, "minus1", outOfArray}, {INT_MAX, "max", outOfArray}, {INT_MIN, "min", outOfArray}};
}

inline std::vector<NamedDirection> allDirections() {
    std::vector<NamedDirection> directions = otherDirections();
    directions.push_back({1, "1", "INCOMING"});
    directions.push_back({2, "2", "OUTGOING"});
    return directions;
}

/** An operation that posts through imcPost. */
struct Command {
    char const* name;
    void (*call)(MC_Manager&, MC_Channel const*);
    /** What imcPost says when it fails. */
    char const* failure;
    /** As in `commands`, for a channel of direction 1. */
    char const* posted;
};

inline std::ostream& operator<<(std::ostream& out, Command const& command) {
    return out << command.name;
}

inline std::vector<Command> allCommands() {
    return {
        {"setSilenceSuppressionActive", Access::setSilenceSuppressionActive,
         "Failed to set SILENCE_COMPRESSION", "108:2"},
        {"setFaxDetectionActive", Access::setFaxDetectionActive, "Failed to set FAX_T38 detection",
         "108:5"},
        {"setDigitDetection", Access::setDigitDetection, "Failed to set DIGIT_DETECTION", "108:3"},
        {"setPacketLength", Access::setPacketLength, "Failed to set PACKET_LENGTH", "108:4"},
        {"openVoice", Access::openVoice, "Failed to Open Voice", "100"},
        {"updateVoice", Access::updateVoice, "Failed to Update Voice", "132"},
        {"closeVoice", Access::closeVoice, "Failed to Close Voice", "102"},
        {"openFax", Access::openFax, "Failed to Open Fax", "115"},
        {"closeFax", Access::closeFax, "Failed to Close Fax", "117"}};
}

/** A manager on a recording platform; at the end nothing may be left of either. */
class ManagerTest : public testing::Test {
protected:
    ManagerTest() {
        platform().reset();
        manager = MC_Manager::instance();
        platform().clearRecords();
    }

    void TearDown() override {
        platform().script = recording::Script();
        delete Access::existing();
        owned.clear();
        EXPECT_EQ(platform().liveObjects(), 0U);
        EXPECT_EQ(platform().liveClones(), 0U);
        EXPECT_EQ(platform().faultyDereferences(), 0U);
    }

    /**
     * A filled channel with the client's reference, not listed; the fixture destroys it. What the
     * platform recorded so far is forgotten.
     */
    MC_Channel& newChannel(int channelDirection = 1) {
        MC_Channel* const pChannel = manager->factory();
        owned.emplace_back(pChannel);
        pChannel->identifier = 0x2F;
        pChannel->direction = direction(channelDirection);
        pChannel->dsp = 3;
        pChannel->codec = 1;
        pChannel->minFraming = VCOM_FRAMING_10;
        pChannel->maxFraming = VCOM_FRAMING_30;
        pChannel->joinDsp = 0;
        pChannel->faxRedundancy = 1;
        pChannel->faxDepth = 2;
        set(pChannel->rtpLocal, "10.1.0.1", 5004);
        set(pChannel->rtcpLocal, "10.1.0.2", 5005);
        set(pChannel->rtpRemote, "10.2.0.1", 6004);
        set(pChannel->rtcpRemote, "10.2.0.2", 6005);
        platform().clearRecords();
        return *pChannel;
    }

    /** The same, listed, but without a reference of the list. */
    MC_Channel& listedChannel(int channelDirection = 1) {
        MC_Channel& channel = newChannel(channelDirection);
        channels().push_back(&channel);
        return channel;
    }

    /** Somebody else destroys the channel. */
    void disown(MC_Channel const& channel) {
        for (auto& candidate : owned) {
            if (candidate.get() == &channel) {
                candidate.release();
            }
        }
    }

    std::list<MC_Channel*>& channels() { return Access::channels(*manager); }
    MC_Config& config() { return Access::config(*manager); }

    MC_Manager* manager;

private:
    std::vector<std::unique_ptr<MC_Channel>> owned;
};

} // namespace mctest

#endif
