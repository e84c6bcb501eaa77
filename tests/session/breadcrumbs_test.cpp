#include "session/breadcrumbs.h"

#include <gtest/gtest.h>

#include <string>

#include "model/event_payload.h"
#include "model/handles.h"
#include "model/record_keys.h"

namespace Tav {
namespace {

class BreadcrumbsTest : public testing::Test {
 protected:
  BreadcrumbsTest() { breadcrumbs_.SetLength(2); }

  void Mark(const std::string& name, const std::string& session) {
    TavEvent_s* const marker = CreateEvent(HandleKind::Marker, name, session);
    breadcrumbs_.Update(*marker);
    FreeHandle(marker);
  }
  void Command(const std::string& name, const std::string& session) {
    TavEvent_s* const command = CreateEvent(HandleKind::Command, "std-Cmd", session);
    AddEventString(*command, Key::kCommandName, name);
    breadcrumbs_.Update(*command);
    FreeHandle(command);
  }
  // What an error of the session would carry, as "places;commands;" of comma-separated names.
  std::string ErrorIn(const std::string& session) {
    TavEvent_s* const error = CreateEvent(HandleKind::Error, "std-Error", session);
    breadcrumbs_.Update(*error);
    std::string text;
    for (const auto& key : {Key::kPlaces, Key::kCommands}) {
      json_t* const names = json_object_get(error->payload.Get(), std::string(key).c_str());
      for (size_t i = 0; i < json_array_size(names); ++i) {
        text += std::string(i == 0 ? "" : ",").append(JsonStringView(json_array_get(names, i)));
      }
      text += ';';
    }
    FreeHandle(error);
    return text;
  }

  Breadcrumbs breadcrumbs_;
};

TEST_F(BreadcrumbsTest, AnErrorCarriesTheLastNamesOfItsSession) {
  for (const char* const name : {"a", "b", "c"}) {
    Mark(name, "one");
  }
  Command("x", "one");
  Command("y", "two");
  Mark("$i", "one");
  EXPECT_EQ(ErrorIn("one"), "b,c;x;");
  EXPECT_EQ(ErrorIn("two"), ";y;");
  Mark("$e", "one");
  EXPECT_EQ(ErrorIn("one"), ";;");
  EXPECT_EQ(ErrorIn("two"), ";y;");
}

// With markers switched off, "$e" never arrives.
TEST_F(BreadcrumbsTest, SessionsThatNeverEndAreForgottenInTheEnd) {
  const auto number = [](size_t i) { return "s" + std::to_string(i); };
  const size_t maximum = 256;
  for (size_t i = 0; i < maximum; ++i) {
    Command("x", number(i));
  }
  EXPECT_EQ(ErrorIn(number(0)), ";x;");  // a use, like a command
  Command("x", "one more");
  Command("x", "and another");
  EXPECT_EQ(ErrorIn(number(1)), ";;");
  EXPECT_EQ(ErrorIn(number(2)), ";;");
  EXPECT_EQ(ErrorIn(number(0)), ";x;");
  EXPECT_EQ(ErrorIn(number(3)), ";x;");
  EXPECT_EQ(ErrorIn("one more"), ";x;");
}

}  // namespace
}  // namespace Tav
