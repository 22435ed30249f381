#include "imc/IMC_CommandObserver.h"
#include "imc/IMC_Manager.h"
#include "imc/IMC_Observer.h"
#include "tests/support/State.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

using recording::enter;
using recording::Kind;
using recording::platform;
using recording::play;
using recording::Registration;
using recording::state;

namespace {

/** The constructor of the service is for platforms only. */
class Manager : public IMC_Manager {};

std::string hexadecimal(unsigned char sid) {
    char text[3];
    std::snprintf(text, sizeof text, "%02x", static_cast<unsigned int>(sid));
    return text;
}

bool isSame(Registration const& left, Registration const& right) {
    return left.observer == right.observer && left.commandObserver == right.commandObserver &&
           left.messageId == right.messageId && left.word == right.word;
}

std::vector<Registration>::iterator find(Registration const& wanted) {
    auto& registered = state().settings.registered;
    return std::find_if(registered.begin(), registered.end(),
                        [&](Registration const& other) { return isSame(wanted, other); });
}

bool isRegistered(Registration const& registration) {
    return find(registration) != state().settings.registered.end();
}

/** What the registration is for, as a person reads it. */
std::string subject(Registration const& registration) {
    return registration.observer != nullptr || registration.word.empty()
               ? std::to_string(registration.messageId)
               : registration.word;
}

void enroll(Registration const& registration, bool isValid) {
    state().notes.registrations.push_back(registration);
    enter(Kind::registrations, "registration " + subject(registration));
    if (!isValid) {
        throw std::runtime_error("registration of no observer or for no word");
    }
    if (isRegistered(registration)) {
        throw std::runtime_error("already registered: " + subject(registration));
    }
    state().settings.registered.push_back(registration);
    play(platform().script.registration, subject(registration));
}

void withdraw(Registration const& registration) {
    state().notes.registrations.push_back(registration);
    state().notes.registrations.back().isRegistration = false;
    enter(Kind::registrations, "unregistration " + subject(registration));
    play(platform().script.unregistration, subject(registration));
    if (!isRegistered(registration)) {
        throw std::runtime_error("not registered: " + subject(registration));
    }
    state().settings.registered.erase(find(registration));
}

Registration forMessage(IMC_Observer* observer, long messageId) {
    return Registration{observer, nullptr, messageId, "", true};
}

Registration forCommand(IMC_CommandObserver* observer, std::string const& word) {
    return Registration{nullptr, observer, 0, word, true};
}

/**
 * Calls `deliver` for the registrations that `isMeant` accepts now. One that is ended meanwhile
 * is passed over.
 */
template <typename Condition, typename Delivery>
std::size_t forEachRegistered(Condition isMeant, Delivery deliver) {
    std::size_t called = 0;
    auto const before = state().settings.registered;
    for (auto const& registration : before) {
        if (isMeant(registration) && isRegistered(registration)) {
            ++called;
            deliver(registration);
        }
    }
    return called;
}

} // namespace

std::string const IMC_Manager::prepExitCmd = "PrepareExit";

IMC_Manager::IMC_Manager() = default;
IMC_Manager::~IMC_Manager() = default;

IMC_Observer::~IMC_Observer() = default;
IMC_CommandObserver::~IMC_CommandObserver() = default;

IMC_Manager* IMC_Manager::instance(unsigned char sid) {
    static Manager& manager = *new Manager;
    state().notes.instanceQuestions.push_back(sid);
    enter(Kind::instances, "IMC_Manager::instance(0x" + hexadecimal(sid) + ")");
    return &manager;
}

void IMC_Manager::coreDumpExit(int cause) {
    state().notes.exits.push_back(cause);
    enter(Kind::exits, "coreDumpExit(" + std::to_string(cause) + ")");
    if (platform().script.coreDumpExit) {
        play(platform().script.coreDumpExit, cause);
        return;
    }
    std::fprintf(stderr, "coreDumpExit(%d)\n", cause);
    std::abort();
}

void IMC_Manager::registration(IMC_Observer* observer, long messageId) {
    enroll(forMessage(observer, messageId), observer != nullptr);
}

void IMC_Manager::unregistration(IMC_Observer* observer, long messageId) {
    withdraw(forMessage(observer, messageId));
}

void IMC_Manager::registration(IMC_CommandObserver* observer, std::string const& word) {
    enroll(forCommand(observer, word), observer != nullptr && !word.empty());
}

void IMC_Manager::unregistration(IMC_CommandObserver* observer, std::string const& word) {
    withdraw(forCommand(observer, word));
}

void IMC_Manager::post(imc_msg const& message) {
    std::uint32_t const messageId = message.messageId;
    enter(Kind::posts, "post " + std::to_string(messageId));
    if (state().settings.unservedSids.count(message.destinationSid) > 0) {
        throw std::runtime_error("nobody serves " + getStringSid(message.destinationSid));
    }
    state().notes.posted.push_back(message);
    play(platform().script.post, message);
}

void IMC_Manager::answerCommand(std::string const& text) {
    state().notes.answers.push_back(text);
    enter(Kind::answers, "answer " + text);
    play(platform().script.answerCommand, text);
}

unsigned char IMC_Manager::getSid(int family, IPAddress const& address) {
    std::string const text = address;
    state().notes.sidQuestions.push_back({family, text});
    enter(Kind::sids, "getSid(" + std::to_string(family) + ", " + text + ")");
    if (platform().script.getSid) {
        return platform().script.getSid(family, address);
    }
    auto const& sids = state().settings.sids;
    auto const found = sids.find(text);
    return found == sids.end() ? recording::Platform::unknownSid : found->second;
}

std::string IMC_Manager::getStringSid(unsigned char sid) const {
    enter(Kind::sidTexts, "getStringSid(" + hexadecimal(sid) + ")");
    return "sid(" + hexadecimal(sid) + ")";
}

namespace recording {

unsigned char const Platform::unknownSid;

std::vector<imc_msg> const& Platform::posted() const {
    return state().notes.posted;
}

std::vector<Registration> const& Platform::registrations() const {
    return state().notes.registrations;
}

std::vector<Registration> const& Platform::registered() const {
    return state().settings.registered;
}

std::vector<std::string> const& Platform::answers() const {
    return state().notes.answers;
}

std::vector<int> const& Platform::exits() const {
    return state().notes.exits;
}

std::vector<unsigned char> const& Platform::instanceQuestions() const {
    return state().notes.instanceQuestions;
}

std::vector<SidQuestion> const& Platform::sidQuestions() const {
    return state().notes.sidQuestions;
}

void Platform::setUnserved(unsigned char sid) {
    state().settings.unservedSids.insert(sid);
}

void Platform::setServed(unsigned char sid) {
    state().settings.unservedSids.erase(sid);
}

std::size_t Platform::deliver(imc_msg const& message) {
    std::uint32_t const messageId = message.messageId;
    auto const isMeant = [messageId](Registration const& registration) {
        return registration.observer != nullptr &&
               std::int64_t{registration.messageId} == std::int64_t{messageId};
    };
    return forEachRegistered(isMeant, [&message](Registration const& registration) {
        registration.observer->messageEvent(message);
    });
}

std::vector<std::string> Platform::typeCommand(std::string const& line, int console) {
    auto const first = line.find_first_not_of(' ');
    auto const end = line.find(' ', first);
    auto const word = first == std::string::npos ? "" : line.substr(first, end - first);
    auto const answersBefore = static_cast<std::ptrdiff_t>(answers().size());
    auto const isMeant = [&word](Registration const& registration) {
        return registration.commandObserver != nullptr && registration.word == word;
    };
    forEachRegistered(isMeant, [&](Registration const& registration) {
        registration.commandObserver->command(line, console);
    });
    return {answers().begin() + answersBefore, answers().end()};
}

} // namespace recording
