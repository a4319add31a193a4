// VexBufferWriter: buffers into files.
#pragma once

#include "buffers/VexBufferConverter.h"
#include "sdk/convert/PvBufferWriter.h"
#include "server/wrapper.h"

/// Owns the SDK writer.
class CVexBufferWriter : public vex::server::Wrapper<CVexBufferWriter>, public vex::server::SdkObject<PvBufferWriter> {
public:
    HRESULT final_construct();
    void final_release() noexcept;

    HRESULT STDMETHODCALLTYPE get_Converter(IVexBufferConverter** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Store(IVexBuffer* aBuffer, BSTR aFileName, VexBufferFormatType aType,
                                    IVexResult** result) noexcept override;

private:
    vex::server::Ref<CVexBufferConverter> converter_;
};
