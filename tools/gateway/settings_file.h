// The file that answers requests for settings, and its replacement by the page.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace Gateway {

// Thread-safe.
class SettingsFile {
 public:
  explicit SettingsFile(std::string path) : path_(std::move(path)) {}

  const std::string& Path() const { return path_; }

  // Nothing if the file cannot be read.
  std::optional<std::string> Read() const;

  enum class Outcome { Written, Changed, Failed };

  // Replaces the file, unless its SHA-256 is no longer `base`: then somebody else has changed it.
  // Readers see the old file or the new one, never a part. An empty `base` replaces any file.
  Outcome Replace(const std::string& text, const std::string& base, std::string& error);

 private:
  const std::string path_;
  std::mutex lock_;  // one writer at a time
};

}  // namespace Gateway
