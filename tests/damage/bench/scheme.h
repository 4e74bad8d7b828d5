// Every way in which an answer is damaged.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace damage_testing
{

// Answers of up to so many bytes get every value in every place. In a longer one this goes for its
// first and last bytes, where headers, lengths and statuses stand; a byte between them is changed
// to 00, to FF, in its lowest and in its highest bit.
constexpr size_t kShortAnswer = 64;
constexpr size_t kHead = 24;
constexpr size_t kTail = 6;

// Calls `visit` with every truncation of the answer, every changed byte, and one byte inserted or
// doubled at every place. What is inserted: when all is tried into a short answer every
// value, else those that mean something to some protocol.
void ForEachDamage(const std::string &good, const std::function<void(const std::string &)> &visit);

// The answer's payload, its frame taken off, for damage behind a frame that is right again: lengths
// and check bytes are made anew. False for an answer without a frame that is known here.
enum class Frame
{
    kKrelIc,
    kUnion,
    kIdentity
};
bool TakeFrameOff(const std::string &answer, Frame *frame, std::string *payload);
// Empty when the payload fits no frame.
std::string PutFrameAround(Frame frame, const std::string &payload);

// How many damaged answers ForEachDamage makes of one of that size, about.
size_t CountOfDamage(size_t size);

// Of so many damaged answers every how-manieth is tried: VANTOR_DAMAGE=all tries all,
// VANTOR_DAMAGE=100 about a hundred of a subject's, and without it some thousands are. A prime, so
// that no place and no value is left out for good.
bool TriesAll();
size_t StrideFor(size_t count);

} // namespace damage_testing
