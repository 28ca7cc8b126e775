// The unit tests link the module's code into an executable, which no loader
// attaches; on Linux the ELF constructor still runs, here the program calls
// the DLL entry itself before any test, as the loader would.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID);

namespace {
const BOOL g_attached = DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
}  // namespace
