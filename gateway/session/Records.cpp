#include "gateway/session/Records.h"

#include <algorithm>
#include <iterator>

namespace gateway {

namespace {

using Status = Record::Status;

std::array<Medium, 2> const bothMedia = {Medium::voice, Medium::fax};

bool isHalf(Status status) {
    return status == Status::unacknowledged || status == Status::forgotten;
}

template <typename Condition>
bool anyMedium(Record const& record, Condition condition) {
    return std::any_of(record.media.begin(), record.media.end(), condition);
}

char const* wordOf(Status status) {
    switch (status) {
    case Status::closed:
        return "closed";
    case Status::opening:
        return "opening";
    case Status::open:
        return "open";
    case Status::unacknowledged:
        return "not acknowledged";
    case Status::refused:
        return "refused";
    case Status::forgotten:
        return "not known to the board any more";
    case Status::closing:
        break;
    }
    return "closing";
}

void decrease(unsigned& count) {
    count -= count == 0 ? 0 : 1;
}

} // namespace

/* Record */

bool Record::isHalfOpen() const {
    return anyMedium(*this, [](MediumState const& each) { return isHalf(each.status); });
}

bool Record::isClosing() const {
    return anyMedium(*this, [](MediumState const& each) { return each.status == Status::closing; });
}

bool Record::isFinished() const {
    return isSettled() &&
           !anyMedium(*this, [](MediumState const& each) { return each.status != Status::closed; });
}

bool Record::isSettled() const {
    return !anyMedium(
        *this, [](MediumState const& each) { return each.openings != 0 || each.closings != 0; });
}

std::string Record::text() const {
    std::string text;
    for (Medium const medium : bothMedia) {
        Status const status = of(medium).status;
        if (status != Status::closed) {
            text += text.empty() ? "" : ", ";
            text += std::string(nameOf(medium)) + " " + wordOf(status);
        }
    }
    return (isHalfOpen() ? "half-open: " : "") + (text.empty() ? "closed" : text);
}

/* Records */

Records::Records(std::chrono::milliseconds time) : halfOpenTime(time) {}

Record& Records::add(std::string const& name, MC_Channel* channel, Path const& path) {
    auto record = std::make_unique<Record>();
    record->name = name;
    record->channel = channel;
    record->path = path;
    Record& added = *record;
    byName[name] = std::move(record);
    byPath[path] = &added;
    return added;
}

void Records::remove(std::string const& name) {
    auto const found = byName.find(name);
    byPath.erase(found->second->path);
    halfOpens.erase(found->second.get());
    byName.erase(found);
}

Record* Records::find(std::string const& name) {
    auto const found = byName.find(name);
    return found == byName.end() ? nullptr : found->second.get();
}

Record* Records::at(Path const& path) {
    auto const found = byPath.find(path);
    return found == byPath.end() ? nullptr : found->second;
}

Record const* Records::at(Path const& path) const {
    auto const found = byPath.find(path);
    return found == byPath.end() ? nullptr : found->second;
}

std::vector<Record*> Records::all() {
    std::vector<Record*> result;
    for (auto const& [name, record] : byName) {
        result.push_back(record.get());
    }
    return result;
}

std::vector<Record*> Records::ofBoard(unsigned char sid) {
    std::vector<Record*> result;
    auto each = byPath.lower_bound({sid, 0, dsp::Direction::in});
    for (; each != byPath.end() && each->first.sid == sid; ++each) {
        result.push_back(each->second);
    }
    return result;
}

std::optional<dsp::Error> Records::sent(Request const& request) {
    Record* const record = at(request.path);
    if (record == nullptr) {
        return std::nullopt;
    }
    Record::MediumState& state = record->of(request.medium());
    if (request.isOpening()) {
        state.status = Status::opening;
        state.isOthers = false;
        ++state.openings;
        return record->isOrphan ? std::optional<dsp::Error>(dsp::Error::alreadyOpen) : std::nullopt;
    }
    bool const isSureOpen = state.status == Status::open;
    state.status = Status::closing;
    ++state.closings;
    return isSureOpen ? std::nullopt : std::optional<dsp::Error>(dsp::Error::notOpen);
}

Records::Change Records::settle(Record& record, Change otherwise) {
    if (!record.halfOpenSince || record.isHalfOpen()) {
        return otherwise;
    }
    setWhole(record);
    return otherwise == Change::opened ? Change::healed : otherwise;
}

bool Records::note(Record& record, Time now) {
    if (!record.isHalfOpen() || record.halfOpenSince) {
        return false;
    }
    record.halfOpenSince = now;
    record.since = std::chrono::system_clock::now();
    halfOpens.insert(&record);
    return true;
}

void Records::setWhole(Record& record) {
    record.halfOpenSince.reset();
    record.since = std::chrono::system_clock::now();
    halfOpens.erase(&record);
}

/** @param opened what becomes of the record when no other opening of it is undecided */
template <typename Opened>
Records::Change Records::decided(Request const& request, Opened const& opened) {
    Record* const record = at(request.path);
    if (record == nullptr) {
        return Change::none;
    }
    Record::MediumState& state = record->of(request.medium());
    if (!request.isOpening()) {
        return closingDecided(*record, state);
    }
    decrease(state.openings);
    return state.openings != 0 ? Change::none : opened(*record, state);
}

Records::Change Records::acknowledged(Request const& request, unsigned error) {
    return decided(request, [this, error](Record& record, Record::MediumState& state) {
        if (state.status != Status::opening && state.status != Status::unacknowledged) {
            return Change::none;
        }
        state.status = error != 0 ? Status::refused : Status::open;
        state.isOthers = error == static_cast<unsigned>(dsp::Error::alreadyOpen);
        record.since = std::chrono::system_clock::now();
        return settle(record, error != 0 ? Change::refused : Change::opened);
    });
}

Records::Change Records::closingDecided(Record& record, Record::MediumState& state) {
    decrease(state.closings);
    if (state.status != Status::closing || state.closings != 0) {
        return Change::none;
    }
    state.status = Status::closed;
    return settle(record, Change::closed);
}

Records::Change Records::missed(Request const& request, Time now) {
    return decided(request, [this, now](Record& record, Record::MediumState& state) {
        if (state.status != Status::opening) {
            return Change::none;
        }
        state.status = Status::unacknowledged;
        return note(record, now) ? Change::halfOpened : Change::none;
    });
}

std::vector<Record*> Records::forget(unsigned char sid, Time now) {
    std::vector<Record*> fresh;
    for (Record* const record : ofBoard(sid)) {
        for (Record::MediumState& state : record->media) {
            if (state.status == Status::open) {
                state.status = Status::forgotten;
            }
        }
        if (note(*record, now)) {
            fresh.push_back(record);
        }
    }
    return fresh;
}

void Records::forget(Record& record, Medium medium, Time now) {
    record.of(medium).status = Status::forgotten;
    note(record, now);
}

std::vector<Record*> Records::remember(unsigned char sid) {
    std::vector<Record*> healed;
    for (Record* const record : ofBoard(sid)) {
        for (Record::MediumState& state : record->media) {
            if (state.status == Status::forgotten) {
                state.status = Status::open;
            }
        }
        if (settle(*record, Change::opened) == Change::healed) {
            healed.push_back(record);
        }
    }
    return healed;
}

void Records::closed(Record& record) {
    for (Record::MediumState& state : record.media) {
        if (state.closings == 0) {
            state.status = Status::closed;
        }
    }
    setWhole(record);
}

std::vector<Record*> Records::expired(Time now) const {
    std::vector<Record*> result;
    std::copy_if(halfOpens.begin(), halfOpens.end(), std::back_inserter(result),
                 [&](Record* each) { return *each->halfOpenSince + halfOpenTime <= now; });
    return result;
}

std::optional<Records::Time> Records::nextDue() const {
    std::optional<Time> first;
    for (Record const* const each : halfOpens) {
        first = first ? std::min(*first, *each->halfOpenSince) : *each->halfOpenSince;
    }
    return first ? std::optional<Time>(*first + halfOpenTime) : std::nullopt;
}

} // namespace gateway
