#include "bench/com/measured_device.h"

#include "generated/interface_stubs.h"
#include "server/wrapper.h"

using namespace vex;

class CMeasuredDevice;

namespace vex::server {

template <>
struct ClassFacts<CMeasuredDevice> : ClassFacts<CVexDevice> {};

}  // namespace vex::server

class CMeasuredDevice : public server::Wrapper<CMeasuredDevice, vex::idl::Stub<IVexDevice>> {
public:
    HRESULT STDMETHODCALLTYPE ReadRegister(unsigned int aAddress, unsigned int* aValue,
                                           IVexResult** out) noexcept override
    {
        const auto next = [](std::uint32_t address, std::uint32_t& read) {
            read = address + 1;
            return PvResult(PvResult::OK);
        };
        return report(out, next, aAddress, aValue);
    }
};

namespace bench {

server::Ref<IVexDevice> make_frame_device()
{
    server::Ref<CMeasuredDevice> made;
    if (FAILED(server::create_object(made))) {
        return {};
    }
    return server::Ref<IVexDevice>(made.get());
}

}  // namespace bench
