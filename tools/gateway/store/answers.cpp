#include "gateway/store/answers.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "gateway/json_text.h"

namespace Gateway {

Answer ErrorAnswer(int status, std::string_view text) {
  return {status, "{\"error\":" + QuoteJson(text) + '}'};
}

AnswerWriter::AnswerWriter(QuestionId id) : columns_(ColumnsOf(id).size()) {
  json_ = "{\"columns\":[";
  for (const std::string_view column : ColumnsOf(id)) {
    json_ += json_.back() == '[' ? "\"" : ",\"";
    json_.append(column).append("\"");
  }
  json_ += "],\"rows\":[";
}

void AnswerWriter::Append(std::string_view value) {
  json_ += column_ > 0 ? "," : rows_ > 0 ? ",[" : "[";
  json_ += value;
  if (++column_ == columns_) {
    json_ += ']';
    column_ = 0;
    ++rows_;
  }
}

void AnswerWriter::Integer(std::int64_t value) {
  Append(std::to_string(value));
}

void AnswerWriter::Number(double value) {
  if (!std::isfinite(value)) {
    Append("null");
    return;
  }
  char text[32];
  Append(std::string_view(text, std::to_chars(text, text + sizeof text, value).ptr));
}

void AnswerWriter::Text(std::string_view value) {
  Append(QuoteJson(value));
}

void AnswerWriter::Json(std::string_view value) {
  Append(value.empty() ? "null" : value);
}

Answer AnswerWriter::Finish() {
  json_ += "]}";
  return {200, std::move(json_)};
}

Histogram::Histogram(double least, double greatest, std::int64_t bins)
    : least_(least),
      greatest_(greatest),
      events_(least < greatest ? static_cast<std::size_t>(bins) : 1) {}

double Histogram::Edge(std::size_t bin) const {
  if (bin == events_.size()) {
    return greatest_;
  }
  // Not the difference of the two, which may be greater than any double.
  const double part = static_cast<double>(bin) / static_cast<double>(events_.size());
  return least_ * (1 - part) + greatest_ * part;
}

std::vector<double> Histogram::InnerEdges() const {
  std::vector<double> edges;
  for (std::size_t bin = 1; bin < events_.size(); ++bin) {
    edges.push_back(Edge(bin));
  }
  return edges;
}

void Histogram::Add(double number, std::int64_t events) {
  if (!std::isfinite(number)) {
    return;
  }
  std::size_t bin = 0;
  while (bin + 1 < events_.size() && number >= Edge(bin + 1)) {
    ++bin;
  }
  events_[bin] += events;
}

void Histogram::Write(AnswerWriter& writer) const {
  for (std::size_t bin = 0; bin < events_.size(); ++bin) {
    writer.Number(Edge(bin));
    writer.Number(Edge(bin + 1));
    writer.Integer(events_[bin]);
  }
}

}  // namespace Gateway
