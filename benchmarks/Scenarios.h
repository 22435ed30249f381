#ifndef BENCH_SCENARIOS_H
#define BENCH_SCENARIOS_H

#include <functional>
#include <string>
#include <vector>

namespace bench {

/** One operation, done by the library and by the floor. */
struct Scenario {
    std::string name;
    /** How many times the floor's instructions the library may take; 0 where nothing is wanted. */
    double wanted;
    std::function<void()> prepare;
    std::function<void()> library;
    std::function<void()> floor;
};

/** All of them; each is prepared before its first operation. */
std::vector<Scenario> const& scenarios();

} // namespace bench

#endif
