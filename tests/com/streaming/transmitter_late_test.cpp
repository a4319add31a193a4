// VexTransmitterRaw as scripts use it, by name.
#include "tests/com/streaming/transmitter_fixture.h"

namespace {

using namespace transmitter_client;

TEST_F(Transmitter, WorksLateBound)
{
    LateBound late(transmitter.get());
    const auto code = [](Variant& result) {
        Variant value;
        EXPECT_EQ(result.type(), VT_DISPATCH);
        EXPECT_EQ(LateBound(result->pdispVal).get(L"Code", value), S_OK);
        return value.text();
    };
    const auto first = raw_buffer(10, 1);
    const auto second = raw_buffer(10, 2);
    Variant result;
    // a script's array of variants, in a variable of its own
    Variant pool(VT_VARIANT, variant_array({Variant(first.get()), Variant(second.get())}));
    ASSERT_EQ(late.call(L"LoadBufferPool", {Variant::by_reference(pool)}, &result), S_OK);
    EXPECT_EQ(code(result), L"0");
    ASSERT_EQ(
        late.call(L"Open",
                  {Variant(L"127.0.0.1"), Variant(static_cast<int>(host.port())), Variant(L""), Variant(0), Variant(0)},
                  &result),
        S_OK);
    EXPECT_EQ(code(result), L"0");
    Variant shown;
    ASSERT_EQ(late.call(L"RetrieveFreeBuffer", {Variant::by_reference(shown), Variant(0)}, &result), S_OK);
    EXPECT_EQ(code(result), L"0");
    ASSERT_EQ(shown.type(), VT_DISPATCH);
    const Variant kept = shown;
    ASSERT_EQ(late.call(L"RetrieveFreeBuffer", {Variant::by_reference(shown), Variant(0)}, &result), S_OK);
    EXPECT_NE(kept->pdispVal, shown->pdispVal);
    Variant value;
    ASSERT_EQ(LateBound(shown->pdispVal).get(L"ID", value), S_OK);
    EXPECT_EQ(value.text(), L"2");
    ASSERT_EQ(late.call(L"QueueBuffer", {shown}, &result), S_OK);
    EXPECT_EQ(code(result), L"0");
    EXPECT_EQ(data_of(receive_block(host)).size(), 10U);
    ASSERT_EQ(late.call(L"AbortQueuedBuffers", {Variant(1), Variant(1000)}, &result), S_OK);
    EXPECT_EQ(code(result), L"0");
    ASSERT_EQ(late.get(L"BlocksTransmitted", value), S_OK);
    EXPECT_EQ(value.text(), L"1");
    ASSERT_EQ(late.get(L"IsOpen", value), S_OK);
    EXPECT_EQ(value->boolVal, 1);
    ASSERT_EQ(late.call(L"ResetStats", {}), S_OK);
    ASSERT_EQ(late.call(L"Close", {}, &result), S_OK);
    EXPECT_EQ(code(result), L"0");
}

TEST_F(Transmitter, ArraysOfScriptsAreChecked)
{
    LateBound late(transmitter.get());
    const auto buffer = raw_buffer(10, 7);
    Variant result;
    EXPECT_EQ(late.call(L"LoadBufferPool", {Variant(VT_VARIANT, variant_array({Variant(buffer.get())}))}, &result),
              S_OK);
    EXPECT_EQ(late.call(L"LoadBufferPool", {Variant(VT_VARIANT, variant_array({Variant(3)}))}, &result),
              DISP_E_TYPEMISMATCH);
    const auto system = create<IVexSystem>(L"VexKamCOMWrapper.VexSystem.1");
    EXPECT_EQ(late.call(L"LoadBufferPool", {Variant(VT_VARIANT, variant_array({Variant(system.get())}))}, &result),
              DISP_E_EXCEPTION);
    EXPECT_EQ(late.scode(), E_INVALIDARG);
    EXPECT_EQ(late.description(), L"Element 0 of the buffers is no VexBuffer");
    EXPECT_EQ(late.call(L"LoadBufferPool", {Variant(VT_VARIANT, variant_array({}))}, &result), S_OK);
    EXPECT_EQ(retrieve().id(), 7U) << "none of these changed the pool";
    EXPECT_EQ(late.call(L"LoadBufferPool", {Variant(VT_VARIANT, nullptr)}, &result), S_OK);
    EXPECT_EQ(retrieve().code, VexNoAvailableData);
}

}  // namespace
