#ifndef MC_OBSERVER_H
#define MC_OBSERVER_H

class MC_Acknowledge;
class MC_Channel;
class MC_Dtmf;
class MC_FaxTone;

/** The second argument of MC_Observer::ackErrorEvent. It carries nothing. */
struct MC_AckError {};

/**
 * The callback interface of the library's client, who implements it and registers one object with
 * MC_Manager::registration. Every operation is called on the thread on which the platform delivers
 * IMC messages. The channel is owned by its references: it is valid during the call, and longer
 * only while the client holds a reference of its own. The record is valid during the call only.
 */
class MC_Observer {
public:
    virtual ~MC_Observer() {}

    /**
     * A fax tone was heard on the channel, whose state is now "Fax_Detected". Answer with
     * MC_Manager::activateFax to switch it to fax.
     *
     * May throw std::runtime_error, which is traced; an exception of another type ends the process.
     */
    virtual void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const& faxTone) = 0;

    /**
     * The DSP acknowledged an open or close of the channel; look at the record's error. For the
     * opening of a fax path of direction 1, the channel's local ports are set already.
     *
     * May throw a std::exception, which is answered with ackErrorEvent; anything else ends the
     * process. Don't throw after giving back the last reference of the channel or deleting the
     * manager: the answer would come from what is gone.
     */
    virtual void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) = 0;

    /**
     * A digit was heard on the channel.
     *
     * May throw std::runtime_error, which is traced; an exception of another type ends the process.
     */
    virtual void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) = 0;

    /**
     * An acknowledgement could not be taken: its channel is unknown, the DSP refused to open a fax
     * path, or ackEvent threw. An exception that leaves this operation ends the process.
     * @param pChannel the channel; null when it is unknown
     */
    virtual void ackErrorEvent(MC_Channel* pChannel, MC_AckError const& error) = 0;
};

#endif
