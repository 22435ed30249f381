#ifndef GATEWAY_CAPTURE_CAPTUREREADER_H
#define GATEWAY_CAPTURE_CAPTUREREADER_H

#include "gateway/capture/CaptureRecord.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

/** A capture that can't be read at all; the text names the file and what is wrong. */
class CaptureError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Reads the records of a pcapng file one after the other: those of mcgw, and those that Wireshark
 * and its tools saved, merged or cut, in either byte order and with any time resolution. Blocks and
 * options that say nothing about messages are passed over.
 *
 * What comes after a block that is in error can't be found. The reading ends there, the records
 * before it count, and `fault` tells what was wrong.
 */
class CaptureReader {
public:
    /**
     * @param from stays valid as long as the reader
     * @param name of the file, for the texts
     * @throw CaptureError when the file does not begin as a pcapng file does
     */
    CaptureReader(std::istream& from, std::string const& name);

    /** @return false when there are no more records; `to` is not to be used then */
    bool next(CaptureRecord& to);

    /** What is wrong with the file, with its name and the record's number; empty when nothing is.
     */
    std::string const& fault() const { return found; }

    /** Records that no message is in, as those of another link type. */
    std::size_t leftOut() const { return others; }

private:
    /** A block without its type and lengths. */
    struct Block {
        std::uint32_t type = 0;
        std::vector<std::uint8_t> body;
    };
    struct Interface {
        std::uint16_t linkType = 0;
        /** As the option says: powers of 10, with the highest bit powers of 2. */
        std::uint8_t resolution = 6;
        /** Seconds to add. */
        std::uint64_t offset = 0;
    };
    class Fields;

    std::vector<std::uint8_t> read(std::size_t count);
    bool readBlock(std::vector<std::uint8_t> start, Block& to);
    bool readRest(std::uint32_t length, Block& to);
    void takeSection(Block const& block);
    void takeInterface(Block const& block);
    /** @return whether the block holds a record with a message */
    bool takePacket(Block const& block, CaptureRecord& to);
    bool take(Block const& block, CaptureRecord& to);

    /** For the text of a fault between records. */
    std::string place() const;
    std::uint32_t number32(std::uint8_t const* at) const;
    std::uint16_t number16(std::uint8_t const* at) const;

    std::istream& from;
    std::string const name;
    bool isBigEndian = false;
    std::vector<Interface> interfaces;
    std::size_t records = 0;
    std::size_t others = 0;
    std::string found;
    /** Where in the file the block begins that is read. */
    std::uint64_t offset = 0;
};

/** The records of a whole file. */
struct Capture {
    std::vector<CaptureRecord> records;
    /** @name As of the reader */
    /// @{
    std::string fault;
    std::size_t leftOut;
    /// @}
};

/** @throw CaptureError when the file can't be opened, or as CaptureReader */
Capture readCapture(std::string const& path);

} // namespace gateway

#endif
