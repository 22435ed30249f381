#include "collector/GC_MetaObject.h"

#include "host/Platform.h"

GC_MetaObject::GC_MetaObject() : referenceCount(0) {
    host::Platform::instance().liveObjects.add(*this);
}

GC_MetaObject::~GC_MetaObject() {
    host::Platform::instance().liveObjects.remove(*this);
}
