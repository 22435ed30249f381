#include "tests/soak/Client.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "host/Text.h"

#include <array>
#include <iterator>
#include <list>
#include <stdexcept>
#include <string>

namespace soak {

namespace {

enum Command : std::uint32_t {
    openVoiceIn = 100,
    openVoiceOut = 104,
    closeVoiceIn = 102,
    closeVoiceOut = 106,
    updateVoiceIn = 132,
    updateVoiceOut = 133,
    setParameter = 108,
    openFaxIn = 115,
    openFaxOut = 119,
    closeFaxIn = 117,
    closeFaxOut = 121,
    joinChannels = 124,
    unjoinChannel = 125
};

enum Parameter : std::uint8_t {
    silenceCompression = 2,
    digitDetection = 3,
    packetLength = 4,
    faxDetection = 5
};

/** The value of the record's mode that keeps fax-tone detection from being armed. */
constexpr std::int32_t noFaxDetectionMode = 2;

constexpr std::uint32_t peerAddress = 0xC0A80909;

std::uint32_t byDirection(Leg const& leg, Command in, Command out) {
    return leg.direction == VCOM_DIRECTION_IN ? in : out;
}

bool hasDirection(Leg const& leg) {
    return leg.direction == VCOM_DIRECTION_IN || leg.direction == VCOM_DIRECTION_OUT;
}

/** Keeps a little memory each time that it is called. */
void keepMemory() {
    static std::list<char> kept;
    kept.push_back('x');
}

} // namespace

Client::Client(Surroundings& surroundings, Calls& itsCalls)
    : around(surroundings), calls(itsCalls) {}

/* Records */

void Client::make(Call& call) {
    IPAddress const gateway(call.site->ip());
    bool const isSideMissing = around.random.percent(10);
    std::size_t const missing = around.random.index(2);
    for (std::size_t side = 0; side < call.legs.size(); ++side) {
        if (isSideMissing && side == missing) {
            continue;
        }
        Leg& leg = call.legs.at(side);
        leg.call = &call;
        leg.record = MC_Manager::instance()->factory();
        around.ledger.add(Count::recordsMade);
        leg.record->dsp = call.dsp;
        leg.direction = side == 0 ? VCOM_DIRECTION_IN : VCOM_DIRECTION_OUT;
        MC_Manager::instance()->setMediaGateway(leg.record, &gateway);
        fill(leg);
        if (around.random.percent(4)) {
            spoil(leg);
        }
        leg.record->direction = leg.direction;
    }
}

void Client::fill(Leg& leg) {
    static constexpr std::array<VCOM_Framing, 3> framings = {VCOM_FRAMING_30, VCOM_FRAMING_60,
                                                             VCOM_FRAMING_90};
    MC_Channel& record = *leg.record;
    Random& random = around.random;
    IPAddress const local(leg.call->site->ip());
    IPAddress const remote(peerAddress);
    record.codec = static_cast<std::int32_t>(1 + random.below(5));
    std::size_t const shortest = random.index(2);
    record.minFraming = framings.at(shortest);
    record.maxFraming = framings.at(shortest + random.index(2));
    record.rtpRemote.Set(&remote, 4000);
    record.rtcpRemote.Set(&remote, 4001);
    if (random.percent(50)) {
        record.rtpLocal.Set(&local, 0);
    }
    record.channelMode = random.percent(10) ? noFaxDetectionMode : 0;
    record.faxDetection = random.percent(40);
    record.calledSide = random.percent(50);
    record.sendCed = random.percent(50);
    record.sendNoSignal = static_cast<std::uint8_t>(random.below(3));
    record.faxDepth = 1;
    record.faxRedundancy = 2;
    record.joinDsp = 0;
    change(leg);
    leg.wantsFaxDetection = record.faxDetection;
    leg.armsFaxDetection = record.faxDetection && record.channelMode != noFaxDetectionMode;
}

/** One thing that the library or the board does not take. */
void Client::spoil(Leg& leg) {
    MC_Channel& record = *leg.record;
    switch (around.random.below(6)) {
    case 0:
        record.codec = 9;
        leg.hasCodec = false;
        leg.hasFraming = false;
        break;
    case 1:
        record.maxFraming = VCOM_FRAMING_NONE;
        leg.hasFraming = false;
        break;
    case 2:
        record.rtpRemote.Set(nullptr, 4000);
        leg.hasRemote = false;
        break;
    case 3:
        record.faxTransport = VCOM_FAXTRANSPORT_NONE;
        leg.hasFaxTransport = false;
        break;
    case 4:
        record.sendNoSignal = 3;
        break;
    default:
        leg.direction = VCOM_DIRECTION_NONE;
        break;
    }
}

void Client::change(Leg& leg) {
    leg.vad = around.random.percent(50);
    leg.record->vad = leg.vad;
    leg.record->rtpDtmfPayloadType = around.random.percent(50) ? 101 : 0;
}

void Client::drop(Leg& leg) {
    MC_Channel* const record = leg.record;
    leg.record = nullptr;
    around.ledger.add(Count::recordsDropped);
    if (around.sabotage.strikes(Fault::keptMemory)) {
        keepMemory();
    }
    if (!around.sabotage.strikes(Fault::keptReference)) {
        GC_GarbageCollector::instance()->dereference(record);
    }
}

/* What the library must do */

/** @return false when the post must be refused */
bool Client::expect(Leg const& leg, std::uint32_t identifier, std::uint8_t code) {
    Call const& call = *leg.call;
    if (call.site->expect({identifier, call.dsp, code, call.number})) {
        return true;
    }
    // A command that can't be posted ends the process, which is one line in the log of the library
    // and one in that of the platform.
    ++exitsExpected;
    errorsExpected += 2;
    return false;
}

/** What opening and updating a channel both send between silence suppression and voice path. */
void Client::expectFeatures(Leg const& leg) {
    if (leg.direction == VCOM_DIRECTION_OUT) {
        expect(leg, setParameter, packetLength);
    }
    expect(leg, setParameter, digitDetection);
}

/** @return false when the library must refuse */
bool Client::settleSilenceSuppression(Leg& leg) {
    if (!hasDirection(leg)) {
        ++errorsExpected;
        return false;
    }
    for (Leg* const each : calls.listed()) {
        bool const isPartner = each->call->site == leg.call->site &&
                               each->call->dsp == leg.call->dsp && hasDirection(*each) &&
                               each->direction != leg.direction;
        if (isPartner && each->vad != leg.vad) {
            each->vad = false;
            leg.vad = false;
        }
    }
    return true;
}

bool Client::expectOpen(Leg& leg) {
    calls.list(leg);
    if (!settleSilenceSuppression(leg)) {
        return false;
    }
    expect(leg, setParameter, silenceCompression);
    if (leg.armsFaxDetection && !isFaxDetectionOff) {
        expect(leg, setParameter, faxDetection);
    }
    if (leg.direction == VCOM_DIRECTION_OUT && !leg.hasFraming) {
        return false;
    }
    expectFeatures(leg);
    if (!leg.hasCodec) {
        return false;
    }
    if (expect(leg, byDirection(leg, openVoiceIn, openVoiceOut))) {
        ++leg.call->opensPosted;
    }
    leg.voiceOpen = true;
    leg.state = MC_Channel::Voice_Open;
    return true;
}

bool Client::expectUpdate(Leg& leg) {
    if (!settleSilenceSuppression(leg)) {
        return false;
    }
    expect(leg, setParameter, silenceCompression);
    if (leg.direction == VCOM_DIRECTION_OUT && !leg.hasFraming) {
        return false;
    }
    expectFeatures(leg);
    expect(leg, byDirection(leg, updateVoiceIn, updateVoiceOut));
    return true;
}

/** Joins and unjoins are refused where other commands end the process. */
bool Client::expectJoin(Leg const& leg, std::uint32_t identifier) {
    Call const& call = *leg.call;
    return call.site->expect({identifier, call.dsp, 0, call.number});
}

bool Client::expectFax(Leg& leg) {
    if (leg.isIdleOrClosed()) {
        calls.list(leg);
    }
    if (!leg.wantsFaxDetection) {
        expect(leg, setParameter, faxDetection);
    }
    bool const isOut = leg.direction == VCOM_DIRECTION_OUT;
    if (!hasDirection(leg) || (isOut && !(leg.hasRemote && leg.hasFaxTransport))) {
        return false;
    }
    if (expect(leg, byDirection(leg, openFaxIn, openFaxOut))) {
        ++leg.call->opensPosted;
    }
    leg.faxOpen = true;
    leg.state = MC_Channel::Fax_Open;
    return true;
}

/* Operations */

void Client::perform(Names const& names, Leg& leg, bool isRefusalExpected) {
    bool isRefused = false;
    try {
        (MC_Manager::instance()->*names.operation)(leg.record);
    } catch (std::runtime_error const&) {
        isRefused = true;
    }
    around.ledger.add(isRefused ? names.refused : names.done);
    if (isCalledBack) {
        around.ledger.add(Count::operationsInCallbacks);
    }
    if (isRefused != isRefusalExpected) {
        around.ledger.finding(isRefused ? "an operation was refused" : "an operation was taken");
    }
    around.ledger.same(around.ledger[Count::exits], exitsExpected, "coreDumpExit");
    around.ledger.same(around.ledger[Count::logErrors], errorsExpected, "errors in the log");
    checkRecord(leg);
}

void Client::checkRecord(Leg const& leg) {
    MC_Channel const& record = *leg.record;
    bool const isRight = record.state == leg.state && record.voiceOpen == leg.voiceOpen &&
                         record.faxOpen == leg.faxOpen && record.vad == leg.vad &&
                         record.referenceCount == leg.listings + 1;
    if (!isRight) {
        around.ledger.finding("a channel record is not as it must be, " +
                              std::to_string(record.referenceCount) + " references, " +
                              std::to_string(leg.listings) + " listings expected:\n" +
                              host::withoutNul(record));
    }
}

void Client::open(Leg& leg) {
    bool const isTaken = expectOpen(leg);
    leg.call->refusedByLibrary = leg.call->refusedByLibrary || !isTaken;
    perform({&MC_Manager::openChannel, Count::opened, Count::openRefused}, leg, !isTaken);
}

void Client::update(Leg& leg) {
    bool const isTaken = expectUpdate(leg);
    perform({&MC_Manager::updateChannel, Count::updated, Count::updateRefused}, leg, !isTaken);
}

void Client::join(Leg& leg, Call const& peer) {
    if (!around.random.percent(5) || leg.hasJoinAddress) {
        delete leg.record->joinIp;
        leg.record->joinIp = new IPAddress(peer.site->ip());
        leg.hasJoinAddress = true;
    }
    leg.record->joinDsp = peer.dsp;
    bool const isTaken = leg.hasJoinAddress && expectJoin(leg, joinChannels);
    leg.state = isTaken ? MC_Channel::Join : leg.state;
    perform({&MC_Manager::joinChannel, Count::joined, Count::joinRefused}, leg, !isTaken);
}

void Client::unjoin(Leg& leg) {
    bool const isTaken = expectJoin(leg, unjoinChannel);
    leg.state = isTaken ? MC_Channel::Voice_Open : leg.state;
    perform({&MC_Manager::unjoinChannel, Count::unjoined, Count::unjoinRefused}, leg, !isTaken);
}

void Client::activateFax(Leg& leg) {
    bool const isTaken = expectFax(leg);
    perform({&MC_Manager::activateFax, Count::faxActivated, Count::faxRefused}, leg, !isTaken);
}

void Client::close(Leg& leg) {
    if (leg.faxOpen) {
        expect(leg, byDirection(leg, closeFaxIn, closeFaxOut));
    }
    if (leg.voiceOpen) {
        expect(leg, byDirection(leg, closeVoiceIn, closeVoiceOut));
    }
    Call& call = *leg.call;
    call.closedEarly = call.closedEarly || call.opensAnswered < call.opensPosted;
    leg.faxOpen = false;
    leg.voiceOpen = false;
    leg.state = MC_Channel::Close;
    calls.unlist(leg);
    // No close is ever refused: what can't be posted ends the process.
    perform({&MC_Manager::closeChannel, Count::closed, Count::closed}, leg, false);
}

void Client::closeWholly(Leg& leg) {
    while (leg.listings > 0) {
        close(leg);
    }
}

} // namespace soak
