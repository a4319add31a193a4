// Classes made on the frame for its tests, over interfaces of the type library that have members of every shape.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "generated/interface_stubs.h"
#include "server/wrapper.h"

/// A stand-in for an SDK object.
struct FakeSdk {
    explicit FakeSdk(int* destroyed = nullptr) : destructions(destroyed) {}
    FakeSdk(const FakeSdk&) = delete;
    FakeSdk& operator=(const FakeSdk&) = delete;
    ~FakeSdk()
    {
        if (destructions != nullptr) {
            ++*destructions;
        }
    }

    int* destructions;
    PvResult outcome;
    std::vector<unsigned char> block;
};

class CTestDevice;
class CTestArray;
class CTestWindow;
class CTestTransmitter;
class CTestStream;
class CTestView;
class CTestFinder;
class CTestPipeline;

namespace vex::server {

template <>
struct ClassFacts<CTestDevice> : ClassFacts<CVexDevice> {};
template <>
struct ClassFacts<CTestArray> : ClassFacts<CVexGenParameterArray> {};
template <>
struct ClassFacts<CTestWindow> : ClassFacts<CVexDisplayWnd> {};
template <>
struct ClassFacts<CTestTransmitter> : ClassFacts<CVexTransmitterRaw> {};
template <>
struct ClassFacts<CTestStream> : ClassFacts<CVexStream> {};
template <>
struct ClassFacts<CTestView> : ClassFacts<CVexBuffer> {};
template <>
struct ClassFacts<CTestFinder> : ClassFacts<CVexDeviceFinderWnd> {};
template <>
struct ClassFacts<CTestPipeline> : ClassFacts<CVexPipeline> {};

}  // namespace vex::server

/// Byte arrays, numbers and texts out; events.
class CTestDevice : public vex::server::Wrapper<CTestDevice, vex::idl::Stub<IVexDevice>>,
                    public vex::server::SdkObject<FakeSdk> {
public:
    using EventSource::fire;
    using SdkObject::own;
    using Wrapper::set;

    std::vector<unsigned char> memory = std::vector<unsigned char>(16);
    PvResult outcome;

    HRESULT STDMETHODCALLTYPE ReadRegister(unsigned int aAddress, unsigned int* aValue,
                                           IVexResult** out) noexcept override
    {
        return report(out, [&] {
            vex::server::store(aValue, aAddress + 1);
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE GetDefaultGenICamXMLFilename(BSTR* aFileName, IVexResult** out) noexcept override
    {
        return report(out, [&] {
            vex::server::store(aFileName, PvString("camera.xml"));
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE ReadMemory(unsigned int aAddress, SAFEARRAY* aDestination, unsigned int aByteCount,
                                         IVexResult** out) noexcept override
    {
        return report(out, [&] {
            const vex::server::ArrayLock target(aDestination);
            std::copy_n(memory.begin() + aAddress, aByteCount, target.data());
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE WriteMemory(unsigned int aAddress, SAFEARRAY* aSource, unsigned int aByteCount,
                                          IVexResult** out) noexcept override
    {
        return report(out, [&] {
            const vex::server::ArrayLock source(aSource);
            std::copy_n(source.data(), aByteCount, memory.begin() + aAddress);
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE SetStreamDestination(BSTR aIPAddress, unsigned short aDataPort, unsigned int aChannel,
                                                   IVexResult** out) noexcept override
    {
        return report(out, [&] {
            destination = vex::server::from_bstr(aIPAddress).str() + ":" + std::to_string(aDataPort) + "/" +
                          std::to_string(aChannel);
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE ResetStreamTimeoutCounter(unsigned int, IVexResult**) noexcept override
    {
        return set([&](FakeSdk& sdk) { return sdk.outcome; });
    }
    HRESULT STDMETHODCALLTYPE Reset(IVexResult** out) noexcept override
    {
        return report(out, [&]() -> PvResult { return failure(); });
    }

    std::function<PvResult()> failure = [] { return PvResult(); };
    std::string destination;
};

/// 64-bit integers, floating point, booleans and texts out.
class CTestArray : public vex::server::Wrapper<CTestArray, vex::idl::Stub<IVexGenParameterArray>> {
public:
    HRESULT STDMETHODCALLTYPE GetIntegerValue(BSTR, __int64* aValue, IVexResult** out) noexcept override
    {
        return report(out, [&] {
            vex::server::store(aValue, 0x1234567890LL);
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE GetFloatValue(BSTR, double* aValue, IVexResult** out) noexcept override
    {
        return report(out, [&] {
            vex::server::store(aValue, 2.5);
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE GetBooleanValue(BSTR, VARIANT_BOOL* aValue, IVexResult** out) noexcept override
    {
        return report(out, [&] {
            vex::server::store(aValue, true);
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE GetStringValue(BSTR aName, BSTR* aValue, IVexResult** out) noexcept override
    {
        return report(out, [&] {
            vex::server::store(aValue, PvString("value of " + vex::server::from_bstr(aName).str()));
            return outcome;
        });
    }

    PvResult outcome;
};

/// Several numbers out, and inherited members.
class CTestWindow : public vex::server::Wrapper<CTestWindow, vex::idl::Stub<IVexDisplayWnd>> {
public:
    HRESULT STDMETHODCALLTYPE GetPosition(int* aPosX, int* aPosY, int* aSizeX, int* aSizeY) noexcept override
    {
        return guarded([&] {
            vex::server::store(aPosX, -1);
            vex::server::store(aPosY, 2);
            vex::server::store(aSizeX, 300);
            vex::server::store(aSizeY, 400);
        });
    }
};

/// Objects out, and arrays of objects.
class CTestTransmitter : public vex::server::Wrapper<CTestTransmitter, vex::idl::Stub<IVexTransmitterRaw>> {
public:
    HRESULT STDMETHODCALLTYPE LoadBufferPool(SAFEARRAY* aBuffers, IVexResult** out) noexcept override;

    std::vector<IUnknown*> pool;  // without references, to compare
    bool pool_was_null = false;
};

/// Interfaces out, one of them beside the return value.
class CTestStream : public vex::server::Wrapper<CTestStream, vex::idl::Stub<IVexStream>> {
public:
    HRESULT STDMETHODCALLTYPE RetrieveBuffer(IVexBuffer** aBuffer, IVexResult** aOperationResult, unsigned int aTimeout,
                                             IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE QueueBuffer(IVexBuffer* aBuffer, IVexResult** out) noexcept override;

    IVexBuffer* to_hand_out = nullptr;
    IVexBuffer* queued = nullptr;
};

/// A view: its SDK object belongs to someone else.
class CTestView : public vex::server::Wrapper<CTestView, vex::idl::Stub<IVexBuffer>>,
                  public vex::server::SdkObject<FakeSdk> {
public:
    HRESULT STDMETHODCALLTYPE get_Data(SAFEARRAY** pVal) noexcept override
    {
        return value(pVal, [](FakeSdk& fake) { return std::span(fake.block.data(), fake.block.size()); });
    }
    HRESULT STDMETHODCALLTYPE put_Data(SAFEARRAY* pVal) noexcept override
    {
        return set([&](FakeSdk& fake) { vex::server::array_to_bytes(pVal, fake.block.data(), fake.block.size()); });
    }
    HRESULT STDMETHODCALLTYPE get_Size(unsigned int* pVal) noexcept override
    {
        return value(pVal, [](FakeSdk& sdk) { return static_cast<unsigned int>(sdk.block.size()); });
    }
    HRESULT STDMETHODCALLTYPE put_Timestamp(unsigned __int64) noexcept override
    {
        return set([](FakeSdk& sdk) { return sdk.outcome; });
    }
    HRESULT STDMETHODCALLTYPE Alloc(unsigned int, IVexResult** out) noexcept override
    {
        return report(out, [](FakeSdk& sdk) { return sdk.outcome; });
    }
};

/// An object as a property.
class CTestPipeline : public vex::server::Wrapper<CTestPipeline, vex::idl::Stub<IVexPipeline>> {
public:
    HRESULT STDMETHODCALLTYPE put_StreamBase(IVexStreamBase* pVal) noexcept override
    {
        stream = pVal;
        return S_OK;
    }

    IVexStreamBase* stream = nullptr;  // without a reference, to compare
};

/// An event with an answer; owns its SDK object and a child.
class CTestFinder : public vex::server::Wrapper<CTestFinder, vex::idl::Stub<IVexDeviceFinderWnd>>,
                    public vex::server::SdkObject<FakeSdk> {
public:
    using EventSource::fire;
    using SdkObject::own;
    using Wrapper::child;

    void final_construct()
    {
        // references made during construction must not destroy the object
        vex::server::Ref<IUnknown>(static_cast<DefaultInterface*>(this)).reset();
        vex::server::require(construct_with);
        if (throw_in_construction) {
            throw std::bad_alloc();
        }
        view = vex::server::make<CTestView>();
    }
    void final_release() noexcept
    {
        // a client may still ask for interfaces while the object goes
        vex::server::Ref<IUnknown>(static_cast<DefaultInterface*>(this)).reset();
        if (on_release) {
            on_release();
        }
    }

    static inline HRESULT construct_with = S_OK;
    static inline bool throw_in_construction = false;
    vex::server::Ref<CTestView> view;
    std::function<void()> on_release;
};
