// What the frame costs: creating, calling and releasing objects, and reading a cached feature, beside bare objects with
// the same signatures in the same run; and whether a million objects leave memory behind.
#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench/com/bare_objects.h"
#include "bench/com/measured_device.h"
#include "bench/com/measured_parameters.h"
#include "generated/class_facts.h"

using namespace vex;

namespace {

using server::Ref;
using Clock = std::chrono::steady_clock;

constexpr int rounds = 300;
constexpr int calls = 1'000;  // a round is shorter than a time slice, so that most rounds run undisturbed
constexpr double frame_target = 1.1;
constexpr double feature_target = 1.3;  // for a node map's work behind the frame

/// Stops at the first call that does not do what it is measured for.
void require(HRESULT result, const char* what)
{
    if (FAILED(result)) {
        std::fprintf(stderr, "%s: 0x%08lX\n", what, static_cast<unsigned long>(result));
        std::exit(1);
    }
}

/// Nanoseconds for one of `calls` calls of `body`.
double time_once(const std::function<void(int)>& body)
{
    const auto since = Clock::now();
    body(calls);
    return std::chrono::duration<double, std::nano>(Clock::now() - since).count() / calls;
}

bool within_target = true;

/// The value that this share of the rounds stays below.
double quantile(std::vector<double>& values, double share)
{
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

double median(std::vector<double>& values) { return quantile(values, 0.5); }

/// For what a bare object cannot do.
void measure(const char* name, const char* bare, const std::function<void(int)>& frame)
{
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        times.push_back(time_once(frame));
    }
    std::printf("%-44s %12s %9.1f ns\n", name, bare, median(times));
}

/// Times both in each round, the one or the other first, so that whatever else the machine does falls on both. Prints
/// the median times, the median of the rounds' ratios, and between what the middle eight tenths of the ratios lie.
void compare(const char* name, const std::function<void(int)>& bare, const std::function<void(int)>& frame,
             double target = frame_target)
{
    std::vector<double> bare_times;
    std::vector<double> frame_times;
    std::vector<double> ratios;
    bare(calls);
    frame(calls);
    for (int round = 0; round < rounds; ++round) {
        const bool bare_first = round % 2 == 0;
        const double first = time_once(bare_first ? bare : frame);
        const double second = time_once(bare_first ? frame : bare);
        bare_times.push_back(bare_first ? first : second);
        frame_times.push_back(bare_first ? second : first);
        ratios.push_back(frame_times.back() / bare_times.back());
    }
    const double ratio = median(ratios);
    within_target = within_target && ratio <= target;
    std::printf("%-44s %9.1f ns %9.1f ns   %.2f (%.2f to %.2f)", name, median(bare_times), median(frame_times), ratio,
                quantile(ratios, 0.1), quantile(ratios, 0.9));
    if (ratio > target) {
        std::printf("  above %.2f", target);
    }
    std::puts("");
}

Ref<IVexResult> create(IClassFactory& factory)
{
    Ref<IVexResult> made;
    require(factory.CreateInstance(nullptr, __uuidof(IVexResult), made.put_void()), "creating a result");
    return made;
}

auto creating_and_releasing(IClassFactory& factory)
{
    return [&factory](int count) {
        for (int at = 0; at < count; ++at) {
            create(factory);
        }
    };
}

auto many_alive(IClassFactory& factory)
{
    return [&factory](int count) {
        std::vector<Ref<IVexResult>> objects;
        objects.reserve(static_cast<std::size_t>(count));
        for (int at = 0; at < count; ++at) {
            objects.push_back(create(factory));
        }
    };
}

auto querying(IVexResult& object)
{
    return [&object](int count) {
        for (int at = 0; at < count; ++at) {
            Ref<IDispatch> found;
            require(object.QueryInterface(IID_IDispatch, found.put_void()), "QueryInterface");
        }
    };
}

auto getting(IVexResult& object)
{
    return [&object](int count) {
        VexResultCode code = VexOK;
        for (int at = 0; at < count; ++at) {
            require(object.get_Code(&code), "get_Code");
        }
    };
}

auto getting_text(IVexResult& object)
{
    return [&object](int count) {
        for (int at = 0; at < count; ++at) {
            BSTR text = nullptr;
            require(object.get_Description(&text), "get_Description");
            SysFreeString(text);
        }
    };
}

auto naming(IDispatch& object, const wchar_t* name)
{
    return [&object, name](int count) {
        LPOLESTR asked = const_cast<LPOLESTR>(name);
        DISPID id = 0;
        for (int at = 0; at < count; ++at) {
            require(object.GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, &id), "GetIDsOfNames");
        }
    };
}

auto getting_late(IDispatch& object, DISPID id)
{
    return [&object, id](int count) {
        DISPPARAMS none{};
        for (int at = 0; at < count; ++at) {
            VARIANT value{};
            require(
                object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr),
                "getting late bound");
            VariantClear(&value);
        }
    };
}

/// ReadRegister(address, out value) returning a result object. `variable` as a script passes it, else a typed pointer.
auto reading_late(IDispatch& device, bool variable)
{
    return [&device, variable](int count) {
        for (int at = 0; at < count; ++at) {
            unsigned int value = 0;
            VARIANT held{};
            VARIANT arguments[2]{};
            V_VT(&arguments[1]) = VT_UI4;
            V_UI4(&arguments[1]) = static_cast<unsigned int>(at);
            if (variable) {
                V_VT(&arguments[0]) = VT_BYREF | VT_VARIANT;
                V_VARIANTREF(&arguments[0]) = &held;
            } else {
                V_VT(&arguments[0]) = VT_BYREF | VT_UI4;
                V_UI4REF(&arguments[0]) = reinterpret_cast<ULONG*>(&value);
            }
            DISPPARAMS parameters{arguments, nullptr, 2, 0};
            VARIANT result{};
            require(device.Invoke(14, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr,
                                  nullptr),
                    "ReadRegister late bound");
            VariantClear(&result);
            const unsigned int read = variable ? V_UI4(&held) : value;
            require(read == static_cast<unsigned int>(at) + 1 ? S_OK : E_UNEXPECTED, "the register's value");
        }
    };
}

auto reading(IVexDevice& device)
{
    return [&device](int count) {
        for (int at = 0; at < count; ++at) {
            unsigned int value = 0;
            Ref<IVexResult> result;
            require(device.ReadRegister(static_cast<unsigned int>(at), &value, result.put()), "ReadRegister");
        }
    };
}

DISPID id_of(IDispatch& object, const wchar_t* name)
{
    LPOLESTR asked = const_cast<LPOLESTR>(name);
    DISPID id = DISPID_UNKNOWN;
    require(object.GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, &id), "GetIDsOfNames");
    return id;
}

/// GetIntegerValue(name, out value) returning a result object, with a typed pointer.
auto getting_by_name_late(IDispatch& array)
{
    return [&array, id = id_of(array, L"GetIntegerValue")](int count) {
        BSTR name = SysAllocString(L"Width");
        for (int at = 0; at < count; ++at) {
            __int64 value = 0;
            VARIANT arguments[2]{};
            V_VT(&arguments[1]) = VT_BSTR;
            V_BSTR(&arguments[1]) = name;
            V_VT(&arguments[0]) = VT_BYREF | VT_I8;
            V_I8REF(&arguments[0]) = &value;
            DISPPARAMS parameters{arguments, nullptr, 2, 0};
            VARIANT result{};
            require(array.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr,
                                 nullptr),
                    "GetIntegerValue late bound");
            VariantClear(&result);
            require(value == 640 ? S_OK : E_UNEXPECTED, "the feature's value");
        }
        SysFreeString(name);
    };
}

/// A cached feature, which costs no register read, late bound.
void compare_features()
{
    const bench::MeasuredParameters parameters;
    const auto bare_integer = bench::make_bare_integer();
    const auto integer = parameters.width();
    const auto bare_array = bench::make_bare_parameters();
    const auto array = parameters.array();
    compare("a cached integer's Value late bound", getting_late(*bare_integer, id_of(*bare_integer, L"Value")),
            getting_late(*integer, id_of(*integer, L"Value")), feature_target);
    compare("GetIntegerValue by name late bound", getting_by_name_late(*bare_array), getting_by_name_late(*array),
            feature_target);
    require(parameters.reads() == 1 ? S_OK : E_UNEXPECTED, "reading the register once");
}

PROCESS_MEMORY_COUNTERS memory()
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters;
}

std::size_t kilobytes(SIZE_T bytes) { return bytes / 1024; }

void create_a_million(IClassFactory& factory)
{
    constexpr int cycles = 1'000'000;
    creating_and_releasing(factory)(cycles / 100);
    const auto before = memory();
    const auto since = Clock::now();
    creating_and_releasing(factory)(cycles);
    const double seconds = std::chrono::duration<double>(Clock::now() - since).count();
    const auto after = memory();
    std::printf("\n%d objects created and released in %.2f s: working set %zu -> %zu KB, committed %zu -> %zu KB\n",
                cycles, seconds, kilobytes(before.WorkingSetSize), kilobytes(after.WorkingSetSize),
                kilobytes(before.PagefileUsage), kilobytes(after.PagefileUsage));
}

}  // namespace

int main()
{
    require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx");
    {
        Ref<IClassFactory> frame_factory;
        require(CoGetClassObject(server::ClassFacts<CVexResult>::clsid, CLSCTX_INPROC_SERVER, nullptr,
                                 IID_IClassFactory, frame_factory.put_void()),
                "the registered server's class factory");
        const auto bare_factory = bench::bare_result_factory();
        const auto bare = create(*bare_factory);
        const auto frame = create(*frame_factory);
        const auto bare_device = bench::make_bare_device();
        const auto frame_device = bench::make_frame_device();

        std::printf("%-44s %12s %12s   ratio (eight tenths of the rounds)\n", "one call, medians", "bare", "frame");
        compare("create and release", creating_and_releasing(*bare_factory), creating_and_releasing(*frame_factory));
        compare("create, keep 1000, release", many_alive(*bare_factory), many_alive(*frame_factory));
        compare("QueryInterface and Release", querying(*bare), querying(*frame));
        compare("Code through the vtable", getting(*bare), getting(*frame));
        compare("Description through the vtable", getting_text(*bare), getting_text(*frame));
        compare("ReadRegister through the vtable", reading(*bare_device), reading(*frame_device));
        compare("GetIDsOfNames, a first name", naming(*bare, L"Code"), naming(*frame, L"Code"));
        compare("GetIDsOfNames, a last name of 23", naming(*bare_device, L"UnregisterEventSink"),
                naming(*frame_device, L"UnregisterEventSink"));
        compare("IsOK late bound", getting_late(*bare, 4), getting_late(*frame, 4));
        compare("Description late bound", getting_late(*bare, 2), getting_late(*frame, 2));
        compare("ReadRegister late bound, typed out", reading_late(*bare_device, false),
                reading_late(*frame_device, false));
        measure("ReadRegister late bound, a script's variable", "refuses it", reading_late(*frame_device, true));
        compare_features();
        create_a_million(*frame_factory);
    }
    CoUninitialize();
    std::printf("%s\n", within_target ? "every ratio is within its target" : "not every ratio is within its target");
}
