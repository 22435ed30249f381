#ifndef TESTS_WIRESHARK_TSHARK_H
#define TESTS_WIRESHARK_TSHARK_H

#include <string>
#include <vector>

/** Runs a program to its end. @throw std::runtime_error with its output when it fails */
std::string outputOf(std::vector<std::string> const& command);

/**
 * Runs tshark with the dissector on a capture, in two passes, so that a command knows its
 * acknowledgement. A fault of the dissector's Lua is an error too.
 * @throw std::runtime_error with the output
 */
std::string tshark(std::string const& capture, std::vector<std::string> const& options);

/** The values of the fields in each frame, as `tshark -T fields` prints them. */
std::vector<std::vector<std::string>> fieldsOf(std::string const& capture,
                                               std::vector<std::string> const& names);

std::vector<std::string> split(std::string const& text, char at);

#endif
