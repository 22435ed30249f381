#ifndef DSP_PORTPOOL_H
#define DSP_PORTPOOL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace dsp {

/**
 * The board's local media ports: the even ports from the first one to 65534, each with the odd one
 * behind it for the control protocol. A port that was given back is taken again last, so that late
 * packets of a call that has ended do not reach the next one.
 */
class PortPool {
public:
    /** @throw std::invalid_argument when no even port follows, or `first` is 0 */
    explicit PortPool(std::uint16_t first);

    /** @return an even port that nobody holds, nothing when all are held */
    std::optional<std::uint16_t> take();

    /**
     * Gives a port back.
     * @throw std::invalid_argument when nobody holds the port
     */
    void release(std::uint16_t port);

private:
    std::size_t firstPair;
    std::vector<bool> held;
    std::size_t next = 0;
};

} // namespace dsp

#endif
