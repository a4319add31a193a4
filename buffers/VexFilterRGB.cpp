#include "buffers/VexFilterRGB.h"

using namespace vex;

HRESULT CVexFilterRGB::final_construct()
{
    own_new();
    return S_OK;
}

HRESULT CVexFilterRGB::get_GainR(double* pVal) noexcept
{
    return value(pVal, [](PvFilterRGB& filter) { return filter.GetGainR(); });
}

HRESULT CVexFilterRGB::put_GainR(double pVal) noexcept
{
    return set([&](PvFilterRGB& filter) { filter.SetGainR(pVal); });
}

HRESULT CVexFilterRGB::get_GainG(double* pVal) noexcept
{
    return value(pVal, [](PvFilterRGB& filter) { return filter.GetGainG(); });
}

HRESULT CVexFilterRGB::put_GainG(double pVal) noexcept
{
    return set([&](PvFilterRGB& filter) { filter.SetGainG(pVal); });
}

HRESULT CVexFilterRGB::get_GainB(double* pVal) noexcept
{
    return value(pVal, [](PvFilterRGB& filter) { return filter.GetGainB(); });
}

HRESULT CVexFilterRGB::put_GainB(double pVal) noexcept
{
    return set([&](PvFilterRGB& filter) { filter.SetGainB(pVal); });
}

HRESULT CVexFilterRGB::get_OffsetR(int* pVal) noexcept
{
    return value(pVal, [](PvFilterRGB& filter) { return filter.GetOffsetR(); });
}

HRESULT CVexFilterRGB::put_OffsetR(int pVal) noexcept
{
    return set([&](PvFilterRGB& filter) { filter.SetOffsetR(pVal); });
}

HRESULT CVexFilterRGB::get_OffsetG(int* pVal) noexcept
{
    return value(pVal, [](PvFilterRGB& filter) { return filter.GetOffsetG(); });
}

HRESULT CVexFilterRGB::put_OffsetG(int pVal) noexcept
{
    return set([&](PvFilterRGB& filter) { filter.SetOffsetG(pVal); });
}

HRESULT CVexFilterRGB::get_OffsetB(int* pVal) noexcept
{
    return value(pVal, [](PvFilterRGB& filter) { return filter.GetOffsetB(); });
}

HRESULT CVexFilterRGB::put_OffsetB(int pVal) noexcept
{
    return set([&](PvFilterRGB& filter) { filter.SetOffsetB(pVal); });
}

HRESULT CVexFilterRGB::WhiteBalance(IVexBuffer* aBuffer, IVexResult** out) noexcept
{
    return result(out, [&](PvFilterRGB& filter) { return filter.WhiteBalance(&server::sdk_of<CVexBuffer>(aBuffer)); });
}

HRESULT CVexFilterRGB::Reset() noexcept
{
    return set([](PvFilterRGB& filter) { filter.Reset(); });
}
