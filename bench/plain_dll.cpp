// A DLL without work or imports of its own: what loading any DLL costs.
extern "C" __declspec(dllexport) int BenchPlain() {
  return 0;
}
