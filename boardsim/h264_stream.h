// The H.264 of an MP4 track (length-prefixed NAL units, parameter sets in its avcC record or
// in the stream) turned into the start-code byte stream that the stand-in decoder reads.
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
    bool convert(const uint8_t* data, size_t size, std::vector<uint8_t>& out);

    // Why the board's decoder would refuse the stream, by the last sequence parameter set
    // seen in the record or the units; null while it would take it.
    const char* refusal() const { return refusal_; }

  private:
    size_t lengthSize_ = 0; // bytes of each unit's length; 0 for byte stream input
    std::vector<uint8_t> parameterSets_;
    const char* refusal_ = nullptr;

    void checkSequenceSets(const std::vector<uint8_t>& byteStream);
};
