#ifndef GATEWAY_LOAD_CHILDPROCESS_H
#define GATEWAY_LOAD_CHILDPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/**
 * This program once more, with another command line, in a process of its own. It does not get what
 * the terminal sends to this one, and it is killed when this one ends in whatever way. What it
 * prints is dropped, except its errors.
 */
class ChildProcess {
public:
    /** @throw std::runtime_error when there can be no more processes */
    explicit ChildProcess(std::vector<std::string> const& arguments);

    /** Asks it to end, kills it when it does not within two seconds, and reaps it. */
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    pid_t pid() const { return process; }

    /** Asks it to end, so that several do so at the same time. */
    void askToEnd() const;

    bool hasEnded();

private:
    pid_t process;
    bool isReaped = false;
};

/** Processor time that a process has taken so far; nothing of one that is gone. */
std::optional<std::chrono::nanoseconds> processorTime(pid_t process);

/** Memory of this process that is resident, in bytes. */
std::size_t residentMemory();

/** A directory that its owner alone can enter, and that exists as long as this object. */
class PrivateDirectory {
public:
    /** Below $XDG_RUNTIME_DIR, or /tmp. @throw std::runtime_error when it can't be made */
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(PrivateDirectory const&) = delete;
    PrivateDirectory& operator=(PrivateDirectory const&) = delete;

    std::string const& path() const { return name; }

private:
    std::string name;
};

} // namespace gateway

#endif
