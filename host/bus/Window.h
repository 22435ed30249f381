#ifndef HOST_BUS_WINDOW_H
#define HOST_BUS_WINDOW_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>

namespace host {

/** Messages that went out on a connection and that the other side has not taken yet. */
class Window {
public:
    explicit Window(std::size_t most) : limit(most) {}

    bool isFull() const { return pending.size() >= limit; }
    bool isEmpty() const { return pending.empty(); }
    std::size_t size() const { return pending.size(); }

    /** One more message, for this address. @return its sequence, from 1 */
    std::uint64_t accept(unsigned char sid);

    /**
     * Everything up to the sequence was taken.
     * @return false when there was no such message; nothing changes
     */
    bool take(std::uint64_t upTo);

    /** @return how many are for the address; they are not counted for it again */
    std::uint64_t abandon(unsigned char sid);

    /** How many messages are not taken, by address. */
    std::map<unsigned char, std::uint64_t> outstanding() const;

private:
    std::size_t limit;
    std::uint64_t taken = 0;
    /** In the order of the sequence; nothing for an abandoned one. */
    std::deque<std::optional<unsigned char>> pending;
};

} // namespace host

#endif
