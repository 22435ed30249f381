#include "tests/conformance/Scene.h"

#include "collector/GC_GarbageCollector.h"
#include "imc/IMC_Observer.h"

#include <new>
#include <stdexcept>

// What the page's words for operations, events and wrong input stand for.

namespace conformance {

namespace {

using mctest::Access;
using mctest::direction;
using recording::platform;

unsigned char byte(int value) {
    return static_cast<unsigned char>(value);
}

/** The last line of an answer that holds something, without indentation. */
std::string lastLine(std::string const& answer) {
    std::string last;
    for (auto const& line : split(answer, "\n")) {
        auto const begin = line.find_first_not_of(std::string("\t\0", 2));
        if (begin != std::string::npos) {
            last = line.substr(begin);
        }
    }
    return last;
}

} // namespace

Scene::Steps Scene::operations() {
    using Operation = void (MC_Manager::*)(MC_Channel*);
    static std::map<std::string, Operation> const ofTheClient = {
        {"openChannel", &MC_Manager::openChannel},
        {"updateChannel", &MC_Manager::updateChannel},
        {"closeChannel", &MC_Manager::closeChannel},
        {"activateFax", &MC_Manager::activateFax},
        {"joinChannel", &MC_Manager::joinChannel},
        {"unjoinChannel", &MC_Manager::unjoinChannel},
        {"checkSilenceSuppressionMode", &MC_Manager::checkSilenceSuppressionMode}};
    Steps steps;
    for (auto const& entry : ofTheClient) {
        Operation const call = entry.second;
        steps[entry.first] = [call](Scene& s) { (s.manager->*call)(s.pTarget); };
    }
    for (auto const& command : mctest::allCommands()) {
        steps[command.name] = [command](Scene& s) { command.call(*s.manager, s.pTarget); };
    }
    steps["setMediaGateway"] = [](Scene& s) { s.setBoard(IPAddress("10.0.0.9")); };
    return steps;
}

Scene::Steps Scene::otherBoards() {
    return {
        {"setMediaGateway to no board", [](Scene& s) { s.setBoard(IPAddress("10.0.0.8")); }},
        {"setMediaGateway to a derived address",
         [](Scene& s) { s.setBoard(recording::DerivedAddress("10.0.0.9")); }},
        {"setMediaGateway to another family",
         [](Scene& s) { s.setBoard(recording::OtherAddress("fd00::9")); }},
        {"setMediaGateway to null",
         [](Scene& s) { s.manager->setMediaGateway(s.pTarget, nullptr); }},
    };
}

Scene::Steps Scene::guards() {
    return {
        {"findCheck",
         [](Scene& s) { s.note(Access::findCheck(*s.manager, s.pTarget) ? "true" : "false"); }},
        {"remove",
         [](Scene& s) { s.note(Access::remove(*s.manager, s.pTarget) ? "true" : "false"); }},
        {"channelCheck",
         [](Scene& s) { Access::channelCheck(*s.manager, s.pTarget, "channelCheck"); }},
        {"garbage", [](Scene& s) { Access::garbage(*s.manager, s.pTarget); }},
        {"getChannel",
         [](Scene& s) {
             auto const sid = static_cast<char>(0xFA);
             MC_Channel const* const pFound =
                 s.manager->getChannel(3, direction(s.ownDirection()), sid);
             s.note(pFound == s.pTarget ? "the record" : "another");
         }},
    };
}

Scene::Steps Scene::events() {
    return {
        {"FaxTone", [](Scene& s) { s.raise(123, 123, 1, {byte(s.event.dsp)}); }},
        {"Dtmf",
         [](Scene& s) {
             s.raise(114, 113, 4, {byte(s.event.dsp), byte(s.event.digit), 0, 80});
         }},
        {"Alert",
         [](Scene& s) {
             s.raise(110, 112, 8, {byte(s.event.dsp), 0, 0, 0, 0, 0, 0, 1});
         }},
        {"OpenVoiceAck", [](Scene& s) { s.acknowledge(101, 105); }},
        {"CloseVoiceAck", [](Scene& s) { s.acknowledge(103, 107); }},
        {"OpenFaxAck", [](Scene& s) { s.acknowledge(116, 120); }},
        {"CloseFaxAck", [](Scene& s) { s.acknowledge(118, 122); }},
        {"Configuration", [](Scene& s) { s.raise(600, 600, 0, {}); }},
        {"Timeout", [](Scene& s) { s.timeOut(); }},
    };
}

Scene::Steps Scene::stepsOfTheClient() {
    return {
        {"registration", [](Scene& s) { s.manager->registration(&s.client); }},
        {"registration of another", [](Scene& s) { s.manager->registration(&s.anotherClient); }},
        {"registration of null", [](Scene& s) { s.manager->registration(nullptr); }},
        {"unregistration", [](Scene& s) { s.manager->unregistration(&s.client); }},
        {"unregistration of another",
         [](Scene& s) { s.manager->unregistration(&s.anotherClient); }},
        {"unregistration of null", [](Scene& s) { s.manager->unregistration(nullptr); }},
        {"delete manager",
         [](Scene& s) {
             delete s.manager;
             s.manager = nullptr;
         }},
        {"instance",
         [](Scene& s) {
             MC_Manager* const existing = s.manager;
             s.manager = MC_Manager::instance();
             s.outcome = existing == nullptr || existing == s.manager ? "" : "another manager";
         }},
        {"release", [](Scene& s) { GC_GarbageCollector::instance()->dereference(&s.channel); }},
        {"open the other direction", [](Scene& s) { s.openOther(3 - s.ownDirection()); }},
        {"open another record", [](Scene& s) { s.openOther(s.ownDirection()); }},
        {"open another record in vain", [](Scene& s) { s.openOther(s.ownDirection(), 0); }},
        // Of a direction-out record no DSP reports a tone; the reaction takes one all the same.
        {"faxToneEvent",
         [](Scene& s) {
             s.manager->faxToneEvent(FaxToneEvent, direction(s.ownDirection()),
                                     MC_FaxTone(recording::message(123, 1, 0xFA, {3})));
         }},
        // The record has come from there already.
        {"factory", [](Scene&) {}},
        {"look", [](Scene&) {}},
    };
}

Scene::Steps Scene::wrongInput() {
    return {
        {"a null pointer", [](Scene& s) { s.pTarget = nullptr; }},
        {"no addresses",
         [](Scene& s) {
             for (UDPAddr* const pEnd : {&s.channel.rtpLocal, &s.channel.rtcpLocal,
                                         &s.channel.rtpRemote, &s.channel.rtcpRemote}) {
                 pEnd->Set(nullptr, 0);
             }
         }},
        {"rtpRemote of another family",
         [](Scene& s) {
             recording::OtherAddress const other("fd00::9");
             s.channel.rtpRemote.Set(&other, 6004);
         }},
        {"no joinIp",
         [](Scene& s) {
             delete s.channel.joinIp;
             s.channel.joinIp = nullptr;
         }},
        {"no service", [](Scene&) { platform().setUnserved(0xFA); }},
    };
}

Scene::Steps Scene::configuration() {
    static char const section[] = "/current//gw_priv";
    static char const key[] = "fax_proto";
    return {
        {"fax_proto tcp", [](Scene&) { platform().setConfiguration(section, key, "tcp"); }},
        {"no fax_proto", [](Scene&) { platform().removeConfiguration(section, key); }},
    };
}

template <class Exception>
void Scene::addThrowing(Steps& steps, std::string const& word, Exception const& exception) {
    steps["throw " + word] = [exception](Scene&) { throw exception; };
    steps["posts throw " + word] = [exception](Scene&) {
        platform().script.post = recording::throwing(exception);
    };
}

Scene::Steps const& Scene::steps() {
    static Steps const all = [] {
        Steps result;
        for (auto const& some : {operations(), otherBoards(), guards(), events(),
                                 stepsOfTheClient(), wrongInput(), configuration()}) {
            result.insert(some.begin(), some.end());
        }
        addThrowing(result, "runtime_error", std::runtime_error("thrown"));
        addThrowing(result, "invalid_argument", std::invalid_argument("thrown"));
        addThrowing(result, "bad_alloc", std::bad_alloc());
        addThrowing(result, "int", 7);
        return result;
    }();
    return all;
}

std::map<std::string, Scene::Setting> const& Scene::settings() {
    using S = Scene;
    static std::map<std::string, Setting> const all = {
        {"direction", [](S& s, int value) { s.channel.direction = direction(value); }},
        {"codec", [](S& s, int value) { s.channel.codec = value; }},
        {"minFraming",
         [](S& s, int value) { s.channel.minFraming = static_cast<VCOM_Framing>(value); }},
        {"maxFraming",
         [](S& s, int value) { s.channel.maxFraming = static_cast<VCOM_Framing>(value); }},
        {"faxTransport",
         [](S& s, int value) { s.channel.faxTransport = static_cast<VCOM_FaxTransport>(value); }},
        {"state", [](S& s, int value) { s.channel.state = static_cast<MC_Channel::State>(value); }},
        {"vad", [](S& s, int value) { s.channel.vad = value != 0; }},
        {"vad of the other", [](S& s, int value) { s.pOther->vad = value != 0; }},
        {"faxDetection", [](S& s, int value) { s.channel.faxDetection = value != 0; }},
        {"channelMode", [](S& s, int value) { s.channel.channelMode = value; }},
        {"digits", [](S& s, int value) { s.channel.rtpDtmfPayloadType = byte(value); }},
        {"sendNoSignal", [](S& s, int value) { s.channel.sendNoSignal = byte(value); }},
        {"noteworthy", [](S&, int value) { platform().setNoteworthyValue(5, {byte(value)}); }},
        {"dsp", [](S& s, int value) { s.channel.dsp = byte(value); }},
        {"event dsp", [](S& s, int value) { s.event.dsp = value; }},
        {"event board", [](S& s, int value) { s.event.board = value; }},
        {"error", [](S& s, int value) { s.event.error = value; }},
        {"port", [](S& s, int value) { s.event.port = value; }},
        {"digit", [](S& s, int value) { s.event.digit = value; }},
        {"length", [](S& s, int value) { s.event.length = value; }},
        {"message",
         [](S& s, int value) {
             auto const messageId = static_cast<std::uint32_t>(value);
             s.raise(messageId, messageId, 4, {3, 0, 0, 0});
         }},
    };
    return all;
}

Texts Scene::subjects() {
    Texts names;
    for (auto const& some : {operations(), guards(), events()}) {
        for (auto const& entry : some) {
            names.push_back(entry.first);
        }
    }
    return names;
}

Texts Scene::words() {
    Texts names;
    for (auto const& entry : steps()) {
        names.push_back(entry.first);
    }
    for (auto const& entry : settings()) {
        names.push_back(entry.first);
    }
    return names;
}

void Scene::setBoard(INetAddress const& address) {
    manager->setMediaGateway(pTarget, &address);
}

void Scene::openOther(int otherDirection, int codec) {
    pOther = &newChannel(otherDirection);
    pOther->identifier = 0x30;
    pOther->codec = codec;
    otherBefore = pictureOf(*pOther);
    ++records;
    manager->openChannel(pOther);
}

void Scene::raise(std::uint32_t messageIdIn, std::uint32_t messageIdOut, std::uint16_t length,
                  std::initializer_list<unsigned char> payload) {
    auto const sentLength = event.length < 0 ? length : static_cast<std::uint16_t>(event.length);
    auto const receivers = platform().deliver(recording::message(
        ownDirection() == 1 ? messageIdIn : messageIdOut, sentLength, byte(event.board), payload));
    EXPECT_LE(receivers, 1U);
    if (receivers == 0) {
        outcome = "not received";
    }
}

void Scene::acknowledge(std::uint32_t messageIdIn, std::uint32_t messageIdOut) {
    raise(messageIdIn, messageIdOut, 4,
          {byte(event.dsp), byte(event.error), byte(event.port >> 8), byte(event.port & 0xFF)});
}

void Scene::timeOut() {
    int called = 0;
    for (auto const& registration : platform().registered()) {
        if (registration.observer != nullptr) {
            registration.observer->timeoutEvent(1);
            ++called;
        }
    }
    if (called != 14) {
        outcome = called == 0 ? "not received" : "received by " + std::to_string(called);
    }
}

void Scene::type(std::string const& line) {
    Texts const answers = platform().typeCommand(line);
    if (answers.empty()) {
        outcome = "not received";
        return;
    }
    std::string const text = joined(answers, "");
    bool const isShown = text.find("MC_Channel 2F\n") != std::string::npos ||
                         text.find(": 2F\n") != std::string::npos;
    // The list of all ends with the total; behind a single record stands nothing.
    std::string const last = lastLine(answers.back());
    std::string const shown = isShown ? "the record" : "";
    outcome = "answers " + shown + (isShown && !last.empty() ? ", " : "") + last;
}

} // namespace conformance
