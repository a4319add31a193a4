#include "sdk/genapi/xml_elements.h"

#include <iterator>
#include <unordered_map>
#include <utility>

namespace GenApi {

namespace {

constexpr std::pair<std::string_view, Tag> named_tags[] = {
    {"ToolTip", Tag::tool_tip},
    {"Description", Tag::description},
    {"DisplayName", Tag::display_name},
    {"Visibility", Tag::visibility},
    {"DocuURL", Tag::docu_url},
    {"IsDeprecated", Tag::is_deprecated},
    {"EventID", Tag::event_id},
    {"pIsImplemented", Tag::p_is_implemented},
    {"pIsAvailable", Tag::p_is_available},
    {"pIsLocked", Tag::p_is_locked},
    {"pBlockPolling", Tag::p_block_polling},
    {"ImposedAccessMode", Tag::imposed_access_mode},
    {"pError", Tag::p_error},
    {"pInvalidator", Tag::p_invalidator},
    {"Streamable", Tag::streamable},
    {"Address", Tag::address},
    {"pAddress", Tag::p_address},
    {"IntSwissKnife", Tag::int_swiss_knife},
    {"pIndex", Tag::p_index},
    {"Length", Tag::length},
    {"pLength", Tag::p_length},
    {"AccessMode", Tag::access_mode},
    {"pPort", Tag::p_port},
    {"Cachable", Tag::cachable},
    {"PollingTime", Tag::polling_time},
    {"Sign", Tag::sign},
    {"Endianess", Tag::endianess},
    {"Endianness", Tag::endianess},
    {"Unit", Tag::unit},
    {"Representation", Tag::representation},
    {"pSelected", Tag::p_selected},
    {"Bit", Tag::bit},
    {"LSB", Tag::lsb},
    {"MSB", Tag::msb},
    {"DisplayNotation", Tag::display_notation},
    {"DisplayPrecision", Tag::display_precision},
    {"Value", Tag::value},
    {"pValue", Tag::p_value},
    {"pValueCopy", Tag::p_value_copy},
    {"ValueIndexed", Tag::value_indexed},
    {"pValueIndexed", Tag::p_value_indexed},
    {"ValueDefault", Tag::value_default},
    {"pValueDefault", Tag::p_value_default},
    {"Min", Tag::min},
    {"pMin", Tag::p_min},
    {"Max", Tag::max},
    {"pMax", Tag::p_max},
    {"Inc", Tag::inc},
    {"pInc", Tag::p_inc},
    {"ValidValueSet", Tag::valid_value_set},
    {"OnValue", Tag::on_value},
    {"OffValue", Tag::off_value},
    {"CommandValue", Tag::command_value},
    {"pCommandValue", Tag::p_command_value},
    {"EnumEntry", Tag::enum_entry},
    {"NumericValue", Tag::numeric_value},
    {"Symbolic", Tag::symbolic},
    {"IsSelfClearing", Tag::is_self_clearing},
    {"pVariable", Tag::p_variable},
    {"Constant", Tag::constant},
    {"Expression", Tag::expression},
    {"Formula", Tag::formula},
    {"FormulaTo", Tag::formula_to},
    {"FormulaFrom", Tag::formula_from},
    {"Slope", Tag::slope},
    {"ChunkID", Tag::chunk_id},
    {"pChunkID", Tag::p_chunk_id},
    {"SwapEndianess", Tag::swap_endianess},
    {"CacheChunkData", Tag::cache_chunk_data},
    {"pFeature", Tag::p_feature},
    {"StructEntry", Tag::struct_entry},
    {"Extension", Tag::ignored},
    {"pAlias", Tag::ignored},
    {"pCastAlias", Tag::ignored},
    {"IsLinear", Tag::ignored},
    {"pEnumEntry", Tag::ignored},
};

}  // namespace

Tag tag_of(std::string_view name)
{
    static const std::unordered_map<std::string_view, Tag> tags(std::begin(named_tags), std::end(named_tags));
    const auto found = tags.find(name);
    return found != tags.end() ? found->second : Tag::unknown;
}

NodeElement node_element(std::string_view name)
{
    static const std::unordered_map<std::string_view, NodeElement> elements = {
        {"Category", {.kind = Kind::category, .known = true}},
        {"Integer", {.kind = Kind::integer, .known = true}},
        {"IntReg", {.kind = Kind::int_reg, .known = true}},
        {"MaskedIntReg", {.kind = Kind::masked_int_reg, .known = true}},
        {"StructReg", {.kind = Kind::struct_entry, .known = true, .is_struct = true}},
        {"Boolean", {.kind = Kind::boolean, .known = true}},
        {"Command", {.kind = Kind::command, .known = true}},
        {"Enumeration", {.kind = Kind::enumeration, .known = true}},
        {"Float", {.kind = Kind::floating, .known = true}},
        {"FloatReg", {.kind = Kind::float_reg, .known = true}},
        {"String", {.kind = Kind::string, .known = true}},
        {"StringReg", {.kind = Kind::string_reg, .known = true}},
        {"Register", {.kind = Kind::raw_register, .known = true}},
        {"Converter", {.kind = Kind::converter, .known = true}},
        {"IntConverter", {.kind = Kind::int_converter, .known = true}},
        {"SwissKnife", {.kind = Kind::swiss_knife, .known = true}},
        {"IntSwissKnife", {.kind = Kind::int_swiss_knife, .known = true}},
        {"Port", {.kind = Kind::port, .known = true}},
        {"Group", {.known = true, .is_group = true}},
        {"Node", {.known = true}},
        {"ConfRom", {.known = true}},
        {"TextDesc", {.known = true}},
        {"IntKey", {.known = true}},
        {"AdvFeatureLock", {.known = true}},
        {"DcamLock", {.known = true}},
        {"SmartFeature", {.known = true}},
    };
    const auto found = elements.find(name);
    return found != elements.end() ? found->second : NodeElement{};
}

}  // namespace GenApi
