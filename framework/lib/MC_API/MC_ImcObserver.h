#ifndef MC_IMCOBSERVER_H
#define MC_IMCOBSERVER_H

#include "imc/IMC_Observer.h"
#include "voice/VCOM_Types.h"

/** The kinds of DSP events. */
enum MC_Event {
    FaxToneEvent = 0,  ///< a fax tone was detected
    DtmfEvent = 1,     ///< a DTMF digit was detected
    AlertEvent = 2,    ///< the DSP raised an alert
    OpenVoiceAck = 3,  ///< acknowledgement of an open-voice command
    CloseVoiceAck = 4, ///< acknowledgement of a close-voice command
    OpenFaxAck = 5,    ///< acknowledgement of an open-fax command
    CloseFaxAck = 6    ///< acknowledgement of a close-fax command
};

/**
 * Receives the IMC messages of one kind of event and one direction, decodes them and calls the
 * manager's reaction. The manager builds and registers one for each message identifier.
 *
 * A std::runtime_error that leaves decoding or reaction is traced as "ignored", a
 * std::invalid_argument is logged as "discarded"; neither returns into IMC.
 */
class MC_ImcObserver : public IMC_Observer {
public:
    ~MC_ImcObserver() override;

    void messageEvent(imc_msg const& message) override = 0;
    void timeoutEvent(unsigned int timer) override = 0;

protected:
    MC_ImcObserver(MC_Event event, VCOM_Direction direction);

    MC_Event event;
    VCOM_Direction direction;
};

/** Fax tones. The DSP reports them for direction 1 only. */
class MC_FaxToneObserver : public MC_ImcObserver {
public:
    explicit MC_FaxToneObserver(MC_Event event);

    void messageEvent(imc_msg const& message) override;
    /** Does nothing. */
    void timeoutEvent(unsigned int timer) override;
};

/** DTMF digits. */
class MC_DtmfObserver : public MC_ImcObserver {
public:
    MC_DtmfObserver(MC_Event event, VCOM_Direction direction);

    void messageEvent(imc_msg const& message) override;
    /** Does nothing. */
    void timeoutEvent(unsigned int timer) override;
};

/** Alerts. */
class MC_AlertObserver : public MC_ImcObserver {
public:
    MC_AlertObserver(MC_Event event, VCOM_Direction direction);

    void messageEvent(imc_msg const& message) override;
    /** Does nothing. */
    void timeoutEvent(unsigned int timer) override;
};

/** Acknowledgements of commands. */
class MC_AckObserver : public MC_ImcObserver {
public:
    MC_AckObserver(MC_Event event, VCOM_Direction direction);

    void messageEvent(imc_msg const& message) override;
    /** Does nothing. */
    void timeoutEvent(unsigned int timer) override;
};

#endif
