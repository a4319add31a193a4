#include "buffers/VexBufferWriter.h"

#include "buffers/VexBuffer.h"

using namespace vex;

HRESULT CVexBufferWriter::final_construct()
{
    own_new();
    return server::create_object(converter_);
}

void CVexBufferWriter::final_release() noexcept
{
    // a client that still holds the converter must not reach into the writer that goes
    if (sdk() != nullptr && converter_ && converter_->sdk() == sdk()->GetConverter()) {
        converter_->AttachSdkObject(nullptr);
    }
    converter_.reset();
}

HRESULT CVexBufferWriter::get_Converter(IVexBufferConverter** pVal) noexcept
{
    return child(pVal, converter_, [](PvBufferWriter& writer) { return writer.GetConverter(); });
}

HRESULT CVexBufferWriter::Store(IVexBuffer* aBuffer, BSTR aFileName, VexBufferFormatType aType,
                                IVexResult** out) noexcept
{
    return result(out, [&](PvBufferWriter& writer) {
        return writer.Store(&server::sdk_of<CVexBuffer>(aBuffer), server::from_bstr(aFileName),
                            static_cast<PvBufferFormatType>(aType));
    });
}
