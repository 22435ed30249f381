#include "config/CFG_Store.h"

#include "host/Platform.h"

int get(char const* section, char const* key, void* destination, int type, int* count) {
    return host::Platform::instance().store.read(section, key, destination, type, count);
}
