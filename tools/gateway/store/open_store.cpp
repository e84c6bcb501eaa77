#include "gateway/store/open_store.h"

namespace Gateway {

std::unique_ptr<Store> OpenStore(const StoreOptions& options, std::string& error) {
  error = "this gateway is built without a store for " + options.where;
  return nullptr;
}

}  // namespace Gateway
