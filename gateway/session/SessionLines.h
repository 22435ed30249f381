#ifndef GATEWAY_SESSION_SESSIONLINES_H
#define GATEWAY_SESSION_SESSIONLINES_H

#include "gateway/control/ControlServer.h"
#include "gateway/session/BoardNames.h"
#include "gateway/session/Journal.h"
#include "gateway/session/Supervisor.h"
#include "gateway/session/Words.h"

#include "dsp/Service.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/**
 * The lines that an operator types: those whose first word is "session" are answered here, all
 * others by whoever registered for them, as on the board. A line that is not as it should be ends
 * with what would be right.
 */
class SessionLines {
public:
    using Exchange = std::shared_ptr<ControlExchange>;
    using Facts = std::vector<std::pair<std::string, std::string>>;

    /** What the lines are about; all outlive this object. */
    struct Session {
        host::Workstation& workstation;
        Supervisor& supervisor;
        BoardNames& names;
        Journal& journal;
        /** What "session status" tells, and "session counters". */
        std::function<Facts()> status;
        std::function<std::map<std::string, std::uint64_t>()> counters;
        std::function<void(int console, bool isOn)> watch;
        std::function<void()> end;
    };

    explicit SessionLines(Session of) : session(std::move(of)) {}

    void take(std::string const& line, int console, Exchange const& exchange);

private:
    /** A line of the session's own, after its verb. */
    struct Line {
        std::vector<std::string> words;
        int console;
        Exchange exchange;
    };
    struct Verb {
        char const* name;
        char const* usage;
        char const* help;
        std::size_t least;
        std::size_t most;
        void (SessionLines::*answer)(Line const&);
    };
    static std::vector<Verb> const& verbs();
    static Verb const& findVerb(std::vector<std::string> const& words);

    void passOn(std::string const& line, int console, Exchange const& exchange);
    void refuse(Exchange const& exchange, std::string const& why);

    void help(Line const& line);
    void status(Line const& line);
    void boards(Line const& line);
    void records(Line const& line);
    void counters(Line const& line);
    void audit(Line const& line);
    void open(Line const& line);
    void update(Line const& line);
    void activateFax(Line const& line);
    void join(Line const& line);
    void unjoin(Line const& line);
    void close(Line const& line);
    void dtmf(Line const& line);
    void faxTone(Line const& line);
    void alert(Line const& line);
    void watch(Line const& line);
    void log(Line const& line);
    void end(Line const& line);

    Record& recordOf(Line const& line);
    std::vector<FieldSetting> settings(Line const& line,
                                       std::function<bool(ChannelField const&)> allowed,
                                       bool isBoardAllowed);
    void requireBoard(std::vector<FieldSetting> const& settings) const;
    void finish(Line const& line, Channels::Refusal const& refusal, std::string const& done);
    /** The same once the board has answered. */
    void finishLater(Line const& line, Channels::Refusal const& refusal,
                     std::function<std::string()> const& done);
    std::string openText(std::string const& name, char const* what);
    void order(Line const& line, dsp::Order order);

    Session session;
};

} // namespace gateway

#endif
