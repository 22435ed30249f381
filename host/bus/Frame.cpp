#include "host/bus/Frame.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

namespace host {

namespace {

constexpr unsigned char magic[] = {'M', 'C', 'G', 'B'};
constexpr std::size_t mostClaims = 256;
constexpr std::uint8_t tapFlag = 1;

class Writer {
public:
    explicit Writer(std::size_t expected) { bytes.reserve(expected); }

    template <class Number>
    void number(Number value) {
        for (std::size_t i = sizeof value; i > 0; --i) {
            bytes.push_back(static_cast<unsigned char>(std::uint64_t{value} >> (8 * (i - 1))));
        }
    }
    void text(std::string const& value, std::size_t longest) {
        if (value.size() > longest) {
            throw std::invalid_argument("a text of " + std::to_string(value.size()) +
                                        " bytes does not fit in a frame of the bus: " + value);
        }
        number(static_cast<std::uint16_t>(value.size()));
        bytes.insert(bytes.end(), value.begin(), value.end());
    }
    void message(imc_msg const& value) {
        auto const* const first = reinterpret_cast<unsigned char const*>(&value);
        bytes.insert(bytes.end(), first, first + sizeof value);
    }

    FrameBytes bytes;
};

/** Reads until something is missing; what is read then is zero or empty, and `isGood` is false. */
class Reader {
public:
    Reader(unsigned char const* first, std::size_t count) : position(first), left(count) {}

    template <class Number>
    Number number() {
        std::uint64_t value = 0;
        unsigned char const* const from = take(sizeof(Number));
        for (std::size_t i = 0; from != nullptr && i < sizeof(Number); ++i) {
            value = value << 8U | from[i];
        }
        return static_cast<Number>(value);
    }
    std::string text(std::size_t longest) {
        std::size_t const size = number<std::uint16_t>();
        good = good && size <= longest;
        unsigned char const* const from = take(size);
        std::string value = from == nullptr ? "" : std::string(from, from + size);
        // It is shown to people, on terminals.
        require(std::all_of(value.begin(), value.end(),
                            [](unsigned char each) { return each >= 0x20 && each != 0x7F; }));
        return value;
    }
    imc_msg message() {
        imc_msg value{};
        if (unsigned char const* const from = take(sizeof value)) {
            std::memcpy(&value, from, sizeof value);
        }
        return value;
    }
    void require(bool condition) { good = good && condition; }

    bool isGood() const { return good; }
    bool isAtEnd() const { return left == 0; }

private:
    unsigned char const* take(std::size_t count) {
        good = good && count <= left;
        if (!good) {
            return nullptr;
        }
        left -= count;
        return std::exchange(position, position + count);
    }

    unsigned char const* position;
    std::size_t left;
    bool good = true;
};

void write(Writer& to, BusNode const& node) {
    to.number(node.instance);
    to.number(node.pid);
    to.number(node.isTap ? tapFlag : std::uint8_t{0});
    to.text(node.name, BusNode::longestName);
    to.text(node.endpoint, BusNode::longestEndpoint);
}

BusNode readNode(Reader& from) {
    BusNode node;
    node.instance = from.number<std::uint64_t>();
    node.pid = from.number<std::uint32_t>();
    auto const flags = from.number<std::uint8_t>();
    from.require(flags <= tapFlag);
    node.isTap = flags == tapFlag;
    node.name = from.text(BusNode::longestName);
    node.endpoint = from.text(BusNode::longestEndpoint);
    return node;
}

/** Writes what stands behind the header; one overload for each kind. */
struct BodyWriter {
    Writer& to;

    void operator()(HelloFrame const& body) const { write(to, body.node); }
    void operator()(WelcomeFrame const& body) const { write(to, body.node); }
    void operator()(RefusedFrame const& body) const {
        to.text(body.reason, RefusedFrame::longestReason);
    }
    void operator()(SidsFrame const& body) const {
        if (body.claims.size() > mostClaims) {
            throw std::invalid_argument("there are no more than 256 IMC addresses");
        }
        to.number(static_cast<std::uint16_t>(body.claims.size()));
        for (BusClaim const& claim : body.claims) {
            to.number(claim.sid);
            to.number(claim.number);
            to.number(claim.since);
        }
    }
    void operator()(DataFrame const& body) const {
        to.number(body.claim);
        to.number(body.timestamp);
        to.message(body.message);
    }
    void operator()(TakenFrame const&) const {}
    void operator()(ByeFrame const&) const {}
    void operator()(CopyFrame const& body) const {
        to.number(body.number);
        to.number(body.timestamp);
        to.number(body.missed);
        to.message(body.message);
    }
    void operator()(MissedFrame const& body) const { to.number(body.missed); }
};

SidsFrame readSids(Reader& from) {
    SidsFrame body;
    std::size_t const count = from.number<std::uint16_t>();
    from.require(count <= mostClaims);
    for (std::size_t i = 0; from.isGood() && i < count; ++i) {
        BusClaim claim;
        claim.sid = from.number<std::uint8_t>();
        claim.number = from.number<std::uint32_t>();
        claim.since = from.number<std::uint64_t>();
        body.claims.push_back(claim);
    }
    return body;
}

/** The members are read in the order in which they stand here. */
DataFrame readData(Reader& from) {
    DataFrame body;
    body.claim = from.number<std::uint32_t>();
    body.timestamp = from.number<std::uint64_t>();
    body.message = from.message();
    return body;
}

CopyFrame readCopy(Reader& from) {
    CopyFrame body;
    body.number = from.number<std::uint64_t>();
    body.timestamp = from.number<std::uint64_t>();
    body.missed = from.number<std::uint64_t>();
    body.message = from.message();
    return body;
}

/** @return nothing when there is no such kind */
std::optional<FrameBody> readBody(FrameKind kind, Reader& from) {
    switch (kind) {
    case FrameKind::hello:
        return HelloFrame{readNode(from)};
    case FrameKind::welcome:
        return WelcomeFrame{readNode(from)};
    case FrameKind::refused:
        return RefusedFrame{from.text(RefusedFrame::longestReason)};
    case FrameKind::sids:
        return readSids(from);
    case FrameKind::data:
        return readData(from);
    case FrameKind::taken:
        return TakenFrame{};
    case FrameKind::bye:
        return ByeFrame{};
    case FrameKind::copy:
        return readCopy(from);
    case FrameKind::missed:
        return MissedFrame{from.number<std::uint64_t>()};
    }
    return std::nullopt;
}

} // namespace

FrameBytes encodeFrame(Frame const& frame) {
    Writer writer(frameHeaderSize + 64 + sizeof(imc_msg));
    writer.bytes.assign(std::begin(magic), std::end(magic));
    writer.number(frameVersion);
    writer.number(static_cast<std::uint8_t>(frame.body.index() + 1));
    writer.number(std::uint16_t{0});
    writer.number(frame.sequence);
    std::visit(BodyWriter{writer}, frame.body);
    return std::move(writer.bytes);
}

std::variant<Frame, FrameFault> decodeFrame(void const* bytes, std::size_t size) {
    auto const* const first = static_cast<unsigned char const*>(bytes);
    if (size < frameHeaderSize || !std::equal(std::begin(magic), std::end(magic), first)) {
        return FrameFault::header;
    }
    Reader reader(first + sizeof magic, size - sizeof magic);
    if (reader.number<std::uint8_t>() != frameVersion) {
        return FrameFault::version;
    }
    auto const kind = static_cast<FrameKind>(reader.number<std::uint8_t>());
    if (reader.number<std::uint16_t>() != 0) {
        return FrameFault::header;
    }
    Frame frame;
    frame.sequence = reader.number<std::uint64_t>();
    std::optional<FrameBody> body = readBody(kind, reader);
    if (!body) {
        return FrameFault::kind;
    }
    if (!reader.isGood() || !reader.isAtEnd()) {
        return FrameFault::body;
    }
    frame.body = *std::move(body);
    return frame;
}

} // namespace host
