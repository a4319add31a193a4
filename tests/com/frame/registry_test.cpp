// What registration writes and unregistration takes back. Runs alone: it unregisters the server and registers it again.
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/com/class_list.h"
#include "tests/com/com_client.h"

namespace {

using client::guid;
using client::known_classes;
using client::KnownClass;
using client::Ref;

constexpr const wchar_t* app_id = L"{6E01AF43-7C9C-4105-9AAC-3750C1E6AAC7}";
const std::wstring server_path = std::filesystem::path(VEX_SERVER_PATH).make_preferred().wstring();
constexpr const wchar_t* library_id = L"{700AA29B-D8AA-4AEE-9675-F81AB620D46E}";

/// A value under HKEY_CLASSES_ROOT; the key's default value for an empty name.
std::optional<std::wstring> read(const std::wstring& key, const std::wstring& name = L"")
{
    wchar_t text[1024];
    DWORD size = sizeof text;
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, text, &size) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    return text;
}

bool exists(const std::wstring& key)
{
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(opened);
    return true;
}

std::vector<std::wstring> subkeys(const std::wstring& key)
{
    std::vector<std::wstring> names;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &opened) == ERROR_SUCCESS) {
        wchar_t name[256];
        DWORD length = 256;
        for (DWORD at = 0;
             RegEnumKeyExW(opened, at, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             ++at, length = 256) {
            names.emplace_back(name);
        }
        RegCloseKey(opened);
    }
    return names;
}

std::size_t value_count(const std::wstring& key)
{
    HKEY opened = nullptr;
    DWORD values = 0;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &opened) == ERROR_SUCCESS) {
        RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr,
                         nullptr, nullptr);
        RegCloseKey(opened);
    }
    return values;
}

/// The server's DLL, loaded to call its registration entry points.
class Dll {
public:
    explicit Dll(const std::wstring& path) : module_(LoadLibraryW(path.c_str()))
    {
        EXPECT_NE(module_, nullptr) << path;
    }
    Dll(const Dll&) = delete;
    Dll& operator=(const Dll&) = delete;
    ~Dll() { FreeLibrary(module_); }

    [[nodiscard]] HRESULT register_server() const { return call("DllRegisterServer"); }
    [[nodiscard]] HRESULT unregister_server() const { return call("DllUnregisterServer"); }
    [[nodiscard]] HMODULE module() const { return module_; }

private:
    [[nodiscard]] HRESULT call(const char* name) const
    {
        const auto entry =
            reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
        return entry != nullptr ? entry() : E_UNEXPECTED;
    }

    HMODULE module_;
};

class Registry : public client::ComTest {
protected:
    void SetUp() override { ASSERT_EQ(dll.register_server(), S_OK); }
    void TearDown() override { EXPECT_EQ(dll.register_server(), S_OK); }

    Dll dll{server_path};
    const LCID locale = GetThreadLocale();
};

TEST_F(Registry, HoldsTheApplicationsIdentity)
{
    EXPECT_EQ(read(std::wstring(L"AppID\\") + app_id), L"VexKamCOMWrapper");
    EXPECT_EQ(read(L"AppID\\VexKamCOMWrapper.DLL", L"AppID"), app_id);
}

TEST_F(Registry, HoldsEveryClassAsClientsLookItUp)
{
    for (const KnownClass& known : known_classes) {
        SCOPED_TRACE(testing::Message() << std::wstring(known.name));
        const std::wstring title = std::wstring(known.name) + L" Class";
        const std::wstring by_name = known.version_independent_prog_id;
        EXPECT_EQ(read(by_name), title);
        EXPECT_EQ(read(by_name + L"\\CLSID"), known.clsid);
        EXPECT_EQ(read(by_name + L"\\CurVer"), known.prog_id);
        EXPECT_LE(wcslen(known.prog_id), 39U);
        EXPECT_LE(by_name.size(), 39U);

        const std::wstring versioned = known.prog_id;
        if (std::wstring(known.name) != L"VexGenParameterArray") {
            EXPECT_EQ(read(versioned), title);
            EXPECT_EQ(read(versioned + L"\\CLSID"), known.clsid);
        }

        const std::wstring key = std::wstring(L"CLSID\\") + known.clsid;
        EXPECT_EQ(read(key), title);
        EXPECT_EQ(read(key, L"AppID"), app_id);
        EXPECT_EQ(value_count(key), 2U);
        EXPECT_EQ(read(key + L"\\ProgID"), known.prog_id);
        EXPECT_EQ(read(key + L"\\VersionIndependentProgID"), by_name);
        EXPECT_TRUE(exists(key + L"\\Programmable"));
        EXPECT_EQ(read(key + L"\\Programmable"), std::nullopt);
        EXPECT_EQ(read(key + L"\\InprocServer32"), server_path);
        EXPECT_EQ(read(key + L"\\InprocServer32", L"ThreadingModel"), L"Apartment");
        EXPECT_EQ(read(key + L"\\TypeLib"), known.type_library);
        EXPECT_EQ(subkeys(key).size(), 5U);
    }
}

TEST_F(Registry, GivesASharedIdentifierToTheClassRegisteredLast)
{
    CLSID found{};
    ASSERT_EQ(CLSIDFromProgID(L"VexKamCOMWrapper.VexGenParameterArray.1", &found), S_OK);
    EXPECT_EQ(found, guid(L"{2EB976AF-CF9E-4F7F-B007-DE97431FAE2A}"));
    EXPECT_EQ(read(L"VexKamCOMWrapper.VexGenParameterArray.1"), L"VexGenParameterArrayCL Class");
    ASSERT_EQ(CLSIDFromProgID(L"VexKamCOMWrapper.VexGenParameterArray", &found), S_OK);
    EXPECT_EQ(found, guid(L"{532AA536-5A24-4739-8295-D01014796DBE}"));
}

TEST_F(Registry, CutsLongIdentifiersAtTheirLimit)
{
    EXPECT_TRUE(exists(L"VexKamCOMWrapper.VexTerminalIPEngineWnd"));
    EXPECT_TRUE(exists(L"VexKamCOMWrapper.VexTerminalIPEngineW.1"));
    EXPECT_TRUE(exists(L"VexKamCOMWrapper.VexSerialPortConfigura"));
    EXPECT_FALSE(exists(L"VexKamCOMWrapper.VexSerialPortConfiguration"));
    EXPECT_FALSE(exists(L"VexKamCOMWrapper.VexTerminalIPEngineWnd.1"));
}

TEST_F(Registry, KeepsAScriptForStreamBaseThatNothingRuns)
{
    EXPECT_FALSE(exists(L"VexKamCOMWrapper.VexStreamBase.1"));
    EXPECT_FALSE(exists(L"CLSID\\{4E46773A-8B2B-47F5-A5B0-F9B06F67459D}"));
    std::vector<std::string> scripts;
    EnumResourceNamesW(
        dll.module(), L"REGISTRY",
        [](HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR all) CALLBACK -> BOOL {
            const HRSRC found = FindResourceW(module, name, type);
            const auto* text = static_cast<const char*>(LockResource(LoadResource(module, found)));
            reinterpret_cast<std::vector<std::string>*>(all)->emplace_back(text, SizeofResource(module, found));
            return TRUE;
        },
        reinterpret_cast<LONG_PTR>(&scripts));
    EXPECT_EQ(scripts.size(), std::size(known_classes) + 2);  // the module's own and the unused one
    EXPECT_EQ(std::count_if(scripts.begin(), scripts.end(),
                            [](const std::string& script) {
                                return script.find("VexKamCOMWrapper.VexStreamBase.1") != std::string::npos &&
                                       script.find("{4E46773A-8B2B-47F5-A5B0-F9B06F67459D}") != std::string::npos;
                            }),
              1);
}

TEST_F(Registry, HoldsTheTypeLibraryAndItsInterfaces)
{
    const std::wstring library = std::wstring(L"TypeLib\\") + library_id + L"\\2.1";
    EXPECT_EQ(read(library), L"VexKamCOMWrapper 2.1 Type Library");
    EXPECT_EQ(read(library + L"\\0\\win64"), server_path);
    for (const KnownClass& known : known_classes) {
        EXPECT_EQ(read(std::wstring(L"Interface\\") + known.default_interface + L"\\TypeLib"), library_id);
    }
    Ref<ITypeLib> loaded;
    EXPECT_EQ(LoadRegTypeLib(guid(library_id), 2, 1, LOCALE_USER_DEFAULT, loaded.put()), S_OK);
}

TEST_F(Registry, IsCleanAfterUnregistration)
{
    // a key the scripts do not know must not keep a class's tree alive
    HKEY extra = nullptr;
    const std::wstring first = std::wstring(L"CLSID\\") + known_classes[0].clsid;
    ASSERT_EQ(RegCreateKeyW(HKEY_CLASSES_ROOT, (first + L"\\Implemented Categories\\{1}").c_str(), &extra),
              ERROR_SUCCESS);
    RegCloseKey(extra);

    ASSERT_EQ(dll.unregister_server(), S_OK);
    for (const KnownClass& known : known_classes) {
        SCOPED_TRACE(testing::Message() << std::wstring(known.name));
        EXPECT_FALSE(exists(std::wstring(L"CLSID\\") + known.clsid));
        EXPECT_FALSE(exists(known.prog_id));
        EXPECT_FALSE(exists(known.version_independent_prog_id));
        EXPECT_FALSE(exists(std::wstring(L"Interface\\") + known.default_interface));
    }
    EXPECT_TRUE(exists(L"CLSID"));
    EXPECT_TRUE(exists(L"AppID"));
    EXPECT_FALSE(exists(std::wstring(L"AppID\\") + app_id));
    EXPECT_FALSE(exists(L"AppID\\VexKamCOMWrapper.DLL"));
    EXPECT_FALSE(exists(std::wstring(L"TypeLib\\") + library_id + L"\\2.1"));
    Ref<IUnknown> object;
    EXPECT_EQ(
        CoCreateInstance(guid(known_classes[0].clsid), nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put_void()),
        REGDB_E_CLASSNOTREG);
}

TEST_F(Registry, ReportsTheFirstFailureOfASecondUnregistration)
{
    ASSERT_EQ(dll.unregister_server(), S_OK);
    // only the type library has an opinion on being unregistered twice
    EXPECT_TRUE(FAILED(dll.unregister_server()));
    EXPECT_EQ(GetThreadLocale(), locale);
}

TEST_F(Registry, RestoresTheCallersLocale)
{
    const LCID german = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
    ASSERT_TRUE(SetThreadLocale(german));
    EXPECT_EQ(dll.register_server(), S_OK);
    EXPECT_EQ(GetThreadLocale(), german);
    EXPECT_EQ(dll.unregister_server(), S_OK);
    EXPECT_EQ(GetThreadLocale(), german);
    SetThreadLocale(locale);
}

TEST_F(Registry, ReportsAMissingRegistrarAndRestoresTheLocale)
{
    const std::wstring key = L"CLSID\\{44EC053A-400F-11D0-9DCD-00A0C90391D3}\\InprocServer32";
    const auto registrar = read(key);
    ASSERT_TRUE(registrar);
    const auto write = [&](const std::wstring& path) {
        return RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, REG_SZ, path.c_str(),
                               static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
    };
    const LCID german = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
    ASSERT_TRUE(SetThreadLocale(german));
    CoFreeUnusedLibrariesEx(0, 0);
    ASSERT_EQ(write(L"Z:\\no such folder\\atl.dll"), ERROR_SUCCESS);
    const HRESULT registered = dll.register_server();
    const HRESULT unregistered = dll.unregister_server();
    ASSERT_EQ(write(*registrar), ERROR_SUCCESS);
    EXPECT_TRUE(FAILED(registered));
    EXPECT_EQ(unregistered, registered);
    EXPECT_EQ(GetThreadLocale(), german);
    SetThreadLocale(locale);
    EXPECT_TRUE(exists(std::wstring(L"CLSID\\") + known_classes[0].clsid));
}

TEST_F(Registry, RegistersFromAFolderWithAnApostrophe)
{
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() / L"o'brien's k\u00E4mera";
    fs::create_directories(folder);
    const fs::path copy = folder / L"VexKamCOMWrapper.dll";
    fs::copy_file(server_path, copy, fs::copy_options::overwrite_existing);
    {
        const Dll moved(copy.wstring());
        EXPECT_EQ(moved.register_server(), S_OK);
        EXPECT_EQ(read(std::wstring(L"CLSID\\") + known_classes[0].clsid + L"\\InprocServer32"), copy.wstring());
        EXPECT_EQ(moved.unregister_server(), S_OK);
        EXPECT_FALSE(exists(std::wstring(L"CLSID\\") + known_classes[0].clsid));
    }
    fs::remove_all(folder);
}

TEST_F(Registry, FailsLateBoundCallsWithoutTheTypeLibraryAndRecovers)
{
    const auto result = client::create<IVexResult>(guid(L"{AF284AD5-BEB4-455F-AAC1-7B7E352575C0}"));
    // another class, whose type information nothing here has loaded yet
    const auto property = client::create<IVexProperty>(guid(L"{C79EB2E9-AE38-4312-84F6-F2154291C763}"));
    ASSERT_EQ(UnRegisterTypeLib(guid(library_id), 2, 1, LOCALE_NEUTRAL, SYS_WIN64), S_OK);
    Ref<ITypeLib> none;
    const HRESULT missing = LoadRegTypeLib(guid(library_id), 2, 1, LOCALE_USER_DEFAULT, none.put());
    ASSERT_TRUE(FAILED(missing));
    LPOLESTR name = const_cast<LPOLESTR>(L"Name");
    DISPID id = DISPID_UNKNOWN;
    Ref<ITypeInfo> info;
    client::Variant value;
    DISPPARAMS arguments{};
    EXPECT_EQ(property->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), missing);
    EXPECT_EQ(property->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), missing);
    EXPECT_EQ(property->Invoke(1, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &arguments, value.put(), nullptr,
                               nullptr),
              missing);
    // a vtable call does not need it
    VARIANT_BOOL ok = 0;
    EXPECT_EQ(result->get_IsOK(&ok), S_OK);
    EXPECT_EQ(ok, 1);
    ASSERT_EQ(dll.register_server(), S_OK);
    EXPECT_EQ(property->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), S_OK);
}

}  // namespace
