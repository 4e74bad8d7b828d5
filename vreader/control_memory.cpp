// What the control language says about memory cards.
#include "vreader/running_reader.h"

#include "vreader/cards/memory_card.h"

namespace vreader
{

// "memory": all that the memory card on the antenna holds
std::string ShowMemory(RunningReader *running, Words *)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    const Card *card = running->reader.contactless.card.get();
    if (card == nullptr)
        return "error: contactless is empty";
    if (!card->memory)
        return "error: this is no memory card";
    return "ok " + card->memory->contents().dump();
}

} // namespace vreader
