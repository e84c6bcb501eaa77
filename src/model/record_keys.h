// The key names of the uploaded record, each defined only here. They are a contract with the
// gateway; docs/record-format.md describes their values.
#pragma once

#include <string_view>

namespace Tav::Key {

// The header.
inline constexpr std::string_view kProductName = "pn";
inline constexpr std::string_view kProductVersion = "pv";
inline constexpr std::string_view kPlatform = "pp";
inline constexpr std::string_view kLibraryVersion = "sv";
inline constexpr std::string_view kLayoutVersion = "tv";
inline constexpr std::string_view kEndpoint = "ep";
inline constexpr std::string_view kCustomer = "c";
inline constexpr std::string_view kUser = "u";
inline constexpr std::string_view kProductContext = "px";
inline constexpr std::string_view kProductComponent = "pc";
inline constexpr std::string_view kTags = "pt";
inline constexpr std::string_view kProductEnvironment = "pe";
inline constexpr std::string_view kClientEnvironment = "ce";
inline constexpr std::string_view kEvents = "rt";
inline constexpr std::string_view kComponentName = "can";
inline constexpr std::string_view kComponentVersion = "cav";

// An event.
inline constexpr std::string_view kTime = "t";
inline constexpr std::string_view kSession = "s";
inline constexpr std::string_view kMarkerName = "g";
inline constexpr std::string_view kEventName = "m";
inline constexpr std::string_view kProperties = "v";
inline constexpr std::string_view kSessionEnvironment = "se";

// Reserved members of the payloads and of the product environment.
inline constexpr std::string_view kIncremental = "std-Incremental";
inline constexpr std::string_view kCommandName = "std-Name";
inline constexpr std::string_view kErrorCode = "std-ErrCode";
inline constexpr std::string_view kErrorMessage = "std-ErrMsg";
inline constexpr std::string_view kTrace = "std-Trace";
inline constexpr std::string_view kLocation = "std-Loc";
inline constexpr std::string_view kLibrary = "std-Lib";
inline constexpr std::string_view kMeta = "std-Meta";
inline constexpr std::string_view kPlaces = "std-Place";
inline constexpr std::string_view kCommands = "std-Cmd";

// Marker names that are not places.
inline constexpr std::string_view kSessionBegin = "$b";
inline constexpr std::string_view kSessionEnd = "$e";
inline constexpr std::string_view kIdle = "$i";

// The layout version that "tv" carries.
inline constexpr int kLayoutVersionNumber = 3;

}  // namespace Tav::Key
