// What every class does alike, held class by class.
#include <map>
#include <string>

#include "tests/com/class_list.h"
#include "tests/com/com_client.h"

namespace {

using client::guid;
using client::known_classes;
using client::KnownClass;
using client::query;
using client::Ref;

/// The outer object of an aggregate: has an interface of its own, and lends the inner object's.
class Outer final : public IPersist {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (iid == IID_IUnknown || iid == IID_IPersist) {
            AddRef();
            *object = static_cast<IPersist*>(this);
            return S_OK;
        }
        *object = nullptr;
        return inner ? inner->QueryInterface(iid, object) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return --references; }
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) noexcept override { return E_NOTIMPL; }

    ULONG references = 1;
    Ref<IUnknown> inner;
};

class EveryClass : public ::testing::TestWithParam<KnownClass> {
protected:
    // one apartment for all of them, which keeps the DLL loaded between tests
    static void SetUpTestSuite() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    static void TearDownTestSuite() { CoUninitialize(); }

    CLSID clsid = guid(GetParam().clsid);
    IID default_interface = guid(GetParam().default_interface);

    [[nodiscard]] Ref<IUnknown> create() const
    {
        Ref<IUnknown> made;
        EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, made.put_void()), S_OK);
        return made;
    }
    [[nodiscard]] static HRESULT can_unload()
    {
        const HMODULE dll = GetModuleHandleW(L"VexKamCOMWrapper.dll");
        return reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
            reinterpret_cast<void*>(GetProcAddress(dll, "DllCanUnloadNow")))();
    }
    [[nodiscard]] static Ref<IUnknown> ask(IUnknown* object, const IID& iid)
    {
        Ref<IUnknown> found;
        object->QueryInterface(iid, found.put_void());
        return found;
    }
};

TEST_P(EveryClass, IsCreatedPlainAndReleasesItsLock)
{
    auto object = create();
    ASSERT_TRUE(object);
    EXPECT_EQ(can_unload(), S_FALSE);
    EXPECT_EQ(client::references(object.get()), 1U);
    object.reset();
    EXPECT_EQ(can_unload(), S_OK);
}

TEST_P(EveryClass, IsFoundByItsProgramIdentifiers)
{
    CLSID found{};
    EXPECT_EQ(CLSIDFromProgID(GetParam().version_independent_prog_id, &found), S_OK);
    EXPECT_EQ(found, clsid);
    EXPECT_EQ(CLSIDFromProgID(GetParam().prog_id, &found), S_OK);
    // the longer name registers later and owns the versioned identifier that both names are cut to
    const bool shared = GetParam().name == std::wstring(L"VexGenParameterArray");
    EXPECT_EQ(found, shared ? guid(L"{2EB976AF-CF9E-4F7F-B007-DE97431FAE2A}") : clsid);
}

TEST_P(EveryClass, KeepsOneIdentityThroughAllItsInterfaces)
{
    const auto object = create();
    ASSERT_TRUE(object);
    for (const IID& iid :
         {default_interface, IID_IDispatch, IID_ISupportErrorInfo, IID_IProvideClassInfo, IID_IProvideClassInfo2}) {
        const auto interface_found = ask(object.get(), iid);
        ASSERT_TRUE(interface_found);
        EXPECT_EQ(ask(interface_found.get(), IID_IUnknown).get(), object.get());
        for (const IID& back : {default_interface, IID_IDispatch, IID_IProvideClassInfo2}) {
            EXPECT_EQ(ask(interface_found.get(), back).get(), ask(object.get(), back).get());
        }
    }
    void* none = this;
    EXPECT_EQ(object->QueryInterface(IID_IStream, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_P(EveryClass, SupportsErrorInformationForItsDefaultInterfaceOnly)
{
    const auto object = create();
    const auto supports = query<ISupportErrorInfo>(object.get());
    ASSERT_TRUE(supports);
    EXPECT_EQ(supports->InterfaceSupportsErrorInfo(default_interface), S_OK);
    EXPECT_EQ(supports->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
    EXPECT_EQ(supports->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
    for (const KnownClass& other : known_classes) {
        if (const IID iid = guid(other.default_interface); iid != default_interface) {
            EXPECT_EQ(supports->InterfaceSupportsErrorInfo(iid), S_FALSE) << other.name;
        }
    }
}

TEST_P(EveryClass, NamesItsClassAndEventsAsTheTypeLibraryDoes)
{
    const auto object = create();
    const auto provides = query<IProvideClassInfo2>(object.get());
    ASSERT_TRUE(provides);
    Ref<ITypeInfo> info;
    ASSERT_EQ(provides->GetClassInfo(info.put()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    EXPECT_EQ(attributes->guid, clsid);
    const UINT implemented = attributes->cImplTypes;
    info->ReleaseTypeAttr(attributes);

    IID source_in_library = GUID_NULL;
    for (UINT at = 0; at < implemented; ++at) {
        INT flags = 0;
        HREFTYPE reference = 0;
        Ref<ITypeInfo> type;
        ASSERT_EQ(info->GetImplTypeFlags(at, &flags), S_OK);
        ASSERT_EQ(info->GetRefTypeOfImplType(at, &reference), S_OK);
        ASSERT_EQ(info->GetRefTypeInfo(reference, type.put()), S_OK);
        TYPEATTR* described = nullptr;
        ASSERT_EQ(type->GetTypeAttr(&described), S_OK);
        if (flags & IMPLTYPEFLAG_FSOURCE) {
            source_in_library = described->guid;
        } else {
            EXPECT_TRUE(ask(object.get(), described->guid)) << "an interface the library lists is missing";
        }
        type->ReleaseTypeAttr(described);
    }

    GUID named = clsid;
    const HRESULT answered = provides->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &named);
    if (GetParam().source_interface != nullptr) {
        EXPECT_EQ(answered, S_OK);
        EXPECT_EQ(named, guid(GetParam().source_interface));
    } else {
        EXPECT_TRUE(FAILED(answered));
        EXPECT_EQ(named, GUID_NULL);
    }
    EXPECT_EQ(named, source_in_library);
    EXPECT_EQ(provides->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID + 1, &named), E_INVALIDARG);
}

TEST_P(EveryClass, HasOneConnectionPointWhenItHasEvents)
{
    const auto object = create();
    const auto container = query<IConnectionPointContainer>(object.get());
    ASSERT_EQ(static_cast<bool>(container), GetParam().source_interface != nullptr);
    if (!container) {
        return;
    }
    const IID events = guid(GetParam().source_interface);
    Ref<IConnectionPoint> point;
    ASSERT_EQ(container->FindConnectionPoint(events, point.put()), S_OK);
    IID told{};
    EXPECT_EQ(point->GetConnectionInterface(&told), S_OK);
    EXPECT_EQ(told, events);
    Ref<IConnectionPointContainer> back;
    EXPECT_EQ(point->GetConnectionPointContainer(back.put()), S_OK);
    EXPECT_EQ(ask(back.get(), IID_IUnknown).get(), object.get());

    Ref<IEnumConnectionPoints> all;
    ASSERT_EQ(container->EnumConnectionPoints(all.put()), S_OK);
    Ref<IConnectionPoint> listed;
    Ref<IConnectionPoint> beyond;
    ULONG fetched = 0;
    EXPECT_EQ(all->Next(1, listed.put(), &fetched), S_OK);
    EXPECT_EQ(listed.get(), point.get());
    EXPECT_EQ(all->Next(1, beyond.put(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 0U);
    Ref<IConnectionPoint> none;
    EXPECT_EQ(container->FindConnectionPoint(IID_IDispatch, none.put()), CONNECT_E_NOCONNECTION);
    EXPECT_FALSE(none);
}

TEST_P(EveryClass, DescribesItsDefaultInterfaceToLateBoundClients)
{
    const auto object = create();
    const auto dispatch = query<IDispatch>(object.get());
    ASSERT_TRUE(dispatch);
    UINT count = 0;
    EXPECT_EQ(dispatch->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1U);
    Ref<ITypeInfo> info;
    ASSERT_EQ(dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, default_interface);
    const UINT members = attributes->cFuncs;
    info->ReleaseTypeAttr(attributes);

    // every member's name leads to its identifier, cached or not
    for (UINT at = 0; at < members; ++at) {
        FUNCDESC* member = nullptr;
        ASSERT_EQ(info->GetFuncDesc(at, &member), S_OK);
        BSTR name = nullptr;
        UINT got = 0;
        ASSERT_EQ(info->GetNames(member->memid, &name, 1, &got), S_OK);
        if (!(member->wFuncFlags & FUNCFLAG_FRESTRICTED)) {
            DISPID id = DISPID_UNKNOWN;
            EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), S_OK) << name;
            EXPECT_EQ(id, member->memid);
            CharUpperW(name);
            EXPECT_EQ(dispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), S_OK) << name;
            EXPECT_EQ(id, member->memid);
        }
        SysFreeString(name);
        info->ReleaseFuncDesc(member);
    }
}

TEST_P(EveryClass, IsAggregatedUnderTheOuterObjectsIdentity)
{
    Outer outer;
    ASSERT_EQ(CoCreateInstance(clsid, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown, outer.inner.put_void()), S_OK);
    EXPECT_EQ(can_unload(), S_FALSE);
    const auto* const identity = static_cast<IUnknown*>(&outer);
    EXPECT_NE(outer.inner.get(), identity);
    // the inner unknown is the only one that speaks for the inner object alone
    EXPECT_EQ(ask(outer.inner.get(), IID_IUnknown).get(), outer.inner.get());
    const ULONG before = outer.references;
    {
        for (const IID& iid : {default_interface, IID_IDispatch, IID_ISupportErrorInfo, IID_IProvideClassInfo2}) {
            const auto lent = ask(&outer, iid);
            ASSERT_TRUE(lent);
            EXPECT_EQ(ask(lent.get(), IID_IUnknown).get(), identity);
            EXPECT_TRUE(ask(lent.get(), IID_IPersist));
            EXPECT_EQ(outer.references, before + 1);
        }
        if (GetParam().source_interface != nullptr) {
            const auto container = query<IConnectionPointContainer>(&outer);
            Ref<IConnectionPoint> point;
            ASSERT_EQ(container->FindConnectionPoint(guid(GetParam().source_interface), point.put()), S_OK);
            EXPECT_EQ(outer.references, before + 2);
        }
    }
    EXPECT_EQ(outer.references, before);
    EXPECT_EQ(client::references(outer.inner.get()), 1U);
    outer.inner.reset();
    EXPECT_EQ(can_unload(), S_OK);
}

TEST_P(EveryClass, RefusesAnOuterObjectThatAsksForMoreThanIUnknown)
{
    for (const IID& iid : {IID_IDispatch, default_interface, IID_IStream}) {
        Outer outer;
        Ref<IClassFactory> factory;
        ASSERT_EQ(CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.put_void()), S_OK);
        void* object = this;
        EXPECT_EQ(factory->CreateInstance(&outer, iid, &object), CLASS_E_NOAGGREGATION);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(outer.references, 1U);
        EXPECT_EQ(can_unload(), S_OK);
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, EveryClass, ::testing::ValuesIn(known_classes), [](const auto& tested) {
    const std::wstring name(tested.param.name);
    return std::string(name.begin(), name.end());
});

}  // namespace
