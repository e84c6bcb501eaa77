#include <atomic>
#include <string>
#include <utility>

#include "model/handles.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

using ValuesTest = TableTest;

// Stops the session thread in front of all values that are handed over after Initialize.
class ClosedGate {
 public:
  explicit ClosedGate(const TavEntryTable& tav) {
    open = false;
    tav.SetLineSink(TavSinkPointer(Receive));
  }
  ~ClosedGate() { Open(); }
  ClosedGate(const ClosedGate&) = delete;
  ClosedGate& operator=(const ClosedGate&) = delete;

  static void Open() {
    open = true;
    open.notify_all();
  }

 private:
  static void TAV_CALL Receive(const char* line) {
    if (std::string_view(line).ends_with(" SM: Client")) {
      open.wait(false);
    }
  }

  static inline std::atomic<bool> open{true};
};

TEST_F(ValuesTest, EveryMisuseHasItsMessage) {
  TavValue_s* const map = tav.NewMapValue();
  TavValue_s* const list = tav.NewListValue();
  TavEvent_s* const event = tav.NewEvent("event");
  tav.AddStringValue(nullptr, "n", "v");
  tav.AddStringValue(list, "n", "v");
  tav.AddStringValue(map, "", "v");
  tav.AddNumericValue(nullptr, "n", 1);
  tav.AddNumericValue(list, "n", 1);
  tav.AddNumericValue(map, "", 1);
  tav.AddListValue(nullptr, "i");
  tav.AddListValue(map, "i");
  tav.AddListValue(list, "");
  tav.AddProductInfoValue("std-Key", map);
  tav.AddProductInfoValue("Key", nullptr);
  tav.AddProductInfoValue("Key", reinterpret_cast<TavValue_s*>(event));
  tav.AddProductInfo("my-std-key", "v");
  tav.AddNumericProductInfo("", 1);
  map->magic = kHandleConsumed;
  list->magic = kHandleConsumed;
  tav.AddStringValue(map, "n", "v");
  tav.AddNumericValue(map, "n", 1);
  tav.AddListValue(list, "i");
  tav.AddProductInfoValue("Key", map);
  tav.AddProductInfoValue("Key", list);
  EXPECT_EQ(LiveValues(), 2u);
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavAddStringValue called with a null map",
                   "error: Tav: TavAddStringValue called with a bad map",
                   "error: Tav: TavAddStringValue called with a bad name",
                   "error: Tav: TavAddNumericValue called with a null map",
                   "error: Tav: TavAddNumericValue called with a bad map",
                   "error: Tav: TavAddNumericValue called with a bad name",
                   "error: Tav: TavAddListValue called with a null list",
                   "error: Tav: TavAddListValue called with a bad list",
                   "error: Tav: TavAddListValue called with a bad name",
                   "error: Tav: TavAddProductInfoValue failed because of bad input key: std-Key",
                   "error: Tav: TavAddProductInfoValue called with a null value",
                   "error: Tav: TavAddProductInfoValue called with a bad value",
                   "warning: Tav: AddProductInfo failed because of bad input key: 'my-std-key'",
                   "warning: Tav: AddProductInfo failed because of bad input key: ''",
                   "error: Tav: TavAddStringValue called with a re-used map",
                   "error: Tav: TavAddNumericValue called with a re-used map",
                   "error: Tav: TavAddListValue called with a re-used list",
                   "error: Tav: TavAddProductInfoValue called with a re-used value",
                   "error: Tav: TavAddProductInfoValue called with a re-used value"}));
  FreeHandle(event);
  FreeHandle(map);
  FreeHandle(list);
}

TEST_F(ValuesTest, AValueHandedOverTwiceIsSentOnce) {
  ClosedGate gate(tav);
  Start();
  TavValue_s* const list = tav.NewListValue();
  tav.AddListValue(list, "a");
  tav.AddProductInfoValue("List", list);
  const std::string reused = "error: Tav: TavAddProductInfoValue called with a re-used value";
  tav.AddProductInfoValue("List", list);
  EXPECT_EQ(Complaints(), Lines{reused});
  EXPECT_EQ(LiveValues(), 1u) << "the queue owns the value";
  gate.Open();
  EXPECT_EQ(tav.Commit(), 0);
  EXPECT_EQ(LiveValues(), 0u);
  ASSERT_EQ(Records().size(), 1u);
  const JsonPtr record = std::move(Records().back());
  EXPECT_NE(json_object_get(json_object_get(record.Get(), "pe"), "List:a"), nullptr);

  // A value that the session thread has freed is recognised, and is no later value.
  TavValue_s* const next = tav.NewListValue();
  tav.AddProductInfoValue("List", list);
  tav.AddListValue(list, "b");
  EXPECT_EQ(Complaints(),
            (Lines{reused, "error: Tav: TavAddListValue called with a re-used list"}));
  EXPECT_EQ(LiveValues(), 1u);
  FreeHandle(next);
}

// A list is an object with its items as keys; of a known product only what changed is sent.
TEST_F(ValuesTest, ProductInformationIsKeptAndReplaced) {
  const auto environment = [] {
    return JsonPtr::Share(json_object_get(Records().back().Get(), "pe"));
  };
  tav.AddProductInfo("Key", "first");
  tav.AddProductInfo("  Key ", "second");
  TavValue_s* const list = tav.NewListValue();
  for (const char* const item : {"b", "a", "b"}) {
    tav.AddListValue(list, item);
  }
  tav.AddProductInfoValue("List", list);
  Start();
  Stop();
  EXPECT_EQ(TextAt(environment().Get(), "Key"), "second");
  EXPECT_NE(json_object_get(environment().Get(), "List:a"), nullptr);
  EXPECT_NE(json_object_get(environment().Get(), "List:b"), nullptr);
  Start();
  tav.AddProductInfo(" Key", "third");
  tav.AddNumericProductInfo("Seats", 6);
  Stop();
  EXPECT_EQ(TextAt(environment().Get(), "Key"), "third");
  EXPECT_EQ(json_real_value(json_object_get(environment().Get(), "Seats")), 6);
  EXPECT_EQ(json_object_get(environment().Get(), "List:a"), nullptr);
}

}  // namespace
}  // namespace Tav::Testing
