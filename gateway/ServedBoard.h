#ifndef GATEWAY_SERVEDBOARD_H
#define GATEWAY_SERVEDBOARD_H

#include "gateway/CallFile.h"
#include "gateway/FaultInjector.h"
#include "gateway/Message.h"

#include "dsp/Board.h"
#include "dsp/Service.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/Transport.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace gateway {

/**
 * Has the board do what the order says.
 * @throw std::exception for what the board does not have
 */
void obey(dsp::Board& board, dsp::Order const& order);

/**
 * A DSP board in software that serves its address on a transport: it sends its acknowledgements
 * after its delay, and whatever the faults make of them. It answers audits, and carries out orders.
 */
class ServedBoard : public host::Endpoint {
public:
    /** What somebody may want to see of the board; called on the thread of the dispatch loop. */
    struct Tap {
        /** These two may be empty: a message that nobody sees is not put into words. */
        std::function<void(Message const& command)> command;
        std::function<void(Message const& event)> event;
        /** The board could not take something, or get rid of it. */
        std::function<void(std::string const& board, std::string const& text)> report;
        /** A fault applied. May be empty where there are none. */
        std::function<void(std::string const& board, std::string const& rule)> fault{};
        /** An order came. May be empty where nobody gives any. */
        std::function<void(Message const& order)> order{};
    };

    /**
     * @param entry its `ip` is the board's name in what is shown
     * @param faults may be null; like all others, outlives the board
     * @throw std::runtime_error when the address is served already
     */
    ServedBoard(host::Dispatcher& dispatcher, host::Transport& transport, BoardEntry const& entry,
                Tap const& tap, FaultInjector* faults = nullptr);
    ~ServedBoard() override;
    ServedBoard(ServedBoard const&) = delete;
    ServedBoard& operator=(ServedBoard const&) = delete;

    void receive(imc_msg const& message) override;

    /** How many messages are kept for later. */
    std::size_t pending() const { return delayed; }
    unsigned char sid() const { return entry.sid; }
    dsp::Board& itself() { return *board; }
    /** Those of the board, and those of audits and orders, under the same kind of names. */
    std::map<std::string, std::uint64_t> counters() const;

private:
    using Action = std::function<void(imc_msg const&)>;

    std::unique_ptr<dsp::Board> newBoard();
    void restart();
    void serve(imc_msg const& message);
    void answerAudit(imc_msg const& request);
    void carryOut(imc_msg const& message);
    void refuse(imc_msg const& message, std::string const& why);
    /** @param error that the board makes of it, see dsp::Board::failNext */
    void take(imc_msg const& command, std::optional<std::uint8_t> const& error);
    void answer(imc_msg const& event);
    void emit(imc_msg const& event);
    void send(imc_msg const& event);
    void post(imc_msg const& message, char const* what);
    FaultVerdict judge(Traffic traffic, imc_msg const& message);
    /** Does it for each copy of the message as the verdict leaves it, at its time. */
    void spread(FaultVerdict const& verdict, imc_msg message, Action const& action);
    void later(Milliseconds delay, imc_msg const& message, Action const& action);

    host::Dispatcher& dispatcher;
    host::Transport& transport;
    BoardEntry entry;
    Tap const& tap;
    FaultInjector* faults;
    std::unique_ptr<dsp::Board> board;
    /** Another one each time the board starts anew. */
    std::uint64_t incarnation;
    std::map<std::string, std::uint64_t> served;
    bool isAcknowledging = false;
    std::size_t delayed = 0;
    /** Tells a delayed task whether this board still exists, and has not restarted. */
    std::shared_ptr<bool> life = std::make_shared<bool>(true);
};

} // namespace gateway

#endif
