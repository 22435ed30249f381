#include "MC_Trace.h"

void MC_trace(MC_Text& text, char const* source, int line) {
    pMClog->trace("MC - OBS - " + text.ends(), source, line);
}
