#ifndef MC_MESSAGE_H
#define MC_MESSAGE_H

#include "imc/imc_msg.h"

#include <cstdint>

/**
 * What every event of a DSP says. Event records are plain values: they own nothing and keep no
 * reference to the message they were made from.
 */
class MC_Message {
public:
    /** Reads the two fields; does not look at the message's length. */
    explicit MC_Message(imc_msg const& message);

    std::uint32_t dsp; ///< number of the DSP channel on its board
    std::uint8_t sid;  ///< IMC address of that board
};

/** The DSP took or refused a command. */
class MC_Acknowledge : public MC_Message {
public:
    /** @throw std::runtime_error "wrong msg size" unless the payload is 4 bytes long */
    explicit MC_Acknowledge(imc_msg const& message);

    std::uint32_t error;     ///< 0 when the command was carried out
    std::uint16_t localPort; ///< UDP port that the DSP took for the channel's media
};

/** The DSP raised an alert. */
class MC_Alert : public MC_Message {
public:
    /** @throw std::runtime_error "wrong msg size" unless the payload is 8 bytes long */
    explicit MC_Alert(imc_msg const& message);

    std::uint32_t alert; ///< the alert, as the DSP gave it
};

/** The DSP detected a DTMF digit. */
class MC_Dtmf : public MC_Message {
public:
    /** @throw std::runtime_error "wrong msg size" unless the payload is 4 bytes long */
    explicit MC_Dtmf(imc_msg const& message);

    std::uint32_t digit;    ///< the digit, as the DSP gave it
    std::uint32_t duration; ///< in milliseconds
};

/** The DSP detected a fax tone. */
class MC_FaxTone : public MC_Message {
public:
    /** @throw std::runtime_error "wrong msg size" unless the payload is 1 byte long */
    explicit MC_FaxTone(imc_msg const& message);
};

#endif
