// The elements that descriptions are made of.
#pragma once

#include <cstdint>
#include <string_view>

#include "sdk/genapi/model.h"

namespace GenApi {

/// The child elements that mean something; the others are passed over.
enum class Tag : std::uint8_t {
    unknown,
    ignored,  ///< known, and of no consequence
    tool_tip,
    description,
    display_name,
    visibility,
    docu_url,
    is_deprecated,
    event_id,
    p_is_implemented,
    p_is_available,
    p_is_locked,
    p_block_polling,
    imposed_access_mode,
    p_error,
    p_invalidator,
    streamable,
    address,
    p_address,
    int_swiss_knife,
    p_index,
    length,
    p_length,
    access_mode,
    p_port,
    cachable,
    polling_time,
    sign,
    endianess,
    unit,
    representation,
    p_selected,
    bit,
    lsb,
    msb,
    display_notation,
    display_precision,
    value,
    p_value,
    p_value_copy,
    value_indexed,
    p_value_indexed,
    value_default,
    p_value_default,
    min,
    p_min,
    max,
    p_max,
    inc,
    p_inc,
    valid_value_set,
    on_value,
    off_value,
    command_value,
    p_command_value,
    enum_entry,
    numeric_value,
    symbolic,
    is_self_clearing,
    p_variable,
    constant,
    expression,
    formula,
    formula_to,
    formula_from,
    slope,
    chunk_id,
    p_chunk_id,
    swap_endianess,
    cache_chunk_data,
    p_feature,
    struct_entry,
};

[[nodiscard]] Tag tag_of(std::string_view name);

/// What an element at the top of a description, or in a group, stands for.
struct NodeElement {
    Kind kind = Kind::inert;
    bool known = false;
    bool is_struct = false;
    bool is_group = false;
};

[[nodiscard]] NodeElement node_element(std::string_view name);

}  // namespace GenApi
