// The conventions every wrapper follows, on classes made for the purpose.
#include <limits>
#include <memory>
#include <stdexcept>

#include "tests/com/com_client.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

using client::byte_array;
using client::bytes_of;
using client::Ref;
using server::module;

class Wrapping : public client::ComTest {
protected:
    Wrapping()
    {
        EXPECT_EQ(server::create_object(device), S_OK);
        EXPECT_EQ(server::create_object(view), S_OK);
        CTestFinder::construct_with = S_OK;
        CTestFinder::throw_in_construction = false;
    }

    Ref<CTestDevice> device;
    Ref<CTestView> view;
    FakeSdk fake;
};

std::wstring description_of(IVexResult& result)
{
    BSTR text = nullptr;
    result.get_Description(&text);
    return client::take(text);
}

VexResultCode code_of(IVexResult& result)
{
    VexResultCode code = VexGenericError;
    result.get_Code(&code);
    return code;
}

// ---- the three outcomes ----

TEST_F(Wrapping, ReportsAFailedOperationInTheResultObjectOnly)
{
    device->outcome = PvResult(PvResult::NetworkError, "10.0.0.9 does not answer");
    Ref<IVexResult> result;
    unsigned int value = 0;
    EXPECT_EQ(device->ReadRegister(1, &value, result.put()), S_OK);
    ASSERT_TRUE(result);
    VARIANT_BOOL ok = 7;
    EXPECT_EQ(result->get_IsOK(&ok), S_OK);
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(code_of(*result), VexNetworkError);
    EXPECT_EQ(description_of(*result), L"10.0.0.9 does not answer");
    EXPECT_EQ(value, 2U);
    Ref<IErrorInfo> none;
    EXPECT_EQ(GetErrorInfo(0, none.put()), S_FALSE);
}

TEST_F(Wrapping, KeepsAResultReadableAfterItsProducerIsGone)
{
    device->outcome = PvResult(PvResult::Timeout, "nothing came");
    Ref<IVexResult> result;
    unsigned int value = 0;
    ASSERT_EQ(device->ReadRegister(1, &value, result.put()), S_OK);
    device.reset();
    EXPECT_EQ(code_of(*result), VexTimeout);
    EXPECT_EQ(description_of(*result), L"nothing came");
    EXPECT_EQ(client::references(result.get()), 1U);
}

TEST_F(Wrapping, RaisesASetterFailureAsErrorInformation)
{
    fake.outcome = PvResult(PvResult::NotSupported, "no such mode");
    view->AttachSdkObject(&fake);
    EXPECT_EQ(view->put_Timestamp(0), DISP_E_EXCEPTION);
    Ref<IErrorInfo> info;
    ASSERT_EQ(GetErrorInfo(0, info.put()), S_OK);
    BSTR text = nullptr;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    EXPECT_EQ(client::take(text), L"no such mode");
    EXPECT_EQ(info->GetSource(&text), S_OK);
    EXPECT_EQ(client::take(text), L"VexKamCOMWrapper.VexBuffer.1");
    GUID iid{};
    EXPECT_EQ(info->GetGUID(&iid), S_OK);
    EXPECT_EQ(iid, __uuidof(IVexBuffer));
    EXPECT_EQ(info->GetHelpFile(&text), S_OK);
    EXPECT_EQ(client::take(text), L"");
    DWORD context = 1;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 0U);
}

TEST_F(Wrapping, LetsASetterThatIsPendingRaiseToo)
{
    fake.outcome = PvResult(PvResult::Pending);
    view->AttachSdkObject(&fake);
    EXPECT_EQ(view->put_Timestamp(0), DISP_E_EXCEPTION);
    SetErrorInfo(0, nullptr);
}

/// The description of the thread's error information, which is taken.
std::wstring told()
{
    Ref<IErrorInfo> info;
    BSTR text = nullptr;
    if (GetErrorInfo(0, info.put()) == S_OK) {
        info->GetDescription(&text);
    }
    return client::take(text);
}

TEST_F(Wrapping, DescribesEachFailureAnew)
{
    fake.outcome = PvResult(PvResult::NotSupported, "no such mode");
    view->AttachSdkObject(&fake);
    ASSERT_EQ(view->put_Timestamp(0), DISP_E_EXCEPTION);
    EXPECT_EQ(view->put_Data(nullptr), E_INVALIDARG);
    EXPECT_EQ(told(), L"The array does not have exactly one dimension");
    ASSERT_EQ(view->put_Timestamp(0), DISP_E_EXCEPTION);
    EXPECT_EQ(view->get_Size(nullptr), E_POINTER);
    EXPECT_EQ(told(), L"The pointer for a value is null");
}

TEST_F(Wrapping, TurnsExceptionsIntoResultsAndErrorCodes)
{
    Ref<IVexResult> result;
    device->failure = []() -> PvResult { throw std::runtime_error("the SDK broke"); };
    EXPECT_EQ(device->Reset(result.put()), S_OK);
    ASSERT_TRUE(result);
    EXPECT_EQ(code_of(*result), VexGenericError);
    EXPECT_EQ(description_of(*result), L"the SDK broke");
    device->failure = []() -> PvResult { throw 5; };
    EXPECT_EQ(device->Reset(result.put()), S_OK);
    EXPECT_EQ(code_of(*result), VexGenericError);
    device->failure = []() -> PvResult { throw std::bad_alloc(); };
    EXPECT_EQ(device->Reset(result.put()), E_OUTOFMEMORY);
    EXPECT_EQ(told(), L"Not enough memory");
    EXPECT_FALSE(result);
    device->failure = []() -> PvResult { throw server::HresultError{E_ACCESSDENIED}; };
    EXPECT_EQ(device->Reset(result.put()), E_ACCESSDENIED);
    EXPECT_EQ(told(), L"Access is denied");
    device->failure = []() -> PvResult { throw server::HresultError{STG_E_SHAREVIOLATION}; };
    EXPECT_EQ(device->Reset(result.put()), STG_E_SHAREVIOLATION);
    EXPECT_EQ(told(), L"The call failed with 0x80030020");
    EXPECT_EQ(device->set([&] { throw std::runtime_error("the SDK broke"); }), E_FAIL);
    EXPECT_EQ(told(), L"the SDK broke");
    EXPECT_EQ(device->set([&] { throw 5; }), E_FAIL);
    EXPECT_EQ(told(), L"An error of unknown kind");
    EXPECT_EQ(device->set([&] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
}

TEST_F(Wrapping, FailsCleanlyOutsideTheContract)
{
    Ref<IVexResult> result;
    unsigned int value = 0;
    SAFEARRAY* array = nullptr;
    EXPECT_EQ(device->ReadRegister(1, &value, nullptr), E_POINTER);
    EXPECT_EQ(device->ReadRegister(1, nullptr, result.put()), E_POINTER);
    // a view with nothing behind it
    EXPECT_EQ(view->get_Size(&value), E_POINTER);
    EXPECT_EQ(view->get_Data(&array), E_POINTER);
    EXPECT_EQ(view->put_Timestamp(1), E_POINTER);
    EXPECT_EQ(view->Alloc(1, result.put()), S_OK);
    EXPECT_EQ(code_of(*result), VexNotInitialized);
    view->AttachSdkObject(&fake);
    EXPECT_EQ(view->get_Size(nullptr), E_POINTER);
    EXPECT_EQ(view->get_Data(nullptr), E_POINTER);
}

TEST_F(Wrapping, ReadsArgumentsDirectlyAndKeepsNoReference)
{
    Ref<CTestStream> stream;
    ASSERT_EQ(server::create_object(stream), S_OK);
    view->AttachSdkObject(&fake);
    fake.outcome = PvResult(PvResult::Cancel);
    Ref<IVexResult> result;
    EXPECT_EQ(stream->QueueBuffer(view.get(), result.put()), S_OK);
    EXPECT_EQ(code_of(*result), VexCancel);
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(view.get())), 1U);
    EXPECT_EQ(stream->QueueBuffer(nullptr, result.put()), E_POINTER);
    view->AttachSdkObject(nullptr);
    EXPECT_EQ(stream->QueueBuffer(view.get(), result.put()), E_POINTER);
}

TEST_F(Wrapping, RefusesArgumentsThatAreNotThisModulesObjects)
{
    // an object whose methods lie in another module: the registered server's own
    const auto other = client::create<IVexBuffer>(server::ClassFacts<CVexBuffer>::clsid);
    Ref<CTestStream> stream;
    ASSERT_EQ(server::create_object(stream), S_OK);
    Ref<IVexResult> result;
    EXPECT_EQ(stream->QueueBuffer(other.get(), result.put()), E_INVALIDARG);
    EXPECT_TRUE(server::Module::implements(static_cast<IVexStream*>(stream.get())));
    EXPECT_FALSE(server::Module::implements(other.get()));
    EXPECT_FALSE(server::Module::implements(nullptr));
}

// ---- byte arrays ----

/// The HRESULT a call throws; S_OK when it does not.
template <class Call>
HRESULT thrown_by(Call&& call)
{
    return server::guarded(call);
}

TEST_F(Wrapping, CopiesBytesOutIntoANewArray)
{
    const std::uint8_t bytes[] = {5, 6, 7};
    SAFEARRAY* array = server::new_byte_array(bytes);
    VARTYPE type = 0;
    LONG lower = 1;
    EXPECT_EQ(SafeArrayGetDim(array), 1U);
    EXPECT_EQ(SafeArrayGetVartype(array, &type), S_OK);
    EXPECT_EQ(type, VT_UI1);
    EXPECT_EQ(SafeArrayGetLBound(array, 1, &lower), S_OK);
    EXPECT_EQ(lower, 0);
    EXPECT_EQ(array->cLocks, 0U);
    EXPECT_EQ(bytes_of(array), (std::vector<unsigned char>{5, 6, 7}));
    SafeArrayDestroy(array);

    array = reinterpret_cast<SAFEARRAY*>(this);
    server::store(&array, std::span<const std::uint8_t>());
    EXPECT_EQ(array, nullptr);
    array = server::new_byte_array({bytes, 0});
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(bytes_of(array).size(), 0U);
    SafeArrayDestroy(array);
    EXPECT_EQ(thrown_by([&] {
                  static_cast<void>(server::new_byte_array({bytes, std::numeric_limits<std::size_t>::max() / 2}));
              }),
              E_OUTOFMEMORY);
}

class BytesIn : public Wrapping {
protected:
    std::vector<unsigned char> block = std::vector<unsigned char>(16, 0xEE);

    [[nodiscard]] HRESULT put(SAFEARRAY* array)
    {
        const HRESULT put = thrown_by([&] { server::array_to_bytes(array, block.data(), block.size()); });
        SafeArrayDestroy(array);
        return put;
    }
};

TEST_F(BytesIn, OverwriteOnlyTheirOwnLength)
{
    EXPECT_EQ(put(byte_array({1, 2, 3})), S_OK);
    EXPECT_EQ(block[0], 1);
    EXPECT_EQ(block[2], 3);
    EXPECT_EQ(std::count(block.begin(), block.end(), 0xEE), 13);
}

TEST_F(BytesIn, AreCutAtTheBlocksSize)
{
    block.assign(2, 0xEE);
    EXPECT_EQ(put(byte_array({1, 2, 3})), S_OK);
    EXPECT_EQ(block, (std::vector<unsigned char>{1, 2}));
}

TEST_F(BytesIn, NeedExactlyOneDimension)
{
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    EXPECT_EQ(put(SafeArrayCreate(VT_UI1, 2, bounds)), E_INVALIDARG);
    EXPECT_EQ(put(nullptr), E_INVALIDARG);
    EXPECT_EQ(std::count(block.begin(), block.end(), 0xEE), 16);
    // what is wrong with the array is said before what is missing behind it
    EXPECT_EQ(thrown_by([] { server::array_to_bytes(nullptr, nullptr, 0); }), E_INVALIDARG);
}

TEST_F(BytesIn, GoNowhereWithoutABlock)
{
    SAFEARRAY* array = byte_array({1});
    EXPECT_EQ(thrown_by([&] { server::array_to_bytes(array, nullptr, 16); }), S_OK);
    SafeArrayDestroy(array);
}

TEST_F(BytesIn, CountFromZeroWhateverTheLowerBound)
{
    // an array whose bounds are 5 and 9 over memory that really holds ten bytes
    unsigned char memory[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    SAFEARRAY* array = nullptr;
    ASSERT_EQ(SafeArrayAllocDescriptor(1, &array), S_OK);
    array->cbElements = 1;
    array->rgsabound[0] = {5, 5};
    array->pvData = memory;
    EXPECT_EQ(server::array_byte_count(array), 10U);
    server::array_to_bytes(array, block.data(), block.size());
    EXPECT_TRUE(std::equal(memory, memory + 10, block.begin()));
    EXPECT_EQ(std::count(block.begin(), block.end(), 0xEE), 6);
    array->pvData = nullptr;
    SafeArrayDestroyDescriptor(array);
}

TEST_F(BytesIn, SurviveALowerBoundFarBeyondTheirMemory)
{
    block.assign(64 << 20, 0xEE);
    EXPECT_EQ(put(byte_array({1, 2, 3}, 60 << 20)), S_OK);
    EXPECT_EQ(block[0], 1);
    EXPECT_EQ(block[2], 3);
    EXPECT_EQ(block.back(), 0xEE);
}

TEST_F(BytesIn, AreNoneBelowZero)
{
    SAFEARRAY* array = byte_array({1, 2, 3}, -5);
    EXPECT_EQ(server::array_byte_count(array), 0U);
    EXPECT_EQ(put(array), S_OK);
    EXPECT_EQ(std::count(block.begin(), block.end(), 0xEE), 16);
}

TEST_F(BytesIn, AreLockedWhileTheyAreUsed)
{
    SAFEARRAY* array = byte_array({1, 2, 3});
    {
        const server::ArrayLock lock(array);
        EXPECT_EQ(lock.data()[1], 2);
        EXPECT_EQ(array->cLocks, 1U);
        EXPECT_EQ(SafeArrayDestroy(array), DISP_E_ARRAYISLOCKED);
    }
    EXPECT_EQ(array->cLocks, 0U);
    SafeArrayDestroy(array);
    EXPECT_EQ(thrown_by([] { const server::ArrayLock none(nullptr); }), E_INVALIDARG);
}

// ---- values ----

TEST_F(Wrapping, ConvertsValuesByTheRules)
{
    EXPECT_EQ(server::to_variant_bool(true), 1);
    EXPECT_EQ(server::to_variant_bool(false), 0);
    EXPECT_TRUE(server::from_variant_bool(VARIANT_TRUE));
    EXPECT_TRUE(server::from_variant_bool(2));
    EXPECT_FALSE(server::from_variant_bool(0));
    EXPECT_EQ(client::take(server::to_bstr("")), L"");
    const PvString long_text(std::string(1000, 'x'));
    EXPECT_EQ(client::take(server::to_bstr(long_text)), std::wstring(1000, L'x'));
    EXPECT_EQ(client::take(server::to_bstr("gr\xC3\xB6\xC3\x9F"
                                           "er")),
              L"größer");
    EXPECT_EQ(server::from_bstr(nullptr).str(), "");
    BSTR cut = SysAllocStringLen(L"ab\0cd", 5);
    EXPECT_EQ(server::from_bstr(cut).str(), "ab");
    SysFreeString(cut);
    int marker = 0;
    EXPECT_EQ(server::from_address(server::to_address(&marker)), reinterpret_cast<unsigned char*>(&marker));
}

// ---- ownership ----

TEST_F(Wrapping, DeletesAnOwnedObjectAndNeverABorrowedOne)
{
    int destroyed = 0;
    FakeSdk borrowed(&destroyed);
    Ref<CTestFinder> finder;
    ASSERT_EQ(server::create_object(finder), S_OK);
    finder->own(std::make_unique<FakeSdk>(&destroyed));
    finder->AttachSdkObject(&borrowed);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(finder->sdk(), &borrowed);
    finder.reset();
    EXPECT_EQ(destroyed, 1);
    ASSERT_EQ(server::create_object(finder), S_OK);
    finder->own(std::make_unique<FakeSdk>(&destroyed));
    finder.reset();
    EXPECT_EQ(destroyed, 2);
}

TEST_F(Wrapping, HandsOutOneChildRepointedOnEveryRequest)
{
    Ref<CTestFinder> finder;
    ASSERT_EQ(server::create_object(finder), S_OK);
    FakeSdk first;
    FakeSdk second;
    second.block.resize(5);
    FakeSdk* current = &first;
    const auto ask = [&](Ref<IVexBuffer>& out) {
        return finder->child(out.put(), finder->view, [&] { return current; });
    };
    Ref<IVexBuffer> one, two, three;
    EXPECT_EQ(ask(one), S_OK);
    current = &second;
    EXPECT_EQ(ask(two), S_OK);
    EXPECT_EQ(one.get(), two.get());
    unsigned int size = 0;
    EXPECT_EQ(one->get_Size(&size), S_OK);
    EXPECT_EQ(size, 5U);
    EXPECT_EQ(client::references(one.get()), 3U);  // the parent's and two of the client's
    current = nullptr;
    EXPECT_EQ(ask(three), S_OK);
    EXPECT_FALSE(three);
    EXPECT_EQ(finder->view->sdk(), &second);
    EXPECT_EQ(finder->child(static_cast<IVexBuffer**>(nullptr), finder->view, [&] { return current; }), E_POINTER);
}

TEST_F(Wrapping, ReleasesChildrenBeforeTheSdkObjectAndTheLockLast)
{
    Ref<CTestFinder> finder;
    const LONG locks = module().lock_count();
    ASSERT_EQ(server::create_object(finder), S_OK);
    EXPECT_EQ(module().lock_count(), locks + 2);  // the object and its child
    bool still_whole = false;
    finder->own(std::make_unique<FakeSdk>());
    CTestFinder* watched = finder.get();
    finder->on_release = [&] { still_whole = watched->sdk() != nullptr && watched->view; };
    finder.reset();
    EXPECT_TRUE(still_whole);
    EXPECT_EQ(module().lock_count(), locks);
}

TEST_F(Wrapping, KeepsAChildThatAClientHoldsAfterItsParentIsGone)
{
    Ref<CTestFinder> finder;
    ASSERT_EQ(server::create_object(finder), S_OK);
    Ref<IVexBuffer> child;
    ASSERT_EQ(finder->child(child.put(), finder->view, [&] { return &fake; }), S_OK);
    finder.reset();
    EXPECT_EQ(client::references(child.get()), 1U);
}

TEST_F(Wrapping, WrapsInAFreshObjectOfItsOwn)
{
    Ref<IVexBuffer> first, second;
    server::wrap<CTestView>(&fake, first.put());
    server::wrap<CTestView>(&fake, second.put());
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(client::references(first.get()), 1U);
    EXPECT_EQ(thrown_by([&] { server::wrap<CTestView>(&fake, static_cast<IVexBuffer**>(nullptr)); }), E_POINTER);
}

// ---- construction ----

TEST_F(Wrapping, FailsCreationWithTheHresultOfFinalConstruction)
{
    const LONG locks = module().lock_count();
    CTestFinder::construct_with = E_ACCESSDENIED;
    void* object = this;
    EXPECT_EQ(server::create_instance<CTestFinder>(nullptr, IID_IUnknown, &object), E_ACCESSDENIED);
    EXPECT_EQ(object, nullptr);
    object = this;
    EXPECT_EQ(server::create_instance<CTestFinder>(static_cast<IVexBuffer*>(view.get()), IID_IUnknown, &object),
              E_ACCESSDENIED);
    EXPECT_EQ(object, nullptr);
    CTestFinder::construct_with = S_OK;
    CTestFinder::throw_in_construction = true;
    EXPECT_EQ(server::create_instance<CTestFinder>(nullptr, IID_IUnknown, &object), E_OUTOFMEMORY);
    CTestFinder::throw_in_construction = false;
    EXPECT_EQ(module().lock_count(), locks);
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(view.get())), 1U);
}

TEST_F(Wrapping, SurvivesInterfacesAskedForWhileItIsConstructedAndReleased)
{
    // CTestFinder takes and drops a reference to itself in both
    Ref<IUnknown> object;
    ASSERT_EQ(server::create_instance<CTestFinder>(nullptr, IID_IUnknown, object.put_void()), S_OK);
    EXPECT_EQ(client::references(object.get()), 1U);
}

}  // namespace
