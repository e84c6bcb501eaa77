#include "gateway/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Gateway {
namespace {

std::string ErrorFor(const std::vector<const char*>& arguments) {
  std::string error;
  return ParseOptions(arguments, error) ? "" : error;
}

TEST(OptionsTest, TakesValuesFromTheNextArgumentOrAfterEquals) {
  std::string error;
  const std::vector<const char*> arguments = {"--port=0", "--port-file", "a=b",  "--https",
                                              "--config", "s.json",      "--log"};
  const auto options = ParseOptions(arguments, error);
  ASSERT_TRUE(options) << error;
  EXPECT_EQ(options->port, 0);
  EXPECT_EQ(options->portFile, "a=b");
  EXPECT_EQ(options->settingsFile, "s.json");
  EXPECT_TRUE(options->https && options->log && !options->help);
  EXPECT_EQ(options->address, "127.0.0.1");
}

TEST(OptionsTest, ExplainsErrors) {
  EXPECT_EQ(ErrorFor({"--pot", "1"}), "unknown option --pot");
  EXPECT_EQ(ErrorFor({"--port"}), "--port needs a value");
  EXPECT_EQ(ErrorFor({"--config="}), "--config needs a value");
  EXPECT_EQ(ErrorFor({"--https=no"}), "--https takes no value");
  EXPECT_EQ(ErrorFor({"--https", "--certificate", "a"}), "--certificate and --key need each other");
  EXPECT_EQ(ErrorFor({"--certificate", "a", "--key", "b"}), "--certificate needs --https");
  EXPECT_EQ(ErrorFor({"--key", "b", "--certificate", "a", "--https"}), "");
  for (const char* port : {"65536", "-1", "80x", "99999999999"}) {
    EXPECT_EQ(ErrorFor({"--port", port}),
              "--port needs a number from 0 to 65535, not \"" + std::string(port) + '"');
  }
}

}  // namespace
}  // namespace Gateway
