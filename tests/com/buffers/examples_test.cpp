// The C++ example as a program, with a software camera in this one.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/com/devices/camera_client.h"

namespace {

namespace fs = std::filesystem;
using namespace client;

class Examples : public CameraTest {
protected:
    struct Outcome {
        DWORD code = 0;
        std::string output;
    };

    [[nodiscard]] static Outcome run(const std::wstring& arguments)
    {
        const auto file =
            fs::temp_directory_path() / ("vex_examples_" + std::to_string(GetCurrentProcessId()) + ".txt");
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        const HANDLE output =
            CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = output;
        start.hStdError = output;
        PROCESS_INFORMATION process{};
        std::wstring command = L"\"" + fs::path(VEX_READ_PIXELS).make_preferred().native() + L"\" " + arguments;
        EXPECT_NE(
            CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process), 0);
        EXPECT_EQ(WaitForSingleObject(process.hProcess, 60'000), WAIT_OBJECT_0);
        Outcome outcome;
        GetExitCodeProcess(process.hProcess, &outcome.code);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        CloseHandle(output);
        std::ifstream stream(file, std::ios::binary);
        outcome.output = {std::istreambuf_iterator<char>(stream), {}};
        stream.close();
        std::error_code ignored;
        fs::remove(file, ignored);
        return outcome;
    }
};

TEST_F(Examples, ReadPixelsReachesTheBytesAsACopyAndInPlace)
{
    const auto [code, output] = run(address);
    EXPECT_EQ(code, 0u) << output;
    for (const auto* expected : {"A copy: ", "In place: ", " pixels of type 0x", "Done."}) {
        EXPECT_NE(output.find(expected), std::string::npos) << output;
    }
    EXPECT_EQ(output.find(" mean 0.0"), std::string::npos) << output;
}

TEST_F(Examples, ReadPixelsSaysWhatFailed)
{
    const auto [code, output] = run(L"127.0.0.77");
    EXPECT_EQ(code, 1u);
    EXPECT_NE(output.find("Failed: connecting: "), std::string::npos) << output;
    EXPECT_EQ(run(L"").code, 1u);
}

}  // namespace
