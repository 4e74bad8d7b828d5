// Whole sessions: every public call, on a reader that falls silent, cuts, damages, prolongs and
// exaggerates its answers.
//
//     one byte        how the session is set up
//     steps           two bytes of length, two that choose the call, then its arguments
//
// Each command that a call sends draws its answer from where its step stands at that moment: a
// byte that says what the reader does, and what it needs for that (see AnswerOf). Behind the end of
// a step the reader does as it should.
#include "whole_session.h"

#include <climits>

#include "fuzz/support/card.h"
#include "fuzz/support/golden_reader.h"
#include "vantor/business.h"
#include "vantor/support.h"

namespace fuzz
{

namespace
{

constexpr int kMostSteps = 24;
constexpr int kMostExchanges = 1200;

struct Chain
{
    Bytes response;
    int left = 0;
};

void Damage(Bytes *bytes, size_t at, uint8_t with)
{
    if (!bytes->empty())
        (*bytes)[at % bytes->size()] = static_cast<uint8_t>((*bytes)[at % bytes->size()] ^ with);
}

// What the reader does with a command.
Answer AnswerOf(const Bytes &command, Input *input, Chain *chain)
{
    const Framing framing = FramingOf(command);
    Answer answer;
    if (chain->left > 0)
    {
        chain->left--;
        answer.bytes = GoodAnswer(framing, chain->response);
        return answer;
    }
    answer.bytes = GoldenAnswer(command);
    if (input->left == 0)
        return answer;
    const uint8_t kind = input->Byte();
    if (kind < 0x60) // data of its own behind the status of success
        answer.bytes = GoodAnswer(framing, input->Take(kind));
    else if (kind < 0xA0)
        ; // the golden answer
    else
        switch (kind & 0x0F)
        {
        case 0: // silence
            answer.bytes.clear();
            break;
        case 1: // a payload, status and all
            answer.bytes = FramedAnswer(framing, input->Block());
            break;
        case 2: // anything at all
            answer.bytes = input->Block();
            break;
        case 3:
            answer.bytes = input->LongBlock();
            break;
        case 4: // cut
            answer.bytes.resize(std::min<size_t>(answer.bytes.size(), input->Byte()));
            break;
        case 5: // a byte is wrong: a length, a check, a digit
        {
            const size_t at = input->Word();
            Damage(&answer.bytes, at, input->Byte());
            break;
        }
        case 6: // a chain of follow-ups
            chain->response = {static_cast<uint8_t>(0x60 + (input->Byte() & 0x0F)), input->Byte()};
            chain->left = input->Byte();
            answer.bytes = GoodAnswer(framing, chain->response);
            break;
        case 7: // more than anyone asked for
        {
            const uint8_t fill = input->Byte();
            answer.bytes = GoodAnswer(framing, Bytes(input->Word() % 5000, fill));
            break;
        }
        case 8:
            answer.gone = true;
            break;
        case 9:
            answer.written = input->Byte();
            break;
        case 10:
            answer.piece = 1 + (input->Byte() & 0x3F);
            break;
        case 11: // a card's response with 9000 behind it
        {
            Bytes response = input->Block();
            response.push_back(0x90);
            response.push_back(0x00);
            answer.bytes = GoodAnswer(framing, response);
            break;
        }
        case 12: // the answer twice
        {
            const Bytes once = answer.bytes;
            answer.bytes.insert(answer.bytes.end(), once.begin(), once.end());
            break;
        }
        case 13: // noise before it
        {
            Bytes noise = input->Block();
            noise.insert(noise.end(), answer.bytes.begin(), answer.bytes.end());
            answer.bytes = noise;
            break;
        }
        case 14: // a status of the reader
            answer.bytes = FramedAnswer(framing, input->Take(framing == Framing::kKrel ? 1 : 3));
            break;
        default: // a status of the card
            answer.bytes = GoodAnswer(framing, input->Take(2));
            break;
        }
    return answer;
}

// A host holds the device open, or each call opens it for itself.
void SetUp(uint8_t how)
{
    const LineKind kind = (how & 0x02) != 0 ? LineKind::kUsb : LineKind::kSerial;
    if ((how & 0x04) != 0)
        OpenLine(kind);
    else
        PlaceOnLine(&context, kind);
    const int level = how >> 6;
    GSetLogLevel(level == 3 ? 2 : level);
}

std::string SettingsOf(uint8_t how)
{
    std::string settings = (how & 0x01) != 0 ? "Iccmd=1\n" : "Iccmd=0\n";
    settings += (how & 0x08) != 0 ? "IdChange=1\n" : "IdChange=0\n";
    settings += (how & 0x10) != 0 ? "IdBaud=115200\n" : "IdBaud=9600\n";
    settings += (how & 0x20) != 0 ? "devtype=1\nDevBaud=115200\n" : "devtype=0\nDevBaud=9600\n";
    return settings;
}

// Whatever came before, a host that closes and opens the reader again has one that works.
void CheckThatTheNextCallWorks(Chain *chain, Input *input)
{
    input->left = 0;
    chain->left = 0;
    MendLine();
    FUZZ_CHECK(BO_Close() == 0);
    FUZZ_CHECK(BO_Open(3, 9600, 0) == 0);
    Room atr(512);
    int32_t length = 0;
    int32_t type = -1;
    FUZZ_CHECK(BO_IcPowerOn(0, atr.Size(), atr.Text(), &length, &type, 1) == 0);
    FUZZ_CHECK(length == 34 && type == 0);
}

void MakeCall(Session *session)
{
    static const CallTable tables[] = {TransportCalls(), LinkCalls(),     OperationCalls(),
                                       PbocCalls(),      BusinessCalls(), SupportCalls(),
                                       CardCalls()};
    // A session is about cards more than about anything else.
    static const uint8_t choice[] = {4, 3, 2, 1, 0, 5, 6, 4};
    const CallTable &table = tables[choice[session->input->Byte() % sizeof choice]];
    const Call &call = table.calls[session->input->Byte() % table.count];
    static const bool shows = std::getenv("VANTOR_FUZZ_SHOW") != nullptr;
    if (shows)
        std::fprintf(stderr, "%s\n", call.name);
    session->Begin();
    call.make(session);
    EndOfCall();
}

} // namespace

// ---- Arguments ----

void Session::Begin()
{
    static const int allSeconds[] = {1, 2, 0, -1};
    static const uint32_t allMilliseconds[] = {500, 1000, 0, UINT32_MAX};
    const uint8_t first = input->Byte();
    const int which = first & 0x0F;
    device = which < 13 ? &context : which < 15 ? &own : nullptr;
    mode = (first >> 4 & 0x03) - 1;
    seconds = allSeconds[first >> 6];
    milliseconds = allMilliseconds[first >> 6];
}

int Session::Number()
{
    static const int edges[] = {0,   -1,  1,    2,    16,    32,      255,     256,
                                512, 513, 1024, 4096, 65535, INT_MAX, INT_MIN, 115200};
    const uint8_t first = input->Byte();
    if (first < 16)
        return edges[first];
    return first < 24 ? input->Number() : first - 24;
}

int Session::Small()
{
    return static_cast<int8_t>(input->Byte());
}

uint8_t Session::Byte()
{
    return input->Byte();
}

size_t Session::Size(size_t most)
{
    return input->Word() % (most + 1);
}

Bytes Session::Block()
{
    return input->Block();
}

std::string Session::Text()
{
    return input->Text();
}

std::string Session::HexText()
{
    std::string text;
    for (uint8_t byte : input->Block())
    {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 0x0F];
    }
    return text;
}

void PutPathsBack()
{
    GSetConfigFilePath(ScratchFile("config.ini").c_str());
    GSetDllPath(ScratchDirectory().c_str());
    GSetLogFilePath("/dev/null");
}

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input whole{data, size};
    const uint8_t how = whole.Byte();
    fuzz::Input input{nullptr, 0}; // of the step under way
    fuzz::Chain chain;
    const fuzz::World world(fuzz::SettingsOf(how), [&](const fuzz::Bytes &command)
                            { return fuzz::AnswerOf(command, &input, &chain); });
    fuzz::LimitExchanges(fuzz::kMostExchanges);
    fuzz::SetUp(how);
    fuzz::Session session{&input};
    fuzz::PlaceOnLine(&session.own, fuzz::LineKind::kSerial);
    for (int step = 0; step < fuzz::kMostSteps && whole.left > 0; step++)
    {
        const fuzz::Bytes bytes = whole.LongBlock();
        input = {bytes.data(), bytes.size()};
        fuzz::MakeCall(&session);
    }
    fuzz::CheckThatTheNextCallWorks(&chain, &input);
    return 0;
}
