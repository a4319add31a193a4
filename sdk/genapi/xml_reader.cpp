#include "sdk/genapi/xml_reader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

constexpr std::size_t most_struct_parts = 2'000'000;

}  // namespace

std::string_view attribute(pugi::xml_node element, const char* name) noexcept
{
    return trimmed(element.attribute(name).value());
}

void DescriptionReader::read()
{
    pugi::xml_document document;
    // texts are wanted with entities resolved; comments and processing instructions are not wanted at all; a text
    // directly inside its element saves a node
    constexpr unsigned options = pugi::parse_escapes | pugi::parse_eol | pugi::parse_cdata |
                                 pugi::parse_wconv_attribute | pugi::parse_embed_pcdata;
    const auto result = document.load_buffer_inplace(text_.data(), text_.size(), options, pugi::encoding_utf8);
    if (!result) {
        throw DescriptionError("line " + std::to_string(text_.line_of(result.offset)) +
                               " of the description: " + result.description());
    }
    pugi::xml_node root = document.document_element();
    const std::string_view name = root.name();
    prefix_ = name.substr(0, name.find(':') + 1);
    if (local_name(root) != "RegisterDescription") {
        throw DescriptionError("line " + std::to_string(line_of(root)) + " of the description: <" + std::string(name) +
                               "> is found where <RegisterDescription> is expected");
    }
    read_head(root);
    const std::size_t nodes = count_nodes(root);
    model_.nodes = std::make_unique<Node[]>(nodes);
    capacity_ = static_cast<std::uint32_t>(nodes);
    model_.names.reserve(nodes);
    walk(root, [this](pugi::xml_node element, const NodeElement& kind) { read_top_level(element, kind); });
}

void DescriptionReader::read_head(pugi::xml_node root)
{
    DescriptionInfo& info = model_.info;
    info.model_name = attribute(root, "ModelName");
    info.vendor_name = attribute(root, "VendorName");
    info.tool_tip = attribute(root, "ToolTip");
    info.standard_name_space = attribute(root, "StandardNameSpace");
    info.product_guid = attribute(root, "ProductGuid");
    info.version_guid = attribute(root, "VersionGuid");
    info.schema_major = root.attribute("SchemaMajorVersion").as_int(1);
    info.schema_minor = root.attribute("SchemaMinorVersion").as_int(0);
    info.schema_sub_minor = root.attribute("SchemaSubMinorVersion").as_int(0);
    info.major = root.attribute("MajorVersion").as_int(0);
    info.minor = root.attribute("MinorVersion").as_int(0);
    info.sub_minor = root.attribute("SubMinorVersion").as_int(0);
}

std::size_t DescriptionReader::count_children(pugi::xml_node element, Tag tag) const
{
    std::size_t count = 0;
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
        count += tag_of(child) == tag ? 1 : 0;
    }
    return count;
}

std::size_t DescriptionReader::count_nodes(pugi::xml_node root)
{
    std::size_t nodes = 0;
    std::size_t struct_parts = 0;
    walk(root, [&](pugi::xml_node element, const NodeElement& kind) {
        if (!kind.known) {
            return;
        }
        std::size_t entries = 0;
        std::size_t knives = 0;
        std::size_t others = 0;
        std::size_t knives_of_entries = 0;
        if (kind.is_struct || kind.kind == Kind::enumeration || is_register(kind.kind)) {
            for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
                const Tag tag = tag_of(child);
                if (tag == Tag::enum_entry || tag == Tag::struct_entry) {
                    ++entries;
                    knives_of_entries += tag == Tag::struct_entry ? count_children(child, Tag::int_swiss_knife) : 0;
                } else if (tag == Tag::int_swiss_knife) {
                    ++knives;
                } else {
                    ++others;
                }
            }
        }
        if (kind.is_struct) {
            // what the entries share is read once for each of them
            struct_parts += entries * (knives + others);
            nodes += entries * (1 + knives) + knives_of_entries;
            if (struct_parts > most_struct_parts) {
                throw DescriptionError("line " + std::to_string(line_of(element)) +
                                       " of the description: the StructReg elements have too many entries");
            }
        } else {
            nodes += 1 + entries + knives;
        }
    });
    return nodes;
}

void DescriptionReader::read_top_level(pugi::xml_node element, const NodeElement& kind)
{
    if (!kind.known) {
        loading_.note("", line_of(element), "unknown element <" + std::string(element.name()) + "> passed over");
    } else if (kind.is_struct) {
        read_struct(element);
    } else {
        begin(element, kind.kind, attribute(element, "Name"));
        read_children(element);
        finish(element);
    }
}

void DescriptionReader::read_struct(pugi::xml_node element)
{
    const std::uint32_t structure = structures_++;
    for (pugi::xml_node entry = element.first_child(); entry; entry = entry.next_sibling()) {
        if (tag_of(entry) != Tag::struct_entry) {
            continue;
        }
        begin(entry, Kind::struct_entry, attribute(entry, "Name"));
        if (!has_own_place(entry)) {
            loading_.struct_members.push_back({node_->index, structure});
        }
        read_children(element);
        read_children(entry);
        finish(entry);
    }
}

/// The entry stands elsewhere than the rest of its structure.
bool DescriptionReader::has_own_place(pugi::xml_node entry) const
{
    constexpr Tag place[] = {Tag::address,         Tag::p_address, Tag::p_index,
                             Tag::int_swiss_knife, Tag::length,    Tag::p_length};
    return std::any_of(std::begin(place), std::end(place), [&](Tag tag) { return count_children(entry, tag) != 0; });
}

void DescriptionReader::begin(pugi::xml_node element, Kind kind, std::string_view name)
{
    constexpr std::size_t longest_name = 256;
    create(element, kind, model_.arena.store(name.substr(0, longest_name)));
    if (name.size() > longest_name) {
        loading_.break_node(node_->index, line_,
                            "its name is longer than " + std::to_string(longest_name) + " characters");
    } else if (name.empty()) {
        loading_.break_node(node_->index, line_, "<" + std::string(element.name()) + "> has no Name");
    } else {
        enter_name(element);
    }
}

void DescriptionReader::create(pugi::xml_node element, Kind kind, std::string_view stored_name)
{
    if (model_.node_count == capacity_) {
        throw DescriptionError("line " + std::to_string(line_of(element)) + " of the description: too many nodes");
    }
    node_ = &model_.nodes[model_.node_count];
    node_->index = model_.node_count++;
    node_->kind = kind;
    node_->text_name = stored_name;
    line_ = line_of(element);
    if (attribute(element, "NameSpace") == "Standard") {
        node_->space = NameSpace::standard;
    }
    node_->merge_priority = static_cast<std::int8_t>(std::clamp(element.attribute("MergePriority").as_int(0), -1, 1));
    create_data(kind);
}

void DescriptionReader::create_data(Kind kind)
{
    const auto add = [this](auto& pool) {
        node_->data = static_cast<std::uint32_t>(pool.size());
        return &pool.emplace_back();
    };
    switch (kind) {
    case Kind::inert: break;
    case Kind::category: add(model_.categories); break;
    case Kind::integer:
    case Kind::floating: add(model_.numbers); break;
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::string_reg:
    case Kind::raw_register: begin_register(*add(model_.registers)); break;
    case Kind::float_reg: {
        RegisterData& reg = *add(model_.registers);
        begin_register(reg);
        reg.caching = Caching::write_around;
        break;
    }
    case Kind::boolean: add(model_.booleans); break;
    case Kind::command: add(model_.commands); break;
    case Kind::enumeration:
        add(model_.enumerations)->entries.begin = static_cast<std::uint32_t>(model_.lists.size());
        break;
    case Kind::enum_entry: add(model_.entries); break;
    case Kind::string: add(model_.strings); break;
    case Kind::converter:
    case Kind::int_converter:
    case Kind::swiss_knife:
    case Kind::int_swiss_knife: {
        FormulaData& formula = *add(model_.formulas);
        formula.variables.begin = static_cast<std::uint32_t>(model_.variables.size());
        formula_ = PendingFormula{.node = node_->index, .from = {}, .to = {}, .expressions = {}, .constants = {}};
        break;
    }
    case Kind::port: add(model_.ports); break;
    }
}

void DescriptionReader::enter_name(pugi::xml_node element)
{
    const auto name_of = [this](std::uint32_t index) { return model_.nodes[index].text_name; };
    if (model_.names.insert(node_->text_name, node_->index, name_of)) {
        return;
    }
    Node& earlier = model_.nodes[model_.find(node_->text_name)];
    if (node_->merge_priority > earlier.merge_priority) {
        model_.names.replace(node_->text_name, node_->index, name_of);
        loading_.break_node(earlier.index, line_of(element), "replaced by a later node of the same name");
    } else {
        loading_.break_node(node_->index, line_of(element), "an earlier node has the same name");
    }
}

void DescriptionReader::read_children(pugi::xml_node element)
{
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element) {
            read_child(child);
        }
    }
}

void DescriptionReader::finish(pugi::xml_node element)
{
    switch (node_->kind) {
    case Kind::converter:
    case Kind::int_converter:
    case Kind::swiss_knife:
    case Kind::int_swiss_knife: finish_formula(element); break;
    case Kind::enum_entry:
        if (!has_value_) {
            loading_.break_node(node_->index, line_of(element), "the entry has no Value");
        }
        break;
    case Kind::boolean: {
        BooleanData& boolean = model_.booleans[node_->data];
        if (const auto word = std::exchange(word_, std::nullopt)) {
            boolean.value.i = *word ? boolean.on : boolean.off;
        }
        break;
    }
    default: break;
    }
    has_value_ = false;
}

void DescriptionReader::finish_formula(pugi::xml_node element)
{
    formula_.node = node_->index;
    if (formula_.from.text.empty()) {
        const bool knife = node_->kind == Kind::swiss_knife || node_->kind == Kind::int_swiss_knife;
        loading_.break_node(node_->index, line_of(element), knife ? "it has no Formula" : "it has no FormulaFrom");
    }
    loading_.formulas.push_back(std::move(formula_));
    formula_ = {};
}

void DescriptionReader::read_child(pugi::xml_node element)
{
    const Tag tag = tag_of(element);
    switch (tag) {
    case Tag::ignored:
    case Tag::struct_entry: break;
    case Tag::unknown: unexpected(element); break;
    case Tag::p_is_implemented: refer(element, Role::is_implemented); break;
    case Tag::p_is_available: refer(element, Role::is_available); break;
    case Tag::p_is_locked: refer(element, Role::is_locked); break;
    case Tag::p_block_polling: refer(element, Role::block_polling); break;
    case Tag::p_error: refer(element, Role::error); break;
    case Tag::p_invalidator: refer(element, Role::invalidator); break;
    case Tag::p_selected: refer(element, Role::selected); break;
    case Tag::tool_tip:
    case Tag::description:
    case Tag::display_name:
    case Tag::docu_url:
    case Tag::unit: read_text(tag, element); break;
    case Tag::visibility:
    case Tag::is_deprecated:
    case Tag::imposed_access_mode:
    case Tag::streamable:
    case Tag::representation:
    case Tag::display_notation:
    case Tag::display_precision:
    case Tag::polling_time:
    case Tag::event_id: read_property(tag, element); break;
    default: read_special(tag, element); break;
    }
}

void Loading::note(std::string_view node, std::uint32_t line, std::string text)
{
    constexpr std::size_t most_diagnostics = 500;
    if (model.diagnostics.size() < most_diagnostics) {
        model.diagnostics.push_back({.line = line, .node = std::string(node), .text = std::move(text)});
    }
}

void Loading::break_node(NodeIndex node, std::uint32_t line, const std::string& reason)
{
    Node& broken = model.nodes[node];
    if (broken.broken) {
        return;
    }
    broken.broken = true;
    const std::string text = line != 0 ? "line " + std::to_string(line) + " of the description: " + reason : reason;
    model.defects.emplace(node, text);
    note(broken.text_name, line, reason);
}

void read_xml(XmlText& text, Loading& loading) { DescriptionReader(text, loading).read(); }

}  // namespace GenApi
