#include "debug/DBG_NoteworthyValueMgr.h"

#include "host/Platform.h"

namespace {

class Manager : public DBG_NoteworthyValueMgr {};

} // namespace

DBG_NoteworthyValueMgr::DBG_NoteworthyValueMgr() = default;

DBG_NoteworthyValueMgr::~DBG_NoteworthyValueMgr() = default;

DBG_NoteworthyValueMgr* DBG_NoteworthyValueMgr::instance() {
    static Manager* const manager = new Manager;
    return manager;
}

bool DBG_NoteworthyValueMgr::getValue(int number, void* destination, std::size_t size) const {
    return host::Platform::instance().noteworthyValues.read(number, destination, size);
}
