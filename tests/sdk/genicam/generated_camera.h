// Cameras made up from a seed: features of every type, selectors up to three deep, ranges and locks that depend on
// other features, and writes that reset others.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/description/builders.h"
#include "tests/sdk/genicam/camera_memory.h"

namespace generated {

/// The description of one camera, and what is known of its registers.
class CameraMaker {
public:
    explicit CameraMaker(std::uint32_t seed) : dice_(seed)
    {
        const Scope whole;
        fill(whole);
        for (std::uint32_t i = dice_.pick(4); i > 0; --i) {
            const Scope outer = add_selector(whole);
            fill(outer);
            if (dice_.chance()) {
                const Scope inner = add_selector(outer);
                fill(inner);
                if (dice_.pick(4) == 0) {
                    fill(add_selector(inner));
                }
            }
        }
        add_selector_nodes();
        for (std::size_t i = listed.size(); i > 1; --i) {
            std::swap(listed[i - 1], listed[dice_.pick(i)]);
        }
        xml = camera_xml::description(camera_xml::root(listed) + nodes_);
    }

    std::string xml;
    camera_xml::Names listed;  ///< the features
    std::size_t size() const { return static_cast<std::size_t>(next_); }
    std::vector<Kept> kept;
    /// The registers of selectors that are not stored: restoring puts them back.
    std::vector<std::int64_t> put_back;
    std::multimap<std::int64_t, std::int64_t> reactions;

private:
    using Properties = camera_xml::Properties;

    struct Dimension {
        std::string reg;
        std::int64_t elements;
        std::int64_t last = -1;  ///< the address of the largest index at present; -1: all are there
    };
    /// The selectors that features stand under, the outer one first.
    struct Scope {
        std::vector<std::size_t> selectors{};
        std::vector<Dimension> dimensions{};
    };
    struct Selector {
        std::string name;
        int kind;
        std::int64_t elements;
        std::int64_t step;
        bool is_streamable;
        std::string largest;  ///< the node that limits it; empty for none
        camera_xml::Names selected{};
    };
    /// The registers of a feature, one for every combination of its selectors.
    struct Place {
        std::int64_t address;
        std::string index;
        std::vector<std::int64_t> elements;
    };

    std::string new_name(const char* what) { return what + std::to_string(++names_); }

    Place place(const Scope& scope, std::int64_t length)
    {
        std::int64_t stride = (length + 3) / 4 * 4;
        Place result{next_, "", {next_}};
        for (auto dimension = scope.dimensions.rbegin(); dimension != scope.dimensions.rend(); ++dimension) {
            result.index += camera_xml::indexed_by(dimension->reg, stride);
            const std::vector<std::int64_t> inner = std::exchange(result.elements, {});
            for (std::int64_t i = 0; i < dimension->elements; ++i) {
                for (const std::int64_t element : inner) {
                    result.elements.push_back(element + i * stride);
                }
            }
            stride *= dimension->elements;
        }
        next_ += stride;
        return result;
    }

    /// The feature's bytes have to come back where `lock`, if any, is 0.
    void keep(const std::string& name, const Scope& scope, const Place& where, std::size_t length,
              const Place* lock = nullptr, bool is_text = false)
    {
        for (std::size_t i = 0; i < where.elements.size(); ++i) {
            Kept one{name, where.elements[i], length, is_text, {}};
            if (lock != nullptr) {
                one.conditions.push_back({lock->elements[i], 0, 0});
            }
            if (!scope.dimensions.empty() && scope.dimensions.front().last >= 0) {
                const std::size_t inner =
                    where.elements.size() / static_cast<std::size_t>(scope.dimensions.front().elements);
                one.conditions.push_back({scope.dimensions.front().last, static_cast<std::uint32_t>(i / inner),
                                          std::numeric_limits<std::uint32_t>::max()});
            }
            kept.push_back(std::move(one));
        }
    }

    void list(const std::string& name, const Scope& scope)
    {
        listed.push_back(name);
        if (!scope.selectors.empty()) {
            selectors_[scope.selectors.back()].selected.push_back(name);
            if (scope.selectors.size() > 1 && dice_.chance()) {
                selectors_[scope.selectors.front()].selected.push_back(name);
            }
        }
    }

    std::string caching()
    {
        constexpr const char* ways[] = {"", "", "WriteAround", "NoCache"};
        return ways[dice_.pick(4)];
    }

    /// A register of four bytes that another node shows.
    std::string add_register(const std::string& name, const Place& where, Properties with = {})
    {
        with.more = where.index;
        if (with.cachable.empty()) {
            with.cachable = caching();
        }
        nodes_ += camera_xml::int_reg(name + "Reg", where.address, with);
        return name + "Reg";
    }

    Scope add_selector(const Scope& outer)
    {
        const int kind = static_cast<int>(dice_.pick(3));
        const std::int64_t step = kind == 1 ? 1 + dice_.pick(2) : 1;
        Selector selector{
            new_name("Selector"), kind, kind == 2 ? 2 : (1 + dice_.pick(3)) * step + 1, step, dice_.chance(), "", {}};
        Scope scope = outer;
        // an inner selector has a value of its own for every value of the outer one, or one for all
        const Place where = place(dice_.chance() ? outer : Scope{}, 4);
        Properties with;
        std::int64_t last = -1;
        if (outer.selectors.empty() && kind == 1 && step == 1 && dice_.chance()) {
            selector.largest = new_name("Last");
            const Place count = place({}, 4);
            last = count.address;
            nodes_ += camera_xml::integer(selector.largest, {.streamable = "Yes",
                                                             .value = add_register(selector.largest, count),
                                                             .min = 0,
                                                             .max = selector.elements - 1});
            keep(selector.largest, {}, count, 4);
            listed.push_back(selector.largest);
            reactions.emplace(count.address, where.address);
            with.invalidators = {selector.largest + "Reg"};
        }
        scope.dimensions.push_back({add_register(selector.name, where, with), selector.elements, last});
        list(selector.name, outer);
        if (selector.is_streamable) {
            if (where.elements.size() == 1) {
                keep(selector.name, {}, where, 4);
            } else {
                keep(selector.name, outer, where, 4);
            }
        } else if (last < 0 && where.elements.size() == 1) {
            put_back.push_back(where.address);
        }
        selectors_.push_back(std::move(selector));
        scope.selectors.push_back(selectors_.size() - 1);
        return scope;
    }

    /// Last, when what they select is known.
    void add_selector_nodes()
    {
        for (const Selector& selector : selectors_) {
            Properties with{.streamable = selector.is_streamable ? "Yes" : "", .selected = selector.selected};
            const std::string reg = selector.name + "Reg";
            if (selector.kind == 0) {
                std::vector<camera_xml::Entry> entries;
                for (std::int64_t i = 0; i < selector.elements; ++i) {
                    entries.push_back({"E" + std::to_string(i), i});
                }
                nodes_ += camera_xml::enumeration(selector.name, reg, entries, with);
                continue;
            }
            with.value = reg;
            if (selector.kind == 2) {
                nodes_ += camera_xml::boolean(selector.name, with);
                continue;
            }
            with.min = 0;
            with.max = selector.largest.empty() ? camera_xml::Number(selector.elements - 1)
                                                : camera_xml::Number(selector.largest);
            with.inc = selector.step;
            nodes_ += camera_xml::integer(selector.name, with);
        }
    }

    void fill(const Scope& scope)
    {
        for (std::uint32_t i = 1 + dice_.pick(4); i > 0; --i) {
            switch (dice_.pick(12)) {
            case 0: add_number(scope); break;
            case 1: add_limited(scope); break;
            case 2: add_float(scope); break;
            case 3: add_boolean(scope); break;
            case 4: add_enumeration(scope); break;
            case 5: add_bytes(scope); break;
            case 6: add_masked(scope); break;
            case 7: add_converter(scope); break;
            case 8: add_command(scope); break;
            case 9: add_window(scope); break;
            case 10: add_locked(scope); break;
            default: dice_.chance() ? add_ladder(scope) : add_resets(scope); break;
            }
        }
    }

    void add_number(const Scope& scope)
    {
        constexpr std::int64_t lengths[] = {1, 2, 4, 8};
        constexpr const char* representations[] = {"", "Linear", "HexNumber", "IPV4Address", "MACAddress"};
        const std::string name = new_name("Number");
        const std::int64_t length = lengths[dice_.pick(4)];
        const Place where = place(scope, length);
        nodes_ += camera_xml::int_reg(name, where.address,
                                      {.streamable = "Yes",
                                       .representation = representations[dice_.pick(5)],
                                       .length = length,
                                       .cachable = caching(),
                                       .sign = dice_.chance() ? "Signed" : "Unsigned",
                                       .byte_order = dice_.chance() ? "BigEndian" : "LittleEndian",
                                       .more = where.index});
        list(name, scope);
        keep(name, scope, where, static_cast<std::size_t>(length));
    }

    void add_limited(const Scope& scope)
    {
        const std::string name = new_name("Limited");
        const Place where = place(scope, 4);
        const std::int64_t step = 1 + dice_.pick(7);
        nodes_ += camera_xml::integer(name, {.streamable = "Yes",
                                             .value = add_register(name, where, {.sign = "Signed"}),
                                             .min = -step * dice_.pick(5),
                                             .max = step * (1 + dice_.pick(1000)),
                                             .inc = step});
        list(name, scope);
        keep(name, scope, where, 4);
    }

    void add_float(const Scope& scope)
    {
        const std::string name = new_name("Float");
        const std::int64_t length = dice_.chance() ? 4 : 8;
        const Place where = place(scope, length);
        const bool is_bare = dice_.chance();
        nodes_ += camera_xml::float_reg(
            is_bare ? name : name + "Reg", where.address,
            {.streamable = is_bare ? "Yes" : "", .length = length, .cachable = caching(), .more = where.index});
        if (!is_bare) {
            nodes_ +=
                camera_xml::floating(name, {.streamable = "Yes", .value = name + "Reg", .min = -0.1, .max = 1e6 / 3});
        }
        list(name, scope);
        keep(name, scope, where, static_cast<std::size_t>(length));
    }

    void add_boolean(const Scope& scope)
    {
        const std::string name = new_name("Switch");
        const Place where = place(scope, 4);
        const std::int64_t other = 1 + dice_.pick(9);
        const bool is_on_first = dice_.chance();
        nodes_ += camera_xml::boolean(name, {.streamable = "Yes",
                                             .value = add_register(name, where),
                                             .on_value = is_on_first ? other : 0,
                                             .off_value = is_on_first ? 0 : other});
        list(name, scope);
        keep(name, scope, where, 4);
    }

    void add_enumeration(const Scope& scope)
    {
        const std::string name = new_name("Choice");
        const Place where = place(scope, 4);
        std::vector<camera_xml::Entry> entries{{"Zero", 0}};
        for (std::uint32_t i = 1 + dice_.pick(5); i > 0; --i) {
            entries.push_back({"Value" + std::to_string(i), std::int64_t{i} * 0x01234567});
        }
        nodes_ += camera_xml::enumeration(name, add_register(name, where), entries, {.streamable = "Yes"});
        list(name, scope);
        keep(name, scope, where, 4);
    }

    void add_bytes(const Scope& scope)
    {
        const bool is_text = dice_.chance();
        const std::string name = new_name(is_text ? "Text" : "Bytes");
        const std::int64_t length = 4 * (1 + dice_.pick(4));
        const Place where = place(scope, length);
        const Properties with{.streamable = "Yes", .length = length, .cachable = caching(), .more = where.index};
        nodes_ += is_text ? camera_xml::string_reg(name, where.address, with)
                          : camera_xml::raw_reg(name, where.address, with);
        list(name, scope);
        keep(name, scope, where, static_cast<std::size_t>(length), nullptr, is_text);
    }

    /// Two features in one register.
    void add_masked(const Scope& scope)
    {
        const Place where = place(scope, 4);
        const std::string low = new_name("Low");
        const std::string high = new_name("High");
        nodes_ += camera_xml::masked_int_reg(low, where.address,
                                             {.streamable = "Yes", .lsb = 31, .msb = 20, .more = where.index}) +
                  camera_xml::masked_int_reg(high, where.address,
                                             {.streamable = "Yes", .lsb = 15, .msb = 0, .more = where.index});
        list(low, scope);
        list(high, scope);
        keep(low, scope, where, 4);
    }

    void add_converter(const Scope& scope)
    {
        const std::string name = new_name("Converted");
        const Place where = place(scope, 4);
        const std::string reg = add_register(name, where, {.sign = "Signed"});
        nodes_ +=
            dice_.chance()
                ? camera_xml::converter(
                      name, {.streamable = "Yes", .value = reg, .formula_to = "FROM / 0.3", .formula_from = "TO * 0.3"})
                : camera_xml::int_converter(
                      name, {.streamable = "Yes", .value = reg, .formula_to = "FROM - 7", .formula_from = "TO + 7"});
        list(name, scope);
        keep(name, scope, where, 4);
    }

    /// Never executed.
    void add_command(const Scope& scope)
    {
        const std::string name = new_name("Command");
        const Place where = place(scope, 4);
        nodes_ +=
            camera_xml::command(name, {.streamable = "Yes", .value = add_register(name, where), .command_value = 1});
        list(name, scope);
        keep(name, scope, where, 4);
    }

    /// A width and an offset that must fit into a whole together.
    void add_window(const Scope& scope)
    {
        const std::int64_t whole = 100 + dice_.pick(1000);
        const std::string names[] = {new_name("Width"), new_name("Offset")};
        for (int i = 0; i < 2; ++i) {
            const Place where = place(scope, 4);
            const std::string& name = names[i];
            nodes_ +=
                camera_xml::integer(
                    name, {.streamable = "Yes", .value = add_register(name, where), .min = 0, .max = name + "Max"}) +
                camera_xml::int_swiss_knife(name + "Max", std::to_string(whole) + " - OTHER",
                                            {{"OTHER", names[1 - i] + "Reg"}});
            list(name, scope);
            keep(name, scope, where, 4);
        }
    }

    /// One that is locked, or not there, while another is on.
    void add_locked(const Scope& scope)
    {
        const std::string automatic = new_name("Automatic");
        const std::string name = new_name("Locked");
        const Place lock = place(scope, 4);
        const Place where = place(scope, 4);
        const std::string lock_reg = add_register(automatic, lock);
        Properties with{.streamable = "Yes", .value = add_register(name, where), .min = 0, .max = 99};
        if (dice_.chance()) {
            with.is_locked = lock_reg;
        } else {
            nodes_ += camera_xml::int_swiss_knife(name + "There", "LOCK = 0", {{"LOCK", lock_reg}});
            with.is_available = name + "There";
        }
        nodes_ +=
            camera_xml::boolean(automatic, {.streamable = "Yes", .value = lock_reg}) + camera_xml::integer(name, with);
        list(automatic, scope);
        list(name, scope);
        keep(automatic, scope, lock, 4);
        keep(name, scope, where, 4, &lock);
    }

    /// Each is at most what the next one is.
    void add_ladder(const Scope& scope)
    {
        const std::uint32_t length = 2 + dice_.pick(9);
        std::string names[12];
        for (std::uint32_t i = 0; i < length; ++i) {
            names[i] = new_name("Step");
        }
        for (std::uint32_t i = 0; i < length; ++i) {
            const Place where = place(scope, 4);
            const std::string& name = names[i];
            nodes_ += camera_xml::integer(
                name, {.streamable = "Yes",
                       .value = add_register(name, where),
                       .min = i == 0 ? camera_xml::Number(0) : camera_xml::Number(names[i - 1] + "Reg"),
                       .max = i + 1 == length ? camera_xml::Number(1000) : camera_xml::Number(names[i + 1] + "Reg")});
            list(name, scope);
            keep(name, scope, where, 4);
        }
    }

    /// A write of each sets the next one to 0.
    void add_resets(const Scope& scope)
    {
        std::string before;
        Place before_place{};
        for (std::uint32_t i = 2 + dice_.pick(8); i > 0; --i) {
            const std::string name = new_name("Reset");
            const Place where = place(scope, 4);
            Properties with{.streamable = "Yes", .more = where.index};
            if (dice_.chance()) {
                with.cachable = "NoCache";
            } else if (!before.empty()) {
                with.invalidators = {before};
            }
            nodes_ += camera_xml::int_reg(name, where.address, with);
            list(name, scope);
            keep(name, scope, where, 4);
            for (std::size_t k = 0; !before.empty() && k < where.elements.size(); ++k) {
                reactions.emplace(before_place.elements[k], where.elements[k]);
            }
            before = name;
            before_place = where;
        }
    }

    Dice dice_;
    std::int64_t next_ = 0x100;
    int names_ = 0;
    std::vector<Selector> selectors_;
    std::string nodes_;
};

}  // namespace generated
