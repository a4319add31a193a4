// IsDriverInstalled where a driver is: the server's classes and the registry of receive backends are part of this
// program, so that the test can put a backend in. Objects are made by the server's own entry points.
#include <gtest/gtest.h>

#include <memory>

#include "sdk/net/receive_backends.h"
#include "tests/com/devices/camera_client.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID process_is_ending);
STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object);

using namespace client;

namespace {

namespace net = vex::net;

class Driver final : public net::ReceiveBackend {
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "test"; }
    [[nodiscard]] bool privileged() const noexcept override { return true; }
    [[nodiscard]] bool serves(const net::ReceivePath& path) const noexcept override
    {
        return path.local_interface == vex::loopback_address;
    }
    [[nodiscard]] std::unique_ptr<net::PacketReceiver> create(const net::ReceiverOptions&) const override
    {
        return nullptr;
    }
};

class IsDriverInstalled : public testing::Test {
protected:
    IsDriverInstalled()
    {
        // as the system does when it loads the server; once for the process
        static const BOOL loaded = DllMain(::GetModuleHandleW(nullptr), DLL_PROCESS_ATTACH, nullptr);
        EXPECT_TRUE(loaded);
        Ref<IClassFactory> factory;
        EXPECT_EQ(DllGetClassObject(CLSID_VexStream, IID_IClassFactory, factory.put_void()), S_OK);
        EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(IVexStream), stream.put_void()), S_OK);
    }

    VARIANT_BOOL is_installed(const wchar_t* device, const wchar_t* local) const
    {
        VARIANT_BOOL installed = 7;
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return stream->IsDriverInstalled(Text(device), &installed, Text(local), result);
                  }),
                  VexOK);
        return installed;
    }

    Ref<IVexStream> stream;
};

TEST_F(IsDriverInstalled, IsOneWhereADriverServesTheInterface)
{
    EXPECT_EQ(is_installed(L"127.0.0.9", L"127.0.0.1"), 0);
    {
        const net::AddedBackend driver(std::make_shared<Driver>());
        EXPECT_EQ(is_installed(L"127.0.0.9", L"127.0.0.1"), 1);
        EXPECT_EQ(is_installed(L"127.0.0.9", L"127.0.0.2"), 0);
    }
    EXPECT_EQ(is_installed(L"127.0.0.9", L"127.0.0.1"), 0);
}

}  // namespace
