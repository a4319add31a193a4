// The members that all window classes share.
#pragma once

#include "sdk/gui/PvWnd.h"
#include "server/wrapper.h"

/// Implements IVexWnd for window class T, whose SDK object is a PvWnd.
///
/// A client may release the object while a member of it handles messages: the window then goes at once, and the member
/// returns.
template <class T>
class WndMembers : public vex::server::Wrapper<T> {
protected:
    using vex::server::Wrapper<T>::guarded;
    using vex::server::Wrapper<T>::report;
    using vex::server::Wrapper<T>::set;
    using vex::server::Wrapper<T>::value;

public:
    STDMETHODIMP get_Title(BSTR* pVal) noexcept override { return value(pVal, &PvWnd::GetTitle); }
    STDMETHODIMP put_Title(BSTR pVal) noexcept override { return set(&PvWnd::SetTitle, pVal); }
    STDMETHODIMP get_Handle(INT_PTR* pVal) noexcept override { return value(pVal, &PvWnd::GetHandle); }
    STDMETHODIMP SetPosition(int aPosX, int aPosY, int aSizeX, int aSizeY) noexcept override
    {
        return set(&PvWnd::SetPosition, aPosX, aPosY, aSizeX, aSizeY);
    }
    STDMETHODIMP GetPosition(int* aPosX, int* aPosY, int* aSizeX, int* aSizeY) noexcept override
    {
        return set(&PvWnd::GetPosition, aPosX, aPosY, aSizeX, aSizeY);
    }
    STDMETHODIMP ShowModal(INT_PTR aParentHwnd, IVexResult** result) noexcept override
    {
        return report(result, &PvWnd::ShowModal, aParentHwnd);
    }
    STDMETHODIMP ShowModeless(INT_PTR aParentHwnd, IVexResult** result) noexcept override
    {
        return report(result, &PvWnd::ShowModeless, aParentHwnd);
    }
    STDMETHODIMP Create(INT_PTR aHwnd, unsigned int aId, IVexResult** result) noexcept override
    {
        return report(result, &PvWnd::Create, aHwnd, aId);
    }
    STDMETHODIMP Close(IVexResult** result) noexcept override { return report(result, &PvWnd::Close); }
    STDMETHODIMP DoEvents(IVexResult** result) noexcept override { return report(result, &PvWnd::DoEvents); }
};
