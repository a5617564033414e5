// avcC record and length-prefixed units to start-code byte stream.
#include "boardsim/h264_stream.h"

#include "boardsim/h264_sps.h"

namespace {

constexpr uint8_t StartCode[] = {0, 0, 0, 1};

void appendUnit(std::vector<uint8_t>& out, const uint8_t* unit, size_t size) {
    out.insert(out.end(), StartCode, StartCode + sizeof StartCode);
    out.insert(out.end(), unit, unit + size);
}

// Copies count parameter sets, each behind a 16-bit length, from record[at]; false when one
// runs past the end.
bool takeSets(const uint8_t* record, size_t size, size_t& at, size_t count,
              std::vector<uint8_t>& out) {
    for (size_t set = 0; set < count; ++set) {
        if (size - at < 2)
            return false;
        const size_t length = size_t(record[at]) << 8 | record[at + 1];
        at += 2;
        if (size - at < length)
            return false;
        appendUnit(out, record + at, length);
        at += length;
    }
    return true;
}

} // namespace

// Record layout: version, profile, compatibility, level, 6 bits set and the length size
// minus one, 3 bits set and the count of sequence sets, the sets, the count of picture sets,
// the sets.
bool H264Stream::configure(const uint8_t* record, size_t size) {
    std::vector<uint8_t> sets;
    if (size < 7 || record[0] != 1)
        return false;
    size_t at = 6;
    if (!takeSets(record, size, at, record[5] & 0x1f, sets) || at >= size)
        return false;
    const size_t pictureSets = record[at++];
    if (!takeSets(record, size, at, pictureSets, sets))
        return false;
    lengthSize_ = (record[4] & 3u) + 1;
    parameterSets_ = std::move(sets);
    checkSequenceSets(parameterSets_);
    return true;
}

// A sequence set is read up to the fields that matter, so the units after it in the same
// stream do no harm.
void H264Stream::checkSequenceSets(const std::vector<uint8_t>& byteStream) {
    constexpr uint8_t SequenceSet = 7;
    for (size_t at = 0; at + 3 < byteStream.size(); ++at)
        if (byteStream[at] == 0 && byteStream[at + 1] == 0 && byteStream[at + 2] == 1 &&
            (byteStream[at + 3] & 0x1f) == SequenceSet)
            refusal_ = boardRefusal(byteStream.data() + at + 3, byteStream.size() - at - 3);
}

bool H264Stream::convert(const uint8_t* data, size_t size, std::vector<uint8_t>& out) {
    out.clear();
    if (lengthSize_ == 0) {
        out.assign(data, data + size);
        checkSequenceSets(out);
        return true;
    }
    size_t at = 0;
    while (at < size) {
        if (size - at < lengthSize_)
            return false;
        size_t length = 0;
        for (size_t byte = 0; byte < lengthSize_; ++byte)
            length = length << 8 | data[at + byte];
        at += lengthSize_;
        if (size - at < length)
            return false;
        appendUnit(out, data + at, length);
        at += length;
    }
    checkSequenceSets(out);
    return true;
}
