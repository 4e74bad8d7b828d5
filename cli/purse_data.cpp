#include "purse_data.h"

#include "presentation.h"

namespace tool
{

unsigned char AccountNumberOf(const PurseOptions &purse)
{
    return purse.deposit ? 1 : 2;
}

const char *AccountName(unsigned char account)
{
    return account == 1 ? "deposit" : "purse";
}

static uint32_t BigEndian(std::string_view bytes)
{
    uint32_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

std::string OrderData(const PurseOptions &purse)
{
    std::string data(1, static_cast<char>(purse.keyIndex));
    for (int shift = 24; shift >= 0; shift -= 8)
        data += static_cast<char>(purse.amount >> shift & 0xFF);
    return data + Bytes(purse.terminal);
}

std::string BalanceText(std::string_view bytes)
{
    return bytes.size() == 4 ? Money(BigEndian(bytes), 2) : "";
}

// ---- Records ----

struct PurseRecord
{
    uint32_t counter = 0;
    std::string amount;
    std::string type;
    std::string terminal;
    std::string date;
    std::string time;
};

static const size_t kRecordSize = 23;

// Counter 2, overdraft limit 3, amount 4, type 1, terminal 6, date 4, time 3.
static PurseRecord ReadRecord(std::string_view bytes)
{
    const std::string date = Hex(bytes.substr(16, 4));
    const std::optional<std::string> day = IsoDate(std::string_view(date).substr(2));
    const std::string time = Hex(bytes.substr(20, 3));
    return {BigEndian(bytes.substr(0, 2)),
            Money(BigEndian(bytes.substr(5, 4)), 2),
            Hex(bytes.substr(9, 1)),
            Hex(bytes.substr(10, 6)),
            day ? date.substr(0, 4) + day->substr(4) : date,
            ClockTime(time).value_or(time)};
}

static const char *TypeName(std::string_view code)
{
    static const struct
    {
        const char *code;
        const char *name;
    } kTypes[] = {
        {"01", "load deposit"},
        {"02", "load purse"},
        {"03", "unload"},
        {"04", "withdraw cash"},
        {"05", "purchase from deposit"},
        {"06", "purchase from purse"},
        {"07", "change overdraft"},
        {"08", "credit purchase"},
    };
    for (const auto &type : kTypes)
        if (code == type.code)
            return type.name;
    return nullptr;
}

std::string PurseRecordsText(const std::vector<std::string> &records)
{
    std::string text;
    for (const std::string &bytes : records)
    {
        const std::string number = std::to_string(&bytes - records.data() + 1);
        if (bytes.size() != kRecordSize)
        {
            text += number + "  " + Hex(bytes) + "\n";
            continue;
        }
        const PurseRecord record = ReadRecord(bytes);
        const char *name = TypeName(record.type);
        std::string type = name == nullptr ? record.type : name;
        type.resize(23, ' ');
        std::string amount(std::max<size_t>(record.amount.size(), 10) - record.amount.size(), ' ');
        text += number + "  " + record.date + "  " + record.time + "  " + type + amount +
                record.amount + "  terminal " + record.terminal + "  counter " +
                std::to_string(record.counter) + "\n";
    }
    return text.empty() ? "no records\n" : text;
}

Json PurseRecordsJson(const std::vector<std::string> &records)
{
    Json array = Json::array();
    for (const std::string &bytes : records)
    {
        if (bytes.size() != kRecordSize)
        {
            array.push_back({{"raw", Hex(bytes)}});
            continue;
        }
        const PurseRecord record = ReadRecord(bytes);
        const char *name = TypeName(record.type);
        array.push_back(
            {{"date", record.date},
             {"time", record.time},
             {"type",
              {{"code", record.type}, {"name", name == nullptr ? Json(nullptr) : Json(name)}}},
             {"amount", record.amount},
             {"terminal", record.terminal},
             {"counter", record.counter},
             {"raw", Hex(bytes)}});
    }
    return array;
}

} // namespace tool
