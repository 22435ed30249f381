#ifndef GATEWAY_LOAD_LOADPLAN_H
#define GATEWAY_LOAD_LOADPLAN_H

#include "gateway/Report.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace gateway {

/** How many cycles may be under way, so that no queue ever fills: see docs/load.md. */
constexpr std::size_t mostOutstanding = 256;
constexpr unsigned mostBoards = 64;
constexpr unsigned mostChannels = 256;
constexpr unsigned mostRecords = mostBoards * mostChannels * 2;

/** The command line. */
struct LoadOptions {
    unsigned boards = 1;
    unsigned channels = mostChannels;
    /** 0: as many as there are boards, but four at most. */
    unsigned processes = 0;
    std::size_t outstanding = 64;
    double rate = 0;
    /** 0: as long as the seconds say. */
    std::uint64_t cycles = 0;
    double seconds = 10;
    bool hasFloor = true;
    /** Empty: a bus of its own. */
    std::string bus;
    std::vector<std::string> peers;
    std::string keys;
    /** Of boards that run already. */
    std::vector<unsigned> sids;
    unsigned ownSid = 0x01;
    /** 0: cycles. */
    unsigned records = 0;
    std::string svg;
    std::string png;
    std::string capture;
    ReportOptions report;
};

/** What follows from it. */
struct LoadPlan {
    std::vector<std::uint8_t> boards;
    std::size_t processes = 1;
    bool isStartingBoards = true;
    bool hasFloor = true;
    /** @name Addresses of the floor */
    /// @{
    std::uint8_t floorSid = 0;
    std::vector<std::uint8_t> responders;
    /// @}
};

/** @throw std::invalid_argument for options that don't go together */
LoadPlan planOf(LoadOptions const& options);

} // namespace gateway

#endif
