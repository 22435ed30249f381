#ifndef GATEWAY_EXTERNALTOOL_H
#define GATEWAY_EXTERNALTOOL_H

#include <string>
#include <vector>

namespace gateway {

/** A file for as long as a tool needs it. */
class ToolInput {
public:
    /** @throw std::runtime_error when it can't be made */
    explicit ToolInput(std::string const& content);
    ~ToolInput();
    ToolInput(ToolInput const&) = delete;
    ToolInput& operator=(ToolInput const&) = delete;

    std::string const& path() const { return name; }

private:
    std::string name;
};

/**
 * Runs a program that draws to its end.
 * @param package the Debian package that has it
 * @throw std::runtime_error naming the package when it is missing, or that it did not draw
 */
void runTool(std::vector<std::string> arguments, std::string const& package);

} // namespace gateway

#endif
