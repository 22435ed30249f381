#include "tests/conformance/Scene.h"

#include "imc/IMC_Manager.h"

#include <sstream>
#include <typeinfo>
#include <utility>

namespace conformance {

namespace {

using mctest::Access;
using recording::platform;

char const asBefore[] = "as before";
char const observersSource[] = "framework/lib/MC_API/MC_ImcObserver";

/** The characters that a page can't show, by their names. */
std::string shown(std::string const& text) {
    static std::map<char, std::string> const names = {{'\n', "\\n"}, {'\t', "\\t"}, {'\0', "\\0"}};
    std::string result;
    for (char const character : text) {
        auto const name = names.find(character);
        result += name == names.end() ? std::string(1, character) : name->second;
    }
    return result;
}

bool startsWith(std::string const& text, std::string const& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

/** The text of an error or a trace, behind the prefix that it must have. */
std::string logged(recording::LogCall const& call) {
    std::string const prefix = call.isError ? "MC - " : "MC - OBS - ";
    if (!startsWith(call.text, prefix)) {
        return "without prefix: " + call.text;
    }
    // Of the manager's traces the number is enough.
    bool const isTold = call.isError || call.file == observersSource;
    return isTold ? call.text.substr(prefix.size()) : "";
}

std::string lineOf(recording::LogCall const& call) {
    bool const isKnown = call.file == observersSource || call.file == mctest::source;
    std::string const text = logged(call);
    return (call.log == pMClog ? "" : "another log: ") + (isKnown ? "" : call.file + ":") +
           (call.isError ? "error " : "") + std::to_string(call.line) +
           (text.empty() ? "" : " " + shown(text)) +
           (call.detail.empty() ? "" : ": " + shown(call.detail));
}

std::string logText() {
    Texts lines;
    for (auto const& call : platform().logCalls()) {
        lines.push_back(lineOf(call));
    }
    return joined(lines, " ");
}

/** Codec or fax protocol of a command that opens a path, where it is not the usual one. */
std::string unusualSort(imc_msg const& message) {
    static std::map<std::uint32_t, unsigned> const usual = {
        {100, 0}, {104, 0}, {115, 17}, {119, 17}};
    auto const found = usual.find(message.messageId);
    unsigned const sort = message.payload[1];
    return found == usual.end() || sort == found->second ? "" : ":" + std::to_string(sort);
}

std::string textOf(INetAddress const* pAddress) {
    return pAddress == nullptr ? "none" : std::string(*pAddress);
}

std::string timesListed(std::size_t listings) {
    static char const* const words[] = {"not listed", "listed", "listed twice"};
    return listings < 3 ? words[listings] : "listed " + std::to_string(listings) + " times";
}

/** What no operation and no event changes in a record. */
std::string constantPart(MC_Channel const& record) {
    std::ostringstream text;
    text << record.getIdentifier() << ' ' << record.channelMode << ' ' << record.direction << ' '
         << record.faxDetection << ' ' << record.sendCed << ' ' << int(record.sendNoSignal) << ' '
         << record.calledSide << ' ' << record.minFraming << ' ' << record.maxFraming << ' '
         << int(record.dsp) << ' ' << record.codec << ' ' << textOf(record.joinIp) << ' '
         << int(record.joinDsp) << ' ' << record.faxRedundancy << ' ' << record.faxDepth << ' '
         << record.faxTransport << ' ' << int(record.rtpDtmfPayloadType) << ' '
         << int(record.rtpRedundancyPayloadType) << ' ' << int(record.inboundVoiceParam1) << ' '
         << int(record.inboundVoiceParam2) << ' ' << record.rtpRemote.GetPort() << ' '
         << record.rtcpRemote.GetPort();
    for (UDPAddr const* const pEnd :
         {&record.rtpLocal, &record.rtcpLocal, &record.rtpRemote, &record.rtcpRemote}) {
        text << ' ' << textOf(pEnd->GetINetAddress());
    }
    return text.str();
}

} // namespace

void Listener::hear(MC_Channel* pChannel, std::string const& callback, std::string const& values) {
    bool const isOther = pChannel != nullptr && pChannel != pUsual;
    heard.push_back(prefix + callback + values + (isOther ? " of the other" : ""));
    auto const once = std::move(reaction);
    reaction = nullptr;
    if (once) {
        once(pChannel);
    }
}

void Listener::faxToneEvent(MC_Channel* pChannel, MC_FaxTone const&) {
    hear(pChannel, "faxToneEvent", "");
}

void Listener::ackEvent(MC_Channel* pChannel, MC_Acknowledge const& ack) {
    hear(pChannel, "ackEvent",
         "(error " + std::to_string(ack.error) + ", port " + std::to_string(ack.localPort) + ")");
}

void Listener::dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) {
    hear(pChannel, "dtmfEvent",
         "(digit " + std::to_string(dtmf.digit) + ", " + std::to_string(dtmf.duration) + " ms)");
}

void Listener::ackErrorEvent(MC_Channel* pChannel, MC_AckError const&) {
    hear(pChannel, "ackErrorEvent", pChannel == nullptr ? "(null)" : "");
}

Scene::Scene()
    : channel(newChannel(ownDirection())),
      pTarget(&channel),
      client("", heard),
      anotherClient("another: ", heard) {
    channel.joinIp = IPAddress("10.3.0.1").Clone();
    client.pUsual = &channel;
    anotherClient.pUsual = &channel;
    manager->registration(&client);
    platform().setLogLevel(3);
    platform().setBoard("10.0.0.9", 0x33);
    platform().setInterface("voicelan", "10.0.0.7");
    platform().setSid("10.0.0.7", 0x22);
    // A cell in which the process must not end fails, and the other cells go on.
    platform().script.coreDumpExit = [this](int) { hasEnded = true; };
}

void Scene::TearDown() {
    if (isDestroyed()) {
        disown(channel);
    }
    ManagerTest::TearDown();
}

// What a cell does

void Scene::performStep(std::string const& step) {
    auto const found = steps().find(step);
    if (found != steps().end()) {
        found->second(*this);
        return;
    }
    std::string const first = split(step, " ")[0];
    if (first == "MC" || first == "help" || first == IMC_Manager::prepExitCmd) {
        type(step);
        return;
    }
    auto const blank = step.rfind(' ');
    auto const setting = settings().find(step.substr(0, blank));
    if (blank == std::string::npos || setting == settings().end()) {
        ADD_FAILURE() << "the page names what the tests don't know: " << step;
        return;
    }
    setting->second(*this, std::stoi(step.substr(blank + 1)));
}

void Scene::perform(std::string const& text) {
    for (auto const& step : split(text, " then ")) {
        performStep(step);
    }
}

void Scene::performEarlier(std::string const& text) {
    for (auto const& step : split(text, " then ")) {
        try {
            performStep(step);
        } catch (std::exception const&) {
            // Such as the refused opening that leaves a listed record.
        }
    }
}

void Scene::prepare() {
    performEarlier(page().states.at(GetParam().state).reachedBy);
    if (!GetParam().given.empty()) {
        performEarlier(GetParam().given);
    }
    startObserving();
}

void Scene::startObserving() {
    platform().clearRecords();
    heard.clear();
    outcome.clear();
    dspBefore = channel.dsp;
    sidBefore = channel.sid;
    before = pictureOf(channel);
    if (pOther != nullptr) {
        otherBefore = pictureOf(*pOther);
    }
}

void Scene::act() {
    try {
        if (GetParam().inside.empty()) {
            perform(GetParam().action);
        } else {
            actInside();
        }
    } catch (std::runtime_error const& e) {
        outcome = "runtime_error " + shown(recording::fullText(e));
    } catch (std::invalid_argument const& e) {
        outcome = "invalid_argument " + shown(recording::fullText(e));
    } catch (std::bad_typeid const&) {
        outcome = "bad_typeid";
    }
}

void Scene::actInside() {
    Texts const words = split(GetParam().inside, " ");
    if (words[0] == "instance") {
        actInConstruction("122");
    } else if (words[0] == "instance's") {
        actInConstruction("help");
    } else if (words.size() == 2) {
        actInCommand(words[0], words[1]);
    } else {
        actInCallback();
    }
}

void Scene::actInCallback() {
    // What leads to each callback: a refused fax path is what a client hears of as an error.
    static std::map<std::string, std::string> const causes = {
        {"faxToneEvent", "FaxTone"},
        {"dtmfEvent", "Dtmf"},
        {"ackEvent", "OpenVoiceAck"},
        {"ackErrorEvent", "error 3 then port 0 then OpenFaxAck"},
        {"ackErrorEvent(null)", "event dsp 4 then OpenVoiceAck"}};
    client.reaction = [this](MC_Channel* pChannel) { react(pChannel); };
    perform(causes.at(GetParam().inside));
    EXPECT_FALSE(client.reaction) << "the client was not called";
}

void Scene::react(MC_Channel* pChannel) {
    std::string const callback = heard.back();
    pTarget = pChannel;
    event = Event();
    startObserving();
    if (startsWith(callback, GetParam().inside)) {
        perform(GetParam().action);
    } else {
        outcome = "inside " + callback;
    }
}

void Scene::actInCommand(std::string const& operation, std::string const& command) {
    platform().script.post = [this, command](imc_msg const& message) {
        std::uint32_t const messageId = message.messageId;
        if (command == std::to_string(messageId)) {
            platform().script.post = nullptr;
            perform(GetParam().action);
        }
    };
    perform(operation);
    EXPECT_FALSE(platform().script.post) << "the command was not posted";
}

void Scene::actInConstruction(std::string const& lastRegistration) {
    performStep("delete manager");
    bool hasActed = false;
    platform().script.registration = [&](std::string const& subject) {
        if (subject == lastRegistration && !hasActed) {
            hasActed = true;
            manager = MC_Manager::instance();
            startObserving();
            perform(GetParam().action);
        }
    };
    MC_Manager* built = nullptr;
    try {
        built = MC_Manager::instance();
    } catch (...) {
        EXPECT_TRUE(platform().registered().empty());
        throw;
    }
    EXPECT_TRUE(hasActed);
    EXPECT_EQ(built, manager) << "a second manager was built";
    EXPECT_EQ(platform().registered().size(), 17U);
}

// What came of it

bool Scene::isDestroyed() const {
    return platform().liveObjects() < records;
}

std::string Scene::standing(MC_Channel const& record) {
    bool const isNamed = record.state >= 0 && record.state < MC_Channel::stateToStrMAX;
    std::string text =
        isNamed ? MC_Channel::stateToStr[record.state] : "state " + std::to_string(record.state);
    text += record.voiceOpen ? ", voice" : "";
    text += record.faxOpen ? ", fax" : "";
    std::uint32_t listings = 0;
    if (Access::existing() != nullptr) {
        for (MC_Channel const* const pListed : Access::channels(*Access::existing())) {
            listings += pListed == &record ? 1U : 0U;
        }
    }
    text += ", " + timesListed(listings);
    if (record.referenceCount != 1 + listings) {
        text += ", " + std::to_string(record.referenceCount) +
                (record.referenceCount == 1 ? " reference" : " references");
    }
    return text;
}

Scene::Picture Scene::pictureOf(MC_Channel const& record) const {
    char board[3];
    std::snprintf(board, sizeof board, "%02X", static_cast<unsigned>(record.sid));
    std::string const ports = std::to_string(record.rtpLocal.GetPort()) + " and " +
                              std::to_string(record.rtcpLocal.GetPort());
    return {standing(record), textOf(record.mediaGateway) + " at " + board, ports,
            record.vad ? "on" : "off", constantPart(record)};
}

std::string Scene::changes(Picture const& before, Picture const& now) {
    std::string text;
    text += now.board == before.board ? "" : ", board " + now.board;
    text += now.ports == before.ports ? "" : ", ports " + now.ports;
    text += now.silence == before.silence ? "" : ", silence suppression " + now.silence;
    text += now.rest == before.rest ? "" : ", otherwise changed";
    return text;
}

std::string Scene::recordText() const {
    if (isDestroyed()) {
        return "destroyed" + otherText();
    }
    Picture const now = pictureOf(channel);
    return now.standing + changes(before, now) + otherText();
}

std::string Scene::otherText() const {
    if (pOther == nullptr) {
        return "";
    }
    Picture const now = pictureOf(*pOther);
    std::string const text = now.standing + changes(otherBefore, now);
    return text == otherBefore.standing ? "" : ", the other " + text;
}

std::string Scene::postsText() const {
    Texts posts = mctest::commands();
    for (std::size_t i = 0; i < posts.size(); ++i) {
        imc_msg const& message = platform().posted()[i];
        posts[i] += unusualSort(message);
        if (message.payload[0] != dspBefore || message.destinationSid != sidBefore) {
            posts[i] += " elsewhere";
        }
    }
    return joined(posts, " ");
}

std::string Scene::observed(bool withRecord) {
    if (hasEnded) {
        outcome = "ends";
    }
    std::string const record = withRecord && pTarget != nullptr ? recordText() : "";
    return "posts: " + postsText() + "\nclient: " + joined(heard, ", ") + "\nrecord: " + record +
           "\nlog: " + logText() + "\noutcome: " + outcome + "\n";
}

std::string Scene::expected() const {
    Cell const& cell = GetParam();
    std::string record = cell.expected("Record afterwards");
    if (startsWith(record, asBefore)) {
        record.replace(0, sizeof asBefore - 1, before.standing);
    }
    return "posts: " + cell.expected("Posts") + "\nclient: " + cell.expected("Client hears") +
           "\nrecord: " + record + "\nlog: " + cell.expected("Log") +
           "\noutcome: " + cell.expected("Outcome") + "\n";
}

void Scene::reportEnd(std::string const& how) {
    outcome = how;
    std::fputs(observed(false).c_str(), stderr);
    std::abort();
}

} // namespace conformance
