#ifndef GC_GARBAGECOLLECTOR_H
#define GC_GARBAGECOLLECTOR_H

#include "debug/DBG_Log.h"

class GC_MetaObject;

/**
 * Destroys counted objects when their last reference is given back. A service that the platform
 * implements; called by the library on the thread of its client. Throws nothing. It is a log of its
 * own, to which every taking of a reference is traced while its trace switch is on.
 */
class GC_GarbageCollector : public DBG_Log {
public:
    /** @return the one collector, never null, owned by the platform */
    static GC_GarbageCollector* instance();

    /**
     * Gives back one reference; destroys the object, with `delete`, when none is left. The caller
     * does not use the object afterwards unless it holds another reference.
     */
    void dereference(GC_MetaObject* object);

    /** @return whether references are to be traced to this log */
    bool isTraceOn() const;

protected:
    /** Both are defined by the platform, which alone creates the collector. */
    GC_GarbageCollector();
    ~GC_GarbageCollector();
};

#endif
