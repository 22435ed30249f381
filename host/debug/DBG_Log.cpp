#include "debug/DBG_Log.h"

#include "host/Platform.h"

DBG_Log::DBG_Log() : level(host::Platform::instance().log.levelWord()) {}

DBG_Log::~DBG_Log() = default;

void DBG_Log::error(std::string const& message, std::string const& detail, std::string const& file,
                    int line) const {
    host::Platform::instance().log.error(message, detail, file, line);
}

void DBG_Log::trace(std::string const& text, std::string const& file, int line) const {
    host::Platform::instance().log.trace(text, file, line);
}
