// A folder for a test's files, and what files hold.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "sdk/persistence/PvConfigurationReader.h"
#include "sdk/persistence/PvConfigurationWriter.h"

namespace configuration_test {

namespace fs = std::filesystem;

/// A writer, a reader and a file between them in a folder of the test's own.
class Files : public testing::Test {
protected:
    Files() { fs::create_directory(folder); }
    ~Files() override { fs::remove_all(folder); }

    [[nodiscard]] PvString name() const { return PvString((folder / "file.xml").string().c_str()); }
    void put(const std::string& text) const { std::ofstream(folder / "file.xml", std::ios::binary) << text; }
    [[nodiscard]] std::string get() const
    {
        std::ifstream file(folder / "file.xml", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void save_and_load()
    {
        const PvResult saved = writer.Save(name());
        ASSERT_TRUE(saved.IsOK()) << saved.description();
        const PvResult loaded = reader.Load(name());
        ASSERT_TRUE(loaded.IsOK()) << loaded.description();
    }
    /// The lines of the error list, each with its end.
    [[nodiscard]] static std::string lines(const PvStringList& list)
    {
        std::string text;
        for (std::uint32_t i = 0; i < list.GetSize(); ++i) {
            text += list.GetItem(i)->str() + "\n";
        }
        return text;
    }

    const fs::path folder =
        fs::temp_directory_path() / ("configuration_test_" + std::to_string(std::random_device{}()));
    PvConfigurationWriter writer;
    PvConfigurationReader reader;
};

inline std::string text(const PvResult& result)
{
    return std::string(PvResult::text_of(result.GetCode())) + "|" + std::string(result.description());
}

}  // namespace configuration_test
