#ifndef MC_TEXT_H
#define MC_TEXT_H

#include "voice/VCOM_Types.h"

#include <string>

class MC_Channel;

/**
 * Builds the library's texts: logs, exceptions, descriptions, console answers. Numbers are written
 * without padding and without regard to the locale.
 */
class MC_Text {
public:
    /** A number that is written in lower-case hexadecimal, without prefix. */
    struct Hex {
        unsigned int number;
    };

    /** The identifier of a channel, as people know it. */
    struct Id {
        MC_Channel const* pChannel;
    };

    MC_Text& operator<<(char const* piece);
    /** Takes the piece whole, NUL characters included. */
    MC_Text& operator<<(std::string const& piece);
    MC_Text& operator<<(int number);
    MC_Text& operator<<(unsigned int number);
    MC_Text& operator<<(Hex hex);
    MC_Text& operator<<(Id id);
    /** The whole description of a channel, its NUL character included. */
    MC_Text& operator<<(MC_Channel const& channel);

    /** @return what was built so far; nothing is left */
    std::string take();

    /** @return what was built, closed with one NUL character; nothing is left */
    std::string ends();

private:
    std::string text;
};

/** @name Names of values, as the platform's tables give them
 *  A value outside its table, a negative one included, has the name "ERROR : OUT OF ARRAY !!!".
 *  The names belong to the tables. */
/// @{
std::string const& MC_tableName(std::string const* table, int entries, int value);
std::string const& MC_directionName(VCOM_Direction direction);
std::string const& MC_codecName(int codec);
/// @}

/** The name of a framing; empty when the platform's table does not hold it. */
std::string const& MC_framingName(VCOM_Framing framing);

/** "Direction ... invalid": the refusal of a direction that no command exists for. */
std::string MC_directionRefusal(VCOM_Direction direction);

#endif
