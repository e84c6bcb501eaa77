// Texts of hosts: repaired, cut, escaped for JSON, for URLs and for the log.
#include <cstdarg>
#include <cstdlib>

#include "fuzz.h"
#include "util/format.h"
#include "util/json_text.h"
#include "util/log_line.h"
#include "util/log_text.h"
#include "util/text.h"

namespace {

using namespace Tav;
using Fuzz::Input;
using Fuzz::Require;

std::string Dumped(const json_t* value) {
  char* const text = json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY);
  const std::string copy = text == nullptr ? "" : text;
  std::free(text);
  return copy;
}

void CheckUtf8(const std::string& text, size_t maxBytes) {
  const std::string utf8 = ToUtf8String(text.c_str(), false);
  Require(IsUtf8(utf8), "a host's text becomes UTF-8");
  Require(!IsUtf8(text) || utf8 == text, "UTF-8 stays as it is");
  const std::string_view cut = CutUtf8(utf8, maxBytes);
  Require(cut.size() <= maxBytes && utf8.starts_with(cut) && IsUtf8(cut),
          "a text is cut between two characters");
  Require(cut.size() + 4 > std::min(maxBytes, utf8.size()), "no more than a character is lost");
  const std::string_view trimmed = TrimView(utf8);
  Require(TrimView(trimmed) == trimmed, "trimming once is enough");
}

// The writer of JSON text agrees with jansson, for any text.
void CheckJson(std::string_view text, std::string_view name) {
  const JsonPtr string = MakeJsonString(text);
  Require(static_cast<bool>(string), "every text becomes a JSON string");
  const std::string dumped = Dumped(string.Get());
  JsonText written(8);
  written.AddString(text);
  Require(written.View() == dumped, "a string is written as jansson writes it");
  JsonText object(8);
  object.AddName('{', name);
  object.AddString(text);
  object.Add('}');
  const JsonPtr read(json_loadb(object.View().data(), object.Size(), JSON_ALLOW_NUL, nullptr));
  // jansson reads no zero byte in a name.
  Require(read || name.find('\0') != std::string_view::npos, "a member is valid JSON");
}

void CheckUrl(std::string_view text) {
  const std::string url = UrlEncode(text);
  Require(url.find_first_not_of(
              "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-._~%") ==
              std::string::npos,
          "a URL has no other characters");
  std::string decoded;
  for (size_t i = 0; i < url.size(); ++i) {
    if (url[i] == '%') {
      decoded += static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      decoded += url[i];
    }
  }
  Require(decoded == text, "encoding loses nothing");
}

void AddFormatted(LogLine& line, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  line.AppendArguments(format, arguments);
  va_end(arguments);
}

void CheckLog(Input input) {
  LogLine line;
  const std::string prefix(input.Below(2100), 'p');
  line.Append(prefix);
  const size_t start = line.Length();
  const std::string hidden = input.CText() + "/";
  for (int i = 0; i < 4; ++i) {
    const std::string text = ToUtf8String(input.CText().c_str(), false);
    AddFormatted(line, "%s (%d)", text.c_str(), i);
  }
  line.DropCutCharacter();
  line.Replace(start, hidden, "%USERPROFILE%");
  line.Escape(start);
  line.DropCutCharacter();
  const std::string_view text(line.Text());
  Require(text.size() == line.Length() && line.Length() <= 2047, "a line is one C string");
  Require(IsUtf8(text), "a line of UTF-8 texts is UTF-8, even if it is cut");
  const size_t kept = std::min(start, text.size());
  Require(text.substr(0, kept) == std::string_view(prefix).substr(0, kept),
          "what stands before the message stays");
  Require(!HasControls(text.substr(kept)), "no control character is left");
  Require(!EscapeControls(text).empty() || text.empty(), "nothing is lost");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const size_t maxBytes = input.Byte();
  const Input log = input;
  const std::string name(input.Text());
  const std::string text(input.Rest());
  CheckUtf8(text.substr(0, text.find('\0')), maxBytes);
  CheckJson(text, name);
  CheckUrl(text);
  CheckLog(log);
  LogWarning("$*Tav: '%s' %s", text.c_str(), name.c_str());
  return 0;
}
