#include "MC_ImcObserver.h"

#include "MC_Manager.h"
#include "MC_Message.h"
#include "MC_Trace.h"

#include <stdexcept>

namespace {

char const source[] = "framework/lib/MC_API/MC_ImcObserver";

/** Log line numbers of this source: fixed, whoever reads the logs knows them. */
enum Line {
    faxToneIgnored = 78,
    faxToneDiscarded = 85,
    dtmfIgnored = 121,
    dtmfDiscarded = 128,
    alertIgnored = 164,
    alertDiscarded = 171,
    ackIgnored = 207,
    ackDiscarded = 214
};

/** How the failure of an event is reported. */
struct Report {
    char const* ignored;
    Line ignoredLine;
    char const* discarded;
    Line discardedLine;
};

MC_Text failureText(char const* outcome, std::exception const& e) {
    MC_Text text;
    text << outcome << e.what() << ")";
    return text;
}

void ignore(Report const& report, std::runtime_error const& e) {
    if (MC_traces(MC_TRACE_COMMANDS)) {
        MC_Text text = failureText(report.ignored, e);
        MC_trace(text, source, report.ignoredLine);
    }
}

void discard(Report const& report, std::invalid_argument const& e) {
    MC_error(failureText(report.discarded, e).ends(), "", source, report.discardedLine);
}

/** Decodes a message and hands the record to the manager; lets no expected failure into IMC. */
template <class Record>
void forward(imc_msg const& message, MC_Event event, VCOM_Direction direction,
             void (MC_Manager::*reaction)(MC_Event, VCOM_Direction, Record const&),
             Report const& report) {
    try {
        Record const record(message);
        (MC_Manager::instance()->*reaction)(event, direction, record);
    } catch (std::runtime_error const& e) {
        ignore(report, e);
    } catch (std::invalid_argument const& e) {
        discard(report, e);
    }
}

} // namespace

MC_ImcObserver::MC_ImcObserver(MC_Event anEvent, VCOM_Direction aDirection)
    : event(anEvent), direction(aDirection) {}

MC_ImcObserver::~MC_ImcObserver() {}

MC_FaxToneObserver::MC_FaxToneObserver(MC_Event anEvent)
    : MC_ImcObserver(anEvent, VCOM_DIRECTION_IN) {}

void MC_FaxToneObserver::messageEvent(imc_msg const& message) {
    static Report const report = {"EVT : Fax Tone event ignored (", faxToneIgnored,
                                  "EVT : Fax Tone event discarded (", faxToneDiscarded};
    forward(message, event, direction, &MC_Manager::faxToneEvent, report);
}

void MC_FaxToneObserver::timeoutEvent(unsigned int) {}

MC_DtmfObserver::MC_DtmfObserver(MC_Event anEvent, VCOM_Direction aDirection)
    : MC_ImcObserver(anEvent, aDirection) {}

void MC_DtmfObserver::messageEvent(imc_msg const& message) {
    static Report const report = {"EVT : Dtmf event ignored (", dtmfIgnored,
                                  "EVT : Dtmf event discarded (", dtmfDiscarded};
    forward(message, event, direction, &MC_Manager::dtmfEvent, report);
}

void MC_DtmfObserver::timeoutEvent(unsigned int) {}

MC_AlertObserver::MC_AlertObserver(MC_Event anEvent, VCOM_Direction aDirection)
    : MC_ImcObserver(anEvent, aDirection) {}

void MC_AlertObserver::messageEvent(imc_msg const& message) {
    static Report const report = {"EVT : Alert event ignored (", alertIgnored,
                                  "EVT : Alert event discarded (", alertDiscarded};
    forward(message, event, direction, &MC_Manager::alertEvent, report);
}

void MC_AlertObserver::timeoutEvent(unsigned int) {}

MC_AckObserver::MC_AckObserver(MC_Event anEvent, VCOM_Direction aDirection)
    : MC_ImcObserver(anEvent, aDirection) {}

void MC_AckObserver::messageEvent(imc_msg const& message) {
    static Report const report = {"EVT : Ack event ignored (", ackIgnored,
                                  "EVT : Ack event discarded (", ackDiscarded};
    forward(message, event, direction, &MC_Manager::ackEvent, report);
}

void MC_AckObserver::timeoutEvent(unsigned int) {}
