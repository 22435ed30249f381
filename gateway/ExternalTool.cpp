#include "gateway/ExternalTool.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace gateway {

ToolInput::ToolInput(std::string const& content)
    : name((std::filesystem::temp_directory_path() / "mcgw-XXXXXX").string()) {
    int const file = mkstemp(name.data());
    if (file < 0) {
        throw std::runtime_error("no temporary file: " + std::string(std::strerror(errno)));
    }
    close(file);
    std::ofstream(name) << content;
}

ToolInput::~ToolInput() {
    unlink(name.c_str());
}

void runTool(std::vector<std::string> arguments, std::string const& package) {
    std::vector<char*> pointers;
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(pointers),
                   [](std::string& each) { return each.data(); });
    pointers.push_back(nullptr);
    pid_t process = 0;
    int const error =
        posix_spawnp(&process, pointers[0], nullptr, nullptr, pointers.data(), environ);
    if (error != 0) {
        throw std::runtime_error(arguments[0] + ": " + std::strerror(error) + ": pictures need " +
                                 "the package " + package + " (apt-get install " + package + ")");
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(arguments[0] + " did not draw the picture");
    }
}

} // namespace gateway
