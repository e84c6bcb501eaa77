#include "support/table_fixture.h"

#include <algorithm>
#include <mutex>

#include "api/library.h"
#include "platform/set_environment.h"
#include "support/records.h"
#include "transport/data_sender.h"

namespace Tav::Testing {

namespace {

std::mutex arrivedLock;
std::vector<std::string> arrived;

int32_t Receive(const uint8_t* data, size_t length) {
  if (data != nullptr) {
    const std::lock_guard guard(arrivedLock);
    arrived.emplace_back(reinterpret_cast<const char*>(data), length);
  }
  return 0;
}

}  // namespace

TableTest::TableTest() {
  {
    const std::lock_guard guard(arrivedLock);
    arrived.clear();
  }
  TestDataSender::SetHook(Receive);
  folder_.PutClientStamp();
  SetEnvironment("TAV_GATEWAY", "test://");
  SetEnvironment("TAV_CONFIGURATOR", "null://");
  SetEnvironment("TAV_LOG_LEVEL", "TRACE");
  tav.SetMessageSink(TavSinkPointer(CapturedLog::Receive));
}

TableTest::~TableTest() {
  tav.Terminate();
  tav.SetMessageSink(nullptr);
  tav.SetLineSink(nullptr);
  // A request for a debug log outlives Terminate, but must not affect the next test.
  GetLibrary().deployment = Deployment();
  SetEnvironment("TAV_GATEWAY", nullptr);
  SetEnvironment("TAV_CONFIGURATOR", nullptr);
  SetEnvironment("TAV_LOG_LEVEL", nullptr);
  TestDataSender::SetHook(nullptr);
}

int TableTest::Initialize(const char* product,
                          const char* version,
                          const char* fullVersion,
                          int language) {
  GetLibrary().config.pauseInterval = 60;
  return tav.Initialize(product, version, fullVersion, language);
}

void TableTest::Start() {
  ASSERT_EQ(Initialize("Editor", "4.2", "4.2.0.118"), TAV_OK);
}

void TableTest::Collect() {
  for (std::string& line : log_.Take()) {
    lines_.push_back(std::move(line));
  }
}

Lines TableTest::Complaints() {
  Collect();
  Lines complaints;
  for (; complained_ < lines_.size(); ++complained_) {
    const std::string& line = lines_[complained_];
    if (line.starts_with("warning: ") || line.starts_with("error: ")) {
      complaints.push_back(line);
    }
  }
  return complaints;
}

bool TableTest::Logged(std::string_view line) {
  Collect();
  return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

std::string TableTest::LineWith(std::string_view part) {
  Collect();
  const auto found = std::find_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
    return line.find(part) != std::string::npos;
  });
  return found != lines_.end() ? *found : std::string();
}

std::vector<JsonPtr> TableTest::Records() {
  const std::lock_guard guard(arrivedLock);
  std::vector<JsonPtr> records;
  for (const std::string& text : arrived) {
    records.emplace_back(json_loadb(text.data(), text.size(), 0, nullptr));
    EXPECT_TRUE(records.back()) << text;
  }
  return records;
}

std::vector<JsonPtr> TableTest::Events() {
  std::vector<JsonPtr> events;
  for (const JsonPtr& record : Records()) {
    size_t index = 0;
    json_t* event = nullptr;
    json_array_foreach(json_object_get(record.Get(), "rt"), index, event) {
      events.push_back(JsonPtr::Share(event));
    }
  }
  return events;
}

std::vector<JsonPtr> TableTest::EventsNamed(std::string_view name) {
  std::vector<JsonPtr> events = Events();
  std::erase_if(events, [&](const JsonPtr& event) {
    return TextAt(event.Get(), "m") + TextAt(event.Get(), "g") != name;
  });
  return events;
}

Lines TableTest::NamesIn(std::string_view sessionId) {
  Lines names;
  for (const JsonPtr& event : Events()) {
    if (TextAt(event.Get(), "s") == sessionId) {
      names.push_back(TextAt(event.Get(), "m") + TextAt(event.Get(), "g"));
    }
  }
  return names;
}

std::string TableTest::PropertiesOf(std::string_view name) {
  const std::vector<JsonPtr> events = EventsNamed(name);
  EXPECT_EQ(events.size(), 1u) << name;
  return events.size() == 1 ? Text(json_object_get(events.front().Get(), "v")) : std::string();
}

}  // namespace Tav::Testing
