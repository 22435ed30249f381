#ifndef MC_MANAGER_H
#define MC_MANAGER_H

#include "MC_Channel.h"
#include "MC_Config.h"
#include "MC_ImcObserver.h"
#include "MC_Message.h"
#include "MC_Observer.h"
#include "MC_Throw.h"

#include "imc/imc_msg.h"

#include <array>
#include <cstddef>
#include <list>
#include <stdexcept>
#include <string>

class GC_GarbageCollector;
class IMC_Manager;
class INetAddress;

/**
 * The entry point of the media channel library: opens, changes, joins and closes the media channels
 * of the board's DSPs, and tells its client what the DSPs report.
 *
 * Takes no lock and creates no thread. The client serialises its calls with the delivery of IMC
 * messages, and calls `instance` first from one thread alone.
 *
 * Operations on a channel abort on a null pointer. A command for a channel that the manager does
 * not know, and a command that IMC can't deliver, end the process through
 * IMC_Manager::coreDumpExit. An exception of a type that an operation does not declare ends it
 * through the unexpected-exception handler.
 */
class MC_Manager {
public:
    /** @return the one manager; built by the first call, deleted by the client at its end */
    static MC_Manager* instance();

    /** Unregisters everything. Channels still listed are not released. */
    ~MC_Manager();

    MC_Manager(MC_Manager const&) = delete;
    MC_Manager& operator=(MC_Manager const&) = delete;

    /**
     * @return a new, empty channel with one reference, which the caller owns and gives back with
     *         GC_GarbageCollector::dereference
     */
    MC_Channel* factory();

    /**
     * Sets the client observer, in place of the one before.
     * @param pObserver not owned; stays valid until it is unregistered or replaced
     * @throw std::invalid_argument when it is null
     */
    void registration(MC_Observer* pObserver);

    /** @throw std::invalid_argument when `pObserver` is not the registered observer */
    void unregistration(MC_Observer* pObserver);

    /**
     * The channel that an event is about: the first listed one with this DSP number, direction and
     * board that is neither idle nor closed, else the last listed one that is.
     * @param sid IMC address of the board, taken as an unsigned byte
     * @throw std::runtime_error when no such channel is listed
     */
    MC_Channel* getChannel(int dsp, VCOM_Direction direction, char sid);

    /**
     * Answers the console with the description of one channel, or of all.
     * @param identifier in upper-case hexadecimal without prefix; empty for all
     */
    void getChannel(std::string const& identifier);

    /**
     * The overview of DSP numbers and the channels on them.
     * @param maxDsp how many DSP numbers to show; -1 for all up to the highest one in use, and
     *        their total
     */
    std::string getChannelSet(int maxDsp);

    /**
     * Sets the board of a channel, and with it the channel's IMC address.
     * @param address cloned; a board that is not known takes the IMC address of the local one
     * @throw std::bad_typeid when `address` is null; the channel then has no board
     */
    void setMediaGateway(MC_Channel* pChannel, INetAddress const* address);

    /** @name Lifecycle of a channel
     *  A failure of a step is thrown as a std::runtime_error that names an operation, the channel
     *  and the step's own text; joinChannel and unjoinChannel name each other. Nothing is rolled
     *  back. */
    /// @{
    /**
     * Lists the channel, takes a reference on it, sets up its DSP and opens the voice path. After a
     * failure the channel stays listed; close it.
     */
    void openChannel(MC_Channel* pChannel) MC_THROW((std::runtime_error, std::invalid_argument));

    /**
     * Closes the paths that are open, takes the channel off the list and gives its reference back,
     * which may destroy it. After a failure the channel stays as it was and can be closed again.
     */
    void closeChannel(MC_Channel* pChannel) MC_THROW((std::runtime_error, std::invalid_argument));

    /** Sends the parameters of a listed channel again. */
    void updateChannel(MC_Channel* pChannel) MC_THROW((std::runtime_error, std::invalid_argument));

    /** Switches a channel to T.38 fax (ITU-T T.38). Lists an idle or closed one again. */
    void activateFax(MC_Channel* pChannel) MC_THROW((std::runtime_error, std::invalid_argument));

    /** Joins the channel's DSP with the one that `joinIp` and `joinDsp` name. */
    void joinChannel(MC_Channel* pChannel) MC_THROW((std::runtime_error, std::invalid_argument));

    /** Ends a join; the channel is "Voice_Open" afterwards, whatever it was. */
    void unjoinChannel(MC_Channel* pChannel) MC_THROW((std::runtime_error, std::invalid_argument));

    /**
     * Switches silence suppression off in both records of a DSP channel when they disagree. Sends
     * nothing. A failure is logged and thrown on as it is.
     */
    void checkSilenceSuppressionMode(MC_Channel* pChannel)
        MC_THROW((std::runtime_error, std::invalid_argument));
    /// @}

    /** @name Reactions to DSP events
     *  Called by the event observers with the event and direction that they stand for. */
    /// @{
    void faxToneEvent(MC_Event event, VCOM_Direction direction, MC_FaxTone const& faxTone)
        MC_THROW((std::runtime_error));
    void dtmfEvent(MC_Event event, VCOM_Direction direction, MC_Dtmf const& dtmf)
        MC_THROW((std::runtime_error));
    void ackEvent(MC_Event event, VCOM_Direction direction, MC_Acknowledge const& ack) MC_THROW(());
    /** Does nothing: alerts interest nobody yet. */
    void alertEvent(MC_Event event, VCOM_Direction direction, MC_Alert const& alert);
    /// @}

private:
    /** Gives the tests the operations below. */
    friend struct MC_ManagerTestAccess;

    struct Subscription;

    MC_Manager();

    static std::size_t const subscriptionCount = 14;
    std::array<Subscription, subscriptionCount> subscriptions();
    void unsubscribe();

    void reference(MC_Channel* pChannel);
    void list(MC_Channel* pChannel);

    void imcPost(imc_msg message, std::string what, MC_Channel const* channel) const MC_THROW(());

    void setSilenceSuppressionActive(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));
    void setFaxDetectionActive(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));
    void setDigitDetection(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));
    void setPacketLength(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));

    void openVoice(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));
    void updateVoice(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));
    void closeVoice(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));

    void openFax(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));
    void closeFax(MC_Channel const* pChannel) const
        MC_THROW((std::runtime_error, std::invalid_argument));

// The results are declared const, as the signatures in the assertion texts say; for a bool that
// means nothing, and some compilers say so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
    const bool findCheck(MC_Channel const* pChannel) const;
    void channelCheck(MC_Channel const* pChannel, std::string where) const;
    const bool remove(MC_Channel const* pChannel);
#pragma GCC diagnostic pop
    void garbage(MC_Channel* pChannel);

    /** What every command starts with: the assertion of its channel, and the check of it. */
    void guard(MC_Channel const* pChannel, unsigned int assertionLine, char const* function,
               char const* name) const;
    /** imcPost, with the text that it takes by value built in one place. */
    void send(imc_msg const& message, char const* what, MC_Channel const* pChannel) const;
    MC_Channel* channelOf(MC_Message const& event, VCOM_Direction direction);
    void acknowledgeFailed(MC_Channel* pChannel);

    static MC_Manager* pManager;

    GC_GarbageCollector* garbageCollector;
    MC_Observer* observer;
    MC_Config config;
    std::list<MC_Channel*> channels; ///< in the order of opening; each entry holds a reference
    IMC_Manager* imc;
    MC_FaxToneObserver faxToneObserver;
    MC_DtmfObserver dtmfObserverIn;
    MC_DtmfObserver dtmfObserverOut;
    MC_AlertObserver alertObserverIn;
    MC_AlertObserver alertObserverOut;
    MC_AckObserver openVoiceAckObserverIn;
    MC_AckObserver openVoiceAckObserverOut;
    MC_AckObserver closeVoiceAckObserverIn;
    MC_AckObserver closeVoiceAckObserverOut;
    MC_AckObserver openFaxAckObserverIn;
    MC_AckObserver openFaxAckObserverOut;
    MC_AckObserver closeFaxAckObserverIn;
    MC_AckObserver closeFaxAckObserverOut;
};

#endif
