#include "demo_report.h"

#include <cstdio>
#include <string_view>

namespace DocumentEditor {
namespace {

std::string Member(std::string_view name, std::string_view text) {
  return JsonText(name) + ": " + JsonText(text);
}

std::string Member(std::string_view name, int number) {
  return JsonText(name) + ": " + std::to_string(number);
}

std::string TraceText(const Note& note) {
  std::string items;
  for (const TraceItem& item : note.trace) {
    items += (items.empty() ? "{" : ", {") + Member("location", item.location) + ", " +
             Member("library", item.library) + ", " + Member("meta", item.meta) + '}';
  }
  return '[' + items + ']';
}

// Empty members are left out.
std::string NoteText(const Note& note, const std::string& thread) {
  std::string text = '{' + Member("seq", note.serial) + ", " + Member("thread", thread) + ", " +
                     Member("session", note.session) + ", " + Member("kind", note.kind);
  const auto addText = [&text](std::string_view name, const std::string& value) {
    text += value.empty() ? "" : ", " + Member(name, value);
  };
  addText("component", note.component);
  addText("name", note.name);
  addText("detail", note.detail);
  if (std::string_view(note.kind) == "value") {
    text += ", \"value\": " + JsonText(note.value);
  }
  if (!note.properties.empty()) {
    text += ", \"properties\": " + JsonText(std::span<const Property>(note.properties));
  }
  if (!note.trace.empty()) {
    text += ", \"trace\": " + TraceText(note);
  }
  return text += '}';
}

std::string SettingsText(std::span<const Settings::Call> calls) {
  std::string lines;
  for (const Settings::Call& call : calls) {
    lines += (lines.empty() ? "    {" : ",\n    {") + Member("call", call.name) + ", " +
             Member("key", call.key) + ", \"value\": " + call.value + '}';
  }
  return lines;
}

std::string OutcomeText(const DemoReport& report) {
  return report.isAllSent ? Member("commit_result", *report.isAllSent ? 0 : 1) : "\"killed\": true";
}

std::string ReportText(const DemoReport& report) {
  std::string notes;
  int total = 0;
  for (const Notebook& notebook : report.notebooks) {
    for (const Note& note : notebook.Notes()) {
      notes += (notes.empty() ? "    " : ",\n    ") + NoteText(note, notebook.Thread());
      ++total;
    }
  }
  return "{\n  " + Member("run", report.run) + ",\n  " + Member("product", report.product) +
         ",\n  " + Member("product_version", report.productVersion) + ",\n  " +
         Member("full_version", report.fullVersion) + ",\n  " +
         Member("component", report.component) + ",\n  " +
         Member("component_version", report.componentVersion) + ",\n  " +
         Member("library_version", report.libraryVersion) + ",\n  " + OutcomeText(report) +
         ",\n  " + Member("warnings", report.warnings) + ",\n  \"settings\": [\n" +
         SettingsText(report.settings) + "\n  ],\n  " + Member("total", total) +
         ",\n  \"notes\": [\n" + notes + "\n  ]\n}\n";
}

}  // namespace

bool WriteReport(const DemoReport& report, const char* path) {
  std::FILE* const file = std::fopen(path, "wb");
  if (file == nullptr) {
    return false;
  }
  const std::string text = ReportText(report);
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && isWritten;
}

}  // namespace DocumentEditor
