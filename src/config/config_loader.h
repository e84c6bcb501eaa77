// Fetches the settings from the configuration server, once, on a thread of its own.
#pragma once

#include <memory>
#include <string>

#include "util/thread.h"

namespace Tav {

// Run starts the thread, which touches nothing but this object, so that an owner that has waited
// long enough may let go of it; the thread then ends within the limits of its data sender.
class ConfigLoader final : public Thread {
 public:
  explicit ConfigLoader(std::string url);

  const std::string& Url() const { return url_; }

  // The server's answer, whatever its status; empty when there was none. Only after Ended() has
  // said yes. The messages of the data sender tell why an answer is missing.
  const std::string& Answer() const { return answer_; }

 protected:
  ~ConfigLoader() override = default;
  void Main() override;

 private:
  const std::string url_;
  std::string answer_;
};

// Owns one reference to a loader.
struct ReleaseConfigLoader {
  void operator()(ConfigLoader* loader) const { loader->Release(); }
};
using ConfigLoaderPtr = std::unique_ptr<ConfigLoader, ReleaseConfigLoader>;

// A loader that asks for the settings of one product, not yet started. The server is the one that
// the host has set, the one that TAV_CONFIGURATOR names, or a built-in one. Throws std::bad_alloc.
ConfigLoaderPtr CreateConfigLoader(const std::string& productName,
                                   const std::string& productVersion,
                                   const std::string& platform);

// The configuration server of the host's choice, for the whole process and for loaders created from
// now on; an empty text takes it back. Any thread.
void SetHostConfigUrl(std::string url);

}  // namespace Tav
