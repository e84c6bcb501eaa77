#include "bindings/header_parser.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <regex>
#include <stdexcept>
#include <utility>

namespace Bindings {
namespace {

class Reader {
 public:
  explicit Reader(std::string_view text) {
    while (!text.empty()) {
      const size_t end = std::min(text.find('\n'), text.size() - 1);
      lines_.emplace_back(text.substr(0, end + 1 - (text[end] == '\n' ? 1 : 0)));
      text.remove_prefix(end + 1);
    }
  }

  bool AtEnd() const { return next_ == lines_.size(); }
  const std::string& Line() const { return lines_.at(next_); }
  const std::string& Take() { return lines_.at(next_++); }
  size_t Number() const { return next_ + 1; }

 private:
  std::vector<std::string> lines_;
  size_t next_ = 0;
};

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? ""
                                    : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The comment lines at the reader's position as one text, empty if there are none.
std::string TakeComment(Reader& reader) {
  std::string comment;
  while (!reader.AtEnd() && Trimmed(reader.Line()).starts_with("//")) {
    const std::string line = Trimmed(reader.Take()).substr(2);
    comment += (comment.empty() ? "" : "\n") + (line.starts_with(' ') ? line.substr(1) : line);
  }
  return comment;
}

// A declaration, from the reader's position to the line that ends with a semicolon.
std::string TakeDeclaration(Reader& reader) {
  std::string text;
  while (!text.ends_with(';')) {
    text += (text.empty() ? "" : " ") + Trimmed(reader.Take());
  }
  return std::regex_replace(text, std::regex(" +"), " ");
}

Type Known(std::optional<Type> type, const std::string& text) {
  if (!type) {
    throw std::runtime_error("unknown type in '" + text + "'");
  }
  return *type;
}

// "const char* name"; `typeOf` is ParameterType or FieldType.
Parameter SplitNamed(const std::string& text, std::optional<Type> (*typeOf)(std::string_view)) {
  const size_t space = text.find_last_of(' ');
  if (space == std::string::npos) {
    throw std::runtime_error("no name in '" + text + "'");
  }
  return {text.substr(space + 1), Known(typeOf(Trimmed(text.substr(0, space))), text)};
}

std::vector<Parameter> SplitParameters(const std::string& text) {
  std::vector<Parameter> parameters;
  if (text == "void") {
    return parameters;
  }
  size_t begin = 0;
  while (begin <= text.size()) {
    const size_t end = std::min(text.find(',', begin), text.size());
    parameters.push_back(SplitNamed(Trimmed(text.substr(begin, end - begin)), ParameterType));
    begin = end + 1;
  }
  return parameters;
}

Member ParseMember(const std::string& declaration, std::string comment) {
  static const std::regex function(R"(^(.+?) ?\(TAV_CALL\* ?(\w+)\)\((.*)\);$)");
  Member member;
  member.comment = std::move(comment);
  std::smatch parts;
  if (std::regex_match(declaration, parts, function)) {
    member.type = Known(ResultType(parts[1].str()), declaration);
    member.name = parts[2];
    member.parameters = SplitParameters(parts[3]);
  } else {
    const Parameter field = SplitNamed(declaration.substr(0, declaration.size() - 1), FieldType);
    member.isFunction = false;
    member.name = field.name;
    member.type = field.type;
  }
  return member;
}

// The members up to the closing brace. A comment holds for all declarations until a blank line.
std::vector<Member> TakeMembers(Reader& reader) {
  std::vector<Member> members;
  std::string comment;
  while (!reader.Line().starts_with("}")) {
    if (Trimmed(reader.Line()).empty()) {
      reader.Take();
      comment.clear();
    } else if (std::string text = TakeComment(reader); !text.empty()) {
      comment = std::move(text);
    } else {
      members.push_back(ParseMember(TakeDeclaration(reader), comment));
    }
  }
  return members;
}

long long ParseNumber(std::string text) {
  text.erase(std::find(text.begin(), text.end(), 'u'), text.end());
  const bool isHexadecimal = text.starts_with("0x");
  const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
  const char* const end = text.data() + text.size();
  long long value = 0;
  if (std::from_chars(begin, end, value, isHexadecimal ? 16 : 10).ptr != end || begin == end) {
    throw std::runtime_error("'" + text + "' is not a number");
  }
  return value;
}

// The constants of `text`, which has no braces: "A = 0,  // comment" or "A = 0, B = 1".
void AddConstants(const std::string& text, Enumeration& enumeration) {
  static const std::regex constant(R"((TAV_\w+) = (\w+),?(?: *// (.*))?)");
  for (std::sregex_iterator found(text.begin(), text.end(), constant), none; found != none;
       ++found) {
    enumeration.constants.push_back({(*found)[1], ParseNumber((*found)[2]), (*found)[3]});
  }
}

Enumeration TakeEnumeration(Reader& reader, std::string comment) {
  Enumeration enumeration{std::move(comment), {}};
  std::string line = reader.Take().substr(std::string_view("enum {").size());
  while (line.find('}') == std::string::npos) {
    AddConstants(line, enumeration);
    line = reader.Take();
  }
  AddConstants(line.substr(0, line.find('}')), enumeration);
  return enumeration;
}

// "#define NAME VALUE"; others are not for bindings.
void ReadDefinition(const std::string& line, const std::string& comment, Header& header) {
  static const std::regex definition(R"x(^#define (TAV_\w+) ("?)([\w.]+)"?$)x");
  std::smatch parts;
  if (!std::regex_match(line, parts, definition) || parts[1] == "TAV_CALL") {
    return;
  }
  if (parts[1] == "TAV_INTERFACE_VERSION") {
    header.interfaceVersion = static_cast<int>(ParseNumber(parts[3]));
  } else if (parts[1] == "TAV_LIBRARY_VERSION") {
    header.libraryVersion = parts[3];
  } else if (parts[1] == "TAV_LOADER_NAME") {
    header.loaderName = parts[3];
  } else {
    header.numbers.push_back({parts[1], ParseNumber(parts[3]), comment});
  }
}

void ReadAll(Reader& reader, Header& header) {
  std::string comment;
  while (!reader.AtEnd()) {
    const std::string line = reader.Line();
    if (std::string text = TakeComment(reader); !text.empty()) {
      comment = std::move(text);
      continue;
    }
    if (line.starts_with("enum {")) {
      header.enumerations.push_back(TakeEnumeration(reader, comment));
    } else if (line == "struct TavComponent_s {") {
      reader.Take();
      header.component = TakeMembers(reader);
    } else if (line == "typedef struct TavEntryTable {") {
      reader.Take();
      header.table = TakeMembers(reader);
    } else {
      ReadDefinition(line, comment, header);
      reader.Take();
    }
    comment.clear();
  }
}

}  // namespace

std::optional<Header> ParseHeader(std::string_view text, std::string& error) {
  Reader reader(text);
  Header header;
  try {
    ReadAll(reader, header);
  } catch (const std::exception& failure) {
    error = "line " + std::to_string(reader.Number()) + ": " + failure.what();
    return std::nullopt;
  }
  if (header.table.size() != 65 || header.component.size() != 16 || header.interfaceVersion == 0 ||
      header.loaderName.empty() || header.libraryVersion.empty() || header.enumerations.empty()) {
    error = "a part is missing: " + std::to_string(header.table.size()) + " slots, " +
            std::to_string(header.component.size()) + " words of the component record";
    return std::nullopt;
  }
  return header;
}

}  // namespace Bindings
