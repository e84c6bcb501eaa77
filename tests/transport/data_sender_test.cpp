#include "transport/data_sender.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "transport/http_data_sender.h"

namespace Tav {
namespace {

using Testing::CapturedLog;

std::vector<uint8_t> Gzip(const std::string& text) {
  MemoryOutputStream compressed;
  GZipOutputStream gzip(&compressed);
  gzip.Write(text.data(), text.size());
  gzip.Flush();
  return compressed.Join();
}

int32_t SendText(DataSender* sender, const std::string& text) {
  const std::vector<uint8_t> body = Gzip(text);
  return sender->Send(body.data(), body.size(), false);
}

class FileDataSenderTest : public testing::Test {
 protected:
  std::string Url(const char* name) const { return "file://" + folder.Path(name); }

  // Read in text mode, as it was written.
  std::string Text(const char* name) const {
    std::ifstream file(folder.Root() / name);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  const Testing::TempFolder folder;
  CapturedLog log;
};

TEST_F(FileDataSenderTest, WritesOneExpandedBodyALine) {
  folder.Put("out.json", "left over");
  // Open and an empty body do not touch the file.
  const auto sender = CreateDataSender("FILE://" + Url("out.json?x=1").substr(7));
  EXPECT_EQ(sender->Open(), 0);
  EXPECT_EQ(sender->Send("", 0, false), 0);
  EXPECT_EQ(Text("out.json"), "left over");

  const std::string big(100000, 'b');
  EXPECT_EQ(SendText(sender.get(), "{\"first\":1}"), 0);
  EXPECT_EQ(Text("out.json"), "{\"first\":1}\n");
  sender->Close();
  EXPECT_EQ(SendText(sender.get(), big), 0);
  EXPECT_EQ(Text("out.json"), "{\"first\":1}\n" + big + "\n");
  EXPECT_EQ(sender->Send("not gzip", 8, false), 0);
  EXPECT_EQ(log.Take(), std::vector<std::string>{"Gzip expand failed - GZip inflate error -3"});
}

TEST_F(FileDataSenderTest, StopsAt16Megabytes) {
  const std::string large((16 << 20) + 5000, 'b');
  const auto sender = CreateDataSender(Url("out.json"));
  EXPECT_EQ(SendText(sender.get(), large), 0);
  EXPECT_EQ(SendText(sender.get(), "next"), 0);
  EXPECT_TRUE(Text("out.json") == large.substr(0, 16 << 20) + "\nnext\n");
  EXPECT_EQ(log.Take(),
            std::vector<std::string>{"Gzip expand failed - GZip text beyond 16777216 bytes"});
  folder.Put("settings.json", large);
  EXPECT_EQ(CreateDataSender(Url("settings.json"))->Fetch(), "");
  EXPECT_EQ(log.Take(),
            std::vector<std::string>{"warning: Setting file is too long. Stopped reading it"});
}

TEST_F(FileDataSenderTest, UnwritableFileIsTriedOnceAndNeverFails) {
  const auto sender = CreateDataSender(Url("missing/out.json"));
  EXPECT_EQ(SendText(sender.get(), "1"), 0);
  std::filesystem::create_directories(folder.Root() / "missing");
  EXPECT_EQ(SendText(sender.get(), "2"), 0);
  EXPECT_EQ(log.Take(), std::vector<std::string>{"Could not create logger file"});
  EXPECT_FALSE(std::filesystem::exists(folder.Root() / "missing/out.json"));
}

TEST_F(FileDataSenderTest, FetchesTheWholeFile) {
  const std::string text = std::string(5000, 's') + "\nend";
  std::ofstream(folder.Root() / "settings.json") << text;
  EXPECT_EQ(CreateDataSender(Url("settings.json?N=a&V=1"))->Fetch(), text);
  EXPECT_EQ(log.Take(), std::vector<std::string>{});
  EXPECT_EQ(CreateDataSender(Url("none.json"))->Fetch(), "");
  EXPECT_EQ(log.Take(), std::vector<std::string>{"Could not open setting file"});
}

// The arguments of the hook's calls; "open" for a null pointer.
std::vector<std::string> hookCalls;

TEST(TestDataSenderTest, PassesExpandedBodiesToTheHook) {
  CapturedLog log;
  TestDataSender::SetHook([](const uint8_t* data, size_t length) -> int32_t {
    hookCalls.push_back(data ? std::string(data, data + length) : "open");
    return static_cast<int32_t>(hookCalls.size()) + 40;
  });
  const auto sender = CreateDataSender("Test://anything");
  EXPECT_EQ(sender->Open(), 41);
  EXPECT_EQ(SendText(sender.get(), "{\"rt\":[]}"), 42);
  EXPECT_EQ(sender->Send("", 0, false), 0);
  EXPECT_EQ(sender->Send("garbage", 7, false), 43);
  EXPECT_EQ(hookCalls, (std::vector<std::string>{"open", "{\"rt\":[]}", ""}));
  EXPECT_EQ(log.Take(), std::vector<std::string>{"Gzip expand failed - GZip inflate error -3"});
  EXPECT_EQ(sender->Fetch(), "");

  TestDataSender::SetHook(nullptr);
  EXPECT_EQ(sender->Open(), 0);
  EXPECT_EQ(SendText(sender.get(), "{}"), 0);
  EXPECT_EQ(hookCalls.size(), 3u);
}

TEST(CreateDataSenderTest, SelectsTheSenderByScheme) {
  // Of all senders, only that one sends nothing before Open.
  const auto isHttp = [](const char* url) {
    return SendText(CreateDataSender(url).get(), "{}") != 0;
  };
  for (const char* url : {"http://h/", "HTTPS://h/", "", "file:/", "null:/x", " file://x"}) {
    EXPECT_TRUE(isHttp(url)) << url;
  }
  for (const char* url : {"file://", "NULL://", "null://x", "tESt://"}) {
    EXPECT_FALSE(isHttp(url)) << url;
  }
  const auto nothing = CreateDataSender("Null://");
  EXPECT_EQ(nothing->Open(), 0);
  EXPECT_EQ(nothing->Send("not gzip", 8, true), 0);
  EXPECT_EQ(nothing->Fetch(), "");
}

}  // namespace
}  // namespace Tav
