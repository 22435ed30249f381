#include "MC_Message.h"

#include "MC_DspLayout.h"

#include <stdexcept>

namespace {

template <class Event>
void checkLength(imc_msg const& message) {
    if (message.length != Event::Layout::length) {
        throw std::runtime_error("wrong msg size");
    }
}

} // namespace

MC_Message::MC_Message(imc_msg const& message)
    : dsp(MC_Dsp::get<MC_Dsp::BareMessage, MC_Dsp::BareMessage::Dsp>(message)),
      sid(message.sourceSid) {}

MC_Acknowledge::MC_Acknowledge(imc_msg const& message) : MC_Message(message) {
    typedef MC_Dsp::Acknowledge Event;
    checkLength<Event>(message);
    error = MC_Dsp::get<Event, Event::Error>(message);
    localPort = MC_Dsp::get<Event, Event::LocalPort>(message);
}

MC_Alert::MC_Alert(imc_msg const& message) : MC_Message(message) {
    typedef MC_Dsp::Alert Event;
    checkLength<Event>(message);
    alert = MC_Dsp::get<Event, Event::Value>(message);
}

MC_Dtmf::MC_Dtmf(imc_msg const& message) : MC_Message(message) {
    typedef MC_Dsp::Dtmf Event;
    checkLength<Event>(message);
    digit = MC_Dsp::get<Event, Event::Digit>(message);
    duration = MC_Dsp::get<Event, Event::Duration>(message);
}

MC_FaxTone::MC_FaxTone(imc_msg const& message) : MC_Message(message) {
    checkLength<MC_Dsp::FaxTone>(message);
}
