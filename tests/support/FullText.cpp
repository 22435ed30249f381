#include "tests/support/FullText.h"

#include <cstddef>
#include <cstring>

#ifndef __GLIBCXX__
#error "fullText knows the exceptions of libstdc++ only"
#endif

namespace recording {

namespace {

/** What libstdc++ keeps in front of the characters of a reference-counted string. */
struct StringHead {
    std::size_t length;
    std::size_t capacity;
    /** One less than the number of owners. */
    int references;
};

std::size_t const longestText = 1024 * 1024;
int const mostReferences = 1000;

std::string textBehindHead(char const* characters) {
    StringHead head;
    std::memcpy(&head, characters - sizeof(StringHead), sizeof(StringHead));
    bool const plausible = head.length <= head.capacity && head.length <= longestText &&
                           head.references >= 0 && head.references <= mostReferences &&
                           characters[head.length] == '\0' &&
                           std::strlen(characters) <= head.length;
    if (!plausible) {
        throw std::logic_error("the exception's text does not stand where it was expected");
    }
    return std::string(characters, head.length);
}

} // namespace

// A derived class may return another text from its own what(): only the base's is known here.

std::string fullText(std::runtime_error const& error) {
    return textBehindHead(error.std::runtime_error::what());
}

std::string fullText(std::logic_error const& error) {
    return textBehindHead(error.std::logic_error::what());
}

} // namespace recording
