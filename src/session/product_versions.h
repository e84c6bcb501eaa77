// The versions of a product that have run on this machine.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "model/product_identity.h"
#include "util/storage_directory.h"

namespace Tav {

// All but the product's own version, from both storage files: a version that never reached a server
// is in that of the time stamps only. The newest 500 of each file, these first. Versions in a
// locked file are missing. Blocks as an open of these files does. Throws std::bad_alloc.
std::vector<std::string> OtherVersions(const ProductIdentity& product,
                                       const std::optional<StorageLocation>& location);

}  // namespace Tav
