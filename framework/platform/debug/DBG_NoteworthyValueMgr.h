#ifndef DBG_NOTEWORTHYVALUEMGR_H
#define DBG_NOTEWORTHYVALUEMGR_H

#include <cstddef>

/**
 * The board's noteworthy values: numbered debug values that an engineer sets on a running gateway.
 * A service that the platform implements; called by the library on the thread that delivers IMC
 * messages. Throws nothing.
 */
class DBG_NoteworthyValueMgr {
public:
    /** @return the one manager, never null, owned by the platform */
    static DBG_NoteworthyValueMgr* instance();

    /**
     * Reads a value.
     * @param number which value
     * @param destination receives `size` bytes; left as it is on failure
     * @param size size of the value in bytes
     * @return true when the value is set and has that size
     */
    bool getValue(int number, void* destination, std::size_t size) const;

    DBG_NoteworthyValueMgr(DBG_NoteworthyValueMgr const&) = delete;
    DBG_NoteworthyValueMgr& operator=(DBG_NoteworthyValueMgr const&) = delete;

protected:
    /** Both are defined by the platform, which alone creates the manager. */
    DBG_NoteworthyValueMgr();
    ~DBG_NoteworthyValueMgr();
};

#endif
