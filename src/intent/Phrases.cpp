#include "Phrases.h"

#include <cstdint>

namespace ovalin {

namespace {

constexpr uint8_t NONE = 0xFF;
static_assert(PHRASES.size() <= 32, "one bit for each phrase that was found");

// Almost every letter begins some phrase, but few pairs of letters do: the first two pick the candidates, in a table
// small enough to stay in the cache.
constexpr size_t slot(char16_t first, char16_t second) {
    return (static_cast<size_t>(first) & 31U) << 5U | (static_cast<size_t>(second) & 31U);
}

struct Candidates {
    std::array<uint8_t, 1024> first{};
    std::array<uint8_t, PHRASES.size()> next{};

    constexpr Candidates() {
        first.fill(NONE);
        for (size_t i = 0; i < PHRASES.size(); ++i) {
            uint8_t& head = first[slot(PHRASES[i].text[0], PHRASES[i].text[1])];
            next[i] = head;
            head = static_cast<uint8_t>(i);
        }
    }
};

constexpr Candidates CANDIDATES;

} // namespace

int phraseWeight(Word text) {
    int weight = 0;
    uint32_t found = 0;
    for (size_t at = 0; at + 1 < text.size(); ++at) {
        for (uint8_t i = CANDIDATES.first[slot(text[at], text[at + 1])]; i != NONE; i = CANDIDATES.next[i]) {
            const uint32_t bit = 1U << i;
            if ((found & bit) == 0 && text.substr(at).starts_with(PHRASES[i].text)) {
                found |= bit;
                weight += PHRASES[i].weight;
            }
        }
    }
    return weight;
}

} // namespace ovalin
