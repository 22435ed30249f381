#ifndef BENCH_FLOOR_H
#define BENCH_FLOOR_H

#include "imc/imc_msg.h"
#include "voice/VCOM_Types.h"

#include <list>
#include <string>

class MC_Channel;
class MC_Observer;

/**
 * The least that the library's interface forces for the same work: what its signatures pass by
 * value, the address copies that a voice command reads from, one zeroed message for each command,
 * the list entry and reference of an open channel, and the call of the platform or the client.
 * No test of the log's level, no guard, no refusal.
 */
namespace floor_ {

void open(std::list<MC_Channel*>& channels, MC_Channel* pChannel);
void close(std::list<MC_Channel*>& channels, MC_Channel* pChannel);

/** An event of a message, for the first listed channel that it fits. */
void acknowledge(std::list<MC_Channel*> const& channels, MC_Observer& client,
                 imc_msg const& message, VCOM_Direction direction);
/** The acknowledgement that brings the local ports of a fax path. */
void acknowledgeFax(std::list<MC_Channel*> const& channels, MC_Observer& client,
                    imc_msg const& message);
void dtmf(std::list<MC_Channel*> const& channels, MC_Observer& client, imc_msg const& message,
          VCOM_Direction direction);
void faxTone(std::list<MC_Channel*> const& channels, MC_Observer& client, imc_msg const& message);

/** A bare walk of the list for an event's channel. */
MC_Channel* find(std::list<MC_Channel*> const& channels, int dsp, VCOM_Direction direction,
                 unsigned char sid);

/** A bare walk of the list for a channel; `where` is what the guard's signature passes. */
bool contains(std::list<MC_Channel*> const& channels, MC_Channel const* pChannel,
              std::string where);

} // namespace floor_

#endif
