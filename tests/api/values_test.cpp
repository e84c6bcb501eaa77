#include <string>

#include "model/handles.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

using ValuesTest = TableTest;

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
  // Frees both, as a leak checker sees.
  tav.AddProductInfoValue("Key", map);
  tav.AddProductInfoValue("Key", list);
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
