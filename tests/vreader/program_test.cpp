// The program vantor-reader as a developer starts it.
#include "vreader/bench.h"

#include "support/scratch.h"

#include <csignal>
#include <filesystem>
#include <sys/wait.h>

using namespace vreader_test;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::Scratch;
using testing_support::WriteFile;

namespace
{

namespace fs = std::filesystem;

struct Program
{
    pid_t process = -1;
    int output = -1;

    explicit Program(std::vector<std::string> arguments)
    {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        output = ends[0];
        arguments.insert(arguments.begin(), VANTOR_BIN_DIR "/vantor-reader");
        std::vector<char *> words;
        for (std::string &argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        process = fork();
        if (process == 0)
        {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            execv(words[0], words.data());
            _exit(127);
        }
        close(ends[1]);
    }
    ~Program()
    {
        if (process > 0)
        {
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
        if (output >= 0)
            close(output);
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    std::string Line() const
    {
        std::string line;
        char character = 0;
        while (read(output, &character, 1) == 1 && character != '\n')
            line += character;
        return line;
    }
    // The terminal that the `ready` line names.
    std::string Ready() const
    {
        const std::string line = Line();
        EXPECT_THAT(line, testing::MatchesRegex("ready pts/[0-9]+ /dev/pts/[0-9]+"));
        const std::string device = line.substr(line.rfind(' ') + 1);
        EXPECT_EQ(line, "ready " + device.substr(5) + " " + device);
        return device;
    }
    std::string Rest() const
    {
        std::string all;
        char buffer[4096];
        for (ssize_t count = read(output, buffer, sizeof buffer); count > 0;
             count = read(output, buffer, sizeof buffer))
            all.append(buffer, static_cast<size_t>(count));
        return all;
    }
    int ExitStatus()
    {
        int status = 0;
        waitpid(process, &status, 0);
        process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

struct Ended
{
    int status;
    std::string output;
};

Ended RunToEnd(const std::vector<std::string> &arguments)
{
    Program program(arguments);
    const std::string output = program.Rest();
    return {program.ExitStatus(), output};
}

std::string ProfileFile(const Scratch &directory)
{
    WriteFile(directory.path + "/profile.json", kProfile);
    return directory.path + "/profile.json";
}

} // namespace

TEST(Program, NamesItsTerminalServesItAndEndsAtCtrlC)
{
    const Scratch directory;
    Program program({"--profile", ProfileFile(directory)});
    const std::string device = program.Ready();
    EXPECT_EQ(program.Line(),
              "reader       framing both, 9600 baud, profile " + directory.path + "/profile.json");
    EXPECT_EQ(program.Line(), "contact      slot 0: plain (plain card)");
    EXPECT_EQ(program.Line(), "contactless  near (near card)");
    EXPECT_EQ(program.Line(), "quit with Ctrl-C");
    EXPECT_EQ(Host(device).Exchange("60028100E3\003"), "60090052454144455220377B\003");
    EXPECT_THAT(program.Line(), HasSubstr("host   -> reader  krel   device information"));
    EXPECT_THAT(program.Line(), HasSubstr("reader -> host    krel   information of 8 bytes"));
    kill(program.process, SIGINT);
    EXPECT_THAT(program.Rest(), HasSubstr("line closed"));
    EXPECT_EQ(program.ExitStatus(), 0);
}

TEST(Program, NamesTheIdentityCardAndThePlannedSwipes)
{
    const Scratch directory;
    const std::string cards =
        R"("identityCards": {"mine": {"kind": "gat", "label": "my card", "text": "fill:00"}},
           "identity": "mine", "magneticCards": {"bank": {"label": "bank card"}}, "swipes": )";
    testing_support::WriteFile(directory.path + "/every.json",
                               "{" + cards + R"({"card": "bank", "after": 7}})");
    Program every({"--profile", directory.path + "/every.json"});
    every.Ready();
    EXPECT_THAT(every.Line(), HasSubstr("reader       framing both"));
    EXPECT_EQ(every.Line(), "identity     mine (my card)");
    EXPECT_EQ(every.Line(), "swipes       bank (bank card), 7 ms after each call began");

    testing_support::WriteFile(directory.path + "/one.json", "{" + cards + R"(["bank"]})");
    Program one({"--profile", directory.path + "/one.json"});
    one.Ready();
    one.Line();
    one.Line();
    EXPECT_EQ(one.Line(), "swipe        bank (bank card), 0 ms after a call began");
}

TEST(Program, QuietSaysTheReadyLineOnly)
{
    const Scratch directory;
    Program program({"--quiet", "--profile", ProfileFile(directory)});
    Host(program.Ready()).Exchange("60028100E3\003");
    kill(program.process, SIGTERM);
    EXPECT_EQ(program.Rest(), "");
    EXPECT_EQ(program.ExitStatus(), 0);
}

TEST(Program, ShortensLongTextsUnlessToldNotTo)
{
    const Scratch directory;
    for (const bool full : {false, true})
    {
        std::vector<std::string> arguments = {"--profile", ProfileFile(directory)};
        if (full)
            arguments.push_back("--trace-full");
        Program program(arguments);
        Host(program.Ready()).Exchange("6001F190\003");
        kill(program.process, SIGINT);
        const std::string whole =
            "00"
            "5245414445522037000000000000000000000000000000000000000000000000"
            "534E303030310000000000000000000000000000000000000000000000000000";
        const std::string output = program.Rest();
        EXPECT_THAT(output, HasSubstr(full ? whole : "0052454144455220...0000"));
    }
}

TEST(Program, LinkLeadsToTheTerminalAsLongAsThereIsOne)
{
    const Scratch directory;
    const std::string link = directory.path + "/reader";
    const std::string socket = directory.path + "/control";
    Program program(
        {"--profile", ProfileFile(directory), "--link", link, "--control", socket, "--trace"});
    const std::string device = program.Ready();
    EXPECT_EQ(fs::read_symlink(link), device);
    EXPECT_EQ(Host(link).Exchange("6002550136\003"), "6001A1C0\003");
    EXPECT_TRUE(fs::exists(socket));
    kill(program.process, SIGINT);
    EXPECT_THAT(program.Rest(), HasSubstr("control      " + socket));
    EXPECT_EQ(program.ExitStatus(), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(link)));
    EXPECT_FALSE(fs::exists(socket));
}

TEST(Program, LinkReplacesAnOldLinkAndNothingElse)
{
    const Scratch directory;
    const std::string link = directory.path + "/reader";
    fs::create_symlink("/dev/pts/999999", link);
    {
        Program program({"--profile", ProfileFile(directory), "--link", link});
        const std::string device = program.Ready(); // not before: then the link is made
        EXPECT_EQ(fs::read_symlink(link), device);
    }
    fs::remove(link);
    WriteFile(link, "precious");
    const Ended ended = RunToEnd({"--profile", ProfileFile(directory), "--link", link});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output,
              "vantor-reader: link " + link + ": exists and is no link to a terminal\n");
    EXPECT_EQ(testing_support::ReadFile(link), "precious");
}

TEST(Program, SpeaksWhatItIsTold)
{
    const Scratch directory;
    const std::vector<std::pair<std::vector<std::string>, std::string>> choices = {
        {{"--speak", "none"}, "none"},
        {{"--speak", "union"}, "union"},
        {{"--krel-only"}, "krel"},
        {{"--union-only"}, "union"}};
    for (const auto &[choice, expected] : choices)
    {
        std::vector<std::string> arguments = choice;
        arguments.insert(arguments.end(), {"--profile", ProfileFile(directory)});
        Program program(arguments);
        program.Ready();
        EXPECT_THAT(program.Line(), StartsWith("reader       framing " + expected + ","));
    }
}

TEST(Program, EndsWhenNobodyReadsItsOutput)
{
    const Scratch directory;
    Program program({"--profile", ProfileFile(directory)});
    const std::string device = program.Ready();
    close(program.output);
    program.output = -1;
    Host(device).Exchange("6002550136\003");
    EXPECT_EQ(program.ExitStatus(), 0);
}

TEST(Program, ListsAndPrintsItsProfiles)
{
    const Ended list = RunToEnd({"--list-profiles"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.output, HasSubstr("default "));
    const Ended print = RunToEnd({"--print-profile", "default"});
    EXPECT_EQ(print.status, 0);
    EXPECT_EQ(print.output,
              testing_support::ReadFile(VANTOR_SOURCE_DIR "/vreader/profiles/default.json"));
}

TEST(Program, TellsWhyItCannotStart)
{
    EXPECT_EQ(RunToEnd({"--profile", "nobody"}).status, 1);
    EXPECT_EQ(RunToEnd({"--profile", "nobody"}).output,
              "vantor-reader: no profile \"nobody\": neither built in nor a readable file\n");
    EXPECT_EQ(RunToEnd({"--control", "/nowhere/socket"}).status, 1);
    EXPECT_EQ(RunToEnd({"--print-profile", "nobody"}).status, 1);
}

TEST(Program, WrongUseHasStatus2)
{
    EXPECT_EQ(RunToEnd({"--colour"}).status, 2);
    EXPECT_EQ(RunToEnd({"--speak", "french"}).status, 2);
    EXPECT_EQ(RunToEnd({"--krel-only", "--union-only"}).status, 2);
    EXPECT_EQ(RunToEnd({"--speak", "both", "--krel-only"}).status, 2);
    EXPECT_EQ(RunToEnd({"--quiet", "--trace"}).status, 2);
    EXPECT_EQ(RunToEnd({"somewhere"}).status, 2);
    const Ended help = RunToEnd({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("vantor-reader --profile my-cards.json"));
}

TEST(ReaderProgramOnUsb, SaysWhereItListensAndEndsOnSigterm)
{
    Program program({"usb", "--listen", "0", "--vid", "0x1234", "--pid", "51966", "--profile",
                     "empty", "--speak", "union"});
    EXPECT_EQ(program.Line(), "ready USB 1234:cafe");
    EXPECT_EQ(program.Line(), "reader       framing union, 9600 baud, profile empty");
    EXPECT_THAT(program.Line(),
                testing::MatchesRegex("USB/IP       usbip --tcp-port [0-9]+ attach --remote "
                                      "127.0.0.1 --busid 1-1"));
    kill(program.process, SIGTERM);
    EXPECT_EQ(program.ExitStatus(), 0);
}

TEST(ReaderProgramOnUsb, WrongOptionsAreRefused)
{
    const std::vector<std::vector<std::string>> wrong = {
        {"usb", "--attach", "--listen", "0"},
        {"usb", "--listen", "0", "--pace"},
        {"usb", "--listen", "0", "--link", "/tmp/x"},
        {"usb", "--vid", "65536"},
        {"usb", "--pid", "reader"}};
    for (const std::vector<std::string> &words : wrong)
    {
        Program program(words);
        program.Rest();
        EXPECT_EQ(program.ExitStatus(), 2) << words[1];
    }
    Program program({"usb", "--listen", "nowhere"});
    EXPECT_EQ(program.Line(), "vantor-reader: \"nowhere\" is no address to listen on; expected "
                              "[ADDRESS:]PORT");
    EXPECT_EQ(program.ExitStatus(), 1);
}

// A shell runs the program with its standard output on a device that takes nothing.
static Ended RunOnFullDisk(const std::string &words)
{
    const Scratch directory;
    const std::string errors = directory.path + "/errors";
    const int status =
        std::system(("timeout 20 " VANTOR_BIN_DIR "/" + words + " >/dev/full 2>" + errors).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testing_support::ReadFile(errors)};
}

TEST(Program, OutputThatCannotBeWrittenIsAFailure)
{
    for (const char *words :
         {"vantor-reader", "vantor-reader --quiet", "vantor-reader --help",
          "vantor-reader --list-profiles", "vantor-reader --print-profile default"})
    {
        const Ended ended = RunOnFullDisk(words);
        EXPECT_EQ(ended.status, 1) << words;
        EXPECT_EQ(ended.output, "vantor-reader: the output could not be written: "
                                "No space left on device\n")
            << words;
    }
    const Ended issuer = RunOnFullDisk("vantor-issuer --help");
    EXPECT_EQ(issuer.status, 1);
    EXPECT_EQ(issuer.output,
              "vantor-issuer: the answer could not be written: No space left on device\n");
}
