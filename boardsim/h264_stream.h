// The H.264 of an MP4 track (length-prefixed NAL units, parameter sets in its avcC record)
// turned into the start-code byte stream that the stand-in decoder reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class H264Stream {
  public:
    // Takes the track's avcC record; false when it is malformed. Until a record is taken, the
    // input is byte stream already and passes unchanged.
    bool configure(const uint8_t* record, size_t size);

    // The record's parameter sets as byte stream, to be decoded before the first picture.
    const std::vector<uint8_t>& parameterSets() const { return parameterSets_; }

    // One access unit as byte stream into out; false when a unit runs past the end.
    bool convert(const uint8_t* data, size_t size, std::vector<uint8_t>& out) const;

  private:
    size_t lengthSize_ = 0; // bytes of each unit's length; 0 for byte stream input
    std::vector<uint8_t> parameterSets_;
};
