#include "gateway/Subcommand.h"
#include "gateway/control/Completion.h"
#include "gateway/control/Console.h"
#include "gateway/control/ControlServer.h"
#include "gateway/control/LineEditor.h"

#include <CLI/CLI.hpp>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <deque>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

namespace {

char const consoleHelp[] =
    R"(At a terminal, lines are edited and kept (Arrow up), and Tab completes them. In a pipe, lines are
read from standard input, one is sent when the one before has been answered, and the console leaves
at the end of the input.

  MC Channel All       the operator's commands, as on the board; "help" tells them
  session help         what the session itself does
  session watch on     shows what happens, as it happens
  call FILE            places the calls of a call file of this side in the session
  quit, exit           leaves; at a terminal Ctrl-D does too, and Ctrl-C clears the line

More: docs/console.md.

Exit status: 0 when the operator left, in a pipe and with -c when every line was answered; 1 when
one was answered with an error or a call failed (not at a terminal), when there is no session, or
when it went away; 2 for a bad command line.)";

struct ConsoleCommandOptions {
    std::string control;
    std::string bus;
    unsigned sid = 0x01;
    std::vector<std::string> lines;
    bool json = false;
};

/** Lines from the command line, or from standard input as they come. */
class PlainInput {
public:
    explicit PlainInput(std::vector<std::string> const& lines)
        : given(lines.begin(), lines.end()), isEnded(!lines.empty()) {}

    std::optional<LineReader::Line> next() {
        if (!given.empty()) {
            LineReader::Line const line = {given.front()};
            given.pop_front();
            return line;
        }
        return reader.next();
    }

    bool hasEnded() const { return isEnded && given.empty(); }

    /** Standard input has something. */
    void read() {
        std::array<char, 65536> buffer;
        ssize_t const count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count > 0) {
            reader.add(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            isEnded = true;
            if (!reader.rest().empty()) {
                reader.add("\n", 1);
            }
        }
    }

private:
    std::deque<std::string> given;
    LineReader reader;
    bool isEnded;
};

void awaitEither(ControlClient& client, PlainInput* input) {
    std::array<pollfd, 2> polled = {pollfd{client.descriptor(), client.wanted(), 0},
                                    pollfd{input == nullptr ? -1 : STDIN_FILENO, POLLIN, 0}};
    if (poll(polled.data(), polled.size(), -1) < 0) {
        return;
    }
    if (input != nullptr && polled[1].revents != 0) {
        input->read();
    }
    if (polled[0].revents != 0) {
        client.exchange();
    }
}

int runPlain(ControlClient& client, ConsoleCommandOptions const& options) {
    Console console(client, options.json,
                    {[](std::string const& text) { std::cout << text << std::flush; },
                     [](std::string const& text) { std::cerr << text << std::flush; }});
    PlainInput input(options.lines);
    for (;;) {
        console.takeMessages();
        if (!console.isWaiting()) {
            std::optional<LineReader::Line> const line = input.next();
            bool const isLeaving = line ? !console.typed(*line) : input.hasEnded();
            if (isLeaving) {
                break;
            }
            if (line && !client.hasEnded()) {
                continue;
            }
        }
        if (client.hasEnded()) {
            return console.isLeftAlone() || console.hasFailed() ? someFailed : allHeld;
        }
        awaitEither(client, console.isWaiting() ? nullptr : &input);
    }
    if (!std::cout) {
        throw std::runtime_error("the answers can't be written");
    }
    return console.hasFailed() ? someFailed : allHeld;
}

int runAtTerminal(ControlClient& client, ConsoleCommandOptions const& options) {
    std::setlocale(LC_CTYPE, "");
    TypedLines history(TypedLines::defaultPath());
    if (!history.fault().empty()) {
        std::cerr << "mcgw: typed lines are not kept: " << history.fault() << '\n';
    }
    LineEditor* shownBy = nullptr;
    auto const show = [&shownBy](std::string const& text) { shownBy->show(text); };
    Console console(client, options.json, {show, show});
    LineEditor editor(history,
                      [&console](std::string const& typed) {
                          Completion completion =
                              complete(typed, [&console] { return console.recordNames(); });
                          // Others may have come with the names.
                          console.takeMessages();
                          return completion;
                      },
                      {client.descriptor(), [&client] { return client.wanted(); },
                       [&] {
                           client.exchange();
                           console.takeMessages();
                           if (client.hasEnded()) {
                               shownBy->stop();
                           }
                       }});
    shownBy = &editor;
    for (;;) {
        std::optional<std::string> const line = editor.read();
        if (!line || !console.typed(*line)) {
            break;
        }
        console.takeMessages();
    }
    return console.isLeftAlone() ? someFailed : allHeld;
}

int run(ConsoleCommandOptions const& options) {
    ControlClient client(
        options.control.empty()
            ? defaultControlPath(options.bus, static_cast<unsigned char>(options.sid))
            : options.control);
    bool const isTerminal =
        options.lines.empty() && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
    return isTerminal ? runAtTerminal(client, options) : runPlain(client, options);
}

} // namespace

Subcommand addConsole(CLI::App& program) {
    auto const options = std::make_shared<ConsoleCommandOptions>();
    CLI::App* const console =
        program.add_subcommand("console", "Attach an operator's console to a session that runs");
    CLI::Option* const control =
        console->add_option("--control", options->control, "The session's control socket")
            ->type_name("PATH")
            ->check([](std::string const& path) {
                // Of a variable that is not set; another session is not what was meant.
                return path.empty() ? "expected a path" : "";
            });
    console
        ->add_option("--bus", options->bus,
                     "Instead: the session's bus, ipc://DIRECTORY or tcp://HOST:PORT, without "
                     "it this user's on this machine")
        ->excludes(control);
    console->add_option("--sid", options->sid, "and its IMC address there")
        ->check(CLI::Range(0U, 255U))
        ->capture_default_str()
        ->excludes(control);
    console->add_option("-c", options->lines, "A line; may be given several times")
        ->type_name("LINE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    console->add_flag("--json", options->json, "What the session sends, one JSON object per line");
    console->footer(consoleHelp);
    return {console, [options] { return run(*options); }};
}

} // namespace gateway
