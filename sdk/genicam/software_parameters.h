// Parameter arrays that are not a camera's: the parameters of a link or a stream, whose values live in software. They
// go through the same node map engine as a camera's, so they behave alike.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "sdk/genapi/types.h"
#include "sdk/genicam/PvGenParameterArray.h"

namespace vex {

/// What every software parameter has. The functions run with the array's lock held: they must not use the array, except
/// SoftwareParameterArray::changed.
struct SoftwareParameter {
    std::string name;      ///< an identifier, unique in the array
    std::string category;  ///< an identifier, made on first use; nested as "Outer/Inner"; empty for Root
    std::string display_name;
    std::string tool_tip;
    std::string description;
    GenApi::Visibility visibility = GenApi::Visibility::beginner;
    bool streamable = false;
    /// Asked at every read, never cached: for values that change on their own.
    bool is_volatile = false;
    /// Parameters to be read anew after this one was written.
    std::vector<std::string> invalidates;
    std::function<bool()> available;  ///< none: always; asked at every access
    std::function<bool()> locked;     ///< none: never; asked at every access
};

template <class T>
using SoftwareGetter = std::function<T()>;
/// The result's description reaches the caller. No setter: the parameter is read-only.
template <class T>
using SoftwareSetter = std::function<PvResult(T)>;

struct SoftwareInteger : SoftwareParameter {
    std::int64_t min = 0;
    std::int64_t max = INT64_MAX;
    std::int64_t increment = 1;
    std::function<std::int64_t()> dynamic_max;  ///< instead of max; asked at every access
    std::string unit;
    GenApi::Representation representation = GenApi::Representation::pure_number;
    SoftwareGetter<std::int64_t> get;
    SoftwareSetter<std::int64_t> set;
};

struct SoftwareFloat : SoftwareParameter {
    double min = -1e300;
    double max = 1e300;
    std::string unit;
    GenApi::Representation representation = GenApi::Representation::pure_number;
    SoftwareGetter<double> get;
    SoftwareSetter<double> set;
};

struct SoftwareEnumEntry {
    std::string name;
    std::int64_t value = 0;
    std::string display_name;
    std::string tool_tip;
};

struct SoftwareEnum : SoftwareParameter {
    std::vector<SoftwareEnumEntry> entries;
    SoftwareGetter<std::int64_t> get;
    SoftwareSetter<std::int64_t> set;
};

struct SoftwareBoolean : SoftwareParameter {
    SoftwareGetter<bool> get;
    SoftwareSetter<bool> set;
};

struct SoftwareCommand : SoftwareParameter {
    std::function<PvResult()> execute;
    std::function<bool()> is_done;  ///< none: done at once
};

struct SoftwareString : SoftwareParameter {
    std::int64_t max_length = 256;  ///< bytes of UTF-8
    SoftwareGetter<std::string> get;
    SoftwareSetter<const std::string&> set;
};

/// A parameter array whose values live in software.
class SoftwareParameterArray : public PvGenParameterArray {
public:
    ~SoftwareParameterArray() override;

    /// Says that a parameter's value was changed by other means than its setter: it is read anew and its event sinks
    /// are called. Never waits; may be called from any thread, with any lock held, also from getters and setters.
    /// Unknown names are ignored.
    void changed(std::string_view name);

private:
    friend class SoftwareParameters;
    class Port;
    SoftwareParameterArray();

    std::unique_ptr<Port> port_;
};

/// Collects parameters and makes an array of them: category by category, each in the order in which they were added.
///
///     SoftwareParameters parameters("StreamParameters");
///     SoftwareInteger timeout;
///     timeout.name = "RequestTimeout";
///     timeout.category = "Resend";
///     timeout.get = [this] { return request_timeout(); };
///     parameters.add(timeout);
///     auto array = parameters.build();
class SoftwareParameters {
public:
    explicit SoftwareParameters(std::string model_name) : model_name_(std::move(model_name)) {}

    using Any =
        std::variant<SoftwareInteger, SoftwareFloat, SoftwareEnum, SoftwareBoolean, SoftwareCommand, SoftwareString>;
    SoftwareParameters& add(Any parameter);

    /// Throws GenApi::DescriptionError for names that are no identifiers or not unique, for a parameter without getter
    /// (or, for a command, without action), and for one that invalidates a parameter that is not there.
    [[nodiscard]] std::unique_ptr<SoftwareParameterArray> build();

private:
    std::string model_name_;
    std::vector<Any> parameters_;
};

}  // namespace vex
