// What the tests share that need a camera: one in this process, and short ways to call members.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "tests/com/buffers/objects.h"
#include "tests/com/com_client.h"
#include "tools/softcam/camera.h"

namespace client {

/// A text for an [in] BSTR parameter.
class Text {
public:
    explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {}
    explicit Text(const std::wstring& text) : Text(text.c_str()) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(text_); }
    operator BSTR() const noexcept { return text_; }  // NOLINT(google-explicit-constructor)

private:
    BSTR text_;
};

/// The object that a call gives; the call's failure is reported.
template <class Interface, class Call>
[[nodiscard]] Ref<Interface> object_of(Call&& call)
{
    Ref<Interface> object;
    EXPECT_EQ(call(object.put()), S_OK);
    return object;
}

/// Waits until `condition` holds; whether it came to hold within ten seconds.
template <class Condition>
[[nodiscard]] bool await(Condition condition)
{
    for (int i = 0; i < 1000; ++i) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

/// A test with a software camera on 127.0.0.1, which runs as long as the test program's suite does.
class CameraTest : public ComTest {
protected:
    static void SetUpTestSuite() { start_camera(); }
    static void TearDownTestSuite() { camera_.reset(); }

    static void start_camera()
    {
        softcam::CameraOptions options;
        options.adapter = "127.0.0.1";
        options.serial_number = "COM-TEST";
        options.user_defined_name = "tested";
        camera_ = std::make_unique<softcam::Camera>(options);
        camera_->start();
    }
    static void stop_camera() { camera_.reset(); }

    static constexpr wchar_t address[] = L"127.0.0.1";
    static inline std::unique_ptr<softcam::Camera> camera_;
};

}  // namespace client
