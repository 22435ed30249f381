// A session as consoles see it: a control server with the platform and the library behind it, and
// lines of its own that do what a test wants to see. Argument: the path of the socket.
//
//   session records          a table of two names
//   session watch on|off     tells, or no longer, what the next two do
//   session tell TEXT        tells it to those that watch
//   session fail TEXT        ends with that error
//   session silent           never ends
//   session end              ends the site
//
// A call is "placed" by sending each line of the text as an entry of the report; the status is 1
// when the last one says that it failed.

#include "gateway/EndingSignals.h"
#include "gateway/control/ControlServer.h"

#include "gateway/Boards.h"
#include "gateway/ChannelFields.h"
#include "gateway/SessionManager.h"

#include "MC_Manager.h"
#include "host/Workstation.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using gateway::ControlExchange;
using gateway::ControlRequest;
using gateway::ControlServer;
using Exchange = std::shared_ptr<ControlExchange>;

/** A call as an operator finds it: a channel that is open on a board. */
class Call {
public:
    Call()
        : boards(workstation, {{"10.0.0.1", 0x10, 16, 5000, gateway::Milliseconds(0)}}, quiet()),
          sessions([](gateway::Message const&) {}),
          channel(sessions.create("caller-in")) {
        set("mediaGateway", "10.0.0.1");
        set("dsp", std::int64_t{2});
        set("direction", std::int64_t{1});
        set("codec", std::int64_t{1});
        set("rtpRemote", "10.0.9.1:4000");
        workstation.dispatcher().post(
            [this] { sessions.perform(&MC_Manager::openChannel, channel); });
    }

private:
    static gateway::Boards::Tap quiet() {
        auto const ignore = [](auto const&...) {};
        return {ignore, ignore, ignore, ignore};
    }
    void set(std::string const& field, gateway::FieldValue const& value) {
        gateway::findChannelField(field)->set(sessions.manager(), channel, value);
    }

    host::Workstation& workstation = host::Workstation::instance();
    gateway::Boards boards;
    gateway::SessionManager sessions;
    MC_Channel& channel;
};

class Site {
public:
    explicit Site(std::string const& path)
        : server(workstation.dispatcher(), path,
                 {{"name", "test site"}, {"pid", getpid()}, {"sid", "0x01"}, {"version", "1"}},
                 [this](ControlRequest const& request, Exchange const& exchange) {
                     take(request, exchange);
                 }) {}

private:
    static bool begins(std::string const& line, std::string const& begin) {
        return line.compare(0, begin.size(), begin) == 0;
    }

    void take(ControlRequest const& request, Exchange const& exchange) {
        if (request.isCall) {
            place(request, *exchange);
        } else if (begins(request.line, "session ")) {
            takeOwn(request, exchange, request.line.substr(8));
        } else {
            workstation.typeCommand(
                request.line, request.console,
                [exchange](std::string const& text) { exchange->answer(text); });
            workstation.dispatcher().post([exchange] { exchange->end(); });
        }
    }

    void takeOwn(ControlRequest const& request, Exchange const& exchange, std::string const& line) {
        if (line == "records") {
            exchange->answer("Name        State\ncaller-in   open\ncaller-out  open");
        } else if (line == "watch on" || line == "watch off") {
            server.watch(request.console, line == "watch on");
        } else if (begins(line, "tell ")) {
            server.tell({{"type", "note"}, {"text", line.substr(5)}});
        } else if (begins(line, "fail ")) {
            exchange->end(line.substr(5));
        } else if (line == "silent") {
            silent.push_back(exchange);
            return;
        } else if (line == "end") {
            workstation.dispatcher().stop();
        } else {
            exchange->end("\"" + line + "\" is no line of this site");
        }
        exchange->end();
    }

    static void place(ControlRequest const& request, ControlExchange& exchange) {
        std::istringstream entries(request.call);
        int status = 0;
        for (std::string line; std::getline(entries, line);) {
            auto const entry = ControlServer::Json::parse(line, nullptr, false);
            if (entry.is_discarded()) {
                exchange.end(request.name + ": expected a JSON object on each line");
                return;
            }
            exchange.report(entry);
            status = entry.value("passed", true) ? 0 : 1;
        }
        exchange.end("", status);
    }

    host::Workstation& workstation = host::Workstation::instance();
    std::vector<Exchange> silent;
    ControlServer server;
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "expected the path of a socket\n";
        return 2;
    }
    host::Workstation& workstation = host::Workstation::instance();
    gateway::EndingSignals const signals([&workstation] { workstation.dispatcher().stop(); });
    Call const call;
    Site const site(argv[1]);
    std::cout << "ready\n" << std::flush;
    workstation.dispatcher().run();
    return 0;
}
