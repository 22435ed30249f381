#include "host/imc/Imc.h"

#include "host/Text.h"
#include "host/Workstation.h"
#include "host/imc/InProcessTransport.h"
#include "imc/IMC_CommandObserver.h"
#include "imc/IMC_Observer.h"

#include <stdexcept>
#include <utility>

namespace host {

namespace {

char const source[] = "host/imc/Imc";

/** What ends a word of a console line. */
char const blanks[] = " \t\r\n";

std::string firstWord(std::string const& line) {
    std::string::size_type const begin = line.find_first_not_of(blanks);
    if (begin == std::string::npos) {
        return "";
    }
    return line.substr(begin, line.find_first_of(blanks, begin) - begin);
}

/** Text of the exception that is being handled. */
std::string caughtText() {
    try {
        throw;
    } catch (std::exception const& exception) {
        return exception.what();
    } catch (...) {
        return "of unknown type";
    }
}

} // namespace

Imc::Imc(Dispatcher& loop, Log& logTo, Counters& faults)
    : dispatcher(loop),
      log(logTo),
      counters(faults),
      ownSid(Workstation::defaultSid),
      carrier(inProcess()) {
    carrier->attach(ownSid, *this);
}

Imc::~Imc() = default;

void Imc::registration(IMC_Observer* observer, long messageId) {
    if (observer == nullptr) {
        throw std::runtime_error("IMC registration of a null observer for message " +
                                 std::to_string(messageId));
    }
    if (!messageObservers.add(messageId, *observer)) {
        throw std::runtime_error("IMC observer is registered already for message " +
                                 std::to_string(messageId));
    }
}

void Imc::unregistration(IMC_Observer* observer, long messageId) {
    if (!messageObservers.remove(messageId, observer)) {
        throw std::runtime_error("IMC observer is not registered for message " +
                                 std::to_string(messageId));
    }
}

void Imc::registration(IMC_CommandObserver* observer, std::string const& word) {
    if (observer == nullptr) {
        throw std::runtime_error("IMC registration of a null observer for command " + quoted(word));
    }
    if (word.empty()) {
        throw std::runtime_error("IMC registration for a command without a word");
    }
    if (word.find_first_of(blanks) != std::string::npos) {
        throw std::runtime_error("IMC registration for command " + quoted(word) +
                                 ", which holds a blank: no line of a console has it as its first "
                                 "word");
    }
    if (!commandObservers.add(word, *observer)) {
        throw std::runtime_error("IMC observer is registered already for command " + quoted(word));
    }
}

void Imc::unregistration(IMC_CommandObserver* observer, std::string const& word) {
    if (!commandObservers.remove(word, observer)) {
        throw std::runtime_error("IMC observer is not registered for command " + quoted(word));
    }
}

void Imc::answerCommand(std::string const& text) {
    if (currentAnswer == nullptr) {
        counters.add(Cause::answerWithoutConsole);
        log.error("answer while no console's command is delivered", text, source, __LINE__);
        return;
    }
    if (!*currentAnswer) {
        return;
    }
    try {
        (*currentAnswer)(text);
    } catch (...) {
        counters.add(Cause::answerRefused);
        log.error("console refused an answer", caughtText(), source, __LINE__);
    }
}

void Imc::post(imc_msg const& message) {
    imc_msg sent = message;
    sent.sourceSid = ownSid;
    try {
        carrier->send(sent);
    } catch (...) {
        counters.add(Cause::postRefused);
        throw;
    }
}

void Imc::guarded(std::string const& what, std::function<void()> const& call) {
    try {
        call();
    } catch (...) {
        counters.add(Cause::observerException);
        log.error("exception left an observer of " + what, caughtText(), source, __LINE__);
    }
}

void Imc::receive(imc_msg const& message) {
    std::string const what = "message " + std::to_string(message.messageId);
    bool const taken =
        messageObservers.deliver(static_cast<long>(message.messageId), [&](IMC_Observer& observer) {
            guarded(what, [&] { observer.messageEvent(message); });
        });
    if (!taken) {
        counters.add(Cause::messageWithoutObserver);
        if (log.isTracing()) {
            log.trace("nobody registered for " + what, source, __LINE__);
        }
    }
}

void Imc::typeCommand(std::string const& line, int console, Answer answer) {
    dispatcher.post([this, line, console, answer = std::move(answer)] {
        Answer const* const outer = std::exchange(currentAnswer, &answer);
        deliverCommand(line, console);
        currentAnswer = outer;
    });
}

void Imc::deliverCommand(std::string const& line, int console) {
    std::string const word = firstWord(line);
    std::string const what = "command \"" + word + "\"";
    bool const taken = commandObservers.deliver(word, [&](IMC_CommandObserver& observer) {
        guarded(what, [&] { observer.command(line, console); });
    });
    if (!taken) {
        counters.add(Cause::commandWithoutObserver);
        answerCommand("Unknown " + what + ", try \"help\"\n");
    }
}

void Imc::setTransport(std::unique_ptr<Transport> transport) {
    if (!transport) {
        transport = inProcess();
    }
    transport->attach(ownSid, *this);
    carrier->detach(ownSid);
    carrier = std::move(transport);
}

void Imc::setSid(unsigned char sid) {
    if (sid != ownSid) {
        carrier->attach(sid, *this);
        carrier->detach(ownSid);
        ownSid = sid;
    }
}

void Imc::reset() {
    carrier->detach(ownSid);
    ownSid = Workstation::defaultSid;
    carrier = inProcess();
    carrier->attach(ownSid, *this);
}

std::unique_ptr<Transport> Imc::inProcess() {
    return std::make_unique<InProcessTransport>(dispatcher, counters);
}

} // namespace host
