#include "host/imc/SidText.h"

namespace host {

std::string sidText(unsigned char sid) {
    static char const digits[] = "0123456789ABCDEF";
    return {'0', 'x', digits[sid >> 4U], digits[sid & 0xFU]};
}

} // namespace host
