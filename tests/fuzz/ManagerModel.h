#ifndef FUZZ_MANAGERMODEL_H
#define FUZZ_MANAGERMODEL_H

#include "tests/fuzz/ClientChannel.h"
#include "tests/fuzz/CommandBytes.h"

#include "imc/imc_msg.h"

#include <array>
#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <vector>

namespace fuzz {

/** How an operation of the manager ends. */
enum class Ending { returned, refused, invalidArgument };

/** A call of the client's observer. */
struct Callback {
    enum class Kind { faxTone, acknowledge, dtmf, acknowledgeError };

    Kind kind;
    /** Null where the channel is unknown. */
    MC_Channel const* channel;
    /** Error and port, or digit and duration. */
    std::uint32_t first = 0;
    std::uint32_t second = 0;

    bool operator==(Callback const& other) const {
        return kind == other.kind && channel == other.channel && first == other.first &&
               second == other.second;
    }
    std::string text() const;
};

/** What an observer does in a callback that it is prepared for. */
enum class Reaction {
    none,
    fails, ///< throws what the interface allows it to
    acts   ///< calls an operation of the manager
};

/** What comes of an operation or a message. */
struct Effects {
    /** What IMC got, and did not refuse for its address. */
    std::vector<Record> posts;
    /** Ends of the process, from which the platform under test returns. */
    std::size_t exits = 0;
    /** Errors in the log. */
    std::size_t errors = 0;
};

/**
 * The manager, as it is described: which operation posts what, lists which channel, and ends how.
 * Shares no code with the library, and keeps no more of a channel than the target's own notes.
 */
class ManagerModel {
public:
    using Operation = Ending (ManagerModel::*)(ClientChannel&);

    /** @name What the platform and the client make of it */
    /// @{
    Settings settings;
    bool isObserved = false;
    std::set<std::uint8_t> unserved;
    /** How many of the next posts IMC refuses after it got the message. */
    unsigned failingPosts = 0;
    /// @}

    /** In the order of opening; one entry for each reference of the list. */
    std::list<ClientChannel*> listed;
    /** Of what was done since they were taken. */
    Effects effects;

    /** @name Operations */
    /// @{
    Ending open(ClientChannel& channel);
    Ending update(ClientChannel& channel);
    Ending close(ClientChannel& channel);
    Ending activateFax(ClientChannel& channel);
    Ending join(ClientChannel& channel);
    Ending unjoin(ClientChannel& channel);
    Ending checkSilence(ClientChannel& channel);
    Ending setSilenceSuppression(ClientChannel& channel);
    Ending setFaxDetection(ClientChannel& channel);
    Ending setDigitDetection(ClientChannel& channel);
    Ending setPacketLength(ClientChannel& channel);
    Ending openVoice(ClientChannel& channel);
    Ending updateVoice(ClientChannel& channel);
    Ending closeVoice(ClientChannel& channel);
    Ending openFax(ClientChannel& channel);
    Ending closeFax(ClientChannel& channel);
    /// @}

    bool isListed(ClientChannel const& channel) const;
    std::uint32_t listings(ClientChannel const& channel) const;
    /** Takes the first entry of the channel off the list. @return whether there was one */
    bool remove(ClientChannel const& channel);

    /** Null when no such channel is listed. */
    ClientChannel* find(int dsp, int direction, std::uint8_t sid) const;

    /** What a message does; the callbacks in the order in which they have to come. */
    std::vector<Callback> deliver(imc_msg const& message, Reaction reaction);

private:
    std::vector<Callback> faxTone(imc_msg const& message);
    std::vector<Callback> dtmf(imc_msg const& message, int direction);
    std::vector<Callback> acknowledge(imc_msg const& message, int direction, bool isOpenFax,
                                      Reaction reaction);

    void list(ClientChannel& channel);
    void check(ClientChannel const& channel);
    bool isTakenByImc(ClientChannel const& channel, Record const& record);
    Ending send(ClientChannel const& channel, MaybeRecord const& record);
    Ending post(ClientChannel const& channel, MaybeRecord const& record);
};

} // namespace fuzz

#endif
