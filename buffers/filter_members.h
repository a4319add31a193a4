// The members that both image filters share.
#pragma once

#include "buffers/VexBuffer.h"
#include "sdk/convert/PvFilter.h"
#include "server/wrapper.h"

/// Implements IVexFilter for filter class T, whose SDK object is a PvFilter.
template <class T>
class FilterMembers : public vex::server::Wrapper<T> {
public:
    HRESULT STDMETHODCALLTYPE Apply(IVexBuffer* aBuffer, IVexResult** out) noexcept override
    {
        return this->result(out,
                            [&](PvFilter& filter) { return filter.Apply(&vex::server::sdk_of<CVexBuffer>(aBuffer)); });
    }
    HRESULT STDMETHODCALLTYPE ApplyFilter(IVexBuffer* aIn, IVexBuffer* aOut, IVexResult** out) noexcept override
    {
        return this->result(out, [&](PvFilter& filter) {
            return filter.Apply(&vex::server::sdk_of<CVexBuffer>(aIn), &vex::server::sdk_of<CVexBuffer>(aOut));
        });
    }
};
