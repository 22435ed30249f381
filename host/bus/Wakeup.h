#ifndef HOST_BUS_WAKEUP_H
#define HOST_BUS_WAKEUP_H

namespace host {

/** Wakes a thread that polls the descriptor. */
class Wakeup {
public:
    /** @throw std::runtime_error when the system has none left */
    Wakeup();
    ~Wakeup();
    Wakeup(Wakeup const&) = delete;
    Wakeup& operator=(Wakeup const&) = delete;

    int descriptor() const { return number; }

    /** May be called from any thread. */
    void wake() const;

    /** Takes all wakings until now together. */
    void take() const;

private:
    int number;
};

} // namespace host

#endif
