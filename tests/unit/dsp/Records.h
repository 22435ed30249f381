#ifndef TESTS_UNIT_DSP_RECORDS_H
#define TESTS_UNIT_DSP_RECORDS_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <array>
#include <cstring>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace dsp {

using Bytes = std::array<std::uint8_t, sizeof(imc_msg)>;

/** All bytes of a record. */
inline Bytes bytesOf(imc_msg const& message) {
    Bytes bytes;
    std::memcpy(bytes.data(), &message, bytes.size());
    return bytes;
}

/** A record from the hexadecimal text of its first bytes, blanks ignored; the rest is zero. */
inline imc_msg record(std::string const& hex) {
    Bytes bytes{};
    std::size_t count = 0;
    std::string digits;
    for (char const each : hex) {
        if (each == ' ') {
            continue;
        }
        digits += each;
        if (digits.size() == 2) {
            bytes.at(count++) = static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16));
            digits.clear();
        }
    }
    if (!digits.empty()) {
        throw std::invalid_argument("half a byte in " + hex);
    }
    imc_msg message;
    std::memcpy(&message, bytes.data(), bytes.size());
    return message;
}

/** One good command of each identifier; the board is 0xFA, the sender 0x21, the DSP channel 3. */
struct Sample {
    char const* name;
    char const* hex;
    unsigned length;
    bool acknowledged;
    char const* line;
};

inline std::vector<Sample> const& samples() {
    static std::vector<Sample> const all = {
        {"OpenVoice in",
         "00 21 FA 00 0024 0000 00000064 "
         "03 00 11 00 00000000000000000000FFFF0A000001 0FA0 1388 0FA1 07 000000 09 08 65 64 0000",
         36, true,
         "OpenVoice in dsp=3 codec=0 fax=UDP remote=10.0.0.1:4000 remoteRtcp=4001 local=5000 "
         "tick=7 param1=8 param2=9 dtmfPt=101 redundancyPt=100"},
        {"OpenVoice out",
         "00 21 FA 00 0024 0000 00000068 "
         "03 04 06 00 00000000000000000000FFFFC0A80AFE FFFE 1388 FFFF 00 000000 00 00 65 64 0000",
         36, true,
         "OpenVoice out dsp=3 codec=4 fax=TCP remote=192.168.10.254:65534 remoteRtcp=65535 "
         "local=5000 dtmfPt=101 redundancyPt=100"},
        {"UpdateVoice in",
         "00 21 FA 00 001C 0000 00000084 "
         "03 000000 00000000000000000000FFFF0A000002 1770 1388 1771 60 61",
         28, false,
         "UpdateVoice in dsp=3 remote=10.0.0.2:6000 remoteRtcp=6001 local=5000 dtmfPt=96 "
         "redundancyPt=97"},
        {"UpdateVoice out",
         "00 21 FA 00 001C 0000 00000085 "
         "03 000000 00000000000000000000000000000000 1770 1388 1771 60 61",
         28, false,
         "UpdateVoice out dsp=3 remote=[::]:6000 remoteRtcp=6001 local=5000 dtmfPt=96 "
         "redundancyPt=97"},
        {"CloseVoice in", "00 21 FA 00 0001 0000 00000066 03", 1, true, "CloseVoice in dsp=3"},
        {"CloseVoice out", "00 21 FA 00 0001 0000 0000006A 03", 1, true, "CloseVoice out dsp=3"},
        {"SetParameter", "00 21 FA 00 0006 0000 0000006C 03 04 0050 00F0", 6, false,
         "SetParameter dsp=3 PACKET_LENGTH=80..240"},
        {"OpenFax in", "00 21 FA 00 000C 0000 00000073 03 11 00000000000000000000", 12, true,
         "OpenFax in dsp=3 protocol=UDP"},
        {"OpenFax out", "00 21 FA 00 000C 0000 00000077 03 06 05 02 0A000001 1770 02 01", 12, true,
         "OpenFax out dsp=3 protocol=TCP remote=10.0.0.1:6000 redundancy=2 depth=5 noSignal=2 "
         "ced=1"},
        {"CloseFax in", "00 21 FA 00 0001 0000 00000075 03", 1, true, "CloseFax in dsp=3"},
        {"CloseFax out", "00 21 FA 00 0001 0000 00000079 03", 1, true, "CloseFax out dsp=3"},
        {"Join", "00 21 FA 00 0014 0000 0000007C 03 05 01 00 00000000000000000000FFFF0A000009", 20,
         false, "Join dsp=3 peer=5 board=10.0.0.9 otherBoard=1"},
        {"Unjoin", "00 21 FA 00 0001 0000 0000007D 03", 1, false, "Unjoin dsp=3"},
    };
    return all;
}

/** The sample of that name. */
inline imc_msg sample(std::string const& name) {
    for (Sample const& each : samples()) {
        if (each.name == name) {
            return record(each.hex);
        }
    }
    throw std::out_of_range("no sample " + name);
}

/** A set-parameter command for DSP channel 3. */
inline imc_msg setParameter(std::string const& codeAndValue) {
    return record("00 21 FA 00 0006 0000 0000006C 03" + codeAndValue);
}

/** A board, with what it raised and reported. */
struct Bench {
    explicit Bench(BoardOptions const& options = BoardOptions())
        : board(
              options, [this](imc_msg const& event) { events.push_back(event); },
              [this](std::string const& text) { reports.push_back(text); }) {}

    std::uint64_t count(std::string const& counter) const { return board.counters().at(counter); }

    /** Sum of the counters whose name begins so. */
    std::uint64_t sum(std::string const& prefix) const {
        std::uint64_t total = 0;
        for (auto const& [name, value] : board.counters()) {
            total += name.compare(0, prefix.size(), prefix) == 0 ? value : 0;
        }
        return total;
    }

    std::vector<imc_msg> events;
    std::vector<std::string> reports;
    Board board;
};

} // namespace dsp

#endif
