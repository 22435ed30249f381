#ifndef HOST_SIDTEXT_H
#define HOST_SIDTEXT_H

#include <string>

namespace host {

/** An IMC address as a hexadecimal number of two digits, such as "0xFA". */
std::string sidText(unsigned char sid);

} // namespace host

#endif
