#include "handover_report.h"

#include <cstdio>
#include <map>
#include <string_view>

namespace DocumentEditor {
namespace {

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      quoted += escape;
      continue;
    }
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted += '"';
}

// 17 digits tell every double from every other.
std::string NumberText(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", number);
  return text;
}

std::string ObjectText(const std::vector<Property>& properties) {
  std::string text = "{";
  for (const Property& property : properties) {
    const auto* value = std::get_if<std::string>(&property.value);
    text += (text.size() > 1 ? ", " : "") + Quoted(property.name) + ": " +
            (value != nullptr ? Quoted(*value) : NumberText(std::get<double>(property.value)));
  }
  return text += '}';
}

std::string CountsByName(const HandoverReport& report) {
  std::map<std::string, std::size_t> counts;
  for (const Reporter* reporter : report.reporters) {
    for (const HandedOverEvent& event : reporter->Events()) {
      ++counts[event.name];
    }
  }
  std::string text = "{";
  for (const auto& [name, count] : counts) {
    text += (text.size() > 1 ? ", " : "") + Quoted(name) + ": " + std::to_string(count);
  }
  return text += '}';
}

std::string EventLines(const Reporter& reporter) {
  std::string lines;
  for (const HandedOverEvent& event : reporter.Events()) {
    lines += (lines.empty() ? "" : ",\n") + std::string("    {\"thread\": ") +
             Quoted(reporter.Thread()) + ", \"name\": " + Quoted(event.name) +
             ", \"properties\": " + ObjectText(event.properties) + '}';
  }
  return lines;
}

std::string ReportText(const HandoverReport& report) {
  std::string events;
  for (const Reporter* reporter : report.reporters) {
    const std::string lines = EventLines(*reporter);
    events += (events.empty() || lines.empty() ? "" : ",\n") + lines;
  }
  return "{\n  \"sitting\": " + std::to_string(report.sitting) +
         ",\n  \"product\": " + Quoted(report.product) +
         ",\n  \"library_version\": " + Quoted(report.libraryVersion) +
         ",\n  \"commit_result\": " + std::to_string(report.commitResult) +
         ",\n  \"warnings\": " + std::to_string(report.warnings) +
         ",\n  \"total\": " + std::to_string(TotalEvents(report)) +
         ",\n  \"by_name\": " + CountsByName(report) +
         ",\n  \"session_environment\": " + ObjectText(report.sessionEnvironment) +
         ",\n  \"events\": [\n" + events + "\n  ]\n}\n";
}

}  // namespace

std::size_t TotalEvents(const HandoverReport& report) {
  std::size_t total = 0;
  for (const Reporter* reporter : report.reporters) {
    total += reporter->Events().size();
  }
  return total;
}

bool WriteReport(const HandoverReport& report, const char* path) {
  std::FILE* const file = std::fopen(path, "wb");
  if (file == nullptr) {
    return false;
  }
  const std::string text = ReportText(report);
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && isWritten;
}

}  // namespace DocumentEditor
