#include "platform/monitors.h"

#include <windows.h>

#include <cstdlib>

#include "platform/windows/system_library.h"

namespace Tav::Platform {

namespace {

constexpr wchar_t kLibrary[] = L"user32.dll";

BOOL CALLBACK AddMonitor(HMONITOR, HDC, RECT* area, LPARAM argument) {
  auto& sizes = *reinterpret_cast<std::vector<MonitorSize>*>(argument);
  // Nothing may be thrown through the system's frames: room for all was made before.
  if (sizes.size() == sizes.capacity()) {
    return FALSE;
  }
  sizes.push_back({std::labs(area->right - area->left), std::labs(area->bottom - area->top)});
  return TRUE;
}

}  // namespace

std::optional<Monitors> QueryMonitors() {
  decltype(GetSystemMetrics)* getMetrics = nullptr;
  decltype(EnumDisplayMonitors)* enumerate = nullptr;
  if (!FindSystemFunction(kLibrary, "GetSystemMetrics", getMetrics) ||
      !FindSystemFunction(kLibrary, "EnumDisplayMonitors", enumerate)) {
    return std::nullopt;
  }
  // One that is plugged in meanwhile finds room, too.
  constexpr size_t kSpare = 16;
  Monitors monitors;
  monitors.primaryWidth = getMetrics(SM_CXSCREEN);
  monitors.primaryHeight = getMetrics(SM_CYSCREEN);
  monitors.count = getMetrics(SM_CMONITORS);
  if (monitors.count > 1) {
    monitors.sizes.reserve(static_cast<size_t>(monitors.count) + kSpare);
    enumerate(nullptr, nullptr, AddMonitor, reinterpret_cast<LPARAM>(&monitors.sizes));
  }
  return monitors;
}

}  // namespace Tav::Platform
