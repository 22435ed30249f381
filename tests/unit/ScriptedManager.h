#ifndef UNIT_SCRIPTEDMANAGER_H
#define UNIT_SCRIPTEDMANAGER_H

#include "MC_Manager.h"

#include <functional>
#include <string>

/**
 * A manager that does what the test says, for programs that compile a source of the library by
 * itself. What has no action does nothing.
 *
 * These programs are built in a language mode without exception specifications, so that an action
 * may throw anything.
 */
struct ScriptedManager {
    /** Called when the manager is asked for. */
    std::function<void()> instance;
    std::function<void(MC_Event, VCOM_Direction, MC_FaxTone const&)> faxToneEvent;
    std::function<void(MC_Event, VCOM_Direction, MC_Dtmf const&)> dtmfEvent;
    std::function<void(MC_Event, VCOM_Direction, MC_Acknowledge const&)> ackEvent;
    std::function<void(MC_Event, VCOM_Direction, MC_Alert const&)> alertEvent;
    std::function<void(std::string const&)> getChannel;
    std::function<std::string(int)> getChannelSet;
};

/** What the manager does from now on. */
ScriptedManager& scriptedManager();

#endif
