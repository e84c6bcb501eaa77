#include "gateway/settings_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "gateway/digest.h"
#include "gateway/file_path.h"

namespace Gateway {
namespace {

// The new file has the permissions of the old one. Failing to set them is no reason to fail.
void CopyPermissions(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::error_code ignored;
  const auto status = std::filesystem::status(from, ignored);
  if (!ignored) {
    std::filesystem::permissions(to, status.permissions(), ignored);
  }
}

}  // namespace

std::optional<std::string> SettingsFile::Read() const {
  std::ifstream file(FilePath(path_), std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

SettingsFile::Outcome SettingsFile::Replace(const std::string& text,
                                            const std::string& base,
                                            std::string& error) {
  const std::scoped_lock guard(lock_);
  const std::optional<std::string> old = Read();
  if (!base.empty() && (!old || Sha256Hex(*old) != base)) {
    return Outcome::Changed;
  }
  std::error_code failure;
  // A link stays a link: the file that it names is replaced.
  std::filesystem::path target = std::filesystem::weakly_canonical(FilePath(path_), failure);
  target = failure ? FilePath(path_) : target;
  std::filesystem::path draft = target;
  draft += ".new";
  if (std::ofstream file(draft, std::ios::binary); !(file << text << std::flush)) {
    error = "cannot write " + Utf8(draft);
    return Outcome::Failed;
  }
  CopyPermissions(target, draft);
  std::filesystem::rename(draft, target, failure);
  error = failure ? "cannot replace " + Utf8(target) + ": " + failure.message() : "";
  return failure ? Outcome::Failed : Outcome::Written;
}

}  // namespace Gateway
