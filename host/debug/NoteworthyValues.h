#ifndef HOST_NOTEWORTHYVALUES_H
#define HOST_NOTEWORTHYVALUES_H

#include "host/config/Layered.h"

#include <cstddef>
#include <cstdint>
#include <map>

namespace host {

/** The noteworthy values that are set; each is one byte. */
class NoteworthyValues {
public:
    using Values = std::map<int, std::uint8_t>;

    void set(int number, std::uint8_t value) { values.set(number, value); }
    void remove(int number) { values.remove(number); }

    /** Replaces what the configuration file gave before. */
    void replaceFile(Values const& given) { values.replaceFile(given); }

    /** As DBG_NoteworthyValueMgr::getValue. */
    bool read(int number, void* destination, std::size_t size) const;

private:
    Layered<Values::key_type, Values::mapped_type> values;
};

} // namespace host

#endif
