#include "sdk/transmitterraw/buffer_block.h"

#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/wire/gvsp.h"

namespace vex::transmitter {

std::shared_ptr<Block> make_block(const PvBuffer& buffer, std::uint64_t block_id, std::uint64_t timestamp)
{
    auto block = std::make_shared<Block>();
    block->block_id = block_id;
    block->data = acquisition::payload(buffer);
    block->leader.timestamp = timestamp;
    if (const auto geometry = acquisition::geometry(buffer)) {
        block->leader.payload_type = wire::gvsp::payload_type::image;
        block->leader.image = wire::gvsp::ImageInfo{.pixel_format = static_cast<std::uint32_t>(geometry->pixel_type),
                                                    .size_x = geometry->width,
                                                    .size_y = geometry->height,
                                                    .offset_x = geometry->offset_x,
                                                    .offset_y = geometry->offset_y,
                                                    .padding_x = geometry->padding_x,
                                                    .padding_y = geometry->padding_y};
        block->trailer.size_y = geometry->height;
    } else {
        block->leader.payload_type = wire::gvsp::payload_type::raw_data;
        block->leader.payload_size = block->data.size();
    }
    block->trailer.payload_type = block->leader.payload_type;
    return block;
}

void keep_a_copy(Block& block)
{
    const auto copy = std::make_shared<std::vector<std::uint8_t>>(block.data.begin(), block.data.end());
    block.data = *copy;
    block.owner = copy;
}

bool can_be_sent(const PvBuffer& buffer)
{
    if (acquisition::payload(buffer).empty()) {
        return false;
    }
    return acquisition::geometry(buffer).has_value() || buffer.GetPayloadType() == PvPayloadTypeRawData;
}

}  // namespace vex::transmitter
