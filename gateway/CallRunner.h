#ifndef GATEWAY_CALLRUNNER_H
#define GATEWAY_CALLRUNNER_H

#include "gateway/Boards.h"
#include "gateway/CallFile.h"
#include "gateway/Report.h"
#include "gateway/SessionManager.h"
#include "gateway/Verdict.h"

#include "host/Workstation.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** Status with which the program ends when the library ended it. */
constexpr int exitStatusOfFatal = 3;

/**
 * Places the calls of one call file: runs its steps one after the other and judges what comes of
 * each. It takes the workstation as it is, and puts it back to its start when it is deleted; the
 * library's traces and errors go to the report. When the library ends the process, the report says
 * at which step, and the program ends with its own status.
 */
class CallRunner {
public:
    /** @param logLevel of the library; nothing for what the environment says */
    CallRunner(CallFile const& file, Report& report, std::optional<unsigned> logLevel);
    ~CallRunner();
    CallRunner(CallRunner const&) = delete;
    CallRunner& operator=(CallRunner const&) = delete;

    Summary run();

private:
    /** Does one step's action; one overload for each. */
    struct Doer;

    void prepare();
    void prepareChannels();
    void runSteps();
    void runStep(Step const& step);
    void finish();

    void configure(Configuration const& change);
    void set(MC_Channel& channel, std::vector<FieldSetting> const& fields);
    void doInLoop(std::function<void()> const& task);
    bool awaitEvents(Step const& step);
    void judgeStep(Step const& step, bool isInTime);
    void requireLiveRecords() const;
    void checkListings();
    void checkPlatform();
    std::uint64_t occurred(char const* cause) const;

    Boards::Tap boardsTap();
    void seeCallback(Message const& callback);
    void seeLog(host::Workstation::LogLine const& line);
    void seeMessage(char const* kind, Message const& message);
    void seeRefusal(std::string const& text);
    void seeAnswer(std::string const& text);
    [[noreturn]] void endByLibrary(int cause);

    CheckContext context() const;
    void fail(Failure const& failure);

    CallFile const& file;
    Report& report;
    std::optional<unsigned> logLevel;
    host::Workstation& workstation;

    std::size_t objectsBefore = 0;
    std::optional<Boards> boards;
    std::optional<SessionManager> sessions;
    std::vector<MC_Channel*> records;

    /** The step that runs, for failures; at the beginning and at the end of the file none does. */
    Step const* current = nullptr;
    std::string place;
    Observed seen;
    /** @name Counted by the platform before the current step */
    /// @{
    std::uint64_t unknownBoardsBefore = 0;
    std::uint64_t unknownCommandsBefore = 0;
    /// @}
    Summary summary;
};

} // namespace gateway

#endif
