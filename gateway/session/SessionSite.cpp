#include "gateway/session/SessionSite.h"

#include "gateway/Text.h"

#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Service.h"
#include "host/imc/SidText.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace gateway {

namespace {

constexpr auto auditAnswer = static_cast<std::uint32_t>(dsp::Service::auditAnswer);

IMC_Manager& imc() {
    return *IMC_Manager::instance(0xff);
}

/** What the site registers for. */
std::vector<std::uint32_t> identifiers() {
    std::vector<std::uint32_t> all;
    for (dsp::EventKind const& kind : dsp::eventKinds()) {
        all.push_back(kind.identifier);
    }
    all.push_back(auditAnswer);
    return all;
}

/** Each tag is new, so that an answer that comes late is no answer to a later file. */
std::uint32_t newTag() {
    static std::uint32_t count = 0;
    return SessionSite::firstTag | (count++ & (SessionSite::firstTag - 1));
}

bool isAcknowledged(std::uint32_t identifier) {
    dsp::CommandKind const* const kind = dsp::findCommand(identifier);
    return kind != nullptr && kind->acknowledged;
}

} // namespace

SessionSite::SessionSite(SessionAccess access)
    : session(std::move(access)),
      workstation(host::Workstation::instance()),
      logLevelBefore(workstation.logLevel()) {}

SessionSite::~SessionSite() {
    abandon();
}

void SessionSite::refuse(std::string const& why) const {
    throw CallFileError(why);
}

/** Reports are made where the boards are. */
void SessionSite::requireVisible() const {
    for (Step const& step : file->steps) {
        if (!step.expect.reports.empty()) {
            fail(file->path, step.position,
                 "expect.reports: what boards report is not seen from a session, but where the "
                 "boards run");
        }
    }
}

void SessionSite::requireNewNames() const {
    for (ChannelEntry const& entry : file->channels) {
        if (session.sessions.find(entry.name) != nullptr) {
            refuse("the session has a channel " + entry.name + " already");
        }
    }
}

void SessionSite::requireBoards() const {
    for (BoardEntry const& board : file->boards) {
        if (!session.isServed(board.sid)) {
            refuse(titleOf(board.sid) + " is not on the bus: start it with mcgw dsp --sid " +
                   host::sidText(board.sid));
        }
    }
}

void SessionSite::requireAnswers() {
    if (!awaitArrival()) {
        refuse(session.isEnding() ? "the session ends"
                                  : titleOf(awaitedAudits.begin()->second) +
                                        " answers no audit: only boards that mcgw dsp serves do");
    }
}

/** What the file calls the board; one that it does not name goes by its IMC address. */
std::string SessionSite::nameOf(unsigned char sid) const {
    auto const board = std::find_if(file->boards.begin(), file->boards.end(),
                                    [sid](BoardEntry const& each) { return each.sid == sid; });
    return board == file->boards.end() ? host::sidText(sid) : board->ip;
}

std::string SessionSite::titleOf(unsigned char sid) const {
    return "board " + nameOf(sid) + " (IMC address " + host::sidText(sid) + ")";
}

void SessionSite::begin(CallFile const& callFile, CallSiteListener& itsListener) {
    file = &callFile;
    listener = &itsListener;
    requireVisible();
    requireNewNames();
    requireBoards();
    before = workstation.counters();
    startListening();
    mark();
    requireAnswers();
    for (BoardEntry const& board : file->boards) {
        workstation.setBoard(board.ip, board.sid);
    }
}

void SessionSite::startListening() {
    isListening = true;
    session.addTap(*this);
    session.watch(this);
    for (std::uint32_t const identifier : identifiers()) {
        imc().registration(this, static_cast<long>(identifier));
    }
}

void SessionSite::stopListening() {
    if (!isListening) {
        return;
    }
    isListening = false;
    for (std::uint32_t const identifier : identifiers()) {
        imc().unregistration(this, static_cast<long>(identifier));
    }
    session.watch(nullptr);
    session.removeTap(*this);
}

MC_Channel& SessionSite::create(std::string const& name) {
    records.push_back(&session.sessions.create(name));
    return *records.back();
}

void SessionSite::order(unsigned char sid, dsp::Order const& order) {
    // Its event is the file's, also where no command has named the DSP channel yet.
    places.insert({sid, order.dsp});
    imc().post(dsp::encodeOrder(order, workstation.sid(), sid));
}

void SessionSite::mark() {
    for (BoardEntry const& board : file->boards) {
        std::uint32_t const tag = newTag();
        awaitedAudits[tag] = board.sid;
        imc().post(dsp::encodeAuditRequest(tag, workstation.sid(), board.sid));
    }
}

void SessionSite::forget() {
    awaitedAudits.clear();
    awaitedAcknowledgements.clear();
}

void SessionSite::notePlaces() {
    for (MC_Channel const* const record : records) {
        places.insert(
            {static_cast<std::uint8_t>(record->sid), static_cast<std::uint8_t>(record->dsp)});
    }
}

bool SessionSite::isOwn(Place const& place) {
    notePlaces();
    return places.count(place) != 0;
}

bool SessionSite::owns(unsigned char sid, std::uint8_t dsp) const {
    return places.count({sid, dsp}) != 0;
}

bool SessionSite::isOwnName(std::string const& name) const {
    return std::any_of(file->channels.begin(), file->channels.end(),
                       [&name](ChannelEntry const& each) { return each.name == name; });
}

/* What is seen */

void SessionSite::carried(imc_msg const& message) {
    Place const place = {message.destinationSid, message.payload[0]};
    bool const isCommand = dsp::findCommand(message.messageId) != nullptr;
    bool const isOurs = isCommand && message.sourceSid == workstation.sid() && isOwn(place);
    if (!isOurs) {
        return;
    }
    if (isAcknowledged(message.messageId)) {
        awaitedAcknowledgements.insert({place, message.messageId});
    }
    listener->seeCommand(describe(message, "to", nameOf(message.destinationSid)));
}

void SessionSite::refused(imc_msg const&, std::string const&) {
    // The library tells its client, which is heard as a refusal of the operation.
}

void SessionSite::messageEvent(imc_msg const& message) {
    if (message.messageId != auditAnswer) {
        eventSeen(message);
        return;
    }
    if (auto const answer = dsp::decodeAuditAnswer(message)) {
        awaitedAudits.erase(answer->tag);
    }
}

void SessionSite::timeoutEvent(unsigned int) {}

/**
 * The library's observers were registered first: the callbacks that the event made have been kept
 * by now, and are shown behind it.
 */
void SessionSite::eventSeen(imc_msg const& message) {
    Place const place = {message.sourceSid, message.payload[0]};
    bool const isOurs = message.length != 0 && isOwn(place);
    if (isOurs) {
        std::uint32_t const command = message.messageId - 1;
        auto const awaited = awaitedAcknowledgements.find({place, command});
        if (isAcknowledged(command) && awaited != awaitedAcknowledgements.end()) {
            awaitedAcknowledgements.erase(awaited);
        }
        listener->seeEvent(describe(message, "from", nameOf(message.sourceSid)));
    }
    callbacksSeen(isOurs);
}

void SessionSite::callbacksSeen(bool isOfOwnEvent) {
    std::vector<Message> const kept = std::exchange(callbacks, {});
    for (Message const& callback : kept) {
        std::string const* const name = callback.find("channel");
        bool const isOfNone = name == nullptr || *name == "none";
        if (isOfNone ? isOfOwnEvent : isOwnName(*name)) {
            listener->seeCallback(callback);
        }
    }
}

void SessionSite::callbackSeen(Message const& callback) {
    callbacks.push_back(callback);
}

void SessionSite::lineLogged(host::Workstation::LogLine const& line) {
    listener->seeLog(line);
}

void SessionSite::libraryEnded(int cause) {
    listener->seeLibraryEnd(cause);
}

/* The end */

/** @return false when the boards, or acknowledgements, are still to come at the file's deadline */
bool SessionSite::awaitArrival() {
    return workstation.dispatcher().runUntil(
               [this] { return (hasArrived() && pending() == 0) || session.isEnding(); },
               file->deadline) &&
           !session.isEnding();
}

void SessionSite::closeListed() {
    for (MC_Channel* const record : records) {
        for (unsigned left = SessionManager::listings(*record); left != 0; --left) {
            session.sessions.perform(&MC_Manager::closeChannel, *record);
        }
    }
    try {
        mark();
    } catch (std::runtime_error const&) {
        // From a board that is gone nothing is to come.
        forget();
    }
    awaitArrival();
}

std::optional<Failure> SessionSite::end() {
    if (!isListening || std::exchange(hasEnded, true)) {
        return std::nullopt;
    }
    auto const isListed = [](MC_Channel const* each) {
        return SessionManager::listings(*each) != 0;
    };
    if (!file->leaveOpen && std::any_of(records.begin(), records.end(), isListed)) {
        closeListed();
    }
    stopListening();
    workstation.setLogLevel(logLevelBefore);
    Failure leftOver = {"channels left to the session", {"none"}, {}};
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!isListed(records[i])) {
            session.sessions.release(*records[i]);
        } else {
            if (!file->leaveOpen) {
                leftOver.seen.push_back(file->channels[i].name);
            }
            session.keep(file->channels[i].name, *records[i]);
        }
    }
    return leftOver.seen.empty() ? std::nullopt : std::make_optional(leftOver);
}

void SessionSite::abandon() {
    try {
        end();
    } catch (std::exception const&) {
        // The file has failed, and has said why; nothing more can be given back.
        stopListening();
    }
}

} // namespace gateway
