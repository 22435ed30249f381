#include "tests/fuzz/ManagerModel.h"

#include <algorithm>
#include <initializer_list>

namespace fuzz {

namespace {

bool isResting(ClientChannel const& channel) {
    return channel.fields.state == MC_Channel::Idle || channel.fields.state == MC_Channel::Close;
}

std::uint32_t byteAt(imc_msg const& message, std::size_t offset) {
    return message.payload[offset];
}

std::uint32_t halfAt(imc_msg const& message, std::size_t offset) {
    return byteAt(message, offset) << 8U | byteAt(message, offset + 1);
}

} // namespace

std::string Callback::text() const {
    std::array<char const*, 4> const names = {"faxToneEvent", "ackEvent", "dtmfEvent",
                                              "ackErrorEvent"};
    return std::string(names.at(static_cast<std::size_t>(kind))) +
           (channel == nullptr ? " of no channel" : " of " + channel->getIdentifier()) + ": " +
           std::to_string(first) + ", " + std::to_string(second);
}

bool ManagerModel::isListed(ClientChannel const& channel) const {
    return listings(channel) > 0;
}

std::uint32_t ManagerModel::listings(ClientChannel const& channel) const {
    return static_cast<std::uint32_t>(std::count(listed.begin(), listed.end(), &channel));
}

bool ManagerModel::remove(ClientChannel const& channel) {
    auto const found = std::find(listed.begin(), listed.end(), &channel);
    bool const wasListed = found != listed.end();
    if (wasListed) {
        listed.erase(found);
    }
    return wasListed;
}

void ManagerModel::list(ClientChannel& channel) {
    listed.push_back(&channel);
}

/** A channel that the manager does not know ends the process, with an error in the log. */
void ManagerModel::check(ClientChannel const& channel) {
    if (!isListed(channel)) {
        ++effects.exits;
        ++effects.errors;
    }
}

bool ManagerModel::isTakenByImc(ClientChannel const& channel, Record const& record) {
    if (unserved.count(channel.fields.sid) > 0) {
        return false;
    }
    effects.posts.push_back(record);
    bool const fails = failingPosts > 0;
    failingPosts -= fails ? 1 : 0;
    return !fails;
}

/** A command that IMC can't deliver ends the process as well. */
Ending ManagerModel::send(ClientChannel const& channel, MaybeRecord const& record) {
    check(channel);
    if (!record) {
        return Ending::refused;
    }
    if (!isTakenByImc(channel, *record)) {
        ++effects.exits;
        ++effects.errors;
    }
    return Ending::returned;
}

/** Joins and unjoins that IMC can't deliver are refused instead. */
Ending ManagerModel::post(ClientChannel const& channel, MaybeRecord const& record) {
    check(channel);
    bool const isPosted = record && isTakenByImc(channel, *record);
    return isPosted ? Ending::returned : Ending::refused;
}

Ending ManagerModel::setSilenceSuppression(ClientChannel& channel) {
    return send(channel, silenceCompression(channel.fields));
}

Ending ManagerModel::setFaxDetection(ClientChannel& channel) {
    return send(channel, faxDetection(channel.fields, settings));
}

Ending ManagerModel::setDigitDetection(ClientChannel& channel) {
    return send(channel, digitDetection(channel.fields));
}

Ending ManagerModel::setPacketLength(ClientChannel& channel) {
    return send(channel, packetLength(channel.fields));
}

Ending ManagerModel::openVoice(ClientChannel& channel) {
    return send(channel, fuzz::openVoice(channel.fields, settings));
}

Ending ManagerModel::updateVoice(ClientChannel& channel) {
    return send(channel, fuzz::updateVoice(channel.fields));
}

Ending ManagerModel::closeVoice(ClientChannel& channel) {
    return send(channel, fuzz::closeVoice(channel.fields));
}

Ending ManagerModel::openFax(ClientChannel& channel) {
    return send(channel, fuzz::openFax(channel.fields, settings));
}

Ending ManagerModel::closeFax(ClientChannel& channel) {
    return send(channel, fuzz::closeFax(channel.fields));
}

Ending ManagerModel::checkSilence(ClientChannel& channel) {
    check(channel);
    Fields& own = channel.fields;
    if (!isDirected(own)) {
        ++effects.errors;
        return Ending::refused;
    }
    for (ClientChannel* const each : listed) {
        Fields& other = each->fields;
        bool const isPartner = isDirected(other) && other.direction != own.direction &&
                               other.dsp == own.dsp && other.sid == own.sid;
        if (isPartner && other.vad != own.vad) {
            other.vad = false;
            own.vad = false;
        }
    }
    return Ending::returned;
}

namespace {

/** Does the steps of an operation up to the one that is refused. */
Ending inOrder(ManagerModel& model, ClientChannel& channel,
               std::initializer_list<ManagerModel::Operation> steps) {
    for (ManagerModel::Operation const step : steps) {
        if (step != nullptr && (model.*step)(channel) != Ending::returned) {
            return Ending::refused;
        }
    }
    return Ending::returned;
}

ManagerModel::Operation onlyIf(bool wanted, ManagerModel::Operation step) {
    return wanted ? step : nullptr;
}

} // namespace

Ending ManagerModel::open(ClientChannel& channel) {
    using M = ManagerModel;
    Fields& fields = channel.fields;
    list(channel);
    bool const detectsFax =
        !settings.neverDetectsFax && fields.channelMode != 2 && fields.faxDetection;
    bool const isOut = fields.direction == VCOM_DIRECTION_OUT;
    Ending const ending = inOrder(
        *this, channel,
        {&M::checkSilence, &M::setSilenceSuppression, onlyIf(detectsFax, &M::setFaxDetection),
         onlyIf(isOut, &M::setPacketLength), &M::setDigitDetection, &M::openVoice});
    if (ending == Ending::returned) {
        fields.voiceOpen = true;
        fields.state = MC_Channel::Voice_Open;
    }
    return ending;
}

Ending ManagerModel::update(ClientChannel& channel) {
    using M = ManagerModel;
    bool const isOut = channel.fields.direction == VCOM_DIRECTION_OUT;
    check(channel);
    return inOrder(*this, channel,
                   {&M::checkSilence, &M::setSilenceSuppression, onlyIf(isOut, &M::setPacketLength),
                    &M::setDigitDetection, &M::updateVoice});
}

Ending ManagerModel::close(ClientChannel& channel) {
    using M = ManagerModel;
    Fields& fields = channel.fields;
    Ending const ending =
        inOrder(*this, channel,
                {onlyIf(fields.faxOpen, &M::closeFax), onlyIf(fields.voiceOpen, &M::closeVoice)});
    if (ending == Ending::returned) {
        fields.state = MC_Channel::Close;
        fields.faxOpen = false;
        fields.voiceOpen = false;
        remove(channel);
    }
    return ending;
}

Ending ManagerModel::activateFax(ClientChannel& channel) {
    using M = ManagerModel;
    Fields& fields = channel.fields;
    if (isResting(channel)) {
        list(channel);
    } else {
        check(channel);
    }
    Ending const ending =
        inOrder(*this, channel, {onlyIf(!fields.faxDetection, &M::setFaxDetection), &M::openFax});
    if (ending == Ending::returned) {
        fields.faxOpen = true;
        fields.state = MC_Channel::Fax_Open;
    }
    return ending;
}

Ending ManagerModel::join(ClientChannel& channel) {
    Ending const ending = post(channel, fuzz::join(channel.fields));
    if (ending == Ending::returned) {
        channel.fields.state = MC_Channel::Join;
    }
    return ending;
}

Ending ManagerModel::unjoin(ClientChannel& channel) {
    Ending const ending = post(channel, fuzz::unjoin(channel.fields));
    if (ending == Ending::returned) {
        channel.fields.state = MC_Channel::Voice_Open;
    }
    return ending;
}

ClientChannel* ManagerModel::find(int dsp, int direction, std::uint8_t sid) const {
    ClientChannel* resting = nullptr;
    for (ClientChannel* const each : listed) {
        Fields const& fields = each->fields;
        if (fields.dsp == dsp && fields.direction == direction && fields.sid == sid) {
            if (!isResting(*each)) {
                return each;
            }
            resting = each;
        }
    }
    return resting;
}

std::vector<Callback> ManagerModel::faxTone(imc_msg const& message) {
    ClientChannel* const channel = find(message.payload[0], VCOM_DIRECTION_IN, message.sourceSid);
    if (message.length != 1 || channel == nullptr || !isObserved) {
        return {};
    }
    channel->fields.state = MC_Channel::Fax_Detected;
    return {{Callback::Kind::faxTone, channel->record}};
}

std::vector<Callback> ManagerModel::dtmf(imc_msg const& message, int direction) {
    ClientChannel const* const channel = find(message.payload[0], direction, message.sourceSid);
    if (message.length != 4 || channel == nullptr || !isObserved) {
        return {};
    }
    return {{Callback::Kind::dtmf, channel->record, byteAt(message, 1), halfAt(message, 2)}};
}

std::vector<Callback> ManagerModel::acknowledge(imc_msg const& message, int direction,
                                                bool isOpenFax, Reaction reaction) {
    if (message.length != 4 || !isObserved) {
        return {};
    }
    ClientChannel* const channel = find(message.payload[0], direction, message.sourceSid);
    Callback const error{Callback::Kind::acknowledgeError,
                         channel == nullptr ? nullptr : channel->record};
    std::uint32_t const code = byteAt(message, 1);
    std::uint32_t const port = halfAt(message, 2);
    if (channel == nullptr || (isOpenFax && code != 0 && port == 0)) {
        return {error};
    }
    if (isOpenFax && direction == VCOM_DIRECTION_IN) {
        channel->fields.rtpLocal().port = static_cast<std::uint16_t>(port);
        channel->fields.rtcpLocal().port = static_cast<std::uint16_t>(port + 1);
    }
    Callback const good{Callback::Kind::acknowledge, channel->record, code, port};
    return reaction == Reaction::fails ? std::vector<Callback>{good, error}
                                       : std::vector<Callback>{good};
}

std::vector<Callback> ManagerModel::deliver(imc_msg const& message, Reaction reaction) {
    switch (message.messageId) {
    case 123:
        return faxTone(message);
    case 114:
        return dtmf(message, VCOM_DIRECTION_IN);
    case 113:
        return dtmf(message, VCOM_DIRECTION_OUT);
    case 101:
    case 103:
    case 118:
        return acknowledge(message, VCOM_DIRECTION_IN, false, reaction);
    case 105:
    case 107:
    case 122:
        return acknowledge(message, VCOM_DIRECTION_OUT, false, reaction);
    case 116:
        return acknowledge(message, VCOM_DIRECTION_IN, true, reaction);
    case 120:
        return acknowledge(message, VCOM_DIRECTION_OUT, true, reaction);
    default:
        return {};
    }
}

} // namespace fuzz
