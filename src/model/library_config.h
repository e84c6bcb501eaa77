// What the host sets before initialisation.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/deployment.h"
#include "model/env_value.h"
#include "model/event_size.h"
#include "util/json.h"
#include "util/storage_directory.h"

namespace Tav {

// A tuning value that the host has not set: the server's setting or a default applies.
inline constexpr int kNotSet = -1;

// A product value that was set before initialisation: a single value, or the members of a map or
// list.
struct PendingProductValue {
  EnvValue value;
  bool isMap = false;  // for a payload: a map, else a list
  JsonPtr payload;     // null for a single value
};

using PendingProductValues = std::map<std::string, PendingProductValue, std::less<>>;
// Category name -> tags, in the order in which they were added.
using TagMap = std::map<std::string, std::vector<std::string>, std::less<>>;

// What a run gets as a copy.
struct Options {
  std::string productName;
  std::string productVersion;
  std::string customerId;
  std::string userId;  // a digest, never the identifier itself
  std::string productComponentName;
  std::string productContext;
  bool optOut = false;
  std::string auxiliaryString;
  std::string cacheDirectory;
  StorageLocation storage;        // of this run
  bool noImpliedRecords = false;  // the state flag: no session begin, end, place and idle markers
  int cacheSize = kNotSet;        // cache files of about a megabyte each
  int maxCacheBytes = kNotSet;    // bytes per cache file
  int maxRecordSize = kNotSet;    // bytes
  int maxEventSize = EventSize::kDefaultMaximum;  // bytes
  int maxMemorySize = kNotSet;                    // bytes
  int flushInterval = kNotSet;                    // seconds
  int pauseInterval = kNotSet;                    // seconds
  bool persistentInterval = false;
  int sendInterval = 300;       // seconds
  int sendThreshold = kNotSet;  // bytes
  int breadcrumbLength = 10;    // recent places and commands kept for error events
  Deployment deployment;        // as it is at initialisation
  std::string hostConfigUrl;    // the configuration server; empty: not set
};

struct LibraryConfig : Options {
  std::unique_ptr<PendingProductValues> productValues;
  std::unique_ptr<EnvMap> sessionEnvironment;
  std::unique_ptr<TagMap> tags;

  // What a session manager gets: a copy of the options, and the three collections themselves.
  LibraryConfig TakeForManager() {
    const Options& options = *this;
    return {options, std::move(productValues), std::move(sessionEnvironment), std::move(tags)};
  }
};

}  // namespace Tav
