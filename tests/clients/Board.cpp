#include "tests/clients/Board.h"

#include "tests/support/Recording.h"

namespace board {

char const ip[] = "10.0.0.1";

void setUp() {
    recording::platform().reset();
    recording::platform().setBoard(ip, sid);
}

std::vector<std::uint32_t> takePosted() {
    std::vector<std::uint32_t> identifiers;
    for (imc_msg const& message : recording::platform().posted()) {
        identifiers.push_back(message.messageId);
    }
    recording::platform().clearRecords();
    return identifiers;
}

std::size_t acknowledge(std::uint32_t messageId, std::uint8_t dsp, std::uint8_t error,
                        std::uint16_t localPort) {
    return recording::platform().deliver(
        recording::message(messageId, 4, sid,
                           {dsp, error, static_cast<unsigned char>(localPort >> 8),
                            static_cast<unsigned char>(localPort & 0xFFU)}));
}

std::size_t liveObjects() {
    return recording::platform().liveObjects();
}

} // namespace board
