#include "tests/soak/Site.h"

#include <iterator>
#include <utility>

namespace soak {

namespace {

/** Just enough for every path of every channel, so that a port that is not given back is missed. */
constexpr std::uint16_t firstPort = 65536 - Site::channelCount * 4 * 2;
constexpr std::uint32_t setParameter = 108;

bool opensPath(std::uint32_t command) {
    return command == 100 || command == 104 || command == 115 || command == 119;
}

} // namespace

Site::Site(Surroundings& surroundings, std::string ip, unsigned char sid)
    : around(surroundings), address(std::move(ip)), imcAddress(sid) {}

Site::~Site() {
    if (isThere()) {
        around.workstation.transport().detach(imcAddress);
    }
}

void Site::comeBack() {
    dsp::BoardOptions options;
    options.sid = imcAddress;
    options.channels = channelCount;
    options.firstPort = firstPort;
    options.client = around.workstation.sid();
    board.emplace(
        options, [this](imc_msg const& event) { take(event); }, dsp::Board::Report());
    takenBefore = 0;
    refusedBefore = 0;
    model.restart();
    around.workstation.transport().attach(imcAddress, *this);
    around.ledger.add(Count::boardsBack);
}

void Site::goAway() {
    around.workstation.transport().detach(imcAddress);
    around.ledger.add(Count::commandsDropped, onTheWay.size());
    onTheWay.clear();
    for (Held const& each : held) {
        around.ledger.add(Count::eventsLostWithBoard);
        around.onLost(each.call);
    }
    held.clear();
    auditCounters();
    board.reset();
    around.ledger.add(Count::boardsGone);
}

bool Site::expect(Posted const& command) {
    around.ledger.add(Count::commandsPosted);
    if (!isThere()) {
        around.ledger.add(Count::commandsRefusedByBus);
        return false;
    }
    onTheWay.push_back(command);
    return true;
}

void Site::receive(imc_msg const& command) {
    around.ledger.add(Count::commandsDelivered);
    if (onTheWay.empty()) {
        around.ledger.finding("command " + std::to_string(command.messageId) +
                              " that nobody had to post");
        return;
    }
    Posted const expected = onTheWay.front();
    onTheWay.pop_front();
    checkCommand(command, expected);
    outcome = model.receive(command);
    if (around.sabotage.strikes(Fault::lostCommand)) {
        return;
    }
    current = &expected;
    bool const isAnswered = outcome.isAcknowledged;
    board->receive(command);
    current = nullptr;
    if (isAnswered && outcome.isAcknowledged) {
        around.ledger.finding("no acknowledgement of command " + std::to_string(command.messageId));
    }
}

void Site::checkCommand(imc_msg const& command, Posted const& expected) {
    bool const isParameter = command.messageId == setParameter;
    std::uint8_t const code = isParameter ? command.payload[1] : std::uint8_t{0};
    if (command.messageId != expected.identifier || command.payload[0] != expected.dsp ||
        code != expected.code) {
        around.ledger.finding("command " + std::to_string(command.messageId) + " of dsp " +
                              std::to_string(command.payload[0]) + " in place of " +
                              std::to_string(expected.identifier) + " of dsp " +
                              std::to_string(expected.dsp));
    }
}

void Site::take(imc_msg const& event) {
    around.ledger.add(Count::eventsRaised);
    if (current == nullptr) {
        passOn(event, 0);
        return;
    }
    around.ledger.add(Count::commandsAcknowledged);
    checkAcknowledgement(event);
    passOn(event, opensPath(current->identifier) ? current->call : 0);
}

void Site::checkAcknowledgement(imc_msg const& event) {
    bool const hasPort = event.payload[2] != 0 || event.payload[3] != 0;
    bool const isRight = outcome.isAcknowledged && event.messageId == current->identifier + 1 &&
                         event.payload[0] == current->dsp && event.payload[1] == outcome.error &&
                         hasPort == outcome.hasPort;
    if (!isRight) {
        around.ledger.finding("wrong acknowledgement of command " +
                              std::to_string(current->identifier) + ": " + dsp::describe(event));
    }
    // A second one would be wrong.
    outcome.isAcknowledged = false;
}

void Site::passOn(imc_msg const& event, std::uint64_t call) {
    std::uint32_t const fate = around.random.below(100);
    if (fate < 2) {
        lose(call);
    } else if (fate < 10) {
        around.ledger.add(Count::eventsHeldBack);
        held.push_back({event, call});
    } else if (fate < 12) {
        around.ledger.add(Count::eventsRepeated);
        send(event);
        send(event);
    } else {
        send(event);
    }
}

void Site::lose(std::uint64_t call) {
    around.ledger.add(Count::eventsLost);
    around.onLost(call);
}

void Site::send(imc_msg const& event) {
    around.ledger.add(Count::eventsSent);
    if (!around.sabotage.strikes(Fault::lostEvent)) {
        around.workstation.transport().send(event);
    }
}

void Site::releaseOne() {
    std::size_t const place = around.random.index(held.size());
    auto const chosen = std::next(held.begin(), static_cast<std::ptrdiff_t>(place));
    Held const released = *chosen;
    held.erase(chosen);
    if (around.random.percent(5)) {
        lose(released.call);
    } else {
        send(released.event);
    }
}

void Site::raiseDtmf(unsigned dsp, dsp::Direction direction, std::uint8_t digit) {
    board->raiseDtmf(dsp, direction, digit, 80);
}

void Site::raiseFaxTone(unsigned dsp) {
    board->raiseFaxTone(dsp);
}

void Site::raiseAlert(unsigned dsp, dsp::Direction direction) {
    board->raiseAlert(dsp, direction, 7);
}

void Site::failNext(unsigned dsp) {
    std::uint8_t const error = static_cast<std::uint8_t>(1 + around.random.below(5));
    board->failNext(dsp, static_cast<dsp::Error>(error));
    model.failNext(dsp, error);
}

void Site::sendStray(imc_msg const& event) {
    around.ledger.add(Count::eventsStray);
    send(event);
}

void Site::audit() {
    around.ledger.same(onTheWay.size(), 0, "commands on their way while nothing is");
    if (isThere()) {
        auditCounters();
        auditChannels();
    }
}

void Site::auditCounters() {
    std::map<std::string, std::uint64_t> const expected = model.counters();
    std::uint64_t taken = 0;
    std::uint64_t refused = 0;
    for (auto const& [name, value] : board->counters()) {
        auto const found = expected.find(name);
        std::uint64_t const wanted = found == expected.end() ? 0 : found->second;
        around.ledger.same(value, wanted, ("board's counter \"" + name + "\"").c_str());
        taken += name.rfind("taken: ", 0) == 0 ? value : 0;
        refused += name.rfind("refused: ", 0) == 0 ? value : 0;
    }
    count(Count::commandsTaken, taken, takenBefore);
    count(Count::commandsRefusedByBoard, refused, refusedBefore);
}

void Site::count(Count what, std::uint64_t now, std::uint64_t& before) {
    around.ledger.add(what, now - before);
    before = now;
}

void Site::auditChannels() {
    for (unsigned dsp = 0; dsp < channelCount; ++dsp) {
        dsp::Channel const& channel = board->channel(dsp);
        bool const isAsExpected = channel.in.voiceOpen == model.isVoiceOpen(dsp, 0) &&
                                  channel.out.voiceOpen == model.isVoiceOpen(dsp, 1) &&
                                  channel.in.faxOpen == model.isFaxOpen(dsp, 0) &&
                                  channel.out.faxOpen == model.isFaxOpen(dsp, 1) &&
                                  channel.joined == model.isJoined(dsp);
        if (!isAsExpected) {
            around.ledger.finding("board " + address + " has dsp " + std::to_string(dsp) +
                                  " in another state than its commands asked for");
        }
    }
}

} // namespace soak
