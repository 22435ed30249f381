#include "gateway/session/Channels.h"

#include "address/IPAddress.h"
#include "dsp/Commands.h"
#include "host/Text.h"
#include "host/imc/SidText.h"

#include <utility>

namespace gateway {

namespace {

Path pathOf(MC_Channel const& channel) {
    return {channel.sid, channel.dsp, static_cast<dsp::Direction>(channel.direction)};
}

bool hasDirection(MC_Channel const& channel) {
    return channel.direction == VCOM_DIRECTION_IN || channel.direction == VCOM_DIRECTION_OUT;
}

bool isListed(Record const& record) {
    return SessionManager::listings(*record.channel) != 0;
}

/**
 * The board refused the opening since the path is open for somebody else: closing it, as the
 * library would, takes it from them.
 */
void leaveToOthers(Record const& record) {
    MC_Channel& channel = *record.channel;
    channel.voiceOpen = channel.voiceOpen && !record.of(Medium::voice).isOthers;
    channel.faxOpen = channel.faxOpen && !record.of(Medium::fax).isOthers;
}

/** A name that no person and no call file can give, so that it is nobody's yet. */
std::string orphanName(Path const& path) {
    return "orphan:" + std::to_string(path.sid) + ":" + std::to_string(path.dsp) + ":" +
           dsp::directionName(path.direction);
}

} // namespace

Channels::Channels(SessionManager& manager, Records& all, BoardWatch const& itsBoards, Journal& to)
    : sessions(manager), records(all), boards(itsBoards), journal(to) {}

void Channels::set(MC_Channel& channel, std::vector<FieldSetting> const& settings) {
    for (FieldSetting const& setting : settings) {
        setting.field->set(sessions.manager(), channel, setting.value);
    }
}

Channels::Refusal Channels::open(std::string const& name,
                                 std::vector<FieldSetting> const& settings) {
    if (Record const* const other = records.find(name)) {
        return "there is a channel " + name + " already (" + other->text() +
               "): expected another name, or \"session close " + name + "\" first";
    }
    if (sessions.find(name) != nullptr) {
        return "a call file that runs has a channel " + name + ": expected another name";
    }
    MC_Channel& channel = sessions.create(name);
    set(channel, settings);
    if (Refusal why = whyNotOpened(channel)) {
        sessions.release(channel);
        return why;
    }
    return start(&MC_Manager::openChannel, records.add(name, &channel, pathOf(channel)), "opened");
}

Channels::Refusal Channels::whyNotOpened(MC_Channel const& channel) const {
    if (channel.mediaGateway == nullptr) {
        return "the board is missing: expected board=SID, or mediaGateway=ADDRESS";
    }
    if (!hasDirection(channel)) {
        return "direction is missing: expected direction=in or direction=out";
    }
    Path const path = pathOf(channel);
    if (Record const* const other = records.at(path)) {
        return textOf(path) + " is that of " + other->name +
               " already: expected another dsp, direction or board";
    }
    if (boards.isGone(path.sid)) {
        return "board " + host::sidText(path.sid) + " is gone";
    }
    return std::nullopt;
}

/** The first operation on a record: what fails leaves nothing behind. */
Channels::Refusal Channels::start(SessionManager::Operation operation, Record& record,
                                  char const* what) {
    std::string const name = record.name;
    Refusal refusal = perform(operation, record, what);
    if (refusal) {
        closeQuietly(record);
    } else {
        journal.entry("opened", name + " on " + textOf(record.path),
                      {{"channel", name}, {"identifier", record.channel->getIdentifier()}});
    }
    return refusal;
}

Channels::Refusal Channels::perform(SessionManager::Operation operation, Record& record,
                                    char const* what) {
    std::uint64_t const before = refusedPosts;
    if (auto const refusal = sessions.perform(operation, *record.channel)) {
        std::string const text = host::withoutNul(*refusal);
        journal.entry(SessionCause::libraryRefused, "refused",
                      record.name + " was not " + what + ": " + text, {{"channel", record.name}});
        return record.name + " was not " + what + ": " + text;
    }
    if (refusedPosts != before) {
        return record.name + " was not " + what + ": " + textOf(record.path) +
               " can't be reached, see the report for why";
    }
    return std::nullopt;
}

/** The library ends the process for a command on a channel that it has not listed. */
Channels::Refusal Channels::performListed(SessionManager::Operation operation, Record& record,
                                          char const* what,
                                          std::vector<FieldSetting> const& settings) {
    if (!isListed(record) || record.isClosing()) {
        return record.name + " was not " + what + ": it is " + record.text();
    }
    std::vector<FieldSetting> before;
    before.reserve(settings.size());
    for (FieldSetting const& setting : settings) {
        before.push_back({setting.field, setting.field->get(*record.channel), setting.position});
    }
    set(*record.channel, settings);
    Refusal refusal = perform(operation, record, what);
    if (refusal) {
        set(*record.channel, before);
    }
    return refusal;
}

Channels::Refusal Channels::update(Record& record, std::vector<FieldSetting> const& settings) {
    return performListed(&MC_Manager::updateChannel, record, "updated", settings);
}

Channels::Refusal Channels::activateFax(Record& record) {
    // The library takes a command that it could not send for sent.
    if (record.of(Medium::fax).status != Record::Status::closed) {
        return record.name + " was not switched to fax: it is so already";
    }
    return performListed(&MC_Manager::activateFax, record, "switched to fax");
}

Channels::Refusal Channels::join(Record& record, std::vector<FieldSetting> const& settings) {
    return performListed(&MC_Manager::joinChannel, record, "joined", settings);
}

Channels::Refusal Channels::unjoin(Record& record) {
    return performListed(&MC_Manager::unjoinChannel, record, "unjoined");
}

Channels::Refusal Channels::close(Record& record) {
    if (!isListed(record)) {
        return record.name + " was not closed: it is " + record.text() + " already";
    }
    leaveToOthers(record);
    std::uint64_t const before = refusedPosts;
    Refusal refusal = perform(&MC_Manager::closeChannel, record, "closed");
    if (isListed(record)) {
        return refusal;
    }
    records.closed(record);
    journal.entry("closed",
                  record.name + " on " + textOf(record.path) +
                      (refusedPosts == before ? "" : ", which could not be told"),
                  {{"channel", record.name}});
    settle(record);
    return std::nullopt;
}

/** What could not be opened is taken off the library's list. */
void Channels::closeQuietly(Record& record) {
    while (isListed(record)) {
        if (sessions.perform(&MC_Manager::closeChannel, *record.channel)) {
            break;
        }
    }
    records.closed(record);
    settle(record);
}

Channels::Refusal Channels::reopen(Record& record) {
    bool const wasFax = record.channel->faxOpen;
    bool const wasVoice = record.channel->voiceOpen;
    Refusal refusal = perform(&MC_Manager::closeChannel, record, "closed");
    records.closed(record);
    if (!refusal && wasVoice) {
        refusal = perform(&MC_Manager::openChannel, record, "opened again");
    }
    if (!refusal && wasFax) {
        refusal = perform(&MC_Manager::activateFax, record, "switched to fax again");
    }
    if (refusal) {
        closeQuietly(record);
    }
    return refusal;
}

/**
 * Values with which any board finds the opening in order, and can say that the path is open
 * already. What the library sets for the whole DSP channel is left as the other direction has it.
 */
void Channels::fillOrphan(MC_Channel& channel, Path const& path) {
    channel.dsp = path.dsp;
    channel.direction = static_cast<VCOM_Direction>(path.direction);
    channel.codec = 1;
    channel.minFraming = channel.maxFraming = VCOM_FRAMING_20;
    // As far as the library knows it is armed already: it sends no parameter for it.
    channel.faxDetection = true;
    channel.channelMode = 2;
    IPAddress const nowhere("0.0.0.0");
    channel.rtpRemote.Set(&nowhere, 0);
    Path const across = {path.sid, path.dsp,
                         path.direction == dsp::Direction::in ? dsp::Direction::out
                                                              : dsp::Direction::in};
    if (Record const* const other = records.at(across)) {
        channel.vad = other->channel->vad;
        channel.rtpDtmfPayloadType = other->channel->rtpDtmfPayloadType;
    }
}

Channels::Refusal Channels::closeOrphan(Path const& path, bool isVoice, bool isFax,
                                        std::string const& ip) {
    std::string const name = orphanName(path);
    MC_Channel& channel = sessions.create(name);
    IPAddress const board(ip);
    sessions.manager().setMediaGateway(&channel, &board);
    fillOrphan(channel, path);
    Record& record = records.add(name, &channel, path);
    record.isOrphan = true;
    Refusal refusal;
    if (isVoice) {
        refusal = perform(&MC_Manager::openChannel, record, "taken over");
    }
    if (!refusal && isFax) {
        refusal = perform(&MC_Manager::activateFax, record, "taken over");
    }
    closeQuietly(record);
    return refusal;
}

void Channels::keep(std::string const& name, MC_Channel& channel) {
    Path const path = pathOf(channel);
    if (records.find(name) != nullptr || records.at(path) != nullptr) {
        sessions.perform(&MC_Manager::closeChannel, channel);
        sessions.release(channel);
        journal.entry("refused", name +
                                     " is not kept open: the session has a channel of that name " +
                                     "or on " + textOf(path));
        return;
    }
    Record& record = records.add(name, &channel, path);
    record.of(Medium::voice).status =
        channel.voiceOpen ? Record::Status::open : Record::Status::closed;
    record.of(Medium::fax).status = channel.faxOpen ? Record::Status::open : Record::Status::closed;
    journal.entry("kept", name + " on " + textOf(path), {{"channel", name}});
}

void Channels::settle(Record& record) {
    if (!record.isSettled()) {
        return;
    }
    auto const waiters = std::exchange(record.waiters, {});
    std::string const fault = std::exchange(record.fault, {});
    if (record.isFinished() && !isListed(record)) {
        release(record);
    }
    for (Record::Waiter const& waiter : waiters) {
        waiter(fault);
    }
}

void Channels::release(Record& record) {
    sessions.release(*record.channel);
    records.remove(record.name);
}

} // namespace gateway
