#include "MC_Trace.h"

void MC_trace(MC_Text& text, char const* source, int line) {
    pMClog->trace("MC - OBS - " + text.ends(), source, line);
}

void MC_error(std::string const& text, std::string const& detail, char const* source, int line) {
    if (pMClog != NULL) {
        pMClog->error(text, detail, source, line);
    }
}
