#ifndef GATEWAY_LOAD_CYCLEREPORT_H
#define GATEWAY_LOAD_CYCLEREPORT_H

#include "gateway/load/CycleLoad.h"

#include <nlohmann/json.hpp>

#include <string>

namespace gateway {

/** The result of a run of cycles, as tables for a person. */
std::string textOf(CycleResult const& result, LoadOptions const& options, LoadPlan const& plan,
                   EarlyEnd const& end);

/** The same as one object of type "load". */
nlohmann::ordered_json jsonOf(CycleResult const& result, LoadOptions const& options,
                              LoadPlan const& plan, EarlyEnd const& end);

/** Every cycle that began was carried out, and the run was not given up. */
bool isGood(CycleResult const& result, EarlyEnd const& end);

} // namespace gateway

#endif
