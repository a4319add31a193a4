// vexregister: registers the server for every user or, without administrator rights, for the user who runs it.
//
// The DLL's entry points write under HKEY_CLASSES_ROOT. For one user, that key is HKEY_CURRENT_USER\Software\Classes
// for as long as they run.
#include <windows.h>

#include <objbase.h>
#include <shellapi.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "server/registrar.h"

namespace {

constexpr const char* usage = "vexregister " VEX_VERSION
                              R"(: registers the camera automation server, so that programs find it.

  vexregister --user [DLL]               for you alone; needs no administrator rights
  vexregister --everyone [DLL]           for all users of this computer; needs administrator rights
  vexregister --remove --user [DLL]      takes it back
  vexregister --remove --everyone [DLL]

DLL is the server; without it, the VexKamCOMWrapper.dll beside this program is meant.
The program ends with 0 when it worked, with 1 when it failed, with 2 when the command line is wrong.
)";

struct CommandLine {
    bool user = false;
    bool everyone = false;
    bool remove = false;
    std::filesystem::path dll;
};

/// What went wrong, as a whole sentence, and the code of the system.
struct Failure {
    std::string text;
    HRESULT code;
};

void check(HRESULT code, const char* text)
{
    if (FAILED(code)) {
        throw Failure{text, code};
    }
}

void check_system(LSTATUS code, const char* text) { check(HRESULT_FROM_WIN32(static_cast<DWORD>(code)), text); }

std::filesystem::path own_folder()
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

/// False when it is wrong.
bool parse(const std::vector<std::wstring>& arguments, CommandLine& line)
{
    for (const std::wstring& argument : arguments) {
        if (argument == L"--user") {
            line.user = true;
        } else if (argument == L"--everyone") {
            line.everyone = true;
        } else if (argument == L"--remove") {
            line.remove = true;
        } else if (argument.starts_with(L"-") || !line.dll.empty()) {
            return false;
        } else {
            line.dll = std::filesystem::absolute(argument);
        }
    }
    if (line.dll.empty()) {
        line.dll = own_folder() / L"VexKamCOMWrapper.dll";
    }
    return line.user != line.everyone;
}

/// While it lives, this process writes a user's classes where it would write everyone's.
class UserClasses {
public:
    UserClasses()
    {
        // the registrar is the system's: it is looked up before the user's classes hide it
        check(CoGetClassObject(vex::server::clsid_of_registrar, CLSCTX_INPROC_SERVER, nullptr, IID_IUnknown,
                               reinterpret_cast<void**>(&registrar_)),
              "The system's registrar was not found.");
        check(CoRegisterClassObject(vex::server::clsid_of_registrar, registrar_, CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &cookie_),
              "The system's registrar cannot be used.");
        check_system(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                     &key_, nullptr),
                     "Your part of the registry cannot be written.");
        check_system(RegOverridePredefKey(HKEY_CLASSES_ROOT, key_), "Your part of the registry cannot be used.");
        // type libraries go to the user's classes, too; systems that do not have the call do so anyway
        const HMODULE automation = LoadLibraryW(L"oleaut32.dll");
        const auto enable = reinterpret_cast<void(WINAPI*)()>(
            reinterpret_cast<void*>(GetProcAddress(automation, "OaEnablePerUserTLibRegistration")));
        if (enable != nullptr) {
            enable();
        }
    }
    UserClasses(const UserClasses&) = delete;
    UserClasses& operator=(const UserClasses&) = delete;
    ~UserClasses()
    {
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        for (const wchar_t* shared : {L"AppID", L"CLSID", L"Interface", L"TypeLib"}) {
            remove_if_empty(shared);
        }
        RegCloseKey(key_);
        CoRevokeClassObject(cookie_);
        registrar_->Release();
    }

private:
    /// Keys that other programs' classes stand in, too, and that a user without any does not have.
    void remove_if_empty(const wchar_t* name) const
    {
        HKEY opened = nullptr;
        if (RegOpenKeyExW(key_, name, 0, KEY_READ, &opened) != ERROR_SUCCESS) {
            return;
        }
        DWORD keys = 1;
        DWORD values = 1;
        RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                         nullptr);
        RegCloseKey(opened);
        if (keys == 0 && values == 0) {
            RegDeleteKeyW(key_, name);
        }
    }

    IUnknown* registrar_ = nullptr;
    DWORD cookie_ = 0;
    HKEY key_ = nullptr;
};

HRESULT call_server(const CommandLine& line)
{
    const HMODULE server = LoadLibraryExW(line.dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (server == nullptr) {
        throw Failure{"The server's DLL cannot be loaded.", HRESULT_FROM_WIN32(GetLastError())};
    }
    const auto entry = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(server, line.remove ? "DllUnregisterServer" : "DllRegisterServer")));
    const HRESULT outcome = entry != nullptr ? entry() : E_NOINTERFACE;
    FreeLibrary(server);
    return outcome;
}

void run(const CommandLine& line)
{
    const char* const failed = line.remove ? "Not everything of the server's registration could be removed."
                                           : "The server could not be registered.";
    if (line.user) {
        const UserClasses classes;
        check(call_server(line), failed);
    } else {
        check(call_server(line), failed);
    }
    std::printf("The server is %s registered for %s.\n", line.remove ? "no longer" : "now",
                line.user ? "you" : "all users");
}

}  // namespace

int main()
{
    int count = 0;
    wchar_t** given = CommandLineToArgvW(GetCommandLineW(), &count);
    CommandLine line;
    const bool right = parse({given + 1, given + count}, line);
    LocalFree(given);
    if (!right) {
        std::fputs(usage, stderr);
        return 2;
    }
    int code = 0;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    try {
        run(line);
    } catch (const Failure& failure) {
        std::fprintf(stderr, "%s The system's error code is 0x%08lX.\n", failure.text.c_str(),
                     static_cast<unsigned long>(failure.code));
        code = 1;
    }
    CoUninitialize();
    return code;
}
