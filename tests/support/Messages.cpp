#include "tests/support/Messages.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace recording {

namespace {

std::size_t const headerSize = 12;

void checkPayload(std::initializer_list<unsigned char> payload) {
    if (payload.size() > sizeof(imc_msg::payload)) {
        throw std::invalid_argument("the payload of a record is 1024 bytes at most");
    }
}

} // namespace

Record record(std::initializer_list<unsigned char> header,
              std::initializer_list<unsigned char> payload) {
    if (header.size() != headerSize) {
        throw std::invalid_argument("the header of a record is 12 bytes");
    }
    checkPayload(payload);
    Record bytes{};
    std::copy(header.begin(), header.end(), bytes.begin());
    std::copy(payload.begin(), payload.end(), bytes.begin() + headerSize);
    return bytes;
}

Record record(imc_msg const& message) {
    Record bytes{};
    std::memcpy(bytes.data(), &message, bytes.size());
    return bytes;
}

imc_msg message(Record const& record) {
    imc_msg message;
    std::memcpy(&message, record.data(), record.size());
    return message;
}

imc_msg message(std::uint32_t messageId, std::uint16_t length, std::uint8_t sourceSid,
                std::initializer_list<unsigned char> payload) {
    checkPayload(payload);
    imc_msg message{};
    message.messageId = messageId;
    message.length = length;
    message.sourceSid = sourceSid;
    std::copy(payload.begin(), payload.end(), message.payload);
    return message;
}

std::size_t firstDifference(Record const& left, Record const& right) {
    auto const difference = std::mismatch(left.begin(), left.end(), right.begin());
    return static_cast<std::size_t>(difference.first - left.begin());
}

} // namespace recording
