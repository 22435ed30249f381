#ifndef GATEWAY_LOCALSITE_H
#define GATEWAY_LOCALSITE_H

#include "gateway/Boards.h"
#include "gateway/CallSite.h"

namespace gateway {

/**
 * The process's own workstation, with boards inside the process. The site takes the workstation as
 * it is, and puts it back to its start when it is deleted.
 */
class LocalSite : public CallSite {
public:
    LocalSite();
    ~LocalSite() override;
    LocalSite(LocalSite const&) = delete;
    LocalSite& operator=(LocalSite const&) = delete;

    void begin(CallFile const& file, CallSiteListener& listener) override;
    SessionManager& sessions() override { return *manager; }
    MC_Channel& create(std::string const& name) override;
    void order(unsigned char sid, dsp::Order const& order) override;
    /** Inside the process everything arrives with the tasks that are due. */
    void mark() override {}
    bool hasArrived() const override { return true; }
    std::size_t pending() const override { return boards->pending(); }
    void forget() override {}
    bool isEnding() const override { return false; }
    bool endsWithLibrary() const override { return true; }
    std::map<std::string, std::uint64_t> countersBefore() const override { return {}; }
    void requireLiveRecords() const override;
    std::optional<Failure> end() override;
    /** All is given back with the site. */
    void abandon() override {}

private:
    static Boards::Tap tapTo(CallSiteListener& listener);

    host::Workstation& workstation;
    std::size_t objectsBefore = 0;
    std::optional<Boards> boards;
    std::optional<SessionManager> manager;
    std::vector<MC_Channel*> records;
};

} // namespace gateway

#endif
