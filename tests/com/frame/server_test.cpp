// The DLL as COM sees it: entry points, class factories, lock counting.
#include <set>
#include <string>

#include "tests/com/class_list.h"
#include "tests/com/com_client.h"

namespace {

using client::create;
using client::guid;
using client::Ref;

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();

const CLSID result_class = guid(L"{AF284AD5-BEB4-455F-AAC1-7B7E352575C0}");
const CLSID image_class = guid(L"{2DDC97BC-FC20-4AD4-89B1-2699C523A38E}");
const CLSID stream_base_class = guid(L"{4E46773A-8B2B-47F5-A5B0-F9B06F67459D}");

class Server : public client::ComTest {
protected:
    Server()
    {
        Ref<IClassFactory> factory;
        CoGetClassObject(result_class, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.put_void());
        dll_ = GetModuleHandleW(L"VexKamCOMWrapper.dll");
    }

    template <class Function>
    [[nodiscard]] Function function(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(dll_, name)));
    }
    [[nodiscard]] HRESULT can_unload() const { return function<CanUnloadNow>("DllCanUnloadNow")(); }
    [[nodiscard]] HRESULT class_object(const CLSID& clsid, Ref<IClassFactory>& factory) const
    {
        return function<GetClassObject>("DllGetClassObject")(clsid, IID_IClassFactory, factory.put_void());
    }

    HMODULE dll_ = nullptr;
};

TEST_F(Server, ExportsExactlyTheFourEntryPoints)
{
    ASSERT_NE(dll_, nullptr);
    const auto* base = reinterpret_cast<const unsigned char*>(dll_);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& entry = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::set<std::string> found;
    for (DWORD at = 0; at < exports->NumberOfNames; ++at) {
        found.insert(reinterpret_cast<const char*>(base + names[at]));
    }
    EXPECT_EQ(found, (std::set<std::string>{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                            "DllUnregisterServer"}));
    EXPECT_EQ(exports->NumberOfFunctions, 4U);
}

TEST_F(Server, CarriesItsTypeLibraryAndVersion)
{
    const HRSRC library = FindResourceW(dll_, MAKEINTRESOURCEW(1), L"TYPELIB");
    ASSERT_NE(library, nullptr);
    EXPECT_GT(SizeofResource(dll_, library), 10'000U);
    const HRSRC version = FindResourceW(dll_, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16));
    ASSERT_NE(version, nullptr);
    // the fixed part follows a header and its name, "VS_VERSION_INFO"
    const auto* fixed = reinterpret_cast<const VS_FIXEDFILEINFO*>(
        static_cast<const unsigned char*>(LockResource(LoadResource(dll_, version))) + 40);
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDU);
    EXPECT_EQ(fixed->dwFileVersionMS, 0x00020001U);
    EXPECT_EQ(fixed->dwFileVersionLS, 0U);
}

TEST_F(Server, StaysLoadedWhileAnObjectLives)
{
    EXPECT_EQ(can_unload(), S_OK);
    auto first = create<IVexResult>(result_class);
    auto second = create<IVexResult>(result_class);
    EXPECT_EQ(can_unload(), S_FALSE);
    first.reset();
    EXPECT_EQ(can_unload(), S_FALSE);
    second.reset();
    EXPECT_EQ(can_unload(), S_OK);
}

TEST_F(Server, StaysLoadedWhileLockedByItsFactories)
{
    Ref<IClassFactory> factory;
    Ref<IClassFactory> other;
    ASSERT_EQ(class_object(result_class, factory), S_OK);
    ASSERT_EQ(class_object(image_class, other), S_OK);
    EXPECT_EQ(can_unload(), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(other->LockServer(TRUE), S_OK);
    EXPECT_EQ(can_unload(), S_FALSE);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_FALSE);
    EXPECT_EQ(other->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_OK);
}

TEST_F(Server, FreesUnusedLibrariesOnlyWithoutObjects)
{
    auto result = create<IVexResult>(result_class);
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_NE(GetModuleHandleW(L"VexKamCOMWrapper.dll"), nullptr);
    VARIANT_BOOL ok = 0;
    EXPECT_EQ(result->get_IsOK(&ok), S_OK);
    result.reset();
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(GetModuleHandleW(L"VexKamCOMWrapper.dll"), nullptr);
}

TEST_F(Server, WorksAgainAfterItWasUnloadedWithItsTypeInformation)
{
    for (int round = 0; round < 3; ++round) {
        auto result = create<IVexResult>(result_class);
        client::Variant ok;
        EXPECT_EQ(client::LateBound(result.get()).get(L"IsOK", ok), S_OK);
        EXPECT_EQ(ok->boolVal, 1);
        result.reset();
        CoFreeUnusedLibrariesEx(0, 0);
        CoFreeUnusedLibrariesEx(0, 0);
        EXPECT_EQ(GetModuleHandleW(L"VexKamCOMWrapper.dll"), nullptr);
    }
}

TEST_F(Server, IsUnloadedAfterEveryClassWasUsed)
{
    for (const client::KnownClass& known : client::known_classes) {
        const auto object = create<IDispatch>(guid(known.clsid));
        ASSERT_TRUE(object);
        Ref<ITypeInfo> info;
        EXPECT_EQ(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
    }
    EXPECT_EQ(can_unload(), S_OK);
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(GetModuleHandleW(L"VexKamCOMWrapper.dll"), nullptr);
}

TEST_F(Server, GivesTheSameFactoryEveryTime)
{
    Ref<IClassFactory> first;
    Ref<IClassFactory> second;
    Ref<IClassFactory> other;
    ASSERT_EQ(class_object(result_class, first), S_OK);
    ASSERT_EQ(class_object(result_class, second), S_OK);
    ASSERT_EQ(class_object(image_class, other), S_OK);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_NE(first.get(), other.get());
}

TEST_F(Server, HasNoClassObjectForAnUnknownClass)
{
    Ref<IClassFactory> factory;
    EXPECT_EQ(class_object(guid(L"{00000000-1111-2222-3333-444444444444}"), factory), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_FALSE(factory);
    EXPECT_EQ(class_object(stream_base_class, factory), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_FALSE(factory);
    Ref<IUnknown> object;
    EXPECT_EQ(CoCreateInstance(stream_base_class, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put_void()),
              REGDB_E_CLASSNOTREG);
}

TEST_F(Server, HasNoFactoryInterfaceButClassFactory)
{
    void* object = this;
    EXPECT_EQ(function<GetClassObject>("DllGetClassObject")(result_class, IID_IDispatch, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(function<GetClassObject>("DllGetClassObject")(result_class, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(Server, RefusesToCreateIntoANullPointer)
{
    Ref<IClassFactory> factory;
    ASSERT_EQ(class_object(result_class, factory), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(can_unload(), S_OK);
}

TEST_F(Server, DestroysAnObjectThatLacksTheInterfaceAskedFor)
{
    Ref<IClassFactory> factory;
    ASSERT_EQ(class_object(result_class, factory), S_OK);
    void* object = this;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IStream, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(can_unload(), S_OK);
}

TEST_F(Server, CreatesAnImageThatTheTypeLibraryCallsNotCreatable) { EXPECT_TRUE(create<IVexImage>(image_class)); }

}  // namespace
