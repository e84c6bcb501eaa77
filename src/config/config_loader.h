// Fetches the settings from the configuration server once, on its own thread.
#pragma once

#include <memory>
#include <string>

#include "model/deployment.h"
#include "model/product_identity.h"
#include "transport/data_sender.h"
#include "util/thread.h"

namespace Tav {

// Run starts the thread, which uses nothing but this object. An owner whose wait has timed out may
// release its reference while the thread runs; the thread ends within the time limits of its data
// sender.
class ConfigLoader final : public Thread {
 public:
  explicit ConfigLoader(std::string url);

  const std::string& Url() const { return url_; }

  // The body of the server's answer, whatever its status; empty when there was none, which the data
  // sender has logged. Only after Ended() has returned true.
  const std::string& Answer() const { return answer_; }

  // When the loader was made or its request last made progress, on the scale of
  // Platform::MonotonicMilliseconds.
  int64_t LastProgress() const { return progress_.Last(); }

 protected:
  ~ConfigLoader() override = default;
  void Main() override;

 private:
  const std::string url_;
  std::string answer_;
  SendingProgress progress_;
};

// Owns one reference to a loader.
struct ReleaseConfigLoader {
  void operator()(ConfigLoader* loader) const { loader->Release(); }
};
using ConfigLoaderPtr = std::unique_ptr<ConfigLoader, ReleaseConfigLoader>;

// A loader for the settings of one product, not yet started. The server is `hostUrl` when that is
// not empty, else the one in TAV_CONFIGURATOR, else the built-in one of the deployment. Throws
// std::bad_alloc.
ConfigLoaderPtr CreateConfigLoader(const ProductIdentity& product,
                                   const std::string& hostUrl,
                                   const Deployment& deployment);

}  // namespace Tav
