// mc_footprint: memory that the library takes, beside its code.
//   mc_footprint            a line for each figure: name and bytes
//
// Heap: what an open channel with all its addresses holds, the allocator's own words included.
// Stack: how deep an operation reaches, on a platform that does next to nothing.

#include "benchmarks/SwallowingPlatform.h"

#include "MC_Manager.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "imc/IMC_Observer.h"

#include <pthread.h>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <vector>

namespace {

long heapBytes = 0;

/** An allocated block, with the word in which the allocator keeps its size. */
long blockSize(void* p) {
    return static_cast<long>(malloc_usable_size(p) + sizeof(std::size_t));
}

} // namespace

void* operator new(std::size_t size) {
    if (void* const p = std::malloc(size)) {
        heapBytes += blockSize(p);
        return p;
    }
    throw std::bad_alloc();
}

void operator delete(void* p) noexcept {
    if (p != nullptr) {
        heapBytes -= blockSize(p);
        std::free(p);
    }
}

void operator delete(void* p, std::size_t) noexcept {
    operator delete(p);
}

namespace {

struct Client : MC_Observer {
    void faxToneEvent(MC_Channel*, MC_FaxTone const&) override {}
    void ackEvent(MC_Channel*, MC_Acknowledge const&) override {}
    void dtmfEvent(MC_Channel*, MC_Dtmf const&) override {}
    void ackErrorEvent(MC_Channel*, MC_AckError const&) override {}
};

MC_Channel* makeChannel() {
    IPAddress const ip(0x0A000001);
    MC_Channel* const pChannel = MC_Manager::instance()->factory();
    pChannel->direction = VCOM_DIRECTION_OUT;
    pChannel->dsp = 1;
    pChannel->codec = 1;
    pChannel->minFraming = VCOM_FRAMING_10;
    pChannel->maxFraming = VCOM_FRAMING_20;
    pChannel->faxDepth = 1;
    pChannel->faxRedundancy = 1;
    pChannel->joinDsp = 2;
    pChannel->joinIp = ip.Clone();
    for (UDPAddr* const end :
         {&pChannel->rtpLocal, &pChannel->rtpRemote, &pChannel->rtcpLocal, &pChannel->rtcpRemote}) {
        end->Set(&ip, 4000);
    }
    MC_Manager::instance()->setMediaGateway(pChannel, &ip);
    return pChannel;
}

void report(char const* name, long bytes) {
    std::printf("%-40s %6ld\n", name, bytes);
}

/** How many bytes of a fresh stack an operation touches. */
long stackOf(std::function<void()> operation) {
    std::size_t const size = 1 << 20;
    unsigned char const pattern = 0xA5;
    std::vector<unsigned char> stack(size + 65536);
    std::memset(stack.data(), pattern, stack.size());
    void* base = stack.data();
    std::size_t space = stack.size();
    std::align(65536, size, base, space);

    pthread_attr_t attributes;
    pthread_t thread;
    if (pthread_attr_init(&attributes) != 0 ||
        pthread_attr_setstack(&attributes, base, size) != 0 ||
        pthread_create(
            &thread, &attributes,
            [](void* argument) -> void* {
                (*static_cast<std::function<void()>*>(argument))();
                return nullptr;
            },
            &operation) != 0 ||
        pthread_join(thread, nullptr) != 0) {
        std::perror("mc_footprint: can't run on a stack of its own");
        std::exit(EXIT_FAILURE);
    }
    pthread_attr_destroy(&attributes);
    unsigned char const* untouched = static_cast<unsigned char const*>(base);
    while (*untouched == pattern) {
        ++untouched;
    }
    return static_cast<unsigned char const*>(base) + size - untouched;
}

/** The stack of an operation, without what a thread that does nothing takes. */
void reportStack(char const* name, std::function<void()> const& operation) {
    report(name, stackOf(operation) - stackOf([] {}));
}

} // namespace

int main() {
    Client client;
    MC_Manager* const pManager = MC_Manager::instance();
    pManager->registration(&client);

    long const before = heapBytes;
    MC_Channel* const pChannel = makeChannel();
    pManager->openChannel(pChannel);
    report("heap of an open channel", heapBytes - before);

    imc_msg acknowledgement = imc_msg();
    acknowledgement.sourceSid = pChannel->sid;
    acknowledgement.length = 4;
    acknowledgement.payload[0] = pChannel->dsp;

    bench::setLogLevel(0);
    reportStack("stack of updateChannel", [=] { pManager->updateChannel(pChannel); });
    bench::setLogLevel(3);
    reportStack("stack of updateChannel, traced", [=] { pManager->updateChannel(pChannel); });
    reportStack("stack of activateFax, traced", [=] { pManager->activateFax(pChannel); });
    reportStack("stack of joinChannel, traced", [=] { pManager->joinChannel(pChannel); });
    reportStack("stack of an acknowledgement, traced",
                [=] { bench::observerOf(105).messageEvent(acknowledgement); });
    reportStack("stack of the console's listing", [=] { pManager->getChannel(""); });
    reportStack("stack of closeChannel, traced", [=] { pManager->closeChannel(pChannel); });

    GC_GarbageCollector::instance()->dereference(pChannel);
    report("heap left by a closed channel", heapBytes - before);
    delete pManager;
    return EXIT_SUCCESS;
}
