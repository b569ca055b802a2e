// The module's entry point: the library does no work of its own when it is
// loaded or unloaded, nor when threads start or end.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
    return TRUE;
}
