// How a value that the host gives, in JSON, changes the flattened product environment: a single
// value stands under its key, an element of a map under "key.member", one of a list under
// "key:item".
#pragma once

#include <jansson.h>

#include <string_view>

#include "model/env_value.h"

namespace Tav {

// Where the changes of one list or map go, beside the environment itself.
struct EnvChanges {
  bool afterInit = false;         // a session is running
  EnvMap* incremental = nullptr;  // collects the changes, when only those will be sent
  bool erased = false;            // result: elements were removed and nothing else changed
};

// Brings the entries of the list or map `key` in `map` into line with `object`, whose members are
// the elements. True when an element is new or different.
bool UpdateListOrMap(std::string_view key,
                     bool isMap,
                     EnvMap& map,
                     const json_t* object,
                     EnvChanges& changes);

}  // namespace Tav
