#include "memory_command_line.h"

namespace tool
{

static void AddPlace(CLI::App *command, Arguments *arguments, const char *name,
                     const char *description)
{
    command->add_option(name, arguments->memory.place, description)->type_name("")->required();
}

static void AddCount(CLI::App *command, Arguments *arguments, int most)
{
    command->add_option("--count", arguments->options.memory.count, "how many (1)")
        ->type_name("N")
        ->check(CLI::Range(1, most).description(""));
}

static void AddYes(CLI::App *command, Arguments *arguments)
{
    command->add_flag("--yes", arguments->options.memory.yes, "do not ask");
}

static void AddData(CLI::App *command, Arguments *arguments, const char *description)
{
    command->add_option("HEX", arguments->memory.data, description)->type_name("");
    command->add_option("--text", arguments->memory.text, "the data as text, filled with 00")
        ->type_name("TEXT");
    AddYes(command, arguments);
}

// ---- Mifare Classic ----

static void AddM1Keys(CLI::App *command, Arguments *arguments)
{
    MemoryArguments &memory = arguments->memory;
    command->add_option("--key", memory.keys, "key A, twelve digits (FFFFFFFFFFFF)")
        ->type_name("HEX")
        ->expected(1)
        ->take_all();
    command->add_option("--key-b", memory.keysB, "key B")
        ->type_name("HEX")
        ->expected(1)
        ->take_all();
    command
        ->add_option("--key-file", memory.keyFile,
                     "keys, one a line: SECTOR A KEY; * stands for all sectors")
        ->type_name("FILE");
    command
        ->add_option("--first-sector", arguments->options.memory.firstSector,
                     "the number by which the reader calls the card's first sector (0)")
        ->type_name("N")
        ->check(CLI::Range(0, 1).description(""));
}

static void AddM1Commands(CLI::App *m1, Arguments *arguments, const AddMemoryCommand &add)
{
    static const char kBlock[] = "the card's block, 0 to 255";
    CLI::App *read = add(m1, {"read", "m1 read", "read blocks", M1Read, CheckM1Read});
    AddPlace(read, arguments, "BLOCK", kBlock);
    AddCount(read, arguments, 256);
    CLI::App *write = add(m1, {"write", "m1 write", "write a block; asks before a sector's trailer",
                               M1Write, CheckM1Write});
    AddPlace(write, arguments, "BLOCK", kBlock);
    AddData(write, arguments, "16 bytes");
    CLI::App *value =
        add(m1, {"value", "m1 value", "read a value block, or write one", M1Value, CheckM1Value});
    AddPlace(value, arguments, "BLOCK", kBlock);
    value->add_option("--set", arguments->memory.value, "make it a value block with this value")
        ->type_name("N");
    CLI::App *increment =
        add(m1, {"increment", "m1 increment", "add to a value block", M1Increment, CheckM1Amount});
    CLI::App *decrement = add(
        m1, {"decrement", "m1 decrement", "take from a value block", M1Decrement, CheckM1Amount});
    for (CLI::App *command : {increment, decrement})
    {
        AddPlace(command, arguments, "BLOCK", kBlock);
        command->add_option("AMOUNT", arguments->memory.amount, "1 to 2147483647")
            ->type_name("")
            ->required();
    }
    CLI::App *dump =
        add(m1, {"dump", "m1 dump", "read all that the keys open", M1Dump, CheckM1Dump});
    dump->add_option("--size", arguments->options.memory.size, "1K or 4K, when the card is silent")
        ->type_name("SIZE")
        ->check(CLI::IsMember({"1K", "4K"}).description(""));
    for (CLI::App *command : {read, write, value, increment, decrement, dump})
        AddM1Keys(command, arguments);
}

// ---- Ultralight C ----

static void AddM0Commands(CLI::App *m0, Arguments *arguments, const AddMemoryCommand &add)
{
    static const char kPage[] = "the card's page in hexadecimal, 0 to 2F";
    CLI::App *read = add(m0, {"read", "m0 read", "read pages", M0Read, CheckM0Read});
    AddPlace(read, arguments, "PAGE", kPage);
    AddCount(read, arguments, kPages);
    CLI::App *write =
        add(m0, {"write", "m0 write", "write a page; asks before lock bits, counter, AUTH and key",
                 M0Write, CheckM0Write});
    AddPlace(write, arguments, "PAGE", kPage);
    AddData(write, arguments, "four bytes");
    CLI::App *auth =
        add(m0, {"auth", "m0 auth", "prove that card and host hold the same key (3DES)", M0Auth,
                 CheckM0Key});
    CLI::App *setKey =
        add(m0, {"set-key", "m0 set-key", "write a new key; asks", M0SetKey, CheckM0SetKey});
    setKey->add_option("KEY", arguments->memory.newKey, "the new key, 32 digits")
        ->type_name("")
        ->required();
    AddYes(setKey, arguments);
    CLI::App *dump =
        add(m0, {"dump", "m0 dump", "read all pages that can be read", M0Dump, CheckM0Dump});
    for (CLI::App *command : {read, write, auth, setKey, dump})
        command->add_option("--key", arguments->memory.keys, "the card's key, 32 digits")
            ->type_name("HEX")
            ->expected(1);
}

void AddMemoryCommands(CLI::App *app, Arguments *arguments, const AddMemoryCommand &add)
{
    CLI::App *m1 = app->add_subcommand("m1", "Mifare Classic cards");
    m1->require_subcommand(1)->fallthrough();
    AddM1Commands(m1, arguments, add);
    CLI::App *m0 = app->add_subcommand("m0", "Ultralight C cards");
    m0->require_subcommand(1)->fallthrough();
    AddM0Commands(m0, arguments, add);
}

} // namespace tool
