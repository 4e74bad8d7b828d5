// vantor-reader: a card reader on a pseudo-terminal or on USB, for whoever has none on the desk.
#include "vreader/running_reader.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

constexpr char kExamples[] = R"(Examples:
  vantor-reader                             the default card, the trace on the terminal
  vantor-reader --profile my-cards.json     one's own cards
  vantor-reader --print-profile default     a profile to start from
  vantor-reader --link /tmp/reader          a name for the terminal that stays
  vantor-reader --control /tmp/reader.sock  then, from another shell:
      echo 'remove contact' | socat - UNIX-CONNECT:/tmp/reader.sock
      echo 'fault delay 800 count 3' | socat - UNIX-CONNECT:/tmp/reader.sock
  vantor-reader --pace                      bytes take the time they take on a wire
  vantor-reader usb --attach                plugged into this machine's USB (root, vhci-hcd)
  vantor-reader usb --listen 3240           for "usbip attach" of this machine

The first line of the output is for programs: ready pts/7 /dev/pts/7, or ready USB 1bc3:0151)";

struct CommandLine
{
    vreader::ReaderOptions reader;
    bool usb = false;
    vreader::UsbOptions usbOptions;
    std::string speak;
    std::string link;
    std::string printProfile;
    bool listProfiles = false;
    bool krelOnly = false;
    bool unionOnly = false;
    bool trace = false;
    bool quiet = false;
    bool traceFull = false;
};

void DeclareOptions(CLI::App *app, CommandLine *line)
{
    app->footer(kExamples);
    app->add_option("--profile", line->reader.profile, "a built-in profile, or a JSON file")
        ->type_name("NAME|FILE");
    app->add_flag("--list-profiles", line->listProfiles, "name the built-in profiles");
    app->add_option("--print-profile", line->printProfile, "print a built-in profile")
        ->type_name("NAME");
    CLI::Option *speak = app->add_option("--speak", line->speak, "the framings that are answered")
                             ->check(CLI::IsMember({"krel", "union", "both", "none"}))
                             ->type_name("krel|union|both|none");
    CLI::Option *krelOnly = app->add_flag("--krel-only", line->krelOnly, "same as --speak krel");
    CLI::Option *unionOnly =
        app->add_flag("--union-only", line->unionOnly, "same as --speak union")->excludes(krelOnly);
    speak->excludes(krelOnly)->excludes(unionOnly);
    app->add_flag("--pace", line->reader.pace, "bytes take the time of the line speed");
    app->add_option("--control", line->reader.controlSocket,
                    "serve the control language on a Unix socket")
        ->type_name("PATH");
    app->add_option("--link", line->link, "a symbolic link to the terminal, removed at the end")
        ->type_name("PATH");
    CLI::Option *trace = app->add_flag("--trace", line->trace, "show every exchange (the default)");
    CLI::Option *full = app->add_flag("--trace-full", line->traceFull, "do not shorten long texts");
    app->add_flag("--quiet", line->quiet, "show no exchanges")->excludes(trace)->excludes(full);
}

void DeclareUsbOptions(CLI::App *app, CommandLine *line)
{
    CLI::App *usb = app->add_subcommand("usb", "a reader on USB instead of a pseudo-terminal");
    usb->fallthrough(); // the options above hold here as well
    usb->callback([line] { line->usb = true; });
    vreader::UsbOptions *options = &line->usbOptions;
    CLI::Option *attach = usb->add_flag("--attach", options->attach,
                                        "plug it into this machine's kernel: needs root and the "
                                        "module vhci-hcd (modprobe vhci-hcd)");
    usb->add_option("--listen", options->listen,
                    "serve USB/IP over TCP (default: 3240, from this machine only)")
        ->type_name("[ADDRESS:]PORT")
        ->excludes(attach);
    usb->add_option("--vid", options->vendorId, "vendor id, 0x1BC3 unless given")
        ->type_name("NUMBER");
    usb->add_option("--pid", options->productId, "product id, 0x0151 unless given")
        ->type_name("NUMBER");
    usb->add_option("--manufacturer", options->manufacturer, "the device's texts")
        ->type_name("TEXT");
    usb->add_option("--product", options->product)->type_name("TEXT");
    usb->add_option("--serial-number", options->serialNumber)->type_name("TEXT");
    usb->add_flag("!--no-out-endpoint", options->outEndpoint,
                  "output reports come by SET_REPORT only");
}

// What was asked for must have arrived.
int Printed()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return kDone;
    std::perror("vantor-reader: the output could not be written");
    return kFailed;
}

int ListProfiles()
{
    for (const vreader::BuiltInProfile &profile : vreader::BuiltInProfiles())
        std::printf("%-28s %s\n", profile.name.c_str(), profile.description.c_str());
    return Printed();
}

int PrintProfile(const std::string &name)
{
    const std::optional<std::string> text = vreader::BuiltInProfileText(name);
    if (!text)
    {
        std::fprintf(stderr, "vantor-reader: no built-in profile \"%s\" (see --list-profiles)\n",
                     name.c_str());
        return kFailed;
    }
    std::fwrite(text->data(), 1, text->size(), stdout);
    return Printed();
}

// A reader that can show nothing any more ends: what read its output has ended, or the disk is
// full.
struct Output
{
    int quitSignal = -1;
    std::atomic<int> trouble{0}; // an error number
};

void Arrive(bool printed, Output *output)
{
    if (printed && std::fflush(stdout) == 0)
        return;
    output->trouble = errno;
    vreader::Wake(output->quitSignal);
}

void PrintLine(const std::string &line, Output *output)
{
    Arrive(std::printf("%s\n", line.c_str()) >= 0, output);
}

// Whoever ended has seen enough; a disk that is full has not.
int Ended(const Output &output)
{
    if (output.trouble == 0 || output.trouble == EPIPE)
        return kDone;
    errno = output.trouble;
    std::perror("vantor-reader: the output could not be written");
    return kFailed;
}

void PrintGreeting(const vreader::RunningReader *reader, const CommandLine &line, Output *output)
{
    const std::string terminal = vreader::TerminalName(reader);
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x", line.usbOptions.vendorId,
                  line.usbOptions.productId);
    PrintLine(line.usb ? "ready USB " + std::string(ids)
                       : "ready " + terminal.substr(5) + " " + terminal,
              output);
    if (line.quiet)
        return;
    const std::lock_guard<std::mutex> guard(reader->lock);
    std::printf("reader       framing %s, %u baud, profile %s\n",
                vreader::SpeakingText(reader->reader).c_str(), reader->reader.baud,
                reader->profile.name.c_str());
    for (const auto &[slot, place] : reader->reader.contact)
        if (place.card)
            std::printf("contact      slot %u: %s (%s)\n", slot, place.name.c_str(),
                        place.card->label.c_str());
    if (reader->reader.contactless.card)
        std::printf("contactless  %s (%s)\n", reader->reader.contactless.name.c_str(),
                    reader->reader.contactless.card->label.c_str());
    if (const std::string address = vreader::UsbAddress(reader); !address.empty())
        std::printf("USB/IP       usbip --tcp-port %s attach --remote %s --busid 1-1\n",
                    address.substr(address.rfind(':') + 1).c_str(),
                    address.substr(0, address.rfind(':')).c_str());
    if (reader->reader.identity.card)
        std::printf("identity     %s (%s)\n", reader->reader.identity.name.c_str(),
                    reader->reader.identity.card->label.c_str());
    if (reader->reader.stripe.everyCall)
        std::printf("swipes       %s (%s), %lu ms after each call began\n",
                    reader->reader.stripe.everyCall->name.c_str(),
                    reader->reader.stripe.everyCall->card->label.c_str(),
                    reader->reader.stripe.everyCall->afterMs);
    for (const vreader::PlannedSwipe &swipe : reader->reader.stripe.planned)
        std::printf("swipe        %s (%s), %lu ms after a call began\n", swipe.name.c_str(),
                    swipe.card->label.c_str(), swipe.afterMs);
    if (!line.reader.controlSocket.empty())
        std::printf("control      %s\n", line.reader.controlSocket.c_str());
    PrintLine("quit with Ctrl-C", output);
}

int BlockEndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

int Run(CommandLine *line)
{
    // Before any thread exists, so that all of them leave these signals to this one.
    const int signals = BlockEndingSignals();
    std::string error;
    Output output;
    std::mutex printing; // the greeting stands above the first line of the trace
    bool greeted = false;
    if (!line->quiet)
        line->reader.trace = [&](const std::string &text)
        {
            const std::lock_guard<std::mutex> guard(printing);
            if (greeted)
                PrintLine(line->traceFull ? text : vreader::Shortened(text), &output);
        };
    std::unique_lock<std::mutex> greeting(printing);
    vreader::RunningReader *reader =
        line->usb ? vreader::StartUsbReader(line->reader, line->usbOptions, &error)
                  : vreader::StartReader(line->reader, &error);
    if (reader != nullptr)
        output.quitSignal = reader->quitSignal;
    if (reader != nullptr && !line->speak.empty())
        vreader::Control(reader, "speak " + line->speak);
    if (reader == nullptr || (!line->link.empty() && !vreader::SetLink(reader, line->link, &error)))
    {
        greeting.unlock();
        std::fprintf(stderr, "vantor-reader: %s\n", error.c_str());
        vreader::StopReader(reader);
        return kFailed;
    }
    PrintGreeting(reader, *line, &output);
    greeted = true;
    greeting.unlock();

    pollfd descriptors[] = {{signals, POLLIN, 0}, {output.quitSignal, POLLIN, 0}};
    while (poll(descriptors, 2, -1) < 0)
    {
    }
    vreader::StopReader(reader);
    return Ended(output);
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App app("A virtual card reader on a pseudo-terminal or on USB.", "vantor-reader");
    CommandLine line;
    DeclareOptions(&app, &line);
    DeclareUsbOptions(&app, &line);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &problem)
    {
        return app.exit(problem) == 0 ? Printed() : kWrongUse;
    }
    if (line.listProfiles)
        return ListProfiles();
    if (!line.printProfile.empty())
        return PrintProfile(line.printProfile);
    if (line.usb && (!line.link.empty() || line.reader.pace))
    {
        std::fprintf(stderr, "vantor-reader: --link and --pace are for a pseudo-terminal\n");
        return kWrongUse;
    }
    if (!line.usbOptions.attach && line.usbOptions.listen.empty())
        line.usbOptions.listen = "3240";
    if (line.krelOnly || line.unionOnly)
        line.speak = line.krelOnly ? "krel" : "union";
    return Run(&line);
}
