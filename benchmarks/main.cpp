// mc_bench: the library beside a floor that does only what its interface forces.
//   mc_bench [Google Benchmark's options]  times and heap allocations of both
//   mc_bench --list                        a line for each scenario: number, wanted ratio, name
//   mc_bench --measure NUMBER SIDE COUNT   COUNT operations of one side (library or floor), for an
//                                          instruction counter that collects in measuredRegion

#include "benchmarks/Scenarios.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::size_t allocations = 0;

} // namespace

// Every allocation of the program goes through here, so that operations can be asked how many they
// make.
void* operator new(std::size_t size) {
    ++allocations;
    if (void* const p = std::malloc(size)) {
        return p;
    }
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept {
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

extern "C" __attribute__((noinline)) void measuredRegion(std::function<void()> const& operation,
                                                         unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) {
        operation();
    }
}

namespace {

void run(benchmark::State& state, bench::Scenario const& scenario,
         std::function<void()> const& operation) {
    scenario.prepare();
    operation();
    std::size_t const before = allocations;
    operation();
    std::size_t const perOperation = allocations - before;
    for (auto _ : state) {
        operation();
    }
    state.counters["allocations"] = static_cast<double>(perOperation);
}

int list() {
    int number = 0;
    for (bench::Scenario const& scenario : bench::scenarios()) {
        std::printf("%d %.1f %s\n", number++, scenario.wanted, scenario.name.c_str());
    }
    return EXIT_SUCCESS;
}

int measure(char const* number, char const* side, char const* count) {
    bench::Scenario const& scenario =
        bench::scenarios().at(static_cast<std::size_t>(std::atoi(number)));
    bool const isFloor = std::strcmp(side, "floor") == 0;
    std::function<void()> const& operation = isFloor ? scenario.floor : scenario.library;
    scenario.prepare();
    operation();
    std::size_t const before = allocations;
    operation();
    std::printf("%zu\n", allocations - before);
    measuredRegion(operation, std::strtoul(count, nullptr, 10));
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        return list();
    }
    if (argc == 5 && std::strcmp(argv[1], "--measure") == 0) {
        return measure(argv[2], argv[3], argv[4]);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    for (bench::Scenario const& scenario : bench::scenarios()) {
        for (bool const isFloor : {false, true}) {
            benchmark::RegisterBenchmark(
                (scenario.name + (isFloor ? "/floor" : "/library")).c_str(),
                [&scenario, isFloor](benchmark::State& state) {
                    run(state, scenario, isFloor ? scenario.floor : scenario.library);
                });
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
