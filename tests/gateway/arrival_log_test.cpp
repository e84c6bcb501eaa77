#include "gateway/arrival_log.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

Record Read(std::string text) {
  return ReadRecord({"/", PlainHeaders(), std::move(text)});
}

// What the log writes for the record.
std::string Shown(const Record& record, bool withColours = false) {
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<std::FILE, Closer> file(std::tmpfile());
  ArrivalLog(file.get(), withColours).ShowRecord(record);
  std::string text(static_cast<std::size_t>(std::ftell(file.get())), '\0');
  std::rewind(file.get());
  EXPECT_EQ(std::fread(text.data(), 1, text.size(), file.get()), text.size());
  return text;
}

TEST(ArrivalLogTest, ShowsALinePerRecordAndPerEvent) {
  Record record = Read(GoodRecord());
  record.number = 7;
  record.doubleOf = 3;
  record.compressedSize = 12345;
  const std::string text = Shown(record);
  const std::string clock = "hh:mm:ss.mmm";
  const std::string sizes = "12.3 KB from " + std::to_string(GoodRecord().size()) + " bytes";
  EXPECT_EQ(
      text.substr(clock.size()),
      "  record 7  Quendel Writer 4.2  component Viewer  3 events  " + sizes +
          "  good  same as record 3\n"
          "    23:59:59.000  01234567  $b\n"
          "    23:59:59.001  01234567  Viewer_open         file=Größe \"1\" {[,  label=first  "
          "pages=0.1\n"
          "    23:59:59.002  89abcdef  Viewer_std-Error    std-ErrCode=E1  "
          "std-Trace=[2 items]  std-Place=[start]  std-Cmd=[Paste, Copy]\n");
}

TEST(ArrivalLogTest, MasksControlCharacters) {
  std::string text = GoodRecord(R"(\u001b[2J\u009b1m)");
  text.replace(text.find("Quendel"), 7, R"(\u0007)");
  const std::string shown = Shown(Read(text));
  EXPECT_NE(shown.find(". Writer 4.2"), std::string::npos) << shown;
  EXPECT_NE(shown.find("label=.[2J.1m  "), std::string::npos) << shown;
}

TEST(ArrivalLogTest, ShowsProblemsAndOptionalColours) {
  const std::string bad = Shown(Read("[]"));
  EXPECT_NE(bad.find("  ?  0 events  2 bytes from 2 bytes  BAD\n"
                     "    ! the record is an array instead of an object\n"),
            std::string::npos)
      << bad;
  EXPECT_EQ(bad.find('\x1b'), std::string::npos);
  EXPECT_NE(Shown(Read("[]"), true).find("\x1b[31mBAD\x1b[0m"), std::string::npos);
}

TEST(ArrivalLogTest, CutsLongValuesBetweenCharacters) {
  std::string label;
  for (int i = 0; i < 100; ++i) {
    label += "ü";
  }
  const std::string kept = label.substr(0, 31 * std::string("ü").size());
  const std::string shown = Shown(Read(GoodRecord(label)));
  EXPECT_NE(shown.find("label=" + kept + "…  pages"), std::string::npos) << shown;
}

}  // namespace
}  // namespace Gateway
