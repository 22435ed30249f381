#ifndef HOST_NOTEWORTHYVALUES_H
#define HOST_NOTEWORTHYVALUES_H

#include <cstddef>
#include <cstdint>
#include <map>

namespace host {

/** The noteworthy values that are set; each is one byte. */
class NoteworthyValues {
public:
    void set(int number, std::uint8_t value) { values[number] = value; }
    void remove(int number) { values.erase(number); }

    /** As DBG_NoteworthyValueMgr::getValue. */
    bool read(int number, void* destination, std::size_t size) const;

private:
    std::map<int, std::uint8_t> values;
};

} // namespace host

#endif
