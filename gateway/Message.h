#ifndef GATEWAY_MESSAGE_H
#define GATEWAY_MESSAGE_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <string>
#include <vector>

namespace gateway {

/**
 * A DSP command, a DSP event or a callback, by name and fields: "OpenVoice in dsp=0 codec=0". The
 * same text stands in the output and, with as many fields as the author cares for, in the
 * expectations of a call file.
 */
struct Message {
    std::string name;
    /** In the order of the text; each name once. */
    std::vector<dsp::Field> fields;
    /** What else there is to say of a command or event that is not as it should be. */
    std::string remark{};

    /** Null when there is no such field. */
    std::string const* find(std::string const& field) const;
    std::string text() const;
};

/**
 * What goes over the bus in its text form, with the board that it goes to or comes from.
 * @param role "to" or "from"
 */
Message describe(imc_msg const& message, std::string const& role, std::string const& board);

/** Reads the text form; what stands before the first "field=" is the name. */
Message parseMessage(std::string const& text);

/** Whether `seen` has the name, and each field with the value, of `pattern`; remarks are left out.
 */
bool matches(Message const& pattern, Message const& seen);

/** Which messages there are, to find a misspelt expectation before the call is placed. */
enum class Vocabulary { commands, events, callbacks };

/** What is wrong with an expected message, and what could stand there; empty when nothing is. */
std::string faultOf(Message const& pattern, Vocabulary vocabulary);

} // namespace gateway

#endif
