#include "tests/com/genicam/feature_client.h"

#include "tests/description/builders.h"

namespace client {

namespace {

using namespace camera_xml;
using camera_xml::boolean;  // Windows has a type of that name

std::string image_format(std::int64_t base)
{
    return category("ImageFormat", {"Width", "WidthMax", "PixelFormat", "ReverseX"},
                    {.name_space = "Standard",
                     .tool_tip = "Size and format",
                     .description = "Features that describe the image",
                     .display_name = "Image Format"}) +
           integer("Width", {.name_space = "Standard",
                             .tool_tip = "Width of the image",
                             .description = "Width of the image in pixels",
                             .display_name = "Image Width",
                             .visibility = "Beginner",
                             .streamable = "Yes",
                             .value = "WidthRegister",
                             .min = 8,
                             .max = 1024,
                             .inc = 8,
                             .representation = "PureNumber"}) +
           int_reg("WidthRegister", base + 0x100) +
           int_reg("WidthMax", base + 0x104,
                   {.name_space = "Standard", .visibility = "Expert", .access = "RO", .polling_time = 1000}) +
           enumeration("PixelFormat", "PixelFormatRegister",
                       {{"Mono8",
                         17301505,
                         {.name_space = "Standard",
                          .tool_tip = "8 bits",
                          .description = "8 bits a pixel",
                          .display_name = "Mono 8"}},
                        {"Mono16", 17825799, {.name_space = "Custom", .visibility = "Guru"}}},
                       {.name_space = "Standard"}) +
           int_reg("PixelFormatRegister", base + 0x108) +
           boolean("ReverseX", {.name_space = "Standard", .value = "ReverseXRegister"}) +
           int_reg("ReverseXRegister", base + 0x10C);
}

std::string control(std::int64_t base)
{
    return category("Control", {"GainSelector", "Gain", "Trigger", "UserName", "LookupTable", "Hidden", "Absent"},
                    {.name_space = "Custom"}) +
           enumeration("GainSelector", "GainSelectorRegister", {{"All", 0}, {"Red", 1}},
                       {.name_space = "Standard", .selected = {"Gain"}}) +
           int_reg("GainSelectorRegister", base + 0x110) +
           floating("Gain", {.name_space = "Standard",
                             .value = "GainRegister",
                             .min = -10.0,
                             .max = 20.0,
                             .unit = "dB",
                             .representation = "Linear"}) +
           float_reg("GainRegister", base + 0x118, {.length = 8}) +
           command("Trigger", {.name_space = "Standard", .value = "TriggerRegister", .command_value = 1}) +
           int_reg("TriggerRegister", base + 0x120, {.cachable = "NoCache"}) +
           string_reg("UserName", base + 0x140, {.name_space = "Standard", .length = 16}) +
           raw_reg("LookupTable", base + 0x160, {.name_space = "Custom"}) +
           int_reg("Hidden", base + 0x170, {.name_space = "Custom", .visibility = "Invisible", .access = "WO"}) +
           integer("Absent", {.name_space = "Custom", .is_available = "Nothing", .value = "WidthRegister"}) +
           integer("Nothing", {.value = 0});
}

}  // namespace

std::string camera_description(std::int64_t base)
{
    return description(category("Root", {"ImageFormat", "Control"}, {.name_space = "Standard"}) + image_format(base) +
                       control(base));
}

std::string other_description()
{
    return description(root({"Format"}) + category("Format", {"Width", "Gain"}) + floating("Width", {.value = 1.5}) +
                       floating("Gain", {.value = 7.25}));
}

VexResultCode code_of(const Ref<IVexResult>& result)
{
    if (!result) {
        ADD_FAILURE() << "there is no result object";
        return VexGenericError;
    }
    return read(result, &IVexResult::get_Code);
}

ErrorFacts take_error()
{
    ErrorFacts facts;
    Ref<IErrorInfo> error;
    if (GetErrorInfo(0, error.put()) == S_OK) {
        BSTR text = nullptr;
        error->GetDescription(&text);
        facts.description = take(text);
        text = nullptr;
        error->GetSource(&text);
        facts.source = take(text);
        error->GetGUID(&facts.interface_id);
    }
    return facts;
}

HRESULT ClientSink::OnParameterUpdate(IVexGenParameter* aParameter)
{
    shown.emplace_back(aParameter);
    return S_OK;
}

}  // namespace client
