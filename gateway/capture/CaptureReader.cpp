#include "gateway/capture/CaptureReader.h"

#include "gateway/capture/Pcapng.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <utility>

namespace gateway {

namespace {

/** A length beyond this is no length: the largest packet that Wireshark takes is 256 KiB. */
std::uint32_t const longestBlock = 16U << 20U;
std::uint32_t const nanosecondsPerSecond = 1000000000;
/** Type, length and byte order of a section. */
std::size_t const frameAndOrder = 12;

using Start = std::array<std::uint8_t, 4>;

bool startsWith(std::uint8_t const* bytes, Start const& start) {
    return std::equal(start.begin(), start.end(), bytes);
}

/** What a file is that is no pcapng, for somebody who wonders. */
std::string otherFormat(std::uint8_t const* start) {
    bool const isPcap = startsWith(start, {0xA1, 0xB2, 0xC3, 0xD4}) ||
                        startsWith(start, {0xD4, 0xC3, 0xB2, 0xA1}) ||
                        startsWith(start, {0xA1, 0xB2, 0x3C, 0x4D}) ||
                        startsWith(start, {0x4D, 0x3C, 0xB2, 0xA1});
    if (isPcap) {
        return ": it is of the older pcap format, which editcap -F pcapng converts";
    }
    return start[0] == 0x1F && start[1] == 0x8B ? ": it is compressed" : "";
}

/** What is wrong with a block; the reader adds where. */
struct Fault {
    std::string text;
};

std::uint64_t power(std::uint64_t base, unsigned exponent) {
    std::uint64_t result = 1;
    for (unsigned i = 0; i < exponent; ++i) {
        result *= base;
    }
    return result;
}

struct Time {
    std::uint64_t seconds;
    std::uint64_t nanoseconds;
};

/** Ticks of a tenth to the power of `digits` of a second. */
Time decimalTime(std::uint64_t ticks, unsigned digits) {
    std::uint64_t const second = power(10, digits);
    std::uint64_t const rest = ticks % second;
    return {ticks / second,
            digits <= 9 ? rest * power(10, 9 - digits) : rest / power(10, digits - 9)};
}

/** Ticks of a half to the power of `bits` of a second. */
Time binaryTime(std::uint64_t ticks, unsigned bits) {
    // More bits than this are less than a nanosecond, and would not leave room for the product.
    unsigned const most = 34;
    std::uint64_t const rest = ticks & ((std::uint64_t{1} << bits) - 1);
    std::uint64_t const kept = bits > most ? rest >> (bits - most) : rest;
    return {ticks >> bits, kept * nanosecondsPerSecond >> std::min(bits, most)};
}

std::chrono::nanoseconds timeOf(std::uint64_t ticks, std::uint8_t resolution,
                                std::uint64_t offset) {
    unsigned const exponent = resolution & 0x7FU;
    bool const isBinary = (resolution & 0x80U) != 0;
    Time const time = isBinary ? binaryTime(ticks, exponent) : decimalTime(ticks, exponent);
    std::uint64_t const seconds = time.seconds + offset;
    std::int64_t const last =
        std::numeric_limits<std::int64_t>::max() / std::int64_t{nanosecondsPerSecond} - 1;
    if (seconds > static_cast<std::uint64_t>(last)) {
        throw Fault{"its time is beyond the year 2262"};
    }
    return std::chrono::nanoseconds(
        static_cast<std::int64_t>(seconds * nanosecondsPerSecond + time.nanoseconds));
}

void requireResolution(std::uint8_t resolution) {
    unsigned const exponent = resolution & 0x7FU;
    if (exponent > ((resolution & 0x80U) != 0 ? 63U : 19U)) {
        throw Fault{"the time resolution of its interface can't be followed"};
    }
}

} // namespace

/** The body of a block, field by field. */
class CaptureReader::Fields {
public:
    Fields(CaptureReader const& itsReader, Block const& block)
        : reader(itsReader), body(block.body) {}

    std::uint16_t half() { return reader.number16(take(2)); }
    std::uint32_t word() { return reader.number32(take(4)); }
    std::uint8_t byte() { return *take(1); }
    void skip(std::size_t count) { take(count); }

    std::vector<std::uint8_t> data(std::size_t count) {
        std::uint8_t const* const begin = take(count);
        std::vector<std::uint8_t> bytes(begin, begin + count);
        take(pcapng::padding(count));
        return bytes;
    }

    /** Calls `use(code, value)` for each option. */
    template <typename Use>
    void options(Use use) {
        while (at < body.size()) {
            std::uint16_t const code = half();
            std::uint16_t const length = half();
            if (code == pcapng::optionEnd) {
                return;
            }
            use(code, data(length));
        }
    }

private:
    /** Never null, not even for no bytes of an empty body. */
    std::uint8_t const* take(std::size_t count) {
        if (count > body.size() - at) {
            throw Fault{"its block ends before its fields do"};
        }
        static std::uint8_t const nothing = 0;
        std::uint8_t const* const begin = body.empty() ? &nothing : body.data() + at;
        at += count;
        return begin;
    }

    CaptureReader const& reader;
    std::vector<std::uint8_t> const& body;
    std::size_t at = 0;
};

CaptureReader::CaptureReader(std::istream& itsFrom, std::string const& itsName)
    : from(itsFrom), name(itsName) {
    std::vector<std::uint8_t> start = read(4);
    if (start.empty()) {
        throw CaptureError(name + ": there is nothing in it");
    }
    start.resize(4);
    if (!startsWith(start.data(), {0x0A, 0x0D, 0x0D, 0x0A})) {
        throw CaptureError(name + ": no pcapng file" + otherFormat(start.data()));
    }
    Block block;
    if (!readBlock(std::move(start), block)) {
        throw CaptureError(found);
    }
    try {
        takeSection(block);
    } catch (Fault const& fault) {
        throw CaptureError(name + ": " + fault.text);
    }
}

/** @return fewer bytes at the end of the file */
std::vector<std::uint8_t> CaptureReader::read(std::size_t count) {
    std::string bytes(count, '\0');
    from.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(from.gcount()));
    return {bytes.begin(), bytes.end()};
}

std::uint16_t CaptureReader::number16(std::uint8_t const* at) const {
    unsigned const first = at[0];
    unsigned const second = at[1];
    return static_cast<std::uint16_t>(isBigEndian ? first << 8U | second : second << 8U | first);
}

std::uint32_t CaptureReader::number32(std::uint8_t const* at) const {
    std::uint32_t const first = number16(at);
    std::uint32_t const second = number16(at + 2);
    return isBigEndian ? first << 16U | second : second << 16U | first;
}

/**
 * @param start the first bytes, as far as they have been read
 * @return false at the end of the file, and when the rest of it can't be read
 */
bool CaptureReader::readBlock(std::vector<std::uint8_t> start, Block& to) {
    auto const more = [this, &start](std::size_t size) {
        std::vector<std::uint8_t> const bytes = read(size - start.size());
        start.insert(start.end(), bytes.begin(), bytes.end());
        return start.size() == size;
    };
    bool isWhole = more(8);
    if (start.empty()) {
        return false;
    }
    bool const isSection = isWhole && startsWith(start.data(), {0x0A, 0x0D, 0x0D, 0x0A});
    if (isSection) {
        // A section says in which byte order its lengths are, that of this block included.
        isWhole = more(frameAndOrder);
        isBigEndian = isWhole && startsWith(start.data() + 8, {0x1A, 0x2B, 0x3C, 0x4D});
    }
    if (!isWhole) {
        found = place() + ": the head of a block is cut short";
        return false;
    }
    to.type = number32(start.data());
    to.body.assign(start.begin() + 8, start.end());
    return readRest(number32(start.data() + 4), to);
}

bool CaptureReader::readRest(std::uint32_t length, Block& to) {
    std::size_t const done = 8 + to.body.size();
    if (length < done + 4 || length % 4 != 0 || length > longestBlock) {
        found = place() + ": no block is " + std::to_string(length) + " bytes long";
        return false;
    }
    std::vector<std::uint8_t> const rest = read(length - done);
    if (rest.size() < length - done) {
        bool const isRecord = to.type == pcapng::packetBlock;
        found =
            (isRecord ? name + ": record " + std::to_string(records + 1) : place() + ": a block") +
            " is cut short: " + std::to_string(done + rest.size()) + " of " +
            std::to_string(length) + " bytes are there";
        return false;
    }
    to.body.insert(to.body.end(), rest.begin(), rest.end() - 4);
    std::uint32_t const again = number32(rest.data() + rest.size() - 4);
    if (again != length) {
        found = place() + ": a block is " + std::to_string(length) +
                " bytes long at its beginning, " + std::to_string(again) + " at its end";
        return false;
    }
    offset += length;
    return true;
}

std::string CaptureReader::place() const {
    return name + ": after record " + std::to_string(records) + ", at byte " +
           std::to_string(offset);
}

void CaptureReader::takeSection(Block const& block) {
    Fields fields(*this, block);
    if (fields.word() != pcapng::byteOrderMagic) {
        throw Fault{"a section has no byte order"};
    }
    std::uint16_t const version = fields.half();
    if (version != pcapng::majorVersion) {
        throw Fault{"version " + std::to_string(version) + " of pcapng is not known"};
    }
    interfaces.clear();
}

void CaptureReader::takeInterface(Block const& block) {
    Fields fields(*this, block);
    Interface described;
    described.linkType = fields.half();
    fields.skip(6);
    fields.options([&](std::uint16_t code, std::vector<std::uint8_t> const& value) {
        if (code == pcapng::optionResolution && value.size() == 1) {
            described.resolution = value[0];
        } else if (code == pcapng::optionOffset && value.size() == 8) {
            std::uint64_t const first = number32(value.data());
            std::uint64_t const second = number32(value.data() + 4);
            described.offset = isBigEndian ? first << 32U | second : second << 32U | first;
        }
    });
    interfaces.push_back(described);
}

bool CaptureReader::takePacket(Block const& block, CaptureRecord& to) {
    Fields fields(*this, block);
    std::uint32_t const interface = fields.word();
    if (interface >= interfaces.size()) {
        throw Fault{"there is no interface " + std::to_string(interface)};
    }
    Interface const& described = interfaces[interface];
    std::uint64_t const high = fields.word();
    std::uint64_t const ticks = high << 32U | fields.word();
    std::uint32_t const captured = fields.word();
    fields.skip(4); // how long it was before a capture program cut it
    to.comment.clear();
    to.isRefused = false;
    to.bytes = fields.data(captured);
    fields.options([&](std::uint16_t code, std::vector<std::uint8_t> const& value) {
        if (code == pcapng::optionComment && to.comment.empty()) {
            to.comment.assign(value.begin(), value.end());
        } else if (code == pcapng::optionFlags && value.size() == 4) {
            to.isRefused = (number32(value.data()) & pcapng::directionMask) == pcapng::outbound;
        }
    });
    if (described.linkType != pcapng::linkType) {
        ++others;
        return false;
    }
    requireResolution(described.resolution);
    to.time = timeOf(ticks, described.resolution, described.offset);
    to.number = records;
    return true;
}

bool CaptureReader::take(Block const& block, CaptureRecord& to) {
    switch (block.type) {
    case pcapng::sectionBlock:
        takeSection(block);
        return false;
    case pcapng::interfaceBlock:
        takeInterface(block);
        return false;
    case pcapng::packetBlock:
        ++records;
        return takePacket(block, to);
    case pcapng::simplePacketBlock:
        ++records;
        ++others; // it has no time
        return false;
    default:
        return false;
    }
}

bool CaptureReader::next(CaptureRecord& to) {
    Block block;
    while (found.empty() && readBlock({}, block)) {
        try {
            if (take(block, to)) {
                return true;
            }
        } catch (Fault const& fault) {
            bool const isRecord = block.type == pcapng::packetBlock;
            found = name + ": " + (isRecord ? "record " : "block after record ") +
                    std::to_string(records) + ": " + fault.text;
        }
    }
    return false;
}

Capture readCapture(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    // A directory can be opened, but not read.
    bool const isRead = file && (file.peek() != std::ifstream::traits_type::eof() || !file.bad());
    if (!isRead) {
        throw CaptureError(path + ": " + std::strerror(errno));
    }
    file.clear();
    CaptureReader reader(file, path);
    Capture capture{};
    for (CaptureRecord record; reader.next(record);) {
        capture.records.push_back(std::move(record));
    }
    capture.fault = reader.fault();
    capture.leftOut = reader.leftOut();
    return capture;
}

} // namespace gateway
