#ifndef DBG_OUTPUT_H
#define DBG_OUTPUT_H

#include "voice/VCOM_Types.h"

#include <string>

/**
 * Names of the voice-communication values, for texts that people read. The tables are the
 * platform's; they are set before the library is first called and never change.
 */
class DBG_Output {
public:
    /** A packet duration and its name. */
    struct FramingName {
        VCOM_Framing framing;
        std::string name;
    };

    /** Name of each VCOM_Direction value from 0 up; `directionToStrMAX` entries. */
    static std::string const directionToStr[];
    static int const directionToStrMAX;

    /** Name of each codec value from 0 up; `codecToStrMAX` entries. */
    static std::string const codecToStr[];
    static int const codecToStrMAX;

    /** Names of the framings, in any order, ended by an entry whose name is empty. */
    static FramingName const framingToStr[];
};

#endif
