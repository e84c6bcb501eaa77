#include "gateway/settings_check.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <utility>

namespace Gateway {
namespace {

// "3 error: …" for each problem, one a line.
std::string ProblemsOf(const std::string& text) {
  std::string out;
  for (const SettingsProblem& problem : CheckSettings(text)) {
    out += std::to_string(problem.line) +
           (problem.severity == Severity::Error ? " error: " : " warning: ") + problem.text + '\n';
  }
  return out;
}

TEST(SettingsCheckTest, NamesTheLineOfEachProblem) {
  EXPECT_EQ(ProblemsOf("{}"), "");
  EXPECT_EQ(ProblemsOf("{\"flush_time\": 0, \"disabled\": 1,\n\"inhibit\": [\"a\"],\n"
                       "\"gateway\": \"https://gateway.example/tav/\"}"),
            "");
  EXPECT_EQ(ProblemsOf("{\n\"flush_time\": \"30\",\n\"terminate_time\": 31,\n\"pause_time\": 1.5,\n"
                       "\"inhibit\": [\"a\",\n 7],\n\"disabled\": true,\n\"colour\": {},\n"
                       "\"retention_days\": 3\n}"),
            "2 error: \"flush_time\" must be a number; a text is read as 0\n"
            "3 error: \"terminate_time\" is out of range: 31. Its range is 2 to 30\n"
            "4 warning: \"pause_time\" is read as a whole number: 1\n"
            "6 error: \"inhibit\" holds something that is not a text; it is ignored\n"
            "7 error: \"disabled\" must be a number; anything else is ignored\n"
            "8 warning: \"colour\" is not a setting; it is stored and never read\n"
            "9 warning: \"retention_days\" has no effect\n");
}

TEST(SettingsCheckTest, RefusesWhatTheLibraryDoesNotRead) {
  EXPECT_EQ(ProblemsOf("[]"), "1 error: the settings must be one JSON object\n");
  EXPECT_EQ(ProblemsOf("{\n\n\"a\" 1}").substr(0, 18), "3 error: not JSON:");
  EXPECT_EQ(ProblemsOf("{\"disabled\":1,\n\"disabled\":1}").substr(0, 18), "2 error: not JSON:");
  EXPECT_EQ(ProblemsOf("").substr(0, 8), "1 error:");
  EXPECT_EQ(ProblemsOf('{' + std::string(262143, ' ') + '}').substr(0, 12), "1 error: the");
}

TEST(SettingsCheckTest, ChecksTheGateway) {
  const auto check = [](const std::string& url) {
    const auto problems = CheckSettings("{\"gateway\":\"" + url + "\"}");
    return problems.empty() ? "" : problems[0].severity == Severity::Error ? "error" : "warning";
  };
  for (const char* url : {"", "https://a.example/", "https://[2001:db8::1]:443/x",
                          "http://127.0.0.1:8080/", "http://localhost", "http://[::1]/"}) {
    EXPECT_STREQ(check(url), "") << url;
  }
  EXPECT_STREQ(check("http://a.example/"), "warning");
  EXPECT_STREQ(check("http://127.evil.example/"), "warning");
  for (const char* url : {"ftp://a/", "file:///C:/x", "https://user:word@a/", "https://a b/",
                          "https://a.example./", "https:///x", "https://[", "HTTPS://a/"}) {
    EXPECT_STREQ(check(url), "error") << url;
  }
  EXPECT_STREQ(check("https://" + std::string(119, 'a')), "");
  EXPECT_STREQ(check("https://" + std::string(120, 'a')), "error");
}

// The table in docs/settings.md and the one in the check are the same.
TEST(SettingsCheckTest, KnowsTheDocumentedNumbers) {
  std::ifstream file(GATEWAY_TEST_DOCS "/settings.md");
  std::map<std::string, std::pair<double, double>> documented;
  for (std::string line; std::getline(file, line);) {
    char name[64];
    char range[64];
    if (std::sscanf(line.c_str(), "| `%63[^`]` | number | %63[^|]", name, range) == 2) {
      double min = -HUGE_VAL;
      double max = HUGE_VAL;
      std::sscanf(range, "%lf to %lf", &min, &max);
      documented[name] = {min, max};
    }
  }
  std::map<std::string, std::pair<double, double>> known;
  for (const NumberSetting& setting : NumberSettings()) {
    known[std::string(setting.name)] = {setting.min, setting.max};
  }
  EXPECT_EQ(known, documented);
  EXPECT_GE(known.size(), 12U);
}

}  // namespace
}  // namespace Gateway
