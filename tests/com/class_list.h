// The classes clients know, written out so that tests share nothing with what the server generates.
#pragma once

#include "server/com.h"

namespace client {

struct KnownClass {
    const wchar_t* name;
    const wchar_t* clsid;
    const wchar_t* prog_id;
    const wchar_t* version_independent_prog_id;
    const wchar_t* default_interface;
    const wchar_t* source_interface;  // null for a class without events
    const wchar_t* type_library = L"{700AA29B-D8AA-4AEE-9675-F81AB620D46E}";
};

/// In registration order.
inline constexpr KnownClass known_classes[] = {
    {L"VexBuffer", L"{437A378E-0B1B-4F31-B698-9DCDC24ECB66}", L"VexKamCOMWrapper.VexBuffer.1",
     L"VexKamCOMWrapper.VexBuffer", L"{F3366B87-BFD2-4D42-8C5E-9CA51551D646}", nullptr},
    {L"VexBufferConverter", L"{31C0A0E3-9BE4-4F99-8B90-AB9EDA9EF0F3}", L"VexKamCOMWrapper.VexBufferConverter.1",
     L"VexKamCOMWrapper.VexBufferConverter", L"{6DA9B5F0-4E5B-4523-AB96-A96CC977E175}", nullptr},
    {L"VexBufferWriter", L"{A84162E6-7235-4B18-BCE2-B3372487B8E0}", L"VexKamCOMWrapper.VexBufferWriter.1",
     L"VexKamCOMWrapper.VexBufferWriter", L"{17A7D942-8C85-4E21-8C74-434EDDEC1A75}", nullptr},
    {L"VexDeviceInfo", L"{9422D4B3-81B0-4C0B-B56B-4F38EC47DA69}", L"VexKamCOMWrapper.VexDeviceInfo.1",
     L"VexKamCOMWrapper.VexDeviceInfo", L"{FAB7BF07-2752-42CE-8961-82BA2991BA95}", nullptr},
    {L"VexDisplayWnd", L"{9B67C2FE-796B-4107-AB20-B00612E1B5FE}", L"VexKamCOMWrapper.VexDisplayWnd.1",
     L"VexKamCOMWrapper.VexDisplayWnd", L"{9E55BC42-E788-46A8-97EB-9AC5BA41C790}", nullptr},
    {L"VexFilterDeinterlace", L"{EE0860AE-BE7A-4AC1-93F8-26501F245394}", L"VexKamCOMWrapper.VexFilterDeinterlace.1",
     L"VexKamCOMWrapper.VexFilterDeinterlace", L"{62656216-25E2-4A35-B5E5-933D597EC820}", nullptr},
    {L"VexFilterRGB", L"{82F42459-DC31-41E5-A0E9-45CCA75367DF}", L"VexKamCOMWrapper.VexFilterRGB.1",
     L"VexKamCOMWrapper.VexFilterRGB", L"{690BFE1F-D5A0-41DD-BEF9-F5F8263A4367}", nullptr},
    {L"VexGenBrowserWnd", L"{970C2FD8-7027-4434-B893-CADEFF10576B}", L"VexKamCOMWrapper.VexGenBrowserWnd.1",
     L"VexKamCOMWrapper.VexGenBrowserWnd", L"{657D2E28-515F-44B8-BBEA-DEF5570659E1}",
     L"{095F32D2-5A9C-41D3-9822-5D744B06FA73}"},
    {L"VexImage", L"{2DDC97BC-FC20-4AD4-89B1-2699C523A38E}", L"VexKamCOMWrapper.VexImage.1",
     L"VexKamCOMWrapper.VexImage", L"{0B04B3CE-D6AF-40BF-82BE-DA18A33A1E4B}", nullptr},
    {L"VexInterface", L"{58A57250-18B4-4F0C-ABC3-E334AA4AC1CB}", L"VexKamCOMWrapper.VexInterface.1",
     L"VexKamCOMWrapper.VexInterface", L"{DE2486AF-90C9-4AB7-AF3B-200FAA4ECEB7}", nullptr},
    {L"VexTerminalIPEngineWnd", L"{367C5510-F2AF-42D9-B1D1-8F9467E0FF97}", L"VexKamCOMWrapper.VexTerminalIPEngineW.1",
     L"VexKamCOMWrapper.VexTerminalIPEngineWnd", L"{11B75535-7EB4-4D9B-AD58-C02894A104C7}", nullptr},
    {L"VexDeviceFinderWnd", L"{F821605B-6F25-4374-ABC4-45A6D97BEF02}", L"VexKamCOMWrapper.VexDeviceFinderWnd.1",
     L"VexKamCOMWrapper.VexDeviceFinderWnd", L"{89091A41-AAAC-4BE7-9455-79008D280321}",
     L"{F319BFD0-E49F-4775-A6F0-0E40E9CB8C3A}"},
    {L"VexSystem", L"{ADF0D9D8-36F8-4E25-9A3A-6B4CD601D4B2}", L"VexKamCOMWrapper.VexSystem.1",
     L"VexKamCOMWrapper.VexSystem", L"{4451A8E8-5D66-49AC-800F-E9E9F086ECEF}",
     L"{DCB15B35-2A9A-48C8-B61F-2A3EC9EA83C3}"},
    {L"VexResult", L"{AF284AD5-BEB4-455F-AAC1-7B7E352575C0}", L"VexKamCOMWrapper.VexResult.1",
     L"VexKamCOMWrapper.VexResult", L"{EFB2E93D-5D6C-4EA7-9C97-486F576F016C}", nullptr},
    {L"VexStatistics", L"{C658E69B-ACF9-4CE1-A8ED-548EF9A15AF9}", L"VexKamCOMWrapper.VexStatistics.1",
     L"VexKamCOMWrapper.VexStatistics", L"{37BA3593-2B41-47BE-8F56-70CADE90F46F}", nullptr},
    {L"VexStreamRaw", L"{277BD59D-5E37-4A75-A94A-1F774CBC97E3}", L"VexKamCOMWrapper.VexStreamRaw.1",
     L"VexKamCOMWrapper.VexStreamRaw", L"{1D66097A-2249-4CD9-92C1-4213731876D7}", nullptr},
    {L"VexStream", L"{B37664BA-FEE8-4944-81FD-13653D47C0F4}", L"VexKamCOMWrapper.VexStream.1",
     L"VexKamCOMWrapper.VexStream", L"{F8D4C995-D446-4911-BDF1-63A75D20ED9D}", nullptr},
    {L"VexGenParameterList", L"{A05E3D6B-42F2-4B63-A0A0-415C3AD247D4}", L"VexKamCOMWrapper.VexGenParameterList.1",
     L"VexKamCOMWrapper.VexGenParameterList", L"{B125DC3E-692C-4668-828E-5F9F44E5F111}", nullptr},
    {L"VexGenParameter", L"{98DC1FA2-33FB-415D-847A-60C8ADFAFC3D}", L"VexKamCOMWrapper.VexGenParameter.1",
     L"VexKamCOMWrapper.VexGenParameter", L"{ADF121F0-E5EE-45B5-89E1-B6A50CFD4135}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenBoolean", L"{A5D46178-E5EE-48DE-914E-AC7FAEA7786A}", L"VexKamCOMWrapper.VexGenBoolean.1",
     L"VexKamCOMWrapper.VexGenBoolean", L"{4F6A3B47-891C-4D6D-BD33-DAD0C6443314}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenCommand", L"{7858474A-8FD4-414C-A7A4-18E1356F55FD}", L"VexKamCOMWrapper.VexGenCommand.1",
     L"VexKamCOMWrapper.VexGenCommand", L"{F4A46D98-4C17-4ACA-94D9-4C3AC0791A42}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenEnumEntry", L"{3DA8DB93-580B-4827-8F4E-AA266C387DD6}", L"VexKamCOMWrapper.VexGenEnumEntry.1",
     L"VexKamCOMWrapper.VexGenEnumEntry", L"{177A10E2-E9BA-4DFD-9CD1-E814A4BC01AC}", nullptr},
    {L"VexGenEnum", L"{2545F355-2760-4127-B87A-08BFA354DE17}", L"VexKamCOMWrapper.VexGenEnum.1",
     L"VexKamCOMWrapper.VexGenEnum", L"{AB2B212D-B80F-419A-99EA-8EC6C8853EAA}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenFile", L"{039CD0FE-5CD1-46C3-A5AB-2019A1985E1F}", L"VexKamCOMWrapper.VexGenFile.1",
     L"VexKamCOMWrapper.VexGenFile", L"{80E9FC70-CACD-4AE2-94F2-D5AAFB215E69}", nullptr},
    {L"VexGenFloat", L"{A3326B37-E9C5-45C5-82A6-B04767FCBD3A}", L"VexKamCOMWrapper.VexGenFloat.1",
     L"VexKamCOMWrapper.VexGenFloat", L"{6AB62A92-E4D0-4EE5-AEBD-B31CABEF1EF2}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenInteger", L"{DDB6B02B-77B8-4FCF-A7B3-A8C947A52385}", L"VexKamCOMWrapper.VexGenInteger.1",
     L"VexKamCOMWrapper.VexGenInteger", L"{B1B214E6-8F90-4E18-9E57-3BB976709157}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenRegister", L"{89B4C5F8-6DFE-49BD-9932-7EC3A10FB7D3}", L"VexKamCOMWrapper.VexGenRegister.1",
     L"VexKamCOMWrapper.VexGenRegister", L"{4E3140BB-3BD3-482E-BD75-04C2767A882A}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenString", L"{1867CFE8-1E70-4C42-904F-BE1DF1FEE1C7}", L"VexKamCOMWrapper.VexGenString.1",
     L"VexKamCOMWrapper.VexGenString", L"{694FC51F-109C-4928-9005-7E93268CFE69}",
     L"{AB5067EC-8968-4208-A4AA-C87F74C35443}"},
    {L"VexGenParameterArray", L"{532AA536-5A24-4739-8295-D01014796DBE}", L"VexKamCOMWrapper.VexGenParameterArray.1",
     L"VexKamCOMWrapper.VexGenParameterArray", L"{366414A4-C44E-4D91-8F83-B0565006867F}", nullptr},
    {L"VexDevice", L"{44321FF1-C20A-411F-BBCB-DFDF990E44EA}", L"VexKamCOMWrapper.VexDevice.1",
     L"VexKamCOMWrapper.VexDevice", L"{C96B3B7A-5A7E-43A6-BF8E-49D78BD033BB}",
     L"{2AD7BA65-007F-46DF-A2E5-0023579AE337}"},
    {L"VexConfigurationReader", L"{2043AE17-66CD-4539-BABB-8B5CCA49B10D}", L"VexKamCOMWrapper.VexConfigurationRead.1",
     L"VexKamCOMWrapper.VexConfigurationReader", L"{A8E216B3-B6D7-4E2C-88E5-3A8FCF55C814}", nullptr},
    {L"VexConfigurationWriter", L"{2942055C-3DB4-416D-ABEB-7EC74D6AFB01}", L"VexKamCOMWrapper.VexConfigurationWrit.1",
     L"VexKamCOMWrapper.VexConfigurationWriter", L"{B0719909-4F7D-483D-90E6-E4AE161AAED7}", nullptr},
    {L"VexIPEngineI2CBus", L"{534A212A-560D-4624-83CE-65C1039F4A5D}", L"VexKamCOMWrapper.VexIPEngineI2CBus.1",
     L"VexKamCOMWrapper.VexIPEngineI2CBus", L"{A310D493-F3EB-4B24-B4C4-97C7940B8CB1}", nullptr},
    {L"VexSerialPort", L"{36A794B8-6763-4CE0-858F-2BBC1F3606A7}", L"VexKamCOMWrapper.VexSerialPort.1",
     L"VexKamCOMWrapper.VexSerialPort", L"{E4601C84-F4A8-4249-BFB5-B191CA193E46}", nullptr},
    {L"VexSerialPortIPEngine", L"{2C2A85C7-1513-4A4D-B661-1D7002FE5FDF}", L"VexKamCOMWrapper.VexSerialPortIPEngin.1",
     L"VexKamCOMWrapper.VexSerialPortIPEngine", L"{043D4FEE-7758-44E4-9596-38450D9CD115}", nullptr},
    {L"VexRawData", L"{8E910EAE-8D8B-4875-9523-418826848CCE}", L"VexKamCOMWrapper.VexRawData.1",
     L"VexKamCOMWrapper.VexRawData", L"{9F5BB552-28B4-42F8-B4FB-9B7D2FA8B75F}", nullptr, L"{}"},
    {L"VexVirtualDevice", L"{8D2B1A78-1BC2-4D3F-B398-23613F616D08}", L"VexKamCOMWrapper.VexVirtualDevice.1",
     L"VexKamCOMWrapper.VexVirtualDevice", L"{C8754426-4EF1-4A6C-B08C-7698CF1DEE1D}", nullptr},
    {L"VexTransmitterRaw", L"{7D22D9FE-91A9-466E-90D2-B840C43FE788}", L"VexKamCOMWrapper.VexTransmitterRaw.1",
     L"VexKamCOMWrapper.VexTransmitterRaw", L"{2ABA5D0A-2B97-471C-95CF-6CE5247CE4A9}", nullptr},
    {L"VexSerialPortConfiguration", L"{0923D2FD-ED27-4242-AC57-7FD4C8093CDB}",
     L"VexKamCOMWrapper.VexSerialPortConfigu.1", L"VexKamCOMWrapper.VexSerialPortConfigura",
     L"{A1515EE6-F451-413A-B9BA-7D544CE2A6F0}", nullptr},
    {L"VexSerialBridge", L"{A215DF29-EB38-4C31-9D4F-5CD04A8FF806}", L"VexKamCOMWrapper.VexSerialBridge.1",
     L"VexKamCOMWrapper.VexSerialBridge", L"{6379444A-2FBD-4657-ADAA-C93FB70D4207}", nullptr},
    {L"VexProperty", L"{C79EB2E9-AE38-4312-84F6-F2154291C763}", L"VexKamCOMWrapper.VexProperty.1",
     L"VexKamCOMWrapper.VexProperty", L"{21074D4E-DE82-4289-B73C-B090009CDE73}", nullptr},
    {L"VexPropertyList", L"{5C8A791C-AF5B-403E-9E44-9C0956847D09}", L"VexKamCOMWrapper.VexPropertyList.1",
     L"VexKamCOMWrapper.VexPropertyList", L"{D929AEAF-6C84-4F9E-954B-5F6F36437548}", nullptr},
    {L"VexSerialBridgeManagerWnd", L"{AF7B1257-07D3-42CD-A3AF-740CBAAB9686}",
     L"VexKamCOMWrapper.VexSerialBridgeManag.1", L"VexKamCOMWrapper.VexSerialBridgeManager",
     L"{2778112F-3948-4AEC-BF04-695367EA5728}", L"{6459F538-9803-4F29-A006-4E1883029DE1}"},
    {L"VexPipeline", L"{80724B10-4996-4DFB-A75B-18341E93C5DE}", L"VexKamCOMWrapper.VexPipeline.1",
     L"VexKamCOMWrapper.VexPipeline", L"{78C38449-AEBF-4957-B45E-CD188F38D4F6}",
     L"{EC46A08D-735F-4BE5-B163-FEC474B75BCF}"},
    {L"VexStringList", L"{CD1D4458-0027-4FAF-931C-7694D06C1651}", L"VexKamCOMWrapper.VexStringList.1",
     L"VexKamCOMWrapper.VexStringList", L"{0F3DF310-6AB7-4171-B66B-FB205E38E871}", nullptr},
    {L"VexGenBrowserTabbedWnd", L"{70317132-6476-43A0-A08F-776ACDBDC9D3}", L"VexKamCOMWrapper.VexGenBrowserTabbedW.1",
     L"VexKamCOMWrapper.VexGenBrowserTabbedWnd", L"{7E68BED9-3812-4A8C-8EC7-0ECD58ED7C51}", nullptr},
    {L"VexGenCategory", L"{72999F0E-D876-4D39-BC89-1101D0AB2FE6}", L"VexKamCOMWrapper.VexGenCategory.1",
     L"VexKamCOMWrapper.VexGenCategory", L"{7BFDF273-FDCE-474B-8693-B0BD3F36D226}", nullptr},
    {L"VexGenParameterArrayCL", L"{2EB976AF-CF9E-4F7F-B007-DE97431FAE2A}", L"VexKamCOMWrapper.VexGenParameterArray.1",
     L"VexKamCOMWrapper.VexGenParameterArrayCL", L"{A6F84884-6BDA-4358-8493-68653E5F1012}", nullptr},
};

[[nodiscard]] inline GUID guid(const wchar_t* text) noexcept
{
    GUID parsed{};
    CLSIDFromString(text, &parsed);
    return parsed;
}

}  // namespace client
