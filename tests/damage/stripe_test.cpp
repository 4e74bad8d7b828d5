// Raw answers: the stripe module's replies to a swipe and to a write, and the calls above them.
#include <cstring>

#include "damage/bench/bench.h"
#include "vantor/link.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/magnetic_stripe_operations.h"
#include "vantor/terminal.h"

using namespace damage_testing;

namespace
{

constexpr uint32_t kLimitMs = 1000;

#define END "?\x1C"

const std::string kSwipe = ESC "s6222020200112233=2512A996222020200112233=156%B6222^NAME^25" END;
const std::string kShortSwipe = ESC "s12A34%56" END;
const std::string kReset = ESC "0";

struct ReadMode
{
    uint32_t mode;
    const char *command;
};

const ReadMode kModes[] = {{1, ESC "A]"},  {2, ESC "]"},   {3, ESC "T]"},  {12, ESC "D]"},
                           {13, ESC "E]"}, {23, ESC "B]"}, {123, ESC "F]"}};

struct Tracks
{
    char *text[3];
    uint32_t *lengths[3];
};

// Hosts zero their buffers before; what was written there is text as far as its first NUL.
Tracks MakeTracks(Outputs *out, uint32_t room)
{
    Tracks tracks{};
    for (int i = 0; i < 3; i++)
    {
        tracks.text[i] = out->ZeroedText(room);
        tracks.lengths[i] = out->Value<uint32_t>(0);
    }
    return tracks;
}

void ReportTracks(Outputs *out, const Tracks &tracks, uint32_t room)
{
    for (const char *text : tracks.text)
        out->Used(text, strnlen(text, room));
}

Subject Read(uint32_t mode, const char *command, const std::string &reply, uint32_t room)
{
    Subject subject;
    subject.name = "mode " + std::to_string(mode) + ", a room of " + std::to_string(room);
    subject.rows = {{command, reply}};
    subject.limitMs = kLimitMs;
    subject.call = [=](Outputs *out)
    {
        const Tracks tracks = MakeTracks(out, room);
        const int result = MSR_ReadTrack(&context, 0, mode, room, tracks.text[0], room,
                                         tracks.text[1], room, tracks.text[2], kLimitMs);
        ReportTracks(out, tracks, room);
        return result;
    };
    return subject;
}

Subject Write(uint32_t mode, const std::string &sent, const std::string &reply, int result)
{
    Subject subject;
    subject.name = "a write in mode " + std::to_string(mode);
    subject.rows = {{ESC "t" + sent + "\x1D" ESC "\\" ESC "j", reply}};
    subject.limitMs = kLimitMs;
    subject.result = result;
    subject.call = [=](Outputs *)
    { return MSR_WriteTrack(&context, 0, mode, "12", "34", kLimitMs); };
    return subject;
}

// The reset behind a read or a write has no answer.
Subject WithReset(std::vector<GoldenExchange> rows, const char *name,
                  const std::function<int(Outputs *)> &call)
{
    Subject subject;
    subject.name = name;
    subject.rows = std::move(rows);
    subject.rows.push_back({kReset, ""});
    subject.limitMs = kLimitMs;
    subject.call = call;
    return subject;
}

} // namespace

TEST(DamagedRaw, AnswersOfAKnownLength)
{
    for (int expected : {2, 8, 256})
    {
        Subject subject;
        subject.name = "expects " + std::to_string(expected);
        subject.rows = {{ESC "$S0", "S0"}};
        subject.limitMs = 100;
        subject.result = 2;
        subject.hasFixedLength = true;
        subject.call = [=](Outputs *out)
        {
            unsigned char *response = out->Bytes(256);
            const int length =
                RAWL_SendCmd(&context, reinterpret_cast<const unsigned char *>(ESC "$S0"), 4,
                             response, 256, expected, 100);
            out->Used(response, length > 0 ? static_cast<size_t>(length) : 0);
            return length;
        };
        DamageEveryAnswer(subject);
    }
}

TEST(DamagedRaw, AnswersThatEndInAMarker)
{
    for (const char *endKind : {"?\x1C", "rp/q"})
        for (int room : {16, 256, 2048})
        {
            const std::string answer = endKind[0] == '?' ? kShortSwipe : ESC "Brp";
            Subject subject;
            subject.name = endKind;
            subject.rows = {{ESC "]", answer}};
            subject.limitMs = kLimitMs;
            subject.result = static_cast<int>(answer.size());
            subject.call = [=](Outputs *out)
            {
                unsigned char *response = out->Bytes(static_cast<size_t>(room));
                const int length =
                    RAWC_SendCmd(&context, reinterpret_cast<const unsigned char *>(ESC "]"), 2,
                                 response, room, endKind, kLimitMs);
                out->Used(response, length > 0 ? static_cast<size_t>(length) : 0);
                return length;
            };
            DamageEveryAnswer(subject);
        }
}

TEST(DamagedStripe, SwipesInEveryMode)
{
    for (const ReadMode &mode : kModes)
        for (uint32_t room : {4U, 254U})
        {
            DamageEveryAnswer(Read(mode.mode, mode.command, kSwipe, room));
            DamageEveryAnswer(Read(mode.mode, mode.command, kShortSwipe, room));
        }
}

TEST(DamagedStripe, AReplyThatFillsTheBuffer)
{
    const std::string full = ESC "s" + std::string(252, '1') + END;
    for (const ReadMode &mode : kModes)
    {
        Subject subject = Read(mode.mode, mode.command, full, 254);
        subject.result = mode.mode == 2 ? -2002 : 0;
        DamageEveryAnswer(subject);
    }
}

TEST(DamagedStripe, EmptyTracks)
{
    for (const ReadMode &mode : kModes)
        DamageEveryAnswer(Read(mode.mode, mode.command,
                               ESC "s\x7F"
                                   "A\x7F%\x7F" END,
                               254));
}

TEST(DamagedStripe, StatusesOfWrites)
{
    DamageEveryAnswer(Write(2, "12", ESC "rp", 0));
    DamageEveryAnswer(Write(2, "12", ESC "rq", -2102));
    DamageEveryAnswer(Write(3, "A34", ESC "Trp", 0));
    DamageEveryAnswer(Write(3, "A34", ESC "Trq", -2103));
    DamageEveryAnswer(Write(23, "12A34", ESC "Brp", 0));
    DamageEveryAnswer(Write(23, "12A34", ESC "rq", -2102));
    DamageEveryAnswer(Write(1, "12A34", ESC "Trq", -2103));
}

TEST(DamagedStripe, TheBusinessCalls)
{
    for (const ReadMode &mode : kModes)
    {
        DamageEveryAnswer(WithReset({{mode.command, kSwipe}}, "BO_ReadMagCard",
                                    [=](Outputs *out)
                                    {
                                        const Tracks tracks = MakeTracks(out, 254);
                                        const int result = BO_ReadMagCard(
                                            0, mode.mode, 254, tracks.text[0], tracks.lengths[0],
                                            254, tracks.text[1], tracks.lengths[1], 254,
                                            tracks.text[2], tracks.lengths[2], 1);
                                        ReportTracks(out, tracks, 254);
                                        return result;
                                    }));
        for (int kind : {0, 2})
        {
            Subject subject = WithReset({{mode.command, kSwipe}}, "BO_GetMagCardNo",
                                        [=](Outputs *out)
                                        {
                                            char *number = out->Text(256);
                                            auto *length = out->Value<uint32_t>(0);
                                            const int result = BO_GetMagCardNo(0, mode.mode, kind,
                                                                               number, length, 1);
                                            out->UsedText(number);
                                            return result;
                                        });
            subject.result = mode.mode == 1 ? -2105 : 0; // track 1 has no separator
            DamageEveryAnswer(subject);
        }
    }
    DamageEveryAnswer(WithReset({{ESC "t12A34\x1D" ESC "\\" ESC "j", ESC "Brp"}}, "BO_WriteMagCard",
                                [](Outputs *)
                                { return BO_WriteMagCard(0, 0, 0, "12", 2, "34", 2, 1); }));
}

TEST(DamagedStripe, TheTerminalCalls)
{
    Subject read = WithReset({{ESC "B]", kSwipe}}, "MS_ReadCard",
                             [](Outputs *out)
                             {
                                 char *two = out->Text(255);
                                 char *three = out->Text(255);
                                 const int result =
                                     MS_ReadCard("ttyD0", nullptr, 9600, 1, 23, 0, two, three);
                                 out->UsedText(two);
                                 out->UsedText(three);
                                 return result;
                             });
    read.opensTheReader = true;
    DamageEveryAnswer(read);

    Subject write = WithReset(
        {{ESC "t12A34\x1D" ESC "\\" ESC "j", ESC "Brp"}}, "MS_WriteCard",
        [](Outputs *) { return MS_WriteCard("ttyD0", nullptr, 9600, 1, 23, 0, "12", "34"); });
    write.opensTheReader = true;
    DamageEveryAnswer(write);
}
