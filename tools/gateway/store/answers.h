// The answers to questions, as JSON; the same for every engine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/store/questions.h"

namespace Gateway {

// {"error":"..."}
Answer ErrorAnswer(int status, std::string_view text);

// Writes an answer, value by value, row after row. A row is complete when it has a value for every
// column of the question.
class AnswerWriter {
 public:
  explicit AnswerWriter(QuestionId id);

  void Integer(std::int64_t value);
  void Number(double value);          // null if it is not finite
  void Text(std::string_view value);  // any bytes
  void Json(std::string_view value);  // as it is; null if empty
  std::size_t Rows() const { return rows_; }

  Answer Finish();

 private:
  void Append(std::string_view value);

  std::string json_;
  std::size_t columns_;
  std::size_t column_ = 0;
  std::size_t rows_ = 0;
};

// The bins of a histogram. Numbers that are not finite are left out.
class Histogram {
 public:
  Histogram(double least, double greatest, std::int64_t bins);

  void Add(double number, std::int64_t events = 1);
  void Write(AnswerWriter& writer) const;

  // Between the bins: an engine that counts by itself asks which of them a number reaches.
  std::vector<double> InnerEdges() const;

 private:
  double Edge(std::size_t bin) const;

  double least_;
  double greatest_;
  std::vector<std::int64_t> events_;
};

}  // namespace Gateway
