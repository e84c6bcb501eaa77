#include "gateway/options.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "gateway/certificate.h"

namespace Gateway {
namespace {

std::string ErrorFor(const std::vector<std::string>& arguments) {
  std::string error;
  return ParseOptions(arguments, error) ? "" : error;
}

TEST(OptionsTest, TakesValuesFromTheNextArgumentOrAfterEquals) {
  std::string error;
  const std::vector<std::string> arguments = {"--port=0", "--port-file", "a=b",
                                              "--config", "s.json",      "--log"};
  const auto options = ParseOptions(arguments, error);
  ASSERT_TRUE(options) << error;
  EXPECT_EQ(options->port, 0);
  EXPECT_EQ(options->portFile, "a=b");
  EXPECT_EQ(options->settingsFile, "s.json");
  EXPECT_TRUE(options->log && !options->https && !options->help);
  EXPECT_EQ(options->address, "127.0.0.1");
}

TEST(OptionsTest, ExplainsErrors) {
  EXPECT_EQ(ErrorFor({"--pot", "1"}), "The following arguments were not expected: 1 --pot");
  EXPECT_EQ(ErrorFor({"--port"}), "--port: 1 required N missing");
  EXPECT_EQ(ErrorFor({"--config", ""}), "--config: needs a value");
  EXPECT_NE(ErrorFor({"--https=no"}), "");
  EXPECT_EQ(ErrorFor({"--https", "--certificate", "a"}), "--cert and --key need each other");
  EXPECT_EQ(ErrorFor({"--cert", "a", "--key", "b"}), "--cert needs --https");
  EXPECT_EQ(ErrorFor({"--retention", "9"}), "--retention needs --store");
  for (const char* port : {"65536", "-1", "80x", "99999999999", ""}) {
    EXPECT_NE(ErrorFor({"--port", port}), "") << port;
  }
}

TEST(OptionsTest, RefuseHttpsWithoutTls) {
  const std::string refusal =
      "--https: this gateway is built without TLS; a proxy in front of it can speak HTTPS";
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"--https"}, {"--key", "b", "--certificate", "a", "--https"}}) {
    EXPECT_EQ(ErrorFor(arguments), HasTls() ? "" : refusal);
  }
}

TEST(OptionsTest, ReadsSizesAndTimes) {
  std::string error;
  const std::vector<std::string> arguments = {"--max-body",
                                              "2KB",
                                              "--max-expanded=2mb",
                                              "--head-time",
                                              "0.25",
                                              "--page-port=0",
                                              "--max-connections",
                                              "7",
                                              "--port",
                                              "1",
                                              "--port=2"};
  const auto options = ParseOptions(arguments, error);
  ASSERT_TRUE(options) << error;
  EXPECT_EQ(options->limits.maxBodyBytes, 2048U);
  EXPECT_EQ(options->maxExpandedBytes, 2U * 1024 * 1024);
  EXPECT_EQ(options->limits.headTime, std::chrono::milliseconds(250));
  EXPECT_EQ(options->limits.maxConnections, 7U);
  EXPECT_EQ(options->pagePort, 0);
  EXPECT_EQ(options->port, 2);
}

}  // namespace
}  // namespace Gateway
