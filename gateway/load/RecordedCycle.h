#ifndef GATEWAY_LOAD_RECORDEDCYCLE_H
#define GATEWAY_LOAD_RECORDEDCYCLE_H

#include "gateway/load/CycleDriver.h"

#include "host/imc/Transport.h"

#include <array>
#include <functional>
#include <vector>

namespace gateway {

/** The messages of one cycle, as they stood on the bus. */
struct RecordedCycle {
    std::vector<imc_msg> open;
    std::vector<imc_msg> update;
    std::vector<imc_msg> close;

    std::size_t messages() const { return open.size() + update.size() + close.size(); }
};

/** One for each direction. */
using RecordedCycles = std::array<RecordedCycle, 2>;

/** Does the operations of another one, and keeps the messages that they post. */
class CycleRecorder : public CycleOperations, private host::Tap {
public:
    /**
     * All have to outlive the recorder.
     * @param transport that the operations post on; its tap is this one as long as this exists, in
     * front of the one before
     */
    CycleRecorder(CycleOperations& operations, std::vector<MediaPath> const& paths,
                  host::Transport& transport);
    ~CycleRecorder() override;
    CycleRecorder(CycleRecorder const&) = delete;
    CycleRecorder& operator=(CycleRecorder const&) = delete;

    void open(std::size_t path) override;
    void update(std::size_t path) override;
    void close(std::size_t path) override;

    /** Of each direction, the messages of the path that was used last. */
    RecordedCycles const& cycles() const { return recorded; }

private:
    void carried(imc_msg const& message) override;
    void refused(imc_msg const& message, std::string const& reason) override;
    void received(imc_msg const& message) override;
    std::vector<imc_msg>& fresh(std::size_t path, std::vector<imc_msg> RecordedCycle::*part);

    CycleOperations& operations;
    std::vector<MediaPath> const& paths;
    host::Transport& transport;
    /** Is shown everything as before; may be null. */
    host::Tap* const before;
    RecordedCycles recorded;
    /** Where messages go; null outside of the operations. */
    std::vector<imc_msg>* current = nullptr;
};

/** The message as it is for another path, and from another process. */
imc_msg patched(imc_msg const& message, MediaPath const& path, std::uint8_t sourceSid);

/** Posts recorded messages, and nothing else: what a cycle costs without the library. */
class PlayedCycles : public CycleOperations {
public:
    /** The transport, the paths and the cycles have to outlive this object. */
    PlayedCycles(host::Transport& transport, std::uint8_t sid, std::vector<MediaPath> const& paths,
                 RecordedCycles const& cycles);

    void open(std::size_t path) override;
    void update(std::size_t path) override;
    void close(std::size_t path) override;

private:
    RecordedCycle const& cycleOf(std::size_t path) const;
    void play(std::vector<imc_msg> const& messages, std::size_t path);

    host::Transport& transport;
    std::uint8_t sid;
    std::vector<MediaPath> const& paths;
    RecordedCycles const& cycles;
};

} // namespace gateway

#endif
