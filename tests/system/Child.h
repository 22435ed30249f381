#ifndef TESTS_SYSTEM_CHILD_H
#define TESTS_SYSTEM_CHILD_H

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/** A program beside the test that is written to; killed when the object ends and it still runs. */
class Child {
public:
    enum class Where { inPipes, atTerminal };

    /** @param environment on top of the test's own */
    Child(std::vector<std::string> const& command, Where where,
          std::map<std::string, std::string> const& environment = {});
    ~Child();
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    void write(std::string const& text) const;
    void closeInput();
    void signal(int number) const;

    /** What it wrote so far: at a terminal, to both. */
    std::string output();
    std::string errors();
    /** @throw std::runtime_error when the output never fulfils it */
    void await(std::function<bool(std::string const& output)> const& isFulfilled);
    void awaitText(std::string const& text);

    /** Waits for its end. @return its exit status, or the negative number of what killed it */
    int end();

    /** How the terminal is set. */
    termios settings() const;

private:
    void open(Where where, int (&ends)[3]);
    void follow(int descriptor, std::string& to);

    pid_t process = -1;
    int input = -1;
    /** The program's side of the terminal: as long as it is open, the terminal keeps its settings.
     */
    int terminal = -1;
    std::mutex mutex;
    std::string written;
    std::string faults;
    std::vector<std::thread> readers;
};

#endif
