#ifndef HOST_WORKSTATION_H
#define HOST_WORKSTATION_H

#include "imc/Dispatcher.h"
#include "imc/Transport.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace host {

/**
 * The gateway's platform on a workstation: what a program sets and drives that the platform's own
 * declarations, which the library sees, leave to the board. There is one, like the services behind
 * it.
 *
 * All operations are called on the thread that runs the dispatch loop, except where it is said.
 */
class Workstation {
public:
    /** IMC address of this process unless set otherwise. */
    static constexpr unsigned char defaultSid = 0x01;

    /**
     * What IMC_Manager::getSid answers for an address that is no board's: the IMC address of a
     * channel that was given no board. Each such question is counted.
     */
    static constexpr unsigned char unknownBoardSid = 0xFA;

    static Workstation& instance();

    /** The loop on which everything is delivered. Its `post` may be called from any thread. */
    Dispatcher& dispatcher();

    /** What carries the messages; in-process until it is replaced. */
    Transport& transport();

    /**
     * Replaces what carries the messages. This process moves its address over to it.
     * @param transport owned from now on; null for a new in-process one
     * @throw std::runtime_error when it does not take the address; the one before stays
     */
    void setTransport(std::unique_ptr<Transport> transport);

    /** IMC address of this process; filled into posted messages as sourceSid. */
    unsigned char sid() const;
    /** @throw std::runtime_error when somebody serves the address; the one before stays */
    void setSid(unsigned char sid);

    /** @name Boards */
    /// @{
    /**
     * A board of the gateway: its address is known to be a voice-over-IP board's, and
     * IMC_Manager::getSid answers its IMC address.
     * @param ip text form of the IPv4 address
     * @throw std::invalid_argument when `ip` is no IPv4 address
     */
    void setBoard(std::string const& ip, unsigned char sid);

    /** Forgets all boards, those of the configuration file until it is read again. */
    void clearBoards();

    /**
     * The address of a network interface name, such as "voicelan". A name that is not set here or
     * in the configuration file is looked up among the machine's own interfaces.
     * @throw std::invalid_argument when `ip` is no IPv4 address
     */
    void setInterface(std::string const& name, std::string const& ip);
    /// @}

    /** @name Console */
    /// @{
    using Answer = std::function<void(std::string const&)>;

    /**
     * An operator's console types a line. It is delivered as a task of the loop to every observer
     * of its first word. Each answer reaches `answer` as it stands, NUL characters included. A
     * line whose word nobody registered is answered with a text that says so. May be called from
     * any thread.
     * @param console number of the console, passed to the observers
     * @param answer called on the thread of the loop; empty when nobody wants the answers
     */
    void typeCommand(std::string const& line, int console, Answer answer);
    /// @}

    /** @name Configuration store */
    /// @{
    /**
     * Reads a TOML configuration file, and posts message 600 when what it holds was taken. The
     * file is watched from now on: a change is read again, followed by message 600; a bad change
     * is logged and counted, the last good values stay, and no message is posted. A file replaces
     * what the file before gave; what the program set otherwise stays and goes before what the file
     * says of it, until the program removes it. `config/Configuration.h` describes the file.
     * @throw std::runtime_error with the file, and with line and column where there are any, when
     *        it is bad or can't be read; this is counted, and the last good values stay
     */
    void loadConfiguration(std::string const& path);

    /**
     * Sets a value of the store, whatever the file says of it; message 600 is not posted.
     * @param text for a value of type code 3
     * @throw std::invalid_argument when the text is longer than 63 characters or holds a NUL
     */
    void setConfiguration(std::string const& section, std::string const& key,
                          std::string const& text);
    /** The same for a value of type code 8. */
    void setConfiguration(std::string const& section, std::string const& key, std::uint8_t byte);
    /** Removes a value of the program's, and the file's until the file is read again. */
    void removeConfiguration(std::string const& section, std::string const& key);

    /** Delivers message 600 to whoever registered for it, as a task of the loop. */
    void announceConfiguration();

    /** Sets a noteworthy value of one byte, or removes it; as for values of the store. */
    void setNoteworthyValue(int number, std::uint8_t value);
    void removeNoteworthyValue(int number);
    /// @}

    /** @name Log */
    /// @{
    /**
     * Sets the level word that every DBG_Log refers to; MC_LOG_LEVEL in the environment, 0 to 3,
     * sets it at the start of the process. May be called from any thread: on the loop's the word
     * changes at once, from another one as a task of the loop, since modules read it unguarded.
     * @param level the whole word. Its two low bits are the trace level; the others are taken as
     *        they stand, as a board may set them, and change nothing here: 77 traces like 1
     */
    void setLogLevel(unsigned int level);
    /** The level that was set last. May be called from any thread. */
    unsigned int logLevel() const;

    /** One line of the log, NUL characters included. */
    struct LogLine {
        bool isError;
        std::string text;
        std::string detail;
        std::string file;
        int line;
    };
    using LogSink = std::function<void(LogLine const&)>;

    /**
     * Sends the lines to `sink` instead of standard error; an empty sink restores that. The sink
     * is called on the thread that logs; what it throws is counted and the line printed.
     */
    void setLogSink(LogSink sink);
    /// @}

    /** @name Collector */
    /// @{
    /** Whether references are traced; MC_GC_TRACE=1 in the environment turns it on at the start. */
    void setCollectorTrace(bool on);
    /** How many collected objects exist. */
    std::size_t liveObjects() const;
    /** How often a reference was given back that was not held. */
    std::size_t faultyDereferences() const;
    /// @}

    /**
     * What coreDumpExit does after its log line; `std::abort` until it is replaced, and again with
     * an empty action. Returning from it lets the library go on.
     */
    void setExitAction(std::function<void(int cause)> action);

    /**
     * Counters of what went wrong, by cause; each cause once, as soon as it has occurred. May be
     * called from any thread.
     */
    std::map<std::string, std::uint64_t> counters() const;

    /**
     * Puts everything back as it was at the start of the process, for a program that plays one
     * thing after the other, such as call files or tests: transport, boards, configuration, level,
     * sinks, counters, pending tasks, exit action. Registrations at IMC stay, and so do the
     * collected objects that exist. A bad variable of the environment is counted again, but not
     * reported again.
     */
    void reset();

    Workstation(Workstation const&) = delete;
    Workstation& operator=(Workstation const&) = delete;

private:
    Workstation();
    ~Workstation();
};

} // namespace host

#endif
