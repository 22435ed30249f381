#include "MC_Log.h"

#include <cstddef>

MC_Log* pMClog = NULL;

MC_Log::MC_Log() {}

MC_Log::~MC_Log() {}

void MC_Log::instance() {
    if (pMClog == NULL) {
        pMClog = new MC_Log;
    }
}

void MC_Log::desinstance() {
    delete pMClog;
    pMClog = NULL;
}

void MC_Log::error(std::string const& message, std::string const& detail, std::string const& file,
                   int line) const {
    DBG_Log::error("MC - " + message, detail, file, line);
}
