// What the parameter classes share among themselves.
#pragma once

#include <functional>
#include <unordered_map>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameter.h"
#include "sdk/genicam/results.h"

/// The parameters of an array by their nodes.
struct PvGenParameter::Owner {
    std::unordered_map<const GenApi::INode*, PvGenParameter*> parameters;
    std::function<void(PvGenParameter&)> on_written;  ///< empty for nobody
};

template <class Work>
PvResult PvGenParameter::run(Work&& work) const
{
    PvResult result = vex::genicam::result_of(std::forward<Work>(work));
    if (!result.IsOK()) {
        remember(result);
    }
    vex::ApplicationCall::operation_ends();
    return result;
}

template <class Work>
PvResult PvGenParameter::change(Work&& work)
{
    return run([&] {
        work();
        if (owner_.on_written) {
            owner_.on_written(*this);
        }
    });
}
