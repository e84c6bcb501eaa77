#include "gateway/http/message.h"

namespace Gateway {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

enum class Plus { IsSpace, IsPlus };

std::string Decoded(std::string_view text, Plus plus) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
    if (low >= 0) {
      out += static_cast<char>(16 * high + low);
      i += 2;
    } else {
      out += text[i] == '+' && plus == Plus::IsSpace ? ' ' : text[i];
    }
  }
  return out;
}

}  // namespace

std::multimap<std::string, std::string> ParseParameters(std::string_view text) {
  std::multimap<std::string, std::string> parameters;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    text.remove_prefix(pair.size() < text.size() ? pair.size() + 1 : pair.size());
    const std::size_t equals = pair.find('=');
    if (!pair.empty()) {
      parameters.emplace(Decoded(pair.substr(0, equals), Plus::IsSpace),
                         equals != std::string_view::npos
                             ? Decoded(pair.substr(equals + 1), Plus::IsSpace)
                             : std::string());
    }
  }
  return parameters;
}

void SetTarget(HttpRequest& request, std::string_view target) {
  request.target = target;
  const std::string_view whole = target.substr(0, target.find('#'));
  const std::size_t question = whole.find('?');
  request.path = Decoded(whole.substr(0, question), Plus::IsPlus);
  request.parameters.clear();
  if (question != std::string_view::npos) {
    request.parameters = ParseParameters(whole.substr(question + 1));
  }
}

}  // namespace Gateway
