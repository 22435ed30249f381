#ifndef HOST_PLATFORM_H
#define HOST_PLATFORM_H

#include "host/Counters.h"
#include "host/collector/LiveObjects.h"
#include "host/config/ConfigurationFile.h"
#include "host/config/Network.h"
#include "host/config/Store.h"
#include "host/debug/Log.h"
#include "host/debug/NoteworthyValues.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/Imc.h"

#include <functional>

namespace host {

/**
 * The state behind the platform's services, each part in the folder of its service. Built by the
 * first service that is used, which may be in a static constructor, and never destroyed, so that
 * static destructors may use it as well.
 */
class Platform {
public:
    static Platform& instance();

    Counters counters;
    Log log;
    Dispatcher dispatcher;
    LiveObjects liveObjects;
    Network network;
    Store store;
    NoteworthyValues noteworthyValues;
    Imc imc;
    ConfigurationFile configurationFile;

    /** As Workstation::setExitAction. */
    void setExitAction(std::function<void(int)> action);
    void exit(int cause) const;

    /** Delivers message 600 to its observers, as a task of the loop. */
    void announceConfiguration();

    /** As Workstation::reset. */
    void reset();

    Platform(Platform const&) = delete;
    Platform& operator=(Platform const&) = delete;

private:
    Platform();
    ~Platform() = default;

    /** Replaces what the configuration file gave before, and announces the change. */
    void take(Configuration const& configuration);

    std::function<void(int)> exitAction;
};

} // namespace host

#endif
