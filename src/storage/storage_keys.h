// The keys of the storage documents that more than one file names.
#pragma once

namespace Tav::StorageKeys {

inline constexpr char kProducts[] = "Products";
inline constexpr char kName[] = "Name";
inline constexpr char kVersion[] = "Version";
inline constexpr char kPlatform[] = "Platform";
inline constexpr char kRegistered[] = "Registered";
inline constexpr char kServer[] = "Server";
inline constexpr char kPendingOptOut[] = "PendingStdOptOut";
inline constexpr char kValues[] = "Values";
inline constexpr char kSettings[] = "Settings";
inline constexpr char kInhibit[] = "Inhibit";

}  // namespace Tav::StorageKeys
