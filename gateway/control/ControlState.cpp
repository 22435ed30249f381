#include "gateway/control/ControlState.h"

#include "gateway/control/Framing.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace gateway {

namespace {

/** A byte takes at most six characters: so long a text fits a line in any case. */
constexpr std::size_t longestPiece = longestControlLine / 8;

/** Leaves room for what is around an entry. */
constexpr std::size_t longestEntry = longestControlLine - 1024;

std::string const expectation = "expected a JSON object such as {\"id\": 1, \"line\": \"help\"}";

/** How many bytes of the text go first: up to the end of a line, else of a character. */
std::size_t pieceOf(std::string const& text, std::size_t from) {
    if (text.size() - from <= longestPiece) {
        return text.size() - from;
    }
    auto const line = text.rfind('\n', from + longestPiece - 1);
    if (line != std::string::npos && line >= from) {
        return line + 1 - from;
    }
    std::size_t end = from + longestPiece;
    for (int back = 0; back < 3 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U;
         ++back) {
        --end;
    }
    return end - from;
}

/** What stands in the place of an entry that fits no line. */
ControlServer::Json fitting(ControlServer::Json const& entry) {
    std::size_t const size = controlLine(entry).size();
    if (size <= longestEntry) {
        return entry;
    }
    return {{"type", "note"},
            {"text",
             "what stood here has " + std::to_string(size) + " characters: too many for a line"}};
}

/** @return why it is no request; empty when it is one */
std::string faultOf(ControlServer::Json const& object) {
    if (!object.is_object()) {
        return "this is no JSON object: " + expectation;
    }
    if (object.find("id") == object.end() || !object["id"].is_number_integer()) {
        return "\"id\" is missing or no integer: " + expectation;
    }
    bool const isLine = object.find("line") != object.end();
    bool const isCall = object.find("call") != object.end();
    if (isLine == isCall) {
        return "expected either \"line\", what an operator types, or \"call\", a call file";
    }
    for (char const* const key : {"line", "call", "name"}) {
        if (object.find(key) != object.end() && !object[key].is_string()) {
            return std::string("\"") + key + "\" is no text: " + expectation;
        }
    }
    return "";
}

ControlRequest requestFrom(ControlServer::Json const& object, int console) {
    ControlRequest request;
    request.console = console;
    request.line = object.value("line", "");
    request.call = object.value("call", "");
    request.name = object.value("name", "");
    request.isCall = object.find("call") != object.end();
    return request;
}

class Exchange : public ControlExchange {
public:
    Exchange(std::shared_ptr<ControlState> shared, ControlState::Console from, std::uint64_t number)
        : state(std::move(shared)), console(std::move(from)), request(number) {}
    ~Exchange() override { end("the session gave the request up"); }
    Exchange(Exchange const&) = delete;
    Exchange& operator=(Exchange const&) = delete;

    void answer(std::string const& text) override {
        std::vector<ControlState::Json> pieces;
        std::size_t from = 0;
        do {
            std::size_t const size = pieceOf(text, from);
            pieces.emplace_back(text.substr(from, size));
            from += size;
        } while (from < text.size());
        state->send(*console, request, "answer", pieces);
    }
    void report(nlohmann::ordered_json const& entry) override {
        state->send(*console, request, "report", {fitting(entry)});
    }
    void end(std::string const& error, std::optional<int> status = {}) final {
        ControlState::Json more = ControlState::Json::object();
        if (!error.empty()) {
            more["error"] = error.substr(0, pieceOf(error, 0));
        }
        if (status) {
            more["status"] = *status;
        }
        state->end(*console, request, more);
    }
    bool isGone() const override { return !state->isOpen(*console, request); }

private:
    std::shared_ptr<ControlState> const state;
    ControlState::Console const console;
    std::uint64_t const request;
};

} // namespace

ControlState::ControlState(host::Dispatcher& dispatcher, Json const& session,
                           ControlServer::Handler toDo)
    : loop(dispatcher), handler(std::make_shared<ControlServer::Handler const>(std::move(toDo))) {
    greeting["session"] = session;
}

ControlState::Console ControlState::attach() {
    std::lock_guard<std::mutex> const lock(mutex);
    if (attached.size() >= ControlServer::mostConsoles) {
        return nullptr;
    }
    auto console = std::make_shared<AttachedConsole>();
    console->number = ++lastConsole;
    append(*console, controlLine(greeting));
    attached[console->number] = console;
    return console;
}

void ControlState::detach(AttachedConsole& console) {
    std::lock_guard<std::mutex> const lock(mutex);
    console.isGone = true;
    console.open.clear();
    attached.erase(console.number);
}

void ControlState::take(Console const& console, std::string const& line) {
    Json const object = Json::parse(line, nullptr, false);
    std::string const fault =
        object.is_discarded() ? "this is no JSON: " + expectation : faultOf(object);
    if (fault.empty()) {
        hand(console, object);
    } else if (object.is_object() && object.value("id", Json()).is_number_integer()) {
        std::lock_guard<std::mutex> const lock(mutex);
        ++faults[static_cast<std::size_t>(ControlFault::badRequest)];
        appendEnd(*console, object["id"], {{"error", fault}});
    } else {
        refuse(*console, fault);
    }
}

void ControlState::hand(Console const& console, Json const& object) {
    std::uint64_t number = 0;
    {
        std::lock_guard<std::mutex> const lock(mutex);
        bool const isInUse =
            std::any_of(console->open.begin(), console->open.end(),
                        [&object](auto const& each) { return each.second == object["id"]; });
        if (isInUse) {
            appendRefusal(*console, "\"id\" " + object["id"].dump() +
                                        " is that of a request whose end is still to come: "
                                        "expected another one");
            return;
        }
        if (isClosed || console->isGone) {
            return;
        }
        number = ++lastRequest;
        console->open[number] = object["id"];
    }
    auto const exchange = std::make_shared<Exchange>(shared_from_this(), console, number);
    loop.post([state = shared_from_this(), exchange,
               request = requestFrom(object, console->number)] { state->call(request, exchange); });
}

void ControlState::call(ControlRequest const& request,
                        std::shared_ptr<ControlExchange> const& exchange) {
    std::shared_ptr<ControlServer::Handler const> toDo;
    {
        std::lock_guard<std::mutex> const lock(mutex);
        toDo = handler;
    }
    if (!toDo) {
        return;
    }
    try {
        (*toDo)(request, exchange);
    } catch (std::exception const& error) {
        count(ControlFault::requestFailed);
        exchange->end(error.what());
    }
}

void ControlState::refuse(AttachedConsole& console, std::string const& error) {
    std::lock_guard<std::mutex> const lock(mutex);
    appendRefusal(console, error);
}

void ControlState::appendRefusal(AttachedConsole& console, std::string const& error) {
    ++faults[static_cast<std::size_t>(ControlFault::badRequest)];
    appendEnd(console, nullptr, {{"error", error}});
}

void ControlState::appendEnd(AttachedConsole& console, Json const& id, Json const& more) {
    Json object = {{"id", id}, {"end", true}};
    object.update(more);
    append(console, controlLine(object));
}

/** What comes at once is taken as a whole: an answer may be longer than what may wait. */
void ControlState::append(AttachedConsole& console, std::string const& lines) {
    if (console.isGone) {
        return;
    }
    if (console.waiting.size() - console.sent > ControlServer::mostWaiting + console.longest) {
        ++faults[static_cast<std::size_t>(ControlFault::consoleSlow)];
        console.isGone = true;
        console.open.clear();
        console.waiting.clear();
        console.sent = 0;
    } else {
        if (console.sent > console.waiting.size() / 2) {
            console.waiting.erase(0, std::exchange(console.sent, 0));
        }
        console.waiting += lines;
        console.longest = std::max(console.longest, lines.size());
    }
    wakeup.wake();
}

void ControlState::send(AttachedConsole& console, std::uint64_t request, char const* key,
                        std::vector<Json> const& values) {
    std::lock_guard<std::mutex> const lock(mutex);
    auto const found = console.open.find(request);
    if (found == console.open.end()) {
        return;
    }
    std::string lines;
    for (Json const& value : values) {
        lines += controlLine({{"id", found->second}, {key, value}});
    }
    append(console, lines);
}

void ControlState::end(AttachedConsole& console, std::uint64_t request, Json const& more) {
    std::lock_guard<std::mutex> const lock(mutex);
    auto const found = console.open.find(request);
    if (found != console.open.end()) {
        Json const id = found->second;
        console.open.erase(found);
        appendEnd(console, id, more);
    }
}

bool ControlState::isOpen(AttachedConsole const& console, std::uint64_t request) {
    std::lock_guard<std::mutex> const lock(mutex);
    return console.open.count(request) != 0;
}

void ControlState::watch(int console, bool on) {
    std::lock_guard<std::mutex> const lock(mutex);
    auto const found = attached.find(console);
    if (found != attached.end()) {
        found->second->watches = on;
        wakeup.wake();
    }
}

void ControlState::tell(Json const& what) {
    std::string const told = controlLine({{"told", fitting(what)}});
    std::lock_guard<std::mutex> const lock(mutex);
    for (auto const& [number, console] : attached) {
        if (console->watches) {
            append(*console, told);
        }
    }
}

void ControlState::close() {
    std::shared_ptr<ControlServer::Handler const> dropped;
    std::lock_guard<std::mutex> const lock(mutex);
    isClosed = true;
    dropped.swap(handler);
    for (auto const& [number, console] : attached) {
        for (auto const& [request, id] : std::exchange(console->open, {})) {
            appendEnd(*console, id, {{"error", "the session ends"}});
        }
    }
    wakeup.wake();
}

std::size_t ControlState::consoles() {
    std::lock_guard<std::mutex> const lock(mutex);
    return attached.size();
}

void ControlState::count(ControlFault fault) {
    std::lock_guard<std::mutex> const lock(mutex);
    ++faults[static_cast<std::size_t>(fault)];
}

std::map<std::string, std::uint64_t> ControlState::counters() {
    static std::array<char const*, controlFaults> const names = {
        "control.bad_request", "control.console_refused", "control.console_slow",
        "control.request_failed", "control.system_fault"};
    std::lock_guard<std::mutex> const lock(mutex);
    std::map<std::string, std::uint64_t> occurred;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (faults[i] != 0) {
            occurred[names[i]] = faults[i];
        }
    }
    return occurred;
}

} // namespace gateway
