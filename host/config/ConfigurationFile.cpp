#include "host/config/ConfigurationFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

char const source[] = "host/config/ConfigurationFile";

constexpr std::chrono::milliseconds interval{200};

/** What a look at a file showed: its text, or why it can't be read. */
struct Contents {
    std::string text;
    std::string error;

    bool operator==(Contents const& other) const {
        return text == other.text && error == other.error;
    }
};

Contents look(std::filesystem::path const& path) {
    std::error_code code;
    bool const isRegular = std::filesystem::is_regular_file(path, code);
    if (code) {
        return {"", "can't be read: " + code.message()};
    }
    // Anything else, such as a pipe, would hold up the loop.
    if (!isRegular) {
        return {"", "can't be read: it is no regular file"};
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        return {"", std::string("can't be read: ") + std::strerror(errno)};
    }
    return {std::move(text), ""};
}

Configuration parse(Contents const& contents, std::string const& name) {
    if (!contents.error.empty()) {
        throw std::runtime_error(name + ": " + contents.error);
    }
    return parseConfiguration(contents.text, name);
}

} // namespace

struct ConfigurationFile::Watch {
    /** As it was given, for messages. */
    std::string name;
    /** Still the same file when the process changes its directory. */
    std::filesystem::path path;
    /** Taken or refused last. */
    Contents judged;
    /** Seen once, one interval ago. */
    std::optional<Contents> fresh;
};

ConfigurationFile::ConfigurationFile(Dispatcher& loop, Log& logTo, Counters& faults, Take taker)
    : dispatcher(loop), log(logTo), counters(faults), take(std::move(taker)) {}

ConfigurationFile::~ConfigurationFile() = default;

void ConfigurationFile::load(std::string const& path) {
    auto const next = std::make_shared<Watch>();
    next->name = path;
    next->path = std::filesystem::absolute(path);
    next->judged = look(next->path);
    try {
        Configuration const configuration = parse(next->judged, next->name);
        watch = next;
        take(configuration);
    } catch (std::runtime_error const&) {
        counters.add(Cause::configurationRefused);
        throw;
    }
    schedule();
}

void ConfigurationFile::forget() {
    watch.reset();
}

void ConfigurationFile::schedule() {
    // The task of a file that is no longer watched finds its watch gone.
    dispatcher.postAfter(interval, [this, mine = std::weak_ptr<Watch>(watch)] {
        if (!mine.expired()) {
            poll();
        }
    });
}

void ConfigurationFile::poll() {
    Contents seen = look(watch->path);
    if (seen == watch->judged) {
        watch->fresh.reset();
    } else if (watch->fresh && seen == *watch->fresh) {
        watch->fresh.reset();
        watch->judged = std::move(seen);
        change();
    } else {
        watch->fresh = std::move(seen);
    }
    schedule();
}

void ConfigurationFile::change() {
    try {
        take(parse(watch->judged, watch->name));
    } catch (std::runtime_error const& error) {
        counters.add(Cause::configurationRefused);
        log.error("changed configuration refused, the values before stay", error.what(), source,
                  __LINE__);
    }
}

} // namespace host
