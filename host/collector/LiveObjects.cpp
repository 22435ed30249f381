#include "host/collector/LiveObjects.h"

#include "collector/GC_MetaObject.h"
#include "host/Environment.h"
#include "host/debug/Log.h"

namespace host {

void LiveObjects::add(GC_MetaObject const& object) {
    std::lock_guard<std::mutex> const lock(mutex);
    objects.insert(&object);
}

void LiveObjects::remove(GC_MetaObject const& object) {
    std::lock_guard<std::mutex> const lock(mutex);
    objects.erase(&object);
}

LiveObjects::Outcome LiveObjects::release(GC_MetaObject* object) {
    std::lock_guard<std::mutex> const lock(mutex);
    if (objects.count(object) == 0) {
        return Outcome::noSuchObject;
    }
    if (object->referenceCount == 0) {
        return Outcome::noReferenceHeld;
    }
    return --object->referenceCount == 0 ? Outcome::lastOne : Outcome::kept;
}

std::size_t LiveObjects::count() const {
    std::lock_guard<std::mutex> const lock(mutex);
    return objects.size();
}

void LiveObjects::reset(Log& log) {
    EnvironmentDigit const trace = environmentDigit("MC_GC_TRACE", 1);
    setTracing(trace.value.value_or(0) == 1);
    log.reportEnvironment(trace.fault);
}

} // namespace host
