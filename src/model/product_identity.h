// What identifies a product to servers and in the storage files.
#pragma once

#include <string>

namespace Tav {

struct ProductIdentity {
  std::string name;
  std::string version;   // includes the application's qualifier, if any
  std::string platform;  // a code such as "wntx64"
};

}  // namespace Tav
