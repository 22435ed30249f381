#ifndef GATEWAY_CAPTURE_CAPTUREWRITER_H
#define GATEWAY_CAPTURE_CAPTUREWRITER_H

#include "imc/imc_msg.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace gateway {

/**
 * Writes a capture of IMC messages as pcapng: one interface named "imc", link type USER0, times in
 * nanoseconds. Each block is handed to the system as a whole and at once, so that a capture can be
 * watched while it grows, and stays readable when the process is killed.
 *
 * The path may be a named pipe that somebody reads, or "-" for the standard output.
 */
class CaptureWriter {
public:
    /** Nobody reads the pipe any more. */
    class ReaderGone : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    /**
     * Starts the file. A capture that is there already is replaced, as every capture program does;
     * any other file that holds something stays as it is, and so does one that another process
     * is writing.
     * @throw std::runtime_error naming the path and what is wrong
     */
    explicit CaptureWriter(std::string const& path);
    /** Without statistics, unless the capture was ended. */
    ~CaptureWriter();
    CaptureWriter(CaptureWriter const&) = delete;
    CaptureWriter& operator=(CaptureWriter const&) = delete;

    /**
     * Records a message that was carried.
     * @param time since 1970
     * @param comment what there is to say; empty for nothing
     * @throw std::runtime_error naming the path and what is wrong, ReaderGone of a pipe
     */
    void write(imc_msg const& message, std::chrono::nanoseconds time,
               std::string const& comment = "");

    /** Records a message that nobody took, flagged as outbound, and why as its comment. */
    void writeRefused(imc_msg const& message, std::chrono::nanoseconds time,
                      std::string const& reason);

    /**
     * Writes the statistics and closes the file.
     * @param missed how many messages could not be recorded
     * @throw std::runtime_error naming the path and what is wrong
     */
    void end(std::chrono::nanoseconds time, std::uint64_t missed);

    /**
     * From now on a pipe whose reader takes nothing is waited for only a short while, and is a
     * fault then. Any thread may call it, also while another one waits.
     */
    void endWaiting() { isEnding = true; }

    /** Whether the file is a pipe that nobody reads any more. */
    bool isReaderGone() const;

    /** How many messages were recorded. */
    std::uint64_t written() const { return records; }

private:
    void writeRecord(imc_msg const& message, std::chrono::nanoseconds time,
                     std::string const& options);
    void put(std::string const& block);
    void awaitRoom() const;
    void openFile();
    [[noreturn]] void fail(std::string const& what) const;

    std::string path;
    int file;
    std::uint64_t records = 0;
    std::atomic<bool> isEnding{false};
};

} // namespace gateway

#endif
