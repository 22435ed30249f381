#include "tests/soak/Ledger.h"

#include <iomanip>
#include <numeric>
#include <ostream>

namespace soak {

namespace {

/** After so many findings the rest is a consequence. */
constexpr std::size_t enough = 20;

struct Name {
    /** Set where a part of the table begins. */
    char const* heading;
    char const* name;
};

/** In the order of Count. */
constexpr std::array<Name, countCount> names = {{
    {"Calls", "started"},
    {nullptr, "= ended normally"},
    {nullptr, "+ refused by the library"},
    {nullptr, "+ refused by the board"},
    {nullptr, "+ an acknowledgement lost"},
    {nullptr, "+ closed before the acknowledgement"},
    {nullptr, "+ board lost"},
    {"Operations", "openChannel"},
    {nullptr, "openChannel refused"},
    {nullptr, "updateChannel"},
    {nullptr, "updateChannel refused"},
    {nullptr, "joinChannel"},
    {nullptr, "joinChannel refused"},
    {nullptr, "unjoinChannel"},
    {nullptr, "unjoinChannel refused"},
    {nullptr, "activateFax"},
    {nullptr, "activateFax refused"},
    {nullptr, "closeChannel"},
    {nullptr, "of these inside a callback"},
    {nullptr, "channel records made"},
    {nullptr, "channel records dropped"},
    {"Commands", "posted"},
    {nullptr, "= refused by the bus, board away"},
    {nullptr, "+ dropped on the way, board went"},
    {nullptr, "+ delivered to a board"},
    {nullptr, "  of these taken"},
    {nullptr, "  of these refused"},
    {nullptr, "  of these acknowledged"},
    {"Events", "raised by boards"},
    {nullptr, "+ repeated"},
    {nullptr, "+ strays"},
    {nullptr, "- lost"},
    {nullptr, "- lost with their board"},
    {nullptr, "  of these held back"},
    {nullptr, "= sent"},
    {nullptr, "= delivered"},
    {nullptr, "+ of an unknown identifier"},
    {"Delivered events", "ackEvent"},
    {nullptr, "ackErrorEvent"},
    {nullptr, "ackErrorEvent without a channel"},
    {nullptr, "dtmfEvent"},
    {nullptr, "faxToneEvent"},
    {nullptr, "alerts, which are not told"},
    {nullptr, "ignored, no such channel"},
    {nullptr, "ignored, wrong length"},
    {nullptr, "callbacks that threw"},
    {nullptr, "ackErrorEvent after a throw"},
    {"Around", "boards that went away"},
    {nullptr, "boards that came back"},
    {nullptr, "managers replaced"},
    {nullptr, "configurations read"},
    {nullptr, "console lines"},
    {nullptr, "errors in the log"},
    {nullptr, "traces in the log"},
    {nullptr, "coreDumpExit"},
}};
static_assert(names.back().name != nullptr, "every count has a name");

} // namespace

std::uint64_t Ledger::sum(Count first, Count last) const {
    auto const begin = counts.begin();
    return std::accumulate(begin + static_cast<std::ptrdiff_t>(index(first)),
                           begin + static_cast<std::ptrdiff_t>(index(last)) + 1, std::uint64_t{0});
}

void Ledger::same(std::uint64_t value, std::uint64_t expected, char const* what) {
    if (value != expected) {
        finding(std::string(what) + ": " + std::to_string(value) + ", expected " +
                std::to_string(expected));
    }
}

void Ledger::finding(std::string const& text) {
    if (found.size() < enough) {
        found.push_back("after " + std::to_string((*this)[Count::callsStarted]) +
                        " calls: " + text);
    }
}

void Ledger::print(std::ostream& to) const {
    for (std::size_t i = 0; i < countCount; ++i) {
        if (names.at(i).heading != nullptr) {
            to << names.at(i).heading << '\n';
        }
        printRow(to, names.at(i).name, counts.at(i));
    }
}

void printRow(std::ostream& to, std::string const& name, std::uint64_t value) {
    to << "  " << std::left << std::setw(36) << name << std::right << std::setw(12) << value
       << '\n';
}

} // namespace soak
