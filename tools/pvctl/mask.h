// Names, serial numbers and addresses replaced, each by the same wherever it stands.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "sdk/base/address.h"

namespace pvctl {

class Mask {
public:
    /// A text to be replaced where it stands as a word, by one of its kind ("serial1") and as long as it.
    void hide_text(const std::string& secret, std::string_view kind);
    /// Masks, 0.0.0.0, broadcasts and multicasts stay as they are.
    void hide(vex::Ipv4Address address);
    void hide(vex::MacAddress address);
    /// Whatever has the form of an address in the text.
    void hide_addresses_in(std::string_view text);

    [[nodiscard]] vex::Ipv4Address masked(vex::Ipv4Address address) const;
    /// The text with addresses in their usual forms and as numbers, and with texts replaced.
    [[nodiscard]] std::string masked_text(std::string_view text) const;
    /// The same for a datagram, in which addresses stand as bytes, too. Its size stays as it is: addresses that stand
    /// there as text become "x".
    [[nodiscard]] std::string masked_bytes(std::string_view bytes) const;

private:
    void hide_word(const std::string& word, const std::string& replacement);

    std::map<std::string, std::string, std::less<>> texts_;   ///< as long as each other
    std::map<std::string, std::string, std::less<>> words_;   ///< forms of addresses, of any length
    std::map<std::string, std::string, std::less<>> binary_;  ///< addresses as bytes
    std::map<vex::Ipv4Address, vex::Ipv4Address> addresses_;
    std::map<vex::MacAddress, vex::MacAddress> macs_;
    std::map<std::string, int, std::less<>> counts_;  ///< by kind
};

}  // namespace pvctl
