#ifndef MC_MANAGERTESTACCESS_H
#define MC_MANAGERTESTACCESS_H

#include "MC_Manager.h"

#include "imc/imc_msg.h"

#include <list>
#include <string>

/** Gives the tests what the manager keeps for its own operations. */
struct MC_ManagerTestAccess {
    static MC_Manager* existing() { return MC_Manager::pManager; }

    static GC_GarbageCollector* garbageCollector(MC_Manager& manager) {
        return manager.garbageCollector;
    }
    static IMC_Manager* imc(MC_Manager& manager) { return manager.imc; }
    static MC_Observer* observer(MC_Manager& manager) { return manager.observer; }
    static MC_Config& config(MC_Manager& manager) { return manager.config; }
    static std::list<MC_Channel*>& channels(MC_Manager& manager) { return manager.channels; }

    static void imcPost(MC_Manager& manager, imc_msg const& message, std::string const& what,
                        MC_Channel const* pChannel) {
        manager.imcPost(message, what, pChannel);
    }

    static bool findCheck(MC_Manager& manager, MC_Channel const* pChannel) {
        return manager.findCheck(pChannel);
    }
    static void channelCheck(MC_Manager& manager, MC_Channel const* pChannel, char const* where) {
        manager.channelCheck(pChannel, where);
    }
    static bool remove(MC_Manager& manager, MC_Channel const* pChannel) {
        return manager.remove(pChannel);
    }
    static void garbage(MC_Manager& manager, MC_Channel* pChannel) { manager.garbage(pChannel); }

    static void setSilenceSuppressionActive(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.setSilenceSuppressionActive(pChannel);
    }
    static void setFaxDetectionActive(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.setFaxDetectionActive(pChannel);
    }
    static void setDigitDetection(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.setDigitDetection(pChannel);
    }
    static void setPacketLength(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.setPacketLength(pChannel);
    }
    static void openVoice(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.openVoice(pChannel);
    }
    static void updateVoice(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.updateVoice(pChannel);
    }
    static void closeVoice(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.closeVoice(pChannel);
    }
    static void openFax(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.openFax(pChannel);
    }
    static void closeFax(MC_Manager& manager, MC_Channel const* pChannel) {
        manager.closeFax(pChannel);
    }
};

#endif
