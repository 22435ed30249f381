#ifndef TESTS_SOAK_CLIENT_H
#define TESTS_SOAK_CLIENT_H

#include "tests/soak/Calls.h"

#include "MC_Manager.h"

#include <cstdint>

namespace soak {

/**
 * The client's side of the library: makes and drops channel records, and calls the operations.
 * Before each call it works out which commands the library must post and whether it must refuse;
 * after it, it compares the record with what must be in it.
 */
class Client {
public:
    Client(Surroundings& surroundings, Calls& calls);

    /** A call's two records, filled at random and not yet open. */
    void make(Call& call);
    void open(Leg& leg);
    void update(Leg& leg);
    void join(Leg& leg, Call const& peer);
    void unjoin(Leg& leg);
    void activateFax(Leg& leg);
    void close(Leg& leg);
    /** Takes the leg off the manager's list, as often as it is on it. */
    void closeWholly(Leg& leg);
    /** Gives the client's reference back. */
    void drop(Leg& leg);
    /** Changes what an update may change. */
    void change(Leg& leg);

    /** Whether the manager has read that fax-tone detection is not to be armed. */
    bool isFaxDetectionOff = false;
    /** Whether the client is called back at the moment. */
    bool isCalledBack = false;

    void checkRecord(Leg const& leg);

private:
    using Operation = void (MC_Manager::*)(MC_Channel*);
    struct Names {
        Operation operation;
        Count done;
        Count refused;
    };

    void fill(Leg& leg);
    void spoil(Leg& leg);
    bool expect(Leg const& leg, std::uint32_t identifier, std::uint8_t code = 0);
    void expectFeatures(Leg const& leg);
    bool expectOpen(Leg& leg);
    bool expectUpdate(Leg& leg);
    bool expectJoin(Leg const& leg, std::uint32_t identifier);
    bool expectFax(Leg& leg);
    bool settleSilenceSuppression(Leg& leg);
    void perform(Names const& names, Leg& leg, bool isRefusalExpected);

    Surroundings& around;
    Calls& calls;
    /** How often the library must have ended the process, and what it must have logged. */
    std::uint64_t exitsExpected = 0;
    std::uint64_t errorsExpected = 0;
};

} // namespace soak

#endif
