// A connected software camera that sends to a stream of the test.
#pragma once

#include "tests/com/devices/camera_client.h"

namespace client {

/// Small images, as fast as the camera makes them.
class CameraControl {
public:
    static constexpr unsigned int width = 64;
    static constexpr unsigned int height = 48;
    static constexpr unsigned int image_bytes = width * height;

    /// Connects to the camera at `address` and makes its images small.
    void connect(const wchar_t* address)
    {
        ASSERT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
        ASSERT_EQ(device->get_GenParameters(features.put()), S_OK);
        set(L"Width", width);
        set(L"Height", height);
    }
    /// Makes the camera send to an open stream.
    void send_to(IVexStreamBase* stream) const
    {
        const auto port = value_of(stream, &IVexStreamBase::get_LocalPort);
        ASSERT_EQ(code_of([&](IVexResult** result) {
                      return device->SetStreamDestination(Text(L"127.0.0.1"), port, 0, result);
                  }),
                  VexOK);
    }
    void set(const wchar_t* name, __int64 value) const
    {
        EXPECT_EQ(code_of([&](IVexResult** result) { return features->SetIntegerValue(Text(name), value, result); }),
                  VexOK);
    }
    void execute(const wchar_t* name) const
    {
        EXPECT_EQ(code_of([&](IVexResult** result) { return features->ExecuteCommand(Text(name), result); }), VexOK);
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexGenParameterArray> features;
};

}  // namespace client
