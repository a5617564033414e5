// What the board's hardware decoder refuses in an H.264 sequence parameter set; read by the
// decoder stand-in's stream on its streaming thread.
#pragma once

#include <cstddef>
#include <cstdint>

// The sequence parameter set unit (header byte first, emulation prevention bytes still in):
// why the board's decoder would refuse the stream, or null when it takes it or the unit is too
// short to say.
const char* boardRefusal(const uint8_t* unit, size_t size);
