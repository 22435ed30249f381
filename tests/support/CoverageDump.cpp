// For the coverage build: keeps what a death test's process counted until it aborted.
extern "C" {
#include <gcov.h>
}

#include <csignal>

namespace {

extern "C" void dumpAndAbort(int signal) {
    // No handler may do this in general. Here, abort() was called by the program itself, in no
    // moment in which the counters are written.
    __gcov_dump();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

bool const installed = std::signal(SIGABRT, dumpAndAbort) != SIG_ERR;

} // namespace
