// The text of records. The input is a list of events with properties, as hosts build them; each
// event goes through the log, and the record is compressed and expanded again. The record must be
// JSON, with every event in its place and every property with its last value.
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz.h"
#include "model/event_properties.h"
#include "session/data_block.h"
#include "session/event_batch.h"
#include "streams/gzip_stream.h"
#include "support/logged_events.h"
#include "support/records.h"
#include "util/text.h"

namespace {

using namespace Tav;
using Fuzz::Input;
using Fuzz::Require;

// What the record must say of an event.
struct Expected {
  std::string name;  // as JSON text
  HandleKind kind = HandleKind::Event;
  std::map<std::string, std::string> properties;  // keys and values as JSON text
  int traceItems = 0;
};

std::string AsJson(std::string_view text) {
  const JsonPtr string = MakeJsonString(text);
  return Testing::Text(string.Get());
}

class Host {
 public:
  explicit Host(Input& input) : input_(input) {}

  void LogEvent() {
    constexpr HandleKind kKinds[] = {HandleKind::Event, HandleKind::Error, HandleKind::Command,
                                     HandleKind::Marker};
    const HandleKind kind = kKinds[input_.Below(4)];
    const std::string name = ToUtf8String(input_.CText().c_str(), true);
    TavEvent_s* const event = Testing::Event(name, kind);
    Expected expected{AsJson(name), kind, {}, 0};
    for (uint32_t count = input_.Below(8); count > 0; --count) {
      AddProperty(*event, expected);
    }
    if (event->discarded) {
      FreeHandle(event);
      return;
    }
    pending_.Append(Testing::AppendTo(log_, event));
    expected_.push_back(std::move(expected));
  }

  // Builds records of everything that was logged.
  void BuildRecords() {
    size_t next = 0;
    const UnsentChanges changes;
    builder_.SetMaxRecordSize(static_cast<int>(4096 + input_.Below(60000)));
    while (!pending_.Empty()) {
      const std::unique_ptr<BuiltRecord> record = builder_.BuildOneJsonRecord(pending_, changes);
      Require(record != nullptr, "events become a record");
      const std::string text = ExpandGZip(record->bytes);
      std::string reason;
      const std::string block = ToDataBlock(*record);
      const std::unique_ptr<BuiltRecord> again = FromDataBlock(block, reason);
      Require(again && again->bytes == record->bytes, "a record can be pulled and pushed");
      const JsonPtr json(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, nullptr));
      Require(static_cast<bool>(json), "a record is JSON without duplicate keys");
      Require(Testing::Text(json.Get()) == text, "a record is compact");
      const json_t* const events = json_object_get(json.Get(), "rt");
      Require(json_array_size(events) > 0, "a record with events has one");
      size_t index = 0;
      const json_t* event = nullptr;
      json_array_foreach(events, index, event) {
        Require(next < expected_.size(), "no event comes twice");
        Check(event, expected_[next++]);
      }
    }
    Require(next == expected_.size(), "no event is missing");
  }

 private:
  void AddProperty(TavEvent_s& event, Expected& expected) {
    const std::string name = ToUtf8String(input_.CText().c_str(), true);
    if (name.empty() || name.size() > 255) {
      return;
    }
    switch (input_.Below(4)) {
      case 0:
      case 1: {
        const std::string text = ToUtf8String(input_.CText().c_str(), false);
        AddEventString(event, name, text);
        expected.properties[AsJson(name)] = AsJson(text);
        break;
      }
      case 2: {
        const double number = input_.Take<double>();
        AddEventNumber(event, name, number);
        if (std::isfinite(number)) {
          const JsonPtr real(json_real(number));
          expected.properties[AsJson(name)] = Testing::Text(real.Get());
        }
        break;
      }
      case 3:
        if (expected.kind == HandleKind::Error && !event.properties.Empty() &&
            !name.starts_with("std-")) {
          AddEventTraceItem(event, name, ToUtf8String(input_.CText().c_str(), false), {});
          ++expected.traceItems;
        }
        break;
    }
  }

  static void Check(const json_t* event, const Expected& expected) {
    const char* const nameKey = expected.kind == HandleKind::Marker ? "g" : "m";
    Require(Testing::Text(json_object_get(event, nameKey)) == expected.name,
            "events keep their order and names");
    const json_t* const properties = json_object_get(event, "v");
    for (const auto& [key, value] : expected.properties) {
      const JsonPtr name(
          json_loadb(key.data(), key.size(), JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr));
      const std::string_view plain = JsonStringView(name.Get());
      if (!plain.starts_with("std-")) {
        const json_t* const found = json_object_getn(properties, plain.data(), plain.size());
        Require(Testing::Text(found) == value, "a property has its last value");
      }
    }
    if (expected.traceItems > 0 && !expected.properties.contains("\"std-Trace\"")) {
      Require(json_array_size(json_object_get(properties, "std-Trace")) ==
                  static_cast<size_t>(expected.traceItems),
              "every item of the trace is there");
    }
  }

  Input& input_;
  ProductInfo product_{"Product", "1.2", nullptr};
  ClientEnv client_;
  RecordBuilder builder_{product_, client_, Consent(false)};
  EventLog log_;
  PendingEvents pending_{log_.Reader()};
  std::vector<Expected> expected_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  Host host(input);
  for (int i = 0; i < 50 && !input.Empty(); ++i) {
    host.LogEvent();
  }
  host.BuildRecords();
  return 0;
}
