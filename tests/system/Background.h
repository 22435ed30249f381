#ifndef TESTS_SYSTEM_BACKGROUND_H
#define TESTS_SYSTEM_BACKGROUND_H

#include <nlohmann/json.hpp>

#include <sys/types.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/** mcgw running beside the test, with --json; killed when the object ends and it still runs. */
class BackgroundProgram {
public:
    using Json = nlohmann::json;

    explicit BackgroundProgram(std::vector<std::string> const& arguments);
    ~BackgroundProgram();
    BackgroundProgram(BackgroundProgram const&) = delete;
    BackgroundProgram& operator=(BackgroundProgram const&) = delete;

    pid_t pid() const { return process; }

    void signal(int number) const;

    /** Stops it; returns when none of its threads runs any more. SIGCONT lets it go on. */
    void halt() const;

    /** Waits for its end. @return its exit status, or the negative number of what killed it */
    int end();

    /** Its lines so far. */
    std::vector<Json> lines();

    /** Lines of a type so far. */
    std::vector<Json> lines(std::string const& type);

    /** The first line of the type, when it comes. @throw std::runtime_error when it doesn't */
    Json await(
        std::string const& type,
        std::function<bool(Json const&)> const& isWanted = [](Json const&) { return true; });

    /** What it wrote to standard error so far. */
    std::string errors();

private:
    void follow(int descriptor, std::string& to);

    pid_t process = -1;
    std::mutex mutex;
    std::string output;
    std::string faults;
    /** Read what it writes, so that a full pipe never holds it up. */
    std::vector<std::thread> readers;
};

#endif
