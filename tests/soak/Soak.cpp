#include "tests/soak/Soak.h"

#include "collector/GC_GarbageCollector.h"
#include "host/Text.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace soak {

namespace {

/** Numbers of DSP channels that the client uses; the last ones no board has. */
constexpr unsigned dspNumbers = Site::channelCount + 1;

/** How many calls are on at a time, at most. */
constexpr unsigned mostCalls = 60;

/** Boards with addresses on both sides of where a signed byte turns negative. */
constexpr std::array<unsigned char, 3> boardSids = {0x10, 0x7F, 0xC3};

constexpr int noFaxDetectionValue = 5;

imc_msg strayEvent(std::uint32_t identifier, unsigned char sourceSid, unsigned char ownSid) {
    imc_msg event{};
    event.sourceSid = sourceSid;
    event.destinationSid = ownSid;
    event.messageId = identifier;
    return event;
}

} // namespace

Soak::Soak(std::uint64_t seed, Fault fault)
    : workstation(host::Workstation::instance()),
      random(seed),
      sabotage(fault),
      around{workstation, books, random, sabotage,
             [this](std::uint64_t number) {
                 if (Call* const call = calls.find(number)) {
                     call->acknowledgementLost = true;
                 }
             }},
      calls(mostCalls),
      client(around, calls) {
    setUpHost();
    watch = std::make_unique<Watch>(around, client, calls);
    for (std::size_t i = 0; i < boardSids.size(); ++i) {
        std::string const ip = "10.0.0." + std::to_string(i + 1);
        workstation.setBoard(ip, boardSids.at(i));
        sites.at(i) = std::make_unique<Site>(around, ip, boardSids.at(i));
        sites.at(i)->comeBack();
    }
    sites.back() = std::make_unique<Site>(around, "10.0.0.99", host::Workstation::unknownBoardSid);
    warmUpCollector();
}

Soak::~Soak() {
    watch.reset();
    for (auto& site : sites) {
        site.reset();
    }
    workstation.reset();
}

void Soak::setUpHost() {
    workstation.setInterface("voicelan", "10.0.0.77");
    workstation.setLogLevel(0);
    workstation.setLogSink([this](host::Workstation::LogLine const& line) {
        books.add(line.isError ? Count::logErrors : Count::logTraces);
    });
    workstation.setExitAction([this](int) { books.add(Count::exits); });
}

/** The collector's table of objects keeps the size that the most objects once needed. */
void Soak::warmUpCollector() {
    std::vector<MC_Channel*> records(2 * mostCalls + 1);
    for (MC_Channel*& record : records) {
        record = MC_Manager::instance()->factory();
    }
    for (MC_Channel* const record : records) {
        GC_GarbageCollector::instance()->dereference(record);
    }
}

/* A block */

void Soak::runBlock(std::uint64_t howMany) {
    target += howMany;
    while (books[Count::callsStarted] < target && books.isSound()) {
        step();
    }
    bringToRest();
    audit();
    ++blocks;
}

void Soak::step() {
    static constexpr std::array<Choice, 12> choices = {{
        {110, &Soak::startCall},
        {508, &Soak::workOnCall},
        {180, &Soak::deliver},
        {90, &Soak::raiseEvent},
        {20, &Soak::sendStray},
        {60, &Soak::releaseEvent},
        {1, &Soak::letBoardGo},
        {8, &Soak::letBoardReturn},
        {5, &Soak::configure},
        {6, &Soak::typeLine},
        {4, &Soak::setLevel},
        {8, &Soak::changeTraffic},
    }};
    static constexpr std::uint32_t total = 1000;
    std::uint32_t drawn = random.below(total);
    auto const* choice = choices.begin();
    while (drawn >= choice->weight) {
        drawn -= choice->weight;
        ++choice;
    }
    (this->*choice->step)();
}

Site& Soak::anySite() {
    bool const isUnknown = random.percent(1);
    return isUnknown ? *sites.back() : anyBoard();
}

Site& Soak::anyBoard() {
    return *sites.at(random.index(boardSids.size()));
}

/** Null when there is none. */
Call* Soak::anyCall() {
    auto const& all = calls.all();
    return all.empty() ? nullptr : all.at(random.index(all.size())).get();
}

/* Calls */

void Soak::startCall() {
    Site& site = anySite();
    unsigned const dsp = random.below(dspNumbers);
    // A client that loses track of a channel puts a second call on it.
    bool const isLost = random.percent(5);
    if (calls.all().size() >= ceiling || (!isLost && calls.isBusy(site, dsp))) {
        return;
    }
    auto started = std::make_unique<Call>();
    started->site = &site;
    started->dsp = static_cast<std::uint8_t>(dsp);
    started->plans = random.below(8);
    started->boardLost = !site.isThere();
    books.add(Count::callsStarted);
    started->number = books[Count::callsStarted];
    Call& call = calls.add(std::move(started));
    if (site.isThere() && dsp < Site::channelCount && random.percent(2)) {
        site.failNext(dsp);
    }
    client.make(call);
    for (Leg& leg : call.legs) {
        if (leg.record != nullptr) {
            boardsUnknown += &site == sites.back().get() ? 1U : 0U;
            client.open(leg);
        }
    }
}

void Soak::workOnCall() {
    Call* const chosen = anyCall();
    if (chosen == nullptr) {
        return;
    }
    Call& call = *chosen;
    if (call.isDropped()) {
        finish(call);
        return;
    }
    Leg& drawn = call.legs.at(random.below(2));
    Leg& other = &drawn == &call.legs[0] ? call.legs[1] : call.legs[0];
    Leg& leg = drawn.record != nullptr ? drawn : other;
    if (leg.listings == 0) {
        workOnClosed(leg);
    } else if (call.plans == 0) {
        closeAll(call);
    } else {
        --call.plans;
        workOn(leg);
    }
}

void Soak::workOn(Leg& leg) {
    std::uint32_t const drawn = random.below(100);
    if (drawn < 35) {
        client.change(leg);
        client.update(leg);
    } else if (drawn < 50) {
        client.update(leg);
    } else if (drawn < 64) {
        client.join(leg, *anyCall());
    } else if (drawn < 74) {
        client.unjoin(leg);
    } else if (drawn < 88) {
        client.activateFax(leg);
    } else if (drawn < 90) {
        // The manager then lists it twice.
        client.open(leg);
    } else if (drawn < 92) {
        // The call is given up at once.
        leg.call->plans = 0;
        closeAll(*leg.call);
    } else {
        client.closeWholly(leg);
    }
}

/** A closed record may be used again, or closed once more, before it is dropped. */
void Soak::workOnClosed(Leg& leg) {
    std::uint32_t const drawn = random.below(100);
    if (drawn < 2) {
        client.open(leg);
    } else if (drawn < 4) {
        client.activateFax(leg);
    } else if (drawn < 6) {
        client.close(leg);
    } else {
        client.drop(leg);
    }
}

void Soak::closeAll(Call& call) {
    for (Leg& leg : call.legs) {
        if (leg.record != nullptr) {
            client.closeWholly(leg);
        }
    }
}

void Soak::finish(Call& call) {
    if (!sabotage.strikes(Fault::lostCall)) {
        books.add(outcomeOf(call));
    }
    calls.remove(call);
}

/* What happens around them */

void Soak::deliver() {
    workstation.dispatcher().runReady();
}

/** Mostly for a channel with a call on it. */
void Soak::raiseEvent() {
    Call const* const call = anyCall();
    bool const isForCall = call != nullptr && random.percent(80);
    Site& site = isForCall ? *call->site : anyBoard();
    unsigned const drawnDsp = random.below(Site::channelCount);
    unsigned const dsp = isForCall ? call->dsp : drawnDsp;
    if (!site.isThere() || dsp >= Site::channelCount) {
        return;
    }
    dsp::Direction const direction = random.percent(50) ? dsp::Direction::in : dsp::Direction::out;
    std::uint32_t const drawn = random.below(100);
    if (drawn < 60) {
        site.raiseDtmf(dsp, direction, static_cast<std::uint8_t>(random.below(16)));
    } else if (drawn < 80) {
        site.raiseFaxTone(dsp);
    } else {
        site.raiseAlert(dsp, direction);
    }
}

/** An event that no board raises: of a wrong length, an unknown board, DSP or identifier. */
void Soak::sendStray() {
    static constexpr std::array<std::uint32_t, 15> identifiers = {
        123, 114, 113, 110, 112, 101, 105, 103, 107, 116, 120, 118, 122, 999, 100};
    static constexpr std::array<std::uint16_t, 6> lengths = {0, 1, 3, 4, 8, 1024};
    Site& site = anySite();
    std::uint32_t const identifier = identifiers.at(random.index(identifiers.size()));
    unsigned char const sender = random.percent(20) ? 0xEE : site.sid();
    imc_msg event = strayEvent(identifier, sender, workstation.sid());
    event.length = lengths.at(random.index(lengths.size()));
    event.payload[0] = static_cast<std::uint8_t>(random.below(dspNumbers + 3));
    event.payload[1] = static_cast<std::uint8_t>(random.percent(50) ? 0 : random.below(256));
    event.payload[3] = static_cast<std::uint8_t>(random.below(2));
    bool const isUnknown = identifier == 999 || identifier == 100;
    books.add(Count::eventsUnknown, isUnknown ? 1U : 0U);
    site.sendStray(event);
}

void Soak::releaseEvent() {
    Site& site = anyBoard();
    if (site.holdsEvents()) {
        site.releaseOne();
    }
}

void Soak::letBoardGo() {
    Site& site = anyBoard();
    if (!site.isThere()) {
        return;
    }
    site.goAway();
    for (auto const& call : calls.all()) {
        call->boardLost = call->boardLost || call->site == &site;
    }
}

/** The client mostly hears that the board started anew, and closes its calls there. */
void Soak::letBoardReturn() {
    Site& site = anyBoard();
    if (site.isThere()) {
        return;
    }
    site.comeBack();
    if (random.percent(70)) {
        for (auto const& call : calls.all()) {
            if (call->site == &site) {
                closeAll(*call);
            }
        }
    }
}

void Soak::setFaxDetectionOff(bool off) {
    watch->isFaxDetectionOff = off;
    if (off) {
        workstation.setNoteworthyValue(noFaxDetectionValue, 1);
    } else {
        workstation.removeNoteworthyValue(noFaxDetectionValue);
    }
}

void Soak::configure() {
    static constexpr std::array<char const*, 3> transports = {"udp", "tcp", "other"};
    setFaxDetectionOff(random.percent(30));
    if (random.percent(70)) {
        workstation.setConfiguration("/current//gw_priv", "fax_proto",
                                     transports.at(random.index(transports.size())));
    } else {
        workstation.removeConfiguration("/current//gw_priv", "fax_proto");
    }
    workstation.setConfiguration("/current//gateway", "rtptick_request",
                                 static_cast<std::uint8_t>(random.below(2)));
    workstation.announceConfiguration();
}

void Soak::ask(std::string const& line, std::string const& answerHolds) {
    std::string answers;
    deliver();
    workstation.typeCommand(line, 1, [&answers](std::string const& answer) { answers += answer; });
    deliver();
    books.add(Count::consoleLines);
    if (answers.find(answerHolds) == std::string::npos) {
        books.finding("the console answers to \"" + line + "\" without \"" + answerHolds + "\":\n" +
                      host::withoutNul(answers));
    }
}

void Soak::typeLine() {
    // Whatever is under way is delivered first: it may change the list.
    deliver();
    std::string const total = "Total = " + std::to_string(calls.listed().size()) + "\n";
    switch (random.below(4)) {
    case 0:
        ask("MC Channel All", total);
        break;
    case 1:
        ask("MC Dsp All", total);
        break;
    case 2:
        ask("MC Channel 0x0", "No Channel(0)");
        break;
    default:
        ask("MC Dsp 0x4", "Dsp 3\n");
        break;
    }
}

/** From one call at a time to all that there is room for. */
void Soak::changeTraffic() {
    ceiling = 1 + random.below(mostCalls);
}

void Soak::setLevel() {
    workstation.setLogLevel(random.percent(10) ? random.below(4) : 0);
}

/* Rest */

void Soak::bringToRest() {
    bool const returnFirst = random.percent(50);
    for (auto& site : sites) {
        if (returnFirst && site != sites.back() && !site->isThere()) {
            site->comeBack();
        }
    }
    endCalls();
    for (auto& site : sites) {
        if (site != sites.back() && !site->isThere()) {
            site->comeBack();
        }
    }
    setFaxDetectionOff(false);
    workstation.removeConfiguration("/current//gw_priv", "fax_proto");
    workstation.removeConfiguration("/current//gateway", "rtptick_request");
    workstation.announceConfiguration();
    workstation.setLogLevel(0);
    drain();
}

void Soak::endCalls() {
    while (!calls.all().empty()) {
        Call& call = *calls.all().back();
        closeAll(call);
        for (Leg& leg : call.legs) {
            if (leg.record != nullptr) {
                client.drop(leg);
            }
        }
        finish(call);
    }
}

/** Until no message is under way and none is held back. */
void Soak::drain() {
    auto const holding = [this] {
        return std::find_if(sites.begin(), sites.end(),
                            [](auto const& site) { return site->holdsEvents(); });
    };
    deliver();
    for (auto site = holding(); site != sites.end(); site = holding()) {
        (*site)->releaseOne();
        deliver();
    }
}

void Soak::audit() {
    for (auto const& site : sites) {
        site->audit();
    }
    ask("MC Channel All", "It is empty.\nTotal = 0\n");
    ask("MC Dsp All", "It is empty.\nTotal = 0\n");
    if (blocks % 8 == 0) {
        watch->replaceManager();
    }
    auditLedger();
    auditHost();
    auditHeap();
}

void Soak::auditLedger() {
    using C = Count;
    auto const same = [this](std::uint64_t found, std::uint64_t expected, char const* what) {
        books.same(found, expected, what);
    };
    same(books.sum(C::endedNormally, C::boardLost), books[C::callsStarted],
         "calls that came to an end");
    same(books[C::recordsDropped], books[C::recordsMade], "channel records dropped");
    same(calls.listed().size(), 0, "channels that are still listed");
    same(books.sum(C::commandsRefusedByBus, C::commandsDelivered), books[C::commandsPosted],
         "commands accounted for");
    same(books[C::commandsTaken] + books[C::commandsRefusedByBoard], books[C::commandsDelivered],
         "commands that the boards counted");
    same(books[C::eventsSent] + books[C::eventsLost] + books[C::eventsLostWithBoard],
         books.sum(C::eventsRaised, C::eventsStray), "events sent or lost");
    same(books[C::eventsDelivered] + books[C::eventsUnknown], books[C::eventsSent],
         "events delivered");
    same(books.sum(C::ackEvents, C::ignoredWrongLength), books[C::eventsDelivered],
         "events that came to something");
}

/** What the platform counted, and no other count. */
void Soak::auditHost() {
    std::map<std::string, std::uint64_t> expected;
    auto const expect = [&expected](char const* name, std::uint64_t count) {
        if (count != 0) {
            expected.emplace(name, count);
        }
    };
    expect("imc.post_refused", books[Count::commandsRefusedByBus]);
    expect("imc.message_dropped", books[Count::commandsDropped]);
    expect("imc.message_without_observer", books[Count::eventsUnknown]);
    expect("imc.unknown_board", boardsUnknown);
    auto const counters = workstation.counters();
    for (auto const& [name, count] : counters) {
        books.same(count, expected[name], ("platform's counter " + name).c_str());
    }
    for (auto const& [name, count] : expected) {
        if (counters.count(name) == 0 && count != 0) {
            books.same(0, count, ("platform's counter " + name).c_str());
        }
    }
    books.same(workstation.liveObjects(), 0, "channel records that still exist");
}

/** After the first block everything that is kept for good is there. */
void Soak::auditHeap() {
    Heap const now = heapInUse();
    if (!heapAtRest) {
        heapAtRest = now;
    } else if (now != *heapAtRest) {
        books.same(now.blocks, heapAtRest->blocks, "blocks of memory in use");
        books.same(now.bytes, heapAtRest->bytes, "bytes of memory in use");
    }
}

} // namespace soak
