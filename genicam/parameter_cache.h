// The objects that were handed out for parameters, so that asking again gives the same object with its event sinks.
#pragma once

#include <map>
#include <utility>

#include "genicam/parameter_kinds.h"

/// Parameter objects by the key they were asked for, each with one reference. Not synchronised.
template <class Key>
class ParameterCache {
public:
    /// The object for an SDK parameter, with a reference for the caller: the cached one when it can be pointed at the
    /// parameter, else a new one that takes its place. Null for a null parameter; the cache is not touched then.
    /// Throws when no object can be made.
    void look_up(const Key& key, PvGenParameter* parameter, IVexGenParameter** out)
    {
        *out = nullptr;
        if (parameter == nullptr) {
            return;
        }
        vex::server::Ref<IVexGenParameter>& cached = objects_[key];
        if (!rebind_parameter(cached.get(), parameter)) {
            cached = make_parameter(parameter);
        }
        cached.copy_to(out);
    }

    /// Releases all objects.
    void clear() noexcept { std::exchange(objects_, {}).clear(); }

private:
    std::map<Key, vex::server::Ref<IVexGenParameter>, std::less<>> objects_;
};
