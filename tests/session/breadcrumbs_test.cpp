#include "session/breadcrumbs.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>
#include <vector>

#include "model/handles.h"
#include "model/record_keys.h"
#include "support/failing_json.h"
#include "util/value_codec.h"

namespace Tav {
namespace {

using Testing::FailingJson;

class BreadcrumbsTest : public testing::Test {
 protected:
  BreadcrumbsTest() { breadcrumbs_.SetLength(2); }

  JsonPtr Update(HandleKind kind, const std::string& name, const std::string& session) {
    LoggedEvent event;
    event.fields.kind = kind;
    event.fields.session = session;
    event.fields.name = name;
    if (kind == HandleKind::Command) {
      event.fields.name = "std-Cmd";
      event.properties.Reset(json_object());
      SetJsonMember(event.properties.Get(), Key::kCommandName, MakeJsonString(name));
    }
    breadcrumbs_.Update(event);
    return std::move(event.properties);
  }
  void Mark(const std::string& name, const std::string& session) {
    Update(HandleKind::Marker, name, session);
  }
  void Command(const std::string& name, const std::string& session) {
    Update(HandleKind::Command, name, session);
  }
  // What an error of the session would carry, as "places;commands;" of comma-separated names.
  std::string ErrorIn(const std::string& session) {
    const JsonPtr properties = Update(HandleKind::Error, "std-Error", session);
    std::string text;
    for (const auto& key : {Key::kPlaces, Key::kCommands}) {
      json_t* const names = json_object_get(properties.Get(), std::string(key).c_str());
      for (size_t i = 0; i < json_array_size(names); ++i) {
        text += std::string(i == 0 ? "" : ",").append(JsonStringView(json_array_get(names, i)));
      }
      text += ';';
    }
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

TEST_F(BreadcrumbsTest, AReturnToTheMarkForgetsWhatCameAfterIt) {
  const auto fill = [this] {
    for (int i = 0; i < 254; ++i) {
      Mark("z", "s" + std::to_string(i));
    }
  };
  fill();
  Mark("a", "one");
  Mark("b", "one");
  Command("x", "two");
  breadcrumbs_.SetMark();
  Mark("c", "one");
  Mark("$e", "two");
  Command("y", "two");
  Mark("n", "new");  // in the place of the oldest session
  Mark("m", "newer");
  Mark("$e", "newer");
  EXPECT_EQ(ErrorIn("one"), "b,c;;");
  EXPECT_EQ(ErrorIn("s0"), ";;");
  breadcrumbs_.ReturnToMark();
  EXPECT_EQ(ErrorIn("one"), "a,b;;");
  EXPECT_EQ(ErrorIn("two"), ";x;");
  EXPECT_EQ(ErrorIn("new") + ErrorIn("newer"), ";;;;");
  EXPECT_EQ(ErrorIn("s0"), "z;;");
  breadcrumbs_.SetMark();
  fill();
  breadcrumbs_.SetMark();
  breadcrumbs_.ReturnToMark();
  EXPECT_EQ(ErrorIn("s253"), "z,z;;");
}

// The event stays pending then, and its record is built later.
TEST_F(BreadcrumbsTest, AnErrorIsWholeOrNotBuiltWhenMemoryRunsOut) {
  Mark("place", "one");
  JsonPtr own(json_object());
  SetJsonMember(own.Get(), "first", MakeJsonString("1"));
  SetJsonMember(own.Get(), "second", MakeJsonString("2"));
  std::vector<std::byte> members(100);
  ByteWriter writer(members);
  WriteMembers(writer, own.Get());
  bool failed = true;
  for (int successes = 0; failed; ++successes) {
    LoggedEvent event;
    event.fields.kind = HandleKind::Error;
    event.fields.session = "one";
    event.members = std::span(members).first(writer.Size());
    bool thrown = false;
    {
      const FailingJson failing(successes);
      try {
        breadcrumbs_.Update(event);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      failed = failing.Failed();
    }
    EXPECT_EQ(thrown, failed) << successes;
    for (const char* const key : {"first", "second", "std-Place"}) {
      EXPECT_TRUE(thrown || json_object_get(event.properties.Get(), key))
          << key << ' ' << successes;
    }
  }
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
