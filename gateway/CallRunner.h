#ifndef GATEWAY_CALLRUNNER_H
#define GATEWAY_CALLRUNNER_H

#include "gateway/CallFile.h"
#include "gateway/CallSite.h"
#include "gateway/Report.h"
#include "gateway/SessionManager.h"
#include "gateway/Verdict.h"

#include "host/Workstation.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** Status with which the program ends when the library ended it. */
constexpr int exitStatusOfFatal = 3;

/**
 * Places the calls of one call file at a site: runs its steps one after the other and judges what
 * comes of each. The library's traces and errors go to the report. When the library ends the
 * process, the report says at which step; the program ends with its own status, or the site goes
 * on without the rest of the file.
 *
 * It runs the dispatch loop, and so is used outside of its tasks.
 */
class CallRunner : private CallSiteListener {
public:
    /** @param logLevel of the library; nothing to leave it as it is */
    CallRunner(std::unique_ptr<CallSite> site, CallFile const& file, Report& report,
               std::optional<unsigned> logLevel);
    ~CallRunner() override;
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
    void checkListings();
    void checkPlatform();
    std::uint64_t occurred(char const* cause) const;

    void seeCommand(Message const& command) override;
    void seeEvent(Message const& event) override;
    void seeCallback(Message const& callback) override;
    void seeBoardReport(std::string const& board, std::string const& text) override;
    void seeLog(host::Workstation::LogLine const& line) override;
    void seeLibraryEnd(int cause) override;
    void seeMessage(char const* kind, Message const& message);
    void seeRefusal(std::string const& text);
    void seeAnswer(std::string const& text);
    bool isOver() const { return isEndedByLibrary || site->isEnding(); }
    void requireSiteGoesOn() const;

    CheckContext context() const;
    void fail(Failure const& failure);

    std::unique_ptr<CallSite> site;
    CallFile const& file;
    Report& report;
    std::optional<unsigned> logLevel;
    host::Workstation& workstation;

    std::vector<MC_Channel*> records;
    bool isEndedByLibrary = false;

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
