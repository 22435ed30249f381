// Lines that an operator types at a console, on the workstation's platform, with some channels
// listed. What is answered is held against texts that are built here.

#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Target.h"

#include "MC_Manager.h"
#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "host/Workstation.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <sstream>
#include <vector>

namespace {

using fuzz::Input;
using fuzz::require;
using fuzz::requireEqual;
using Answers = std::vector<std::string>;

std::uint8_t const boardSid = 0x10;
std::size_t const mostChannels = 4;
std::size_t const mostLines = 16;

std::string const nul(1, '\0');
std::string const heading = "\n\n\t\tMC MANAGER\n\t\t----------\n\t\t";

/** A board that takes everything. */
class Board : public host::Endpoint {
public:
    void receive(imc_msg const&) override {}
};

bool isHexadecimal(char character) {
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

/** Whether "0x" or "0X" stands there. */
bool isPrefix(std::string const& text, std::size_t at) {
    return text.compare(at, 2, "0x") == 0 || text.compare(at, 2, "0X") == 0;
}

/**
 * "MC Dsp 0x7FFFFFFF" is answered with two billion lines, as an operator may ask for. Here such a
 * number is cut to its first two digits. Numbers that no int holds are refused and stay.
 */
std::string withBoundedNumbers(std::string line) {
    std::size_t const mostDigits = 2;
    std::size_t const longestInt = 8;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (!isPrefix(line, at)) {
            continue;
        }
        std::size_t const first = std::min(line.find_first_not_of('0', at + 2), line.size());
        std::size_t last = first;
        while (last < line.size() && isHexadecimal(line[last])) {
            ++last;
        }
        std::size_t const digits = last - first;
        bool const isRefused = digits > longestInt ||
                               (digits == longestInt && (line[first] < '0' || line[first] > '7'));
        if (digits > mostDigits && !isRefused) {
            line.erase(first + mostDigits, digits - mostDigits);
        }
    }
    return line;
}

/** What an answer says of a channel. */
std::string description(MC_Channel const& channel) {
    std::array<char const*, 3> const directions = {"none", "in", "out"};
    std::array<char const*, 6> const states = {"Idle",     "Voice_Open", "Fax_Detected",
                                               "Fax_Open", "Close",      "Join"};
    std::ostringstream text;
    text << std::uppercase << std::hex;
    text << "MC_Channel " << channel.identifier << "\n";
    text << std::dec << "\t" << (channel.voiceOpen ? "Voice " : "No data ");
    text << directions.at(static_cast<std::size_t>(channel.direction)) << " on Ip(0.0.0.0) dsp("
         << static_cast<unsigned>(channel.dsp) << ") sid(0x10) [G.711 A-law (20/30ms) vad(Off)]\n";
    text << "send ced Off\nsend no signal T38_SIG_NIL\n";
    text << "\tState : " << states.at(static_cast<std::size_t>(channel.state)) << "\n";
    text << "\tRTP  : -:0 <-> -:0\n\tRTCP : -:0 <-> -:0\n";
    text << "\tRTP Dtmf PT: 0x0 = 0\n\tRTP Redundancy PT: 0x0 = 0\n";
    return text.str() + nul;
}

/** One input: a manager with some channels, and what is typed. */
class Console {
public:
    explicit Console(Input& input) {
        workstation.reset();
        workstation.setLogSink([](host::Workstation::LogLine const&) {});
        workstation.transport().attach(boardSid, board);
        manager = MC_Manager::instance();
        unsigned const count = input.below(mostChannels + 1);
        for (unsigned i = 0; i < count; ++i) {
            open(input);
        }
    }

    ~Console() {
        for (MC_Channel* const channel : channels) {
            // A channel without direction was refused, and can be closed as it is.
            manager->closeChannel(channel);
            GC_GarbageCollector::instance()->dereference(channel);
        }
        delete manager;
        requireEqual(workstation.liveObjects(), std::size_t{0}, "channels left");
        workstation.reset();
    }

    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;

    void type(std::string const& typed) {
        std::string const line = withBoundedNumbers(typed);
        Answers answers;
        workstation.typeCommand(
            line, 7, [&answers](std::string const& answer) { answers.push_back(answer); });
        workstation.dispatcher().runReady();
        Answers const expected = expectedAnswers(line);
        requireEqual(answers.size(), expected.size(), "number of answers");
        for (std::size_t i = 0; i < answers.size(); ++i) {
            requireEqual(answers[i], expected[i], "answer");
        }
        require(std::all_of(channels.begin(), channels.end(),
                            [](auto const* each) { return each->referenceCount == 2; }),
                "the list holds one reference, and this target one");
    }

private:
    void open(Input& input) {
        MC_Channel* const channel = manager->factory();
        channels.push_back(channel);
        channel->identifier = static_cast<std::uint32_t>(0xA0 + channels.size());
        channel->sid = boardSid;
        channel->direction = static_cast<VCOM_Direction>(input.below(3));
        channel->dsp = input.byte();
        channel->codec = 1;
        channel->minFraming = VCOM_FRAMING_20;
        channel->maxFraming = VCOM_FRAMING_30;
        channel->joinDsp = 0;
        channel->faxRedundancy = 0;
        channel->faxDepth = 0;
        try {
            manager->openChannel(channel);
        } catch (std::runtime_error const&) {
            require(channel->direction == VCOM_DIRECTION_NONE, "a channel with a direction opens");
        }
    }

    Answers expectedAnswers(std::string const& line) const;
    Answers channelAnswers(std::string const& arguments) const;
    Answers dspAnswers(std::string const& arguments) const;
    Answers expectedChannels(std::string const& identifier) const;
    std::string expectedDsps(std::int64_t count) const;
    std::string total() const {
        std::string const empty = channels.empty() ? "\t\tIt is empty.\n" : "";
        return empty + "Total = " + std::to_string(channels.size()) + "\n";
    }

    host::Workstation& workstation = host::Workstation::instance();
    Board board;
    MC_Manager* manager = nullptr;
    std::vector<MC_Channel*> channels;
};

/** @param identifier empty for all */
Answers Console::expectedChannels(std::string const& identifier) const {
    Answers answers;
    std::string text = heading + "MC_CHANNEL list:\n\n";
    for (MC_Channel const* const channel : channels) {
        std::ostringstream own;
        own << std::uppercase << std::hex << channel->identifier;
        if (identifier.empty() || identifier == own.str()) {
            answers.push_back(text + description(*channel) + "\n");
            text.clear();
        }
    }
    if (identifier.empty()) {
        text += total();
    } else if (answers.empty()) {
        text += "No Channel(" + identifier + ") in Channel set.\n";
    }
    answers.push_back(text + nul);
    return answers;
}

/** @param count of lines; -1 for as many as are needed, and the total */
std::string Console::expectedDsps(std::int64_t count) const {
    std::int64_t needed = 0;
    for (MC_Channel const* const channel : channels) {
        needed = std::max(needed, std::int64_t{channel->dsp} + 1);
    }
    std::string text = heading + "DSP list with its MC_CHANNEL:\n\n\n";
    for (std::int64_t dsp = 0; dsp < (count == -1 ? needed : count); ++dsp) {
        std::array<std::string, 3> identifiers = {"-", "-", "-"};
        for (MC_Channel const* const channel : channels) {
            if (channel->dsp == dsp) {
                identifiers.at(static_cast<std::size_t>(channel->direction)) =
                    channel->getIdentifier();
            }
        }
        text += "Dsp " + std::to_string(dsp) + "\n\tMC_Channel in: " + identifiers[1] +
                "\n\tMC_Channel out: " + identifiers[2] + "\n";
    }
    return text + (count == -1 ? total() + "\n" : "") + nul;
}

std::string const help = "key MC:\n"
                         "\tMC help : display this specific help\n"
                         "\tMC Channel All | <id>\n"
                         "\t\tAll  : display properties of all channels\n"
                         "\t\t<id> : display properties of channel(id) (ex: 0x1)\n"
                         "\tMC Dsp All | [<max>]\n"
                         "\t\tdisplay channel id associated with dsp\n"
                         "\t\tAll   : all dsp associated with channels\n"
                         "\t\t<max> : number of line to display\n";

/** What stands behind the first "0x" of the arguments; nothing without one. */
std::optional<std::string> behindPrefix(std::string const& arguments) {
    auto const prefix = arguments.find("0x");
    return prefix == std::string::npos ? std::nullopt
                                       : std::optional<std::string>(arguments.substr(prefix + 2));
}

/** -1 for what is no hexadecimal number of an int. One more prefix is part of the number. */
std::int64_t numberOf(std::string const& digits) {
    bool const hasPrefix = isPrefix(digits, 0) && digits.size() > 2 && isHexadecimal(digits[2]);
    std::size_t const first = hasPrefix ? 2 : 0;
    std::size_t at = first;
    std::int64_t number = 0;
    while (at < digits.size() && isHexadecimal(digits[at]) && number <= 0x7FFFFFFF) {
        number = number * 16 + std::stol(digits.substr(at, 1), nullptr, 16);
        ++at;
    }
    return at == first || number > 0x7FFFFFFF ? -1 : number;
}

Answers Console::channelAnswers(std::string const& arguments) const {
    if (arguments.find("All") != std::string::npos) {
        return expectedChannels("");
    }
    auto const identifier = behindPrefix(arguments);
    return identifier ? expectedChannels(*identifier) : Answers{"MC Channel : invalid argument\n"};
}

Answers Console::dspAnswers(std::string const& arguments) const {
    if (arguments.find("All") != std::string::npos) {
        return {expectedDsps(-1)};
    }
    std::int64_t const number = numberOf(behindPrefix(arguments).value_or(""));
    return {number == -1 ? "MC Dsp : invalid argument\n" : expectedDsps(number)};
}

Answers Console::expectedAnswers(std::string const& line) const {
    std::string const blanks = " \t\r\n";
    auto const begin = std::min(line.find_first_not_of(blanks), line.size());
    std::string const word = line.substr(begin, line.find_first_of(blanks, begin) - begin);
    std::string const exit = IMC_Manager::prepExitCmd;
    if (word != "MC" && word != "help" && word != exit) {
        return {"Unknown command \"" + word + "\", try \"help\"\n"};
    }
    auto const channel = line.find("MC Channel");
    auto const dsp = line.find("MC Dsp");
    if (channel != std::string::npos) {
        return channelAnswers(line.substr(channel));
    }
    if (dsp != std::string::npos) {
        return dspAnswers(line.substr(dsp));
    }
    return line.find(exit) != std::string::npos ? expectedChannels("") : Answers{help};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    Console console(input);
    std::istringstream lines(input.take(size));
    std::string line;
    for (std::size_t i = 0; i < mostLines && std::getline(lines, line); ++i) {
        console.type(line);
    }
    return 0;
}
