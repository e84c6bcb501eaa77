#include "gateway/store/forget.h"

#include <filesystem>
#include <system_error>

namespace Gateway {

int RunForget(const StoreOptions& options,
              const std::string& digest,
              std::FILE* out,
              std::FILE* errors) {
  std::error_code ignored;
  // A store is made when it is opened; a mistyped name must not make one and call it clean.
  if (!IsUrl(options.where) && !std::filesystem::exists(options.where, ignored)) {
    std::fprintf(errors, "gateway: there is no store %s\n", options.where.c_str());
    return 2;
  }
  std::string error;
  const std::unique_ptr<Store> store = OpenStore(options, error);
  const std::int64_t deleted = store != nullptr ? store->Forget(digest, error) : -1;
  if (deleted < 0) {
    std::fprintf(errors, "gateway: %s\n", error.c_str());
    return 2;
  }
  std::fprintf(out, "%lld records deleted\n", static_cast<long long>(deleted));
  return deleted > 0 ? 0 : 1;
}

}  // namespace Gateway
