#include "MC_Manager.h"

#include "MC_Assert.h"
#include "MC_DspLayout.h"
#include "MC_Trace.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "config/CFG_Manager.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <cstdio>
#include <typeinfo>

namespace {

char const source[] = "framework/lib/MC_API/MC_Manager";

/**
 * Log and assertion line numbers of this source, in the order in which they stand in it. They are
 * fixed: whoever reads the logs knows them.
 */
enum Line {
    setMediaGatewayAssert = 195,
    openChannelAssert = 232,
    openChannelTrace = 275,
    closeChannelAssert = 286,
    closeChannelTrace = 316,
    updateChannelAssert = 330,
    updateChannelTrace = 364,
    activateFaxAssert = 375,
    activateFaxTrace = 407,
    joinChannelAssert = 418,
    joinChannelTrace = 468,
    unjoinChannelAssert = 479,
    unjoinChannelTrace = 511,
    imcPostError = 532,
    setSilenceSuppressionActiveAssert = 545,
    setSilenceSuppressionActiveTrace = 573,
    setFaxDetectionActiveAssert = 584,
    setFaxDetectionActiveTrace = 620,
    setDigitDetectionAssert = 631,
    setDigitDetectionDisabledTrace = 651,
    setDigitDetectionTrace = 659,
    setPacketLengthAssert = 677,
    setPacketLengthTrace = 706,
    openVoiceAssert = 717,
    openVoiceTrace = 780,
    updateVoiceAssert = 791,
    updateVoiceTrace = 852,
    openFaxAssert = 863,
    openFaxNoSignalTrace = 924,
    openFaxTrace = 937,
    closeVoiceAssert = 948,
    closeVoiceTrace = 982,
    closeFaxAssert = 994,
    closeFaxTrace = 1028,
    findCheckAssert = 1039,
    channelCheckAssert = 1056,
    channelCheckError = 1062,
    removeAssert = 1075,
    garbageAssert = 1096,
    checkSilenceSuppressionModeAssert = 1142,
    checkSilenceSuppressionModeTrace = 1183,
    checkSilenceSuppressionModeError = 1192,
    faxToneEventTrace = 1217,
    dtmfEventTrace = 1244,
    ackEventErrorTrace = 1318,
    ackEventTrace = 1331
};

/** IMC address family in which boards are looked up. */
int const boardFamily = 12;

/** The exit cause of the library's fatal errors. */
int const exitCause = 0;

/** The value of MC_Channel::channelMode that keeps fax-tone detection from being armed. */
int const noFaxDetectionMode = 2;

void assertChannel(MC_Channel const* pChannel, unsigned int line, char const* function) {
    MC_assertChannel(pChannel, source, line, function);
}

void trace(MC_Text& text, Line line) {
    MC_trace(text, source, line);
}

/** "Failed to ...(identifier)", and behind it the text of the step that failed. */
std::runtime_error failure(char const* failed, MC_Channel const* pChannel,
                           std::runtime_error const& inner) {
    MC_Text text;
    text << failed << MC_Text::Id{pChannel} << ")\n\t" << inner.what();
    return std::runtime_error(text.ends());
}

/** Apart from the lookup, so that a lookup that succeeds pays nothing for one that fails. */
[[noreturn, gnu::noinline, gnu::cold]] void throwNoChannel(int dsp, VCOM_Direction direction) {
    MC_Text text;
    text << "Unable to found '" << MC_directionName(direction) << " channel' with dsp(" << dsp
         << ")";
    throw std::runtime_error(text.ends());
}

/** Ends the process; apart from the check for the same reason. */
[[gnu::noinline, gnu::cold]] void endUnknownChannel(std::string const& where) {
    MC_error("MC_Manager component not found", where, source, channelCheckError);
    IMC_Manager::coreDumpExit(exitCause);
}

char const* faxProtocolName(VCOM_FaxTransport protocol) {
    return protocol == VCOM_FAXTRANSPORT_TCP ? "TCP" : "UDP";
}

/** What stands for a direction, which must be in or out. */
template <class Value>
Value byDirection(VCOM_Direction direction, Value in, Value out) {
    switch (direction) {
    case VCOM_DIRECTION_IN:
        return in;
    case VCOM_DIRECTION_OUT:
        return out;
    default:
        throw std::runtime_error(MC_directionRefusal(direction));
    }
}

/** The message identifier of a command that exists once for each direction. */
template <class Command>
unsigned int messageIdOf(VCOM_Direction direction) {
    return byDirection<unsigned int>(direction, Command::idIn, Command::idOut);
}

/** An empty command for the DSP of a channel. */
template <class Command>
imc_msg commandFor(MC_Channel const* pChannel, unsigned int messageId) {
    imc_msg message = imc_msg();
    message.destinationSid = pChannel->sid;
    message.length = Command::Layout::length;
    message.messageId = messageId;
    MC_Dsp::put<Command, typename Command::Dsp>(message, pChannel->dsp);
    return message;
}

/** An empty set-parameter command for the DSP of a channel. */
template <class Command>
imc_msg parameterFor(MC_Channel const* pChannel, MC_Dsp::SetParameter::Code code) {
    imc_msg message = commandFor<Command>(pChannel, Command::id);
    MC_Dsp::put<Command, typename Command::ParameterCode>(message, code);
    return message;
}

// A voice command reads each value from an end point of its own, never from the record: platforms
// that watch their address objects know these copies.
unsigned int portOf(UDPAddr const& end) {
    return TransportAddress(end.GetINetAddress(), end.GetPort()).GetPort();
}

/** Copies the binary form of an address; a missing one leaves the bytes as they are. */
void copyAddress(UDPAddr const& end, unsigned char (&bytes)[16]) {
    TransportAddress const copy(end.GetINetAddress(), end.GetPort());
    if (copy.GetINetAddress() != NULL) {
        copy.GetINetAddress()->GetBinary(bytes);
    }
}

/** The end points that opening and updating a voice path both send. */
template <class Command>
void putVoiceAddresses(imc_msg& message, MC_Channel const* pChannel) {
    using MC_Dsp::put;
    copyAddress(pChannel->rtpRemote, MC_Dsp::bytes<Command, typename Command::RemoteIp>(message));
    put<Command, typename Command::RemoteRtpPort>(message, portOf(pChannel->rtpRemote));
    put<Command, typename Command::LocalRtpPort>(message, portOf(pChannel->rtpLocal));
    put<Command, typename Command::RemoteRtcpPort>(message, portOf(pChannel->rtcpRemote));
}

template <class Command>
void putPayloadTypes(imc_msg& message, MC_Channel const* pChannel) {
    using MC_Dsp::put;
    put<Command, typename Command::DtmfPayloadType>(message, pChannel->rtpDtmfPayloadType);
    put<Command, typename Command::RedundancyPayloadType>(message,
                                                          pChannel->rtpRedundancyPayloadType);
}

/** Whether the DSP to join sits on another board than the channel. */
bool isJoinRemote(MC_Channel const* pChannel) {
    TransportAddress const local(pChannel->rtpLocal.GetINetAddress(), pChannel->rtpLocal.GetPort());
    return local.GetINetAddress() == NULL || *local.GetINetAddress() != *pChannel->joinIp;
}

/** The IPv4 address that an outgoing fax path goes to, as a number. */
unsigned int faxAddressOf(MC_Channel const* pChannel) {
    IPAddress const* const pAddress =
        dynamic_cast<IPAddress const*>(pChannel->rtpRemote.GetINetAddress());
    if (pAddress == NULL) {
        throw std::runtime_error("Remote RTP address missing or not IPv4");
    }
    return pAddress->GetValue();
}

/** The signal that a fax path sends. Only the calling side sends CNG. */
unsigned int noSignalOf(MC_Channel const* pChannel) {
    unsigned int const cng = 2;
    if (pChannel->sendNoSignal == cng && pChannel->calledSide) {
        return 0;
    }
    return pChannel->sendNoSignal;
}

void setPort(UDPAddr& end, std::uint16_t port) {
    end.Set(end.GetINetAddress(), port);
}

/**
 * Takes what the DSP says of an opened fax path: for direction 1, the local ports. An error that
 * comes with a port is a success.
 */
void openFaxAcknowledged(MC_Channel* pChannel, VCOM_Direction direction,
                         MC_Acknowledge const& ack) {
    if (ack.error != 0 && ack.localPort == 0) {
        MC_Text text;
        text << "openFaxAck error=" << ack.error;
        throw std::runtime_error(text.ends());
    }
    if (direction == VCOM_DIRECTION_IN) {
        setPort(pChannel->rtpLocal, ack.localPort);
        setPort(pChannel->rtcpLocal, static_cast<std::uint16_t>(ack.localPort + 1));
    }
}

bool isIdleOrClosed(MC_Channel const* pChannel) {
    return pChannel->state == MC_Channel::Close || pChannel->state == MC_Channel::Idle;
}

} // namespace

/** An observer and the IMC message that it is registered for. */
struct MC_Manager::Subscription {
    IMC_Observer* observer;
    long messageId;
};

MC_Manager* MC_Manager::pManager = NULL;

MC_Manager::MC_Manager()
    : garbageCollector(NULL),
      observer(NULL),
      imc(NULL),
      faxToneObserver(FaxToneEvent),
      dtmfObserverIn(DtmfEvent, VCOM_DIRECTION_IN),
      dtmfObserverOut(DtmfEvent, VCOM_DIRECTION_OUT),
      alertObserverIn(AlertEvent, VCOM_DIRECTION_IN),
      alertObserverOut(AlertEvent, VCOM_DIRECTION_OUT),
      openVoiceAckObserverIn(OpenVoiceAck, VCOM_DIRECTION_IN),
      openVoiceAckObserverOut(OpenVoiceAck, VCOM_DIRECTION_OUT),
      closeVoiceAckObserverIn(CloseVoiceAck, VCOM_DIRECTION_IN),
      closeVoiceAckObserverOut(CloseVoiceAck, VCOM_DIRECTION_OUT),
      openFaxAckObserverIn(OpenFaxAck, VCOM_DIRECTION_IN),
      openFaxAckObserverOut(OpenFaxAck, VCOM_DIRECTION_OUT),
      closeFaxAckObserverIn(CloseFaxAck, VCOM_DIRECTION_IN),
      closeFaxAckObserverOut(CloseFaxAck, VCOM_DIRECTION_OUT) {
    garbageCollector = GC_GarbageCollector::instance();
    imc = IMC_Manager::instance(0xff);
    // IMC may deliver as soon as an observer is registered, and observers ask for the manager.
    pManager = this;
    try {
        for (Subscription const& entry : subscriptions()) {
            imc->registration(entry.observer, entry.messageId);
        }
        MC_Log::instance();
    } catch (...) {
        // IMC must not keep observers of a manager that was never finished.
        pManager = NULL;
        unsubscribe();
        throw;
    }
}

MC_Manager::~MC_Manager() {
    pManager = NULL;
    MC_Log::desinstance();
    unsubscribe();
}

std::array<MC_Manager::Subscription, MC_Manager::subscriptionCount> MC_Manager::subscriptions() {
    return {{
        {&config, 600},
        {&faxToneObserver, 123},
        {&dtmfObserverIn, 114},
        {&dtmfObserverOut, 113},
        {&alertObserverIn, 110},
        {&alertObserverOut, 112},
        {&openVoiceAckObserverIn, 101},
        {&openVoiceAckObserverOut, 105},
        {&closeVoiceAckObserverIn, 103},
        {&closeVoiceAckObserverOut, 107},
        {&openFaxAckObserverIn, 116},
        {&openFaxAckObserverOut, 120},
        {&closeFaxAckObserverIn, 118},
        {&closeFaxAckObserverOut, 122},
    }};
}

void MC_Manager::unsubscribe() {
    for (Subscription const& entry : subscriptions()) {
        try {
            imc->unregistration(entry.observer, entry.messageId);
        } catch (...) {
            // One observer that IMC does not know must not keep the others registered.
        }
    }
}

MC_Manager* MC_Manager::instance() {
    if (pManager == NULL) {
        pManager = new MC_Manager;
    }
    return pManager;
}

MC_Channel* MC_Manager::factory() {
    MC_Channel* const pChannel = new MC_Channel;
    reference(pChannel);
    return pChannel;
}

void MC_Manager::reference(MC_Channel* pChannel) {
    if (garbageCollector->isTraceOn()) {
        char text[64];
        std::snprintf(text, sizeof text, "%s %p\n", "GC : reference", static_cast<void*>(pChannel));
        garbageCollector->trace(text, "", 0);
    }
    ++pChannel->referenceCount;
}

void MC_Manager::list(MC_Channel* pChannel) {
    channels.push_back(pChannel);
    reference(pChannel);
}

void MC_Manager::registration(MC_Observer* pObserver) {
    if (pObserver == NULL) {
        throw std::invalid_argument("MC_Manager::registration(NULL)");
    }
    observer = pObserver;
}

void MC_Manager::unregistration(MC_Observer* pObserver) {
    if (pObserver == NULL || pObserver != observer) {
        throw std::invalid_argument("MC_Manager::unregistration(NULL)");
    }
    observer = NULL;
}

MC_Channel* MC_Manager::getChannel(int dsp, VCOM_Direction direction, char sid) {
    // A char is signed on some processors, an IMC address never is.
    unsigned char const board = static_cast<unsigned char>(sid);
    MC_Channel* pResting = NULL;
    for (MC_Channel* const pChannel : channels) {
        if (pChannel->dsp == dsp && pChannel->direction == direction && pChannel->sid == board) {
            if (!isIdleOrClosed(pChannel)) {
                return pChannel;
            }
            pResting = pChannel;
        }
    }
    if (pResting == NULL) {
        throwNoChannel(dsp, direction);
    }
    return pResting;
}

void MC_Manager::getChannel(std::string const& identifier) {
    MC_Text text;
    text << "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tMC_CHANNEL list:\n\n";
    bool found = false;
    for (MC_Channel const* const pChannel : channels) {
        std::string const own = pChannel->getIdentifier();
        if (identifier.empty() || identifier == own) {
            text << *pChannel << "\n";
            imc->answerCommand(text.take());
            found = true;
        }
    }
    if (identifier.empty()) {
        if (channels.empty()) {
            text << "\t\tIt is empty.\n";
        }
        text << "Total = " << static_cast<unsigned int>(channels.size()) << "\n";
    } else if (!found) {
        text << "No Channel(" << identifier << ") in Channel set.\n";
    }
    imc->answerCommand(text.ends());
}

std::string MC_Manager::getChannelSet(int maxDsp) {
    bool const isLimited = maxDsp != -1;
    std::list<MC_Channel*>::size_type seen = 0;
    MC_Text text;
    text << "\n\n\t\tMC MANAGER\n\t\t----------\n\t\tDSP list with its MC_CHANNEL:\n\n\n";
    for (int dsp = 0; isLimited ? dsp < maxDsp : seen < channels.size(); ++dsp) {
        std::string in = "-";
        std::string out = "-";
        for (MC_Channel const* const pChannel : channels) {
            if (pChannel->dsp == dsp) {
                ++seen;
                if (pChannel->direction == VCOM_DIRECTION_IN) {
                    in = pChannel->getIdentifier();
                } else if (pChannel->direction == VCOM_DIRECTION_OUT) {
                    out = pChannel->getIdentifier();
                }
            }
        }
        text << "Dsp " << dsp << "\n\tMC_Channel in: " << in << "\n\tMC_Channel out: " << out
             << "\n";
    }
    if (!isLimited) {
        if (channels.empty()) {
            text << "\t\tIt is empty.\n";
        }
        text << "Total = " << static_cast<unsigned int>(channels.size()) << "\n\n";
    }
    return text.ends();
}

void MC_Manager::setMediaGateway(MC_Channel* pChannel, INetAddress const* address) {
    assertChannel(pChannel, setMediaGatewayAssert,
                  "void MC_Manager::setMediaGateway(MC_Channel*, const INetAddress*)");
    // `address` may be the one that is replaced: it is released when nobody reads it any more.
    INetAddress const* const pOld = pChannel->mediaGateway;
    pChannel->mediaGateway = address != NULL ? address->Clone() : NULL;
    if (address == pOld) {
        address = pChannel->mediaGateway;
    }
    delete pOld;

    IPAddress const* const pBoard =
        typeid(*address) == typeid(IPAddress) ? static_cast<IPAddress const*>(address) : NULL;
    if (pBoard != NULL && CFG_Manager::isVoIPBoardIP(*pBoard)) {
        pChannel->sid = imc->getSid(boardFamily, *pBoard);
    } else {
        pChannel->sid = imc->getSid(boardFamily, IPAddress::GetAddress("voicelan"));
    }
}

void MC_Manager::openChannel(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    assertChannel(pChannel, openChannelAssert, "void MC_Manager::openChannel(MC_Channel*)");
    try {
        list(pChannel);
        checkSilenceSuppressionMode(pChannel);
        setSilenceSuppressionActive(pChannel);
        if (!config.noteworthyFlag && pChannel->channelMode != noFaxDetectionMode &&
            pChannel->faxDetection) {
            setFaxDetectionActive(pChannel);
        }
        if (pChannel->direction == VCOM_DIRECTION_OUT) {
            setPacketLength(pChannel);
        }
        setDigitDetection(pChannel);
        openVoice(pChannel);
    } catch (std::runtime_error const& e) {
        throw failure("Failed to openChannel(", pChannel, e);
    }
    pChannel->voiceOpen = true;
    pChannel->state = MC_Channel::Voice_Open;
    if (MC_traces(MC_TRACE_OPERATIONS)) {
        MC_Text text;
        text << "Open" << *pChannel << "\n";
        trace(text, openChannelTrace);
    }
}

void MC_Manager::closeChannel(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    assertChannel(pChannel, closeChannelAssert, "void MC_Manager::closeChannel(MC_Channel*)");
    try {
        if (pChannel->faxOpen) {
            closeFax(pChannel);
        }
        if (pChannel->voiceOpen) {
            closeVoice(pChannel);
        }
    } catch (std::runtime_error const& e) {
        throw failure("Failed to closeChannel(", pChannel, e);
    }
    pChannel->state = MC_Channel::Close;
    pChannel->faxOpen = false;
    pChannel->voiceOpen = false;
    if (MC_traces(MC_TRACE_OPERATIONS)) {
        MC_Text text;
        text << "CloseChannel(" << MC_Text::Id{pChannel} << ") "
             << MC_directionName(pChannel->direction) << "\n";
        trace(text, closeChannelTrace);
    }
    if (remove(pChannel)) {
        garbage(pChannel);
    }
}

void MC_Manager::updateChannel(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    guard(pChannel, updateChannelAssert, "void MC_Manager::updateChannel(MC_Channel*)",
          "updateChannel");
    try {
        checkSilenceSuppressionMode(pChannel);
        setSilenceSuppressionActive(pChannel);
        if (pChannel->direction == VCOM_DIRECTION_OUT) {
            setPacketLength(pChannel);
        }
        setDigitDetection(pChannel);
        updateVoice(pChannel);
        if (MC_traces(MC_TRACE_OPERATIONS)) {
            MC_Text text;
            text << "Update" << *pChannel << "\n";
            trace(text, updateChannelTrace);
        }
    } catch (std::runtime_error const& e) {
        throw failure("Failed to updateChannel(", pChannel, e);
    }
}

void MC_Manager::activateFax(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    assertChannel(pChannel, activateFaxAssert, "void MC_Manager::activateFax(MC_Channel*)");
    try {
        if (!isIdleOrClosed(pChannel)) {
            channelCheck(pChannel, "activateFax");
        }
        if (isIdleOrClosed(pChannel)) {
            list(pChannel);
        }
        if (!pChannel->faxDetection) {
            setFaxDetectionActive(pChannel);
        }
        openFax(pChannel);
        pChannel->faxOpen = true;
        pChannel->state = MC_Channel::Fax_Open;
        if (MC_traces(MC_TRACE_OPERATIONS)) {
            MC_Text text;
            text << "AcivateFax" << *pChannel << "\n";
            trace(text, activateFaxTrace);
        }
    } catch (std::runtime_error const& e) {
        throw failure("Failed to activateFax on channel(", pChannel, e);
    }
}

// Texts are the interface to those who search for them, oddities included: "Unable to found",
// "AcivateFax", and here the crossed texts of a failed join and a failed unjoin.
void MC_Manager::joinChannel(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::Join Command;
    guard(pChannel, joinChannelAssert, "void MC_Manager::joinChannel(MC_Channel*)", "joinChannel");
    try {
        imc_msg message = commandFor<Command>(pChannel, Command::id);
        MC_Dsp::put<Command, Command::PeerDsp>(message, pChannel->joinDsp);
        if (pChannel->joinIp == NULL) {
            throw std::runtime_error("NULL join IP");
        }
        MC_Dsp::put<Command, Command::Remote>(message, isJoinRemote(pChannel));
        pChannel->joinIp->GetBinary(MC_Dsp::bytes<Command, Command::PeerIp>(message));
        imc->post(message);
        pChannel->state = MC_Channel::Join;
        if (MC_traces(MC_TRACE_OPERATIONS)) {
            MC_Text text;
            text << "Join" << *pChannel << "\n";
            trace(text, joinChannelTrace);
        }
    } catch (std::runtime_error const& e) {
        throw failure("Failed to unjoinChannel(", pChannel, e);
    }
}

void MC_Manager::unjoinChannel(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::Unjoin Command;
    guard(pChannel, unjoinChannelAssert, "void MC_Manager::unjoinChannel(MC_Channel*)",
          "unjoinChannel");
    try {
        imc->post(commandFor<Command>(pChannel, Command::id));
        pChannel->state = MC_Channel::Voice_Open;
        if (MC_traces(MC_TRACE_OPERATIONS)) {
            MC_Text text;
            text << "UnjoinChannel(" << MC_Text::Id{pChannel} << ") "
                 << MC_directionName(pChannel->direction) << "\n";
            trace(text, unjoinChannelTrace);
        }
    } catch (std::runtime_error const& e) {
        throw failure("Failed to joinChannel(", pChannel, e);
    }
}

void MC_Manager::imcPost(imc_msg message, std::string what, MC_Channel const* channel) const
    MC_THROW(()) {
    try {
        IMC_Manager::instance(0xff)->post(message);
    } catch (std::runtime_error const& e) {
        MC_Text text;
        text << what << " on channel(" << MC_Text::Id{channel} << ") ";
        MC_error(text.ends(), e.what(), source, imcPostError);
        IMC_Manager::coreDumpExit(exitCause);
    }
}

void MC_Manager::send(imc_msg const& message, char const* what, MC_Channel const* pChannel) const {
    imcPost(message, what, pChannel);
}

void MC_Manager::setSilenceSuppressionActive(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::SetSilenceCompression Command;
    guard(pChannel, setSilenceSuppressionActiveAssert,
          "void MC_Manager::setSilenceSuppressionActive(const MC_Channel*) const",
          "setSilenceSuppressionActive");
    imc_msg message = parameterFor<Command>(pChannel, Command::SILENCE_COMPRESSION);
    MC_Dsp::put<Command, Command::Active>(message, pChannel->vad);
    send(message, "Failed to set SILENCE_COMPRESSION", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "set SILENCE_COMPRESSION on channel(" << MC_Text::Id{pChannel} << ") to "
             << (pChannel->vad ? "true" : "false") << "\n";
        trace(text, setSilenceSuppressionActiveTrace);
    }
}

void MC_Manager::setFaxDetectionActive(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::SetFaxDetection Command;
    guard(pChannel, setFaxDetectionActiveAssert,
          "void MC_Manager::setFaxDetectionActive(const MC_Channel*) const",
          "setFaxDetectionActive");
    imc_msg message = parameterFor<Command>(pChannel, Command::FAX_T38);
    if (config.faxProtocolSet) {
        MC_Dsp::put<Command, Command::Mode>(message, pChannel->calledSide ? Command::InBandCalled
                                                                          : Command::InBandCalling);
    } else {
        MC_Dsp::put<Command, Command::Mode>(message, Command::T38);
    }
    send(message, "Failed to set FAX_T38 detection", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "set FAX_T38 detection on channel(" << MC_Text::Id{pChannel} << ") to "
             << (config.faxProtocolSet ? "InBand" : "T38")
             << (pChannel->calledSide ? " called" : " calling") << "\n";
        trace(text, setFaxDetectionActiveTrace);
    }
}

void MC_Manager::setDigitDetection(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::SetDigitDetection Command;
    guard(pChannel, setDigitDetectionAssert,
          "void MC_Manager::setDigitDetection(const MC_Channel*) const", "setDigitDetection");
    imc_msg message = parameterFor<Command>(pChannel, Command::DIGIT_DETECTION);
    bool const isDisabled = pChannel->rtpDtmfPayloadType == 0;
    // Unlike the others, this command is traced before it is posted: a failed post still shows it.
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << (isDisabled ? "DIGIT_DETECTION is DISABLED on channel("
                            : "set DIGIT_DETECTION on channel(")
             << MC_Text::Id{pChannel} << ")\n";
        trace(text, isDisabled ? setDigitDetectionDisabledTrace : setDigitDetectionTrace);
    }
    MC_Dsp::put<Command, Command::Mode>(message, isDisabled ? Command::Off : Command::On);
    send(message, "Failed to set DIGIT_DETECTION", pChannel);
}

void MC_Manager::setPacketLength(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::SetPacketLength Command;
    guard(pChannel, setPacketLengthAssert,
          "void MC_Manager::setPacketLength(const MC_Channel*) const", "setPacketLength");
    imc_msg message = parameterFor<Command>(pChannel, Command::PACKET_LENGTH);
    MC_Dsp::put<Command, Command::Minimum>(message, pChannel->getSMMinFraming());
    MC_Dsp::put<Command, Command::Maximum>(message, pChannel->getSMMaxFraming());
    send(message, "Failed to set PACKET_LENGTH", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "set PACKET_LENGTH detection on channel(" << MC_Text::Id{pChannel} << ") to "
             << int(pChannel->getSMMinFraming()) << "/" << int(pChannel->getSMMaxFraming()) << "\n";
        trace(text, setPacketLengthTrace);
    }
}

void MC_Manager::openVoice(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::OpenVoice Command;
    using MC_Dsp::put;
    guard(pChannel, openVoiceAssert, "void MC_Manager::openVoice(const MC_Channel*) const",
          "openVoice");
    imc_msg message = commandFor<Command>(pChannel, messageIdOf<Command>(pChannel->direction));
    put<Command, Command::CodecType>(message, pChannel->getSMCodecType());
    putVoiceAddresses<Command>(message, pChannel);
    put<Command, Command::FaxProtocol>(message, pChannel->getSMFaxProtocol(config.faxProtocol));
    putPayloadTypes<Command>(message, pChannel);
    if (pChannel->direction == VCOM_DIRECTION_IN) {
        put<Command, Command::RtpTickRequest>(message, config.rtpTickRequest);
        put<Command, Command::VoiceParam2>(message, pChannel->inboundVoiceParam2);
        put<Command, Command::VoiceParam1>(message, pChannel->inboundVoiceParam1);
    }
    send(message, "Failed to Open Voice", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "Open Voice channel(" << MC_Text::Id{pChannel}
             << ") Codec=" << pChannel->getSMCodecType()
             << " Fax protocol=" << faxProtocolName(config.faxProtocol) << "\n";
        trace(text, openVoiceTrace);
    }
}

void MC_Manager::updateVoice(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::UpdateVoice Command;
    guard(pChannel, updateVoiceAssert, "void MC_Manager::updateVoice(const MC_Channel*) const",
          "updateVoice");
    imc_msg message = commandFor<Command>(pChannel, messageIdOf<Command>(pChannel->direction));
    putVoiceAddresses<Command>(message, pChannel);
    putPayloadTypes<Command>(message, pChannel);
    send(message, "Failed to Update Voice", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "Update Voice channel(" << MC_Text::Id{pChannel} << ") \n";
        trace(text, updateVoiceTrace);
    }
}

void MC_Manager::openFax(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::OpenFax Command;
    using MC_Dsp::put;
    guard(pChannel, openFaxAssert, "void MC_Manager::openFax(const MC_Channel*) const", "openFax");
    imc_msg message = commandFor<Command>(pChannel, messageIdOf<Command>(pChannel->direction));
    put<Command, Command::FaxProtocol>(message, pChannel->getSMFaxProtocol(config.faxProtocol));
    if (pChannel->direction == VCOM_DIRECTION_OUT) {
        unsigned int const noSignal = noSignalOf(pChannel);
        put<Command, Command::FaxProtocol>(message,
                                           pChannel->getSMFaxProtocol(VCOM_FAXTRANSPORT_NONE));
        put<Command, Command::Depth>(message, pChannel->faxDepth);
        put<Command, Command::Redundancy>(message, pChannel->faxRedundancy);
        put<Command, Command::RemoteIp>(message, faxAddressOf(pChannel));
        put<Command, Command::RemotePort>(message, pChannel->rtpRemote.GetPort());
        put<Command, Command::NoSignal>(message, noSignal);
        put<Command, Command::SendCed>(message, pChannel->sendCed);
        if (noSignal != 0 && MC_traces(MC_TRACE_COMMANDS)) {
            MC_Text text;
            text << "send_NO_SIG is enabled to (" << noSignal << ") \n";
            trace(text, openFaxNoSignalTrace);
        }
    }
    send(message, "Failed to Open Fax", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "Open Fax channel(" << MC_Text::Id{pChannel}
             << ") Fax protocol=" << faxProtocolName(config.faxProtocol)
             << " Redundancy=" << pChannel->faxRedundancy << " Depth=" << pChannel->faxDepth
             << "\n";
        trace(text, openFaxTrace);
    }
}

void MC_Manager::closeVoice(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::CloseVoice Command;
    guard(pChannel, closeVoiceAssert, "void MC_Manager::closeVoice(const MC_Channel*) const",
          "closeVoice");
    imc_msg const message =
        commandFor<Command>(pChannel, messageIdOf<Command>(pChannel->direction));
    send(message, "Failed to Close Voice", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "Close Voice channel(" << MC_Text::Id{pChannel} << ")\n";
        trace(text, closeVoiceTrace);
    }
}

void MC_Manager::closeFax(MC_Channel const* pChannel) const
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    typedef MC_Dsp::CloseFax Command;
    guard(pChannel, closeFaxAssert, "void MC_Manager::closeFax(const MC_Channel*) const",
          "closeFax");
    imc_msg const message =
        commandFor<Command>(pChannel, messageIdOf<Command>(pChannel->direction));
    send(message, "Failed to Close Fax", pChannel);
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text;
        text << "Close Fax channel(" << MC_Text::Id{pChannel} << ")\n";
        trace(text, closeFaxTrace);
    }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"

const bool MC_Manager::findCheck(MC_Channel const* pChannel) const {
    assertChannel(pChannel, findCheckAssert,
                  "const bool MC_Manager::findCheck(const MC_Channel*) const");
    return std::find(channels.begin(), channels.end(), pChannel) != channels.end();
}

void MC_Manager::channelCheck(MC_Channel const* pChannel, std::string where) const {
    assertChannel(pChannel, channelCheckAssert,
                  "void MC_Manager::channelCheck(const MC_Channel*, std::string) const");
    if (!findCheck(pChannel)) {
        endUnknownChannel(where);
    }
}

void MC_Manager::guard(MC_Channel const* pChannel, unsigned int assertionLine, char const* function,
                       char const* name) const {
    assertChannel(pChannel, assertionLine, function);
    channelCheck(pChannel, name);
}

const bool MC_Manager::remove(MC_Channel const* pChannel) {
    assertChannel(pChannel, removeAssert, "const bool MC_Manager::remove(const MC_Channel*)");
    std::list<MC_Channel*>::iterator const found =
        std::find(channels.begin(), channels.end(), pChannel);
    if (found == channels.end()) {
        return false;
    }
    channels.erase(found);
    return true;
}

#pragma GCC diagnostic pop

void MC_Manager::garbage(MC_Channel* pChannel) {
    assertChannel(pChannel, garbageAssert, "void MC_Manager::garbage(MC_Channel*)");
    garbageCollector->dereference(pChannel);
}

void MC_Manager::checkSilenceSuppressionMode(MC_Channel* pChannel)
    MC_THROW((std::runtime_error, std::invalid_argument)) {
    guard(pChannel, checkSilenceSuppressionModeAssert,
          "void MC_Manager::checkSilenceSuppressionMode(MC_Channel*)",
          "checkSilenceSuppressionMode");
    try {
        VCOM_Direction const opposite =
            byDirection(pChannel->direction, VCOM_DIRECTION_OUT, VCOM_DIRECTION_IN);
        for (MC_Channel* const pPartner : channels) {
            if (pPartner->dsp == pChannel->dsp && pPartner->sid == pChannel->sid &&
                pPartner->direction == opposite && pPartner->vad != pChannel->vad) {
                pPartner->vad = false;
                pChannel->vad = false;
                if (MC_traces(MC_TRACE_COMMANDS)) {
                    MC_Text text;
                    text << "Silence suppression disable for channel(" << MC_Text::Id{pChannel}
                         << ") and channel(" << MC_Text::Id{pPartner} << ")\n";
                    trace(text, checkSilenceSuppressionModeTrace);
                }
            }
        }
    } catch (std::runtime_error const& e) {
        MC_Text text;
        text << "Failed to Check Silence Suppression mode on channel(" << MC_Text::Id{pChannel}
             << ") \n";
        MC_error(text.ends(), e.what(), source, checkSilenceSuppressionModeError);
        throw;
    }
}

MC_Channel* MC_Manager::channelOf(MC_Message const& event, VCOM_Direction direction) {
    return getChannel(static_cast<int>(event.dsp), direction, static_cast<char>(event.sid));
}

void MC_Manager::faxToneEvent(MC_Event, VCOM_Direction direction, MC_FaxTone const& faxTone)
    MC_THROW((std::runtime_error)) {
    MC_Channel* const pChannel = channelOf(faxTone, direction);
    if (observer == NULL) {
        throw std::runtime_error("MC_Manager::faxToneEvent pObserver(NULL)");
    }
    pChannel->state = MC_Channel::Fax_Detected;
    if (MC_traces(MC_TRACE_OPERATIONS)) {
        MC_Text text;
        text << "EVT : Fax Tone Event for channel(" << MC_Text::Id{pChannel} << ")\n";
        trace(text, faxToneEventTrace);
    }
    observer->faxToneEvent(pChannel, faxTone);
}

void MC_Manager::dtmfEvent(MC_Event, VCOM_Direction direction, MC_Dtmf const& dtmf)
    MC_THROW((std::runtime_error)) {
    MC_Channel* const pChannel = channelOf(dtmf, direction);
    if (observer == NULL) {
        throw std::runtime_error("MC_Manager::dtmfEvent pObserver(NULL)");
    }
    if (MC_traces(MC_TRACE_OPERATIONS)) {
        MC_Text text;
        text << "EVT : DTMF Event(" << MC_directionName(direction) << ") for channel("
             << MC_Text::Id{pChannel} << ") : digit " << dtmf.digit << " during " << dtmf.duration
             << " ms.\n";
        trace(text, dtmfEventTrace);
    }
    observer->dtmfEvent(pChannel, dtmf);
}

void MC_Manager::acknowledgeFailed(MC_Channel* pChannel) {
    if (MC_traces(MC_TRACE_OPERATIONS)) {
        MC_Text text;
        text << "ackEvent error on channel(";
        if (pChannel != NULL) {
            text << MC_Text::Id{pChannel};
        } else {
            text << "?";
        }
        text << ") \n";
        trace(text, ackEventErrorTrace);
    }
    if (observer != NULL) {
        observer->ackErrorEvent(pChannel, MC_AckError());
    }
}

void MC_Manager::ackEvent(MC_Event event, VCOM_Direction direction, MC_Acknowledge const& ack)
    MC_THROW(()) {
    MC_Channel* pChannel = NULL;
    try {
        pChannel = channelOf(ack, direction);
        if (observer == NULL) {
            throw std::runtime_error("MC_Manager::faxToneEvent pObserver(NULL)");
        }
        if (event == OpenFaxAck) {
            openFaxAcknowledged(pChannel, direction, ack);
        }
        if (MC_traces(MC_TRACE_OPERATIONS)) {
            MC_Text text;
            text << "EVT : Ack Event for channel(" << MC_Text::Id{pChannel}
                 << ")\n\terror=" << ack.error << "\n\tlocal_port=" << int(ack.localPort) << "\n";
            trace(text, ackEventTrace);
        }
        observer->ackEvent(pChannel, ack);
    } catch (std::exception const&) {
        acknowledgeFailed(pChannel);
    }
}

void MC_Manager::alertEvent(MC_Event, VCOM_Direction, MC_Alert const&) {}
