#ifndef HOST_BUS_BUSKEYS_H
#define HOST_BUS_BUSKEYS_H

#include <map>
#include <optional>
#include <string>

namespace host {

/**
 * The CURVE keys of a process on a `tcp://` bus, in a directory:
 *
 *   secret.key       its own secret key, readable by its owner only
 *   public.key       its own public key, to be copied to the peers
 *   peers/NAME.pub   public keys of the peers that may talk to it
 *
 * Each file holds one key, as text of 40 characters (Z85).
 */
class BusKeys {
public:
    /**
     * @throw std::runtime_error when the directory holds no good secret key, others may read it,
     *        or a file of a peer holds no key
     */
    explicit BusKeys(std::string const& directory);

    /**
     * Makes a key pair, and the directories where they are missing.
     * @return the public key
     * @throw std::runtime_error when it can't be written, or there is a secret key already
     */
    static std::string make(std::string const& directory);

    std::string const& publicKey() const { return ownPublic; }
    std::string const& secretKey() const { return ownSecret; }

    bool isAllowed(std::string const& publicKeyOfPeer) const;

    /**
     * @param name of the peer; may be empty when there is one peer only
     * @throw std::invalid_argument when it is not to be told which key is meant
     */
    std::string const& peer(std::string const& name) const;

private:
    std::string directory;
    std::string ownPublic;
    std::string ownSecret;
    std::map<std::string, std::string> peers;
};

/** A key of 32 bytes as text. */
std::string keyText(unsigned char const* key);

} // namespace host

#endif
