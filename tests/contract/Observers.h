#ifndef CONTRACT_OBSERVERS_H
#define CONTRACT_OBSERVERS_H

#include "imc/IMC_CommandObserver.h"
#include "imc/IMC_Manager.h"
#include "imc/IMC_Observer.h"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace contract {

inline IMC_Manager& imc() {
    return *IMC_Manager::instance(0xff);
}

/**
 * An observer's registrations at IMC, which end with it.
 * @param Observer IMC_Observer or IMC_CommandObserver
 * @param Subject what it is registered for: identifier or word
 */
template <typename Observer, typename Subject>
class Registrations {
public:
    explicit Registrations(Observer& owner) : observer(owner) {}

    ~Registrations() {
        for (auto const& subject : subjects) {
            imc().unregistration(&observer, subject);
        }
    }

    Registrations(Registrations const&) = delete;
    Registrations& operator=(Registrations const&) = delete;

    void add(Subject const& subject) {
        imc().registration(&observer, subject);
        subjects.push_back(subject);
    }

    void remove(Subject const& subject) {
        imc().unregistration(&observer, subject);
        subjects.erase(std::find(subjects.begin(), subjects.end(), subject));
    }

private:
    Observer& observer;
    std::vector<Subject> subjects;
};

/** Keeps the messages it receives, and reacts as the test wants. */
class MessageObserver : public IMC_Observer {
public:
    void messageEvent(imc_msg const& message) override {
        received.push_back(message);
        auto const current = reaction;
        if (current) {
            current();
        }
    }

    void timeoutEvent(unsigned int) override {}

    std::vector<imc_msg> received;
    std::function<void()> reaction;
    Registrations<IMC_Observer, long> registrations{*this};
};

/** Keeps the commands it receives, and reacts as the test wants. */
class CommandObserver : public IMC_CommandObserver {
public:
    void command(std::string const& text, int console) override {
        received.emplace_back(text, console);
        auto const current = reaction;
        if (current) {
            current();
        }
    }

    /** Lines and numbers of consoles. */
    std::vector<std::pair<std::string, int>> received;
    std::function<void()> reaction;
    Registrations<IMC_CommandObserver, std::string> registrations{*this};
};

} // namespace contract

#endif
