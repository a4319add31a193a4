// Interface arguments: every class of the module, and what is no wrapper at all, where an object of another is wanted.
#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/com/class_list.h"
#include "tests/com/com_client.h"

namespace {

using namespace client;

/// Any class's object, by its default interface.
template <class Interface = IDispatch>
Ref<Interface> new_object(const wchar_t* name)
{
    for (const KnownClass& known : known_classes) {
        if (std::wstring(known.name) == name) {
            Ref<Interface> made;
            EXPECT_EQ(CoCreateInstance(guid(known.clsid), nullptr, CLSCTX_INPROC_SERVER, guid(known.default_interface),
                                       made.put_void()),
                      S_OK)
                << known.name;
            return made;
        }
    }
    return {};
}

/// What a client that mixes its pointers up passes.
template <class Interface>
Interface* as(IUnknown* object) noexcept
{
    return static_cast<Interface*>(static_cast<void*>(object));
}

/// A member that takes an object of class `wanted`.
struct Member {
    const char* name;
    std::wstring wanted;
    std::function<HRESULT(IUnknown* given)> call;
};

class Arguments : public ComTest {
protected:
    [[nodiscard]] std::vector<Member> members()
    {
        const auto buffer_taker = [this](const char* name, auto&& call) {
            return Member{name, L"VexBuffer", [this, call](IUnknown* given) {
                              Ref<IVexResult> result;
                              return call(as<IVexBuffer>(given), result.put());
                          }};
        };
        return {
            buffer_taker("Apply", [this](auto* given, auto** result) { return rgb->Apply(given, result); }),
            buffer_taker("ApplyFilter, in",
                         [this](auto* given, auto** result) { return rgb->ApplyFilter(given, buffer.get(), result); }),
            buffer_taker("ApplyFilter, out",
                         [this](auto* given, auto** result) { return rgb->ApplyFilter(buffer.get(), given, result); }),
            buffer_taker("WhiteBalance",
                         [this](auto* given, auto** result) { return rgb->WhiteBalance(given, result); }),
            buffer_taker("ApplyDeinterlaceFilter",
                         [this](auto* given, auto** result) {
                             return deinterlace->ApplyDeinterlaceFilter(given, buffer.get(), buffer.get(), result);
                         }),
            buffer_taker(
                "Convert, source",
                [this](auto* given, auto** result) { return converter->Convert(given, buffer.get(), 0, result); }),
            buffer_taker(
                "Convert, destination",
                [this](auto* given, auto** result) { return converter->Convert(buffer.get(), given, 0, result); }),
            buffer_taker("Store",
                         [this](auto* given, auto** result) {
                             return writer->Store(given, nullptr, VexBufferFormatBMP, result);
                         }),
            buffer_taker("QueueBuffer",
                         [this](auto* given, auto** result) { return stream->QueueBuffer(given, result); }),
            {"SetRGBFilter", L"VexFilterRGB",
             [this](IUnknown* given) {
                 Ref<IVexResult> result;
                 return converter->SetRGBFilter(as<IVexFilterRGB>(given), result.put());
             }},
            {"ConnectDeviceInfo", L"VexDeviceInfo",
             [this](IUnknown* given) {
                 Ref<IVexResult> result;
                 return device->ConnectDeviceInfo(as<IVexDeviceInfo>(given), VexAccessControl, result.put());
             }},
        };
    }

    /// Every pointer a client can have of an object.
    [[nodiscard]] static std::vector<Ref<IUnknown>> faces_of(IUnknown* object)
    {
        std::vector<Ref<IUnknown>> faces{Ref<IUnknown>(object)};
        for (const IID& iid : {IID_ISupportErrorInfo, IID_IProvideClassInfo2, IID_IConnectionPointContainer}) {
            Ref<IUnknown> face;
            if (SUCCEEDED(object->QueryInterface(iid, face.put_void()))) {
                faces.push_back(face);
            }
        }
        return faces;
    }

    Ref<IVexBuffer> buffer = new_object<IVexBuffer>(L"VexBuffer");
    Ref<IVexFilterRGB> rgb = new_object<IVexFilterRGB>(L"VexFilterRGB");
    Ref<IVexFilterDeinterlace> deinterlace = new_object<IVexFilterDeinterlace>(L"VexFilterDeinterlace");
    Ref<IVexBufferConverter> converter = new_object<IVexBufferConverter>(L"VexBufferConverter");
    Ref<IVexBufferWriter> writer = new_object<IVexBufferWriter>(L"VexBufferWriter");
    Ref<IVexStream> stream = new_object<IVexStream>(L"VexStream");
    Ref<IVexDevice> device = new_object<IVexDevice>(L"VexDevice");
};

TEST_F(Arguments, OfEveryOtherClassAreRefused)
{
    const auto takers = members();
    for (const KnownClass& known : known_classes) {
        const Ref<IDispatch> object = new_object(known.name);
        ASSERT_TRUE(object);
        for (const Ref<IUnknown>& face : faces_of(object.get())) {
            const ULONG references_before = references(face.get());
            for (const Member& taker : takers) {
                if (taker.wanted != known.name) {
                    EXPECT_EQ(taker.call(face.get()), E_INVALIDARG) << taker.name << " given a " << known.name;
                }
            }
            EXPECT_EQ(references(face.get()), references_before) << known.name;
        }
    }
}

TEST_F(Arguments, OfTheClassThatIsWantedAreTaken)
{
    for (const Member& taker : members()) {
        const Ref<IDispatch> object = new_object(taker.wanted.c_str());
        const bool is_view = taker.wanted == L"VexDeviceInfo";
        EXPECT_EQ(taker.call(object.get()), is_view ? E_POINTER : S_OK) << taker.name;
        EXPECT_EQ(references(object.get()), 1u) << taker.name;
    }
    Ref<IVexResult> result;
    stream->AbortQueuedBuffers(result.put());
}

TEST_F(Arguments, ThatAreNoWrappersAreRefused)
{
    Ref<IClassFactory> factory;
    ASSERT_EQ(CoGetClassObject(guid(known_classes[0].clsid), CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               factory.put_void()),
              S_OK);
    Ref<IConnectionPoint> point;
    ASSERT_EQ(
        query<IConnectionPointContainer>(device.get())->FindConnectionPoint(__uuidof(_IVexDeviceEvents), point.put()),
        S_OK);
    Ref<ITypeInfo> info;
    ASSERT_EQ(buffer->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
    for (const Member& taker : members()) {
        EXPECT_EQ(taker.call(factory.get()), E_INVALIDARG) << taker.name;
        EXPECT_EQ(taker.call(point.get()), E_INVALIDARG) << taker.name;
        EXPECT_EQ(taker.call(info.get()), E_INVALIDARG) << taker.name;
    }
}

TEST_F(Arguments, OfOtherClassesAreNoParametersInAList)
{
    const auto list = new_object<IVexGenParameterList>(L"VexGenParameterList");
    unsigned int size = 0;
    for (const KnownClass& known : known_classes) {
        const Ref<IDispatch> object = new_object(known.name);
        EXPECT_EQ(list->Add(as<IVexGenParameter>(object.get())), S_OK) << known.name;
        Ref<IVexGenParameter> entry;
        EXPECT_EQ(list->GetItem(size++, entry.put()), S_OK);
        EXPECT_FALSE(entry) << known.name;
    }
    EXPECT_EQ(list->get_Size(&size), S_OK);
    EXPECT_EQ(size, std::size(known_classes));
}

/// An object that passes a buffer's interface off as its own.
class Outer final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (iid != IID_IUnknown && inner) {
            return iid == __uuidof(IVexBuffer) || takes_all ? inner->QueryInterface(iid, object) : E_NOINTERFACE;
        }
        AddRef();
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return --references; }

    ULONG references = 1;
    bool takes_all = false;
    Ref<IUnknown> inner;
};

TEST_F(Arguments, MayBeAggregated)
{
    for (const bool takes_all : {false, true}) {
        Outer outer;
        ASSERT_EQ(CoCreateInstance(guid(known_classes[0].clsid), &outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                   outer.inner.put_void()),
                  S_OK);
        outer.takes_all = takes_all;
        Ref<IVexBuffer> part;
        ASSERT_EQ(outer.QueryInterface(__uuidof(IVexBuffer), part.put_void()), S_OK);
        const ULONG held = outer.references;
        Ref<IVexResult> result;
        EXPECT_EQ(rgb->Apply(part.get(), result.put()), S_OK);
        EXPECT_EQ(outer.references, held);
        // the outer object and the inner unknown have their own identities, which are no buffers
        EXPECT_EQ(rgb->Apply(as<IVexBuffer>(&outer), result.put()), E_INVALIDARG);
        EXPECT_EQ(rgb->Apply(as<IVexBuffer>(outer.inner.get()), result.put()), E_INVALIDARG);
        EXPECT_EQ(outer.references, held);
    }
}

}  // namespace
