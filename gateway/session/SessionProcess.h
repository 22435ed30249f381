#ifndef GATEWAY_SESSION_SESSIONPROCESS_H
#define GATEWAY_SESSION_SESSIONPROCESS_H

#include "gateway/Report.h"
#include "gateway/SessionManager.h"
#include "gateway/capture/CaptureTap.h"
#include "gateway/control/ControlServer.h"
#include "gateway/session/BoardNames.h"
#include "gateway/session/CallQueue.h"
#include "gateway/session/Journal.h"
#include "gateway/session/SessionLines.h"
#include "gateway/session/SessionSite.h"
#include "gateway/session/Supervision.h"
#include "gateway/session/Supervisor.h"
#include "gateway/session/TapList.h"

#include "host/Workstation.h"
#include "host/bus/Bus.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

struct SessionOptions {
    host::BusOptions bus{};
    unsigned char sid = host::Workstation::defaultSid;
    /** Of the control socket; empty for the one that goes with bus and address. */
    std::string control{};
    /** IP and IMC address. */
    std::vector<std::pair<std::string, unsigned char>> boards{};
    std::string config{};
    std::optional<unsigned> logLevel{};
    Supervision supervision{};
    std::string capture{};
    std::vector<CallFile> calls{};
    ReportOptions report{};
};

/**
 * The reference Session Manager as a process on the bus. It runs the workstation's dispatch loop,
 * and in between the call files, which run it themselves.
 */
class SessionProcess {
public:
    /**
     * Joins the bus, and opens the control socket.
     * @throw std::invalid_argument for options that can't be right
     * @throw std::runtime_error when the bus can't be joined, or an address or the control socket
     *        is somebody's already
     */
    SessionProcess(Report& report, SessionOptions const& options);
    ~SessionProcess();
    SessionProcess(SessionProcess const&) = delete;
    SessionProcess& operator=(SessionProcess const&) = delete;

    /** Until it is asked to end. Closes all channels then. */
    void run();

    /** Asks it to end. From any thread. */
    void askToEnd();

    /** Leaves the bus, and reports what was counted. @throw std::runtime_error for a bad capture */
    void end();

    /** Another process keeps the address, or a call file of the options failed. */
    bool hasFailed() const { return isClaimLost || isCallFailed; }

private:
    void preparePlatform();
    void joinBus();
    void openControl();
    void leave();
    void queueCalls();
    SessionAccess access();
    Summary runCall(CallFile const& file, Report& to);
    void awaitBoards(CallFile const& file);
    void takeRequest(ControlRequest const& request, std::shared_ptr<ControlExchange> exchange);
    void takeCall(ControlRequest const& request, std::shared_ptr<ControlExchange> const& exchange);
    void closeAll();
    void seeCallback(Message const& callback);
    void seeLog(host::Workstation::LogLine const& line);
    void seeLibraryEnd(int cause);
    void seeCall(CallFile const& file, std::optional<Summary> const& summary);
    SessionLines::Facts facts() const;
    std::map<std::string, std::uint64_t> counters() const;

    Report& report;
    /** Of the call files of the options, whose times count from their own beginnings. */
    Report callReport;
    SessionOptions const options;
    host::Workstation& workstation;
    std::chrono::steady_clock::time_point const start = std::chrono::steady_clock::now();
    Journal journal;
    BoardNames names;
    /** Of the call file that runs; null while none does. */
    SessionWatcher* watcher = nullptr;
    TapList taps;
    std::unique_ptr<CaptureTap> capture;
    std::unique_ptr<SessionManager> sessions;
    std::unique_ptr<Supervisor> supervisor;
    CallQueue calls;
    std::unique_ptr<SessionLines> lines;
    std::unique_ptr<ControlServer> control;
    std::string endpoint;
    std::map<std::string, std::uint64_t> controlCounters;
    bool isEnding = false;
    bool isClaimLost = false;
    bool isCallFailed = false;
};

} // namespace gateway

#endif
