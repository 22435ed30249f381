#ifndef IMC_MANAGER_H
#define IMC_MANAGER_H

#include "imc/imc_msg.h"

#include <string>

class IMC_CommandObserver;
class IMC_Observer;
class IPAddress;

/**
 * The board's inter-module communication: messages between boards, and console commands.
 *
 * A service that the platform implements. Every operation is called by the library, on the thread
 * that called the library: the client's, or the one that delivers messages and commands. Where no
 * exception is named, none may leave the operation. The class declares no data: a platform keeps
 * its state beside it, or in a class that derives from it.
 */
class IMC_Manager {
public:
    /**
     * @param sid IMC address whose manager is wanted; 0xff is the caller's own process
     * @return the one manager of that address, never null, owned by the platform, valid until the
     *         process ends
     */
    static IMC_Manager* instance(unsigned char sid);

    /**
     * Ends the process with a core dump, so that the state is on record.
     * @param cause exit cause of the platform; the library passes 0
     *
     * A platform under test may return; the library then goes on where it stood.
     */
    static void coreDumpExit(int cause);

    /**
     * The console command with which the platform announces that the process is about to exit: one
     * word that holds neither "MC Channel" nor "MC Dsp". Set before the library is first called and
     * never changed.
     */
    static std::string const prepExitCmd;

    /**
     * Delivers every message with this identifier to the observer, from now on. The first delivery
     * may happen before this call returns, on the same thread. Several observers may be registered
     * for one identifier; they are called in the order of registration.
     * @param observer not owned; stays valid until it is unregistered
     * @param messageId IMC message identifier
     * @throw std::runtime_error when the observer is null or already registered for the identifier
     */
    void registration(IMC_Observer* observer, long messageId);

    /**
     * Ends a registration. Safe while a message is being delivered: the observer is not called
     * again after this call returns. Deliver nothing to the library's observers while it runs: they
     * would build a new manager in place of the one that is ending. The library also calls it for
     * observers whose registration was refused, and survives the exception.
     * @throw std::runtime_error when the observer is not registered for the identifier
     */
    void unregistration(IMC_Observer* observer, long messageId);

    /**
     * Delivers every console command whose first word is the given word to the observer.
     * @param observer not owned; stays valid until it is unregistered
     * @param word the command word, such as "MC"
     * @throw std::runtime_error when the observer is null, the word is empty, or the observer is
     *        already registered for the word
     */
    void registration(IMC_CommandObserver* observer, std::string const& word);

    /**
     * Ends a registration. Safe while a command is being delivered.
     * @throw std::runtime_error when the observer is not registered for the word
     */
    void unregistration(IMC_CommandObserver* observer, std::string const& word);

    /**
     * Sends a message to the board named by its destinationSid. The message is copied; the
     * platform may fill the sender's address. Messages of one sender to one receiver arrive in the
     * order in which they were posted. Does not call back into the caller.
     * @throw std::runtime_error when the message can't be handed over, for example because nobody
     *        serves the address. An exception of another type ends the process, but for a
     *        std::invalid_argument of a join or unjoin, which reaches the client.
     */
    void post(imc_msg const& message);

    /**
     * Sends a piece of the answer to the console whose command is being delivered. A command may
     * have several answers. A NUL character inside the text belongs to the text.
     */
    void answerCommand(std::string const& text);

    /**
     * The IMC address of a board.
     * @param family IMC address family of the platform; the library passes 12
     * @param address IPv4 address of a board that CFG_Manager knows, or of the local one
     * @return the address; what an unknown board gets is the platform's choice. Posting to it shall
     *         fail, so that the fault shows.
     */
    unsigned char getSid(int family, IPAddress const& address);

    /** The text form of an IMC address, as an operator knows it. Any value has one. */
    std::string getStringSid(unsigned char sid) const;

    IMC_Manager(IMC_Manager const&) = delete;
    IMC_Manager& operator=(IMC_Manager const&) = delete;

protected:
    /** Both are defined by the platform, which alone creates the manager. */
    IMC_Manager();
    ~IMC_Manager();
};

#endif
