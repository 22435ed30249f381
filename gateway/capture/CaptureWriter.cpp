#include "gateway/capture/CaptureWriter.h"

#include "gateway/capture/Pcapng.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace gateway {

namespace {

char const application[] = "mcgw " MCGW_VERSION;
/** Ten to the power of minus this, in seconds. */
std::uint8_t const resolution = 9;
char const refused[] = "refused: ";
/** An option's length has 16 bits. */
std::size_t const longestOption = 0xFFFF;
std::size_t const longestReason = longestOption - (sizeof refused - 1);
/** How long a pipe that nobody empties may delay the end, once that is wanted. */
std::chrono::seconds const patience{1};
int const pollMilliseconds = 100;

/** Fields one after the other; big-endian like the messages, which the format leaves to us. */
class Fields {
public:
    void half(std::uint32_t value) {
        byte(value >> 8U);
        byte(value);
    }

    void word(std::uint32_t value) {
        half(value >> 16U);
        half(value);
    }

    void both(std::uint64_t value) {
        word(static_cast<std::uint32_t>(value >> 32U));
        word(static_cast<std::uint32_t>(value));
    }

    void time(std::chrono::nanoseconds value) { both(static_cast<std::uint64_t>(value.count())); }

    /** Filled up to a multiple of 4. */
    void data(std::string const& value) {
        bytes += value + std::string(pcapng::padding(value.size()), '\0');
    }

    void option(std::uint16_t code, std::string const& value) {
        half(code);
        half(static_cast<std::uint32_t>(value.size()));
        data(value);
    }

    void option(std::uint16_t code, Fields const& value) { option(code, value.bytes); }

    void endOptions() { word(pcapng::optionEnd); }

    std::string const& text() const { return bytes; }

private:
    void byte(std::uint32_t value) {
        bytes += static_cast<char>(static_cast<unsigned char>(value & 0xFFU));
    }

    std::string bytes;
};

Fields counter(std::uint64_t value) {
    Fields fields;
    fields.both(value);
    return fields;
}

std::string block(std::uint32_t type, std::string const& body) {
    Fields length;
    length.word(static_cast<std::uint32_t>(body.size() + pcapng::frameSize));
    Fields head;
    head.word(type);
    return head.text() + length.text() + body + length.text();
}

std::string sectionHead() {
    Fields fields;
    fields.word(pcapng::byteOrderMagic);
    fields.half(pcapng::majorVersion);
    fields.half(0);
    fields.both(~std::uint64_t{0}); // how long the section is, is not known yet
    fields.option(pcapng::optionApplication, application);
    fields.endOptions();
    return block(pcapng::sectionBlock, fields.text());
}

std::string interfaceDescription() {
    Fields fields;
    fields.half(pcapng::linkType);
    fields.half(0);
    fields.word(0); // records are never cut
    fields.option(pcapng::optionName, "imc");
    fields.option(pcapng::optionDescription, "Inter-module communication of the media gateway");
    fields.option(pcapng::optionResolution, std::string(1, static_cast<char>(resolution)));
    fields.endOptions();
    return block(pcapng::interfaceBlock, fields.text());
}

/** Whether a file begins as a capture, or holds nothing. */
bool mayBeReplaced(int file) {
    std::array<unsigned char, 4> start{};
    ssize_t const count = pread(file, start.data(), start.size(), 0);
    std::array<unsigned char, 4> const capture = {0x0A, 0x0D, 0x0D, 0x0A};
    return count == 0 || (count == ssize_t{start.size()} && start == capture);
}

} // namespace

CaptureWriter::CaptureWriter(std::string const& itsPath) : path(itsPath), file(-1) {
    try {
        openFile();
        put(sectionHead() + interfaceDescription());
    } catch (...) {
        if (file >= 0) {
            close(file);
        }
        throw;
    }
}

void CaptureWriter::openFile() {
    bool const isOutput = path == "-";
    struct stat status {};
    bool isFile = !isOutput && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    // A file is looked into before it is emptied; a pipe can only be opened for writing.
    file = isOutput ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                    : open(path.c_str(), (isFile ? O_RDWR : O_WRONLY) | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0) {
        fail(std::strerror(errno));
    }
    isFile = !isOutput && fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    // Two that write the same file would leave one that nobody can read.
    if (isFile && flock(file, LOCK_EX | LOCK_NB) != 0) {
        fail(errno == EWOULDBLOCK ? "another process is recording there" : std::strerror(errno));
    }
    if (isFile && status.st_size != 0 && !mayBeReplaced(file)) {
        fail("exists and is no capture: it is not overwritten");
    }
    if (isFile && ftruncate(file, 0) != 0) {
        fail(std::strerror(errno));
    }
}

CaptureWriter::~CaptureWriter() {
    if (file >= 0) {
        close(file);
    }
}

void CaptureWriter::write(imc_msg const& message, std::chrono::nanoseconds time,
                          std::string const& comment) {
    Fields options;
    if (!comment.empty()) {
        options.option(pcapng::optionComment, comment.substr(0, longestOption));
        options.endOptions();
    }
    writeRecord(message, time, options.text());
}

void CaptureWriter::writeRefused(imc_msg const& message, std::chrono::nanoseconds time,
                                 std::string const& reason) {
    Fields flags;
    flags.word(pcapng::outbound);
    Fields options;
    options.option(pcapng::optionComment, refused + reason.substr(0, longestReason));
    options.option(pcapng::optionFlags, flags);
    options.endOptions();
    writeRecord(message, time, options.text());
}

void CaptureWriter::writeRecord(imc_msg const& message, std::chrono::nanoseconds time,
                                std::string const& options) {
    std::uint32_t const length = sizeof message;
    std::string bytes(length, '\0');
    std::memcpy(bytes.data(), &message, length);
    Fields fields;
    fields.word(0); // the one interface
    fields.time(time);
    fields.word(length);
    fields.word(length);
    fields.data(bytes);
    put(block(pcapng::packetBlock, fields.text() + options));
    ++records;
}

void CaptureWriter::end(std::chrono::nanoseconds time, std::uint64_t missed) {
    Fields fields;
    fields.word(0);
    fields.time(time);
    fields.option(pcapng::optionReceived, counter(records + missed));
    fields.option(pcapng::optionDropped, counter(missed));
    fields.endOptions();
    put(block(pcapng::statisticsBlock, fields.text()));
    if (close(std::exchange(file, -1)) != 0) {
        fail(std::strerror(errno));
    }
}

bool CaptureWriter::isReaderGone() const {
    // The writing end of a pipe is in error when its reading end is closed.
    pollfd polled = {file, 0, 0};
    return poll(&polled, 1, 0) > 0 && (polled.revents & POLLERR) != 0;
}

void CaptureWriter::put(std::string const& block) {
    for (std::size_t written = 0; written < block.size();) {
        awaitRoom();
        // A pipe that has room takes this many without waiting.
        std::size_t const size = std::min<std::size_t>(block.size() - written, PIPE_BUF);
        ssize_t const count = ::write(file, block.data() + written, size);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno == EPIPE) {
            throw ReaderGone("capture " + path + ": " + std::strerror(errno));
        } else if (errno != EINTR) {
            fail(std::strerror(errno));
        }
    }
}

void CaptureWriter::awaitRoom() const {
    using Clock = std::chrono::steady_clock;
    Clock::time_point giveUp = Clock::time_point::max();
    pollfd polled = {file, POLLOUT, 0};
    while (poll(&polled, 1, pollMilliseconds) == 0) {
        if (Clock::now() >= giveUp) {
            fail("its reader takes nothing");
        }
        if (isEnding && giveUp == Clock::time_point::max()) {
            giveUp = Clock::now() + patience;
        }
    }
}

void CaptureWriter::fail(std::string const& what) const {
    throw std::runtime_error("capture " + path + ": " + what);
}

} // namespace gateway
