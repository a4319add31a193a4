#include "tests/com/genicam/feature_client.h"

namespace client {

const std::string_view camera_description = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Test" VendorName="Test" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="5C2CB4A6-4E3C-4C63-8B26-8F0A36A61F5B" VersionGuid="5C2CB4A6-4E3C-4C63-8B26-8F0A36A61F5C"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root" NameSpace="Standard">
    <pFeature>ImageFormat</pFeature>
    <pFeature>Control</pFeature>
  </Category>
  <Category Name="ImageFormat" NameSpace="Standard">
    <ToolTip>Size and format</ToolTip>
    <Description>Features that describe the image</Description>
    <DisplayName>Image Format</DisplayName>
    <pFeature>Width</pFeature>
    <pFeature>WidthMax</pFeature>
    <pFeature>PixelFormat</pFeature>
    <pFeature>ReverseX</pFeature>
  </Category>
  <Category Name="Control" NameSpace="Custom">
    <pFeature>GainSelector</pFeature>
    <pFeature>Gain</pFeature>
    <pFeature>Trigger</pFeature>
    <pFeature>UserName</pFeature>
    <pFeature>LookupTable</pFeature>
    <pFeature>Hidden</pFeature>
    <pFeature>Absent</pFeature>
  </Category>

  <Integer Name="Width" NameSpace="Standard">
    <ToolTip>Width of the image</ToolTip>
    <Description>Width of the image in pixels</Description>
    <DisplayName>Image Width</DisplayName>
    <Visibility>Beginner</Visibility>
    <Streamable>Yes</Streamable>
    <pValue>WidthRegister</pValue>
    <Min>8</Min>
    <Max>1024</Max>
    <Inc>8</Inc>
    <Representation>PureNumber</Representation>
  </Integer>
  <IntReg Name="WidthRegister">
    <Address>0x100</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <IntReg Name="WidthMax" NameSpace="Standard">
    <Visibility>Expert</Visibility>
    <Address>0x104</Address>
    <Length>4</Length>
    <AccessMode>RO</AccessMode>
    <pPort>Device</pPort>
    <PollingTime>1000</PollingTime>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Enumeration Name="PixelFormat" NameSpace="Standard">
    <EnumEntry Name="Mono8" NameSpace="Standard">
      <ToolTip>8 bits</ToolTip>
      <Description>8 bits a pixel</Description>
      <DisplayName>Mono 8</DisplayName>
      <Value>17301505</Value>
    </EnumEntry>
    <EnumEntry Name="Mono16" NameSpace="Custom">
      <Visibility>Guru</Visibility>
      <Value>17825799</Value>
    </EnumEntry>
    <pValue>PixelFormatRegister</pValue>
  </Enumeration>
  <IntReg Name="PixelFormatRegister">
    <Address>0x108</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Boolean Name="ReverseX" NameSpace="Standard">
    <pValue>ReverseXRegister</pValue>
  </Boolean>
  <IntReg Name="ReverseXRegister">
    <Address>0x10C</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Enumeration Name="GainSelector" NameSpace="Standard">
    <EnumEntry Name="All"><Value>0</Value></EnumEntry>
    <EnumEntry Name="Red"><Value>1</Value></EnumEntry>
    <pValue>GainSelectorRegister</pValue>
    <pSelected>Gain</pSelected>
  </Enumeration>
  <IntReg Name="GainSelectorRegister">
    <Address>0x110</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Float Name="Gain" NameSpace="Standard">
    <pValue>GainRegister</pValue>
    <Min>-10.0</Min>
    <Max>20.0</Max>
    <Unit>dB</Unit>
    <Representation>Linear</Representation>
  </Float>
  <FloatReg Name="GainRegister">
    <Address>0x118</Address>
    <Length>8</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Endianess>BigEndian</Endianess>
  </FloatReg>
  <Command Name="Trigger" NameSpace="Standard">
    <pValue>TriggerRegister</pValue>
    <CommandValue>1</CommandValue>
  </Command>
  <IntReg Name="TriggerRegister">
    <Address>0x120</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
    <Cachable>NoCache</Cachable>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <StringReg Name="UserName" NameSpace="Standard">
    <Address>0x140</Address>
    <Length>16</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
  </StringReg>
  <Register Name="LookupTable" NameSpace="Custom">
    <Address>0x160</Address>
    <Length>4</Length>
    <AccessMode>RW</AccessMode>
    <pPort>Device</pPort>
  </Register>
  <IntReg Name="Hidden" NameSpace="Custom">
    <Visibility>Invisible</Visibility>
    <Address>0x170</Address>
    <Length>4</Length>
    <AccessMode>WO</AccessMode>
    <pPort>Device</pPort>
    <Sign>Unsigned</Sign>
    <Endianess>BigEndian</Endianess>
  </IntReg>
  <Integer Name="Absent" NameSpace="Custom">
    <pIsAvailable>Nothing</pIsAvailable>
    <pValue>WidthRegister</pValue>
  </Integer>
  <Integer Name="Nothing"><Value>0</Value></Integer>
  <Port Name="Device"/>
</RegisterDescription>
)";

const std::string_view other_description = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Other" VendorName="Test" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="5C2CB4A6-4E3C-4C63-8B26-8F0A36A61F5D" VersionGuid="5C2CB4A6-4E3C-4C63-8B26-8F0A36A61F5E"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root"><pFeature>Format</pFeature></Category>
  <Category Name="Format"><pFeature>Width</pFeature><pFeature>Gain</pFeature></Category>
  <Float Name="Width"><Value>1.5</Value></Float>
  <Float Name="Gain"><Value>7.25</Value></Float>
  <Port Name="Device"/>
</RegisterDescription>
)";

VexResultCode code_of(const Ref<IVexResult>& result)
{
    if (!result) {
        ADD_FAILURE() << "there is no result object";
        return VexGenericError;
    }
    return read(result, &IVexResult::get_Code);
}

ErrorFacts take_error()
{
    ErrorFacts facts;
    Ref<IErrorInfo> error;
    if (GetErrorInfo(0, error.put()) == S_OK) {
        BSTR text = nullptr;
        error->GetDescription(&text);
        facts.description = take(text);
        text = nullptr;
        error->GetSource(&text);
        facts.source = take(text);
        error->GetGUID(&facts.interface_id);
    }
    return facts;
}

HRESULT ClientSink::OnParameterUpdate(IVexGenParameter* aParameter)
{
    shown.emplace_back(aParameter);
    return S_OK;
}

}  // namespace client
