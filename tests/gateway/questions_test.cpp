#include "gateway/store/questions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "gateway/store/answers.h"

namespace Gateway {
namespace {

TEST(QuestionsTest, RefusesWhatIsOutOfBounds) {
  const auto refusal = [](std::string_view question, const Parameters& parameters) {
    const ParsedQuestion parsed = ParseQuestion(question, parameters);
    return parsed.query ? "" : std::to_string(parsed.refusal.status) + ' ' + parsed.refusal.json;
  };
  EXPECT_EQ(refusal("products", {}), "");
  EXPECT_EQ(refusal("daily", {{"product", ""}, {"from", "-5"}, {"to", "5"}}), "");
  EXPECT_EQ(refusal("DROP TABLE", {}), R"(404 {"error":"no such question"})");
  EXPECT_EQ(refusal("daily", {}), R"(400 {"error":"\"product\" is missing"})");
  EXPECT_EQ(refusal("daily", {{"product", "a"}, {"limit", "5"}}),
            R"(400 {"error":"a parameter that this question does not have"})");
  const auto isRefused = [&](std::string_view question, std::string name, std::string value) {
    Parameters parameters{{"product", "a"}, {"name", "n"}, {"property", "p"}};
    parameters[std::move(name)] = std::move(value);
    return refusal(question, parameters).starts_with("400");
  };
  EXPECT_FALSE(isRefused("values", "limit", "1000"));
  for (const char* limit : {"0", "1001", "", "1e3", "0x1", " 1", "1 ", "99999999999999999999"}) {
    EXPECT_TRUE(isRefused("values", "limit", limit)) << limit;
  }
  EXPECT_TRUE(isRefused("values", "name", std::string("a\0b", 3)));
  EXPECT_TRUE(isRefused("values", "name", "\xFF"));
  EXPECT_TRUE(isRefused("values", "name", std::string(kMaxParameterBytes + 1, 'a')));
  EXPECT_TRUE(isRefused("values", "to", "253402300800001"));
  EXPECT_TRUE(isRefused("histogram", "bins", "201"));
}

TEST(QuestionsTest, HistogramsHoldAnyNumbers) {
  const auto rows = [](double least, double greatest, std::initializer_list<double> numbers) {
    Histogram histogram(least, greatest, 2);
    for (const double number : numbers) {
      histogram.Add(number);
    }
    AnswerWriter writer(QuestionId::Histogram);
    histogram.Write(writer);
    const std::string json = writer.Finish().json;
    return json.substr(json.find("\"rows\":") + 7);
  };
  EXPECT_EQ(rows(0, 10, {0, 4.9, 5, 10, NAN}), "[[0,5,2],[5,10,2]]}");
  EXPECT_EQ(rows(3, 3, {3, 3}), "[[3,3,2]]}");
  constexpr double kMax = std::numeric_limits<double>::max();
  EXPECT_EQ(rows(-kMax, kMax, {-kMax, kMax}),
            "[[-1.7976931348623157e+308,0,1],[0,1.7976931348623157e+308,1]]}");
}

}  // namespace
}  // namespace Gateway
