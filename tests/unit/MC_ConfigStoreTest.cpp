#include "MC_Config.h"

#include "config/CFG_Store.h"
#include "debug/DBG_NoteworthyValueMgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

// A configuration store of this program's own: it sees where values are to go, and behaves as badly
// as a store can.

namespace {

struct Question {
    std::string section;
    std::string key;
    void* destination;
    int type;
    int* count;
};

std::function<int(Question const&)> answer;
std::function<bool(void*)> noteworthyAnswer;

} // namespace

int get(char const* section, char const* key, void* destination, int type, int* count) {
    return answer(Question{section, key, destination, type, count});
}

DBG_NoteworthyValueMgr::DBG_NoteworthyValueMgr() = default;
DBG_NoteworthyValueMgr::~DBG_NoteworthyValueMgr() = default;

DBG_NoteworthyValueMgr* DBG_NoteworthyValueMgr::instance() {
    class Manager : public DBG_NoteworthyValueMgr {};
    static Manager manager;
    return &manager;
}

bool DBG_NoteworthyValueMgr::getValue(int, void* destination, std::size_t) const {
    return noteworthyAnswer(destination);
}

IMC_Observer::~IMC_Observer() = default;

namespace {

using namespace std::string_literals;

int const failure = -1;

class ConfigStore : public testing::Test {
protected:
    ConfigStore() {
        answer = [](Question const&) { return failure; };
        noteworthyAnswer = [](void*) { return false; };
    }

    /** Lets the store fill the destination of the text with these bytes, whatever they are. */
    void fillText(std::string const& bytes, int result = 0) {
        answer = [bytes, result](Question const& question) {
            if (question.type != CFG_TYPE_TEXT) {
                return failure;
            }
            std::memcpy(question.destination, bytes.data(), bytes.size());
            return result;
        };
    }

    MC_Config config;
};

TEST_F(ConfigStore, TickRequestIsReadStraightIntoTheMember) {
    void* destination = nullptr;
    answer = [&](Question const& question) {
        if (question.key == "rtptick_request") {
            destination = question.destination;
        }
        return failure;
    };
    config.readConfiguration();
    EXPECT_EQ(destination, &config.rtpTickRequest);
}

TEST_F(ConfigStore, CountIs1BeforeEachReadWhateverTheReadBeforeLeft) {
    std::vector<int> counts;
    answer = [&](Question const& question) {
        counts.push_back(*question.count);
        *question.count = 77;
        return 0;
    };
    config.readConfiguration();
    config.readConfiguration();
    EXPECT_EQ(counts, (std::vector<int>{1, 1, 1, 1}));
}

TEST_F(ConfigStore, OnlyTheResult0IsASuccess) {
    for (int const result : {-1, 1, 2, 255, 256, -2147483647}) {
        config.faxProtocol = VCOM_FAXTRANSPORT_UDP;
        config.rtpTickRequest = 5;
        answer = [result](Question const& question) {
            std::memcpy(question.destination, "tcp", question.type == CFG_TYPE_TEXT ? 4 : 1);
            return result;
        };
        config.readConfiguration();
        EXPECT_FALSE(config.faxProtocolSet) << result;
        EXPECT_EQ(config.faxProtocol, 1) << result;
        EXPECT_EQ(config.rtpTickRequest, 0U) << result;
    }
}

TEST_F(ConfigStore, TextThatFillsAll64BytesWithoutANulIsReadNoFurther) {
    fillText("tcp" + std::string(61, 'x'));
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 2);
    EXPECT_TRUE(config.faxProtocolSet);
    fillText(std::string(64, 'x'));
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 2);
    EXPECT_TRUE(config.faxProtocolSet);
}

TEST_F(ConfigStore, LastOf64BytesIsNoPartOfTheText) {
    fillText(std::string(61, 'x') + "tcp");
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 1);
    EXPECT_TRUE(config.faxProtocolSet);
    fillText(std::string(60, 'x') + "tcp" + "x");
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 2);
}

TEST_F(ConfigStore, TextEndsAtItsFirstNul) {
    fillText("x\0udp\0"s);
    config.faxProtocol = VCOM_FAXTRANSPORT_TCP;
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 2);
    EXPECT_TRUE(config.faxProtocolSet);
}

TEST_F(ConfigStore, SuccessWithoutATextKeepsTheTransport) {
    fillText("tcp\0"s);
    config.readConfiguration();
    config.faxProtocol = VCOM_FAXTRANSPORT_UDP;
    fillText("");
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 1);
    EXPECT_TRUE(config.faxProtocolSet);
}

TEST_F(ConfigStore, WordsOfAFailedReadAreNotLookedAt) {
    fillText("tcp\0"s, failure);
    config.readConfiguration();
    EXPECT_EQ(config.faxProtocol, 1);
    EXPECT_FALSE(config.faxProtocolSet);
}

TEST_F(ConfigStore, NoteworthyValueStartsAt0AtEveryReading) {
    std::vector<int> startedAt;
    noteworthyAnswer = [&](void* destination) {
        auto* const value = static_cast<unsigned char*>(destination);
        startedAt.push_back(*value);
        *value = 1;
        return true;
    };
    config.readConfiguration();
    EXPECT_TRUE(config.noteworthyFlag);
    config.readConfiguration();
    EXPECT_EQ(startedAt, (std::vector<int>{0, 0}));
    noteworthyAnswer = [](void*) { return true; };
    config.readConfiguration();
    EXPECT_FALSE(config.noteworthyFlag);
}

TEST_F(ConfigStore, ResultOfTheNoteworthyReadIsIgnored) {
    noteworthyAnswer = [](void* destination) {
        *static_cast<unsigned char*>(destination) = 1;
        return false;
    };
    config.readConfiguration();
    EXPECT_TRUE(config.noteworthyFlag);
}

} // namespace
