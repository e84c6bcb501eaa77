// The product environment before and after initialisation.
#pragma once

#include <string>
#include <string_view>

namespace Tav {

// Adds one of the library's own values. Hosts cannot set their keys, which contain "std-".
void AddLibraryValue(std::string_view key, std::string text);

}  // namespace Tav
