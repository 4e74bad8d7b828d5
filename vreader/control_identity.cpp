// Control words about the identity module: its card, and statuses on demand.
#include "vreader/running_reader.h"

#include "vreader/cards/tlv.h"
#include "vreader/modules/modules.h"
#include "vreader/profile_modules.h"

namespace vreader
{

std::string PutIdentityCard(RunningReader *running, Words *words, bool swap)
{
    const std::string name = RestOfLine(words);
    if (name.empty())
        return "error: which card?";
    std::string problem;
    const auto card = IdentityCardByName(running->profile, name, &problem);
    if (!card)
        return "error: " + problem;
    const std::lock_guard<std::mutex> guard(running->lock);
    const IdentityModule &module = running->reader.identity;
    if (module.card && !swap)
        return "error: identity holds \"" + module.name + "\"; remove it or use swap";
    PutIdentityCardDown(&running->reader, card, name[0] == '{' ? card->label : name);
    Remark(running, "card \"" + module.name + "\" put down, identity");
    Wake(running->wake);
    return "ok";
}

std::string TakeIdentityCard(RunningReader *running, Words *words)
{
    if (!PeekWord(*words).empty())
        return "error: nothing may follow the place";
    const std::lock_guard<std::mutex> guard(running->lock);
    const IdentityModule &module = running->reader.identity;
    if (!module.card)
        return "error: identity is empty";
    Remark(running, "card \"" + module.name + "\" taken away, identity");
    PutIdentityCardDown(&running->reader, nullptr, "");
    Wake(running->wake);
    return "ok";
}

// "status PREFIX STATUS [COUNT]", or "status clear"
std::string InjectIdentityStatus(RunningReader *running, Words *words)
{
    const bool isStatus = NextWord(words) == "status";
    const std::string prefixText = NextWord(words);
    const std::lock_guard<std::mutex> guard(running->lock);
    std::vector<InjectedStatus> *injected = &running->reader.identity.injected;
    if (isStatus && prefixText == "clear" && PeekWord(*words).empty())
    {
        injected->clear();
        return "ok";
    }
    const std::optional<Bytes> prefix =
        prefixText == "-" ? std::optional<Bytes>(Bytes{}) : BytesFromHex(prefixText);
    const std::optional<Bytes> status = BytesFromHex(NextWord(words));
    const std::string countText = NextWord(words);
    const std::optional<unsigned long> count =
        countText.empty() ? std::optional<unsigned long>(1) : Number(countText, 0, 1000000000);
    if (!isStatus || !prefix || prefixText.empty() || !status || status->size() != 3 || !count ||
        !PeekWord(*words).empty())
        return "error: expected card identity status PREFIX STATUS [COUNT], STATUS being three "
               "bytes, or card identity status clear";
    injected->push_back({*prefix, *status, *count});
    return "ok";
}

} // namespace vreader
