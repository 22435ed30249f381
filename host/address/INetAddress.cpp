#include "address/INetAddress.h"

INetAddress::~INetAddress() = default;

bool INetAddress::operator!=(std::string const& text) const {
    return !(*this == text);
}
