#include "server/registration.h"

#include <string>

#include "generated/class_facts.h"
#include "server/com.h"
#include "server/module.h"
#include "server/ref.h"
#include "server/registrar.h"
#include "server/wall.h"

namespace vex::server {

namespace {

/// Registration reads and writes in the system's locale, whatever the caller's is.
class SystemLocale {
public:
    SystemLocale() noexcept : saved_(GetThreadLocale()) { SetThreadLocale(LOCALE_SYSTEM_DEFAULT); }
    SystemLocale(const SystemLocale&) = delete;
    SystemLocale& operator=(const SystemLocale&) = delete;
    ~SystemLocale() { SetThreadLocale(saved_); }

private:
    LCID saved_;
};

/// Throws what the last error says.
std::wstring module_path()
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module().instance(), path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            throw HresultError{HRESULT_FROM_WIN32(GetLastError())};
        }
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

/// Text inside a script's quotes: an apostrophe ends it unless doubled.
std::wstring quoted(const std::wstring& text)
{
    std::wstring doubled;
    for (const wchar_t character : text) {
        doubled.append(character == L'\'' ? 2 : 1, character);
    }
    return doubled;
}

void check(HRESULT result)
{
    if (FAILED(result)) {
        throw HresultError{result};
    }
}

/// The system's registrar, ready to run this module's scripts.
class Scripts {
public:
    explicit Scripts(std::wstring path) : path_(std::move(path))
    {
        check(CoCreateInstance(clsid_of_registrar, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IRegistrar),
                               registrar_.put_void()));
        check(registrar_->AddReplacement(L"MODULE", quoted(path_).c_str()));
        check(registrar_->AddReplacement(L"APPID", app_id));
    }

    HRESULT write(UINT script) const { return registrar_->ResourceRegister(path_.c_str(), script, L"REGISTRY"); }
    HRESULT erase(UINT script) const { return registrar_->ResourceUnregister(path_.c_str(), script, L"REGISTRY"); }

private:
    std::wstring path_;
    Ref<IRegistrar> registrar_;
};

/// A registrar may leave a class key that holds keys its script does not name, and still report success.
HRESULT remove_class_key(const CLSID& clsid)
{
    wchar_t key[64] = L"CLSID\\";
    StringFromGUID2(clsid, key + 6, 58);
    const LSTATUS removed = RegDeleteTreeW(HKEY_CLASSES_ROOT, key);
    return removed == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(removed));
}

void register_type_library(std::wstring path)
{
    Ref<ITypeLib> library;
    check(LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
    std::wstring folder = path.substr(0, path.find_last_of(L"\\/"));
    check(RegisterTypeLib(library.get(), path.data(), folder.data()));
}

HRESULT unregister_type_library(const std::wstring& path)
{
    Ref<ITypeLib> library;
    check(LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
    TLIBATTR* attributes = nullptr;
    check(library->GetLibAttr(&attributes));
    const TLIBATTR copy = *attributes;
    library->ReleaseTLibAttr(attributes);
    library.reset();
    return UnRegisterTypeLib(copy.guid, copy.wMajorVerNum, copy.wMinorVerNum, copy.lcid, copy.syskind);
}

}  // namespace

HRESULT register_server() noexcept
{
    const SystemLocale locale;
    return guarded([] {
        const std::wstring path = module_path();
        const Scripts scripts(path);
        check(scripts.write(module_script));
        for (const ClassEntry& entry : module().classes()) {
            check(scripts.write(entry.script));
        }
        register_type_library(path);
        return S_OK;
    });
}

HRESULT unregister_server() noexcept
{
    const SystemLocale locale;
    HRESULT first = S_OK;
    const auto note = [&first](HRESULT result) {
        if (FAILED(result) && SUCCEEDED(first)) {
            first = result;
        }
    };
    note(guarded([&] {
        const std::wstring path = module_path();
        const Scripts scripts(path);
        for (const ClassEntry& entry : module().classes()) {
            note(scripts.erase(entry.script));
            note(remove_class_key(*entry.clsid));
        }
        note(guarded([&] { return unregister_type_library(path); }));
        note(scripts.erase(module_script));
        return S_OK;
    }));
    return first;
}

}  // namespace vex::server
