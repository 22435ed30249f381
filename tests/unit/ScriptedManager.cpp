#include "tests/unit/ScriptedManager.h"

static_assert(__cplusplus >= 201703L, "the actions must be free to throw anything");

/** The library declares it as the one that may build a manager. */
struct MC_ManagerTestAccess {
    static MC_Manager* make() { return new MC_Manager; }
};

namespace {

template <class... Parameters, class... Arguments>
void play(std::function<void(Parameters...)> const& action, Arguments const&... arguments) {
    if (action) {
        action(arguments...);
    }
}

} // namespace

ScriptedManager& scriptedManager() {
    static ScriptedManager script;
    return script;
}

MC_Manager::MC_Manager()
    : garbageCollector(nullptr),
      observer(nullptr),
      imc(nullptr),
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
      closeFaxAckObserverOut(CloseFaxAck, VCOM_DIRECTION_OUT) {}

MC_Manager::~MC_Manager() = default;

MC_Manager* MC_Manager::instance() {
    static MC_Manager* const manager = MC_ManagerTestAccess::make();
    play(scriptedManager().instance);
    return manager;
}

void MC_Manager::faxToneEvent(MC_Event event, VCOM_Direction direction, MC_FaxTone const& faxTone) {
    play(scriptedManager().faxToneEvent, event, direction, faxTone);
}

void MC_Manager::dtmfEvent(MC_Event event, VCOM_Direction direction, MC_Dtmf const& dtmf) {
    play(scriptedManager().dtmfEvent, event, direction, dtmf);
}

void MC_Manager::ackEvent(MC_Event event, VCOM_Direction direction, MC_Acknowledge const& ack) {
    play(scriptedManager().ackEvent, event, direction, ack);
}

void MC_Manager::alertEvent(MC_Event event, VCOM_Direction direction, MC_Alert const& alert) {
    play(scriptedManager().alertEvent, event, direction, alert);
}

void MC_Manager::getChannel(std::string const& identifier) {
    play(scriptedManager().getChannel, identifier);
}

std::string MC_Manager::getChannelSet(int maxDsp) {
    auto const& action = scriptedManager().getChannelSet;
    return action ? action(maxDsp) : "";
}
