#include "gateway/load/LibraryClient.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "imc/IMC_Manager.h"

#include <utility>

namespace gateway {

namespace {

/** IMC address of the own process. */
constexpr unsigned char ownProcess = 0xff;
/** G.711 A-law. */
constexpr std::int32_t codec = 1;
constexpr std::uint8_t dtmfPayloadType = 101;
constexpr unsigned short rtpPort = 4000;
constexpr unsigned short rtcpPort = 4001;
char const peerIp[] = "10.0.9.1";

} // namespace

std::string boardIp(std::uint8_t sid) {
    return "10.0.0." + std::to_string(sid);
}

LibraryClient::Acknowledgements::Acknowledgements(std::function<void(imc_msg const&)> listener)
    : tell(std::move(listener)) {
    for (long const id : acknowledgementIds) {
        IMC_Manager::instance(ownProcess)->registration(this, id);
    }
}

LibraryClient::Acknowledgements::~Acknowledgements() {
    for (long const id : acknowledgementIds) {
        IMC_Manager::instance(ownProcess)->unregistration(this, id);
    }
}

LibraryClient::LibraryClient(std::vector<MediaPath> const& paths, Listener listener,
                             bool isTimingEvents)
    : tell(std::move(listener)),
      before(isTimingEvents ? std::make_unique<Acknowledgements>(
                                  [this](imc_msg const&) { arrival = CycleDriver::Clock::now(); })
                            : nullptr),
      isTiming(isTimingEvents),
      manager(MC_Manager::instance()),
      after(std::make_unique<Acknowledgements>([this](imc_msg const& event) { handled(event); })) {
    manager->registration(this);
    channels.reserve(paths.size());
    for (MediaPath const& path : paths) {
        channels.push_back(record(path));
    }
}

LibraryClient::~LibraryClient() {
    manager->unregistration(this);
    delete manager;
    for (MC_Channel* const channel : channels) {
        GC_GarbageCollector::instance()->dereference(channel);
    }
}

MC_Channel* LibraryClient::record(MediaPath const& path) {
    MC_Channel* const channel = manager->factory();
    IPAddress const board(boardIp(path.sid));
    IPAddress const peer{std::string(peerIp)};
    manager->setMediaGateway(channel, &board);
    channel->dsp = path.dsp;
    channel->direction =
        path.direction == MediaPath::Direction::in ? VCOM_DIRECTION_IN : VCOM_DIRECTION_OUT;
    channel->codec = codec;
    channel->minFraming = VCOM_FRAMING_20;
    channel->maxFraming = VCOM_FRAMING_20;
    channel->vad = false;
    channel->faxDetection = true;
    channel->faxTransport = VCOM_FAXTRANSPORT_UDP;
    channel->rtpDtmfPayloadType = dtmfPayloadType;
    channel->rtpRemote.Set(&peer, rtpPort);
    channel->rtcpRemote.Set(&peer, rtcpPort);
    // Without a default of the library's.
    channel->joinDsp = 0;
    channel->faxRedundancy = 0;
    channel->faxDepth = 0;
    return channel;
}

void LibraryClient::open(std::size_t path) {
    manager->openChannel(channels[path]);
}

void LibraryClient::update(std::size_t path) {
    manager->updateChannel(channels[path]);
}

void LibraryClient::close(std::size_t path) {
    manager->closeChannel(channels[path]);
}

void LibraryClient::handled(imc_msg const& event) {
    auto const handling =
        isTiming ? CycleDriver::Clock::now() - arrival : std::chrono::nanoseconds{};
    if (auto const what = acknowledgedPath(event)) {
        tell(*what, handling);
    }
}

} // namespace gateway
