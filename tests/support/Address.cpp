#include "address/INetAddress.h"
#include "address/IPAddress.h"
#include "address/TransportAddress.h"
#include "address/UDPAddr.h"
#include "tests/support/State.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

using recording::enter;
using recording::Kind;
using recording::state;

namespace {

/** Keeps the books of a copy that `Clone` made. */
template <typename Address>
Address* cloned(Address* copy) {
    // The copy may have entered itself when it was constructed.
    state().addresses.died(copy);
    state().clones.born(copy);
    enter(Kind::clones, "Clone " + std::string(*copy));
    return copy;
}

void created(INetAddress const* address, std::string const& text) {
    state().addresses.born(address);
    enter(Kind::addresses, "create " + text);
}

/** An object in neither census is an implicit copy, whose creation nobody saw. */
void destroyed(INetAddress const* address, std::string const& text) {
    if (state().clones.died(address)) {
        enter(Kind::clones, "delete " + text);
    } else if (state().addresses.died(address)) {
        enter(Kind::addresses, "delete " + text);
    }
}

/** One of the four numbers of an address's text; moves `position` behind it. */
std::uint32_t numberAt(std::string const& text, std::size_t& position) {
    std::uint32_t number = 0;
    std::size_t const start = position;
    while (position < text.size() && position - start < 3 && text[position] >= '0' &&
           text[position] <= '9') {
        number = number * 10 + static_cast<std::uint32_t>(text[position] - '0');
        ++position;
    }
    if (position == start || number > 255) {
        throw std::invalid_argument("no IPv4 address: " + text);
    }
    return number;
}

std::uint32_t parse(std::string const& text) {
    std::uint32_t value = 0;
    std::size_t position = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && (position >= text.size() || text[position++] != '.')) {
            throw std::invalid_argument("no IPv4 address: " + text);
        }
        value = (value << 8) | numberAt(text, position);
    }
    if (position != text.size()) {
        throw std::invalid_argument("no IPv4 address: " + text);
    }
    return value;
}

std::string textOf(INetAddress const* address) {
    return address == nullptr ? "none" : std::string(*address);
}

std::string arguments(INetAddress const* address, unsigned short port) {
    return "(" + textOf(address) + ", " + std::to_string(port) + ")";
}

INetAddress* cloneOf(INetAddress const* address) {
    return address == nullptr ? nullptr : address->Clone();
}

} // namespace

INetAddress::~INetAddress() = default;

bool INetAddress::operator!=(std::string const& text) const {
    enter(Kind::comparisons, std::string(*this) + " != " + text);
    return !(*this == text);
}

IPAddress const IPAddress::IpAddressAny(0);

IPAddress::IPAddress(std::uint32_t number) : value(number) {
    created(this, *this);
}

IPAddress::IPAddress(std::string const& text) : value(parse(text)) {
    created(this, *this);
}

IPAddress::~IPAddress() {
    destroyed(this, IPAddress::operator std::string());
}

IPAddress IPAddress::GetAddress(std::string const& interfaceName) {
    state().notes.interfaceQuestions.push_back(interfaceName);
    enter(Kind::network, "GetAddress(" + interfaceName + ")");
    auto const& interfaces = state().settings.interfaces;
    auto const found = interfaces.find(interfaceName);
    return IPAddress(found == interfaces.end() ? 0 : found->second);
}

std::uint32_t IPAddress::GetValue() const {
    return value;
}

IPAddress* IPAddress::Clone() const {
    return cloned(new IPAddress(*this));
}

IPAddress::operator std::string() const {
    return std::to_string(value >> 24) + "." + std::to_string((value >> 16) & 0xFFU) + "." +
           std::to_string((value >> 8) & 0xFFU) + "." + std::to_string(value & 0xFFU);
}

bool IPAddress::operator==(std::string const& text) const {
    std::string const own = *this;
    enter(Kind::comparisons, own + " == " + text);
    return own == text;
}

void IPAddress::GetBinary(unsigned char (&bytes)[16]) const {
    enter(Kind::binaries, "GetBinary " + std::string(*this));
    std::memset(bytes, 0, 10);
    bytes[10] = 0xFF;
    bytes[11] = 0xFF;
    for (unsigned int i = 0; i < 4; ++i) {
        bytes[12 + i] = static_cast<unsigned char>((value >> (24 - 8 * i)) & 0xFFU);
    }
}

TransportAddress::TransportAddress() : address(nullptr), port(0) {}

TransportAddress::TransportAddress(INetAddress const* newAddress, unsigned short newPort)
    : address(nullptr), port(newPort) {
    state().notes.endPoints.push_back({textOf(newAddress), newPort});
    enter(Kind::endPoints, "TransportAddress" + arguments(newAddress, newPort));
    address = cloneOf(newAddress);
}

TransportAddress::TransportAddress(TransportAddress const& other)
    : address(nullptr), port(other.port) {
    enter(Kind::endPointChanges, "copy" + arguments(other.address, other.port));
    address = cloneOf(other.address);
}

TransportAddress& TransportAddress::operator=(TransportAddress const& other) {
    enter(Kind::endPointChanges, "assign" + arguments(other.address, other.port));
    INetAddress* const copy = cloneOf(other.address);
    delete address;
    address = copy;
    port = other.port;
    return *this;
}

TransportAddress::~TransportAddress() {
    enter(Kind::endPointEnds, "~TransportAddress" + arguments(address, port));
    delete address;
}

void TransportAddress::Set(INetAddress const* newAddress, unsigned short newPort) {
    enter(Kind::endPointChanges, "Set" + arguments(newAddress, newPort));
    INetAddress* const copy = cloneOf(newAddress);
    delete address;
    address = copy;
    port = newPort;
}

INetAddress const* TransportAddress::GetINetAddress() const {
    return address;
}

unsigned short TransportAddress::GetPort() const {
    return port;
}

TransportAddress::operator std::string() const {
    return textOf(address) + ":" + std::to_string(port);
}

UDPAddr::UDPAddr() = default;

UDPAddr::UDPAddr(INetAddress const* newAddress, unsigned short newPort)
    : TransportAddress(newAddress, newPort) {
    enter(Kind::endPoints, "UDPAddr" + arguments(newAddress, newPort));
}

namespace recording {

OtherAddress::OtherAddress(std::string const& ownText, Binary const& ownBinary)
    : text(ownText), binary(ownBinary) {
    created(this, text);
}

OtherAddress::OtherAddress(OtherAddress const& other)
    : INetAddress(other), text(other.text), binary(other.binary) {
    created(this, text);
}

OtherAddress::~OtherAddress() {
    destroyed(this, text);
}

OtherAddress* OtherAddress::Clone() const {
    auto* const copy = new OtherAddress(text, binary);
    return cloned(copy);
}

OtherAddress::operator std::string() const {
    return text;
}

bool OtherAddress::operator==(std::string const& other) const {
    enter(Kind::comparisons, text + " == " + other);
    return text == other;
}

void OtherAddress::GetBinary(unsigned char (&bytes)[16]) const {
    enter(Kind::binaries, "GetBinary " + text);
    std::copy(binary.begin(), binary.end(), bytes);
}

DerivedAddress::DerivedAddress(std::string const& text) : IPAddress(text) {}

DerivedAddress* DerivedAddress::Clone() const {
    return cloned(new DerivedAddress(*this));
}

void Platform::setInterface(std::string const& name, std::string const& ip) {
    state().settings.interfaces[name] = parse(ip);
}

std::vector<std::string> const& Platform::interfaceQuestions() const {
    return state().notes.interfaceQuestions;
}

std::size_t Platform::liveClones() const {
    return state().clones.count();
}

std::size_t Platform::liveAddresses() const {
    return state().addresses.count();
}

std::vector<EndPoint> const& Platform::endPoints() const {
    return state().notes.endPoints;
}

} // namespace recording
