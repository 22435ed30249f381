#include "address/IPAddress.h"
#include "config/CFG_Manager.h"
#include "config/CFG_Store.h"
#include "tests/support/State.h"

#include <algorithm>

using recording::ConfigurationValue;
using recording::enter;
using recording::Kind;
using recording::platform;
using recording::state;

namespace {

std::size_t const longestText = 64;

ConfigurationValue const* readable(char const* section, char const* key, int type) {
    auto const& configuration = state().settings.configuration;
    auto const found = configuration.find({section, key});
    if (found == configuration.end() || found->second.type != type ||
        found->second.bytes.size() > longestText) {
        return nullptr;
    }
    return &found->second;
}

} // namespace

int get(char const* section, char const* key, void* destination, int type, int* count) {
    state().notes.configurationQuestions.push_back({section, key, type, *count});
    enter(Kind::configuration, "get(" + std::string(section) + ", " + key + ", " +
                                   std::to_string(type) + ", " + std::to_string(*count) + ")");
    auto const* const value = readable(section, key, type);
    if (value == nullptr || *count < 1) {
        *count = 0;
        return -1;
    }
    std::copy(value->bytes.begin(), value->bytes.end(), static_cast<unsigned char*>(destination));
    *count = 1;
    return 0;
}

bool CFG_Manager::isVoIPBoardIP(IPAddress const& address) {
    std::string const text = address;
    state().notes.boardQuestions.push_back(text);
    enter(Kind::network, "isVoIPBoardIP(" + text + ")");
    if (platform().script.isVoIPBoardIP) {
        return platform().script.isVoIPBoardIP(address);
    }
    return state().settings.boards.count(text) > 0;
}

namespace recording {

void Platform::setConfiguration(std::string const& section, std::string const& key,
                                std::string const& text) {
    ConfigurationValue value{CFG_TYPE_TEXT, {text.begin(), text.end()}};
    value.bytes.push_back('\0');
    state().settings.configuration[{section, key}] = value;
}

void Platform::setConfiguration(std::string const& section, std::string const& key,
                                char const* text) {
    setConfiguration(section, key, std::string(text));
}

void Platform::setConfiguration(std::string const& section, std::string const& key,
                                std::uint8_t byte) {
    state().settings.configuration[{section, key}] = ConfigurationValue{CFG_TYPE_BYTE, {byte}};
}

void Platform::removeConfiguration(std::string const& section, std::string const& key) {
    state().settings.configuration.erase({section, key});
}

std::vector<ConfigurationQuestion> const& Platform::configurationQuestions() const {
    return state().notes.configurationQuestions;
}

void Platform::setBoard(std::string const& ip, unsigned char sid) {
    state().settings.boards.insert(ip);
    setSid(ip, sid);
}

void Platform::setSid(std::string const& ip, unsigned char sid) {
    state().settings.sids[ip] = sid;
}

std::vector<std::string> const& Platform::boardQuestions() const {
    return state().notes.boardQuestions;
}

} // namespace recording
