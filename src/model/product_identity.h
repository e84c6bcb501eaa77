// What identifies a product to servers and in the storage files.
#pragma once

#include <string>

namespace Tav {

struct ProductIdentity {
  std::string name;
  std::string version;  // with the host's qualifier
  std::string platform;
};

}  // namespace Tav
