// What the page asks for, without HTTP.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include "gateway/api.h"
#include "gateway/digest.h"
#include "gateway/gateway_fixture.h"
#include "gateway/page/page_files.h"
#include "gateway/record_reader.h"
#include "support/temp_folder.h"

namespace Gateway {
namespace {

class EchoingStore final : public Store {
 public:
  void Add(std::shared_ptr<const Record> /*record*/, Done done) override { done({}); }
  Answer Ask(std::string_view question, const Parameters& parameters) override {
    std::string text(question);
    for (const auto& [name, value] : parameters) {
      text += ' ' + name + '=' + value;
    }
    return {200, text};
  }
  std::int64_t Forget(std::string_view /*digest*/, std::string& /*error*/) override { return 0; }
};

class PageApiTest : public testing::Test {
 protected:
  PageApiTest() { folder_.Put("settings.json", "{}"); }

  ApiAnswer Send(const char* method,
                 const std::string& path,
                 std::multimap<std::string, std::string> parameters = {},
                 const std::string& body = "") {
    return api_.Handle({method, path, std::move(parameters), body});
  }
  void Receive(const std::string& text) {
    records_.Add(ReadRecord({"/", GzipHeaders(), Gzip(text)}));
  }

  Tav::Testing::TempFolder folder_;
  ReceivedRecords records_;
  FaultPlan faults_;
  EchoingStore store_;
  SettingsFile settings_{folder_.Path("settings.json")};
  Api api_{records_, faults_, [] {}, &store_, &settings_};
};

TEST_F(PageApiTest, ListsTheNewestRecordsWithTheirFirstEvents) {
  for (const char* label : {"one", "two", "three"}) {
    Receive(GoodRecord(label));
  }
  std::string error;
  const JsonPtr answer =
      ParseJson(Send("GET", "/api/recent", {{"after", "1"}, {"limit", "1"}}).body, error);
  EXPECT_EQ(json_integer_value(json_object_get(answer.get(), "newest")), 3);
  const json_t* records = json_object_get(answer.get(), "records");
  ASSERT_EQ(json_array_size(records), 1U);
  const json_t* record = json_array_get(records, 0);
  EXPECT_EQ(json_integer_value(json_object_get(record, "number")), 3);
  EXPECT_EQ(TextOf(json_object_get(record, "product")), "Quendel Writer");
  EXPECT_EQ(TextOf(json_object_get(record, "version")), "4.2");
  EXPECT_EQ(TextOf(json_object_get(record, "component")), "Viewer");
  EXPECT_EQ(json_array_size(json_object_get(record, "rt")), 3U);
  EXPECT_EQ(json_integer_value(json_object_get(record, "left_out")), 0);
  EXPECT_EQ(Send("GET", "/api/recent", {{"after", "3"}}).body, R"({"newest":3,"records":[]})");
  EXPECT_EQ(Send("GET", "/api/recent", {{"after", "-1"}}).status, 400);
}

TEST_F(PageApiTest, BoundsTheEventsOfAnAnnouncedRecord) {
  std::string text = "{\"rt\":[\n";
  for (int i = 0; i < 300; ++i) {
    text += "{\"m\":\r\n\"a\"},";
  }
  text.back() = ']';
  const std::string many = LiveRecordJson(ReadRecord({"/", GzipHeaders(), Gzip(text + '}')}));
  EXPECT_NE(many.find("\"left_out\":100}"), std::string::npos);
  EXPECT_EQ(many.find_first_of("\r\n"), std::string::npos) << "an event stream's line";
  const std::string large = R"({"rt":[{"m":")" + std::string(70000, 'x') + R"("},{"m":"small"}]})";
  const std::string fitting = LiveRecordJson(ReadRecord({"/", GzipHeaders(), Gzip(large)}));
  EXPECT_LT(fitting.size(), 5000U);
  EXPECT_NE(fitting.find(R"("rt":[{"m":"small"}],"left_out":1})"), std::string::npos);
}

TEST_F(PageApiTest, AsksTheStoreWithBoundedParameters) {
  EXPECT_EQ(Send("GET", "/api/ask/names", {{"product", "a&b"}, {"limit", "5"}}).body,
            "names limit=5 product=a&b");
  EXPECT_EQ(Send("GET", "/api/ask/names", {{"product", "a"}, {"product", "b"}}).status, 400);
  EXPECT_EQ(Send("GET", "/api/ask/names", {{"product", std::string(1025, 'a')}}).status, 400);
  std::multimap<std::string, std::string> many;
  for (int i = 0; i < 17; ++i) {
    many.emplace(std::to_string(i), "");
  }
  EXPECT_EQ(Send("GET", "/api/ask/names", many).status, 400);
  Api inMemory(records_, faults_, [] {});
  const ApiAnswer answer = inMemory.Handle({"GET", "/api/ask/products", {}, ""});
  EXPECT_EQ(answer.status, 404);
  EXPECT_NE(answer.body.find("\"store\":\"memory\""), std::string::npos);
}

TEST_F(PageApiTest, ReplacesTheSettingsFile) {
  const std::string path = "/api/settings";
  EXPECT_NE(Send("GET", path).body.find(R"("text":"{}")"), std::string::npos);
  const std::string wrong = "{\"terminate_time\": 99}";
  EXPECT_EQ(Send("PUT", path, {{"check", "1"}}, wrong).status, 200);
  EXPECT_EQ(Send("PUT", path, {}, wrong).status, 400);
  EXPECT_EQ(settings_.Read(), "{}");

  const std::string right = "{\"terminate_time\": 9}\n";
  const std::string base = Sha256Hex("{}");
  EXPECT_EQ(Send("PUT", path, {{"base", base}}, right).status, 200);
  EXPECT_EQ(settings_.Read(), right);
  EXPECT_EQ(Send("PUT", path, {{"base", base}}, "{}").status, 409) << "somebody has changed it";
  EXPECT_EQ(settings_.Read(), right);
  const auto files = std::filesystem::directory_iterator(folder_.Root());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "no draft is left";

  Api withoutFile(records_, faults_, [] {});
  EXPECT_EQ(withoutFile.Handle({"GET", path, {}, ""}).status, 404);
  EXPECT_EQ(withoutFile.Handle({"PUT", path, {}, "{}"}).status, 404);
}

TEST_F(PageApiTest, ReplacesTheQueueOfFaults) {
  Send("POST", "/api/faults", {}, R"({"kind":"drop","count":3})");
  EXPECT_EQ(Send("POST", "/api/faults", {{"replace", "1"}}, "[]").body, "[]");
}

TEST(PageFilesTest, AreFoundByTheirPaths) {
  const auto page = FindPageFile("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->contentType, "text/html; charset=utf-8");
  EXPECT_TRUE(page->bytes.starts_with("<!doctype html>"));
  EXPECT_TRUE(page->bytes.ends_with("</html>\n"));
  const auto script = FindPageFile("/page/app.js");
  ASSERT_TRUE(script);
  EXPECT_EQ(script->contentType, "text/javascript; charset=utf-8");
  EXPECT_NE(script->etag, page->etag);
  ASSERT_TRUE(FindPageFile("/page/chart.js"));
  EXPECT_GT(FindPageFile("/page/chart.js")->bytes.size(), 100000U);
  for (const char* path : {"", "/page/", "/page/nothing.js", "/page/../app.js", "/app.js"}) {
    EXPECT_FALSE(FindPageFile(path)) << path;
  }
  EXPECT_TRUE(IsForBrowser("/", "text/html,application/xhtml+xml,*/*;q=0.8"));
  EXPECT_FALSE(IsForBrowser("/", "text/*")) << "the library asks whether the gateway is up";
}

}  // namespace
}  // namespace Gateway
