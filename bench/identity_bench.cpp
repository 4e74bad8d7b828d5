// The text of an identity card: every field found in its record, turned into GB18030 and joined.
// Against the system's converter on the same fields, without anything else that a field needs.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <string>

#include "support/identity_card.h"
#include "vantor/identity_operations.h"

namespace
{

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "identity_bench: %s\n", what);
    std::exit(1);
}

// A name, an address and an authority at full width: 80 characters of text, 48 of numbers.
testing_support::IdentityCard FullCard()
{
    testing_support::IdentityCard card = testing_support::ResidentCard();
    card.Put(0, u"一二三四五六七八九十一二三四五");
    card.Put(52, u"广东省汕头市示例县示例镇示例村长长长长长长长长长长长长长长长长长长长长");
    card.Put(158, u"示例县公安局示例分局办证大厅一");
    card.Put(204, u"20400101");
    return card;
}

const testing_support::IdentityCard kCard = FullCard();

using Field = int (*)(const unsigned char *, char *);

int SexName(const unsigned char *record, char *out)
{
    return ID_GetSex(record, 0, out);
}

int NationName(const unsigned char *record, char *out)
{
    return ID_GetNation(record, 0, out);
}

constexpr Field kFields[] = {
    ID_GetName,       SexName,      NationName,       ID_GetBirth,    ID_GetAddress,
    ID_GetCardNumber, ID_GetPolice, ID_GetValidStart, ID_GetValidEnd, ID_GetCardType,
};

constexpr int kFieldSize = 1024;
constexpr int kFieldCount = 10;

struct Fields
{
    char text[kFieldCount][kFieldSize];
};

void DecodeOurs(benchmark::State &state)
{
    Fields fields;
    for (auto _ : state)
    {
        for (int i = 0; i < kFieldCount; i++)
        {
            fields.text[i][0] = '\0';
            kFields[i](kCard.Record(), fields.text[i]);
        }
        benchmark::DoNotOptimize(&fields);
        benchmark::ClobberMemory();
    }
    if (strcmp(fields.text[5], "11010519491231002X") != 0 || strlen(fields.text[4]) != 70 ||
        strcmp(fields.text[1], "\xC4\xD0") != 0 || strcmp(fields.text[2], "\xBA\xBA") != 0)
        Fail("wrong fields");
}

// Offset and size of the same fields, in bytes.
constexpr int kPlaces[kFieldCount][2] = {{0, 30},   {30, 2},   {32, 4},   {36, 16},  {52, 70},
                                         {122, 36}, {158, 30}, {188, 16}, {204, 16}, {248, 2}};

void DecodeReference(benchmark::State &state)
{
    iconv_t converter = iconv_open("GB18030", "UTF-16LE");
    if (converter == reinterpret_cast<iconv_t>(-1))
        Fail("no converter");
    Fields fields;
    std::string record(reinterpret_cast<const char *>(kCard.Record()), 256);
    for (auto _ : state)
    {
        for (int i = 0; i < kFieldCount; i++)
        {
            char *from = record.data() + kPlaces[i][0];
            auto fromLeft = static_cast<size_t>(kPlaces[i][1]);
            char *to = fields.text[i];
            size_t toLeft = kFieldSize - 1;
            if (iconv(converter, &from, &fromLeft, &to, &toLeft) != 0)
                Fail("the reference cannot convert a field");
            *to = '\0';
        }
        benchmark::DoNotOptimize(&fields);
        benchmark::ClobberMemory();
    }
    iconv_close(converter);
    if (strlen(fields.text[4]) != 70)
        Fail("the reference gives another address");
}

} // namespace

BENCHMARK(DecodeOurs)->Name("identity_fields/ours");
BENCHMARK(DecodeReference)->Name("identity_fields/reference");

BENCHMARK_MAIN();
