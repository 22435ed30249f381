#ifndef VCOM_TYPES_H
#define VCOM_TYPES_H

/**
 * Direction of a media channel. One DSP channel carries one record of each direction. The
 * underlying type is fixed, so that a value outside the enumeration stays what it is.
 */
enum VCOM_Direction : int {
    VCOM_DIRECTION_NONE = 0,
    VCOM_DIRECTION_IN = 1,
    VCOM_DIRECTION_OUT = 2
};

/** Packet duration; the value is the duration in milliseconds. */
enum VCOM_Framing : int {
    VCOM_FRAMING_NONE = 0,
    VCOM_FRAMING_10 = 10,
    VCOM_FRAMING_20 = 20,
    VCOM_FRAMING_30 = 30,
    VCOM_FRAMING_40 = 40,
    VCOM_FRAMING_50 = 50,
    VCOM_FRAMING_60 = 60,
    VCOM_FRAMING_70 = 70,
    VCOM_FRAMING_80 = 80,
    VCOM_FRAMING_90 = 90,
    VCOM_FRAMING_100 = 100,
    VCOM_FRAMING_110 = 110,
    VCOM_FRAMING_120 = 120,
    VCOM_FRAMING_130 = 130,
    VCOM_FRAMING_140 = 140,
    VCOM_FRAMING_150 = 150
};

/** Transport of T.38 fax relay (ITU-T T.38). */
enum VCOM_FaxTransport : int {
    VCOM_FAXTRANSPORT_NONE = 0,
    VCOM_FAXTRANSPORT_UDP = 1,
    VCOM_FAXTRANSPORT_TCP = 2
};

#endif
