#include "collector/GC_GarbageCollector.h"
#include "collector/GC_MetaObject.h"
#include "tests/support/State.h"

using recording::enter;
using recording::Kind;
using recording::state;

namespace {

/** The constructor of the service is for platforms only. */
class Collector : public GC_GarbageCollector {};

Collector& collector() {
    static Collector& onlyCollector = *new Collector;
    return onlyCollector;
}

// Made before main(), so that no test's journal holds the creation of its log.
bool const isMadeEarly = collector().isTraceOn();

} // namespace

GC_GarbageCollector::GC_GarbageCollector() = default;
GC_GarbageCollector::~GC_GarbageCollector() = default;

GC_GarbageCollector* GC_GarbageCollector::instance() {
    enter(Kind::instances, "GC_GarbageCollector::instance()");
    return &collector();
}

void GC_GarbageCollector::dereference(GC_MetaObject* object) {
    state().notes.dereferenced.push_back(object);
    if (!state().metaObjects.knows(object) || object->referenceCount == 0) {
        ++state().notes.faultyDereferences;
        enter(Kind::references, "faulty dereference");
        return;
    }
    --object->referenceCount;
    auto const left = object->referenceCount;
    enter(Kind::references, "dereference, " + std::to_string(left) + " left");
    if (left == 0) {
        delete object;
    }
}

bool GC_GarbageCollector::isTraceOn() const {
    return state().settings.collectorTrace;
}

GC_MetaObject::GC_MetaObject() : referenceCount(0) {
    state().metaObjects.born(this);
    enter(Kind::objects, "object created");
}

GC_MetaObject::~GC_MetaObject() {
    state().metaObjects.died(this);
    enter(Kind::objects, "object destroyed");
}

namespace recording {

void Platform::setCollectorTrace(bool on) {
    state().settings.collectorTrace = on;
}

std::vector<GC_MetaObject const*> const& Platform::dereferenced() const {
    return state().notes.dereferenced;
}

std::size_t Platform::liveObjects() const {
    return state().metaObjects.count();
}

std::size_t Platform::faultyDereferences() const {
    return state().notes.faultyDereferences;
}

} // namespace recording
