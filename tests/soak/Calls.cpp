#include "tests/soak/Calls.h"

#include <algorithm>
#include <utility>

namespace soak {

Count outcomeOf(Call const& call) {
    if (call.boardLost) {
        return Count::boardLost;
    }
    if (call.refusedByLibrary) {
        return Count::refusedByLibrary;
    }
    if (call.refusedByBoard) {
        return Count::refusedByBoard;
    }
    if (call.acknowledgementLost) {
        return Count::acknowledgementLost;
    }
    return call.closedEarly ? Count::closedEarly : Count::endedNormally;
}

Calls::Calls(std::size_t most) {
    // All the room there will ever be, so that it does not look like growth later on.
    calls.reserve(most);
}

Call& Calls::add(std::unique_ptr<Call> call) {
    calls.push_back(std::move(call));
    return *calls.back();
}

void Calls::remove(Call const& call) {
    auto const found = std::find_if(calls.begin(), calls.end(),
                                    [&call](auto const& each) { return each.get() == &call; });
    std::swap(*found, calls.back());
    calls.pop_back();
}

Call* Calls::find(std::uint64_t number) const {
    auto const found = std::find_if(calls.begin(), calls.end(),
                                    [number](auto const& each) { return each->number == number; });
    return found == calls.end() ? nullptr : found->get();
}

bool Calls::isBusy(Site const& site, unsigned dsp) const {
    return std::any_of(calls.begin(), calls.end(),
                       [&](auto const& each) { return each->site == &site && each->dsp == dsp; });
}

void Calls::list(Leg& leg) {
    listing.push_back(&leg);
    ++leg.listings;
}

void Calls::unlist(Leg& leg) {
    auto const found = std::find(listing.begin(), listing.end(), &leg);
    if (found != listing.end()) {
        listing.erase(found);
        --leg.listings;
    }
}

Leg* Calls::target(unsigned dsp, VCOM_Direction direction, unsigned char sid) const {
    Leg* resting = nullptr;
    for (Leg* const leg : listing) {
        bool const isMeant =
            leg->call->dsp == dsp && leg->direction == direction && leg->call->site->sid() == sid;
        if (isMeant && !leg->isIdleOrClosed()) {
            return leg;
        }
        resting = isMeant ? leg : resting;
    }
    return resting;
}

} // namespace soak
