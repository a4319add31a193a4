// A device of the tests' own, called late bound.
#pragma once

#include "tests/com/com_client.h"
#include "tests/com/frame/test_classes.h"

namespace late_binding_test {

using client::LateBound;
using client::Ref;
using client::Variant;

template <class T>
Ref<T> make()
{
    Ref<T> made;
    EXPECT_EQ(vex::server::create_object(made), S_OK);
    return made;
}

/// The code inside a result object that a late-bound call returned.
inline VexResultCode code_of(const Variant& returned)
{
    VexResultCode code = VexGenericError;
    EXPECT_EQ(returned.type(), VT_DISPATCH);
    if (const auto result = client::query<IVexResult>(returned->pdispVal); result) {
        result->get_Code(&code);
    }
    return code;
}

class LateBinding : public client::ComTest {
protected:
    Ref<CTestDevice> device = make<CTestDevice>();
    LateBound late{device.get()};
    Variant returned;
};

}  // namespace late_binding_test
