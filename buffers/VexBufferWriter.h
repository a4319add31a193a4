// VexBufferWriter: buffers into files.
#pragma once

#include "buffers/VexBufferConverter.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvBufferWriter.h"
#include "server/wrapper.h"

/// Owns the SDK writer.
class CVexBufferWriter : public vex::server::Wrapper<CVexBufferWriter>, public vex::server::SdkObject<PvBufferWriter> {
public:
    void final_construct()
    {
        own_new();
        converter_ = vex::server::make<CVexBufferConverter>();
    }

    STDMETHODIMP get_Converter(IVexBufferConverter** pVal) noexcept override
    {
        return child(pVal, converter_, &PvBufferWriter::GetConverter);
    }
    STDMETHODIMP Store(IVexBuffer* aBuffer, BSTR aFileName, VexBufferFormatType aType,
                       IVexResult** result) noexcept override
    {
        return report(result, &PvBufferWriter::Store, aBuffer, aFileName, aType);
    }

private:
    vex::server::Ref<CVexBufferConverter> converter_;
};
