#ifndef HOST_LIVEOBJECTS_H
#define HOST_LIVEOBJECTS_H

#include <atomic>
#include <cstddef>
#include <mutex>
#include <unordered_set>

class GC_MetaObject;

namespace host {

class Log;

/**
 * The counted objects that exist, so that a reference which is given back to something else is
 * seen before the memory behind it is touched. May be used from any thread; the counts themselves
 * belong to the thread of the objects' owner.
 */
class LiveObjects {
public:
    /** What became of a reference that was given back. */
    enum class Outcome { kept, lastOne, noReferenceHeld, noSuchObject };

    LiveObjects() = default;

    void add(GC_MetaObject const& object);
    void remove(GC_MetaObject const& object);

    /** Takes one reference off the object's count. */
    Outcome release(GC_MetaObject* object);

    std::size_t count() const;

    void setTracing(bool on) { tracing = on; }
    bool isTracing() const { return tracing; }

    /** The trace switch as the environment says, a bad value is reported. */
    void reset(Log& log);

private:
    mutable std::mutex mutex;
    std::unordered_set<GC_MetaObject const*> objects;
    std::atomic<bool> tracing{false};
};

} // namespace host

#endif
