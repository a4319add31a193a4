#include "bench/genapi/descriptions.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "sdk/description/zip.h"

namespace bench {

namespace {

std::string unpacked(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    return vex::description::load_description({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

std::vector<Description> files_in(const std::filesystem::path& folder)
{
    std::vector<Description> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".xml" || entry.path().extension() == ".zip") {
            found.push_back({entry.path().filename().string(), unpacked(entry.path())});
        }
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.xml.size() < b.xml.size(); });
    return found;
}

/// One feature with the nodes that it stands on, as cameras have them: a condition, limits, texts, a register.
std::string feature(int number)
{
    const std::string n = std::to_string(number);
    const std::string address = "0x" + std::to_string(10000 + 16 * number);
    std::string xml = "<Integer Name=\"Feature" + n + "\" NameSpace=\"Custom\"><ToolTip>What feature " + n +
                      " does.</ToolTip><Description>What feature " + n +
                      " does, at some length, so that users understand it.</Description><DisplayName>Feature " + n +
                      "</DisplayName><Visibility>Expert</Visibility><pIsImplemented>Feature" + n +
                      "Implemented</pIsImplemented><pIsLocked>TLParamsLocked</pIsLocked><Streamable>Yes</Streamable>"
                      "<pValue>Feature" +
                      n + "Reg</pValue><Min>0</Min><pMax>Feature" + n + "Max</pMax></Integer>\n";
    xml += "<IntReg Name=\"Feature" + n + "Reg\"><pInvalidator>UserSetLoad</pInvalidator><Address>" + address +
           "</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Cachable>WriteThrough"
           "</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>\n";
    xml += "<MaskedIntReg Name=\"Feature" + n + "Inquiry\"><Address>" + address +
           "</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort><Bit>" +
           std::to_string(number % 32) + "</Bit><Endianess>BigEndian</Endianess></MaskedIntReg>\n";
    xml += "<IntSwissKnife Name=\"Feature" + n + "Implemented\"><pVariable Name=\"INQ\">Feature" + n +
           "Inquiry</pVariable><Formula>(INQ &amp; 1) = 1 ? 1 : 0</Formula></IntSwissKnife>\n";
    xml += "<IntSwissKnife Name=\"Feature" + n + "Max\"><pVariable Name=\"REG\">Feature" + n +
           "Reg</pVariable><Formula>(REG &gt; 100) ? REG * 2 : 4096</Formula></IntSwissKnife>\n";
    xml += "<Enumeration Name=\"Mode" + n + "\"><ToolTip>How feature " + n + " works.</ToolTip>";
    for (int entry = 0; entry < 6; ++entry) {
        xml += "<EnumEntry Name=\"Choice" + std::to_string(entry) + "\"><ToolTip>Choice " + std::to_string(entry) +
               "</ToolTip><Value>" + std::to_string(entry) + "</Value></EnumEntry>";
    }
    return xml + "<pValue>Feature" + n + "Reg</pValue></Enumeration>\n";
}

}  // namespace

Description generated(int features)
{
    std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                      "<RegisterDescription ModelName=\"Generated\" VendorName=\"None\" StandardNameSpace=\"GEV\" "
                      "SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" "
                      "MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
                      "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n<Category Name=\"Root\">";
    std::string nodes = "<Port Name=\"Device\"/>\n<Integer Name=\"TLParamsLocked\"><Value>0</Value></Integer>\n"
                        "<Command Name=\"UserSetLoad\"><Value>0</Value><CommandValue>1</CommandValue></Command>\n";
    for (int i = 0; i < features; ++i) {
        xml +=
            "<pFeature>Feature" + std::to_string(i) + "</pFeature><pFeature>Mode" + std::to_string(i) + "</pFeature>";
        nodes += feature(i);
    }
    return {"generated, " + std::to_string(features) + " features",
            xml + "</Category>\n" + nodes + "</RegisterDescription>\n"};
}

std::vector<Description> descriptions()
{
    const char* const folder = std::getenv("VEX_CAMERA_XML");
    std::vector<Description> found = files_in(folder != nullptr ? folder : "");
    if (found.empty()) {
        std::printf("VEX_CAMERA_XML names no folder with descriptions: generated ones instead\n");
        for (const int features : {10, 150, 800}) {
            found.push_back(generated(features));
        }
    }
    return found;
}

}  // namespace bench
