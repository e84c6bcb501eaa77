// The description of the client machine: a text under each label.
#pragma once

#include <map>
#include <string>

namespace Tav {

// Ordered byte-wise by label. Labels and texts are UTF-8.
using ClientEnv = std::map<std::string, std::string>;

}  // namespace Tav
