#ifndef GATEWAY_CALLSITE_H
#define GATEWAY_CALLSITE_H

#include "gateway/CallFile.h"
#include "gateway/Message.h"
#include "gateway/Report.h"
#include "gateway/SessionManager.h"

#include "dsp/Service.h"
#include "host/Workstation.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** Takes what happens at a call site, on the thread of the dispatch loop. */
class CallSiteListener {
public:
    virtual ~CallSiteListener() = default;

    virtual void seeCommand(Message const& command) = 0;
    virtual void seeEvent(Message const& event) = 0;
    virtual void seeCallback(Message const& callback) = 0;
    /** What a board could not take. */
    virtual void seeBoardReport(std::string const& board, std::string const& text) = 0;
    virtual void seeLog(host::Workstation::LogLine const& line) = 0;
    /** The library ended the process, or wanted to. */
    virtual void seeLibraryEnd(int cause) = 0;
};

/**
 * Where the calls of a call file are placed: its boards, and the Session Manager that holds its
 * channels. It is for one file, and begins and ends with it.
 */
class CallSite {
public:
    virtual ~CallSite() = default;

    /**
     * Makes everything ready for the file's channels. The file and the listener outlive the site.
     * @throw CallFileError when the file can't be run here, with the reason
     */
    virtual void begin(CallFile const& file, CallSiteListener& listener) = 0;

    virtual SessionManager& sessions() = 0;

    /** A new record for the channel of the file with the next index; held until the end. */
    virtual MC_Channel& create(std::string const& name) = 0;

    /** Has a board do something. @throw std::exception when it can't */
    virtual void order(unsigned char sid, dsp::Order const& order) = 0;

    /** The step has done its part; what it set off is on its way. */
    virtual void mark() = 0;

    /** Whether all has arrived that was on its way at the mark, but for what is kept for later. */
    virtual bool hasArrived() const = 0;

    /** How many acknowledgements are still to come. */
    virtual std::size_t pending() const = 0;

    /** Nothing more is awaited of what is still to come; the step has failed by then. */
    virtual void forget() = 0;

    /** Whether the process is asked to end: the file is left where it stands. */
    virtual bool isEnding() const = 0;

    /** Whether the process ends when the library ends it. */
    virtual bool endsWithLibrary() const = 0;

    /** What the platform had counted before the file, which is not the file's. */
    virtual std::map<std::string, std::uint64_t> countersBefore() const = 0;

    /** @throw std::runtime_error when a record of the file did not live on */
    virtual void requireLiveRecords() const = 0;

    /**
     * Gives back the records, and what is the site's own.
     * @return what of the file's is left over, or else nothing
     */
    virtual std::optional<Failure> end() = 0;

    /** The same where the file was not run to its end: gives back what it can, throws nothing. */
    virtual void abandon() = 0;
};

} // namespace gateway

#endif
