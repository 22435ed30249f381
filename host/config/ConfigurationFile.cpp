#include "host/config/ConfigurationFile.h"

#include "host/Text.h"

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

Contents unreadable(std::string const& why) {
    return {"", "can't be read: " + why};
}

Contents look(std::filesystem::path const& path) {
    std::error_code code;
    bool const isRegular = std::filesystem::is_regular_file(path, code);
    if (code) {
        return unreadable(code.message());
    }
    // Anything else, such as a pipe, would hold up the loop.
    if (!isRegular) {
        return unreadable("it is no regular file");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        return unreadable(std::strerror(errno));
    }
    return {std::move(text), ""};
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

ConfigurationFile::ConfigurationFile(Dispatcher& loop, Log& logTo, Counters& faults, OwnSid own,
                                     Take taker)
    : dispatcher(loop),
      log(logTo),
      counters(faults),
      ownSid(std::move(own)),
      take(std::move(taker)) {}

ConfigurationFile::~ConfigurationFile() = default;

void ConfigurationFile::load(std::string const& path) {
    auto const next = std::make_shared<Watch>();
    next->name = path.empty() ? quoted(path) : path;
    std::error_code code;
    next->path = std::filesystem::absolute(path, code);
    next->judged = code ? unreadable(code.message()) : look(next->path);
    try {
        Configuration const configuration = parse(*next);
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

Configuration ConfigurationFile::parse(Watch const& file) const {
    if (!file.judged.error.empty()) {
        throw std::runtime_error(file.name + ": " + file.judged.error);
    }
    return parseConfiguration(file.judged.text, file.name, ownSid());
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
        take(parse(*watch));
    } catch (std::runtime_error const& error) {
        counters.add(Cause::configurationRefused);
        log.error("changed configuration refused, the values before stay", error.what(), source,
                  __LINE__);
    }
}

} // namespace host
