#include <string>

#include "model/handles.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class ValuesTest : public TableTest {};

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
  map->magic = kHandleHandedOver;
  list->magic = kHandleHandedOver;
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

class ProductInformationTest : public ValuesTest {
 protected:
  void Add(const char* text, double number, const char* item) {
    tav.AddProductInfo("Key", "replaced");
    tav.AddProductInfo("  Key ", text);
    tav.AddNumericProductInfo("Seats", number);
    TavValue_s* const list = tav.NewListValue();
    for (const char* const each : {"b", item, "b"}) {
      tav.AddListValue(list, each);
    }
    tav.AddProductInfoValue("List", list);
    TavValue_s* const map = tav.NewMapValue();
    tav.AddStringValue(map, "x", "y");
    tav.AddNumericValue(map, "z", number);
    tav.AddProductInfoValue("Map", map);
  }
  // The host's own values in the product environment that arrived last.
  static std::string Sent() {
    std::string sent;
    const std::vector<JsonPtr> records = Records();
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(json_object_get(records.at(records.size() - 1).Get(), "pe"), key, value) {
      if (!std::string_view(key).starts_with("std-") && std::string_view(key) != "t") {
        sent.append(key).append("=").append(Text(value)).append(" ");
      }
    }
    return sent;
  }
};

TEST_F(ProductInformationTest, IsKeptForTheInitialization) {
  Add("early", 1, "a");
  Start();
  Stop();
  EXPECT_EQ(Sent(), R"(Key="early" List:a="" List:b="" Map.x="y" Map.z=1.0 Seats=1.0 )");
}

TEST_F(ProductInformationTest, OfARunIsSentAsFarAsItChanged) {
  Add("early", 1, "a");
  Start();
  Stop();
  Start();
  Add("late", 2.5, "c");
  Stop();
  EXPECT_EQ(Sent(), R"(Key="late" List:c="" Map.z=2.5 Seats=2.5 )");
}

}  // namespace
}  // namespace Tav::Testing
