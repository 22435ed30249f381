#ifndef TESTS_SUPPORT_TEMPORARYDIRECTORY_H
#define TESTS_SUPPORT_TEMPORARYDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

/** A directory that exists as long as the object. */
class TemporaryDirectory {
public:
    TemporaryDirectory()
        : name((std::filesystem::temp_directory_path() / "mc-test-XXXXXX").string()) {
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(name, ignored);
    }
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

    std::string const& path() const { return name; }

private:
    std::string name;
};

#endif
