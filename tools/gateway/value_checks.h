// What the record format's rules are made of: the list of problems, the keys of an object, and
// checks of single values.
#pragma once

#include <jansson.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Gateway {

// What is wrong with a record, in the order in which it was found; texts for people. A record can
// be wrong in every one of its events, so only the first kMaxListed problems are kept; the rest are
// counted.
class Problems {
 public:
  static constexpr std::size_t kMaxListed = 20;

  void Add(std::string problem);

  // The problems; a last line says how many more there were.
  std::vector<std::string> List() const;

 private:
  std::vector<std::string> listed_;
  std::size_t unlisted_ = 0;
};

// Adds to `problems` what is wrong with `value`. `path` names its place: `"rt"[3] "v"`, empty for
// the record itself.
using ValueCheck = void (*)(const json_t* value, const std::string& path, Problems& problems);

struct KeyRule {
  std::string_view key;
  bool isRequired;
  ValueCheck check;
};

// Checks that `value` is an object that holds the keys of `rules` and no others, in the order of
// `rules`, each with a good value. Returns false if it is not an object.
bool CheckObject(const json_t* value,
                 std::span<const KeyRule> rules,
                 const std::string& path,
                 Problems& problems);

void CheckText(const json_t* value, const std::string& path, Problems& problems);
void CheckFilledText(const json_t* value, const std::string& path, Problems& problems);
void CheckTextOrNumber(const json_t* value, const std::string& path, Problems& problems);
void CheckTextList(const json_t* value, const std::string& path, Problems& problems);
void CheckTimeStamp(const json_t* value, const std::string& path, Problems& problems);
void CheckSessionId(const json_t* value, const std::string& path, Problems& problems);
void CheckLibraryVersion(const json_t* value, const std::string& path, Problems& problems);

// YYYY-MM-DDThh:mm:ss.mmm followed by Z or by an offset like +01:00; the date must exist.
bool IsTimeStamp(std::string_view text);
// A UUID as 8-4-4-4-12 lower-case hexadecimal digits.
bool IsSessionId(std::string_view text);
// Four decimal numbers with dots between them.
bool IsLibraryVersion(std::string_view text);

// The path of a member: `"rt"[3]` and `"v"` make `"rt"[3] "v"`.
std::string MemberPath(const std::string& path, std::string_view key);
std::string ItemPath(const std::string& path, std::size_t index);

// A text in quotes, cut if it is long, for messages.
std::string Quoted(std::string_view text);

// Adds "PATH is TYPE instead of EXPECTED".
void AddWrongType(const json_t* value,
                  std::string_view expected,
                  const std::string& path,
                  Problems& problems);

}  // namespace Gateway
