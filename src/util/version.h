// The library's own version.
#pragma once

namespace Tav {

// What TavGetVersion returns, every record carries under "sv", and every request names in its
// user agent and its X-SDKVersion header.
inline constexpr char kLibraryVersion[] = "2.8.2.1187559";

}  // namespace Tav
