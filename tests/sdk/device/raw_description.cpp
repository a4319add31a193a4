#include "tests/sdk/device/raw_description.h"

namespace device_test {

std::string raw_description(int schema_minor, const std::string& byte_order, const std::string& more,
                            const std::string& more_features)
{
    const std::string head = R"(<?xml version="1.0" encoding="UTF-8"?>
<RegisterDescription ModelName="Raw" VendorName="Raw_Cameras" ToolTip="" StandardNameSpace="GEV"
 SchemaMajorVersion="1" SchemaMinorVersion=")" +
                             std::to_string(schema_minor) +
                             R"(" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
 ProductGuid="00000000-0000-0000-0000-000000000001" VersionGuid="00000000-0000-0000-0000-000000000002"
 xmlns="http://www.genicam.org/GenApi/Version_1_)" +
                             std::to_string(schema_minor) + R"(">
 <Category Name="Root"><pFeature>Value</pFeature><pFeature>Wide</pFeature><pFeature>Text</pFeature>
  <pFeature>DeviceReset</pFeature><pFeature>GevSCPSPacketSize</pFeature>)";
    const std::string nodes = R"(</Category>
 <IntReg Name="Value"><Address>0xA000</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  <Cachable>NoCache</Cachable><Endianess>)" +
                              byte_order + R"(</Endianess></IntReg>
 <IntReg Name="Wide"><Address>0xB010</Address><Length>8</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  <Cachable>NoCache</Cachable><Endianess>BigEndian</Endianess></IntReg>
 <StringReg Name="Text"><Address>0xB100</Address><Length>64</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
  <Cachable>NoCache</Cachable></StringReg>
 <Command Name="DeviceReset"><pValue>ResetReg</pValue><CommandValue>1</CommandValue></Command>
 <IntReg Name="ResetReg"><Address>0xA008</Address><Length>4</Length><AccessMode>WO</AccessMode><pPort>Device</pPort>
  <Endianess>BigEndian</Endianess></IntReg>
 <Integer Name="GevSCPSPacketSize"><pValue>SizeReg</pValue><Min>100</Min><Max>8100</Max><Inc>8</Inc></Integer>
 <MaskedIntReg Name="SizeReg"><Address>0x0D04</Address><Length>4</Length><AccessMode>RW</AccessMode>
  <pPort>Device</pPort><LSB>31</LSB><MSB>16</MSB><Endianess>BigEndian</Endianess></MaskedIntReg>
)";
    return head + more_features + nodes + more + " <Port Name=\"Device\"></Port>\n</RegisterDescription>\n";
}

}  // namespace device_test
