#include "bench/com/measured_parameters.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "genicam/VexGenParameterArray.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"

using namespace vex;

namespace bench {

namespace {

constexpr const char* description = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Measured" VendorName="Bench" StandardNameSpace="GEV" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="0" VersionGuid="0" xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root"><pFeature>Width</pFeature></Category>
  <Integer Name="Width"><pValue>WidthRegister</pValue><Min>1</Min><Max>4096</Max></Integer>
  <IntReg Name="WidthRegister">
    <Address>0x100</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
    <Cachable>WriteThrough</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>
  </IntReg>
  <Port Name="Device"/>
</RegisterDescription>)";

class CountingPort final : public GenApi::IPort {
public:
    void read(std::int64_t, std::span<std::uint8_t> out) override
    {
        constexpr std::array<std::uint8_t, 4> width{0, 0, 0x02, 0x80};
        std::memcpy(out.data(), width.data(), out.size());
        ++reads;
    }
    void write(std::int64_t, std::span<const std::uint8_t>) override {}
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    int reads = 0;
};

}  // namespace

struct MeasuredParameters::Contents {
    CountingPort port;
    PvGenParameterArray array{GenApi::load_node_map(std::string(description), port)};
    server::Ref<CVexGenParameterArray> wrapper;
};

MeasuredParameters::MeasuredParameters() : contents_(std::make_unique<Contents>())
{
    if (SUCCEEDED(server::create_object(contents_->wrapper))) {
        contents_->wrapper->AttachSdkObject(&contents_->array);
    }
}

MeasuredParameters::~MeasuredParameters() = default;

server::Ref<IVexGenParameterArray> MeasuredParameters::array() const
{
    return server::Ref<IVexGenParameterArray>(contents_->wrapper.get());
}

server::Ref<IVexGenInteger> MeasuredParameters::width() const
{
    server::Ref<IVexGenInteger> found;
    BSTR name = SysAllocString(L"Width");
    contents_->wrapper->GetInteger(name, found.put());
    SysFreeString(name);
    return found;
}

int MeasuredParameters::reads() const noexcept { return contents_->port.reads; }

}  // namespace bench
