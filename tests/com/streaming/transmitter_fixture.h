// A transmitter as clients use it, and a socket of the test that receives what it sends.
#pragma once

#include <initializer_list>

#include "tests/com/devices/camera_client.h"
#include "tests/sdk/transmitterraw/packets.h"

namespace transmitter_client {

using namespace client;

inline constexpr wchar_t prog_id[] = L"VexKamCOMWrapper.VexTransmitterRaw.1";
inline constexpr unsigned int ample = 10'000;  // ms

class Transmitter : public ComTest {
protected:
    [[nodiscard]] VexResultCode open(BSTR source) const
    {
        return code_of([&](IVexResult** result) {
            return transmitter->Open(Text(L"127.0.0.1"), host.port(), source, 0, 0, result);
        });
    }
    [[nodiscard]] VexResultCode open() const { return open(Text(L"127.0.0.1")); }
    [[nodiscard]] VexResultCode close() const { return code_of(transmitter, &IVexTransmitterRaw::Close); }
    [[nodiscard]] VexResultCode queue(IVexBuffer* buffer) const
    {
        return code_of([&](IVexResult** result) { return transmitter->QueueBuffer(buffer, result); });
    }
    [[nodiscard]] VexResultCode load(SAFEARRAY* buffers) const
    {
        return code_of([&](IVexResult** result) { return transmitter->LoadBufferPool(buffers, result); });
    }
    [[nodiscard]] VexResultCode load(std::initializer_list<IUnknown*> buffers, LONG lower = 0) const
    {
        const Array array(objects(buffers, lower));
        return load(array.get());
    }
    [[nodiscard]] VexResultCode abort(VARIANT_BOOL wait, unsigned int timeout) const
    {
        return code_of([&](IVexResult** result) { return transmitter->AbortQueuedBuffers(wait, timeout, result); });
    }
    struct Retrieved {
        Ref<IVexBuffer> buffer;
        VexResultCode code = VexGenericError;
        /// What the client keeps in the buffer's ID.
        [[nodiscard]] unsigned __int64 id() const { return buffer ? value_of(buffer, &IVexBuffer::get_ID) : 0; }
    };
    [[nodiscard]] Retrieved retrieve(unsigned int timeout = 0) const
    {
        Retrieved retrieved;
        retrieved.code = code_of([&](IVexResult** result) {
            return transmitter->RetrieveFreeBuffer(retrieved.buffer.put(), timeout, result);
        });
        EXPECT_EQ(static_cast<bool>(retrieved.buffer), retrieved.code == VexOK);
        return retrieved;
    }

    /// An array of references, as a typed client makes it.
    static SAFEARRAY* objects(std::initializer_list<IUnknown*> elements, LONG lower = 0)
    {
        SAFEARRAY* array = nullptr;
        SAFEARRAYBOUND bounds{static_cast<ULONG>(elements.size()), lower};
        array = SafeArrayCreate(VT_UNKNOWN, 1, &bounds);
        LONG at = lower;
        for (IUnknown* element : elements) {
            EXPECT_EQ(SafeArrayPutElement(array, &at, element), S_OK);
            ++at;
        }
        return array;
    }
    static Ref<IVexBuffer> raw_buffer(unsigned int size, unsigned __int64 id = 0)
    {
        auto buffer = new_buffer();
        EXPECT_EQ(buffer->put_PayloadType(VexPayloadTypeRawData), S_OK);
        EXPECT_EQ(alloc(buffer.get(), size), VexOK);
        EXPECT_EQ(buffer->put_ID(id), S_OK);
        return buffer;
    }
    /// A quarter of a million bytes a second, so that a large block is under way while a test looks.
    void throttle() const { EXPECT_EQ(transmitter->put_MaxPayloadThroughput(2.0F), S_OK); }
    [[nodiscard]] unsigned int queued() const
    {
        return value_of(transmitter, &IVexTransmitterRaw::get_QueuedBufferCount);
    }
    [[nodiscard]] unsigned int blocks() const
    {
        return value_of(transmitter, &IVexTransmitterRaw::get_BlocksTransmitted);
    }

    HostSocket host;
    Ref<IVexTransmitterRaw> transmitter = create<IVexTransmitterRaw>(prog_id);
};

}  // namespace transmitter_client
