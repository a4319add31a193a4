#include "tools/pvctl/mask.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <regex>
#include <utility>
#include <vector>

using namespace vex;

namespace pvctl {

namespace {

bool is_word(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

/// Replaces each place where `what` stands; with `words`, only where it is not part of a longer word.
void replace(std::string& text, const std::string& what, const std::string& by, bool words)
{
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
        const std::size_t end = at + what.size();
        const bool joined = (at > 0 && is_word(text[at - 1]) && is_word(what.front())) ||
                            (end < text.size() && is_word(text[end]) && is_word(what.back()));
        if (words && joined) {
            ++at;
            continue;
        }
        text.replace(at, what.size(), by);
        at += by.size();
    }
}

std::string bytes_of(std::uint32_t value)
{
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

std::string bytes_of(const MacAddress& mac) { return {mac.bytes.begin(), mac.bytes.end()}; }

std::uint64_t number_of(const MacAddress& mac)
{
    std::uint64_t value = 0;
    for (const std::uint8_t byte : mac.bytes) {
        value = value << 8 | byte;
    }
    return value;
}

std::string hex(std::uint64_t value, int digits, bool upper)
{
    char text[20];
    std::snprintf(text, sizeof text, upper ? "%0*llX" : "%0*llx", digits, static_cast<unsigned long long>(value));
    return text;
}

bool is_kept(Ipv4Address address)
{
    const std::uint32_t host = ~address.value;
    const bool is_netmask = (host & (host + 1)) == 0;
    return is_netmask || address.is_any() || address.is_multicast();
}

std::string with_escapes(const std::string& text, bool xml)
{
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '"': escaped += xml ? "&quot;" : "\\\""; break;
        case '\\': escaped += xml ? "\\" : "\\\\"; break;
        case '&': escaped += xml ? "&amp;" : "&"; break;
        case '<': escaped += xml ? "&lt;" : "<"; break;
        case '>': escaped += xml ? "&gt;" : ">"; break;
        default: escaped += c;
        }
    }
    return escaped;
}

}  // namespace

void Mask::hide_word(const std::string& word, const std::string& replacement) { words_.emplace(word, replacement); }

void Mask::hide_text(const std::string& secret, std::string_view kind)
{
    if (secret.empty() || texts_.contains(secret)) {
        return;
    }
    const std::string number = std::to_string(++counts_[std::string(kind)]);
    std::string name = number.substr(number.size() - std::min(number.size(), secret.size()));
    const std::string letters = std::string(kind).substr(0, secret.size() - name.size());
    name = letters + std::string(secret.size() - name.size() - letters.size(), '-') + name;
    texts_.emplace(secret, name);
    hide_word(secret, name);
    hide_word(with_escapes(secret, true), name);
    hide_word(with_escapes(secret, false), name);
}

void Mask::hide(Ipv4Address address)
{
    if (is_kept(address) || addresses_.contains(address)) {
        return;
    }
    constexpr std::uint32_t for_documents = 198U << 24 | 18U << 16;  // 198.18.0.0/15, of benchmarks
    const Ipv4Address by{for_documents + static_cast<std::uint32_t>(addresses_.size()) + 1};
    addresses_.emplace(address, by);
    hide_word(address.to_string(), by.to_string());
    hide_word(std::to_string(address.value), std::to_string(by.value));
    for (const bool upper : {false, true}) {
        hide_word("0x" + hex(address.value, 8, upper), "0x" + hex(by.value, 8, upper));
        hide_word("0x" + hex(address.value, 1, upper), "0x" + hex(by.value, 8, upper));
    }
    binary_.emplace(bytes_of(address.value), bytes_of(by.value));
}

void Mask::hide(MacAddress address)
{
    if (address.is_zero() || address == MacAddress{{255, 255, 255, 255, 255, 255}} || macs_.contains(address)) {
        return;
    }
    const auto count = static_cast<std::uint8_t>(macs_.size() + 1);
    const MacAddress by{{2, 0, 0, 0, 0, count}};
    macs_.emplace(address, by);
    const std::uint64_t number = number_of(address);
    const std::uint64_t replacement = number_of(by);
    hide_word(std::to_string(number), std::to_string(replacement));
    for (const char* between : {":", "-", ""}) {
        for (const bool upper : {false, true}) {
            std::string from = hex(number, 12, upper);
            std::string to = hex(replacement, 12, upper);
            for (std::size_t at = 10; at > 0; at -= 2) {
                from.insert(at, between);
                to.insert(at, between);
            }
            hide_word(from, to);
            hide_word("0x" + from, "0x" + to);
        }
    }
    // its upper 16 and its lower 32 bits are registers of their own, and are read together or one by one
    binary_.emplace(bytes_of(address), bytes_of(by));
    binary_.emplace(bytes_of(static_cast<std::uint32_t>(number)), bytes_of(static_cast<std::uint32_t>(replacement)));
    hide_word(std::to_string(number & 0xFFFFFFFF), std::to_string(replacement & 0xFFFFFFFF));
}

void Mask::hide_addresses_in(std::string_view text)
{
    static const std::regex form(R"(\b(?:\d{1,3}(?:\.\d{1,3}){3}|[0-9a-fA-F]{2}(?:[:-][0-9a-fA-F]{2}){5})\b)");
    const std::string all(text);
    for (std::sregex_iterator match(all.begin(), all.end(), form), end; match != end; ++match) {
        if (const auto address = Ipv4Address::parse(match->str())) {
            hide(*address);
        } else if (const auto mac = MacAddress::parse(match->str())) {
            hide(*mac);
        }
    }
}

Ipv4Address Mask::masked(Ipv4Address address) const
{
    const auto found = addresses_.find(address);
    return found == addresses_.end() ? address : found->second;
}

std::string Mask::masked_text(std::string_view text) const
{
    std::string masked(text);
    // the longest first: another may be a part of it
    std::vector<std::pair<std::string, std::string>> all(words_.begin(), words_.end());
    std::ranges::stable_sort(all, [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    for (const auto& [word, by] : all) {
        replace(masked, word, by, true);
    }
    return masked;
}

std::string Mask::masked_bytes(std::string_view bytes) const
{
    std::string masked(bytes);
    for (const auto& [secret, by] : texts_) {
        replace(masked, secret, by, true);
    }
    for (const auto& [address, by] : addresses_) {
        const std::string text = address.to_string();
        replace(masked, text, std::string(text.size(), 'x'), true);
    }
    std::vector<std::pair<std::string, std::string>> all(binary_.begin(), binary_.end());
    std::ranges::stable_sort(all, [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    for (const auto& [address, by] : all) {
        replace(masked, address, by, false);
    }
    return masked;
}

}  // namespace pvctl
