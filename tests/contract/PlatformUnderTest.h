#ifndef CONTRACT_PLATFORMUNDERTEST_H
#define CONTRACT_PLATFORMUNDERTEST_H

#include "imc/imc_msg.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/**
 * One suite for every implementation of framework/platform. The tests check what the comments of
 * those headers promise, and call the services themselves; what the services' declarations don't
 * offer goes through this interface.
 *
 * To test a further platform: write an adapter that derives from PlatformUnderTest and defines
 * `contract::platform()`, and link it with the sources of the suite and with the platform.
 */
namespace contract {

/** A line that reached the platform's log. */
struct LogLine {
    bool isError;
    /** Message of an error, text of a trace. */
    std::string text;
    /** Empty for a trace. */
    std::string detail;
    std::string file;
    int line;
};

class PlatformUnderTest {
public:
    virtual ~PlatformUnderTest() = default;

    /**
     * Called before each test: no value, board, interface or served address is set, the log level
     * is 0, and log lines from before are forgotten. The tests end their own registrations.
     */
    virtual void reset() = 0;

    /** @name IMC */
    /// @{
    /**
     * Lets a message arrive for this process. Returns when it was delivered to all observers of
     * its identifier. The platform may fill the receiver's address.
     */
    virtual void deliver(imc_msg const& message) = 0;

    /**
     * Types a line at a console. Returns when it was delivered to all observers of its word.
     * @return what they answered, in order
     */
    virtual std::vector<std::string> typeCommand(std::string const& line, int console) = 0;

    /** Somebody serves the address from now on, and keeps what is posted to it. */
    virtual void serve(unsigned char sid) = 0;

    /** Nobody serves the address from now on. */
    virtual void stopServing(unsigned char sid) = 0;

    /** What was posted to an address while it was served, in order of arrival. */
    virtual std::vector<imc_msg> postedTo(unsigned char sid) = 0;
    /// @}

    /** @name Log */
    /// @{
    virtual void setLogLevel(unsigned int level) = 0;
    virtual std::vector<LogLine> logLines() = 0;
    /// @}

    /** @name Collector */
    /// @{
    virtual void setCollectorTrace(bool on) = 0;
    /** Number of GC_MetaObject that exist; only differences are compared. */
    virtual std::size_t liveObjects() = 0;
    /// @}

    /** @name Configuration */
    /// @{
    /** @throw std::invalid_argument where the store refuses to take such a text */
    virtual void setConfiguration(std::string const& section, std::string const& key,
                                  std::string const& text) = 0;
    virtual void setConfiguration(std::string const& section, std::string const& key,
                                  std::uint8_t byte) = 0;
    virtual void removeConfiguration(std::string const& section, std::string const& key) = 0;

    /** A noteworthy value of one byte. */
    virtual void setNoteworthyValue(int number, std::uint8_t value) = 0;
    virtual void removeNoteworthyValue(int number) = 0;

    /** A voice-over-IP board of the gateway. */
    virtual void setBoard(std::string const& ip, unsigned char sid) = 0;
    virtual void setInterface(std::string const& name, std::string const& ip) = 0;
    /// @}
};

/** The platform that this program was linked with; defined by its adapter. */
PlatformUnderTest& platform();

/** Every test of the suite starts with the platform reset. */
class ContractTest : public testing::Test {
protected:
    ContractTest() { platform().reset(); }
};

} // namespace contract

#endif
