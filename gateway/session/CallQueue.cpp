#include "gateway/session/CallQueue.h"

#include <ostream>
#include <streambuf>
#include <utility>

namespace gateway {

namespace {

/** What is written to it line by line becomes entries. */
class EntryBuffer : public std::streambuf {
public:
    explicit EntryBuffer(CallQueue::Sink to) : sink(std::move(to)) {}

private:
    int_type overflow(int_type character) override {
        if (character == traits_type::eof()) {
            return traits_type::not_eof(character);
        }
        char const each = traits_type::to_char_type(character);
        if (each == '\n') {
            sink(Report::Json::parse(std::exchange(line, {})));
        } else {
            line += each;
        }
        return character;
    }

    CallQueue::Sink sink;
    std::string line;
};

} // namespace

void CallQueue::add(CallFile file, Sink sink, Done done) {
    auto const run = [this, to = std::move(sink)](CallFile const& each) {
        EntryBuffer buffer(to);
        std::ostream stream(&buffer);
        ReportOptions options;
        options.json = true;
        Report report(stream, options);
        return runner(each, report);
    };
    waiting.push_back({std::move(file), run, std::move(done)});
}

void CallQueue::add(CallFile file, Report& report, Done done) {
    auto const run = [this, &report](CallFile const& each) { return runner(each, report); };
    waiting.push_back({std::move(file), run, std::move(done)});
}

void CallQueue::runNext() {
    Entry const entry = std::move(waiting.front());
    waiting.pop_front();
    current = entry.file.path;
    Summary const summary = entry.run(entry.file);
    current.clear();
    entry.done(summary);
}

void CallQueue::drop() {
    std::deque<Entry> const dropped = std::exchange(waiting, {});
    for (Entry const& entry : dropped) {
        entry.done(std::nullopt);
    }
}

} // namespace gateway
