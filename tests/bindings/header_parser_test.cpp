#include "bindings/header_parser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace Bindings {
namespace {

std::string PublicHeader() {
  std::ifstream file(TAV_PUBLIC_HEADER, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string ErrorWith(const std::string& from, const std::string& to) {
  std::string text = PublicHeader();
  EXPECT_NE(text.find(from), std::string::npos) << from;
  text.replace(text.find(from), from.size(), to);
  std::string error;
  EXPECT_FALSE(ParseHeader(text, error)) << to;
  return error;
}

TEST(HeaderParserTest, ReadsTheDeclarationsOfTheHeader) {
  std::string error;
  const auto header = ParseHeader(PublicHeader(), error);
  ASSERT_TRUE(header) << error;
  const Member& initialize = header->table[0];
  EXPECT_EQ(initialize.name, "Initialize");
  EXPECT_EQ(initialize.type, Type::Int32);
  ASSERT_EQ(initialize.parameters.size(), 4u) << "declared on several lines";
  EXPECT_EQ(initialize.parameters[3].name, "appLanguage");
  EXPECT_EQ(header->table[39].type, Type::OwnedText);
  EXPECT_EQ(header->table[36].parameters[0].type, Type::Buffer);
  EXPECT_EQ(header->table[34].comment, header->table[33].comment) << "two slots, one comment";
  EXPECT_FALSE(header->component[0].isFunction);
  EXPECT_EQ(header->component[15].name, "AddTraceItem");
}

// What is not understood must not be left out of a binding.
TEST(HeaderParserTest, RefusesWhatItDoesNotKnow) {
  EXPECT_NE(ErrorWith("int(TAV_CALL* Commit)(void);", "long(TAV_CALL* Commit)(void);")
                .find("unknown type in 'long(TAV_CALL* Commit)(void);'"),
            std::string::npos);
  EXPECT_NE(ErrorWith("(int category, const char* tag)", "(int category, const wchar_t* tag)")
                .find("wchar_t"),
            std::string::npos);
  EXPECT_NE(ErrorWith("void(TAV_CALL* OptOut)(void);\n", "").find("64 slots"), std::string::npos);
  EXPECT_NE(ErrorWith("TAV_TAG_OTHER = 8 ", "TAV_TAG_OTHER = eight ").find("is not a number"),
            std::string::npos);
}

}  // namespace
}  // namespace Bindings
