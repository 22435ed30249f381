#include "gateway/load/CycleReport.h"

#include "gateway/Text.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <utility>

namespace gateway {

namespace {

using Json = nlohmann::ordered_json;
using Microseconds = std::chrono::duration<double, std::micro>;

struct NamedLatencies {
    char const* name;
    char const* key;
    Latencies CycleTally::*latencies;
};

/** What the library's operations take; of the floor, posting the same messages. */
constexpr NamedLatencies tallied[] = {
    {"open", "open", &CycleTally::open},
    {"update", "update", &CycleTally::update},
    {"close", "close", &CycleTally::close},
    {"ack of open", "open_acknowledged", &CycleTally::openAcknowledged},
    {"ack of close", "close_acknowledged", &CycleTally::closeAcknowledged},
};

constexpr std::pair<char const*, double> percentiles[] = {
    {"p50", 50}, {"p90", 90}, {"p99", 99}, {"p99_9", 99.9}};

using Sides = std::vector<std::pair<char const*, CycleSide const*>>;

Sides sidesOf(CycleResult const& result) {
    Sides sides = {{"library", &result.library}};
    if (result.floor) {
        sides.emplace_back("floor", &*result.floor);
    }
    return sides;
}

double micro(std::chrono::nanoseconds time) {
    return std::round(Microseconds(time).count() * 1000) / 1000;
}

/** Processor time of all cycles for one of them. */
double microPerCycle(ProcessShare const& share, CycleTally const& tally) {
    std::uint64_t const cycles = std::max<std::uint64_t>(1, tally.begun());
    return std::round(Microseconds(share.time).count() / static_cast<double>(cycles) * 100) / 100;
}

void writeHead(std::ostream& out, LoadOptions const& options, LoadPlan const& plan) {
    out << plural(plan.boards.size(), "board") << " of " << plural(options.channels, "DSP channel");
    if (plan.isStartingBoards) {
        out << " in " << plan.processes << (plan.processes == 1 ? " process" : " processes");
    }
    out << ", " << options.outstanding << " outstanding, ";
    if (options.rate > 0) {
        out << options.rate << " cycles/s wanted\n";
    } else {
        out << "as fast as possible\n";
    }
}

void writeCycles(std::ostream& out, CycleResult const& result) {
    out << "\n               cycles   cycles/s    refused       lost  abandoned  unexpected acks\n";
    for (auto const& [name, side] : sidesOf(result)) {
        CycleTally const& tally = side->tally;
        out << std::left << std::setw(10) << name << std::right << std::setw(11) << tally.completed
            << std::setw(11) << std::setprecision(1) << tally.perSecond() << std::setw(11)
            << tally.refused << std::setw(11) << tally.lost << std::setw(11) << tally.abandoned
            << std::setw(17) << tally.unexpected << '\n';
    }
}

void writeRatio(std::ostream& out, CycleResult const& result, LoadOptions const& options) {
    if (!result.floor) {
        return;
    }
    out << std::setprecision(2);
    if (options.rate <= 0) {
        out << "library / floor: " << result.ratio().value_or(0) << " of the rate, in the median "
            << "of " << plural(result.rounds, "turn") << ' ' << result.medianRatio().value_or(0)
            << '\n';
    }
    if (auto const ratio = result.processorRatio()) {
        out << "floor / library: " << *ratio << " of the CPU time of a cycle in all processes\n";
    }
    out << "commands of a cycle: " << result.messagesIn << " in, " << result.messagesOut
        << " out\n";
}

void writeLatencies(std::ostream& out, CycleResult const& result) {
    out << "\nlatency, us                    count       p50       p90       p99     p99.9       "
           "max\n"
        << std::setprecision(1);
    for (auto const& [name, side] : sidesOf(result)) {
        for (NamedLatencies const& each : tallied) {
            Latencies const& latencies = side->tally.*each.latencies;
            out << std::left << std::setw(10) << name << std::setw(14) << each.name << std::right
                << std::setw(12) << latencies.count();
            for (auto const& [key, percent] : percentiles) {
                out << std::setw(10) << micro(latencies.percentile(percent));
            }
            out << std::setw(10) << micro(latencies.longest()) << '\n';
        }
    }
}

void writeProcesses(std::ostream& out, CycleResult const& result) {
    out << "\nCPU time per cycle, us\n" << std::setprecision(1);
    for (auto const& [name, side] : sidesOf(result)) {
        for (ProcessShare const& share : side->processes) {
            out << std::left << std::setw(10) << name << std::setw(14) << share.role << std::right
                << std::setw(12) << "pid " + std::to_string(share.process) << std::setw(10);
            if (share.isGone) {
                out << "gone" << '\n';
            } else {
                out << microPerCycle(share, side->tally) << '\n';
            }
        }
    }
}

double rounded(double ratio) {
    return std::round(ratio * 1000) / 1000;
}

Json latencyJson(Latencies const& latencies) {
    Json object = {{"count", latencies.count()}};
    for (auto const& [key, percent] : percentiles) {
        object[key] = micro(latencies.percentile(percent));
    }
    object["max"] = micro(latencies.longest());
    return object;
}

Json sideJson(CycleSide const& side) {
    CycleTally const& tally = side.tally;
    Json object = {{"completed", tally.completed},
                   {"refused", tally.refused},
                   {"lost", tally.lost},
                   {"abandoned", tally.abandoned},
                   {"unexpected_acks", tally.unexpected},
                   {"seconds", std::chrono::duration<double>(tally.elapsed).count()},
                   {"cycles_per_second", std::round(tally.perSecond() * 10) / 10},
                   {"latency_us", Json::object()},
                   {"cpu", Json::array()}};
    for (NamedLatencies const& each : tallied) {
        object["latency_us"][each.key] = latencyJson(tally.*each.latencies);
    }
    for (ProcessShare const& share : side.processes) {
        object["cpu"].push_back(
            {{"role", share.role},
             {"pid", share.process},
             {"us_per_cycle", share.isGone ? Json() : Json(microPerCycle(share, tally))}});
    }
    return object;
}

} // namespace

std::string textOf(CycleResult const& result, LoadOptions const& options, LoadPlan const& plan,
                   EarlyEnd const& end) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(0);
    writeHead(out, options, plan);
    writeCycles(out, result);
    writeRatio(out, result, options);
    writeLatencies(out, result);
    writeProcesses(out, result);
    if (end.hasFailed()) {
        out << "\nGiven up: " << end.reason() << '\n';
    } else if (end.isAsked()) {
        out << "\nEnded by a signal before its time.\n";
    }
    return out.str();
}

Json jsonOf(CycleResult const& result, LoadOptions const& options, LoadPlan const& plan,
            EarlyEnd const& end) {
    Json object = {{"type", "load"},
                   {"boards", plan.boards.size()},
                   {"channels", options.channels},
                   {"outstanding", options.outstanding},
                   {"rate", options.rate},
                   {"turns", result.rounds},
                   {"good", isGood(result, end)},
                   {"interrupted", end.isAsked()},
                   {"library", sideJson(result.library)}};
    object["library"]["ack_events"] = result.ackEvents;
    object["library"]["ack_error_events"] = result.ackErrorEvents;
    if (plan.isStartingBoards) {
        object["processes"] = plan.processes;
    }
    if (result.floor) {
        object["floor"] = sideJson(*result.floor);
        object["commands"] = {{"in", result.messagesIn}, {"out", result.messagesOut}};
        if (options.rate <= 0 && result.ratio()) {
            object["ratio"] = rounded(*result.ratio());
            object["ratio_median"] = rounded(result.medianRatio().value_or(0));
        }
        if (auto const ratio = result.processorRatio()) {
            object["cpu_ratio"] = rounded(*ratio);
        }
    }
    if (end.hasFailed()) {
        object["given_up"] = end.reason();
    }
    return object;
}

bool isGood(CycleResult const& result, EarlyEnd const& end) {
    Sides const sides = sidesOf(result);
    return !end.hasFailed() && std::all_of(sides.begin(), sides.end(), [](auto const& each) {
        CycleTally const& tally = each.second->tally;
        return tally.begun() == tally.completed && tally.unexpected == 0;
    });
}

} // namespace gateway
