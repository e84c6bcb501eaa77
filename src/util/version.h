// The version of the library.
#pragma once

namespace Tav {

// Returned by TavGetVersion, written to every record as "sv", and sent with every request in the
// user agent and the X-SDKVersion header.
inline constexpr char kLibraryVersion[] = "2.8.2.1187559";

}  // namespace Tav
