// Reads the declarations of tav.h that a binding for another language needs: constants, the table
// of slots and the component record. Reads this header's style, not C in general; what it does not
// understand is an error, so that a change of the header cannot be missed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bindings/types.h"

namespace Bindings {

struct Parameter {
  std::string name;
  Type type = Type::Void;
};

// A slot of the table or a word of the component record.
struct Member {
  std::string name;
  bool isFunction = true;
  Type type = Type::Void;  // of the result, or of the field
  std::vector<Parameter> parameters;
  std::string comment;  // of this member or of the group that it belongs to
};

struct Constant {
  std::string name;
  long long value = 0;
  std::string comment;
};

struct Enumeration {
  std::string comment;
  std::vector<Constant> constants;
};

struct Header {
  int interfaceVersion = 0;
  std::string libraryVersion;
  std::string loaderName;
  std::vector<Constant> numbers;  // the other #defines with a number
  std::vector<Enumeration> enumerations;
  std::vector<Member> table;      // by slot
  std::vector<Member> component;  // by word
};

// Nothing, with the reason and the line in `error`, if the text is not understood.
std::optional<Header> ParseHeader(std::string_view text, std::string& error);

}  // namespace Bindings
