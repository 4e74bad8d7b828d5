// The reader on a line that is no terminal: bytes handed in, answers handed out.
#include "vreader/bench.h"

#include <condition_variable>
#include <mutex>

using namespace vreader_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

// Collects what the reader sends, call by call.
struct Collector
{
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::string> calls;

    vreader::SendBytes Sender()
    {
        return [this](const uint8_t *bytes, size_t count)
        {
            const std::lock_guard<std::mutex> guard(lock);
            calls.emplace_back(bytes, bytes + count);
            changed.notify_all();
        };
    }
    std::vector<std::string> Calls(size_t count)
    {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait_for(guard, std::chrono::seconds(5), [&] { return calls.size() >= count; });
        return calls;
    }
};

struct LineBench
{
    Collector collector;
    vreader::RunningReader *reader = nullptr;

    LineBench()
    {
        std::string error;
        vreader::ReaderOptions options;
        options.profileText = kProfile;
        options.pace = true; // means nothing here: the line has a speed of its own
        reader = vreader::StartReaderOnLine(options, collector.Sender(), &error);
        EXPECT_NE(reader, nullptr) << error;
    }
    ~LineBench()
    {
        vreader::StopReader(reader);
    }
    LineBench(const LineBench &) = delete;
    LineBench &operator=(const LineBench &) = delete;

    void Give(const std::string &bytes) const
    {
        vreader::GiveBytes(reader, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
};

} // namespace

TEST(OtherLine, HasNoTerminalName)
{
    const LineBench bench;
    EXPECT_EQ(vreader::TerminalName(bench.reader), "");
}

TEST(OtherLine, AnAnswerIsSentInOneCall)
{
    LineBench bench;
    bench.Give("60028100E3\003");
    EXPECT_THAT(bench.collector.Calls(1), ElementsAre("60090052454144455220377B\003"));
    bench.Give("\0020005322200000010\003");
    EXPECT_EQ(bench.collector.Calls(2).back(), "\002000600003;0214507=\003");
}

TEST(OtherLine, ACommandMayComeInReports)
{
    LineBench bench;
    bench.Give("6002");
    bench.Give("8100E3");
    bench.Give("\003");
    EXPECT_THAT(bench.collector.Calls(1), ElementsAre("60090052454144455220377B\003"));
    EXPECT_EQ(vreader::Control(bench.reader, "received"), "ok 3630303238313030453303");
}

TEST(OtherLine, CutMeansSeveralCalls)
{
    LineBench bench;
    vreader::Control(bench.reader, "fault cut 4");
    bench.Give("6002550136\003");
    EXPECT_THAT(bench.collector.Calls(3), ElementsAre("6001", "A1C0", "\003"));
}

TEST(OtherLine, UnpluggedItTakesAndGivesNothing)
{
    LineBench bench;
    EXPECT_EQ(vreader::Control(bench.reader, "unplug"), "ok");
    bench.Give("60028100E3\003");
    EXPECT_EQ(vreader::Control(bench.reader, "received"), "ok ");
    EXPECT_EQ(vreader::Control(bench.reader, "plug"), "ok");
    bench.Give("6002550136\003");
    EXPECT_THAT(bench.collector.Calls(1), ElementsAre("6001A1C0\003"));
}

TEST(OtherLine, TheReceiverMayGiveBytesAndUseTheControlLanguage)
{
    vreader::RunningReader *reader = nullptr;
    std::mutex lock;
    std::vector<std::string> answers;
    std::string error;
    vreader::ReaderOptions options;
    options.profileText = kProfile;
    const auto receive = [&](const uint8_t *bytes, size_t count)
    {
        const std::lock_guard<std::mutex> guard(lock);
        answers.emplace_back(bytes, bytes + count);
        if (answers.size() == 1)
        {
            const std::string next = "6002E10182\003";
            vreader::Control(reader, "swap contact other");
            vreader::GiveBytes(reader, reinterpret_cast<const uint8_t *>(next.data()), next.size());
        }
    };
    {
        const std::lock_guard<std::mutex> guard(lock);
        reader = vreader::StartReaderOnLine(options, receive, &error);
    }
    const std::string first = "6002550136\003";
    vreader::GiveBytes(reader, reinterpret_cast<const uint8_t *>(first.data()), first.size());
    EXPECT_EQ(vreader::Control(reader, "wait 2"), "ok");
    vreader::StopReader(reader);
    EXPECT_THAT(answers, ElementsAre("6001A1C0\003", "6003003B0058\003"));
}

TEST(OtherLine, ModeIsAnsweredOkUnlessTheProfileSaysOtherwise)
{
    LineBench bench;
    bench.Give("\033$S4");
    EXPECT_THAT(bench.collector.Calls(1), ElementsAre("OK"));

    Collector quiet;
    std::string error;
    vreader::ReaderOptions options;
    options.profileText = R"({"reader": {"modeAnswer": ""}})";
    vreader::RunningReader *reader = vreader::StartReaderOnLine(options, quiet.Sender(), &error);
    ASSERT_NE(reader, nullptr) << error;
    vreader::GiveBytes(reader, reinterpret_cast<const uint8_t *>("\033$S4"), 4);
    EXPECT_EQ(vreader::Control(reader, "wait 1"), "ok");
    EXPECT_EQ(vreader::Control(reader, "sent"), "ok ");
    vreader::StopReader(reader);
}

TEST(OtherLine, NeedsAWayToSend)
{
    std::string error;
    EXPECT_EQ(vreader::StartReaderOnLine({}, nullptr, &error), nullptr);
    EXPECT_NE(error, "");
}
