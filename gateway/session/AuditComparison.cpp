#include "gateway/session/AuditComparison.h"

#include <algorithm>
#include <array>
#include <map>

namespace gateway {

namespace {

std::array<Medium, 2> const media = {Medium::voice, Medium::fax};

bool isOpen(dsp::PathState const& state, Medium medium) {
    return medium == Medium::voice ? state.voiceOpen : state.faxOpen;
}

/** One path: what the board says of it, and the session's own, which may be null. */
class PathComparison {
public:
    PathComparison(Path const& itsPath, dsp::PathState const& itsState, OwnPath const* itsOwn,
                   PathKnowledge const& itsKnowledge, AuditFindings& to)
        : path(itsPath), state(itsState), own(itsOwn), knowledge(itsKnowledge), findings(to) {}

    void compare() {
        count();
        if (knowledge.isBusy(path)) {
            return;
        }
        if (own != nullptr) {
            compareOwn();
        } else if (!state.isOthers) {
            compareUnknown();
        }
    }

private:
    void count() {
        if (state.voiceOpen || state.faxOpen) {
            ++(state.isOthers ? findings.others : findings.open);
        }
    }

    void compareOwn() {
        bool const isWanted = own->isVoiceOpen || own->isFaxOpen;
        if (state.isOthers && isWanted) {
            findings.taken.push_back(own->name);
            return;
        }
        bool hasMore = false;
        for (Medium const medium : media) {
            if (own->isOpen(medium) && !isOpen(state, medium)) {
                findings.missing.push_back({own->name, medium});
            }
            hasMore = hasMore || (isOpen(state, medium) && !own->isOpen(medium) &&
                                  !knowledge.isOpened(path, medium));
        }
        if (hasMore) {
            findings.extra.push_back(own->name);
        }
    }

    void compareUnknown() {
        bool const isVoice = state.voiceOpen && !knowledge.isOpened(path, Medium::voice);
        bool const isFax = state.faxOpen && !knowledge.isOpened(path, Medium::fax);
        if (isVoice || isFax) {
            findings.orphans.push_back({path, isVoice, isFax});
        }
    }

    Path const& path;
    dsp::PathState const& state;
    OwnPath const* own;
    PathKnowledge const& knowledge;
    AuditFindings& findings;
};

} // namespace

AuditFindings compareAudit(unsigned char sid, dsp::AuditAnswer const& answer,
                           std::vector<OwnPath> const& own, PathKnowledge const& knowledge) {
    std::map<Path, OwnPath const*> byPath;
    for (OwnPath const& each : own) {
        byPath[each.path] = &each;
    }
    AuditFindings findings;
    std::size_t const channels = std::min(answer.in.size(), answer.out.size());
    for (std::size_t i = 0; i < channels; ++i) {
        for (dsp::Direction const direction : {dsp::Direction::in, dsp::Direction::out}) {
            Path const path = {sid, static_cast<std::uint8_t>(i), direction};
            auto const known = byPath.find(path);
            auto const& states = direction == dsp::Direction::in ? answer.in : answer.out;
            PathComparison(path, states[i], known == byPath.end() ? nullptr : known->second,
                           knowledge, findings)
                .compare();
        }
    }
    return findings;
}

} // namespace gateway
