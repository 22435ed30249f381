#ifndef HOST_CONFIGURATION_H
#define HOST_CONFIGURATION_H

#include "host/config/Store.h"

#include <cstdint>
#include <map>
#include <string>

namespace host {

/**
 * What a configuration file says. The file is TOML; every table and every key may be missing,
 * and a key has 16 dotted parts at most:
 *
 *     [current.gw_priv]          # section "/current//gw_priv" of the configuration store
 *     fax_proto = "udp"          # text, 63 characters at most
 *
 *     [current.gateway]          # section "/current//gateway"
 *     rtptick_request = 1        # 0 to 255
 *
 *     [boards]                   # IPv4 address of each voice-over-IP board and its IMC address,
 *                                # which is nobody else's
 *     "192.168.0.10" = 0x10
 *
 *     [interfaces]               # IPv4 addresses of the network interfaces that modules ask for
 *     voicelan = "192.168.0.10"
 *
 *     [noteworthy]               # noteworthy values by number, 0 to 255
 *     5 = 1
 */
struct Configuration {
    Store::Values values;
    std::map<std::uint32_t, unsigned char> boards;
    std::map<std::string, std::uint32_t> interfaces;
    std::map<int, std::uint8_t> noteworthyValues;
};

/**
 * Reads the text of a configuration file.
 * @param name of the file, for the error
 * @param ownSid IMC address of this process, which no board may have
 * @throw std::runtime_error with "name:line:column: " and what is wrong there
 */
Configuration parseConfiguration(std::string const& text, std::string const& name,
                                 unsigned char ownSid);

} // namespace host

#endif
