#include "gateway/BusSender.h"
#include "gateway/MessageBytes.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"
#include "gateway/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

namespace {

char const injectHelp[] =
    R"(A message is one word of the command line, in the form in which mcgw prints it; fields
that are not given are 0:

  mcgw inject --to 0x01 --from 0x10 "OpenVoiceAck in dsp=3 port=5000"
  mcgw inject --to 0x10 --serve "OpenVoice in dsp=3 fax=UDP remote=10.0.9.1:4000 remoteRtcp=4001"
  mcgw inject --raw "00 02 10 00 FFFF 0000 00000064 03"
  mcgw inject --to 0x10 --id 100 --payload 03 --length 36

A file has one message in each line, or "raw" and the bytes of a record; # begins a comment.

More: docs/tools.md.

Exit status: 0 when every message was sent and taken, 1 when one was not, or the bus can't be
joined, 2 for a bad command line or a message that can't be made.)";

unsigned char const defaultSource = 0x02;
/** How long the end waits for what was sent to be taken. */
std::chrono::milliseconds const takenLimit{2000};

struct InjectOptions {
    host::BusOptions bus;
    std::vector<std::string> texts;
    std::vector<std::string> records;
    std::vector<std::string> files;
    std::optional<std::uint32_t> identifier;
    std::string payload;
    std::optional<unsigned> length;
    std::optional<unsigned> to;
    std::optional<unsigned> from;
    unsigned repeat = 1;
    unsigned interval = 0;
    unsigned waitFor = 2000;
    bool isServing = false;
    unsigned wait = 1000;
    std::optional<std::size_t> answers;
    std::string capture;
    ReportOptions report;
};

WrittenMessage fromHeader(InjectOptions const& options) {
    std::vector<std::uint8_t> const payload = parseHexadecimal(options.payload);
    if (payload.size() > imc_msg::payloadSize) {
        throw std::invalid_argument("a payload of " + std::to_string(payload.size()) +
                                    " bytes: expected up to " +
                                    std::to_string(std::size_t{imc_msg::payloadSize}));
    }
    WrittenMessage written;
    written.message.messageId = *options.identifier;
    written.message.length =
        static_cast<std::uint16_t>(options.length.value_or(static_cast<unsigned>(payload.size())));
    std::copy(payload.begin(), payload.end(), written.message.payload);
    return written;
}

std::vector<WrittenMessage> readFile(std::string const& path) {
    if (path == "-") {
        return readWritten(std::cin, "standard input");
    }
    std::ifstream file(path);
    // A directory can be opened, but not read.
    if (file && file.peek() == std::ifstream::traits_type::eof() && !file.bad()) {
        return {};
    }
    if (!file) {
        throw std::invalid_argument(path + ": " + std::strerror(errno));
    }
    return readWritten(file, path);
}

void address(WrittenMessage& written, InjectOptions const& options) {
    if (!written.hasDestination && !options.to) {
        throw std::invalid_argument("a message needs --to, the IMC address that it goes to");
    }
    if (options.to) {
        written.message.destinationSid = static_cast<std::uint8_t>(*options.to);
    }
    if (options.from || !written.hasSource) {
        written.message.sourceSid = static_cast<std::uint8_t>(options.from.value_or(defaultSource));
    }
}

std::vector<imc_msg> messagesOf(InjectOptions const& options) {
    std::vector<WrittenMessage> written;
    for (std::string const& text : options.texts) {
        written.push_back(parseWritten(text));
    }
    for (std::string const& record : options.records) {
        written.push_back(parseRecord(record));
    }
    if (options.identifier) {
        written.push_back(fromHeader(options));
    }
    for (std::string const& path : options.files) {
        std::vector<WrittenMessage> const more = readFile(path);
        written.insert(written.end(), more.begin(), more.end());
    }
    if (written.empty()) {
        throw std::invalid_argument("no message: expected MESSAGE, --raw, --id or --file");
    }
    std::vector<imc_msg> messages;
    for (WrittenMessage& each : written) {
        address(each, options);
        messages.push_back(each.message);
    }
    return messages;
}

/** Shows what comes back to the address that the messages are from. */
class Answers : public host::Endpoint {
public:
    Answers(host::Transport& carrier, Report& to, unsigned char itsSid)
        : transport(carrier), report(to), sid(itsSid) {
        transport.attach(sid, *this);
    }
    ~Answers() override { transport.detach(sid); }
    Answers(Answers const&) = delete;
    Answers& operator=(Answers const&) = delete;

    void receive(imc_msg const& message) override {
        ++count;
        report.entry("answer", textOf(message), toJson(message));
    }

    std::size_t received() const { return count; }

private:
    host::Transport& transport;
    Report& report;
    unsigned char sid;
    std::size_t count = 0;
};

std::set<unsigned char> destinationsOf(std::vector<imc_msg> const& messages) {
    std::set<unsigned char> sids;
    for (imc_msg const& message : messages) {
        sids.insert(message.destinationSid);
    }
    return sids;
}

void sendAll(BusSender& sender, std::vector<imc_msg> const& messages,
             InjectOptions const& options) {
    bool isFirst = true;
    for (unsigned round = 0; round < options.repeat; ++round) {
        for (imc_msg const& message : messages) {
            // Answers are taken between two messages also where there is no interval.
            sender.wait(std::chrono::milliseconds(isFirst ? 0 : options.interval));
            isFirst = false;
            if (sender.isEnding()) {
                return;
            }
            if (sender.send(message) == BusSender::Outcome::full) {
                sender.reportRefused(message);
            }
        }
    }
}

int run(InjectOptions const& options) {
    std::vector<imc_msg> const messages = messagesOf(options);
    SendingProcess process(options.bus, options.report, options.capture);
    Report& report = process.report;
    BusSender& sender = process.sender;
    std::optional<Answers> answers;
    if (options.isServing) {
        answers.emplace(sender.itsTransport(), report, messages.front().sourceSid);
    }
    sender.awaitServed(destinationsOf(messages), std::chrono::milliseconds(options.waitFor));
    sendAll(sender, messages, options);
    if (answers) {
        sender.wait(std::chrono::milliseconds(options.wait),
                    [&] { return options.answers && answers->received() >= *options.answers; });
    }
    bool const isTaken = sender.awaitTaken(takenLimit);
    std::size_t const received = answers ? answers->received() : 0;
    std::size_t const notSent = messages.size() * options.repeat - sender.sent() - sender.refused();
    report.result("summary",
                  plural(sender.sent(), "message") + " sent, " + std::to_string(sender.refused()) +
                      " refused" +
                      (notSent == 0 ? "" : ", " + std::to_string(notSent) + " not sent") +
                      (answers ? ", " + plural(received, "answer") : ""),
                  {{"sent", sender.sent()},
                   {"refused", sender.refused()},
                   {"not_sent", notSent},
                   {"answers", received}});
    answers.reset();
    process.end();
    return isTaken && sender.refused() + notSent == 0 ? allHeld : someFailed;
}

void addMessages(CLI::App& inject, InjectOptions& options) {
    inject.add_option("MESSAGE", options.texts,
                      "Commands and events, such as \"OpenVoiceAck in dsp=3 port=5000\"");
    inject
        .add_option("--raw", options.records,
                    "Bytes of a record in hexadecimal, up to 1036; the rest is zero")
        ->type_name("HEX")
        ->allow_extra_args(false);
    auto* const identifier = inject.add_option("--id", options.identifier,
                                               "Identifier of a message that has any payload");
    inject.add_option("--payload", options.payload, "Its payload in hexadecimal")
        ->type_name("HEX")
        ->needs(identifier);
    inject
        .add_option("--length", options.length,
                    "Its length field; that of the payload unless given")
        ->check(CLI::Range(0U, 65535U))
        ->needs(identifier);
    inject
        .add_option("--file", options.files,
                    "Messages in a file, one in each line; - for standard input")
        ->type_name("FILE")
        ->allow_extra_args(false);
}

} // namespace

Subcommand addInject(CLI::App& program) {
    auto const options = std::make_shared<InjectOptions>();
    options->bus.name = "mcgw inject";
    CLI::App* const inject =
        program.add_subcommand("inject", "Send commands, events or any bytes on the bus");
    addMessages(*inject, *options);
    inject->add_option("--to", options->to, "IMC address that the messages go to")
        ->check(CLI::Range(0U, 255U));
    inject
        ->add_option("--from", options->from,
                     "IMC address that they seem to come from; 0x02 unless given")
        ->check(CLI::Range(0U, 255U));
    inject->add_option("--repeat", options->repeat, "How often all of them are sent")
        ->check(CLI::Range(1U, 1000000000U))
        ->capture_default_str();
    inject->add_option("--interval", options->interval, "Between two messages, ms")
        ->check(CLI::Range(0U, 3600000U))
        ->capture_default_str();
    inject
        ->add_option("--wait-for", options->waitFor,
                     "How long to wait until the receivers are on the bus, ms")
        ->check(CLI::Range(0U, 3600000U))
        ->capture_default_str();
    auto* const serve = inject->add_flag(
        "--serve", options->isServing,
        "Serve the address of the first message's sender, and show what comes back");
    inject->add_option("--wait", options->wait, "With --serve: how long after the last message, ms")
        ->check(CLI::Range(0U, 3600000U))
        ->needs(serve)
        ->capture_default_str();
    inject
        ->add_option("--answers", options->answers,
                     "With --serve: wait no longer than until so many came")
        ->check(CLI::PositiveNumber)
        ->needs(serve);
    addBusOptions(*inject, options->bus);
    addCaptureOption(*inject, options->capture, "what is sent and what comes back");
    inject->add_flag("--json", options->report.json, "One JSON object per line");
    inject->add_flag("--quiet", options->report.quiet, "Refusals and the summary only");
    inject->footer(injectHelp);
    return {inject, [options] { return run(*options); }};
}

} // namespace gateway
