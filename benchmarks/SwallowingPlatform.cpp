// A platform that does as little as the declarations allow: what is measured on it is the library.

#include "benchmarks/SwallowingPlatform.h"

#include "address/IPAddress.h"
#include "address/UDPAddr.h"
#include "collector/GC_GarbageCollector.h"
#include "collector/GC_MetaObject.h"
#include "config/CFG_Manager.h"
#include "config/CFG_Store.h"
#include "debug/DBG_NoteworthyValueMgr.h"
#include "debug/DBG_Output.h"
#include "imc/IMC_CommandObserver.h"
#include "imc/IMC_Manager.h"
#include "imc/IMC_Observer.h"

#include <cstdlib>
#include <map>

namespace {

unsigned int levelWord = 0;
std::map<long, IMC_Observer*> observers;

struct TheImc : IMC_Manager {};
struct TheCollector : GC_GarbageCollector {};
struct TheValues : DBG_NoteworthyValueMgr {};

} // namespace

namespace bench {

std::uint64_t swallowed = 0;

void setLogLevel(unsigned int level) {
    levelWord = level;
}

IMC_Observer& observerOf(long messageId) {
    return *observers.at(messageId);
}

} // namespace bench

IMC_Observer::~IMC_Observer() {}
IMC_CommandObserver::~IMC_CommandObserver() {}

std::string const IMC_Manager::prepExitCmd = "PREPARE_EXIT";
IMC_Manager::IMC_Manager() {}
IMC_Manager::~IMC_Manager() {}
IMC_Manager* IMC_Manager::instance(unsigned char) {
    static TheImc imc;
    return &imc;
}
void IMC_Manager::coreDumpExit(int) {
    std::abort();
}
void IMC_Manager::registration(IMC_Observer* observer, long messageId) {
    observers[messageId] = observer;
}
void IMC_Manager::unregistration(IMC_Observer*, long messageId) {
    observers.erase(messageId);
}
void IMC_Manager::registration(IMC_CommandObserver*, std::string const&) {}
void IMC_Manager::unregistration(IMC_CommandObserver*, std::string const&) {}
void IMC_Manager::post(imc_msg const& message) {
    bench::swallowed += message.payload[0];
}
void IMC_Manager::answerCommand(std::string const& text) {
    bench::swallowed += text.size();
}
unsigned char IMC_Manager::getSid(int, IPAddress const&) {
    return 0x10;
}
std::string IMC_Manager::getStringSid(unsigned char) const {
    return "BOARD";
}

DBG_Log::DBG_Log() : level(levelWord) {}
DBG_Log::~DBG_Log() {}
void DBG_Log::error(std::string const& message, std::string const&, std::string const&, int) const {
    bench::swallowed += message.size();
}
void DBG_Log::trace(std::string const& text, std::string const&, int) const {
    bench::swallowed += text.size();
}

std::string const DBG_Output::directionToStr[] = {"NONE", "IN", "OUT"};
int const DBG_Output::directionToStrMAX = 3;
std::string const DBG_Output::codecToStr[] = {"NONE", "G711A", "G711U", "G723", "G729", "G729A"};
int const DBG_Output::codecToStrMAX = 6;
DBG_Output::FramingName const DBG_Output::framingToStr[] = {
    {VCOM_FRAMING_10, "10"}, {VCOM_FRAMING_20, "20"}, {VCOM_FRAMING_NONE, ""}};

DBG_NoteworthyValueMgr::DBG_NoteworthyValueMgr() {}
DBG_NoteworthyValueMgr::~DBG_NoteworthyValueMgr() {}
DBG_NoteworthyValueMgr* DBG_NoteworthyValueMgr::instance() {
    static TheValues values;
    return &values;
}
bool DBG_NoteworthyValueMgr::getValue(int, void*, std::size_t) const {
    return false;
}

GC_MetaObject::GC_MetaObject() : referenceCount(0) {}
GC_MetaObject::~GC_MetaObject() {}
GC_GarbageCollector::GC_GarbageCollector() {}
GC_GarbageCollector::~GC_GarbageCollector() {}
GC_GarbageCollector* GC_GarbageCollector::instance() {
    static TheCollector collector;
    return &collector;
}
bool GC_GarbageCollector::isTraceOn() const {
    return false;
}
void GC_GarbageCollector::dereference(GC_MetaObject* object) {
    if (--object->referenceCount == 0) {
        delete object;
    }
}

bool CFG_Manager::isVoIPBoardIP(IPAddress const&) {
    return true;
}
int get(char const*, char const*, void*, int, int*) {
    return -1;
}

INetAddress::~INetAddress() {}
bool INetAddress::operator!=(std::string const& text) const {
    return !(*this == text);
}
IPAddress const IPAddress::IpAddressAny(0);
IPAddress::IPAddress(std::uint32_t number) : value(number) {}
IPAddress::~IPAddress() {}
IPAddress IPAddress::GetAddress(std::string const&) {
    return IpAddressAny;
}
std::uint32_t IPAddress::GetValue() const {
    return value;
}
IPAddress* IPAddress::Clone() const {
    return new IPAddress(*this);
}
IPAddress::operator std::string() const {
    return "10.0.0.1";
}
bool IPAddress::operator==(std::string const& text) const {
    return text == "10.0.0.1";
}
void IPAddress::GetBinary(unsigned char (&bytes)[16]) const {
    for (int i = 0; i < 4; ++i) {
        bytes[12 + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    }
}

TransportAddress::TransportAddress() : address(nullptr), port(0) {}
TransportAddress::TransportAddress(INetAddress const* anAddress, unsigned short aPort)
    : address(anAddress != nullptr ? anAddress->Clone() : nullptr), port(aPort) {}
TransportAddress::~TransportAddress() {
    delete address;
}
void TransportAddress::Set(INetAddress const* anAddress, unsigned short aPort) {
    INetAddress* const clone = anAddress != nullptr ? anAddress->Clone() : nullptr;
    delete address;
    address = clone;
    port = aPort;
}
INetAddress const* TransportAddress::GetINetAddress() const {
    return address;
}
unsigned short TransportAddress::GetPort() const {
    return port;
}
TransportAddress::operator std::string() const {
    return "10.0.0.1:4000";
}
UDPAddr::UDPAddr() {}
UDPAddr::UDPAddr(INetAddress const* anAddress, unsigned short aPort)
    : TransportAddress(anAddress, aPort) {}
