#ifndef GATEWAY_LOAD_RECORDSLOAD_H
#define GATEWAY_LOAD_RECORDSLOAD_H

#include "gateway/load/LoadSession.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** Medians of what operations of the library take while so many records are listed. */
struct RecordsCost {
    using Nanoseconds = std::chrono::nanoseconds;

    std::size_t listed = 0;
    Nanoseconds open{};
    Nanoseconds update{};
    Nanoseconds close{};
    /** @name The library's handling of an acknowledgement */
    /// @{
    Nanoseconds openAcknowledged{};
    Nanoseconds closeAcknowledged{};
    /// @}
};

struct RecordsResult {
    std::vector<RecordsCost> costs;
    /** Resident memory before the first record was made, and with all of them open. */
    std::size_t memoryBefore = 0;
    std::size_t memoryAfter = 0;
    std::uint64_t opened = 0;
    std::uint64_t closed = 0;
    /** Acknowledgements with an error, ones that did not come, and ones nobody waited for. */
    std::uint64_t refused = 0;
    std::uint64_t lost = 0;
    std::uint64_t unexpected = 0;
};

/** How many records are listed when it is measured: doublings from 1,000 on, and all. */
std::vector<std::size_t> recordsSteps(std::size_t records);

/**
 * Opens as many records as the options say, measures on the way, and closes them all.
 * @param show called once a second with the number of records that are listed
 */
RecordsResult runRecords(LoadSession& session, LoadOptions const& options, LoadPlan const& plan,
                         EarlyEnd& end, std::function<void(std::size_t listed)> const& show);

/** @name The result as a table and a chart, and as one object of type "records" */
/// @{
std::string textOf(RecordsResult const& result, LoadOptions const& options, LoadPlan const& plan,
                   EarlyEnd const& end);
nlohmann::ordered_json jsonOf(RecordsResult const& result, LoadOptions const& options,
                              LoadPlan const& plan, EarlyEnd const& end);
/// @}

/** All records were opened and closed, and all measurements were made. */
bool isGood(RecordsResult const& result, LoadOptions const& options, EarlyEnd const& end);

/**
 * Draws the costs with gnuplot.
 * @throw std::runtime_error naming the package to install, or that it could not be drawn
 */
void drawSvg(RecordsResult const& result, std::string const& path);
void drawPng(RecordsResult const& result, std::string const& path);

} // namespace gateway

#endif
