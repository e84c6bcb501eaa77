#include "gateway/value_checks.h"

#include <algorithm>
#include <utility>

#include "gateway/json_text.h"

namespace Gateway {
namespace {

constexpr std::size_t kMaxQuoted = 60;

std::string Cut(std::string_view text) {
  if (text.size() <= kMaxQuoted) {
    return std::string(text);
  }
  std::size_t end = kMaxQuoted;
  // Never cut a UTF-8 sequence in two: its later bytes are 10xxxxxx.
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
    --end;
  }
  return std::string(text.substr(0, end)) + "…";
}

std::string_view TypeName(const json_t* value) {
  switch (json_typeof(value)) {
    case JSON_OBJECT:
      return "an object";
    case JSON_ARRAY:
      return "an array";
    case JSON_STRING:
      return "a string";
    case JSON_INTEGER:
      return "an integer";
    case JSON_REAL:
      return "a real number";
    case JSON_TRUE:
    case JSON_FALSE:
      return "a boolean";
    case JSON_NULL:
      return "null";
  }
  return "of an unknown type";
}

// A string of the given form; `form` describes it for people.
void CheckForm(const json_t* value,
               bool (*hasForm)(std::string_view),
               const char* form,
               const std::string& path,
               Problems& problems) {
  CheckText(value, path, problems);
  if (json_is_string(value) && !hasForm(TextOf(value))) {
    problems.Add(path + ": " + Quoted(TextOf(value)) + " is not " + form);
  }
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// In a pattern '0' stands for a decimal digit, 'x' for a lower-case hexadecimal one and everything
// else for itself.
bool Matches(std::string_view text, std::string_view pattern) {
  return std::ranges::equal(text, pattern, [](char c, char expected) {
    return expected == '0'   ? IsDigit(c)
           : expected == 'x' ? IsDigit(c) || (c >= 'a' && c <= 'f')
                             : c == expected;
  });
}

int Number(std::string_view digits) {
  int number = 0;
  for (const char c : digits) {
    number = 10 * number + (c - '0');
  }
  return number;
}

int DaysInMonth(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return kDays[month - 1] + (month == 2 && isLeap ? 1 : 0);
}

bool IsOffset(std::string_view text) {
  if (text == "Z") {
    return true;
  }
  return (Matches(text, "+00:00") || Matches(text, "-00:00")) && Number(text.substr(1, 2)) < 24 &&
         Number(text.substr(4, 2)) < 60;
}

}  // namespace

void Problems::Add(std::string problem) {
  if (listed_.size() < kMaxListed) {
    listed_.push_back(std::move(problem));
  } else {
    ++unlisted_;
  }
}

std::vector<std::string> Problems::List() const {
  std::vector<std::string> all = listed_;
  if (unlisted_ > 0) {
    all.push_back("and " + std::to_string(unlisted_) + " more");
  }
  return all;
}

bool CheckObject(const json_t* value,
                 std::span<const KeyRule> rules,
                 const std::string& path,
                 Problems& problems) {
  if (!json_is_object(value)) {
    AddWrongType(value, "an object", path.empty() ? "the record" : path, problems);
    return false;
  }
  for (const KeyRule& rule : rules) {
    if (rule.isRequired && json_object_getn(value, rule.key.data(), rule.key.size()) == nullptr) {
      problems.Add(MemberPath(path, rule.key) + " is missing");
    }
  }
  auto expected = rules.begin();
  ForEachMember(value, [&](std::string_view key, const json_t* member) {
    const auto rule = std::ranges::find(rules, key, &KeyRule::key);
    if (rule == rules.end()) {
      problems.Add(MemberPath(path, Cut(key)) + " is not a known key");
      return;
    }
    if (rule < expected) {
      problems.Add(MemberPath(path, key) + " comes after \"" + std::string((expected - 1)->key) +
                   "\" instead of before it");
    }
    expected = std::max(expected, rule + 1);
    rule->check(member, MemberPath(path, key), problems);
  });
  return true;
}

void CheckText(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_string(value)) {
    AddWrongType(value, "a string", path, problems);
  }
}

void CheckFilledText(const json_t* value, const std::string& path, Problems& problems) {
  CheckText(value, path, problems);
  if (json_is_string(value) && json_string_length(value) == 0) {
    problems.Add(path + " is empty");
  }
}

void CheckTextOrNumber(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_string(value) && !json_is_number(value)) {
    AddWrongType(value, "a string or a number", path, problems);
  }
}

void CheckTextList(const json_t* value, const std::string& path, Problems& problems) {
  if (!json_is_array(value)) {
    AddWrongType(value, "an array of strings", path, problems);
    return;
  }
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    CheckText(json_array_get(value, i), ItemPath(path, i), problems);
  }
}

void CheckTimeStamp(const json_t* value, const std::string& path, Problems& problems) {
  CheckForm(value, IsTimeStamp, "a time stamp (YYYY-MM-DDThh:mm:ss.mmm and an offset or Z)", path,
            problems);
}

void CheckSessionId(const json_t* value, const std::string& path, Problems& problems) {
  CheckForm(value, IsSessionId, "a session id (8-4-4-4-12 lower-case hexadecimal digits)", path,
            problems);
}

void CheckLibraryVersion(const json_t* value, const std::string& path, Problems& problems) {
  CheckForm(value, IsLibraryVersion, "a version of four numbers", path, problems);
}

bool IsTimeStamp(std::string_view text) {
  constexpr std::string_view kLocalForm = "0000-00-00T00:00:00.000";
  if (!Matches(text.substr(0, kLocalForm.size()), kLocalForm) ||
      !IsOffset(text.substr(kLocalForm.size()))) {
    return false;
  }
  const int month = Number(text.substr(5, 2));
  const int day = Number(text.substr(8, 2));
  if (month < 1 || month > 12) {
    return false;
  }
  return day >= 1 && day <= DaysInMonth(Number(text.substr(0, 4)), month) &&
         Number(text.substr(11, 2)) < 24 && Number(text.substr(14, 2)) < 60 &&
         Number(text.substr(17, 2)) < 60;
}

bool IsSessionId(std::string_view text) {
  return Matches(text, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx");
}

bool IsLibraryVersion(std::string_view text) {
  int numbers = 0;
  bool inNumber = false;
  for (const char c : text) {
    if (IsDigit(c)) {
      numbers += inNumber ? 0 : 1;
      inNumber = true;
    } else if (c == '.' && inNumber) {
      inNumber = false;
    } else {
      return false;
    }
  }
  return inNumber && numbers == 4;
}

std::string MemberPath(const std::string& path, std::string_view key) {
  const std::string quoted = '"' + std::string(key) + '"';
  return path.empty() ? quoted : path + ' ' + quoted;
}

std::string ItemPath(const std::string& path, std::size_t index) {
  return path + '[' + std::to_string(index) + ']';
}

std::string Quoted(std::string_view text) {
  return '"' + Cut(text) + '"';
}

void AddWrongType(const json_t* value,
                  std::string_view expected,
                  const std::string& path,
                  Problems& problems) {
  problems.Add(path + " is " + std::string(TypeName(value)) + " instead of " +
               std::string(expected));
}

}  // namespace Gateway
