#include "gateway/FaultRule.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using gateway::FaultRule;
using gateway::parseFaultRule;
using gateway::Traffic;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Action = FaultRule::Action;

std::string faultOf(std::string const& text) {
    try {
        parseFaultRule(text);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    ADD_FAILURE() << text << " was taken";
    return "";
}

TEST(FaultRule, HasAnActionMessagesAndHowOften) {
    FaultRule const rule = parseFaultRule("drop:open:every=10");
    EXPECT_EQ(rule.text, "drop:open:every=10");
    EXPECT_EQ(rule.action, Action::drop);
    EXPECT_EQ(rule.traffic, Traffic::command);
    EXPECT_THAT(rule.names, ElementsAre("OpenVoice", "OpenFax"));
    EXPECT_EQ(rule.every, 10U);
    EXPECT_EQ(rule.after, 0U);
    EXPECT_EQ(rule.percent, 100U);
    EXPECT_FALSE(rule.count || rule.sid || rule.dsp);
    EXPECT_EQ(rule.direction, "");
}

TEST(FaultRule, IsForAllCommandsUnlessItSaysMore) {
    FaultRule const rule = parseFaultRule("drop");
    EXPECT_EQ(rule.traffic, Traffic::command);
    EXPECT_THAT(rule.names, IsEmpty());
    EXPECT_EQ(parseFaultRule("drop:every=2").every, 2U);
    EXPECT_EQ(parseFaultRule("drop:event").traffic, Traffic::event);
}

TEST(FaultRule, TakesEveryKey) {
    FaultRule const rule = parseFaultRule("delay:ack:ms=500:sid=0xFA:dsp=3:direction=in:after=4:"
                                          "every=3:count=2:percent=50:seed=9");
    EXPECT_EQ(rule.action, Action::delay);
    EXPECT_EQ(rule.traffic, Traffic::event);
    EXPECT_THAT(rule.names,
                ElementsAre("OpenVoiceAck", "CloseVoiceAck", "OpenFaxAck", "CloseFaxAck"));
    EXPECT_EQ(rule.delay, std::chrono::milliseconds(500));
    EXPECT_EQ(rule.sid, 0xFAU);
    EXPECT_EQ(rule.dsp, 3U);
    EXPECT_EQ(rule.direction, "in");
    EXPECT_EQ(rule.after, 4U);
    EXPECT_EQ(rule.every, 3U);
    EXPECT_EQ(rule.count, 2U);
    EXPECT_EQ(rule.percent, 50U);
    EXPECT_EQ(rule.seed, 9U);
}

TEST(FaultRule, TakesAValueWhereTheActionHasOne) {
    EXPECT_EQ(parseFaultRule("length:ack=20").value, 20U);
    EXPECT_EQ(parseFaultRule("length:command=65535").value, 65535U);
    EXPECT_EQ(parseFaultRule("error:open=5:count=1").value, 5U);
    EXPECT_EQ(parseFaultRule("error:CloseFax=255").value, 255U);
}

TEST(FaultRule, ARestartHappensOnceUnlessItSaysMore) {
    EXPECT_EQ(parseFaultRule("restart:after=100").count, 1U);
    EXPECT_EQ(parseFaultRule("restart:open:after=100:count=3").count, 3U);
}

TEST(FaultRule, NamesASingleMessage) {
    for (std::string const name : {"OpenVoice", "CloseVoice", "OpenFax", "CloseFax"}) {
        EXPECT_THAT(parseFaultRule("drop:" + name).names, ElementsAre(name));
        EXPECT_THAT(parseFaultRule("drop:" + name + "Ack").names, ElementsAre(name + "Ack"));
        EXPECT_EQ(parseFaultRule("drop:" + name + "Ack").traffic, Traffic::event);
    }
    EXPECT_THAT(parseFaultRule("drop:set").names, ElementsAre("SetParameter"));
    EXPECT_THAT(parseFaultRule("drop:dtmf").names, ElementsAre("Dtmf"));
}

TEST(FaultRule, NamesAuditsAndOrders) {
    EXPECT_EQ(parseFaultRule("drop:audit").traffic, Traffic::audit);
    EXPECT_THAT(parseFaultRule("drop:audit").names, testing::IsEmpty());
    EXPECT_THAT(parseFaultRule("drop:AuditRequest").names, ElementsAre("AuditRequest"));
    EXPECT_EQ(parseFaultRule("drop:AuditAnswer").traffic, Traffic::audit);
    EXPECT_EQ(parseFaultRule("delay:order:ms=5").traffic, Traffic::order);
    EXPECT_THAT(faultOf("error:audit=2"), HasSubstr("answers an open or a close command"));
    EXPECT_THAT(faultOf("restart:audit"), HasSubstr("restarts at a command"));
    EXPECT_THAT(faultOf("restart:order"), HasSubstr("restarts at a command"));
}

TEST(FaultRule, SaysWhatIsWrongAndWhatCouldStandThere) {
    EXPECT_EQ(faultOf("dorp:open"),
              "bad fault \"dorp:open\": unknown action \"dorp\": expected one of drop, delay, "
              "duplicate, length, error, restart");
    EXPECT_THAT(faultOf("drop:opne"), HasSubstr("unknown messages or key \"opne\": expected one of "
                                                "command, open, update, close"));
    EXPECT_THAT(faultOf("drop:open:evry=3"),
                HasSubstr("unknown key \"evry\": expected one of sid, dsp, after, every, count, "
                          "percent, seed, ms, direction"));
    EXPECT_THAT(faultOf("drop:open:open"), HasSubstr("unknown key \"open\""));
    EXPECT_THAT(faultOf("drop:open:direction=up"), HasSubstr("direction is in or out"));
}

TEST(FaultRule, RefusesNumbersOutsideTheirRange) {
    for (std::string const bad : {"every=0", "every=", "every", "every=x", "every=3x", "every=-1",
                                  "every=99999999999999999999", "count=0", "percent=0",
                                  "percent=101", "sid=256", "dsp=256", "ms=3600001"}) {
        EXPECT_THAT(faultOf("drop:open:" + bad), HasSubstr(" is a number from ")) << bad;
    }
}

TEST(FaultRule, RefusesWhatDoesNotBelongTogether) {
    EXPECT_THAT(faultOf(""), HasSubstr("unknown action \"\""));
    EXPECT_THAT(faultOf("drop=3"), HasSubstr("unknown action \"drop\""));
    EXPECT_THAT(faultOf("drop:open=3"), HasSubstr("have no value"));
    EXPECT_THAT(faultOf("length:ack"), HasSubstr("the value is missing"));
    EXPECT_THAT(faultOf("length"), HasSubstr("the value is missing"));
    EXPECT_THAT(faultOf("length:ack=65536"), HasSubstr("ack is a number from 0 to 65535"));
    EXPECT_THAT(faultOf("error:open=0"), HasSubstr("open is a number from 1 to 255"));
    EXPECT_THAT(faultOf("error:update=2"), HasSubstr("answers an open or a close command"));
    EXPECT_THAT(faultOf("error:command=2"), HasSubstr("answers an open or a close command"));
    EXPECT_THAT(faultOf("error:OpenVoiceAck=2"), HasSubstr("answers an open or a close command"));
    EXPECT_THAT(faultOf("delay:ack"), HasSubstr("delay needs it"));
    EXPECT_THAT(faultOf("drop:ack:ms=3"), HasSubstr("ms belongs to delay"));
    EXPECT_THAT(faultOf("restart:ack"), HasSubstr("restarts at a command"));
}

/** What stands behind each occurrence of `begin` up to the next blank. */
std::vector<std::string> wordsBehind(std::string const& begin, std::string const& text) {
    std::vector<std::string> words;
    for (auto at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
        at += begin.size();
        words.push_back(text.substr(at, text.find_first_of(" \n`", at) - at));
    }
    return words;
}

TEST(FaultRule, TheExamplesOfThePageAndOfTheHelpAreGood) {
    std::ifstream file(BUS_PAGE);
    std::string const page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<std::string> const ofPage = wordsBehind("mcgw dsp --fault ", page);
    std::string const help = gateway::faultRuleHelp;
    EXPECT_GE(ofPage.size(), 7U);
    for (std::string const& example : ofPage) {
        if (example != "RULE") {
            EXPECT_NO_THROW(parseFaultRule(example)) << example;
            EXPECT_THAT(help, HasSubstr("\n  " + example + " "));
        }
    }
}

} // namespace
