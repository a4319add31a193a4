// VexGenFile as clients use it, with the files of a software camera.
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "tests/com/devices/camera_client.h"

namespace {

using namespace client;

namespace fs = std::filesystem;

constexpr __int64 table_size = 8192;
constexpr wchar_t table[] = L"LUTLuminance";

/// An array of bytes for the length of a test.
class Bytes {
public:
    explicit Bytes(ULONG count, LONG lower = 0)
    {
        SAFEARRAYBOUND bound{count, lower};
        array_ = SafeArrayCreate(VT_UI1, 1, &bound);
        for (ULONG i = 0; i < count; ++i) {
            (*this)[static_cast<int>(i)] = static_cast<unsigned char>(i % 251);
        }
    }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { SafeArrayDestroy(array_); }

    operator SAFEARRAY*() const noexcept { return array_; }  // NOLINT(google-explicit-constructor)
    unsigned char& operator[](int index) const { return static_cast<unsigned char*>(array_->pvData)[index]; }

private:
    SAFEARRAY* array_;
};

class DeviceFile : public CameraTest {
protected:
    DeviceFile()
    {
        fs::create_directory(folder);
        EXPECT_EQ(connect(), VexOK);
        features = object_of(device, &IVexDevice::get_GenParameters);
        // the camera keeps what the test before has left
        const Bytes first(table_size);
        for (ULONG i = 0; i < table_size; ++i) {
            first[i] = static_cast<unsigned char>((i + 9) % 251);
        }
        EXPECT_EQ(open(VexGenOpenModeWrite), VexOK);
        EXPECT_EQ(write(first, table_size), VexOK);
        EXPECT_EQ(close(), VexOK);
    }
    ~DeviceFile() override
    {
        file = {};
        camera_->set_file_faults({});
        fs::remove_all(folder);
    }

    [[nodiscard]] VexResultCode connect() const
    {
        return code_of(
            [&](IVexResult** result) { return device->ConnectString(Text(address), VexAccessControl, result); });
    }
    [[nodiscard]] VexResultCode open(VexGenOpenMode mode, const wchar_t* name = table) const
    {
        return open(file, mode, name);
    }
    [[nodiscard]] VexResultCode open(const Ref<IVexGenFile>& opened, VexGenOpenMode mode,
                                     const wchar_t* name = table) const
    {
        return code_of([&](IVexResult** result) { return opened->Open(features.get(), Text(name), mode, result); });
    }
    [[nodiscard]] VexResultCode close() const { return code_of(file, &IVexGenFile::Close); }
    [[nodiscard]] VexResultCode read(SAFEARRAY* bytes, __int64 length)
    {
        count = -7;
        return code_of([&](IVexResult** result) { return file->Read(bytes, length, &count, result); });
    }
    [[nodiscard]] VexResultCode write(SAFEARRAY* bytes, __int64 length)
    {
        count = -7;
        return code_of([&](IVexResult** result) { return file->Write(bytes, length, &count, result); });
    }
    [[nodiscard]] VexResultCode read_to(const fs::path& name) const
    {
        return code_of([&](IVexResult** result) { return file->ReadTo(Text(name.wstring()), result); });
    }
    [[nodiscard]] VexResultCode write_from(const fs::path& name) const
    {
        return code_of([&](IVexResult** result) { return file->WriteFrom(Text(name.wstring()), result); });
    }
    [[nodiscard]] std::wstring last_error() const { return text_of(file, &IVexGenFile::get_LastErrorMessage); }
    [[nodiscard]] bool is_opened() const
    {
        const VARIANT_BOOL opened = value_of(file, &IVexGenFile::get_IsOpened);
        EXPECT_TRUE(opened == 0 || opened == 1) << "true is 1";
        return opened != 0;
    }
    [[nodiscard]] VARIANT_BOOL is_supported(const Ref<IVexGenParameterArray>& array) const
    {
        VARIANT_BOOL supported = 5;
        EXPECT_EQ(file->IsSupported(array.get(), &supported), S_OK);
        return supported;
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexGenFile> file = create<IVexGenFile>(L"VexKamCOMWrapper.VexGenFile.1");
    Ref<IVexGenParameterArray> features;
    const fs::path folder = fs::temp_directory_path() / ("com_files_" + std::to_string(std::random_device{}()));
    __int64 count = -7;
};

/// The thread's error information: source and description.
std::pair<std::wstring, std::wstring> raised()
{
    Ref<IErrorInfo> info;
    EXPECT_EQ(GetErrorInfo(0, info.put()), S_OK);
    if (!info) {
        return {};
    }
    GUID interface_id{};
    EXPECT_EQ(info->GetGUID(&interface_id), S_OK);
    EXPECT_EQ(interface_id, __uuidof(IVexGenFile));
    return {text_of(info, &IErrorInfo::GetSource), text_of(info, &IErrorInfo::GetDescription)};
}

}  // namespace

TEST_F(DeviceFile, IsSupportedByArraysWithTheFeatures)
{
    EXPECT_EQ(is_supported(features), 1);
    const Ref<IVexGenParameterArray> link = object_of(device, &IVexDevice::get_GenLink);
    EXPECT_EQ(is_supported(link), 0);
    const auto unbound = create<IVexGenParameterArray>(__uuidof(VexGenParameterArray));
    VARIANT_BOOL supported = 5;
    EXPECT_EQ(file->IsSupported(nullptr, &supported), E_POINTER);
    EXPECT_EQ(file->IsSupported(unbound.get(), &supported), E_POINTER) << "an array that shows none";
    Ref<IVexResult> none;
    EXPECT_EQ(file->Open(unbound.get(), Text(table), VexGenOpenModeRead, none.put()), E_POINTER);
    EXPECT_FALSE(none);
    EXPECT_FALSE(is_opened());
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return file->Open(link.get(), Text(table), VexGenOpenModeRead, result); }),
        VexNotSupported);
}

TEST_F(DeviceFile, IsReadAndWrittenInArrays)
{
    EXPECT_FALSE(is_opened());
    ASSERT_EQ(open(VexGenOpenModeWrite), VexOK);
    EXPECT_TRUE(is_opened());
    const Bytes written(table_size);
    EXPECT_EQ(write(written, 5000), VexOK);
    EXPECT_EQ(count, 5000);
    EXPECT_EQ(text_of(file, &IVexGenFile::get_Status), L"Success");
    EXPECT_EQ(write(written, table_size - 5000), VexOK);
    EXPECT_EQ(close(), VexOK);
    EXPECT_FALSE(is_opened());

    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    const Bytes got(9000);
    EXPECT_EQ(read(got, 9000), VexOK);
    EXPECT_EQ(count, table_size);
    EXPECT_EQ(got[4999], 4999 % 251);
    EXPECT_EQ(got[5000], 0);
    EXPECT_EQ(got[8191], 3191 % 251);
    EXPECT_EQ(got[8192], 8192 % 251) << "what is behind the end stays";
    EXPECT_EQ(read(got, 10), VexOK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(last_error(), L"");
}

TEST_F(DeviceFile, ALengthBeyondTheArrayIsNotRefused)
{
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    const Bytes small(10);
    EXPECT_EQ(read(small, 11), VexOK);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(small[3], 12);
    EXPECT_EQ(read(small, 0x7FFFFFFFFFFFFFFF), VexOK);
    EXPECT_EQ(count, 10);
    const Bytes upper(8, 5);
    EXPECT_EQ(read(upper, 13), VexOK);
    EXPECT_EQ(count, 8);
    const Bytes large(9000);
    EXPECT_EQ(read(large, 100'000), VexOK);
    EXPECT_EQ(count, table_size - 28);
    EXPECT_EQ(close(), VexOK);
    ASSERT_EQ(open(VexGenOpenModeWrite), VexOK);
    EXPECT_EQ(write(small, 1'000'000), VexOK);
    EXPECT_EQ(count, 10);
}

TEST_F(DeviceFile, NegativeLengthsAndArraysThatAreNoneFail)
{
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    const Bytes bytes(10);
    EXPECT_EQ(read(bytes, -1), VexInvalidParameter);
    EXPECT_EQ(count, 0);
    Ref<IVexResult> result;
    count = -7;
    EXPECT_EQ(file->Read(nullptr, 10, &count, result.put()), E_INVALIDARG);
    EXPECT_FALSE(result) << "no result object where the array cannot be locked";
    EXPECT_EQ(file->Write(nullptr, 10, &count, result.put()), E_INVALIDARG);
    EXPECT_FALSE(result);
    EXPECT_EQ(file->Read(bytes, 10, nullptr, result.put()), E_POINTER);
}

TEST_F(DeviceFile, AModeOrNameThatIsNoneIsRefused)
{
    EXPECT_EQ(open(VexGenOpenModeUndefined), VexInvalidParameter);
    EXPECT_EQ(open(unnamed<VexGenOpenMode>(2)), VexInvalidParameter);
    EXPECT_EQ(open(VexGenOpenModeRead, L"Nothing"), VexNotFound);
    EXPECT_EQ(last_error(), L"The device has no file \"Nothing\"; it has UserSet1, UserSet2, LUTLuminance, Firmware, "
                            L"UserFile");
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return file->Open(features.get(), nullptr, VexGenOpenModeRead, result); }),
        VexNotFound);
    EXPECT_EQ(open(VexGenOpenModeRead, L"Firmware"), VexFileError);
    EXPECT_EQ(last_error(), L"Firmware cannot be opened: the device reports Failure");
    EXPECT_FALSE(is_opened());
}

TEST_F(DeviceFile, StatusRaisesInItsClassesNameAndLastErrorMessageNever)
{
    BSTR status = reinterpret_cast<BSTR>(1);
    EXPECT_EQ(file->get_Status(&status), DISP_E_EXCEPTION);
    EXPECT_EQ(take(status), L"") << "written all the same";
    EXPECT_EQ(raised(), (std::pair<std::wstring, std::wstring>(L"VexKamCOMWrapper.VexGenFile.1", L"No file is open")));
    EXPECT_EQ(last_error(), L"No file is open");
    LateBound script(file.get());
    Variant value;
    EXPECT_EQ(script.get(L"Status", value), DISP_E_EXCEPTION);
    EXPECT_EQ(script.description(), L"No file is open");
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexGenFile.1");
    EXPECT_EQ(script.get(L"LastErrorMessage", value), S_OK);
}

TEST_F(DeviceFile, IsNotOpenedTwice)
{
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    EXPECT_EQ(open(VexGenOpenModeRead, L"UserSet1"), VexStateError);
    EXPECT_TRUE(is_opened());
    const auto other = create<IVexGenFile>(L"VexKamCOMWrapper.VexGenFile.1");
    EXPECT_EQ(open(other, VexGenOpenModeRead), VexFileError);
    EXPECT_EQ(open(other, VexGenOpenModeRead, L"UserSet1"), VexOK);
    const Bytes bytes(10);
    EXPECT_EQ(read(bytes, 10), VexOK);
    EXPECT_EQ(bytes[3], 12) << "of the table, not of the set";
}

TEST_F(DeviceFile, AllowsOnlyWhatItIsOpenFor)
{
    const Bytes bytes(10);
    EXPECT_EQ(read(bytes, 10), VexStateError);
    EXPECT_EQ(count, 0);
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    EXPECT_EQ(write(bytes, 10), VexStateError);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(last_error(), L"LUTLuminance is open for reading only");
    EXPECT_EQ(write_from(folder / "any"), VexStateError);
    EXPECT_EQ(close(), VexOK);
    EXPECT_EQ(close(), VexOK) << "nothing is open";
    ASSERT_EQ(open(VexGenOpenModeWrite), VexOK);
    EXPECT_EQ(read(bytes, 10), VexStateError);
    EXPECT_EQ(read_to(folder / "any"), VexStateError);
    EXPECT_EQ(write(bytes, -1), VexInvalidParameter);
    EXPECT_EQ(count, 0);
}

TEST_F(DeviceFile, IsClosedOnTheCameraWhenItIsReleased)
{
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    file = create<IVexGenFile>(L"VexKamCOMWrapper.VexGenFile.1");
    EXPECT_EQ(open(VexGenOpenModeRead), VexOK);
}

TEST_F(DeviceFile, IsClosedWhenItsDeviceGoes)
{
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    const Bytes bytes(10);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(read(bytes, 10), VexNotConnected);
    device = {};
    EXPECT_FALSE(is_opened());
    EXPECT_EQ(read(bytes, 10), VexStateError);
    EXPECT_EQ(count, 0);
    BSTR status = nullptr;
    EXPECT_EQ(file->get_Status(&status), DISP_E_EXCEPTION);
    EXPECT_EQ(take(status), L"");
    EXPECT_EQ(close(), VexOK);
}

TEST_F(DeviceFile, CountsUpToTheFailure)
{
    camera_->set_file_faults({.fails_after = 140'000});
    ASSERT_EQ(open(VexGenOpenModeWrite, L"Firmware"), VexOK);
    const Bytes bytes(150'000);
    EXPECT_EQ(write(bytes, 150'000), VexFileError);
    EXPECT_EQ(count, 131'072);
    EXPECT_EQ(text_of(file, &IVexGenFile::get_Status), L"Failure");
    camera_->set_file_faults({});
    EXPECT_EQ(close(), VexFileError) << "part of a firmware is none";
}

TEST_F(DeviceFile, TravelsFromAndToLocalFiles)
{
    ASSERT_EQ(open(VexGenOpenModeRead, L"UserSet1"), VexOK);
    EXPECT_EQ(read_to(folder / L"set \u00E9"), VexOK);
    EXPECT_GT(fs::file_size(folder / L"set \u00E9"), 100U);
    EXPECT_EQ(read_to(folder / "none" / "file"), VexCannotOpenFile);
    EXPECT_EQ(close(), VexOK);
    ASSERT_EQ(open(VexGenOpenModeWrite, L"UserSet2"), VexOK);
    EXPECT_EQ(write_from(folder / "missing"), VexCannotOpenFile);
    EXPECT_EQ(write_from(folder), VexCannotOpenFile);
    std::ofstream(folder / "empty").close();
    EXPECT_EQ(write_from(folder / "empty"), VexOK);
    EXPECT_EQ(write_from(folder / L"set \u00E9"), VexOK);
    EXPECT_EQ(close(), VexOK);
    camera_->set_file_faults({.fails_after = 10});
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    const auto size = fs::file_size(folder / L"set \u00E9");
    EXPECT_EQ(read_to(folder / L"set \u00E9"), VexFileError);
    EXPECT_EQ(fs::file_size(folder / L"set \u00E9"), size) << "the older one stays";
}
