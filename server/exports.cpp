// The DLL's entry points.
#include "server/class_table.h"
#include "server/com.h"
#include "server/module.h"
#include "server/registration.h"

using namespace vex;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID process_is_ending)
{
    if (reason == DLL_PROCESS_ATTACH) {
        // thread notifications stay on: the runtime inside this DLL frees its per-thread state by them
        server::module().load(instance, server::class_table());
    } else if (reason == DLL_PROCESS_DETACH && process_is_ending == nullptr) {
        // when the process ends, the system takes everything back, and what would be released may be gone already
        server::module().unload();
    }
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object)
{
    return server::module().class_object(clsid, iid, object);
}

STDAPI DllCanUnloadNow() { return server::module().lock_count() == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() { return server::register_server(); }

STDAPI DllUnregisterServer() { return server::unregister_server(); }
