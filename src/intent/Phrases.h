#pragma once

#include "Words.h"

namespace ovalin {

struct Phrase {
    Word text;
    int weight;
};

inline constexpr auto PHRASES = std::to_array<Phrase>({
    {u"difference between", 2}, {u" vs ", 2},        {u"alternative", 2},     {u"cheaper", 2},
    {u"cheapest", 2},           {u"better than", 2}, {u"is this true", 2},    {u"your take", 2},
    {u"do you think", 2},       {u"tell me", 2},     {u"look up", 2},         {u"explain", 1},
    {u"summarize this", 1},     {u"remind me", -3},  {u"ereader", -3},        {u"e-reader", -3},
    {u"my reader", -3},         {u"my x4", -3},      {u"to the roadmap", -3}, {u"later", -2},
    {u"tonight", -2},           {u"tomorrow", -2},   {u"next week", -2},      {u"monday", -2},
    {u"tuesday", -2},           {u"wednesday", -2},  {u"thursday", -2},       {u"friday", -2},
    {u"saturday", -2},          {u"sunday", -2},
});

/// The sum of the weights of the phrases that occur in the text, anywhere, also inside words; each counts once.
/// One pass over the text, whatever the number of phrases.
[[nodiscard]] int phraseWeight(Word text);

} // namespace ovalin
