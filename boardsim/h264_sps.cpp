// Reads a sequence parameter set as far as the fields that decide whether the board's decoder
// takes the stream: 8-bit 4:2:0 frames only.
#include "boardsim/h264_sps.h"

#include <vector>

namespace {

// Bits of a unit's payload with its emulation prevention bytes (0x03 after two zeros) taken
// out. Reading past the end yields zeros and marks the reader as overrun.
class BitReader {
  public:
    BitReader(const uint8_t* data, size_t size) {
        int zeros = 0;
        for (size_t i = 0; i < size; ++i) {
            if (zeros >= 2 && data[i] == 3) {
                zeros = 0;
                continue;
            }
            zeros = data[i] == 0 ? zeros + 1 : 0;
            bytes_.push_back(data[i]);
        }
    }
    uint32_t bits(int count) {
        uint32_t value = 0;
        while (count-- > 0)
            value = value << 1 | bit();
        return value;
    }
    // Exp-Golomb code, unsigned; signed values read the same number of bits.
    uint32_t golomb() {
        int leading = 0;
        while (bit() == 0 && !overrun && leading < 32)
            ++leading;
        return leading >= 32 ? 0 : (uint32_t(1) << leading) - 1 + bits(leading);
    }
    bool overrun = false;

  private:
    uint32_t bit() {
        if (at_ >= bytes_.size() * 8) {
            overrun = true;
            return 0;
        }
        const uint32_t value = bytes_[at_ / 8] >> (7 - at_ % 8) & 1u;
        ++at_;
        return value;
    }
    std::vector<uint8_t> bytes_;
    size_t at_ = 0;
};

// Profiles whose sets carry chroma format and bit depths.
bool hasFormatFields(uint32_t profile) {
    for (uint32_t high :
         {100u, 110u, 122u, 244u, 44u, 83u, 86u, 118u, 128u, 138u, 139u, 134u, 135u})
        if (profile == high)
            return true;
    return false;
}

void skipScalingLists(BitReader& reader, uint32_t chromaFormat) {
    const int lists = chromaFormat == 3 ? 12 : 8;
    for (int list = 0; list < lists; ++list) {
        if (!reader.bits(1))
            continue;
        int last = 8;
        int next = 8;
        for (int entry = 0; entry < (list < 6 ? 16 : 64) && next != 0; ++entry) {
            const uint32_t code = reader.golomb();
            const int delta = code & 1 ? int((code + 1) / 2) : -int(code / 2);
            next = (last + delta + 256) % 256;
            last = next == 0 ? last : next;
        }
    }
}

} // namespace

const char* boardRefusal(const uint8_t* unit, size_t size) {
    if (size < 4)
        return nullptr;
    BitReader reader(unit + 1, size - 1);
    const uint32_t profile = reader.bits(8);
    reader.bits(16); // constraint flags, level
    reader.golomb(); // set id
    uint32_t chromaFormat = 1;
    if (hasFormatFields(profile)) {
        chromaFormat = reader.golomb();
        if (chromaFormat == 3)
            reader.bits(1); // separate colour planes
        const uint32_t lumaDepth = reader.golomb() + 8;
        const uint32_t chromaDepth = reader.golomb() + 8;
        reader.bits(1); // lossless bypass
        if (reader.bits(1))
            skipScalingLists(reader, chromaFormat);
        if (reader.overrun)
            return nullptr;
        if (lumaDepth > 8 || chromaDepth > 8)
            return "H.264 of more than 8 bits a sample is not supported";
        if (chromaFormat == 2)
            return "H.264 in 4:2:2 chroma format is not supported";
        if (chromaFormat == 3)
            return "H.264 in 4:4:4 chroma format is not supported";
    }
    reader.golomb(); // frame number bits
    const uint32_t orderType = reader.golomb();
    if (orderType == 0) {
        reader.golomb();
    } else if (orderType == 1) {
        reader.bits(1);
        reader.golomb();
        reader.golomb();
        const uint32_t cycle = reader.golomb();
        for (uint32_t frame = 0; frame < cycle && !reader.overrun; ++frame)
            reader.golomb();
    }
    reader.golomb(); // reference frames
    reader.bits(1);  // gaps allowed
    reader.golomb(); // width in macroblocks
    reader.golomb(); // height in map units
    const bool framesOnly = reader.bits(1) != 0;
    if (reader.overrun || framesOnly)
        return nullptr;
    return "Interlaced H.264 (field or MBAFF coding) is not supported";
}
