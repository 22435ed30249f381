#ifndef GATEWAY_LOAD_LOADSESSION_H
#define GATEWAY_LOAD_LOADSESSION_H

#include "gateway/load/ChildProcess.h"
#include "gateway/load/LoadBus.h"
#include "gateway/load/LoadPlan.h"

#include "host/Counters.h"
#include "host/Workstation.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace gateway {

/** Why a run ends before its time. On the loop's thread. */
class EarlyEnd {
public:
    /** Somebody wants it to end: what is under way is finished. */
    void ask();
    /** It can't go on. The first reason counts. */
    void fail(std::string const& reason);

    bool isAsked() const { return asked; }
    bool hasFailed() const { return !why.empty(); }
    bool has() const { return asked || hasFailed(); }
    std::string const& reason() const { return why; }

    /** Called at each of the two. May be empty. */
    std::function<void()> onEnd;

private:
    bool asked = false;
    std::string why;
};

/** A task that is done again and again, as long as this object exists. */
class Ticker {
public:
    /** Both outlive the ticker. */
    Ticker(host::Dispatcher& dispatcher, std::chrono::milliseconds period,
           std::function<void()> task);

private:
    void post();

    host::Dispatcher& dispatcher;
    std::chrono::milliseconds period;
    std::function<void()> task;
    std::shared_ptr<bool> life = std::make_shared<bool>(true);
};

/**
 * The workstation on the bus, with the boards that the plan names: started where nobody else did,
 * and ended with this object. What the library can't deliver, and the loss of a board, end the run.
 */
class LoadSession {
public:
    /**
     * Waits until all boards are there, or the run ends early.
     * @param tap is shown what the library sends and takes; null for nobody, outlives this object
     * @throw std::runtime_error when they don't come
     */
    LoadSession(LoadOptions const& options, LoadPlan const& plan, EarlyEnd& end, host::Tap* tap);
    ~LoadSession();
    LoadSession(LoadSession const&) = delete;
    LoadSession& operator=(LoadSession const&) = delete;

    host::Workstation& platform() { return workstation; }
    host::Dispatcher& dispatcher() { return workstation.dispatcher(); }
    std::string const& busUrl() const { return url; }
    /** Numbers of the boards' processes on this machine. */
    std::vector<pid_t> boardProcesses() const;

    /**
     * Waits until the addresses are served.
     * @param processes that are to serve them; null when they are not ours
     */
    void await(PeerWatch const& peers, std::vector<std::uint8_t> const& sids,
               ServingProcesses const* processes);

private:
    void join(LoadOptions const& options);
    void failOnLibraryEnd();

    LoadPlan const& plan;
    EarlyEnd& end;
    host::Workstation& workstation;
    host::Counters counters;
    /** Of boards of its own. */
    std::optional<PrivateDirectory> directory;
    std::string url;
    std::unique_ptr<ServingProcesses> boards;
    PeerWatch watch;
    std::string lastError;
    /** The error before it: the last one says only that the library ends the process. */
    std::string why;
};

} // namespace gateway

#endif
