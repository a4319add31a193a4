// Prints frames of all kinds, drawn from a seed, and what each is meant to say: gencp_frames.py judges them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "sdk/wire/gencp.h"

using namespace vex::wire::gencp;

namespace {

std::string hex(std::span<const std::uint8_t> bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

class Printer {
public:
    explicit Printer(std::uint64_t seed) : random_(seed) {}

    void print_one_of_each()
    {
        const auto id = static_cast<std::uint16_t>(random_());
        const std::uint64_t address = random_();
        const auto number = static_cast<std::uint16_t>(random_());
        const auto count = static_cast<std::uint16_t>(random_() % (largest_block + 1));
        const std::vector<std::uint8_t> data = bytes(largest_block);
        const std::string at = "address=" + std::to_string(address);
        const std::string with_number = "number=" + std::to_string(number);
        const std::string with_data = "data=" + hex(data);

        Frame read = read_memory(id, {address, count});
        line("read", flag::acknowledge_requested, id, at + " count=" + std::to_string(count), read);
        read.mark_resent();
        line("read", flag::acknowledge_requested | flag::resend, id, at + " count=" + std::to_string(count), read);
        line("read_ack", 0, id, with_data, read_memory_acknowledge(id, data));
        line("read_ack", 0x8006, id, "data=", refusal(Command::read_memory_ack, id, Status::access_denied));
        line("write", flag::acknowledge_requested, id, at + " " + with_data, write_memory(id, {address, data}));
        line("write_ack", 0, id, with_number, write_memory_acknowledge(id, number));
        line("write_ack", 0, id, "number=none", write_memory_acknowledge(id, std::nullopt));
        line("pending", 0, id, with_number, pending_acknowledge(id, number));
        line("event", 0, id, "id=" + std::to_string(number) + " timestamp=" + std::to_string(address) + " " + with_data,
             event(id, {number, address, data}));
    }

private:
    std::vector<std::uint8_t> bytes(std::size_t most)
    {
        std::vector<std::uint8_t> drawn(1 + random_() % most);
        for (std::uint8_t& byte : drawn) {
            byte = static_cast<std::uint8_t>(random_());
        }
        return drawn;
    }

    static void line(const char* kind, unsigned flags, std::uint16_t id, const std::string& fields, const Frame& frame)
    {
        std::printf("%s %u %u %s %s\n", kind, flags, unsigned{id}, fields.c_str(), hex(frame.bytes()).c_str());
    }

    std::mt19937_64 random_;
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("Usage: print_gencp_frames SEED\n", stderr);
        return 2;
    }
    Printer printer(std::strtoull(argv[1], nullptr, 10));
    for (int round = 0; round < 200; ++round) {
        printer.print_one_of_each();
    }
    return 0;
}
