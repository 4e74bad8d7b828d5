// The magnetic module: a read or a write waits until a card is swiped, or until a reset.
#include "vreader/cards/tlv.h"
#include "vreader/modules/modules.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr uint8_t kStripeEscape = 0x1B;
constexpr uint8_t kTrack3Mark = 'A';
constexpr uint8_t kTrack1Mark = '%';

// Which tracks a command is about.
struct Tracks
{
    bool one = false;
    bool two = false;
    bool three = false;
};

struct ReadRow
{
    uint8_t letter; // behind ESC
    Tracks tracks;
};

constexpr ReadRow kReads[] = {
    {'A', {true, false, false}}, {']', {false, true, false}}, {'T', {false, false, true}},
    {'D', {true, true, false}},  {'E', {true, false, true}},  {'B', {false, true, true}},
    {'F', {true, true, true}},
};

// A write names its tracks by their text: "A" stands before track 3, and nothing before track 2.
struct WrittenText
{
    Tracks tracks;
    Bytes two;
    Bytes three;
};

WrittenText TextToWrite(const Request &request)
{
    WrittenText written;
    const Bytes &text = request.parameters;
    const auto mark = std::find(text.begin(), text.end(), kTrack3Mark);
    written.two.assign(text.begin(), mark);
    written.tracks.two = mark != text.begin() || mark == text.end();
    written.tracks.three = mark != text.end();
    if (written.tracks.three)
        written.three.assign(mark + 1, text.end());
    return written;
}

Tracks TracksOf(const Request &request)
{
    if (request.operation == Operation::writeTracks)
        return TextToWrite(request).tracks;
    for (const ReadRow &row : kReads)
        if (row.letter == request.bytes[1])
            return row.tracks;
    return {};
}

Bytes TrackAnswer(const StripeModule &module, const Track &track)
{
    if (track.damaged)
        return BytesFromText("00000");
    return track.text.empty() ? module.emptyTrack : track.text;
}

// ESC s, track 2, "A" and track 3, "%" and track 1, "?" FS. Track 1 comes last, since "A" is a
// letter like any other in it.
Bytes ReadAnswer(const StripeModule &module, const MagneticCard &card, const Tracks &tracks)
{
    Bytes answer = {kStripeEscape, 's'};
    if (tracks.two)
        AppendBytes(&answer, TrackAnswer(module, card.tracks[1]));
    if (tracks.three)
    {
        answer.push_back(kTrack3Mark);
        AppendBytes(&answer, TrackAnswer(module, card.tracks[2]));
    }
    if (tracks.one)
    {
        answer.push_back(kTrack1Mark);
        AppendBytes(&answer, TrackAnswer(module, card.tracks[0]));
    }
    AppendBytes(&answer, {'?', 0x1C});
    return answer;
}

bool WriteTrack(Track *track, const Bytes &text)
{
    if (track->refusesWrites)
        return false;
    track->text = text;
    track->damaged = false;
    return true;
}

// ESC, the letter of the tracks (none for track 2, T for track 3, B for both), "rp" or "rq". Of two
// tracks that both fail, track 2 is told.
Bytes WriteAnswer(const Request &request, MagneticCard *card)
{
    const WrittenText written = TextToWrite(request);
    const bool twoDone = !written.tracks.two || WriteTrack(&card->tracks[1], written.two);
    const bool threeDone = !written.tracks.three || WriteTrack(&card->tracks[2], written.three);
    if (!twoDone)
        return {kStripeEscape, 'r', 'q'};
    if (!threeDone)
        return {kStripeEscape, 'T', 'r', 'q'};
    if (written.tracks.two && written.tracks.three)
        return {kStripeEscape, 'B', 'r', 'p'};
    if (written.tracks.three)
        return {kStripeEscape, 'T', 'r', 'p'};
    return {kStripeEscape, 'r', 'p'};
}

} // namespace

Reply ResetStripe(Reader *reader, const Request &)
{
    reader->stripe.waiting.reset();
    Reply reply;
    reply.answered = false;
    return reply;
}

// A command that comes while another one waits takes its place.
Reply AwaitSwipe(Reader *reader, const Request &request)
{
    reader->stripe.waiting = request;
    Reply reply;
    reply.answered = false;
    reply.waits = true;
    return reply;
}

Reply AnswerToSwipe(Reader *reader, const std::string &name, MagneticCard *card)
{
    const Request request = *reader->stripe.waiting;
    reader->stripe.waiting.reset();
    Reply reply;
    reply.remark = "card \"" + name + "\" swiped";
    if (request.operation == Operation::writeTracks)
    {
        const Bytes answer = WriteAnswer(request, card);
        reply.data = card->writeAnswer.value_or(answer);
    }
    else
        reply.data =
            card->readAnswer.value_or(ReadAnswer(reader->stripe, *card, TracksOf(request)));
    return reply;
}

std::string TracksText(const Request &request)
{
    const Tracks tracks = TracksOf(request);
    std::string numbers;
    for (const auto &[asked, number] :
         {std::pair(tracks.one, "1"), std::pair(tracks.two, "2"), std::pair(tracks.three, "3")})
        if (asked)
            numbers += std::string(numbers.empty() ? "" : ", ") + number;
    const std::string verb = request.operation == Operation::writeTracks ? "write" : "read";
    return verb + (numbers.size() > 1 ? " tracks " : " track ") + numbers;
}

} // namespace vreader
