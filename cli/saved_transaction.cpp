#include "saved_transaction.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "card_fields.h"
#include "presentation.h"

namespace tool
{

static const char kFormat[] = "vantor transaction 1";
static const size_t kMostBytes = 1024 * 1024; // many times what any transaction needs

// Every part but the call set and the card's type is bytes, written as hexadecimal digits.
static const struct
{
    const char *key;
    std::string PendingTransaction::*part;
} kParts[] = {
    {"text", &PendingTransaction::text},
    {"arqc", &PendingTransaction::arqc},
    {"cdol2", &PendingTransaction::cdol2},
    {"application_data", &PendingTransaction::applicationData},
    {"transaction_data", &PendingTransaction::transactionData},
    {"initiation_data", &PendingTransaction::initiationData},
};

static bool WriteAll(int descriptor, const std::string &text)
{
    for (size_t at = 0; at < text.size();)
    {
        const ssize_t count = write(descriptor, text.data() + at, text.size() - at);
        if (count < 0 && errno != EINTR)
            return false;
        at += count < 0 ? 0 : static_cast<size_t>(count);
    }
    return true;
}

std::string SaveTransaction(const std::string &path, const PendingTransaction &pending)
{
    Json document = {{"format", kFormat},
                     {"interface", pending.callSet == CallSet::kMain ? "bo" : "terminal"},
                     {"card_type", pending.cardType}};
    for (const auto &each : kParts)
        document[each.key] = Hex(pending.*each.part);
    const int descriptor =
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return "cannot write " + path + " (" + strerror(errno) + ")";
    const bool written =
        fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 && WriteAll(descriptor, document.dump(2) + "\n");
    const bool closed = close(descriptor) == 0;
    return written && closed ? "" : "cannot write " + path + " (" + strerror(errno) + ")";
}

static bool ReadFile(const std::string &path, std::string *text)
{
    FILE *file = fopen(path.c_str(), "rbe");
    if (file == nullptr)
        return false;
    char part[4096];
    for (size_t count;
         text->size() <= kMostBytes && (count = fread(part, 1, sizeof part, file)) > 0;)
        text->append(part, count);
    const bool isRead = ferror(file) == 0 && text->size() <= kMostBytes;
    fclose(file);
    return isRead;
}

static bool TakePart(const Json &document, const char *key, std::string *part)
{
    const auto found = document.find(key);
    if (found == document.end() || !found->is_string() || !IsHexText(found->get<std::string>()))
        return false;
    *part = Bytes(found->get<std::string>());
    return true;
}

std::string LoadTransaction(const std::string &path, PendingTransaction *pending)
{
    std::string text;
    if (!ReadFile(path, &text))
        return "cannot read " + path;
    const std::string wrong = path + " is no transaction that \"ic arqc --save\" has written";
    const Json document = Json::parse(text, nullptr, false);
    if (!document.is_object() || document.value("format", Json()) != kFormat)
        return wrong;
    const Json set = document.value("interface", Json());
    const Json cardType = document.value("card_type", Json());
    if ((set != "bo" && set != "terminal") || (cardType != 0 && cardType != 1))
        return wrong;
    pending->callSet = set == "bo" ? CallSet::kMain : CallSet::kTerminal;
    pending->cardType = cardType.get<int>();
    for (const auto &each : kParts)
        if (!TakePart(document, each.key, &(pending->*each.part)))
            return wrong;
    return "";
}

} // namespace tool
