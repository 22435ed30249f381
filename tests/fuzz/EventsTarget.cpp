// The manager, driven by a script of steps: operations of the client, messages of any kind, changes
// of the platform. After each step, what the manager did is held against the model.

#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/ManagerModel.h"
#include "tests/fuzz/Target.h"
#include "tests/support/Recording.h"
#include "tests/unit/MC_ManagerTestAccess.h"

#include "MC_Log.h"
#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "dsp/Commands.h"
#include "dsp/Validator.h"

#include <algorithm>
#include <deque>
#include <map>
#include <stdexcept>
#include <utility>

namespace {

using fuzz::Callback;
using fuzz::ClientChannel;
using fuzz::Ending;
using fuzz::Input;
using fuzz::ManagerModel;
using fuzz::MaybeAddress;
using fuzz::Reaction;
using fuzz::require;
using fuzz::requireEqual;
using recording::platform;
using Access = MC_ManagerTestAccess;

/** An operation of the manager, and what the model says of it. */
struct Operation {
    void (*call)(MC_Manager&, MC_Channel*);
    ManagerModel::Operation expected;
};

template <void (MC_Manager::*operation)(MC_Channel*)>
void callPublic(MC_Manager& manager, MC_Channel* record) {
    (manager.*operation)(record);
}

template <void (*operation)(MC_Manager&, MC_Channel const*)>
void callPrivate(MC_Manager& manager, MC_Channel* record) {
    operation(manager, record);
}

std::array<Operation, 16> const operations = {{
    {callPublic<&MC_Manager::openChannel>, &ManagerModel::open},
    {callPublic<&MC_Manager::closeChannel>, &ManagerModel::close},
    {callPublic<&MC_Manager::updateChannel>, &ManagerModel::update},
    {callPublic<&MC_Manager::activateFax>, &ManagerModel::activateFax},
    {callPublic<&MC_Manager::joinChannel>, &ManagerModel::join},
    {callPublic<&MC_Manager::unjoinChannel>, &ManagerModel::unjoin},
    {callPublic<&MC_Manager::checkSilenceSuppressionMode>, &ManagerModel::checkSilence},
    {callPrivate<Access::setSilenceSuppressionActive>, &ManagerModel::setSilenceSuppression},
    {callPrivate<Access::setFaxDetectionActive>, &ManagerModel::setFaxDetection},
    {callPrivate<Access::setDigitDetection>, &ManagerModel::setDigitDetection},
    {callPrivate<Access::setPacketLength>, &ManagerModel::setPacketLength},
    {callPrivate<Access::openVoice>, &ManagerModel::openVoice},
    {callPrivate<Access::updateVoice>, &ManagerModel::updateVoice},
    {callPrivate<Access::closeVoice>, &ManagerModel::closeVoice},
    {callPrivate<Access::openFax>, &ManagerModel::openFax},
    {callPrivate<Access::closeFax>, &ManagerModel::closeFax},
}};

unsigned const publicOperations = 7;

/** The identifiers that the manager registers, and some that it does not. */
std::array<std::uint32_t, 20> const messageIds = {100, 101, 102, 103, 105, 107, 108, 110, 112, 113,
                                                  114, 116, 117, 118, 120, 122, 123, 124, 125, 600};

/** Calls, and says how it ended; an exception of another kind is a finding. */
template <typename Call>
Ending endingOf(Call call) {
    try {
        call();
        return Ending::returned;
    } catch (std::runtime_error const& error) {
        require(*error.what() != '\0', "a refusal says why");
        return Ending::refused;
    } catch (std::invalid_argument const& error) {
        require(*error.what() != '\0', "an invalid argument is named");
        return Ending::invalidArgument;
    }
}

/** The DSP's own reading of a command: known, of the right length, and nothing beside its fields.
 */
void requireWellFormed(imc_msg const& message) {
    dsp::CommandKind const* const kind = dsp::findCommand(message.messageId);
    require(kind != nullptr, "a posted message is a command");
    auto const decoded = dsp::decodeCommand(*kind, message);
    require(decoded.has_value(), "a command has its length");
    require(!decoded->nonzeroReserved, "a command's reserved bytes are zero");
    // What the client may ask for, and the board then refuses.
    std::array<char const*, 3> const clients = {"maximum packet length", "no-signal setting",
                                                "join with itself"};
    std::string const bad = dsp::findBadValue(decoded->command, 256);
    require(bad.empty() ||
                std::any_of(clients.begin(), clients.end(),
                            [&bad](char const* each) { return bad.rfind(each, 0) == 0; }),
            "a command's values are in range");
}

/** One input: a manager on a recording platform, and what a client does with it. */
class Script : private MC_Observer {
public:
    explicit Script(Input const& script) : input(script) {
        platform().reset();
        platform().script.coreDumpExit = recording::returning();
        platform().script.post = [this](imc_msg const&) { refuseWhenTold(); };
        MC_Manager::instance();
        registerObserver();
        settle();
    }

    void run() {
        while (!input.isEmpty()) {
            step();
            settle();
        }
        endManager();
        for (auto& channel : channels) {
            while (channel && channel->held > 0) {
                giveBack(channel);
            }
        }
        requireEqual(platform().faultyDereferences(), std::size_t{0}, "faulty dereferences");
        requireEqual(platform().liveObjects(), std::size_t{0}, "channels left");
        requireEqual(platform().liveClones(), std::size_t{0}, "addresses left");
    }

private:
    using Slot = std::unique_ptr<ClientChannel>;

    MC_Manager& manager() { return *MC_Manager::instance(); }

    /* What a step does */

    void step();
    Slot& slot() { return channels[input.below(static_cast<unsigned>(channels.size()))]; }
    void create();
    void release();
    void change();
    void setGateway();
    void operate();
    void deliver();
    void configure();
    void changePlatform();
    void changeObserver();
    void type();
    void look();
    void restart();

    imc_msg readEvent();
    imc_msg readMessage();
    void readSettings();
    void registerObserver();
    void endManager();
    void giveBack(Slot& channel);
    void refuseWhenTold();

    /* What the manager calls */

    void faxToneEvent(MC_Channel* channel, MC_FaxTone const&) override {
        called({Callback::Kind::faxTone, channel});
        react<std::runtime_error>();
    }
    void ackEvent(MC_Channel* channel, MC_Acknowledge const& ack) override {
        called({Callback::Kind::acknowledge, channel, ack.error, ack.localPort});
        react<std::logic_error>();
    }
    void dtmfEvent(MC_Channel* channel, MC_Dtmf const& dtmf) override {
        called({Callback::Kind::dtmf, channel, dtmf.digit, dtmf.duration});
        react<std::runtime_error>();
    }
    void ackErrorEvent(MC_Channel* channel, MC_AckError const&) override {
        called({Callback::Kind::acknowledgeError, channel});
    }
    void called(Callback const& callback);
    template <class Exception>
    void react();

    /* What has to hold */

    void settle();
    void requirePosts() const;
    void requireLog() const;
    void requireList();
    void requireReferences();

    Input input;
    ManagerModel model;
    std::array<Slot, 6> channels;
    std::deque<Callback> expectedCallbacks;
    Reaction reaction = Reaction::none;
    unsigned failingPosts = 0;
    unsigned logLevel = 0;

    /* The configuration store, as it can be read */
    std::optional<std::string> faxProto;
    std::optional<std::uint8_t> rtpTick;
    std::optional<std::vector<std::uint8_t>> noteworthy;

    std::map<std::string, std::uint8_t> boards;
    std::uint8_t voiceLanSid = recording::Platform::unknownSid;
};

void Script::step() {
    using Step = void (Script::*)();
    // Those that lead on stand more than once.
    std::array<Step, 20> const steps = {
        &Script::create,    &Script::operate,        &Script::operate, &Script::operate,
        &Script::operate,   &Script::deliver,        &Script::deliver, &Script::deliver,
        &Script::deliver,   &Script::change,         &Script::change,  &Script::change,
        &Script::configure, &Script::setGateway,     &Script::release, &Script::changePlatform,
        &Script::look,      &Script::changeObserver, &Script::type,    &Script::restart};
    (this->*steps.at(input.below(steps.size())))();
}

/** A new channel, or one more reference on the one that is there. */
void Script::create() {
    Slot& channel = slot();
    if (channel) {
        ++channel->record->referenceCount;
        ++channel->held;
        return;
    }
    channel = std::make_unique<ClientChannel>(manager().factory());
    fuzz::fill(*channel, static_cast<std::uint8_t>(&channel - channels.data()));
}

void Script::giveBack(Slot& channel) {
    --channel->held;
    GC_GarbageCollector::instance()->dereference(channel->record);
    if (channel->held + model.listings(*channel) == 0) {
        channel.reset();
    }
}

void Script::release() {
    Slot& channel = slot();
    if (channel && channel->held > 0) {
        giveBack(channel);
    }
}

void Script::change() {
    Slot& channel = slot();
    if (!channel) {
        return;
    }
    unsigned const what = input.below(16);
    if (what < 4) {
        MaybeAddress const address = fuzz::readAddress(input);
        fuzz::setEnd(*channel, what, {address, input.half()});
    } else if (what < 6) {
        fuzz::setJoinIp(*channel, fuzz::readAddress(input));
    } else {
        fuzz::setField(*channel, input);
    }
}

void Script::setGateway() {
    Slot& channel = slot();
    if (!channel) {
        return;
    }
    bool const isOwn = input.flag();
    MaybeAddress const address = isOwn ? channel->fields.mediaGateway : fuzz::readAddress(input);
    auto const given = fuzz::make(address);
    channel->fields.mediaGateway = address;
    try {
        manager().setMediaGateway(channel->record,
                                  isOwn ? channel->record->mediaGateway : given.get());
        require(address.has_value(), "a board that is missing is refused");
        bool const isBoard =
            address->kind == fuzz::Address::Kind::ip && boards.count(address->text()) > 0;
        channel->fields.sid = isBoard ? boards.at(address->text()) : voiceLanSid;
    } catch (std::bad_typeid const&) {
        require(!address.has_value(), "a board that is given is taken");
    }
}

void Script::operate() {
    // Those of the client, which stand first, come more often than the single commands.
    unsigned const which = input.below(4 * publicOperations);
    Operation const& operation =
        operations.at(which < operations.size() ? which : which % publicOperations);
    Slot& channel = slot();
    if (!channel) {
        return;
    }
    Ending const expected = (model.*operation.expected)(*channel);
    // The list's reference may be the last one.
    bool const isLast = channel->held + model.listings(*channel) == 0;
    Ending const seen = endingOf([&] { operation.call(manager(), channel->record); });
    requireEqual(static_cast<int>(seen), static_cast<int>(expected), "ending of an operation");
    if (isLast) {
        channel.reset();
    }
}

/** An event that is nearly right. */
imc_msg Script::readEvent() {
    imc_msg message{};
    message.messageId = messageIds.at(input.below(messageIds.size()));
    std::array<std::uint16_t, 8> const lengths = {4, 4, 4, 1, 8, 0, 5, 1024};
    message.length = lengths.at(input.below(lengths.size()));
    std::uint8_t const sid = input.byte();
    message.sourceSid = sid == 0 ? std::uint8_t{0x10} : sid;
    for (std::size_t i = 0; i < 4; ++i) {
        message.payload[i] = input.byte();
    }
    return message;
}

/** Anything at all. */
imc_msg Script::readMessage() {
    imc_msg message{};
    message.header0 = input.byte();
    message.sourceSid = input.byte();
    message.destinationSid = input.byte();
    message.header3 = input.byte();
    message.length = input.half();
    message.reserved = input.half();
    message.messageId = input.word();
    std::string const payload = input.text();
    std::copy(payload.begin(), payload.end(), message.payload);
    return message;
}

void Script::deliver() {
    unsigned const how = input.below(8);
    imc_msg const message = how == 7 ? readMessage() : readEvent();
    std::array<Reaction, 8> const reactions = {Reaction::none, Reaction::none, Reaction::fails,
                                               Reaction::acts, Reaction::none, Reaction::none,
                                               Reaction::none, Reaction::none};
    reaction = reactions.at(how);
    auto const callbacks = model.deliver(message, reaction);
    expectedCallbacks.assign(callbacks.begin(), callbacks.end());
    if (message.messageId == 600) {
        readSettings();
    }
    platform().deliver(message);
    reaction = Reaction::none;
}

void Script::called(Callback const& callback) {
    require(!expectedCallbacks.empty(), ("nobody is called, but " + callback.text()).c_str());
    requireEqual(callback.text(), expectedCallbacks.front().text(), "callback");
    require(callback == expectedCallbacks.front(), "the channel is the one that is listed");
    expectedCallbacks.pop_front();
}

template <class Exception>
void Script::react() {
    if (reaction == Reaction::fails) {
        throw Exception("the client can't take it");
    }
    if (reaction == Reaction::acts) {
        settle();
        operate();
        settle();
    }
}

void Script::configure() {
    unsigned const what = input.below(6);
    if (what == 0) {
        std::string const text = input.take(input.below(70));
        platform().setConfiguration("/current//gw_priv", "fax_proto", text);
        bool const isReadable = text.size() <= 63;
        faxProto = isReadable ? std::optional<std::string>(text.c_str()) : std::nullopt;
    } else if (what == 1) {
        std::array<char const*, 4> const texts = {"udp", "tcp", "tcp udp", ""};
        faxProto = texts.at(input.below(texts.size()));
        platform().setConfiguration("/current//gw_priv", "fax_proto", *faxProto);
    } else if (what == 2) {
        rtpTick = input.byte();
        platform().setConfiguration("/current//gateway", "rtptick_request", *rtpTick);
    } else if (what == 3) {
        std::string const bytes = input.take(input.below(3));
        noteworthy.emplace(bytes.begin(), bytes.end());
        platform().setNoteworthyValue(5, *noteworthy);
    } else if (what == 4) {
        // Of the other type, and so not to be read.
        faxProto.reset();
        platform().setConfiguration("/current//gw_priv", "fax_proto", input.byte());
    } else {
        rtpTick.reset();
        noteworthy.reset();
        platform().removeConfiguration("/current//gateway", "rtptick_request");
        platform().removeNoteworthyValue(5);
    }
}

/** What message 600 makes the manager do. */
void Script::readSettings() {
    fuzz::Settings& settings = model.settings;
    settings.isFaxProtocolSet = faxProto.has_value();
    if (faxProto && faxProto->find("udp") != std::string::npos) {
        settings.faxProtocol = VCOM_FAXTRANSPORT_UDP;
    } else if (faxProto && faxProto->find("tcp") != std::string::npos) {
        settings.faxProtocol = VCOM_FAXTRANSPORT_TCP;
    }
    settings.rtpTickRequest = rtpTick.value_or(0);
    settings.neverDetectsFax = noteworthy && noteworthy->size() == 1 && noteworthy->front() == 1;
}

void Script::refuseWhenTold() {
    if (failingPosts > 0) {
        --failingPosts;
        throw std::runtime_error("no route");
    }
}

void Script::changePlatform() {
    unsigned const what = input.below(6);
    std::uint8_t const byte = input.byte();
    if (what == 0) {
        platform().setUnserved(byte);
        model.unserved.insert(byte);
    } else if (what == 1) {
        platform().setServed(byte);
        model.unserved.erase(byte);
    } else if (what == 2) {
        failingPosts = model.failingPosts = byte % 4U;
    } else if (what == 3) {
        logLevel = byte;
        platform().setLogLevel(logLevel);
    } else if (what == 4) {
        platform().setCollectorTrace((byte & 1U) != 0);
    } else {
        std::uint8_t const number = byte & 0x0FU;
        fuzz::Address const address{fuzz::Address::Kind::ip, number};
        boards[address.text()] = input.byte();
        platform().setBoard(address.text(), boards.at(address.text()));
        voiceLanSid = byte;
        platform().setInterface("voicelan", "10.1.1.1");
        platform().setSid("10.1.1.1", voiceLanSid);
    }
}

void Script::registerObserver() {
    manager().registration(this);
    model.isObserved = true;
}

void Script::changeObserver() {
    unsigned const what = input.below(4);
    if (what == 0) {
        registerObserver();
        return;
    }
    Ending const seen = endingOf([&] {
        if (what == 1) {
            manager().registration(nullptr);
        } else {
            manager().unregistration(what == 2 ? nullptr : this);
        }
    });
    bool const isGood = what == 3 && model.isObserved;
    requireEqual(static_cast<int>(seen),
                 static_cast<int>(isGood ? Ending::returned : Ending::invalidArgument),
                 "ending of an observer's change");
    model.isObserved = model.isObserved && what != 3;
}

void Script::type() {
    std::array<char const*, 8> const lines = {
        "MC Channel All", "MC Channel 0x10", "MC Channel 0x99",
        "MC Channel",     "MC Dsp All",      "MC Dsp 0x4",
        "help",           "PrepareExit"};
    auto const answers = platform().typeCommand(lines.at(input.below(lines.size())));
    require(!answers.empty(), "a command is answered");
}

/** What the client asks without changing anything. */
void Script::look() {
    int const dsp = static_cast<int>(input.below(4));
    int const direction = static_cast<int>(input.below(4));
    std::uint8_t const sid = input.byte();
    ClientChannel const* const expected = model.find(dsp, direction, sid);
    Ending const ending = endingOf([&] {
        MC_Channel const* const seen = manager().getChannel(
            dsp, static_cast<VCOM_Direction>(direction), static_cast<char>(sid));
        require(expected != nullptr && seen == expected->record, "the channel found is the one");
    });
    require((ending == Ending::returned) == (expected != nullptr), "a listed channel is found");
}

/** The list's references stay behind; the client has to give them back. */
void Script::endManager() {
    delete Access::existing();
    require(Access::existing() == nullptr && pMClog == nullptr, "the manager is gone");
    require(platform().registered().empty(), "nobody stays registered");
    for (Slot& channel : channels) {
        if (channel) {
            channel->held += model.listings(*channel);
        }
    }
    model.listed.clear();
    model.isObserved = false;
}

void Script::restart() {
    endManager();
    model.settings = fuzz::Settings();
    MC_Manager::instance();
    if (input.flag()) {
        registerObserver();
    }
}

/** Holds what has happened since the last time against the model. */
void Script::settle() {
    require(expectedCallbacks.empty(), "every callback comes");
    requirePosts();
    requireLog();
    requireList();
    requireReferences();
    platform().clearRecords();
    model.effects = fuzz::Effects();
}

void Script::requirePosts() const {
    auto const& posted = platform().posted();
    auto const& expected = model.effects.posts;
    requireEqual(posted.size(), expected.size(), "number of commands");
    for (std::size_t i = 0; i < posted.size(); ++i) {
        requireWellFormed(posted[i]);
        requireEqual(recording::firstDifference(recording::record(posted[i]), expected[i]),
                     sizeof(imc_msg), "first wrong byte of a command");
    }
    auto const& exits = platform().exits();
    requireEqual(exits.size(), model.effects.exits, "number of exits");
    require(std::count(exits.begin(), exits.end(), 0) == static_cast<std::ptrdiff_t>(exits.size()),
            "the exit cause is 0");
}

void Script::requireLog() const {
    requireEqual(platform().errors().size(), model.effects.errors, "number of errors");
    auto const traces = platform().traces();
    require((logLevel & 3U) > 1 || traces.empty(), "traces wait for their level");
    for (auto const& trace : traces) {
        require(trace.text.rfind("MC - OBS - ", 0) == 0 && trace.text.back() == '\0',
                "a trace has its prefix and its end");
    }
}

void Script::requireList() {
    auto const& list = Access::channels(manager());
    require(std::equal(list.begin(), list.end(), model.listed.begin(), model.listed.end(),
                       [](MC_Channel const* seen, ClientChannel const* expected) {
                           return seen == expected->record;
                       }),
            "the listed channels are those that are open");
}

void Script::requireReferences() {
    std::size_t alive = 0;
    for (Slot const& channel : channels) {
        if (channel) {
            ++alive;
            requireEqual(channel->record->referenceCount, channel->held + model.listings(*channel),
                         "references");
            fuzz::requireAsNoted(*channel);
        }
    }
    requireEqual(platform().liveObjects(), alive, "live channels");
    requireEqual(platform().faultyDereferences(), std::size_t{0}, "faulty dereferences");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Script(Input(data, size)).run();
    return 0;
}
