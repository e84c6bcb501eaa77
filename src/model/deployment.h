// Selects the servers of a run and the names of its cache files, so that trial runs stay apart from
// production.
#pragma once

namespace Tav {

enum class Stage { Production, Internal, Development };

// Servers and cache files are selected separately: a debug log selects the development servers but
// leaves the cache files alone. Development wins over internal.
class Deployment {
 public:
  Stage Servers() const { return Select(developmentServers_); }
  Stage CacheFiles() const { return Select(developmentCacheFiles_); }

  // Servers and cache files.
  void SetDevelopment(bool enabled) {
    developmentServers_ = enabled;
    developmentCacheFiles_ = enabled;
  }
  void SetInternal(bool enabled) { internal_ = enabled; }
  void SetDevelopmentServers(bool enabled) { developmentServers_ = enabled; }
  // Back to production. The development servers stay selected: the next start sets them anew.
  void OnTerminate() {
    developmentCacheFiles_ = false;
    internal_ = false;
  }

 private:
  Stage Select(bool development) const {
    if (development) {
      return Stage::Development;
    }
    return internal_ ? Stage::Internal : Stage::Production;
  }

  bool developmentServers_ = false;
  bool developmentCacheFiles_ = false;
  bool internal_ = false;
};

}  // namespace Tav
