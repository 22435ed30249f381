#ifndef GC_METAOBJECT_H
#define GC_METAOBJECT_H

#include <cstdint>

/**
 * Base of every object whose lifetime is governed by counted references. Whoever takes a reference
 * adds one to `referenceCount`; references are given back through GC_GarbageCollector::dereference.
 * Constructor and destructor are defined by the platform.
 */
class GC_MetaObject {
public:
    /** Sets `referenceCount` to 0: whoever creates the object takes the first reference. */
    GC_MetaObject();
    virtual ~GC_MetaObject();

    GC_MetaObject(GC_MetaObject const&) = delete;
    GC_MetaObject& operator=(GC_MetaObject const&) = delete;

    /** Number of references held on the object. */
    std::uint32_t referenceCount;
};

#endif
