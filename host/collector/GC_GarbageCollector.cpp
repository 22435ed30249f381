#include "collector/GC_GarbageCollector.h"

#include "collector/GC_MetaObject.h"
#include "host/Platform.h"

#include <sstream>

namespace {

char const source[] = "host/collector/GC_GarbageCollector";

class Collector : public GC_GarbageCollector {};

std::string addressText(GC_MetaObject const* object) {
    if (object == nullptr) {
        return "the null pointer";
    }
    std::ostringstream text;
    text << static_cast<void const*>(object);
    return text.str();
}

} // namespace

GC_GarbageCollector::GC_GarbageCollector() = default;

GC_GarbageCollector::~GC_GarbageCollector() = default;

GC_GarbageCollector* GC_GarbageCollector::instance() {
    static Collector* const collector = new Collector;
    return collector;
}

void GC_GarbageCollector::dereference(GC_MetaObject* object) {
    using Outcome = host::LiveObjects::Outcome;
    host::Platform& platform = host::Platform::instance();
    Outcome const outcome = platform.liveObjects.release(object);
    if (outcome == Outcome::lastOne) {
        delete object;
    } else if (outcome != Outcome::kept) {
        platform.counters.add(host::Cause::referenceNotHeld);
        error("a reference is given back that is not held",
              addressText(object) + (outcome == Outcome::noSuchObject ? " is no live object"
                                                                      : " has no reference left"),
              source, __LINE__);
    }
}

bool GC_GarbageCollector::isTraceOn() const {
    return host::Platform::instance().liveObjects.isTracing();
}
