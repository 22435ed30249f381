#ifndef TESTS_SYSTEM_PROGRAM_H
#define TESTS_SYSTEM_PROGRAM_H

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <vector>

/** What a run of mcgw left behind. */
struct ProgramRun {
    /** Exit status; -1 when the program did not end by itself. */
    int status;
    std::string output;
    std::string errors;
};

/** Runs mcgw to its end. */
ProgramRun runProgram(std::vector<std::string> const& arguments);

/** A file that exists as long as the object, in a directory of its own. */
class TemporaryFile {
public:
    TemporaryFile(std::string const& name, std::string const& content);

    std::string const& path() const { return filePath; }

private:
    TemporaryDirectory directory;
    std::string filePath;
};

/** The beginning of a call file: a board, and the channel "in" on it. 13 lines.
 * Inline, so that it is there before the tables of tests that are made of it. */
inline std::string const boardAndChannel = R"([[board]]
ip = "10.0.0.1"
sid = 0x10

[[channel]]
name = "in"
mediaGateway = "10.0.0.1"
dsp = 2
direction = "in"
codec = "G.711 A-law"
rtpLocal = "10.0.0.1:0"
rtpRemote = "10.0.9.1:4000"

)";

#endif
