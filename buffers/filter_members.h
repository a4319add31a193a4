// The members that both image filters share.
#pragma once

#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvFilter.h"
#include "server/wrapper.h"

/// Implements IVexFilter for filter class T, whose SDK object is a PvFilter.
template <class T>
class FilterMembers : public vex::server::Wrapper<T> {
protected:
    using vex::server::Wrapper<T>::report;

public:
    STDMETHODIMP Apply(IVexBuffer* aBuffer, IVexResult** result) noexcept override
    {
        return report(result, vex::server::overload<PvResult(PvBuffer*)>(&PvFilter::Apply), aBuffer);
    }
    STDMETHODIMP ApplyFilter(IVexBuffer* aIn, IVexBuffer* aOut, IVexResult** result) noexcept override
    {
        return report(result, vex::server::overload<PvResult(const PvBuffer*, PvBuffer*)>(&PvFilter::Apply), aIn, aOut);
    }
};
