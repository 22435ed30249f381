#ifndef GATEWAY_SESSION_CHANNELS_H
#define GATEWAY_SESSION_CHANNELS_H

#include "gateway/CallFile.h"
#include "gateway/SessionManager.h"
#include "gateway/session/BoardWatch.h"
#include "gateway/session/Journal.h"
#include "gateway/session/Records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/**
 * What the session does to its channels, through the library. The library ends the process for a
 * command about a channel that it does not know, and for one that can't be sent: the former is
 * refused here in words, the latter undone.
 *
 * Operations return why they were not done, or nothing. A record that has nothing open any more is
 * given back, in the operation or when the board has answered.
 */
class Channels {
public:
    using Refusal = std::optional<std::string>;

    /** All outlive this object. */
    Channels(SessionManager& sessions, Records& records, BoardWatch const& boards,
             Journal& journal);

    Refusal open(std::string const& name, std::vector<FieldSetting> const& settings);
    Refusal update(Record& record, std::vector<FieldSetting> const& settings);
    Refusal activateFax(Record& record);
    Refusal join(Record& record, std::vector<FieldSetting> const& settings);
    Refusal unjoin(Record& record);

    /** The record may be gone afterwards. What the board can't be told is closed here all the same.
     */
    Refusal close(Record& record);

    /** Closes it, and opens again what was open of it. */
    Refusal reopen(Record& record);

    /** Closes a path that an earlier process left open. @param ip of its board */
    Refusal closeOrphan(Path const& path, bool isVoice, bool isFax, std::string const& ip);

    /** A channel that a call file leaves open is the session's from now on. */
    void keep(std::string const& name, MC_Channel& channel);

    /** Gives the record back when nothing of it is open or to come, and tells who waits for it. */
    void settle(Record& record);

    /** The library could not send something; called while an operation is under way. */
    void postRefused() { ++refusedPosts; }

private:
    Refusal perform(SessionManager::Operation operation, Record& record, char const* what);
    Refusal performListed(SessionManager::Operation operation, Record& record, char const* what,
                          std::vector<FieldSetting> const& settings = {});
    Refusal whyNotOpened(MC_Channel const& channel) const;
    Refusal start(SessionManager::Operation operation, Record& record, char const* what);
    void closeQuietly(Record& record);
    void set(MC_Channel& channel, std::vector<FieldSetting> const& settings);
    void fillOrphan(MC_Channel& channel, Path const& path);
    void release(Record& record);

    SessionManager& sessions;
    Records& records;
    BoardWatch const& boards;
    Journal& journal;
    std::uint64_t refusedPosts = 0;
};

} // namespace gateway

#endif
