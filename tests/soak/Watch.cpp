#include "tests/soak/Watch.h"

#include "MC_Message.h"
#include "imc/IMC_Manager.h"

#include <array>
#include <stdexcept>

namespace soak {

namespace {

constexpr std::uint32_t configurationMessage = 600;
constexpr std::uint32_t openFaxInAcknowledged = 116;
constexpr std::uint32_t openFaxOutAcknowledged = 120;

/** Everything that the manager registers for. */
constexpr std::array<long, 14> identifiers = {600, 123, 114, 113, 110, 112, 101,
                                              105, 103, 107, 116, 120, 118, 122};

void registerFor(IMC_Observer& observer) {
    for (long const identifier : identifiers) {
        IMC_Manager::instance(0xff)->registration(&observer, identifier);
    }
}

void unregisterFrom(IMC_Observer& observer) {
    for (long const identifier : identifiers) {
        IMC_Manager::instance(0xff)->unregistration(&observer, identifier);
    }
}

bool isOpenAcknowledged(std::uint32_t identifier) {
    return identifier == 101 || identifier == 105 || identifier == openFaxInAcknowledged ||
           identifier == openFaxOutAcknowledged;
}

std::uint16_t portOf(imc_msg const& acknowledgement) {
    return static_cast<std::uint16_t>(acknowledgement.payload[2] * 256U +
                                      acknowledgement.payload[3]);
}

} // namespace

Watch::Watch(Surroundings& surroundings, Client& itsClient, Calls& itsCalls)
    : around(surroundings),
      client(itsClient),
      calls(itsCalls),
      before([this](imc_msg const& event) { foresee(event); }),
      behind([this](imc_msg const&) { compare(); }) {
    registerFor(before);
    startManager();
}

Watch::~Watch() {
    endManager();
    unregisterFrom(before);
}

void Watch::startManager() {
    MC_Manager::instance()->registration(this);
    registerFor(behind);
    client.isFaxDetectionOff = false;
}

void Watch::endManager() {
    unregisterFrom(behind);
    MC_Manager::instance()->unregistration(this);
    delete MC_Manager::instance();
}

void Watch::replaceManager() {
    endManager();
    startManager();
    around.ledger.add(Count::managersReplaced);
}

/* Before the manager */

bool Watch::hasLength(imc_msg const& event, unsigned length) {
    if (event.length == length) {
        return true;
    }
    around.ledger.add(Count::ignoredWrongLength);
    return false;
}

void Watch::foresee(imc_msg const& event) {
    awaited = Callback::none;
    leg = nullptr;
    message = &event;
    hasThrown = false;
    if (event.messageId == configurationMessage) {
        client.isFaxDetectionOff = isFaxDetectionOff;
        around.ledger.add(Count::configurations);
        return;
    }
    around.ledger.add(Count::eventsDelivered);
    switch (event.messageId) {
    case 110:
    case 112:
        if (hasLength(event, 8)) {
            around.ledger.add(Count::alertsPassedOver);
        }
        break;
    case 123:
        if (hasLength(event, 1)) {
            foreseeForChannel(event, VCOM_DIRECTION_IN, Callback::faxTone);
        }
        break;
    case 114:
    case 113:
        if (hasLength(event, 4)) {
            foreseeForChannel(event,
                              event.messageId == 114 ? VCOM_DIRECTION_IN : VCOM_DIRECTION_OUT,
                              Callback::dtmf);
        }
        break;
    default:
        if (hasLength(event, 4)) {
            bool const isIn = event.messageId == 101 || event.messageId == 103 ||
                              event.messageId == openFaxInAcknowledged || event.messageId == 118;
            foreseeAcknowledgement(event, isIn ? VCOM_DIRECTION_IN : VCOM_DIRECTION_OUT);
        }
        break;
    }
}

void Watch::foreseeForChannel(imc_msg const& event, VCOM_Direction direction, Callback expected) {
    leg = calls.target(event.payload[0], direction, event.sourceSid);
    if (leg == nullptr) {
        around.ledger.add(Count::ignoredWithoutChannel);
        return;
    }
    awaited = expected;
    if (expected == Callback::faxTone) {
        leg->state = MC_Channel::Fax_Detected;
    }
}

void Watch::foreseeAcknowledgement(imc_msg const& event, VCOM_Direction direction) {
    leg = calls.target(event.payload[0], direction, event.sourceSid);
    bool const isFax =
        event.messageId == openFaxInAcknowledged || event.messageId == openFaxOutAcknowledged;
    bool const isRefusal = isFax && event.payload[1] != 0 && portOf(event) == 0;
    awaited = leg == nullptr || isRefusal ? Callback::ackError : Callback::ack;
    if (leg == nullptr) {
        return;
    }
    Call& call = *leg->call;
    call.opensAnswered += isOpenAcknowledged(event.messageId) ? 1U : 0U;
    call.refusedByBoard = call.refusedByBoard || event.payload[1] != 0;
}

/* The callbacks */

void Watch::met(Callback callback, MC_Channel const* channel, Count count) {
    around.ledger.add(hasThrown ? Count::ackErrorEventsAfterThrow : count);
    if (callback != awaited || channel != (leg == nullptr ? nullptr : leg->record)) {
        around.ledger.finding("another callback than expected of event " +
                              std::to_string(message->messageId) + " of dsp " +
                              std::to_string(message->payload[0]));
    }
    awaited = Callback::none;
}

void Watch::throwSometimes(std::uint32_t chance) {
    if (around.random.percent(chance)) {
        around.ledger.add(Count::callbacksThrown);
        throw std::runtime_error("the client does not want this event");
    }
}

/** Closes the channel from within its callback, and may drop it there as well. */
void Watch::hangUp() {
    client.isCalledBack = true;
    client.closeWholly(*leg);
    if (around.random.percent(50)) {
        client.drop(*leg);
    }
    client.isCalledBack = false;
}

void Watch::faxToneEvent(MC_Channel* pChannel, MC_FaxTone const& /*faxTone*/) {
    met(Callback::faxTone, pChannel, Count::faxToneEvents);
    throwSometimes(3);
    std::uint32_t const answer = around.random.below(100);
    if (answer < 40) {
        client.isCalledBack = true;
        client.activateFax(*leg);
        client.isCalledBack = false;
    } else if (answer < 45) {
        hangUp();
    }
}

void Watch::dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) {
    met(Callback::dtmf, pChannel, Count::dtmfEvents);
    around.ledger.same(dtmf.digit, message->payload[1], "digit");
    throwSometimes(3);
    if (around.random.percent(3)) {
        hangUp();
    }
}

void Watch::ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) {
    met(Callback::ack, pChannel, Count::ackEvents);
    around.ledger.same(acknowledge.error, message->payload[1], "error of an acknowledgement");
    around.ledger.same(acknowledge.localPort, portOf(*message), "port of an acknowledgement");
    if (message->messageId == openFaxInAcknowledged) {
        around.ledger.same(pChannel->rtpLocal.GetPort(), portOf(*message), "local port");
    }
    if (around.random.percent(2)) {
        // The manager must answer with ackErrorEvent.
        awaited = Callback::ackError;
        hasThrown = true;
        throwSometimes(100);
    }
    if (acknowledge.error != 0 && around.random.percent(30)) {
        hangUp();
    }
}

void Watch::ackErrorEvent(MC_Channel* pChannel, MC_AckError const& /*error*/) {
    met(Callback::ackError, pChannel,
        pChannel == nullptr ? Count::ackErrorEventsWithoutChannel : Count::ackErrorEvents);
    if (leg != nullptr && around.random.percent(20)) {
        hangUp();
    }
}

/* Behind the manager */

void Watch::compare() {
    if (awaited != Callback::none) {
        around.ledger.finding("no callback of event " + std::to_string(message->messageId) +
                              " of dsp " + std::to_string(message->payload[0]));
    }
    if (leg != nullptr && leg->record != nullptr) {
        client.checkRecord(*leg);
    }
}

} // namespace soak
