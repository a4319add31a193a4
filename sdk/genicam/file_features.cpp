#include "sdk/genicam/file_features.h"

#include <algorithm>
#include <thread>

#include "sdk/genicam/PvGenParameterArray.h"

namespace vex::genicam {

using GenApi::InterfaceType;
using GenApi::ReadMode;

namespace {

constexpr std::string_view success = "Success";
constexpr std::size_t word = 4;

/// The node of a feature of that type; null when there is none.
GenApi::INode* feature(const PvGenParameterArray& array, const char* name, InterfaceType type)
{
    const PvGenParameter* const parameter = array.Get(PvString(name));
    GenApi::INode* const node = parameter != nullptr ? parameter->GetNode() : nullptr;
    return node != nullptr && node->type() == type ? node : nullptr;
}

GenApi::INode* needed(const PvGenParameterArray& array, const char* name, InterfaceType type)
{
    GenApi::INode* const node = feature(array, name, type);
    if (node == nullptr) {
        throw GenApi::Error(PvResult::NotSupported,
                            "The device gives no access to files: it has no feature " + std::string(name));
    }
    return node;
}

/// Writes only what the feature does not say already: a step is to take few transfers.
void set_entry(GenApi::INode& node, std::string_view entry)
{
    if (!GenApi::is_readable(node.access()) || node.current_entry().symbolic() != entry) {
        node.set_entry(entry);
    }
}

/// Where the value is not kept, reading it costs no more than writing it.
void set_integer(GenApi::INode& node, std::int64_t value)
{
    if (!GenApi::is_readable(node.access()) || node.int_value() != value) {
        node.set_int_value(value);
    }
}

}  // namespace

FileFeatures::FileFeatures(const PvGenParameterArray& array, Time patience)
    : selector_(needed(array, "FileSelector", InterfaceType::enumeration)),
      operation_(needed(array, "FileOperationSelector", InterfaceType::enumeration)),
      execute_(needed(array, "FileOperationExecute", InterfaceType::command)),
      mode_(needed(array, "FileOpenMode", InterfaceType::enumeration)),
      buffer_(needed(array, "FileAccessBuffer", InterfaceType::raw_register)),
      offset_(needed(array, "FileAccessOffset", InterfaceType::integer)),
      length_(needed(array, "FileAccessLength", InterfaceType::integer)),
      status_(needed(array, "FileOperationStatus", InterfaceType::enumeration)),
      result_(needed(array, "FileOperationResult", InterfaceType::integer)),
      size_(feature(array, "FileSize", InterfaceType::integer)), patience_(patience)
{}

bool FileFeatures::are_in(const PvGenParameterArray& array)
{
    try {
        const FileFeatures all(array, Time::zero());
        const std::initializer_list<GenApi::INode*> nodes{all.selector_, all.operation_, all.execute_,
                                                          all.mode_,     all.buffer_,    all.offset_,
                                                          all.length_,   all.status_,    all.result_};
        return std::ranges::none_of(
            nodes, [](GenApi::INode* node) { return node->access() == GenApi::AccessMode::not_implemented; });
    } catch (const GenApi::Error&) {
        return false;
    }
}

std::vector<std::string> FileFeatures::names() const
{
    std::vector<std::string> found;
    for (GenApi::INode* const entry : selector_->children()) {
        if (GenApi::is_available(entry->access())) {
            found.emplace_back(entry->symbolic());
        }
    }
    return found;
}

void FileFeatures::open(const std::string& file, std::string_view mode)
{
    choose(file);
    const bool known = mode_->entry_by_symbolic(mode) != nullptr;
    set_entry(*mode_, known ? mode : "ReadWrite");
    set_entry(*operation_, "Open");
    perform(file, "opened");
}

void FileFeatures::close(const std::string& file)
{
    choose(file, "Close");
    perform(file, "closed");
}

std::int64_t FileFeatures::size(const std::string& file)
{
    choose(file);
    return size_ != nullptr && GenApi::is_readable(size_->access()) ? size_->int_value(ReadMode::fresh) : -1;
}

std::string FileFeatures::status(const std::string& file)
{
    choose(file);
    return std::string(status_->current_entry(ReadMode::fresh).symbolic());
}

std::size_t FileFeatures::largest_step(const std::string& file, std::string_view operation)
{
    choose(file, operation);
    const std::int64_t most = std::min(buffer_->register_length(), length_->int_max());
    if (most < 1) {
        throw GenApi::EvaluationError("FileAccessBuffer: the device has no room for bytes of a file");
    }
    return static_cast<std::size_t>(most);
}

std::size_t FileFeatures::write(const std::string& file, std::int64_t offset, std::span<const std::uint8_t> bytes)
{
    choose(file, write_operation);
    place(offset, bytes.size());
    if (bytes.size() % word == 0) {
        buffer_->set_bytes(bytes);
    } else {
        const std::span<std::uint8_t> padded = words(bytes.size());
        std::ranges::fill(std::ranges::copy(bytes, padded.begin()).out, padded.end(), std::uint8_t{0});
        buffer_->set_bytes(padded);
    }
    perform(file, "written");
    const std::size_t written = transferred(file, bytes.size());
    if (written == 0) {
        throw GenApi::Error(PvResult::FileError, file + " cannot be written: the device took none of " +
                                                     std::to_string(bytes.size()) + " bytes");
    }
    return written;
}

std::size_t FileFeatures::read(const std::string& file, std::int64_t offset, std::span<std::uint8_t> out)
{
    choose(file, read_operation);
    place(offset, out.size());
    perform(file, "read");
    const std::size_t count = transferred(file, out.size());
    if (count % word == 0) {
        buffer_->get_bytes(out.first(count), ReadMode::fresh);
    } else {
        const std::span<std::uint8_t> padded = words(count);
        buffer_->get_bytes(padded, ReadMode::fresh);
        std::ranges::copy(padded.first(count), out.begin());
    }
    return count;
}

// ---- parts of a step ----

void FileFeatures::choose(const std::string& file)
{
    if (selector_->entry_by_symbolic(file) == nullptr) {
        std::string known;
        for (const std::string& name : names()) {
            known += (known.empty() ? "" : ", ") + name;
        }
        throw GenApi::Error(PvResult::NotFound,
                            "The device has no file \"" + file + "\"; it has " + (known.empty() ? "none" : known));
    }
    set_entry(*selector_, file);
}

void FileFeatures::choose(const std::string& file, std::string_view operation)
{
    choose(file);
    set_entry(*operation_, operation);
}

void FileFeatures::place(std::int64_t offset, std::size_t count)
{
    offset_->set_int_value(offset);
    set_integer(*length_, static_cast<std::int64_t>(count));
}

void FileFeatures::perform(const std::string& file, std::string_view done)
{
    execute_->execute();
    const auto begun = std::chrono::steady_clock::now();
    for (Time pause{1}; !execute_->is_done(); pause = std::min(2 * pause, Time{50})) {
        if (std::chrono::steady_clock::now() - begun >= patience_) {
            throw GenApi::Error(PvResult::Timeout, file + " cannot be " + std::string(done) +
                                                       ": the device has not finished within " +
                                                       std::to_string(patience_.count()) + " ms");
        }
        std::this_thread::sleep_for(pause);
    }
    const std::string_view status = status_->current_entry(ReadMode::fresh).symbolic();
    if (status != success) {
        throw GenApi::Error(PvResult::FileError,
                            file + " cannot be " + std::string(done) + ": the device reports " + std::string(status));
    }
}

std::size_t FileFeatures::transferred(const std::string& file, std::size_t asked) const
{
    const std::int64_t count = result_->int_value(ReadMode::fresh);
    if (count < 0 || static_cast<std::uint64_t>(count) > asked) {
        throw GenApi::Error(PvResult::FileError, file + ": the device says that it transferred " +
                                                     std::to_string(count) + " of " + std::to_string(asked) + " bytes");
    }
    return static_cast<std::size_t>(count);
}

std::span<std::uint8_t> FileFeatures::words(std::size_t count)
{
    const auto most = static_cast<std::size_t>(std::max<std::int64_t>(buffer_->register_length(), 0));
    words_.resize(std::max(count, std::min((count + word - 1) / word * word, most)));
    return words_;
}

}  // namespace vex::genicam
