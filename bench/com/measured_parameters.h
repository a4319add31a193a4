// The server's parameter objects over registers in memory, for what reading a cached feature costs a client.
#pragma once

#include <memory>

#include "server/ref.h"
#include "server/type_library.h"

namespace bench {

/// One integer feature, "Width", of 640, whose register may be cached.
class MeasuredParameters {
public:
    MeasuredParameters();
    ~MeasuredParameters();
    MeasuredParameters(const MeasuredParameters&) = delete;
    MeasuredParameters& operator=(const MeasuredParameters&) = delete;

    [[nodiscard]] vex::server::Ref<IVexGenParameterArray> array() const;
    [[nodiscard]] vex::server::Ref<IVexGenInteger> width() const;
    /// How often the register was read.
    [[nodiscard]] int reads() const noexcept;

private:
    struct Contents;
    std::unique_ptr<Contents> contents_;
};

}  // namespace bench
