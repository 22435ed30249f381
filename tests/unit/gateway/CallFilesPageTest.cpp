// The page about call files names everything that a call file may hold.

#include "gateway/CallFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

std::string page() {
    std::ifstream file(CALL_FILES_PAGE);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** The words that follow "expected one of " in the error of a call file. */
std::vector<std::string> expectedOneOf(std::string const& callFile) {
    try {
        gateway::parseCallFile(callFile, "call.toml");
    } catch (gateway::CallFileError const& error) {
        std::string text = error.what();
        std::string const before = "expected one of ";
        auto const at = text.find(before);
        text = at == std::string::npos ? "" : text.substr(at + before.size());
        text.erase(std::remove(text.begin(), text.end(), ','), text.end());
        std::istringstream words(text);
        return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
    }
    return {};
}

std::string const board = "[[board]]\nip = \"10.0.0.1\"\nsid = 2\n";
std::string const channel = board + "[[channel]]\nname = \"in\"\n";

void expectOnPage(std::string const& callFile) {
    auto const words = expectedOneOf(callFile);
    EXPECT_FALSE(words.empty()) << callFile;
    std::string const text = page();
    for (std::string const& word : words) {
        bool const isThere = text.find("`" + word + "`") != std::string::npos ||
                             text.find("`" + word + " = ") != std::string::npos ||
                             text.find("`" + word + ".") != std::string::npos ||
                             text.find("[" + word + "]") != std::string::npos;
        EXPECT_TRUE(isThere) << word;
    }
}

TEST(CallFilesPage, namesEveryKey) {
    expectOnPage(channel + "[[step]]\nwait = 0\n[other]\n");
    expectOnPage("[[board]]\nip = \"10.0.0.1\"\nsid = 2\nother = 1\n");
    expectOnPage("[configuration]\nother = 1\n");
    expectOnPage(channel + "other = 1\n");
    expectOnPage(channel + "[[step]]\nconfigure.other = 1\n");
    expectOnPage(channel + "[[step]]\nother = 1\n");
    expectOnPage(channel + "[[step]]\nopen = \"in\"\nother = 1\n");
    expectOnPage(channel + "[[step]]\ndtmf = \"in\"\ndigit = 1\nother = 1\n");
    expectOnPage(channel + "[[step]]\nalert = \"in\"\nvalue = 1\nother = 1\n");
    expectOnPage(channel + "[[step]]\nfailNext = \"in\"\nerror = 1\nother = 1\n");
    expectOnPage(channel + "[[step]]\nopen = \"in\"\nexpect.other = 1\n");
    expectOnPage(channel + "[[step]]\nconsole = \"x\"\nexpect.other = 1\n");
}

TEST(CallFilesPage, namesEveryFieldOfEachMessage) {
    for (char const* const message :
         {"OpenVoice in", "UpdateVoice in", "OpenFax out", "Join", "SetParameter"}) {
        expectOnPage(channel + "[[step]]\nopen = \"in\"\nexpect.commands = \"" + message +
                     " other=1\"\n");
    }
    for (char const* const message : {"OpenVoiceAck in", "Dtmf in", "Alert in"}) {
        expectOnPage(channel + "[[step]]\nopen = \"in\"\nexpect.events = \"" + message +
                     " other=1\"\n");
    }
    for (char const* const message : {"ackEvent", "dtmfEvent"}) {
        expectOnPage(channel + "[[step]]\nopen = \"in\"\nexpect.callbacks = \"" + message +
                     " other=1\"\n");
    }
}

} // namespace
