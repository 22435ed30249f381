#ifndef RECORDING_RECORDING_H
#define RECORDING_RECORDING_H

#include "address/INetAddress.h"
#include "address/IPAddress.h"
#include "imc/imc_msg.h"
#include "tests/support/FullText.h"
#include "tests/support/Messages.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class DBG_Log;
class GC_MetaObject;
class IMC_CommandObserver;
class IMC_Observer;

/**
 * The recording platform: every service of framework/platform, made for tests. It records what it
 * is asked in one ordered journal, and answers as the test has set it.
 *
 * Whoever links it gets the platform; the test drives it through `recording::platform()`, and
 * calls `reset()` before each test.
 */
namespace recording {

/** Kinds of journal entries, to be combined with |. With each, how its entries read. */
enum class Kind : unsigned int {
    /** "IMC_Manager::instance(0xff)", "GC_GarbageCollector::instance()", ... */
    instances = 1U << 0,
    /** "registration 600", "unregistration 600", "registration MC", "unregistration MC" */
    registrations = 1U << 1,
    /** "post 108" */
    posts = 1U << 2,
    /** "answer " and the text */
    answers = 1U << 3,
    /** "getSid(12, 10.0.0.1)" */
    sids = 1U << 4,
    /** "log created", "log destroyed"; the collector's own log is not meant */
    logs = 1U << 5,
    /** "error MESSAGE | DETAIL | FILE:LINE" */
    errors = 1U << 6,
    /** "trace TEXT | FILE:LINE" */
    traces = 1U << 7,
    /** "collector trace TEXT | FILE:LINE" */
    collectorTraces = 1U << 8,
    /** "dereference, 1 left", "dereference, 0 left", "faulty dereference" */
    references = 1U << 9,
    /** "object created", "object destroyed": a GC_MetaObject */
    objects = 1U << 10,
    /** "get(/current//gateway, rtptick_request, 8, 1)", "getValue(5, 1)" */
    configuration = 1U << 11,
    /** "isVoIPBoardIP(10.0.0.1)", "GetAddress(voicelan)" */
    network = 1U << 12,
    /** "Clone 10.0.0.1", and "delete 10.0.0.1" when that clone is destroyed */
    clones = 1U << 13,
    /** "create 10.0.0.1" and "delete 10.0.0.1" of an address that was made in another way.
     *  Implicit copies of an IPAddress go unseen. */
    addresses = 1U << 14,
    /** "TransportAddress(10.0.0.1, 5004)"; a UDPAddr adds "UDPAddr(10.0.0.1, 5004)". "none" stands
     *  for a missing network address. */
    endPoints = 1U << 15,
    /** "Set(10.0.0.1, 5004)", "copy(10.0.0.1, 5004)", "assign(10.0.0.1, 5004)" */
    endPointChanges = 1U << 16,
    /** "~TransportAddress(10.0.0.1, 5004)", before the network address is released */
    endPointEnds = 1U << 17,
    /** "GetBinary 10.0.0.1" */
    binaries = 1U << 18,
    /** "10.0.0.1 == 10.0.0.2": an address compared with a text; "10.0.0.1 != 10.0.0.2", and then
     *  the same with "==", which that comparison asks */
    comparisons = 1U << 19,
    /** "coreDumpExit(0)" */
    exits = 1U << 20,
    /** "getStringSid(fa)" */
    sidTexts = 1U << 21,
    everything = ~0U
};

constexpr Kind operator|(Kind left, Kind right) {
    return static_cast<Kind>(static_cast<unsigned int>(left) | static_cast<unsigned int>(right));
}

/** A registration or unregistration that was asked for at IMC. */
struct Registration {
    /** Which of the two observers is meant; the other is null. */
    IMC_Observer* observer;
    IMC_CommandObserver* commandObserver;
    /** Of an IMC_Observer. */
    long messageId;
    /** Of an IMC_CommandObserver. */
    std::string word;
    /** False for an unregistration. */
    bool isRegistration;
};

/** A call of DBG_Log::error or DBG_Log::trace. */
struct LogCall {
    DBG_Log const* log;
    /** The collector's own log, not a module's. */
    bool isCollector;
    bool isError;
    /** Message of an error, text of a trace. */
    std::string text;
    /** Empty for a trace. */
    std::string detail;
    std::string file;
    int line;
};

/** A question to the configuration store. */
struct ConfigurationQuestion {
    std::string section;
    std::string key;
    int type;
    /** How many values were wanted. */
    int count;
};

struct NoteworthyQuestion {
    int number;
    std::size_t size;
};

struct SidQuestion {
    int family;
    /** Text form of the address. */
    std::string address;
};

/** An end point that was built from a network address and a port. */
struct EndPoint {
    /** Text form of the network address, "none" when it is missing. */
    std::string address;
    unsigned short port;
};

/**
 * What a service does besides recording. An empty function is the normal behaviour. What it throws
 * leaves the service, whatever its type.
 */
struct Script {
    /** Called when the message was recorded. */
    std::function<void(imc_msg const&)> post;
    /** Called when the registration was recorded and is in force; gets identifier or word. */
    std::function<void(std::string const&)> registration;
    /** Called when the unregistration was recorded; throwing leaves the registration in force. */
    std::function<void(std::string const&)> unregistration;
    std::function<void(std::string const&)> answerCommand;
    /** Called when an error or a trace was recorded, the collector's included. */
    std::function<void(LogCall const&)> log;
    /** Replaces the line on standard error and the abort. May return: the library then goes on. */
    std::function<void(int cause)> coreDumpExit;
    /** Replaces the answer of the boards that were set. */
    std::function<unsigned char(int family, IPAddress const&)> getSid;
    std::function<bool(IPAddress const&)> isVoIPBoardIP;
};

/** For a script: throws a copy of the value at every call. */
template <typename Exception>
auto throwing(Exception exception) {
    return [exception](auto const&...) { throw exception; };
}

/** For a script: only the first call acts, the others return. For scripts without a result. */
template <typename Action>
auto once(Action action) {
    auto const done = std::make_shared<bool>(false);
    return [action, done](auto const&... arguments) {
        if (!*done) {
            *done = true;
            action(arguments...);
        }
    };
}

/** For a script: returns and does nothing. */
inline auto returning() {
    return [](auto const&...) {};
}

/** The platform as the test sees it. There is one, which lives as long as the process. */
class Platform {
public:
    /**
     * As at the start of the process: journal and records empty, nothing set, nobody registered,
     * no script, level 0. Objects that exist are counted no more.
     */
    void reset();

    Script script;

    /** The entries of these kinds, in order. */
    std::vector<std::string> journal(Kind kinds = Kind::everything) const;
    /** Forgets the journal and all that is recorded below; what was set stays. */
    void clearRecords();

    /** @name IMC */
    /// @{
    /** Messages in the order in which they were posted; also those for which the script threw,
     *  but not those to an address that nobody serves. */
    std::vector<imc_msg> const& posted() const;
    /** Every registration and unregistration asked for, in order, refused ones included. */
    std::vector<Registration> const& registrations() const;
    /** The registrations in force. */
    std::vector<Registration> const& registered() const;
    /** From now on nobody serves the address: `post` throws std::runtime_error naming it. */
    void setUnserved(unsigned char sid);
    void setServed(unsigned char sid);
    /**
     * Delivers a message to the observers of its identifier, in the order of registration. What
     * an observer throws leaves this operation.
     * @return number of observers called
     */
    std::size_t deliver(imc_msg const& message);
    /**
     * Types a line at a console; delivers it to the observers of its first word.
     * @return what they answered, in order
     */
    std::vector<std::string> typeCommand(std::string const& line, int console = 0);
    /** All answers, in order. */
    std::vector<std::string> const& answers() const;
    /** Causes given to coreDumpExit, in order. */
    std::vector<int> const& exits() const;
    /// @}

    /** @name Log */
    /// @{
    void setLogLevel(unsigned int level);
    /** Every call, in order, the collector's included. */
    std::vector<LogCall> const& logCalls() const;
    /** The calls of modules' logs only. */
    std::vector<LogCall> errors() const;
    std::vector<LogCall> traces() const;
    /** The calls of the collector's own log. */
    std::vector<LogCall> collectorTraces() const;
    /// @}

    /** @name Collector */
    /// @{
    void setCollectorTrace(bool on);
    /** Objects given to `dereference`, in order; they may be destroyed. */
    std::vector<GC_MetaObject const*> const& dereferenced() const;
    /** Number of GC_MetaObject that were created since `reset` and exist. */
    std::size_t liveObjects() const;
    /** How often a reference was given back that was not held. */
    std::size_t faultyDereferences() const;
    /// @}

    /** @name Configuration */
    /// @{
    /** A text of more than 63 characters is kept, but can't be read. */
    void setConfiguration(std::string const& section, std::string const& key,
                          std::string const& text);
    void setConfiguration(std::string const& section, std::string const& key, char const* text);
    void setConfiguration(std::string const& section, std::string const& key, std::uint8_t byte);
    /** Reading it fails from now on. */
    void removeConfiguration(std::string const& section, std::string const& key);
    std::vector<ConfigurationQuestion> const& configurationQuestions() const;

    void setNoteworthyValue(int number, std::vector<std::uint8_t> const& bytes);
    void removeNoteworthyValue(int number);
    std::vector<NoteworthyQuestion> const& noteworthyQuestions() const;
    /// @}

    /** @name Boards and addresses */
    /// @{
    /** IMC address of every board that was not set. */
    static unsigned char const unknownSid = 0xEE;

    /** A voice-over-IP board of the gateway and its IMC address. */
    void setBoard(std::string const& ip, unsigned char sid);
    /** IMC address of an address that is no voice-over-IP board's. */
    void setSid(std::string const& ip, unsigned char sid);
    /** Address of a network interface, such as "voicelan". */
    void setInterface(std::string const& name, std::string const& ip);
    std::vector<SidQuestion> const& sidQuestions() const;
    /** Text forms of the addresses asked for. */
    std::vector<std::string> const& boardQuestions() const;
    std::vector<std::string> const& interfaceQuestions() const;
    /** IMC addresses whose manager was asked for. */
    std::vector<unsigned char> const& instanceQuestions() const;

    /** Number of addresses made by `Clone` since `reset` that exist. */
    std::size_t liveClones() const;
    /** The same of addresses made in another way; implicit copies of an IPAddress go unseen. */
    std::size_t liveAddresses() const;
    /** End points built from a network address and a port, in order. */
    std::vector<EndPoint> const& endPoints() const;
    /// @}

    Platform(Platform const&) = delete;
    Platform& operator=(Platform const&) = delete;

private:
    friend Platform& platform();
    Platform() = default;
    ~Platform() = default;
};

Platform& platform();

/** A network address of another family than IPv4: text and binary form as the test sets them. */
class OtherAddress : public INetAddress {
public:
    using Binary = std::array<unsigned char, 16>;

    explicit OtherAddress(std::string const& text, Binary const& binary = Binary{});
    OtherAddress(OtherAddress const& other);
    OtherAddress& operator=(OtherAddress const&) = default;
    ~OtherAddress() override;

    OtherAddress* Clone() const override;
    operator std::string() const override;
    bool operator==(std::string const& text) const override;
    void GetBinary(unsigned char (&bytes)[16]) const override;

private:
    std::string text;
    Binary binary;
};

/** An IPv4 address whose dynamic type is not exactly IPAddress. */
class DerivedAddress : public IPAddress {
public:
    explicit DerivedAddress(std::string const& text);
    DerivedAddress* Clone() const override;
};

} // namespace recording

#endif
