// A device with files behind a port, whose behaviour a test chooses: what other devices do, or should not.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sdk/genapi/node_map.h"
#include "sdk/genapi/port.h"
#include "sdk/wire/bytes.h"

namespace file_test {

using Bytes = std::vector<std::uint8_t>;

/// Bytes that tell where in a file they stand.
inline Bytes pattern(std::size_t count, unsigned seed = 1)
{
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + (i >> 8) * 13 + seed);
    }
    return bytes;
}

/// Two files, A and B, of which neither checks anything.
class FilePort final : public GenApi::IPort {
public:
    enum Operation : std::uint32_t { open_file, close_file, read_file, write_file };
    struct File {
        Bytes content;
        bool is_open = false;
    };

    static constexpr std::int64_t buffer_address = 0x1000;
    static constexpr std::size_t buffer_size = 64;

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        ++reads[address];
        if (address >= buffer_address) {
            std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(address - buffer_address), out.size(),
                        out.begin());
            return;
        }
        vex::wire::store_be32(out.data(), value_of(address));
    }
    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        ++writes[address];
        if (address >= buffer_address) {
            std::ranges::copy(data, buffer.begin() + static_cast<std::ptrdiff_t>(address - buffer_address));
            return;
        }
        registers[address] = vex::wire::load_be32(data.data());
        if (address == execute) {
            run();
        }
    }
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    /// Features over these registers. `length_max`: what FileAccessLength takes. Modes: the entries of FileOpenMode.
    [[nodiscard]] static std::string description(bool with_size = true, unsigned length_max = buffer_size,
                                                 const std::string& without = {},
                                                 const std::vector<std::string>& modes = {"Read", "Write"});

    // addresses
    static constexpr std::int64_t selector = 0;
    static constexpr std::int64_t operation = 4;
    static constexpr std::int64_t execute = 8;
    static constexpr std::int64_t mode = 12;
    static constexpr std::int64_t offset = 16;
    static constexpr std::int64_t length = 20;
    static constexpr std::int64_t status = 24;
    static constexpr std::int64_t result = 28;
    static constexpr std::int64_t size = 32;

    std::map<std::int64_t, std::uint32_t> registers;
    std::map<std::int64_t, unsigned> reads;
    std::map<std::int64_t, unsigned> writes;
    Bytes buffer = Bytes(buffer_size);
    std::vector<File> files = std::vector<File>(2);
    std::vector<std::string> done;             ///< "A:0" for each operation, with the file's name
    std::uint32_t most_at_once = 0xFFFFFFFF;   ///< bytes that an operation transfers
    std::optional<std::uint32_t> told_result;  ///< in place of the true one
    std::optional<std::uint32_t> told_size;
    std::uint32_t executing = 0;            ///< what the command's register reads
    std::size_t fails_behind = 0xFFFFFFFF;  ///< offset from which on reading and writing fail

private:
    [[nodiscard]] std::uint32_t value_of(std::int64_t address)
    {
        if (address == execute) {
            return executing;
        }
        if (address == result && told_result) {
            return *told_result;
        }
        if (address == size) {
            return told_size.value_or(static_cast<std::uint32_t>(files.at(registers[selector]).content.size()));
        }
        return registers[address];
    }

    void run()
    {
        File& file = files.at(registers[selector]);
        const std::uint32_t what = registers[operation];
        done.push_back(std::string(registers[selector] == 0 ? "A:" : "B:") + std::to_string(what));
        registers[result] = 0;
        registers[status] = 1;
        if ((what == open_file) == file.is_open || (what > close_file && registers[offset] >= fails_behind)) {
            return;
        }
        if (what <= close_file) {
            file.is_open = what == open_file;
        } else {
            transfer(file, what == write_file);
        }
        registers[status] = 0;
    }

    void transfer(File& file, bool writing)
    {
        const std::size_t at = registers[offset];
        std::size_t count = std::min(registers[length], most_at_once);
        if (writing) {
            file.content.resize(std::max(file.content.size(), at + count));
            std::copy_n(buffer.begin(), count, file.content.begin() + static_cast<std::ptrdiff_t>(at));
        } else {
            count = at < file.content.size() ? std::min(count, file.content.size() - at) : 0;
            std::copy_n(file.content.begin() + static_cast<std::ptrdiff_t>(at), count, buffer.begin());
        }
        registers[result] = static_cast<std::uint32_t>(count);
    }
};

inline std::string FilePort::description(bool with_size, unsigned length_max, const std::string& without,
                                         const std::vector<std::string>& modes)
{
    std::string listed;
    std::string nodes;
    const auto add = [&](const std::string& name, const std::string& node) {
        if (name != without) {
            listed += "<pFeature>" + name + "</pFeature>";
            nodes += node;
        }
    };
    const auto reg = [](const std::string& name, std::int64_t address, bool kept) {
        return "<IntReg Name=\"" + name + "Reg\"><Address>" + std::to_string(address) +
               "</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Cachable>" +
               (kept ? "WriteThrough" : "NoCache") +
               "</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>";
    };
    const auto enumeration = [&](const std::string& name, std::int64_t address, bool kept,
                                 const std::vector<std::string>& entries) {
        std::string node = "<Enumeration Name=\"" + name + "\">";
        for (std::size_t i = 0; i < entries.size(); ++i) {
            node += "<EnumEntry Name=\"" + entries[i] + "\"><Value>" + std::to_string(i) + "</Value></EnumEntry>";
        }
        add(name, node + "<pValue>" + name + "Reg</pValue></Enumeration>" + reg(name, address, kept));
    };
    const auto integer = [&](const std::string& name, std::int64_t address, bool kept, const std::string& limits) {
        add(name, "<Integer Name=\"" + name + "\"><pValue>" + name + "Reg</pValue>" + limits + "</Integer>" +
                      reg(name, address, kept));
    };
    enumeration("FileSelector", selector, true, {"A", "B"});
    enumeration("FileOperationSelector", operation, true, {"Open", "Close", "Read", "Write"});
    add("FileOperationExecute", "<Command Name=\"FileOperationExecute\"><pValue>FileOperationExecuteReg</pValue>"
                                "<CommandValue>1</CommandValue></Command>" +
                                    reg("FileOperationExecute", execute, false));
    enumeration("FileOpenMode", mode, true, modes);
    add("FileAccessBuffer", "<Register Name=\"FileAccessBuffer\"><Address>" + std::to_string(buffer_address) +
                                "</Address><Length>" + std::to_string(buffer_size) +
                                "</Length><AccessMode>RW</AccessMode><pPort>Device</pPort></Register>");
    integer("FileAccessOffset", offset, true, "");
    integer("FileAccessLength", length, true, "<Max>" + std::to_string(length_max) + "</Max>");
    enumeration("FileOperationStatus", status, false, {"Success", "Failure"});
    integer("FileOperationResult", result, false, "");
    if (with_size) {
        integer("FileSize", size, false, "");
    }
    return "<RegisterDescription ModelName=\"M\" VendorName=\"V\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" "
           "SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" "
           "SubMinorVersion=\"0\" ProductGuid=\"p\" VersionGuid=\"v\" "
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\"><Category Name=\"Root\">" +
           listed + "</Category>" + nodes + "<Port Name=\"Device\"/></RegisterDescription>";
}

/// A folder of the test's own.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] std::string path(const char* name) const;
    void put(const char* name, const Bytes& bytes) const;
    [[nodiscard]] Bytes get(const char* name) const;
    /// How many files there are.
    [[nodiscard]] std::size_t count() const;

private:
    std::string path_;
};

}  // namespace file_test
