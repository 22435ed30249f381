#include "tests/unit/ThrownTexts.h"

#include "tests/support/FullText.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <typeinfo>

namespace {

std::vector<std::string>& texts() {
    static std::vector<std::string> all;
    return all;
}

using Destructor = void (*)(void*);
using Throw = void (*)(void*, std::type_info*, Destructor);

/** The C++ runtime's own, which the function below stands in front of. */
Throw runtimesThrow() {
    void* const symbol = dlsym(RTLD_NEXT, "__cxa_throw");
    Throw function = nullptr;
    static_assert(sizeof function == sizeof symbol, "dlsym returns functions too");
    std::memcpy(&function, &symbol, sizeof function);
    return function;
}

} // namespace

std::vector<std::string> const& thrownTexts() {
    return texts();
}

void forgetThrownTexts() {
    texts().clear();
}

// What every `throw` of the program and of its libraries calls (Itanium C++ ABI, exception
// handling, 2.4.3).
extern "C" __attribute__((noreturn, visibility("default"))) void
__cxa_throw(void* exception, std::type_info* type, Destructor destructor) {
    if (*type == typeid(std::runtime_error)) {
        texts().push_back(recording::fullText(*static_cast<std::runtime_error*>(exception)));
    }
    runtimesThrow()(exception, type, destructor);
    std::abort();
}
