#include "platform/wmi.h"

#include <windows.h>
// These need windows.h.
#include <oleauto.h>
#include <wbemcli.h>

#include <cstdio>
#include <string_view>

#include "platform/windows/system_library.h"
#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

constexpr CLSID kLocatorClass = {0x4590F811,
                                 0x1D3A,
                                 0x11D0,
                                 {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr IID kLocatorInterface = {0xDC12A687,
                                   0x737F,
                                   0x11CF,
                                   {0x88, 0x4D, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};

// The COM functions that are used here.
struct ComLibrary {
  bool Load() {
    static constexpr wchar_t kCom[] = L"ole32.dll";
    static constexpr wchar_t kAutomation[] = L"oleaut32.dll";
    return FindSystemFunction(kCom, "CoInitializeEx", initialize) &&
           FindSystemFunction(kCom, "CoUninitialize", uninitialize) &&
           FindSystemFunction(kCom, "CoCreateInstance", createInstance) &&
           FindSystemFunction(kCom, "CoSetProxyBlanket", setProxyBlanket) &&
           FindSystemFunction(kAutomation, "SysAllocString", allocate) &&
           FindSystemFunction(kAutomation, "SysFreeString", free) &&
           FindSystemFunction(kAutomation, "VariantClear", clear);
  }

  decltype(CoInitializeEx)* initialize = nullptr;
  decltype(CoUninitialize)* uninitialize = nullptr;
  decltype(CoCreateInstance)* createInstance = nullptr;
  decltype(CoSetProxyBlanket)* setProxyBlanket = nullptr;
  decltype(SysAllocString)* allocate = nullptr;
  decltype(SysFreeString)* free = nullptr;
  decltype(VariantClear)* clear = nullptr;
};

// Owns one reference to an interface, or none.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ~ComPtr() { Reset(); }
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;

  void Reset() {
    if (pointer_) {
      pointer_->Release();
      pointer_ = nullptr;
    }
  }
  // The target for a call that returns a reference.
  Interface** Receive() {
    Reset();
    return &pointer_;
  }
  Interface* Get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  Interface* pointer_ = nullptr;
};

class ComText {
 public:
  ComText(const ComLibrary& com, std::string_view text)
      : com_(com), text_(com.allocate(ToWide(text).c_str())) {}
  ~ComText() { com_.free(text_); }
  ComText(const ComText&) = delete;
  ComText& operator=(const ComText&) = delete;

  BSTR Get() const { return text_; }

 private:
  const ComLibrary& com_;
  wchar_t* const text_;  // null if memory ran out; COM's functions report it
};

class ComVariant {
 public:
  explicit ComVariant(const ComLibrary& com) : com_(com) {}
  ~ComVariant() { com_.clear(&value); }
  ComVariant(const ComVariant&) = delete;
  ComVariant& operator=(const ComVariant&) = delete;

  VARIANT value{};

 private:
  const ComLibrary& com_;
};

std::string RealText(double number) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%g", number);
  std::string text = buffer;
  // The system's C run-time writes three digits of the exponent.
  const size_t exponent = text.find('e');
  if (exponent != text.npos && text.size() == exponent + 5 && text[exponent + 2] == '0') {
    text.erase(exponent + 2, 1);
  }
  return text;
}

WmiValue ToValue(const VARIANT& variant) {
  WmiValue value;
  value.type = variant.vt;
  switch (variant.vt) {
    case VT_EMPTY:
    case VT_NULL:
      break;
    case VT_I2:
      value.text = std::to_string(variant.iVal);
      break;
    case VT_I4:
      value.text = std::to_string(variant.lVal);
      break;
    case VT_INT:
      value.text = std::to_string(variant.intVal);
      break;
    case VT_UI2:
      value.text = std::to_string(variant.uiVal);
      break;
    case VT_UI4:
      value.text = std::to_string(variant.ulVal);
      break;
    case VT_UI8:
      value.text = std::to_string(variant.ullVal);
      break;
    case VT_UINT:
      value.text = std::to_string(variant.uintVal);
      break;
    case VT_R4:
      value.text = RealText(static_cast<double>(variant.fltVal));
      break;
    case VT_R8:
      value.text = RealText(variant.dblVal);
      break;
    case VT_BSTR:
      value.text = ToUtf8(variant.bstrVal ? variant.bstrVal : L"");
      break;
    default:
      value.supported = false;
      break;
  }
  return value;
}

class ComWmiSource final : public WmiSource {
 public:
  ~ComWmiSource() override {
    row_.Reset();
    rows_.Reset();
    services_.Reset();
    locator_.Reset();
    if (initialized_) {
      com_.uninitialize();
    }
  }

  WmiOpenResult Open() override;
  long Execute(const std::string& query) override;
  WmiNextResult Next(int milliseconds) override;
  long Get(const std::string& property, WmiValue& value) override;

 private:
  ComLibrary com_;
  bool initialized_ = false;
  ComPtr<IWbemLocator> locator_;
  ComPtr<IWbemServices> services_;
  ComPtr<IEnumWbemClassObject> rows_;
  ComPtr<IWbemClassObject> row_;
};

WmiOpenResult ComWmiSource::Open() {
  if (!com_.Load()) {
    return {WmiStep::Initialize, HRESULT_FROM_WIN32(GetLastError())};
  }
  HRESULT status = com_.initialize(nullptr, COINIT_MULTITHREADED);
  if (FAILED(status)) {
    return {WmiStep::Initialize, status};
  }
  initialized_ = true;
  status = com_.createInstance(kLocatorClass, nullptr, CLSCTX_INPROC_SERVER, kLocatorInterface,
                               reinterpret_cast<void**>(locator_.Receive()));
  if (FAILED(status)) {
    return {WmiStep::CreateLocator, status};
  }
  // The flag limits the wait for a service that does not respond to two minutes.
  const ComText name(com_, "ROOT\\CIMV2");
  status =
      locator_->ConnectServer(name.Get(), nullptr, nullptr, nullptr, WBEM_FLAG_CONNECT_USE_MAX_WAIT,
                              nullptr, nullptr, services_.Receive());
  if (FAILED(status)) {
    return {WmiStep::Connect, status};
  }
  status =
      com_.setProxyBlanket(services_.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                           RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
  return FAILED(status) ? WmiOpenResult{WmiStep::SetSecurity, status} : WmiOpenResult{};
}

long ComWmiSource::Execute(const std::string& query) {
  row_.Reset();
  const ComText language(com_, "WQL");
  const ComText text(com_, query);
  return services_->ExecQuery(language.Get(), text.Get(),
                              WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                              rows_.Receive());
}

WmiNextResult ComWmiSource::Next(int milliseconds) {
  WmiNextResult result;
  result.status = rows_->Next(milliseconds, 1, row_.Receive(), &result.count);
  result.timedOut = result.status == WBEM_S_TIMEDOUT;
  return result;
}

long ComWmiSource::Get(const std::string& property, WmiValue& value) {
  ComVariant variant(com_);
  const HRESULT status = row_->Get(ToWide(property).c_str(), 0, &variant.value, nullptr, nullptr);
  if (SUCCEEDED(status)) {
    value = ToValue(variant.value);
  }
  return status;
}

}  // namespace

std::unique_ptr<WmiSource> CreateWmiSource() {
  return std::make_unique<ComWmiSource>();
}

}  // namespace Tav::Platform
