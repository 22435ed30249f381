#ifndef HOST_IMC_H
#define HOST_IMC_H

#include "host/Counters.h"
#include "host/debug/Log.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/Registrations.h"
#include "host/imc/Transport.h"

#include <functional>
#include <memory>
#include <string>

class IMC_CommandObserver;
class IMC_Observer;

namespace host {

/**
 * The inter-module communication of this process: it serves the process's address on the
 * transport, hands what arrives to the registered observers, and routes console commands and their
 * answers. Everything happens on the loop's thread, except where it is said.
 *
 * An exception that leaves an observer is logged and counted, and the next observer is called: one
 * faulty observer of a workbench must not hide what the others do.
 */
class Imc : public Endpoint {
public:
    using Answer = std::function<void(std::string const&)>;

    /** All have to outlive this object. */
    Imc(Dispatcher& dispatcher, Log& log, Counters& counters);
    ~Imc() override;
    Imc(Imc const&) = delete;
    Imc& operator=(Imc const&) = delete;

    /** @name As IMC_Manager's operations of these names */
    /// @{
    void registration(IMC_Observer* observer, long messageId);
    void unregistration(IMC_Observer* observer, long messageId);
    void registration(IMC_CommandObserver* observer, std::string const& word);
    void unregistration(IMC_CommandObserver* observer, std::string const& word);
    void answerCommand(std::string const& text);
    /// @}

    /** Sends a copy of the message that carries this process's address as its sender. */
    void post(imc_msg const& message);

    /** Hands the message to the observers of its identifier. */
    void receive(imc_msg const& message) override;

    /** As Workstation::typeCommand; may be called from any thread. */
    void typeCommand(std::string const& line, int console, Answer answer);

    Transport& transport() const { return *carrier; }
    /** @throw std::runtime_error when the process's address is served there; nothing changes */
    void setTransport(std::unique_ptr<Transport> transport);

    unsigned char sid() const { return ownSid; }
    /** @throw std::runtime_error when the address is served already; nothing changes */
    void setSid(unsigned char sid);

    /** A new in-process transport and the default address; registrations stay. */
    void reset();

private:
    /** Runs one observer's call; what leaves it is logged and counted. */
    void guarded(std::string const& what, std::function<void()> const& call);
    void deliverCommand(std::string const& line, int console);
    std::unique_ptr<Transport> inProcess();

    Dispatcher& dispatcher;
    Log& log;
    Counters& counters;
    Registrations<long, IMC_Observer> messageObservers;
    Registrations<std::string, IMC_CommandObserver> commandObservers;
    /** Where the answers to the command go that is being delivered; null when there is none. */
    Answer const* currentAnswer = nullptr;
    unsigned char ownSid;
    std::unique_ptr<Transport> carrier;
};

} // namespace host

#endif
