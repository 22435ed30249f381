#include "gateway/control/TypedLines.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace gateway {

namespace {

/** The directory and those above it, its owner's alone as far as they are made here. */
void makeDirectory(std::filesystem::path const& directory) {
    if (directory.empty() || std::filesystem::exists(directory)) {
        return;
    }
    makeDirectory(directory.parent_path());
    mkdir(directory.c_str(), 0700);
}

/** @return whether all was written */
bool writeAll(std::string const& path, int flags, std::string const& text) {
    int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
    if (file < 0) {
        return false;
    }
    bool const isWritten = fchmod(file, 0600) == 0 && write(file, text.data(), text.size()) ==
                                                          static_cast<ssize_t>(text.size());
    int const error = errno;
    close(file);
    errno = error;
    return isWritten;
}

} // namespace

TypedLines::TypedLines(std::string const& itsPath) : path(itsPath) {
    if (path.empty()) {
        why = "neither XDG_STATE_HOME nor HOME is set";
        return;
    }
    makeDirectory(std::filesystem::path(path).parent_path());
    load();
    if (kept.size() > most) {
        kept.erase(kept.begin(), kept.end() - static_cast<std::ptrdiff_t>(most));
        rewrite();
    }
    append("");
}

void TypedLines::load() {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty()) {
            kept.push_back(line);
        }
    }
}

void TypedLines::rewrite() {
    std::string text;
    for (std::string const& line : kept) {
        text += line + '\n';
    }
    std::string const next = path + "." + std::to_string(getpid());
    if (!writeAll(next, O_TRUNC, text) || std::rename(next.c_str(), path.c_str()) != 0) {
        why = path + ": " + std::generic_category().message(errno);
        unlink(next.c_str());
    }
}

void TypedLines::append(std::string const& line) {
    if (why.empty() && !writeAll(path, O_APPEND, line)) {
        why = path + ": " + std::generic_category().message(errno);
    }
}

void TypedLines::add(std::string const& line) {
    bool const isBlank = line.find_first_not_of(" \t") == std::string::npos;
    if (isBlank || (!kept.empty() && kept.back() == line)) {
        return;
    }
    kept.push_back(line);
    append(line + '\n');
}

std::string TypedLines::defaultPath() {
    char const* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/') {
        return std::string(state) + "/mcgw/history";
    }
    char const* const home = std::getenv("HOME");
    return home == nullptr || *home == '\0' ? "" : std::string(home) + "/.local/state/mcgw/history";
}

} // namespace gateway
