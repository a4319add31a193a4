// A sink of an event that shows an object and takes an answer.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/com/com_client.h"

namespace client {

/// Is shown the object, null for none, and the answer.
template <class Interface>
using AskHandler = std::function<void(Interface*, VARIANT_BOOL*)>;

template <class Interface>
[[nodiscard]] Ref<Sink> asking_sink(const IID& events, AskHandler<Interface> handler)
{
    return Sink::create(events, [handler = std::move(handler)](DISPID event, const DISPPARAMS& parameters) {
        EXPECT_EQ(event, 1);
        EXPECT_EQ(parameters.cArgs, 2U);
        EXPECT_EQ(parameters.rgvarg[0].vt, VT_BYREF | VT_BOOL);
        EXPECT_EQ(parameters.rgvarg[1].vt, VT_DISPATCH);
        const auto shown = query<Interface>(parameters.rgvarg[1].pdispVal);
        handler(shown.get(), parameters.rgvarg[0].pboolVal);
        return S_OK;
    });
}

}  // namespace client
