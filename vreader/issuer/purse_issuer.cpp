// The other side of the purse: the bank that loads it and the terminal that takes from it.
#include "vreader/cards/purse.h"
#include "vreader/cards/tlv.h"
#include "vreader/issuer/issuer.h"

namespace vreader
{

namespace
{

constexpr size_t kRequestSize = 11;    // key index 1, amount 4, terminal 6
constexpr size_t kLoadAnswerSize = 16; // balance 4, counter 2, version, algorithm, random 4, MAC1 4
constexpr size_t kPurchaseAnswerSize =
    15; // balance 4, counter 2, overdraft 3, version, algorithm, random 4

Bytes Part(const Bytes &bytes, size_t offset, size_t size)
{
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return Bytes(start, start + static_cast<std::ptrdiff_t>(size));
}

std::optional<Bytes> Sized(const std::string &hex, size_t size, const char *what,
                           std::string *error)
{
    const std::optional<Bytes> bytes = BytesFromHex(hex);
    if (bytes && bytes->size() == size)
        return bytes;
    if (error->empty())
        *error =
            std::string(what) + " must be " + std::to_string(size) + " bytes in hexadecimal digits";
    return std::nullopt;
}

struct PurseExchange
{
    PurseTerms terms;
    Bytes answer;
};

std::optional<PurseExchange> ReadExchange(const PurseRequest &request, size_t answerSize,
                                          std::string *error)
{
    const std::optional<Bytes> data =
        Sized(request.dataHex, kRequestSize, "the data of the first command", error);
    const std::optional<Bytes> answer =
        Sized(request.answerHex, answerSize, "the card's answer", error);
    const std::optional<Bytes> date = Sized(request.date, 4, "the date YYYYMMDD", error);
    const std::optional<Bytes> time = Sized(request.time, 3, "the time hhmmss", error);
    if (request.account != 0x01 && request.account != 0x02 && error->empty())
        *error = "the account is 1 (deposit) or 2 (purse)";
    if (!error->empty())
        return std::nullopt;
    PurseExchange exchange;
    exchange.answer = *answer;
    exchange.terms.amount = FromBigEndian(*data, 1, 4);
    exchange.terms.type = request.account;
    exchange.terms.terminal = Part(*data, 5, 6);
    exchange.terms.date = *date;
    exchange.terms.time = *time;
    return exchange;
}

} // namespace

PurseKeys ProfilePurseKeys()
{
    return {{0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46,
             0x47, 0x48},
            {0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66,
             0x67, 0x68},
            {0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86,
             0x87, 0x88}};
}

PurseAnswer AuthoriseLoad(const PurseKeys &keys, const PurseRequest &request)
{
    PurseAnswer answer;
    const std::optional<PurseExchange> exchange =
        ReadExchange(request, kLoadAnswerSize, &answer.error);
    if (!exchange)
        return answer;
    const uint32_t balance = FromBigEndian(exchange->answer, 0, 4);
    const auto counter = static_cast<uint16_t>(FromBigEndian(exchange->answer, 4, 2));
    const DesKey key = PurseSessionKey(keys.load, Part(exchange->answer, 8, 4), counter, kLoadTail);
    const Bytes mac = PurseMac(key, LoadRequestData(balance, exchange->terms));
    if (mac != Part(exchange->answer, 12, 4))
    {
        answer.error = "MAC1 of the card does not verify: it is " +
                       HexText(Part(exchange->answer, 12, 4)) + ", these keys give " + HexText(mac);
        return answer;
    }
    answer.explanation = {"session key  " + HexText(Bytes(key.begin(), key.end())),
                          "MAC1         " + HexText(mac) + " verifies"};
    Bytes data = exchange->terms.date;
    AppendBytes(&data, exchange->terms.time);
    AppendBytes(&data, PurseMac(key, TermsData(exchange->terms)));
    answer.hex = HexText(data);
    return answer;
}

PurseAnswer PreparePurchase(const PurseKeys &keys, const PurseRequest &request)
{
    constexpr uint8_t kPurchaseTypes = 4; // 05 deposit, 06 purse
    PurseAnswer answer;
    std::optional<PurseExchange> exchange =
        ReadExchange(request, kPurchaseAnswerSize, &answer.error);
    if (!exchange)
        return answer;
    exchange->terms.type = static_cast<uint8_t>(exchange->terms.type + kPurchaseTypes);
    const auto counter = static_cast<uint16_t>(FromBigEndian(exchange->answer, 4, 2));
    const DesKey key = PurseSessionKey(keys.purchase, Part(exchange->answer, 11, 4), counter,
                                       static_cast<uint16_t>(request.terminalNumber));
    answer.explanation = {"session key  " + HexText(Bytes(key.begin(), key.end()))};
    Bytes data = BigEndian(request.terminalNumber, 4);
    AppendBytes(&data, exchange->terms.date);
    AppendBytes(&data, exchange->terms.time);
    AppendBytes(&data, PurseMac(key, TermsData(exchange->terms)));
    answer.hex = HexText(data);
    return answer;
}

} // namespace vreader
