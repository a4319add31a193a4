#include "sdk/genapi/xml_reader.h"

#include "sdk/genapi/numbers.h"

namespace GenApi {

bool DescriptionReader::read_register(Tag tag, pugi::xml_node element)
{
    RegisterData& reg = model_.registers[node_->data];
    switch (tag) {
    case Tag::address:
        if (const auto address = integer_of(element)) {
            // constant addresses are summed as the device would: modulo 2^64
            reg.address = static_cast<std::int64_t>(static_cast<std::uint64_t>(reg.address) +
                                                    static_cast<std::uint64_t>(*address));
        }
        return true;
    case Tag::p_address: refer(element, Role::address, add_term(reg, {})); return true;
    case Tag::p_index: read_address_index(element, reg); return true;
    case Tag::int_swiss_knife: read_address_knife(element); return true;
    case Tag::length:
        if (const auto length = integer_of(element)) {
            reg.length = *length;
        }
        return true;
    case Tag::p_length: refer(element, Role::length); return true;
    case Tag::p_port: refer(element, Role::port); return true;
    case Tag::access_mode:
        if (const auto mode = access_of(text_of(element))) {
            reg.access = *mode;
        } else {
            malformed(element, text_of(element));
        }
        return true;
    case Tag::cachable: {
        const std::string_view text = text_of(element);
        reg.caching = text == "NoCache"       ? Caching::none
                      : text == "WriteAround" ? Caching::write_around
                                              : Caching::write_through;
        return true;
    }
    case Tag::sign: reg.is_signed = text_of(element) == "Signed"; return true;
    case Tag::endianess: reg.big_endian = text_of(element) == "BigEndian"; return true;
    case Tag::bit:
    case Tag::lsb:
    case Tag::msb: return read_bit(tag, element, reg);
    default: return false;
    }
}

bool DescriptionReader::read_bit(Tag tag, pugi::xml_node element, RegisterData& reg)
{
    if (node_->kind != Kind::masked_int_reg && node_->kind != Kind::struct_entry) {
        return false;
    }
    const auto bit = integer_of(element);
    if (!bit) {
        return true;
    }
    if (*bit < 0 || *bit > 63) {
        malformed(element, text_of(element));
        return true;
    }
    reg.masked = true;
    if (tag != Tag::msb) {
        reg.lsb = static_cast<std::uint8_t>(*bit);
    }
    if (tag != Tag::lsb) {
        reg.msb = static_cast<std::uint8_t>(*bit);
    }
    return true;
}

std::uint32_t DescriptionReader::add_term(RegisterData& reg, const AddressTerm& term)
{
    model_.terms.push_back(term);
    ++reg.terms.count;
    return static_cast<std::uint32_t>(model_.terms.size() - 1);
}

void DescriptionReader::read_address_index(pugi::xml_node element, RegisterData& reg)
{
    AddressTerm term;
    term.is_index = true;
    if (const pugi::xml_attribute offset = element.attribute("Offset")) {
        const auto value = parse_integer(offset.value());
        if (!value) {
            malformed(element, offset.value());
            return;
        }
        term.offset = *value;
        if (term.offset == 0) {
            return;
        }
    }
    const std::uint32_t slot = add_term(reg, term);
    refer(element, Role::address, slot);
    if (const std::string_view offset = attribute(element, "pOffset"); !offset.empty()) {
        refer_by_name(offset, element, Role::address_offset, slot);
    }
}

void DescriptionReader::read_address_knife(pugi::xml_node element)
{
    Node* const owner = node_;
    const std::uint32_t owner_line = line_;
    create(element, Kind::int_swiss_knife, model_.arena.store(owner->text_name, " (address)"));
    read_children(element);
    finish(element);
    AddressTerm term;
    term.node = node_->index;
    node_ = owner;
    line_ = owner_line;
    add_term(model_.registers[owner->data], term);
}

bool DescriptionReader::read_port(Tag tag, pugi::xml_node element)
{
    PortData& port = model_.ports[node_->data];
    switch (tag) {
    case Tag::chunk_id:
        if (const auto id = parse_hex_identifier(text_of(element))) {
            port.chunk_id = *id;
            port.is_chunk = true;
        } else {
            malformed(element, text_of(element));
        }
        return true;
    case Tag::p_chunk_id:
        port.is_chunk = true;
        refer(element, Role::chunk_id);
        return true;
    case Tag::swap_endianess: port.swap_endianness = yes_or_no(element).value_or(false); return true;
    case Tag::cache_chunk_data: port.cache_data = yes_or_no(element).value_or(false); return true;
    default: return false;
    }
}

}  // namespace GenApi
