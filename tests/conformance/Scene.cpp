#include "tests/conformance/Scene.h"

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

/** The text behind what it must begin with; all of it when it does not. */
std::string behind(std::string const& beginning, std::string const& text) {
    return text.compare(0, beginning.size(), beginning) == 0 ? text.substr(beginning.size()) : text;
}

std::string logText() {
    Texts lines;
    for (auto const& call : platform().logCalls()) {
        std::string line = std::to_string(call.line);
        if (call.isError) {
            line.insert(0, "error ");
            line += " " + shown(behind("MC - ", call.text));
            line += call.detail.empty() ? "" : ": " + shown(call.detail);
        } else if (call.file == observersSource) {
            line += " " + shown(behind("MC - OBS - ", call.text));
        }
        bool const isKnown = call.file == observersSource || call.file == mctest::source;
        lines.push_back(isKnown ? line : call.file + ":" + line);
    }
    return joined(lines, " ");
}

} // namespace

void Listener::hear(MC_Channel const* pChannel, std::string const& callback,
                    std::string const& values) {
    bool const isOther = pChannel != nullptr && pChannel != pUsual;
    heard.push_back(prefix + callback + values + (isOther ? " of the other" : ""));
    auto const once = std::move(reaction);
    reaction = nullptr;
    if (once) {
        once();
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
      client(""),
      anotherClient("another: ") {
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
    if (step.compare(0, 3, "MC ") == 0) {
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
    client.heard.clear();
    anotherClient.heard.clear();
    outcome.clear();
    before = picture();
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
        {"ackErrorEvent", "error 3 then port 0 then OpenFaxAck"}};
    std::string const callback = GetParam().inside;
    client.reaction = [this, callback] {
        EXPECT_EQ(client.heard.back().compare(0, callback.size(), callback), 0);
        event = Event();
        startObserving();
        perform(GetParam().action);
    };
    perform(causes.at(callback));
    EXPECT_FALSE(client.reaction) << "the client was not called";
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
    MC_Manager* const built = MC_Manager::instance();
    EXPECT_TRUE(hasActed);
    EXPECT_EQ(built, manager) << "a second manager was built";
    EXPECT_EQ(platform().registered().size(), 17U);
}

// What came of it

bool Scene::isDestroyed() const {
    return platform().liveObjects() < records;
}

std::string Scene::standing(MC_Channel const& record) const {
    std::string text = record.state < MC_Channel::stateToStrMAX
                           ? MC_Channel::stateToStr[record.state]
                           : "state " + std::to_string(record.state);
    text += record.voiceOpen ? ", voice" : "";
    text += record.faxOpen ? ", fax" : "";
    std::uint32_t listings = 0;
    if (Access::existing() != nullptr) {
        for (MC_Channel const* const pListed : Access::channels(*Access::existing())) {
            listings += pListed == &record ? 1U : 0U;
        }
    }
    static char const* const words[] = {", not listed", ", listed", ", listed twice"};
    text += words[listings];
    if (record.referenceCount != 1 + listings) {
        text += ", " + std::to_string(record.referenceCount) +
                (record.referenceCount == 1 ? " reference" : " references");
    }
    return text;
}

Scene::Picture Scene::picture() const {
    if (isDestroyed()) {
        Picture gone = before;
        gone.standing = "destroyed";
        return gone;
    }
    char board[3];
    std::snprintf(board, sizeof board, "%02X", static_cast<unsigned>(channel.sid));
    std::string const address =
        channel.mediaGateway == nullptr ? "none" : std::string(*channel.mediaGateway);
    std::string const ports = std::to_string(channel.rtpLocal.GetPort()) + " and " +
                              std::to_string(channel.rtcpLocal.GetPort());
    return {channel.dsp,
            channel.sid,
            standing(channel),
            address + " at " + board,
            ports,
            channel.vad ? "on" : "off",
            pOther == nullptr ? "" : standing(*pOther)};
}

std::string Scene::recordText() const {
    Picture const now = picture();
    std::string text = now.standing;
    text += now.board == before.board ? "" : ", board " + now.board;
    text += now.ports == before.ports ? "" : ", ports " + now.ports;
    text += now.silence == before.silence ? "" : ", silence suppression " + now.silence;
    text += now.other == before.other ? "" : ", the other " + now.other;
    return text;
}

std::string Scene::postsText() const {
    Texts posts = mctest::commands();
    for (std::size_t i = 0; i < posts.size(); ++i) {
        imc_msg const& message = platform().posted()[i];
        if (message.payload[0] != before.dsp || message.destinationSid != before.sid) {
            posts[i] += " elsewhere";
        }
    }
    return joined(posts, " ");
}

std::string Scene::observed(bool withRecord) {
    Texts heard = client.heard;
    heard.insert(heard.end(), anotherClient.heard.begin(), anotherClient.heard.end());
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
    if (behind(asBefore, record) != record) {
        record = before.standing + behind(asBefore, record);
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
